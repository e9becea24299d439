// Wi-Fi notifications: registration with the Native Wi-Fi service, the
// callback that receives them on the Native Wi-Fi notification thread, and
// the two handlers that follow the user's Wi-Fi: they switch Wi-Fi off again
// while a wire is up (where the firmware allows it), or record the user's
// state for the next restore. One notification is handled at a time
// (WlanCallbackMutex); the network event sink, the airplane watcher and
// resume handling are kept apart only by the switching flags and the Wi-Fi
// switch mutex.
#include "switching/MainService.h"

#include "logging/OperationLog.h"
#include "network/EthernetCheck.h"
#include "platform/Api.h"
#include "radio/PowerStatus.h"
#include "radio/WlanRadio.h"
#include "state/SwitchingState.h"

#include <mutex>

using namespace QX::Shared;

namespace {

constexpr DWORD kWlanClientVersion = 2;
constexpr DWORD kNotificationSources = WLAN_NOTIFICATION_SOURCE_ACM | WLAN_NOTIFICATION_SOURCE_MSM;
// The two notification codes followed (the toolchain's headers lack the
// media-specific module's codes).
constexpr DWORD kAcmNetworkAvailable = 19;  // wlan_notification_acm_network_available
constexpr DWORD kMsmRadioStateChange = 7;   // wlan_notification_msm_radio_state_change

// Both handlers stand aside while the event sink switches the radio itself
// or a resume is being handled.
bool StandsAside(const FunctionLog& log)
{
    if (!msm_Notification_flag && !on_resumeflag)
        return false;
    log.Log(LevelInformation, L"Not processing the callback, msm_Notification_flag = %d, ResumeFlag = %d",
            msm_Notification_flag.Get(), on_resumeflag.Get());
    return true;
}

// Serialises the notification callback: one notification at a time.
std::mutex WlanCallbackMutex;

// The start both handlers share: nothing while they stand aside or when the
// radio cannot be read (without the exit line); after a failed Ethernet
// test, its error line and the exit line. True when the handler goes on
// with the radio's state and the Ethernet status.
bool ReadRadioAndWire(const OperationLog& op, bool& wifiOn, int& ethernet)
{
    if (StandsAside(op))
        return false;
    if (!ServiceUtils::CheckWlanStatus(wifiOn)) {
        op.Log(LevelWarning, L"CheckWlanStatus failed");
        return false;
    }
    op.Log(LevelInformation, L"Current WLAN status = %d", wifiOn);
    if (!EthernetCheck::CheckEthernetConnectionStatusEx(&ethernet, nullptr)) {
        op.Log(LevelError, L"CheckEthernetConnectionStatusEx failed");
        op.Exit();
        return false;
    }
    op.Log(LevelInformation, L"Ethernet connection status = %d", ethernet);
    return true;
}

// A network showed up: record an "on" radio while no wire is up; with the
// wire, switch Wi-Fi off again where the firmware allows it, else record.
void DecideOnNetworkAvailable(const OperationLog& op, bool wifiOn, int ethernet)
{
    if (ethernet == 0) {
        op.Log(LevelInformation,
               L"wlan_notification_acm_network_available ServiceUtils::my_service_turnonoff_wifi : %d",
               my_service_turnonoff_wifi.Get());
        // Only an "on" state is stored here: a network showing up says
        // nothing about a user who turned Wi-Fi off.
        if (wifiOn) {
            op.Log(LevelInformation,
                   L"wlan_notification_acm_network_available Registry set to True. Setting WlanPowerStatus %d in "
                   L"registry.",
                   wifiOn);
            ServiceUtils::SetWlanPowerStatusInRegistry(wifiOn);
        }
    } else {
        op.Log(LevelInformation, L"Ethernet is connected");
        op.Log(LevelInformation, L"LAN-WLAN Auto Switching Status = %d", LanWlanSwitchingEnabled.Get());
        // Compared with 1, unlike the radio-state handler's non-zero test
        // (the same for a flag that only ever holds 0 or 1).
        if (static_cast<int>(LanWlanSwitchingEnabled) == 1) {
            if (!ServiceUtils::SwitchWlanStatus(false, true))
                op.Log(LevelError, L"SwitchWlanStatus(false) failed");
        } else {
            op.Log(LevelInformation,
                   L"wlan_notification_acm_network_available[LanWlanSwitchingEnabled disabled].Setting "
                   L"WlanPowerStatus %d in registry.",
                   wifiOn);
            ServiceUtils::SetWlanPowerStatusInRegistry(wifiOn);
        }
    }
}

// The user (or the service) switched the radio: record the user's state
// while no wire is up; with the wire, switch it off again where the firmware
// allows it.
void DecideOnRadioStateChange(const OperationLog& op, bool wifiOn, int ethernet)
{
    op.Log(LevelInformation, L"LAN-WLAN_Switching Status = %d", LanWlanSwitchingEnabled.Get());
    const bool airplaneMode = ServiceUtils::CheckAirplaneMode();
    if (!airplaneMode && ethernet == 0) {
        op.Log(LevelInformation,
               L"Airplane mode if OFF. Ethernet not connected. Setting WLAN registry status with WiFi Status = %d",
               wifiOn);
        ServiceUtils::SetWlanPowerStatusInRegistry(wifiOn);
    }
    if (ethernet != 0) {
        if (LanWlanSwitchingEnabled) {
            // Off only while on, and without the airplane check: the
            // service's own switch notifies too, and must not loop.
            if (wifiOn && !ServiceUtils::SwitchWlanStatus(false, false))
                op.Log(LevelError, L"SwitchWlanStatus(false) failed");
        } else if (!airplaneMode) {
            op.Log(LevelInformation, L"Ethernet connected and LanWlanSwitching Disabled. Update registry");
            ServiceUtils::SetWlanPowerStatusInRegistry(wifiOn);
        }
    }
}

// A handler: its scope, the readings both share, then its own decision.
void HandleNotification(const char* function, void (*decide)(const OperationLog&, bool, int))
{
    OperationLog op(function);
    bool wifiOn = false;
    int ethernet = 0;
    if (!ReadRadioAndWire(op, wifiOn, ethernet))
        return;
    decide(op, wifiOn, ethernet);
    op.Exit();
}

}  // namespace

