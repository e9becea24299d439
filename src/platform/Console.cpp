#include "platform/Console.h"

#include "platform/Api.h"
#include "platform/Format.h"

#include <cstdarg>
#include <cstdio>

namespace os {

void Print(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    const std::wstring text = FormatStringV(format, args);
    va_end(args);
    api().fputws(text.c_str(), stdout);
    // The command-line modes may be piped; a line must not wait for exit.
    fflush(stdout);
}

}  // namespace os
