// Paths of the build tree, which the build knows as Linux paths, as the
// Windows paths a test program under Wine opens them by.
#pragma once

#include <string>

namespace fakes {

// "Z:" and the path with its slashes turned into backslashes (Wine maps
// drive Z: to the Linux root).
std::wstring WindowsPathOf(const char* linuxPath);

}  // namespace fakes