DWORD CMainService::RegisterWlanNotification(bool& registration)
{
    OperationLog op("CMainService::RegisterWlanNotification", L"Registration Status - %d, WLANHandle = 0x%08lx",
                    registration, static_cast<unsigned long>(reinterpret_cast<uintptr_t>(m_hWlanClient)));
    DWORD result = ERROR_NOT_READY;
    if (m_hWlanClient == nullptr) {
        DWORD negotiatedVersion = 0;
        const DWORD error = os::api().WlanOpenHandle(kWlanClientVersion, nullptr, &negotiatedVersion, &m_hWlanClient);
        if (error != ERROR_SUCCESS) {
            op.Log(LevelError, L"WlanOpenHandle failed with error: %u", error);
            return error;
        }
    }
    if (m_hWlanClient != nullptr) {
        DWORD previousSources = 0;
        // Both failure lines print the thread's last error rather than the
        // returned code; the returned code is what the caller gets.
        if (registration) {
            result = os::api().WlanRegisterNotification(m_hWlanClient, kNotificationSources, TRUE,
                                                        &CMainService::WlanNotificationCallback, nullptr, nullptr,
                                                        &previousSources);
            if (result != ERROR_SUCCESS)
                op.Log(LevelError, L"WlanRegisterNotification(Registration) fail with err %d!!", GetLastError());
        } else {
            result = os::api().WlanRegisterNotification(m_hWlanClient, WLAN_NOTIFICATION_SOURCE_NONE, TRUE, nullptr,
                                                        nullptr, nullptr, &previousSources);
            if (result != ERROR_SUCCESS)
                op.Log(LevelError, L"WlanRegisterNotification (Un-Registration) fail with err %d!!", GetLastError());
        }
    }
    op.Exit(L"Return  = %d", result);
    return result;
}

void WINAPI CMainService::WlanNotificationCallback(PWLAN_NOTIFICATION_DATA data, PVOID)
{
    if (data == nullptr)
        return;
    const FunctionLog log("CMainService::WlanNotificationCallback");
    try {
        std::lock_guard<std::mutex> lock(WlanCallbackMutex);
        if (data->NotificationSource == WLAN_NOTIFICATION_SOURCE_ACM &&
            data->NotificationCode == kAcmNetworkAvailable) {
            log.Log(LevelInformation, L"NotificationSource = WLAN_NOTIFICATION_SOURCE_ACM, NotificationCode = "
                                      L"wlan_notification_acm_network_available. Processing Callback");
            HandleWlanNotificationAcmNetworkAvailable();
        } else if (data->NotificationSource == WLAN_NOTIFICATION_SOURCE_MSM &&
                   data->NotificationCode == kMsmRadioStateChange) {
            log.Log(LevelInformation, L"NotificationSource = WLAN_NOTIFICATION_SOURCE_MSM, NotificationCode= "
                                      L"wlan_notification_msm_radio_state_change. Processing Callback");
            HandleWlanNotificationMsmRadioStateChange();
        }
    } catch (...) {
        // Nothing may leave a callback of the Native Wi-Fi thread.
        log.Log(LevelError, L"Exception in WlanNotificationCallback()");
    }
}

void CMainService::HandleWlanNotificationAcmNetworkAvailable()
{
    HandleNotification("CMainService::HandleWlanNotificationAcmNetworkAvailable", DecideOnNetworkAvailable);
}

void CMainService::HandleWlanNotificationMsmRadioStateChange()
{
    HandleNotification("CMainService::HandleWlanNotificationMsmRadioStateChange", DecideOnRadioStateChange);
}
