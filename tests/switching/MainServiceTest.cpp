// CMainService: construction, start, stop in its order of releases,
// shutdown, destruction and the Wi-Fi notification registration.
#include "switching/MainService.h"

#include "fakes/FakeComObjects.h"
#include "fakes/FakeEventLog.h"
#include "fakes/FakeScm.h"
#include "fakes/FakeServiceDispatcher.h"
#include "fakes/RecordingListener.h"
#include "logging/LoggerSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using fakes::ComJournal;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// Opens the protected members to the tests.
class TestableMainService : public CMainService {
public:
    TestableMainService() : CMainService(L"Tessarine", true, true, false) {}
    using CMainService::m_connectionEventsCookie;
    using CMainService::m_ethernetConnections;
    using CMainService::m_fServiceRunning;
    using CMainService::m_hAirplaneWatcherEvent;
    using CMainService::m_hWlanClient;
    using CMainService::m_networkEventsCookie;
    using CMainService::m_nlmEventsCookie;
    using CMainService::m_pConnectionEventsConnectionPoint;
    using CMainService::m_pMbnInterfaceManager;
    using CMainService::m_pNetworkEventSink;
    using CMainService::m_pNetworkEventsConnectionPoint;
    using CMainService::m_pNetworkListManager;
    using CMainService::m_pNlmEventsConnectionPoint;
    using CMainService::m_pRadioEventSink;
    using CMainService::m_pRadioEventsConnectionPoint;
    using CMainService::m_radioEventsCookie;
    using CMainService::OnShutdown;
    using CMainService::OnStart;
    using CMainService::OnStop;

    // Everything the worker and the subscriptions would have set.
    void Subscribe(ComJournal& journal)
    {
        m_pNlmEventsConnectionPoint.Reset(new fakes::FakeConnectionPoint("nlm-point", journal));
        m_pConnectionEventsConnectionPoint.Reset(new fakes::FakeConnectionPoint("connection-point", journal));
        m_pNetworkEventsConnectionPoint.Reset(new fakes::FakeConnectionPoint("network-point", journal));
        m_pRadioEventsConnectionPoint.Reset(new fakes::FakeConnectionPoint("radio-point", journal));
        m_pNetworkListManager.Reset(new fakes::FakeNetworkListManager("network-list-manager", journal));
        m_pMbnInterfaceManager.Reset(new fakes::FakeMbnInterfaceManager("mbn-manager", journal));
        m_nlmEventsCookie = 11;
        m_connectionEventsCookie = 12;
        m_networkEventsCookie = 13;
        m_radioEventsCookie = 14;
        m_pNetworkEventSink = new fakes::FakeSink("network-sink", journal);
        m_pRadioEventSink = new fakes::FakeSink("radio-sink", journal);
    }
};

// Records the seam's Wi-Fi, event, thread-pool and COM calls.
struct PlatformCalls {
    static PlatformCalls* current;
    PlatformCalls()
    {
        current = this;
        seam->WlanOpenHandle = [](DWORD version, PVOID, PDWORD negotiated, PHANDLE handle) -> DWORD {
            current->journal.push_back("WlanOpenHandle " + std::to_string(version));
            if (current->openError)
                return current->openError;
            *negotiated = 2;
            *handle = current->wlanHandle;
            return ERROR_SUCCESS;
        };
        seam->WlanRegisterNotification = [](HANDLE handle, DWORD sources, BOOL ignoreDuplicate,
                                            WLAN_NOTIFICATION_CALLBACK callback, PVOID context, PVOID reserved,
                                            PDWORD previous) -> DWORD {
            current->journal.push_back("WlanRegisterNotification " + std::to_string(sources) + " " +
                                       std::to_string(ignoreDuplicate) + (callback ? " callback" : " none") +
                                       (context ? " context" : "") + (reserved ? " reserved" : "") +
                                       (previous ? " previous" : ""));
            current->registeredCallback = callback;
            EXPECT_EQ(handle, current->wlanHandle);
            SetLastError(current->lastErrorOnFailure);
            return current->registerError;
        };
        seam->WlanCloseHandle = [](HANDLE, PVOID) -> DWORD {
            current->journal.push_back("WlanCloseHandle");
            return current->closeError;
        };
        seam->SetEvent = [](HANDLE event) -> BOOL {
            current->journal.push_back("SetEvent");
            if (current->setEventFails) {
                SetLastError(ERROR_INVALID_HANDLE);
                return FALSE;
            }
            return ::SetEvent(event);
        };
        seam->CoUninitialize = []() { current->journal.push_back("CoUninitialize"); };
        seam->QueueUserWorkItem = [](LPTHREAD_START_ROUTINE function, PVOID context, ULONG flags) -> BOOL {
            current->journal.push_back("QueueUserWorkItem " + std::to_string(flags));
            if (current->queueError) {
                SetLastError(current->queueError);
                return FALSE;
            }
            current->queued.push_back({function, context});
            return TRUE;
        };
    }
    ~PlatformCalls() { current = nullptr; }
    // Runs the queued work items on this thread, as the pool would.
    void RunQueued()
    {
        for (auto& [function, context] : queued)
            function(context);
        queued.clear();
    }

