#include "switching/ResumeHandler.h"

#include "logging/OperationLog.h"
#include "network/EthernetCheck.h"
#include "platform/Api.h"
#include "radio/WlanRadio.h"
#include "radio/WwanRadio.h"
#include "state/SwitchingState.h"
#include "switching/AutoConfigWaits.h"
#include "switching/MainService.h"

using namespace QX::Shared;

namespace NLMUtils {
namespace {

constexpr int kSwitchRetries = 5;

void WaitForWwanService(const FunctionLog& log)
{
    log.Log(LevelInformation, L"Wait for (WWAN AutoConfig) to start");
    WaitForWwanAutoConfig(log);
    log.Log(LevelInformation, L"WWAN AutoConfig wait completed.");
}

// `completed` differs between the two directions (with and without a full
// stop), as the service has always logged it.
void WaitForWlanService(const FunctionLog& log, const wchar_t* completed)
{
    WaitForWlanAutoConfig(log);
    log.Log(LevelInformation, completed);
}

}  // namespace

bool SystemResumeHandler()
{
    OperationLog op("NLMUtils::SystemResumeHandler");
    try {
        // Events that came and went during sleep were ignored: the wire may
        // still be waiting for its address. After a failed test no Ethernet
        // counts.
        const int ethernetStatus = EthernetCheck::WaitForEthernetAddress(op);
        op.Log(LevelInformation, L"Ethernet Status = %d", ethernetStatus);
        op.Log(LevelInformation, L"ServiceUtils::on_resumeflag = %d", on_resumeflag.Get());

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

}  // namespace NLMUtils
