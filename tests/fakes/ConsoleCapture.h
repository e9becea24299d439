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

    const std::wstring& Text() const { return text_; }
    // Every separate write, in order.
    const std::vector<std::wstring>& Writes() const { return writes_; }

private:
    static int __cdecl Write(const wchar_t* text, FILE* stream);
    static ConsoleCapture* current_;
    os::ScopedApiOverride seam_;
    std::wstring text_;
    std::vector<std::wstring> writes_;
};

} // namespace fakes
