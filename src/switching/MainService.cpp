#include "switching/MainService.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "service/Utils.h"
#include "state/ServiceNames.h"

#include <memory>
#include <utility>

using namespace QX::Shared;

// The function and object of one queued work item.
struct CMainService::WorkItemCall {
    WorkItem function;
    CMainService* object;
};

namespace {

// Releases the object, if any, and nulls the pointer.
template <typename Interface>
void ReleaseAndClear(Interface*& pointer)
{
    if (pointer) {
        pointer->Release();
        pointer = nullptr;
    }
}

}  // namespace

CMainService::CMainService(const wchar_t* serviceName, bool canStop, bool canShutdown, bool canPauseContinue)
    : CServiceBase(serviceName, canStop, canShutdown, canPauseContinue)
{
    OperationLog op("CMainService::CMainService");
    // A real event (not the seam's): only the wait on it is a timed pause.
    m_noWorkItems.reset(::CreateEventW(nullptr, TRUE, TRUE, nullptr));
    // Manual reset: once set at stop, every later wait of the watcher ends at once.
    m_hAirplaneWatcherEvent = os::api().CreateEventW(nullptr, TRUE, FALSE, kAirplaneWatcherEventName);
    if (m_hAirplaneWatcherEvent == nullptr)
        op.Log(LevelError, L"CreateEvent (AirPlaneWatcherEvent) failed with error %d", GetLastError());
    op.Exit();
}

CMainService::~CMainService()
{
    OperationLog op("CMainService::~CMainService");
    {
        std::lock_guard<std::mutex> lock(m_watcherEventLock);
        if (m_hAirplaneWatcherEvent != nullptr && CloseHandle(m_hAirplaneWatcherEvent))
            m_hAirplaneWatcherEvent = nullptr;
    }
    m_pMbnInterfaceManager.Reset();
    m_pNetworkListManager.Reset();
    m_pRadioEventsConnectionPoint.Reset();
    m_pNlmEventsConnectionPoint.Reset();
    m_pConnectionEventsConnectionPoint.Reset();
    m_pNetworkEventsConnectionPoint.Reset();
    op.Exit();
}

CMainService::MembersForTesting CMainService::ForTesting()
{
    return {m_fServiceRunning,
            m_hAirplaneWatcherEvent,
            m_hWlanClient,
            m_pNetworkListManager,
            m_pMbnInterfaceManager,
            m_pNetworkEventSink,
            m_pRadioEventSink,
            {m_pNlmEventsConnectionPoint, m_nlmEventsCookie},
            {m_pConnectionEventsConnectionPoint, m_connectionEventsCookie},
            {m_pNetworkEventsConnectionPoint, m_networkEventsCookie},
            {m_pRadioEventsConnectionPoint, m_radioEventsCookie},
            m_ethernetConnections,
            m_stopLock};
}

void CMainService::OnStart(DWORD, LPWSTR*)
{
    OperationLog op("CMainService::OnStart");
    const std::wstring version = Utils::GetBinaryVersion();
    WriteEventLogEntry(L"LAN/WLAN | LAN/WWAN Switching Service in OnStart", EVENTLOG_INFORMATION_TYPE);
    op.Log(LevelInformation, L"LAN/WLAN | LAN/WWAN Switching Service (%s) in OnStart", version.c_str());
    // Only logged: the service runs without the restart policy too.
    const int32_t recovery = Utils::SetServiceRestartRecoveryOnFailure(kServiceName);
    op.Log(LevelInformation, L"LAN/WLAN | LAN/WWAN Switching Service Restart Recovery On Failure set status : %d",
           recovery);
    m_fServiceRunning = true;
    QueueWorkItem(&CMainService::ServiceWorkerThread, this, WT_EXECUTEINPERSISTENTTHREAD);
    op.Exit();
}

