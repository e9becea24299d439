#include "platform/Format.h"

#include <cstdio>
#include <cwchar>

namespace os {

size_t FormatV(wchar_t* buffer, size_t capacity, const wchar_t* format, va_list args)
{
    if (capacity == 0)
        return 0;
    const size_t limit = capacity - 1;
    // msvcrt's own _vsnwprintf: it returns -1 and leaves the text unterminated
    // when the output reaches the limit.
    const int written = _vsnwprintf(buffer, limit, format, args);
    const size_t length = (written < 0 || static_cast<size_t>(written) > limit) ? limit : static_cast<size_t>(written);
    buffer[length] = L'\0';
    if (written < 0)
        return wcslen(buffer);  // a format error may stop short of the limit
    return length;
}

size_t Format(wchar_t* buffer, size_t capacity, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    const size_t length = FormatV(buffer, capacity, format, args);
    va_end(args);
    return length;
}

std::wstring FormatStringV(const wchar_t* format, va_list args)
{
    va_list counting;
    va_copy(counting, args);
    const int needed = _vscwprintf(format, counting);
    va_end(counting);
    if (needed <= 0)
        return std::wstring();
    std::wstring text(static_cast<size_t>(needed) + 1, L'\0');
    text.resize(FormatV(&text[0], text.size(), format, args));
    return text;
}

std::wstring FormatString(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    std::wstring text = FormatStringV(format, args);
    va_end(args);
    return text;
}

}  // namespace os
