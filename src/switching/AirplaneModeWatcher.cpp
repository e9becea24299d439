// The airplane-mode watcher: a thread-pool thread, queued once by the worker,
// that waits for changes under the system's radio-management key and keeps
// the service's radios and their persisted power status in line with
// airplane mode until the service stops.
//
// Threads: the watcher itself; OnStop (control-handler thread) ends it by
// clearing m_fServiceRunning and then signalling m_hAirplaneWatcherEvent.
// The watcher takes no lock over its work: the radio operations serialise
// themselves. It owns the event once it runs and closes it on its way out;
// creating, signalling and closing the event happen under
// m_watcherEventLock, so OnStop never signals a handle being closed.
#include "switching/MainService.h"

#include "logging/OperationLog.h"
#include "network/EthernetCheck.h"
#include "platform/Api.h"
#include "platform/UniqueHandle.h"
#include "radio/PowerStatus.h"
#include "radio/WlanRadio.h"
#include "state/RegistryPaths.h"
#include "state/SwitchingState.h"

#include <mutex>
#include <string>

using namespace QX::Shared;

namespace {

constexpr REGSAM kWatchedKeyAccess = KEY_READ | KEY_WOW64_64KEY;
constexpr DWORD kWatchFilter = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET;

// One registry change, after the stop check: airplane mode on switches a
// managed Wi-Fi radio off; airplane mode off without a wire puts the
// managed radios back where the user had them.
void FollowAirplaneMode(const OperationLog& op)
{
    // One reading per pass, so that switching off and the restore
    // below never act on two different answers.
    const bool airplaneMode = ServiceUtils::CheckAirplaneMode();
    if (LanWlanSwitchingEnabled == 1 && airplaneMode) {
        op.Log(LevelInformation, L"Airplane Mode ON , setting default");
        const bool off = false;
        const bool checkAirplaneMode = false;
        ServiceUtils::SwitchWlanStatus(off, checkAirplaneMode);
    }

    int ethernetStatus = 0;
    int ipNotAssigned = 0;
    if (EthernetCheck::CheckEthernetConnectionStatusEx(&ethernetStatus, &ipNotAssigned) == 0) {
        op.Log(LevelError, L"CheckEthernetConnectionStatusEx failed");
        return;
    }
    if (ethernetStatus != 0 || airplaneMode)
        return;

    op.Log(LevelInformation, L"Airplane mode is OFF, ethernet not connected");
    if (LanWlanSwitchingEnabled == 1) {
        // A failed check leaves the radio counted as off, so the
        // stored state decides.
        bool wlanOn = false;
        if (!ServiceUtils::CheckWlanStatus(wlanOn))
            op.Log(LevelWarning, L"CheckWlanStatus failed");
        if (wlanOn) {
            op.Log(LevelInformation, L"WiFi already ON in Airplanemode, updating registry");
            ServiceUtils::SetWlanPowerStatusInRegistry(true);
        } else {
            const ServiceUtils::StoredPowerStatus stored = ServiceUtils::ReadWlanPowerStatus();
            op.Log(LevelInformation, L"Previous WLAN Power Status in registry = %s", stored.text.c_str());
            const bool wanted = stored.IsOn();
            // The text names the registry writer, but what follows is
            // a switch; the text is kept as the service has logged it.
            op.Log(LevelInformation, L"Setting SetWlanPowerStatusInRegistry with value = %d", wanted);
            const bool checkAirplaneMode = true;
            ServiceUtils::SwitchWlanStatus(wanted, checkAirplaneMode);
        }
    }
    if (LanWwanSwitchingEnabled == 1)
        CMainService::UpdateWwanPowerStatus();
}

}  // namespace

HANDLE CMainService::WatcherEvent(const FunctionLog& log)
{
    // OnStop may have found no event to signal when the constructor could
    // not create it; the watcher tries again here.
    std::lock_guard<std::mutex> lock(m_watcherEventLock);
    if (m_hAirplaneWatcherEvent == nullptr)
        m_hAirplaneWatcherEvent = os::api().CreateEventW(nullptr, TRUE, FALSE, kAirplaneWatcherEventName);
    if (m_hAirplaneWatcherEvent == nullptr)
        log.Log(LevelError, L"CreateEvent (AirPlaneWatcherEvent) failed with error %d", GetLastError());
    return m_hAirplaneWatcherEvent;
}

void CMainService::AirplaneModeWatcher()
{
    OperationLog op("CMainService::AirplaneModeWatcher", L"AirplaneModeWatcher - Entry");
    // A deliberate, kept quirk: the key is opened anew in every pass and the
    // handle of the previous pass is left open, so only the last one is
    // closed when the thread ends. Raw on purpose: moving it into an owner
    // would close the earlier handles and change what the service has always
    // done with them.
    HKEY key = nullptr;
    try {
        while (m_fServiceRunning) {
            if (os::api().RegOpenKeyExW(HKEY_LOCAL_MACHINE, kAirplaneModeKey, 0, kWatchedKeyAccess, &key) !=
                ERROR_SUCCESS)
                continue;

            const HANDLE event = WatcherEvent(op);
            if (event == nullptr)
                continue;

            // The watcher never resets the event itself, but arming the
            // notification does (on Windows and in Wine): a signal OnStop gave
            // before this point is gone. OnStop clears the flag before it
            // signals, so the flag read after the arming tells such a stop.
            if (os::api().RegNotifyChangeKeyValue(key, TRUE, kWatchFilter, event, TRUE) != ERROR_SUCCESS)
                continue;

            // An infinite wait is no timed pause: it stays the real call, as
            // the seam's rule for infinite waits says, so that a registry
            // change or OnStop's signal really ends it, in tests too. The
            // event is closed only by this thread (or by the destructor once
            // this thread has ended), so the handle stays valid here.
            if (m_fServiceRunning && ::WaitForSingleObject(event, INFINITE) == WAIT_FAILED)
                continue;

            // The stop handshake: OnStop clears the flag before it signals.
            if (!m_fServiceRunning) {
                op.Log(LevelInformation, L"AirplaneModeWatcher - Service Stop event Triggered. Exiting");
                break;
            }
            op.Log(LevelInformation, L"AirplaneModeWatcher - Registry Change Event Triggered");

            FollowAirplaneMode(op);
        }
    } catch (...) {
        op.Log(LevelError, L"An unknown error occurred");
    }

    if (key != nullptr)
        RegCloseKey(key);
    {
        std::lock_guard<std::mutex> lock(m_watcherEventLock);
        if (m_hAirplaneWatcherEvent != nullptr && CloseHandle(m_hAirplaneWatcherEvent))
            m_hAirplaneWatcherEvent = nullptr;
    }
    op.Exit(L"AirplaneModeWatcher - Exit");
}
