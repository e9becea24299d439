// ConsoleCapture: collects what the product prints to standard output
// through the seam, for the lifetime of the object. Writes can be made to
// fail as a closed or full stream does (WEOF); a failed write is kept apart
// and not added to the text.
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

    // The next `writes` writes to standard output fail.
    void FailWrites(int writes) { m_failingWrites = writes; }
    // The texts of the writes that failed, in order.
    const std::vector<std::wstring>& FailedWrites() const { return m_failedWrites; }

private:
    static int __cdecl Write(const wchar_t* text, FILE* stream);
    static ConsoleCapture* s_current;
    os::ScopedApiOverride m_seam;
    std::wstring m_text;
    std::vector<std::wstring> m_writes;
    int m_failingWrites = 0;
    std::vector<std::wstring> m_failedWrites;
};

}  // namespace fakes
