// CMainService: the service. It owns the operating-system objects of the
// switching engine (network list manager, mobile-broadband interface
// manager, their event connections and sinks, the Wi-Fi client handle, the
// airplane-watcher event) and starts the work at service start.
//
// Threads: constructed and destroyed on the main thread; OnStart on the
// dispatcher's service thread; OnStop, OnShutdown and OnContinue on the main
// (control-handler) thread, possibly while the worker still runs; the worker
// and the airplane watcher on thread-pool threads. OnStop does not wait for
// the worker: it takes m_stopLock, under which the worker creates and uses
// every member it sets, so a worker that comes after the stop finds the
// service stopping and creates nothing more. The object must outlive its
// work items: its owner calls WaitForWorkItems before destroying it.
#pragma once

#include "events/NLMEventHandler.h"
#include "logging/OperationLog.h"
#include "platform/ComPtr.h"
#include "platform/MbnApi.h"
#include "platform/UniqueHandle.h"
#include "radio/MbnSinks.h"
#include "service/ServiceBase.h"

#include <netlistmgr.h>
#include <ocidl.h>
#include <windows.h>
#include <wlanapi.h>

#include <atomic>
#include <mutex>
#include <set>
#include <string>

class CMainService : public CServiceBase {
public:
    static constexpr wchar_t kAirplaneWatcherEventName[] = L"AIRPLANE_WATCHER_EVENT";

    CMainService(const wchar_t* serviceName, bool canStop = true, bool canShutdown = true,
                 bool canPauseContinue = false);
    ~CMainService() override;

    using WorkItem = void (CMainService::*)();
    // Runs `function` on `object` on a thread-pool thread; throws the
    // GetLastError() value as a DWORD when it cannot be queued.
    void QueueWorkItem(WorkItem function, CMainService* object, ULONG flags);
    // Whether every work item queued for this object has returned within
    // `milliseconds` (a timed wait of the platform seam).
    bool WaitForWorkItems(DWORD milliseconds);

    // The one-shot start-up sequence (thread pool, persistent thread).
    void ServiceWorkerThread();
    // The loop that follows airplane mode until the service stops.
    void AirplaneModeWatcher();

    // Opens the Wi-Fi client handle when needed and registers (true) or
    // unregisters (false) the Wi-Fi notifications; a Win32 code.
    DWORD RegisterWlanNotification(bool& registration);
    static void WINAPI WlanNotificationCallback(PWLAN_NOTIFICATION_DATA data, PVOID context);
    // The two notifications the service follows (Native Wi-Fi thread).
    static void HandleWlanNotificationAcmNetworkAvailable();
    static void HandleWlanNotificationMsmRadioStateChange();

    // Put a radio back into the state the persisted power status remembers
    // (the airplane watcher, the worker and resume handling use them). They
    // need nothing of the object, so resume handling reaches them without one.
    static void UpdateWlanPowerStatus();
    static void UpdateWwanPowerStatus();

    // Attach the network event sink to the network list manager (connection,
    // network and manager events) and the radio event sink to the
    // mobile-broadband interface manager. Both managers must exist. Failures
    // are only logged; what was attached before a failure stays attached.
    void ListenForWlanEvents();
    void ListenForWwanEvents();

    // The tests' one door to the service's state: references to the members
    // that its start, subscriptions and stop set, for a test to set before a
    // step and read after it. The product never uses it.
    struct Subscription {
        os::ComPtr<IConnectionPoint>& point;
        DWORD& cookie;
    };
    struct MembersForTesting {
        std::atomic<bool>& running;
        HANDLE& airplaneWatcherEvent;
        HANDLE& wlanClient;
        os::ComPtr<INetworkListManager>& networkListManager;
        os::ComPtr<IMbnInterfaceManager>& mbnInterfaceManager;
        NLMEventHandler*& networkEventSink;
        CMbnSinks*& radioEventSink;
        Subscription nlmEvents;
        Subscription connectionEvents;
        Subscription networkEvents;
        Subscription radioEvents;
        const std::set<std::wstring>& ethernetConnections;
        std::mutex& stopLock;
    };
    MembersForTesting ForTesting();
    // The control steps as the service base calls them, without its status
    // reports.
    void OnStartForTesting(DWORD argc, LPWSTR* argv) { OnStart(argc, argv); }
    void OnStopForTesting() { OnStop(); }
    void OnShutdownForTesting() { OnShutdown(); }

protected:
    // The sinks the subscriptions create (tests hand in their own, or none
    // to play a failed allocation). The new object's count is 0.
    virtual NLMEventHandler* NewNetworkEventSink();
    virtual CMbnSinks* NewRadioEventSink();

    void OnStart(DWORD argc, LPWSTR* argv) override;
    void OnStop() override;
    void OnShutdown() override;

private:
    std::set<std::wstring> m_ethernetConnections;
    os::ComPtr<IConnectionPoint> m_pNlmEventsConnectionPoint;
    os::ComPtr<IConnectionPoint> m_pConnectionEventsConnectionPoint;
    os::ComPtr<IConnectionPoint> m_pNetworkEventsConnectionPoint;
    os::ComPtr<IConnectionPoint> m_pRadioEventsConnectionPoint;
    os::ComPtr<INetworkListManager> m_pNetworkListManager;
    os::ComPtr<IMbnInterfaceManager> m_pMbnInterfaceManager;
    DWORD m_nlmEventsCookie = 0;
    DWORD m_connectionEventsCookie = 0;
    DWORD m_networkEventsCookie = 0;
    DWORD m_radioEventsCookie = 0;
    // The network sink is stored without a reference of its own (the three
    // queries made for its advise hold theirs, for ever), the radio sink with
    // one (its one kept query would not outlive OnStop's release otherwise);
    // each is released once, in OnStop, and the destructor leaves them.
    NLMEventHandler* m_pNetworkEventSink = nullptr;
    CMbnSinks* m_pRadioEventSink = nullptr;
    // The airplane watcher loops while this is set, and the worker goes on
    // only while it is set. One byte, read and written without a lock.
    std::atomic<bool> m_fServiceRunning{false};
    // Both handles stay raw on purpose: each is nulled only when its close
    // succeeds, so that a failed close is tried again (the watcher or the
    // destructor closes the event, OnStop the client). The event is
    // created, signalled and closed only under m_watcherEventLock.
    HANDLE m_hAirplaneWatcherEvent = nullptr;
    HANDLE m_hWlanClient = nullptr;
    std::mutex m_watcherEventLock;
    // Held by OnStop for its whole run and by the worker around each step
    // that creates or uses a member; taken before connectivityCallbackMutex.
    std::mutex m_stopLock;

private:
    // How the start-up steps ended: all run; ended early as prescribed (no
    // COM class, no modem), without the exit line; or at a stop.
    enum class StartUpEnd { Completed, EndedEarly, Stopping };
    StartUpEnd RunStartUpSteps(const QX::Shared::OperationLog& op);

    // The watcher's event, created again when it is missing (logged when
    // that fails too); taken under m_watcherEventLock.
    HANDLE WatcherEvent(const QX::Shared::FunctionLog& log);

    struct WorkItemCall;
    static DWORD WINAPI WorkItemTrampoline(LPVOID context);
    void WorkItemEnded();

    // Work items queued and not yet returned, and a manual-reset event that
    // is signalled while there are none.
    std::atomic<int> m_runningWorkItems{0};
    os::UniqueHandle m_noWorkItems;
};