    os::ScopedApiOverride seam;
    ComJournal journal;
    HANDLE wlanHandle = reinterpret_cast<HANDLE>(0x3A1);
    DWORD openError = 0;
    DWORD registerError = 0;
    DWORD lastErrorOnFailure = 0;
    DWORD closeError = 0;
    bool setEventFails = false;
    DWORD queueError = 0;
    WLAN_NOTIFICATION_CALLBACK registeredCallback = nullptr;
    std::vector<std::pair<LPTHREAD_START_ROUTINE, PVOID>> queued;
};
PlatformCalls* PlatformCalls::current = nullptr;

class MainServiceTest : public testing::Test {
protected:
    MainServiceTest() : logger_(fakes::LoggerWithRecorder(recorder_)) {}

    std::vector<std::wstring> TailsOf(const std::string& function) const { return recorder_->MessagesOf(function); }

    fakes::RecordingListener* recorder_ = nullptr;
    QX::Shared::ScopedLoggerForTesting logger_;
    PlatformCalls platform_;
};

TEST_F(MainServiceTest, StartsWithEverythingNullAndTheSetEmpty)
{
    TestableMainService service;
    EXPECT_TRUE(service.m_ethernetConnections.empty());
    EXPECT_FALSE(service.m_pNlmEventsConnectionPoint);
    EXPECT_FALSE(service.m_pRadioEventsConnectionPoint);
    EXPECT_FALSE(service.m_pNetworkListManager);
    EXPECT_FALSE(service.m_pMbnInterfaceManager);
    EXPECT_EQ(service.m_nlmEventsCookie, 0u);
    EXPECT_EQ(service.m_radioEventsCookie, 0u);
    EXPECT_EQ(service.m_pNetworkEventSink, nullptr);
    EXPECT_EQ(service.m_pRadioEventSink, nullptr);
    EXPECT_FALSE(service.m_fServiceRunning);
    EXPECT_EQ(service.m_hWlanClient, nullptr);
    EXPECT_EQ(service.Status().dwControlsAccepted, 0x145u);
}

