// The start-up sequence, on a thread-pool thread queued by OnStart (the
// airplane-mode watcher it queues lives in AirplaneModeWatcher.cpp). A stop
// may come at any of its steps: it then ends at the next one (see
// RunStartUpSteps).
#include "switching/MainService.h"

#include "bios/BiosSettings.h"
#include "logging/OperationLog.h"
#include "network/EthernetCheck.h"
#include "network/NLMUtils.h"
#include "platform/Api.h"
#include "radio/WlanRadio.h"
#include "radio/WwanRadio.h"
#include "state/SwitchingState.h"
#include "switching/AutoConfigWaits.h"

#include <exception>
#include <mutex>

using namespace QX::Shared;

namespace {

// One of the worker's COM managers; false after a failure, which it logs.
template <typename Interface>
bool CreateManager(const FunctionLog& log, REFCLSID clsid, REFIID iid, os::ComPtr<Interface>& manager,
                   const wchar_t* failedFormat)
{
    const HRESULT hr =
        os::api().CoCreateInstance(clsid, nullptr, CLSCTX_ALL, iid, reinterpret_cast<void**>(manager.Put()));
    if (FAILED(hr)) {
        log.Log(LevelError, failedFormat, hr);
        return false;
    }
    return true;
}

// The Wi-Fi side of the start-up: with the firmware's switching allowed,
// off while a wire is up, else (and without it) the stored state.
void DecideWlanAtStartUp(const FunctionLog& op)
{
    const bool switchOff = false;
    const bool checkAirplaneMode = true;
    if (!LanWlanSwitchingEnabled) {
        op.Log(LevelInformation, L"LAN WLAN Auto Switching is disabled in BIOS. Restoring previous WLAN Status.");
        CMainService::UpdateWlanPowerStatus();
    } else {
        op.Log(LevelInformation, L"Checking Ethernet connection status...");
        int ethernetConnected = 0;
        if (!EthernetCheck::CheckEthernetConnectionStatusEx(&ethernetConnected, nullptr)) {
            op.Log(LevelError, L"CheckEthernetConnectionStatusEx failed");
        } else if (ethernetConnected) {
            op.Log(LevelInformation, L"LAN connection available when service start. Stopping WLAN service...");
            ServiceUtils::SwitchWlanStatus(switchOff, checkAirplaneMode);
        } else {
            CMainService::UpdateWlanPowerStatus();
        }
    }
}

// The mobile-broadband side: unlike the Wi-Fi side, no "Checking" line, and
// a line of its own when no wired link is up.
void DecideWwanAtStartUp(const FunctionLog& op)
{
    if (!LanWwanSwitchingEnabled) {
        op.Log(LevelInformation, L"LAN WWAN Auto Switching is disabled in BIOS.Restoring previous WWAN Status.");
        CMainService::UpdateWwanPowerStatus();
    } else {
        int ethernetConnected = 0;
        if (!EthernetCheck::CheckEthernetConnectionStatusEx(&ethernetConnected, nullptr)) {
            op.Log(LevelError, L"CheckEthernetConnectionStatusEx failed");
        } else if (ethernetConnected) {
            op.Log(LevelInformation, L"LAN connection available when service start. Stopping WWAN service...");
            bool off = false;
            bool check = true;
            ServiceUtils::SwitchWwanStatus(off, check);
        } else {
            op.Log(LevelInformation, L"LAN connection not available when service start. starting WWAN service...");
            CMainService::UpdateWwanPowerStatus();
        }
    }
}

}  // namespace

void CMainService::ServiceWorkerThread()
{
    OperationLog op("CMainService::ServiceWorkerThread", L"ServiceWorkerThread - Entry");
    const HRESULT initialized = os::api().CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(initialized) && initialized != RPC_E_CHANGED_MODE) {
        op.Log(LevelError, L"CoInitialize failed with error: 0x%08X", initialized);
        return;  // no exit line
    }
    // Already in another apartment: go on, but leave COM as it was.
    const bool uninitialize = initialized != RPC_E_CHANGED_MODE;

    try {
        switch (RunStartUpSteps(op)) {
        case StartUpEnd::EndedEarly: return;  // no uninitialise, no exit line
        case StartUpEnd::Stopping:
            // What was made before the stop, OnStop has released; nothing
            // more is made, and the radios are left to the next start.
            op.Log(LevelInformation, L"ServiceWorkerThread - The service is stopping: start-up ends here");
            break;
        case StartUpEnd::Completed: break;
        }
        if (uninitialize)
            os::api().CoUninitialize();
    } catch (const std::exception& error) {
        op.Log(LevelError, L"Exception in ServiceWorkerThread. %S", error.what());
    }
    op.Exit(L"ServiceWorkerThread - Exit");
}

