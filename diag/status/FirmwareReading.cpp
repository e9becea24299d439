// The firmware settings, read and decided by the service's own code
// (bios/BiosSettings.h), with the raw values and the read's own time.
#include "status/Readings.h"

#include "logging/OperationLog.h"
#include "status/Clock.h"

using namespace QX::Shared;

namespace diag {

FirmwareReading ReadFirmware()
{
    OperationLog op("TessarineDiag::ReadFirmware");
    FirmwareReading reading;
    const uint64_t start = NowMilliseconds();
    try {
        NLMUtils::ReadAutoSwitchingSettings(reading.read);
        reading.decision = NLMUtils::DecideAutoSwitching(reading.read.settings);
    } catch (...) {
        // As for the service: nothing read, nothing allowed.
        op.Log(LevelError, L"Exception while reading the firmware settings");
        reading.failed = true;
        reading.decision = {};
    }
    reading.elapsedMilliseconds = NowMilliseconds() - start;
    op.Exit(L"Settings = %d, Wi-Fi switching = %d, mobile-broadband switching = %d",
            static_cast<int>(reading.read.settings.size()), reading.decision.wlan.Allowed(),
            reading.decision.wwan.Allowed());
    return reading;
}

}  // namespace diag