void CMainService::QueueWorkItem(WorkItem function, CMainService* object, ULONG flags)
{
    auto call = std::make_unique<WorkItemCall>(WorkItemCall{function, object});
    // Counted from the queueing, so that an item the pool has not started
    // yet keeps the object as well as one that runs. Items are queued from
    // 0 only by OnStart; later ones by a running item, so the count never
    // comes back from 0 while an ending item signals it.
    if (++object->m_runningWorkItems == 1)
        ::ResetEvent(object->m_noWorkItems.get());
    if (!os::api().QueueUserWorkItem(&CMainService::WorkItemTrampoline, call.get(), flags)) {
        const DWORD error = GetLastError();
        object->WorkItemEnded();
        throw error;
    }
    call.release();  // the trampoline frees it
}

DWORD WINAPI CMainService::WorkItemTrampoline(LPVOID context)
{
    std::unique_ptr<WorkItemCall> call(static_cast<WorkItemCall*>(context));
    // The last barrier of a pool thread: an exception leaving it would end
    // the process. The worker catches only the standard family, and a
    // QueueWorkItem inside a work item throws a DWORD.
    try {
        (call->object->*call->function)();
    } catch (...) {
        try {
            FunctionLog("CMainService::WorkItemTrampoline").Log(LevelError, L"Unhandled exception in a work item");
        } catch (...) {
            // Not even the line could be written; the thread must still return.
        }
    }
    // The last use of the object: its owner may destroy it from here on.
    call->object->WorkItemEnded();
    return 0;
}

void CMainService::WorkItemEnded()
{
    // The signal is the item's last touch of the object: a waiter may
    // destroy it as soon as the event is set.
    if (--m_runningWorkItems == 0)
        ::SetEvent(m_noWorkItems.get());
}

bool CMainService::WaitForWorkItems(DWORD milliseconds)
{
    return os::api().WaitForSingleObject(m_noWorkItems.get(), milliseconds) == WAIT_OBJECT_0;
}

void CMainService::OnStop()
{
    OperationLog op("CMainService::OnStop");
    op.Log(LevelInformation, L"LAN/WLAN - LAN/WWAN Switching Service in OnStop");
    // From here on the worker creates nothing more: it finds the flag
    // cleared at its next step, and waits for this stop to end if it is at
    // a step that uses the members.
    const std::lock_guard<std::mutex> stopping(m_stopLock);
    m_fServiceRunning = false;

    {
        // The watcher may be creating or closing the event right now.
        std::lock_guard<std::mutex> lock(m_watcherEventLock);
        if (m_hAirplaneWatcherEvent != nullptr && !os::api().SetEvent(m_hAirplaneWatcherEvent))
            op.Log(LevelError, L"Airplane Watcher Event Set failed with error %d", GetLastError());
    }

    bool unregister = false;
    if (RegisterWlanNotification(unregister) != 0)
        op.Log(LevelError, L"RegisterWlanNotification (Unregister) failed");

    const std::pair<os::ComPtr<IConnectionPoint>*, DWORD> networkPoints[] = {
        {&m_pNlmEventsConnectionPoint, m_nlmEventsCookie},
        {&m_pConnectionEventsConnectionPoint, m_connectionEventsCookie},
        {&m_pNetworkEventsConnectionPoint, m_networkEventsCookie},
    };
    for (const auto& [point, cookie] : networkPoints) {
        if (*point) {
            (*point)->Unadvise(cookie);
            point->Reset();
        }
    }
    ReleaseAndClear(m_pNetworkEventSink);
    m_pNetworkListManager.Reset();

    if (m_pRadioEventsConnectionPoint) {
        m_pRadioEventsConnectionPoint->Unadvise(m_radioEventsCookie);
        m_pRadioEventsConnectionPoint.Reset();
    }
    ReleaseAndClear(m_pRadioEventSink);
    m_pMbnInterfaceManager.Reset();

    if (m_hWlanClient != nullptr) {
        const DWORD error = os::api().WlanCloseHandle(m_hWlanClient, nullptr);
        if (error != ERROR_SUCCESS)
            op.Log(LevelError, L"WlanCloseHandle failed with error %d", error);  // kept: tried again next time
        else
            m_hWlanClient = nullptr;
    }

    os::api().CoUninitialize();
    op.Exit();
}

void CMainService::OnShutdown()
{
    OperationLog op("CMainService::OnShutdown");
    OnStop();
    op.Exit();
}