TEST_F(MainServiceTest, ConstructorCreatesTheNamedManualResetAirplaneWatcherEvent)
{
    TestableMainService service;
    ASSERT_NE(service.m_hAirplaneWatcherEvent, nullptr);
    HANDLE byName = OpenEventW(SYNCHRONIZE | EVENT_MODIFY_STATE, FALSE, L"AIRPLANE_WATCHER_EVENT");
    ASSERT_NE(byName, nullptr);
    EXPECT_EQ(WaitForSingleObject(byName, 0), static_cast<DWORD>(WAIT_TIMEOUT));  // not signalled
    SetEvent(byName);
    // Manual reset: a satisfied wait leaves it signalled.
    EXPECT_EQ(WaitForSingleObject(service.m_hAirplaneWatcherEvent, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(service.m_hAirplaneWatcherEvent, 0), WAIT_OBJECT_0);
    CloseHandle(byName);
    EXPECT_THAT(TailsOf("CMainService::CMainService"), ElementsAre(L"", L""));
}

TEST_F(MainServiceTest, WithoutTheEventStartUpContinuesAndStopSkipsTheSignal)
{
    os::ScopedApiOverride seam;
    seam->CreateEventW = [](LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR) -> HANDLE {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    };
    TestableMainService service;
    EXPECT_EQ(service.m_hAirplaneWatcherEvent, nullptr);
    EXPECT_THAT(TailsOf("CMainService::CMainService"),
                ElementsAre(L"", L"CreateEvent (AirPlaneWatcherEvent) failed with error 5", L""));
    service.OnStop();
    EXPECT_THAT(platform_.journal, Not(Contains("SetEvent")));
}

TEST_F(MainServiceTest, OnStartReportsTheVersionSetsRecoveryAndQueuesTheWorker)
{
    fakes::FakeEventLog eventLog;
    fakes::FakeScm scm;
    scm.AddService(L"Tessarine", SERVICE_START_PENDING);
    TestableMainService service;
    service.OnStart(0, nullptr);

    ASSERT_EQ(eventLog.reports.size(), 1u);
    EXPECT_EQ(eventLog.reports[0].type, EVENTLOG_INFORMATION_TYPE);
    EXPECT_THAT(eventLog.reports[0].strings,
                ElementsAre(L"Tessarine", L"LAN/WLAN | LAN/WWAN Switching Service in OnStart"));
    EXPECT_THAT(TailsOf("CMainService::OnStart"),
                ElementsAre(L"", L"LAN/WLAN | LAN/WWAN Switching Service (" TESSARINE_VERSION_TEXT ") in OnStart",
                            L"LAN/WLAN | LAN/WWAN Switching Service Restart Recovery On Failure set status : 0", L""));
    EXPECT_TRUE(scm.Find(L"Tessarine")->hasFailureActions);
    EXPECT_TRUE(service.m_fServiceRunning);
    EXPECT_THAT(platform_.journal, ElementsAre("QueueUserWorkItem 128"));

    platform_.RunQueued();
    EXPECT_THAT(TailsOf("CMainService::ServiceWorkerThread"),
                ElementsAre(L"ServiceWorkerThread - Entry", L"ServiceWorkerThread - Exit"));
}

TEST_F(MainServiceTest, RecoveryFailureOnlyChangesTheStatusLine)
{
    fakes::FakeEventLog eventLog;
    fakes::FakeScm scm;  // no such service: -1
    TestableMainService service;
    service.OnStart(0, nullptr);
    EXPECT_THAT(TailsOf("CMainService::OnStart"),
                Contains(L"LAN/WLAN | LAN/WWAN Switching Service Restart Recovery On Failure set status : -1"));
    EXPECT_TRUE(service.m_fServiceRunning);
    EXPECT_THAT(platform_.journal, ElementsAre("QueueUserWorkItem 128"));
}

TEST_F(MainServiceTest, QueueWorkItemThrowsTheErrorWhenThePoolRefuses)
{
    platform_.queueError = ERROR_NOT_ENOUGH_MEMORY;
    TestableMainService service;
    try {
        service.QueueWorkItem(&CMainService::AirplaneModeWatcher, &service, WT_EXECUTEONLYONCE);
        FAIL() << "no exception";
    } catch (DWORD error) {
        EXPECT_EQ(error, static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
    }
    EXPECT_THAT(platform_.journal, ElementsAre("QueueUserWorkItem 8"));
}

TEST_F(MainServiceTest, QueueWorkItemRunsTheMemberOnTheObject)
{
    TestableMainService service;
    service.QueueWorkItem(&CMainService::AirplaneModeWatcher, &service, WT_EXECUTEONLYONCE);
    platform_.RunQueued();
    EXPECT_THAT(TailsOf("CMainService::AirplaneModeWatcher"), ElementsAre(L"", L""));
}

TEST_F(MainServiceTest, AStartWhoseWorkerCannotBeQueuedStopsWithTheError)
{
    fakes::FakeEventLog eventLog;
    fakes::FakeScm scm;
    fakes::FakeServiceDispatcher dispatcher;
    platform_.queueError = ERROR_NOT_ENOUGH_MEMORY;
    TestableMainService service;
    service.Start(0, nullptr);
    ASSERT_EQ(dispatcher.reports.size(), 2u);
    EXPECT_EQ(dispatcher.reports[1].dwCurrentState, static_cast<DWORD>(SERVICE_STOPPED));
    EXPECT_EQ(dispatcher.reports[1].dwWin32ExitCode, static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
    ASSERT_EQ(eventLog.reports.size(), 2u);
    EXPECT_THAT(eventLog.reports[1].strings, ElementsAre(L"Tessarine", L"Service Start failed w/err 0x00000008"));
}

TEST_F(MainServiceTest, OnStopReleasesEverythingInItsOrder)
{
    ComJournal journal;
    TestableMainService service;
    service.Subscribe(journal);
    service.m_fServiceRunning = true;
    service.m_hWlanClient = platform_.wlanHandle;
    service.OnStop();

    EXPECT_THAT(journal, ElementsAre("nlm-point Unadvise 11", "nlm-point Release", "connection-point Unadvise 12",
                                     "connection-point Release", "network-point Unadvise 13", "network-point Release",
                                     "network-sink Release", "network-list-manager Release", "radio-point Unadvise 14",
                                     "radio-point Release", "radio-sink Release", "mbn-manager Release"));
    EXPECT_THAT(platform_.journal, ElementsAre("SetEvent", "WlanRegisterNotification 0 1 none previous",
                                               "WlanCloseHandle", "CoUninitialize"));
    EXPECT_FALSE(service.m_fServiceRunning);
    EXPECT_FALSE(service.m_pNlmEventsConnectionPoint);
    EXPECT_FALSE(service.m_pRadioEventsConnectionPoint);
    EXPECT_FALSE(service.m_pNetworkListManager);
    EXPECT_FALSE(service.m_pMbnInterfaceManager);
    EXPECT_EQ(service.m_pNetworkEventSink, nullptr);
    EXPECT_EQ(service.m_pRadioEventSink, nullptr);
    EXPECT_EQ(service.m_hWlanClient, nullptr);
    EXPECT_EQ(WaitForSingleObject(service.m_hAirplaneWatcherEvent, 0), WAIT_OBJECT_0);
    EXPECT_THAT(TailsOf("CMainService::OnStop"),
                ElementsAre(L"", L"LAN/WLAN - LAN/WWAN Switching Service in OnStop", L""));
}

TEST_F(MainServiceTest, AStopBeforeTheWorkerSubscribedOnlyLogsItsScope)
{
    TestableMainService service;
    platform_.openError = ERROR_SERVICE_NOT_ACTIVE;  // no Wi-Fi service yet
    recorder_->Clear();
    service.OnStop();
    EXPECT_THAT(TailsOf("CMainService::OnStop"),
                ElementsAre(L"", L"LAN/WLAN - LAN/WWAN Switching Service in OnStop",
                            L"RegisterWlanNotification (Unregister) failed", L""));
    EXPECT_THAT(platform_.journal, ElementsAre("SetEvent", "WlanOpenHandle 2", "CoUninitialize"));
}

TEST_F(MainServiceTest, ASecondStopFindsEverythingReleasedAndStillUninitialisesCom)
{
    ComJournal journal;
    TestableMainService service;
    service.Subscribe(journal);
    service.m_hWlanClient = platform_.wlanHandle;
    service.OnStop();
    const size_t releases = journal.size();
    platform_.journal.clear();
    service.OnStop();
    EXPECT_EQ(journal.size(), releases);
    // The Wi-Fi handle was closed, so the unregistration opens a new one.
    EXPECT_THAT(platform_.journal, ElementsAre("SetEvent", "WlanOpenHandle 2",
                                               "WlanRegisterNotification 0 1 none previous", "WlanCloseHandle",
                                               "CoUninitialize"));
}

TEST_F(MainServiceTest, AFailedEventSignalIsLoggedAndTheStopGoesOn)
{
    platform_.setEventFails = true;
    TestableMainService service;
    service.m_hWlanClient = platform_.wlanHandle;
    service.OnStop();
    EXPECT_THAT(TailsOf("CMainService::OnStop"), Contains(L"Airplane Watcher Event Set failed with error 6"));
    EXPECT_THAT(platform_.journal, Contains("CoUninitialize"));
}

TEST_F(MainServiceTest, AFailedWlanCloseKeepsTheHandleSoTheNextStopTriesAgain)
{
    platform_.closeError = ERROR_INVALID_HANDLE;
    TestableMainService service;
    service.m_hWlanClient = platform_.wlanHandle;
    service.OnStop();
    EXPECT_EQ(service.m_hWlanClient, platform_.wlanHandle);
    EXPECT_THAT(TailsOf("CMainService::OnStop"), Contains(L"WlanCloseHandle failed with error 6"));
    platform_.closeError = 0;
    platform_.journal.clear();
    service.OnStop();
    EXPECT_THAT(platform_.journal, Contains("WlanCloseHandle"));
    EXPECT_THAT(platform_.journal, Not(Contains("WlanOpenHandle 2")));
    EXPECT_EQ(service.m_hWlanClient, nullptr);
}

TEST_F(MainServiceTest, OnShutdownRunsOnStopWithinItsScope)
{
    TestableMainService service;
    service.m_hWlanClient = platform_.wlanHandle;
    recorder_->Clear();
    service.OnShutdown();
    const std::vector<std::wstring> tails = recorder_->Tails();
    ASSERT_GE(tails.size(), 4u);
    EXPECT_EQ(tails.front(), L"CMainService::OnShutdown|");
    EXPECT_EQ(tails[1], L"CMainService::OnStop|");
    EXPECT_EQ(tails.back(), L"CMainService::OnShutdown|");
    EXPECT_THAT(platform_.journal, Contains("CoUninitialize"));
}

TEST_F(MainServiceTest, DestructorReleasesManagersAndPointsButNotTheSinks)
{
    ComJournal journal;
    fakes::FakeSink* networkSink = nullptr;
    fakes::FakeSink* radioSink = nullptr;
    {
        TestableMainService service;
        service.Subscribe(journal);
        networkSink = static_cast<fakes::FakeSink*>(service.m_pNetworkEventSink);
        radioSink = static_cast<fakes::FakeSink*>(service.m_pRadioEventSink);
    }
    EXPECT_THAT(journal, ElementsAre("mbn-manager Release", "network-list-manager Release", "radio-point Release",
                                     "nlm-point Release", "connection-point Release", "network-point Release"));
    EXPECT_THAT(TailsOf("CMainService::~CMainService"), ElementsAre(L"", L""));
    // The sinks belong to their advise until OnStop; release them here.
    networkSink->Release();
    radioSink->Release();
}

TEST_F(MainServiceTest, RegisteringOpensTheClientAndAsksForAcmAndMsmNotifications)
{
    TestableMainService service;
    bool registration = true;
    EXPECT_EQ(service.RegisterWlanNotification(registration), 0u);
    EXPECT_EQ(service.m_hWlanClient, platform_.wlanHandle);
    EXPECT_THAT(platform_.journal, ElementsAre("WlanOpenHandle 2", "WlanRegisterNotification 24 1 callback previous"));
    EXPECT_EQ(platform_.registeredCallback, &CMainService::WlanNotificationCallback);
    EXPECT_THAT(TailsOf("CMainService::RegisterWlanNotification"),
                ElementsAre(L"Registration Status - 1, WLANHandle = 0x00000000", L"Return  = 0"));
}

TEST_F(MainServiceTest, RegisteringAgainKeepsTheOpenClient)
{
    TestableMainService service;
    service.m_hWlanClient = platform_.wlanHandle;
    bool registration = true;
    service.RegisterWlanNotification(registration);
    EXPECT_THAT(platform_.journal, ElementsAre("WlanRegisterNotification 24 1 callback previous"));
    EXPECT_THAT(TailsOf("CMainService::RegisterWlanNotification").front(),
                L"Registration Status - 1, WLANHandle = 0x000003a1");
    service.m_hWlanClient = nullptr;
}

TEST_F(MainServiceTest, AClientThatCannotBeOpenedReturnsItsCodeWithoutAnExitLine)
{
    platform_.openError = ERROR_SERVICE_NOT_ACTIVE;
    TestableMainService service;
    bool registration = true;
    EXPECT_EQ(service.RegisterWlanNotification(registration), static_cast<DWORD>(ERROR_SERVICE_NOT_ACTIVE));
    EXPECT_THAT(TailsOf("CMainService::RegisterWlanNotification"),
                ElementsAre(L"Registration Status - 1, WLANHandle = 0x00000000", L"WlanOpenHandle failed with error: 1062"));
}

TEST_F(MainServiceTest, RegistrationFailureLogsTheLastErrorAndReturnsTheCode)
{
    platform_.registerError = ERROR_INVALID_STATE;
    platform_.lastErrorOnFailure = 87;
    TestableMainService service;
    bool registration = true;
    EXPECT_EQ(service.RegisterWlanNotification(registration), static_cast<DWORD>(ERROR_INVALID_STATE));
    EXPECT_THAT(TailsOf("CMainService::RegisterWlanNotification"),
                ElementsAre(L"Registration Status - 1, WLANHandle = 0x00000000",
                            L"WlanRegisterNotification(Registration) fail with err 87!!", L"Return  = 5023"));
}

TEST_F(MainServiceTest, UnregistrationFailureLogsTheLastErrorAndReturnsTheCode)
{
    platform_.registerError = ERROR_INVALID_STATE;
    platform_.lastErrorOnFailure = 87;
    TestableMainService service;
    service.m_hWlanClient = platform_.wlanHandle;
    bool registration = false;
    EXPECT_EQ(service.RegisterWlanNotification(registration), static_cast<DWORD>(ERROR_INVALID_STATE));
    EXPECT_THAT(TailsOf("CMainService::RegisterWlanNotification"),
                ElementsAre(L"Registration Status - 0, WLANHandle = 0x000003a1",
                            L"WlanRegisterNotification (Un-Registration) fail with err 87!!", L"Return  = 5023"));
    service.m_hWlanClient = nullptr;
}

} // namespace
