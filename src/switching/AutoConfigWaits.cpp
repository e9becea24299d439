#include "switching/AutoConfigWaits.h"

#include "service/Utils.h"
#include "state/ServiceNames.h"

using namespace QX::Shared;

namespace {

constexpr int32_t kServiceWaitTries = 15;

void WaitForAutoConfig(const FunctionLog& log, const wchar_t* serviceName, const wchar_t* failedFormat)
{
    const int32_t status = Utils::WaitforServiceToStartRunning(serviceName, kServiceWaitTries);
    if (status != 0)
        log.Log(LevelError, failedFormat, status);
}

}  // namespace

void WaitForWlanAutoConfig(const FunctionLog& log)
{
    WaitForAutoConfig(log, kWlanAutoConfigService,
                      L"WaitforServiceToStartRunning (WLAN AutoConfig) failed with running status = %d");
}

void WaitForWwanAutoConfig(const FunctionLog& log)
{
    WaitForAutoConfig(log, kWwanAutoConfigService,
                      L"WaitforServiceToStartRunning (WWAN AutoConfig) failed with running status = %d");
}
