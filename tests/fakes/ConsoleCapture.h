// ConsoleCapture: collects what the product prints to standard output
// through the seam, for the lifetime of the object.
#pragma once

#include "platform/Api.h"

#include <string>
#include <vector>

namespace fakes {

class ConsoleCapture {
public:
    ConsoleCapture();
    ~ConsoleCapture();
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    const std::wstring& Text() const { return m_text; }
    // Every separate write, in order.
    const std::vector<std::wstring>& Writes() const { return m_writes; }

private:
    static int __cdecl Write(const wchar_t* text, FILE* stream);
    static ConsoleCapture* s_current;
    os::ScopedApiOverride m_seam;
    std::wstring m_text;
    std::vector<std::wstring> m_writes;
};

} // namespace fakes
