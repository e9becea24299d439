#include "status/Clock.h"

#include "platform/Api.h"

namespace diag {

uint64_t NowMilliseconds()
{
    ULONGLONG ticks = 0;  // units of 100 ns
    os::api().QueryUnbiasedInterruptTime(&ticks);
    return ticks / 10000;
}

}  // namespace diag
