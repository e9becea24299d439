// The monotonic clock that status times itself with (the seam's, so tests
// can set it).
#pragma once

#include <cstdint>

namespace diag {

uint64_t NowMilliseconds();

}  // namespace diag