CMainService::StartUpEnd CMainService::RunStartUpSteps(const OperationLog& op)
{
    // Each step first looks whether a stop has come. A step that creates or
    // uses a member runs under m_stopLock, so OnStop either finds what it
    // made or the step finds the service stopping and makes nothing.
    const auto stopping = [this] { return !m_fServiceRunning; };
    {
        const std::lock_guard<std::mutex> lock(m_stopLock);
        if (stopping())
            return StartUpEnd::Stopping;
        if (!CreateManager(op, CLSID_NetworkListManager, IID_INetworkListManager, m_pNetworkListManager,
                           L"CoCreateInstance(CLSID_NetworkListManager) failed with error: 0x%08X"))
            return StartUpEnd::EndedEarly;
    }

    if (stopping())
        return StartUpEnd::Stopping;
    QueueWorkItem(&CMainService::AirplaneModeWatcher, this, WT_EXECUTEONLYONCE);
    if (stopping())
        return StartUpEnd::Stopping;
    NLMUtils::GetAutoSwitchingStatus();
    op.Log(LevelInformation,
           L"Finished reading LanWlanWan Switching status from BIOS. Wait for (WLAN AutoConfig) to start");
    if (stopping())
        return StartUpEnd::Stopping;
    WaitForWlanAutoConfig(op);
    op.Log(LevelInformation,
           L"WLAN AutoConfig wait completed and WLAN Device Available. So Listening for WLAN Notifications..");
    {
        const std::lock_guard<std::mutex> lock(m_stopLock);
        if (stopping())
            return StartUpEnd::Stopping;
        ListenForWlanEvents();
        bool registration = true;
        if (RegisterWlanNotification(registration) != 0)
            op.Log(LevelError, L"RegisterWlanNotification (register) failed");
        // The network sink is advised by now and fills the same set from its
        // callbacks, which hold this lock while they touch it.
        const std::lock_guard<std::mutex> callbacks(connectivityCallbackMutex);
        NLMUtils::PrintNetworkConnections(m_pNetworkListManager.Get(), &m_ethernetConnections);
    }
    if (stopping())
        return StartUpEnd::Stopping;
    DWORD aliveFlags = 0;
    const BOOL alive = os::api().IsNetworkAlive(&aliveFlags);
    op.Log(LevelInformation, L"Network Alive : Return  = %d, Status : %d", alive, aliveFlags);

    // The Wi-Fi side.
    if (stopping())
        return StartUpEnd::Stopping;
    DecideWlanAtStartUp(op);

    {
        const std::lock_guard<std::mutex> lock(m_stopLock);
        if (stopping())
            return StartUpEnd::Stopping;
        if (!CreateManager(op, CLSID_MbnInterfaceManager, IID_IMbnInterfaceManager, m_pMbnInterfaceManager,
                           L"CoCreateInstance(CLSID_MbnInterfaceManager) failed with error: 0x%08X"))
            return StartUpEnd::EndedEarly;
    }
    op.Log(LevelInformation, L"Wait for (WWAN AutoConfig) to start");
    if (stopping())
        return StartUpEnd::Stopping;
    WaitForWwanAutoConfig(op);
    {
        const std::lock_guard<std::mutex> lock(m_stopLock);
        if (stopping())
            return StartUpEnd::Stopping;
        if (MbnInterfaceManager != m_pMbnInterfaceManager.Get()) {
            IMbnInterfaceManager* previous = MbnInterfaceManager;
            m_pMbnInterfaceManager->AddRef();
            MbnInterfaceManager = m_pMbnInterfaceManager.Get();
            if (previous != nullptr)
                previous->Release();
        }
    }
    if (stopping())
        return StartUpEnd::Stopping;
    WwanDeviceAvailable = ServiceUtils::EnumerateWwanInterfaces();
    if (!WwanDeviceAvailable) {
        // A machine without a mobile-broadband device ends here.
        op.Log(LevelError, L"WWAN Device enumeration failed / No supporting WWAN device found ");
        return StartUpEnd::EndedEarly;
    }
    op.Log(LevelInformation,
           L"WWAN AutoConfig wait completed and WWAN Device Available. So Listening for WWAN events..");
    {
        const std::lock_guard<std::mutex> lock(m_stopLock);
        if (stopping())
            return StartUpEnd::Stopping;
        ListenForWwanEvents();
    }

    // The mobile-broadband side.
    if (stopping())
        return StartUpEnd::Stopping;
    DecideWwanAtStartUp(op);
    return StartUpEnd::Completed;
}
