// The benchmarks' view of the process logger's queue.
#pragma once

namespace bench {

// Waits (up to five minutes) until the queued file listener, if any, has
// written everything, so that the next figure and the process exit start
// with an empty queue.
void DrainLog();

}  // namespace bench
