#include "switching/ResumeHandler.h"

#include "logging/OperationLog.h"
#include "network/NLMEventHandler.h"
#include "platform/Api.h"
#include "radio/WlanRadio.h"
#include "radio/WwanRadio.h"
#include "service/Utils.h"
#include "switching/MainService.h"
#include "state/SwitchingState.h"

using namespace QX::Shared;

namespace NLMUtils {
namespace {

// The address wait, the same rule as the network event sink's connect branch.
constexpr int kAddressTries = 8;
constexpr DWORD kAddressPause = 1000;
constexpr int32_t kServiceWaitTries = 15;
constexpr int kSwitchRetries = 5;
constexpr wchar_t kWlanServiceName[] = L"WlanSvc";
constexpr wchar_t kWwanServiceName[] = L"WwanSvc";

void WaitForWwanService(const FunctionLog& log)
{
    log.Log(LevelInformation, L"Wait for (WWAN AutoConfig) to start");
    const int32_t status = Utils::WaitforServiceToStartRunning(kWwanServiceName, kServiceWaitTries);
    if (status != 0)
        log.Log(LevelError, L"WaitforServiceToStartRunning (WWAN AutoConfig) failed with running status = %d", status);
    log.Log(LevelInformation, L"WWAN AutoConfig wait completed.");
}

// `completed` differs between the two directions (with and without a full
// stop), as the service has always logged it.
void WaitForWlanService(const FunctionLog& log, const wchar_t* completed)
{
    const int32_t status = Utils::WaitforServiceToStartRunning(kWlanServiceName, kServiceWaitTries);
    if (status != 0)
        log.Log(LevelError, L"WaitforServiceToStartRunning (WLAN AutoConfig) failed with running status = %d", status);
    log.Log(LevelInformation, completed);
}

} // namespace

bool SystemResumeHandler()
{
    OperationLog op("NLMUtils::SystemResumeHandler");
    try {
        int ethernetStatus = 0;
        int ipNotAssigned = 0;
        int tryCount = 0;
        // Waits only while an Ethernet adapter without an address is there.
        // ipNotAssigned is never cleared, so the call that finds the address
        // still counts as a failed try; whatever ethernetStatus then holds
        // decides (0 after a failed test: no Ethernet).
        for (;;) {
            const int result = NLMEventHandler::CheckEthernetConnectionStatusEx(&ethernetStatus, &ipNotAssigned);
            if (result == 1 && ethernetStatus == 1 && ipNotAssigned == 0)
                break;
            op.Log(LevelWarning, L"CheckEthernetConnectionStatus failed in try %d", tryCount);
            os::api().Sleep(kAddressPause);
            ++tryCount;
            if (ethernetStatus != 0 || tryCount >= kAddressTries || ipNotAssigned != 1)
                break;
        }
        op.Log(LevelInformation, L"Ethernet Status = %d", ethernetStatus);
        op.Log(LevelInformation, L"ServiceUtils::on_resumeflag = %d", on_resumeflag);

        // The two directions are deliberately not symmetrical: with the wire
        // the radios are switched off directly, mobile broadband first;
        // without it they are started from the stored state as the network
        // event sink does, Wi-Fi first. The Wi-Fi service is always waited
        // for, the mobile-broadband one only when a device was found.
        if (ethernetStatus != 0) {
            op.Log(LevelInformation, L"Ethernet is connected");
            if (LanWwanSwitchingEnabled) {
                op.Log(LevelInformation, L"LanWwanSwitchingEnabled - SystemResumeHandler()");
                if (WwanDeviceAvailable)
                    WaitForWwanService(op);
                bool off = false;
                int retries = kSwitchRetries;
                if (!ServiceUtils::SwitchWwanStatusWithRetry(off, retries))
                    op.Log(LevelError, L"SwitchWwanStatusWithRetry failed");
            }
            if (LanWlanSwitchingEnabled) {
                op.Log(LevelInformation, L"Wait for (WLAN AutoConfig) to start");
                WaitForWlanService(op, L"WLAN AutoConfig wait completed.");
                const bool off = false;
                const int retries = kSwitchRetries;
                if (!ServiceUtils::SwitchWlanStatusWithRetry(off, retries))
                    op.Log(LevelError, L"SwitchWlanStatusWithRetry failed");
            }
        } else {
            if (LanWlanSwitchingEnabled) {
                op.Log(LevelInformation, L"Service resume handler starting WLAN service..");
                op.Log(LevelInformation, L"Wait for (WLAN AutoConfig) to start");
                WaitForWlanService(op, L"WLAN AutoConfig wait completed");
                ServiceUtils::StartWLANService();
            }
            if (LanWwanSwitchingEnabled) {
                if (WwanDeviceAvailable)
                    WaitForWwanService(op);
                op.Log(LevelInformation, L"Obtained Signal Service resume handler starting WWAN service..");
                ServiceUtils::StartWWANService();
            }
        }

        // What the firmware does not let the service manage goes back to
        // what the user had.
        if (!LanWwanSwitchingEnabled) {
            op.Log(LevelInformation, L"LAN WWAN Auto Switching is disabled in BIOS.Restoring previous WWAN Status.");
            CMainService::UpdateWwanPowerStatus();
        }
        if (!LanWlanSwitchingEnabled) {
            op.Log(LevelInformation, L"LAN WLAN Auto Switching is disabled in BIOS.Restoring previous WLAN Status.");
            CMainService::UpdateWlanPowerStatus();
        }
    } catch (...) {
        // Nothing may keep the flag set: the event handlers would stay muted
        // until the next resume.
        op.Log(LevelError, L"Exception in SystemResumeHandler()");
    }

    op.Log(LevelInformation, L"Resetting on_resumeflag to False");
    on_resumeflag = false;
    op.Exit(L"Return = %d", 1);
    return true;
}

} // namespace NLMUtils
