// Console output of the command-line modes: wide formatted text (the
// formatting helper's rules) written to standard output through the seam.
#pragma once

namespace os {

void Print(const wchar_t* format, ...);

}  // namespace os
