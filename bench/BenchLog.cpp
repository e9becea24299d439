#include "BenchLog.h"

#include "BenchClock.h"

#include "logging/LogListenerFile.h"
#include "logging/Logger.h"

namespace bench {

void DrainLog()
{
    auto* file = dynamic_cast<QX::Shared::CqxLogListenerFile*>(QX::Shared::GetLogger()->FileListener());
    const int64_t deadline = Ticks() + 300 * TicksPerSecond();
    while (file != nullptr && !file->QueueDrained() && Ticks() < deadline)
        Sleep(10);
}

}  // namespace bench
