// Wi-Fi notifications: registration with the Native Wi-Fi service and the
// callback that receives them on the Native Wi-Fi notification thread.
#include "switching/MainService.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"

using namespace QX::Shared;

namespace {

constexpr DWORD kWlanClientVersion = 2;
constexpr DWORD kNotificationSources = WLAN_NOTIFICATION_SOURCE_ACM | WLAN_NOTIFICATION_SOURCE_MSM;

} // namespace

DWORD CMainService::RegisterWlanNotification(bool& registration)
{
    OperationLog op("CMainService::RegisterWlanNotification", L"Registration Status - %d, WLANHandle = 0x%08lx", registration,
                    static_cast<unsigned long>(reinterpret_cast<uintptr_t>(m_hWlanClient)));
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
                op.Log(LevelError, L"WlanRegisterNotification(Registration) fail with err %d!!",
                    GetLastError());
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

void WINAPI CMainService::WlanNotificationCallback(PWLAN_NOTIFICATION_DATA, PVOID)
{
    // The handling of Wi-Fi notifications is not built yet: they are
    // received and dropped.
}
