// The one formatting helper. Every formatted text of the product (log
// messages and lines, console output) goes through it.
//
// It keeps the Windows runtime's rules for wide formats, which the product's
// texts are written for: "%s" takes a wide string, "%S" a narrow one, and
// "%Lf" a double. (mingw's C99 printf family, which libstdc++ forces on,
// reads "%s" as narrow and "%Lf" as an 80-bit long double.)
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>

namespace os {

// Prints into buffer[0..capacity): at most capacity - 1 characters, always
// terminated. Text that does not fit, or a format error, is cut there without
// report. Returns the length of the text in the buffer. capacity 0 writes
// nothing.
size_t FormatV(wchar_t* buffer, size_t capacity, const wchar_t* format, va_list args);
size_t Format(wchar_t* buffer, size_t capacity, const wchar_t* format, ...);

// The whole formatted text, however long; empty on a format error.
std::wstring FormatStringV(const wchar_t* format, va_list args);
std::wstring FormatString(const wchar_t* format, ...);

}  // namespace os
