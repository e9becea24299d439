// CMainService: construction, start, stop in its order of releases,
// shutdown, destruction and the Wi-Fi notification registration.
#include "switching/MainService.h"

#include "fakes/FakeComObjects.h"
#include "fakes/FakeComRuntime.h"
#include "fakes/FakeEvents.h"
#include "models/FakeIpHelper.h"
#include "fakes/FakeEventLog.h"
#include "fakes/FakeScm.h"
#include "fakes/FakeServiceDispatcher.h"
#include "fakes/FakeThreadPool.h"
#include "models/FakeWlanClient.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "state/SwitchingState.h"
#include "switching/ResumeHandler.h"
#include "ServiceUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// The open service, subscribed as its worker subscribes it: through its own
// subscriptions, to managers whose connection points count references as
// the platform's do and journal their unadvises and releases.
class TestableMainService : public switching_tests::ServiceUnderTest {
public:
    void Subscribe(fakes::Journal& journal)
    {
        m_journal = &journal;
        auto* networkList = new fakes::FakeNetworkListManager("network-list-manager", journal);
        networkList->AddPoint(
            new fakes::FakeConnectionPoint("nlm-point", journal, IID_INetworkListManagerEvents, 11));
        networkList->AddPoint(
            new fakes::FakeConnectionPoint("connection-point", journal, IID_INetworkConnectionEvents, 12));
        networkList->AddPoint(new fakes::FakeConnectionPoint("network-point", journal, IID_INetworkEvents, 13));
        ForTesting().networkListManager.Reset(networkList);
        auto* broadband = new fakes::FakeMbnInterfaceManager("mbn-manager", journal);
        broadband->AddPoint(new fakes::FakeConnectionPoint("radio-point", journal, IID_IMbnRadioEvents, 14));
        ForTesting().mbnInterfaceManager.Reset(broadband);
        ListenForWlanEvents();
        ListenForWwanEvents();
        journal.clear();
    }

protected:
    NLMEventHandler* NewNetworkEventSink() override
    {
        return new fakes::JournalledNetworkSink("network-sink", *m_journal);
    }

private:
    fakes::Journal* m_journal = nullptr;
};

// Gives back the references the subscriptions keep for ever on each sink
// (after OnStop: the network sink's three queries, less the one OnStop's
// release took, as its member holds none; the radio sink's one query).
void ReleaseKeptReferences(NLMEventHandler* networkSink, CMbnSinks* radioSink)
{
    EXPECT_EQ(networkSink->Release(), 1u);
    EXPECT_EQ(networkSink->Release(), 0u);
    EXPECT_EQ(radioSink->Release(), 0u);
}

using Platform = switching_tests::JournalledPlatform;

const HANDLE kClient = fakes::FakeWlanClient::kClientHandle;

using WlanFailure = fakes::FakeWlanClient::Failure;

class MainServiceTest : public testing::Test {
protected:
    fakes::RecordingLog m_log;
    Platform m_platform;
};

TEST_F(MainServiceTest, StartsWithEverythingNullAndTheSetEmpty)
{
    TestableMainService service;
    EXPECT_TRUE(service.ForTesting().ethernetConnections.empty());
    EXPECT_FALSE(service.ForTesting().nlmEvents.point);
    EXPECT_FALSE(service.ForTesting().radioEvents.point);
    EXPECT_FALSE(service.ForTesting().networkListManager);
    EXPECT_FALSE(service.ForTesting().mbnInterfaceManager);
    EXPECT_EQ(service.ForTesting().nlmEvents.cookie, 0u);
    EXPECT_EQ(service.ForTesting().radioEvents.cookie, 0u);
    EXPECT_EQ(service.ForTesting().networkEventSink, nullptr);
    EXPECT_EQ(service.ForTesting().radioEventSink, nullptr);
    EXPECT_FALSE(service.ForTesting().running);
    EXPECT_EQ(service.ForTesting().wlanClient, nullptr);
    EXPECT_EQ(service.Status().dwControlsAccepted, 0x145u);
}

TEST_F(MainServiceTest, ConstructorCreatesTheNamedManualResetAirplaneWatcherEvent)
{
    TestableMainService service;
    ASSERT_NE(service.ForTesting().airplaneWatcherEvent, nullptr);
    HANDLE byName = OpenEventW(SYNCHRONIZE | EVENT_MODIFY_STATE, FALSE, L"AIRPLANE_WATCHER_EVENT");
    ASSERT_NE(byName, nullptr);
    EXPECT_EQ(WaitForSingleObject(byName, 0), static_cast<DWORD>(WAIT_TIMEOUT));  // not signalled
    SetEvent(byName);
    // Manual reset: a satisfied wait leaves it signalled.
    EXPECT_EQ(WaitForSingleObject(service.ForTesting().airplaneWatcherEvent, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(service.ForTesting().airplaneWatcherEvent, 0), WAIT_OBJECT_0);
    CloseHandle(byName);
    EXPECT_THAT(m_log.LinesOf("CMainService::CMainService"),
                ElementsAre(L"TraceIn|CMainService::CMainService|", L"TraceOut|CMainService::CMainService|"));
}

TEST_F(MainServiceTest, WithoutTheEventStartUpContinuesAndStopSkipsTheSignal)
{
    m_platform.events.Fail(fakes::FakeEvents::Failure::CreateEvent, ERROR_ACCESS_DENIED);
    fakes::FakeEventLog eventLog;
    fakes::FakeScm scm;
    scm.AddService(L"Tessarine", SERVICE_START_PENDING);
    fakes::FakeServiceDispatcher dispatcher;
    TestableMainService service;
    EXPECT_EQ(service.ForTesting().airplaneWatcherEvent, nullptr);
    EXPECT_THAT(m_log.LinesOf("CMainService::CMainService"),
                ElementsAre(L"TraceIn|CMainService::CMainService|",
                            L"Error|CMainService::CMainService|CreateEvent (AirPlaneWatcherEvent) failed with error 5",
                            L"TraceOut|CMainService::CMainService|"));

    service.Start(0, nullptr);
    ASSERT_EQ(dispatcher.reports.size(), 2u);
    EXPECT_EQ(dispatcher.reports[1].dwCurrentState, static_cast<DWORD>(SERVICE_RUNNING));
    EXPECT_TRUE(service.ForTesting().running);
    EXPECT_THAT(m_platform.pool.flags, ElementsAre(static_cast<ULONG>(WT_EXECUTEINPERSISTENTTHREAD)));

    m_platform.journal.clear();
    service.OnStopForTesting();
    EXPECT_THAT(m_platform.journal, Not(Contains("SetEvent")));
    EXPECT_THAT(m_log.LinesOf("CMainService::OnStop"), Not(Contains(testing::HasSubstr(L"Airplane Watcher Event"))));
}

TEST_F(MainServiceTest, OnStartReportsTheVersionSetsRecoveryAndQueuesTheWorker)
{
    fakes::FakeEventLog eventLog;
    fakes::FakeScm scm;
    scm.AddService(L"Tessarine", SERVICE_START_PENDING);
    TestableMainService service;
    service.OnStartForTesting(0, nullptr);

    ASSERT_EQ(eventLog.reports.size(), 1u);
    EXPECT_EQ(eventLog.reports[0].type, EVENTLOG_INFORMATION_TYPE);
    EXPECT_THAT(eventLog.reports[0].strings,
                ElementsAre(L"Tessarine", L"LAN/WLAN | LAN/WWAN Switching Service in OnStart"));
    EXPECT_THAT(
        m_log.LinesOf("CMainService::OnStart"),
        ElementsAre(L"TraceIn|CMainService::OnStart|",
                    L"Information|CMainService::OnStart|LAN/WLAN | LAN/WWAN Switching Service (" TESSARINE_VERSION_TEXT
                    ") in OnStart",
                    L"Information|CMainService::OnStart|LAN/WLAN | LAN/WWAN Switching Service Restart Recovery On "
                    L"Failure set status : 0",
                    L"TraceOut|CMainService::OnStart|"));
    EXPECT_TRUE(scm.Find(L"Tessarine")->hasFailureActions);
    EXPECT_TRUE(service.ForTesting().running);
    EXPECT_THAT(m_platform.journal, ElementsAre("QueueUserWorkItem 128"));

    // The queued item is the worker (here it finds no network list manager:
    // the platform's COM has no class).
    m_platform.pool.RunQueued();
    EXPECT_THAT(m_log.LinesOf("CMainService::ServiceWorkerThread"),
                ElementsAre(L"TraceIn|CMainService::ServiceWorkerThread|ServiceWorkerThread - Entry",
                            L"Error|CMainService::ServiceWorkerThread|CoCreateInstance(CLSID_NetworkListManager) "
                            L"failed with error: 0x80040154"));
}

TEST_F(MainServiceTest, RecoveryFailureOnlyChangesTheStatusLine)
{
    fakes::FakeEventLog eventLog;
    fakes::FakeScm scm;  // no such service: -1
    TestableMainService service;
    service.OnStartForTesting(0, nullptr);
    EXPECT_THAT(
        m_log.LinesOf("CMainService::OnStart"),
        ElementsAre(L"TraceIn|CMainService::OnStart|",
                    L"Information|CMainService::OnStart|LAN/WLAN | LAN/WWAN Switching Service (" TESSARINE_VERSION_TEXT
                    ") in OnStart",
                    L"Information|CMainService::OnStart|LAN/WLAN | LAN/WWAN Switching Service Restart Recovery On "
                    L"Failure set status : -1",
                    L"TraceOut|CMainService::OnStart|"));
    EXPECT_EQ(eventLog.reports.size(), 1u);
    EXPECT_TRUE(service.ForTesting().running);
    EXPECT_THAT(m_platform.journal, ElementsAre("QueueUserWorkItem 128"));
}

TEST_F(MainServiceTest, QueueWorkItemThrowsTheErrorWhenThePoolRefuses)
{
    m_platform.pool.Fail(fakes::FakeThreadPool::Failure::QueueUserWorkItem, ERROR_NOT_ENOUGH_MEMORY);
    TestableMainService service;
    try {
        service.QueueWorkItem(&CMainService::AirplaneModeWatcher, &service, WT_EXECUTEONLYONCE);
        FAIL() << "no exception";
    } catch (DWORD error) {
        EXPECT_EQ(error, static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
    }
    EXPECT_THAT(m_platform.journal, ElementsAre("QueueUserWorkItem 8"));
}

TEST_F(MainServiceTest, QueueWorkItemRunsTheMemberOnTheObject)
{
    TestableMainService service;
    service.QueueWorkItem(&CMainService::AirplaneModeWatcher, &service, WT_EXECUTEONLYONCE);
    m_platform.pool.RunQueued();
    // Not running: the watcher ends before its first pass.
    EXPECT_THAT(m_log.LinesOf("CMainService::AirplaneModeWatcher"),
                ElementsAre(L"TraceIn|CMainService::AirplaneModeWatcher|AirplaneModeWatcher - Entry",
                            L"TraceOut|CMainService::AirplaneModeWatcher|AirplaneModeWatcher - Exit"));
}

TEST_F(MainServiceTest, AStartWhoseWorkerCannotBeQueuedStopsWithTheError)
{
    fakes::FakeEventLog eventLog;
    fakes::FakeScm scm;
    fakes::FakeServiceDispatcher dispatcher;
    m_platform.pool.Fail(fakes::FakeThreadPool::Failure::QueueUserWorkItem, ERROR_NOT_ENOUGH_MEMORY);
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
    fakes::Journal journal;
    TestableMainService service;
    service.Subscribe(journal);
    service.ForTesting().running = true;
    service.ForTesting().wlanClient = kClient;
    NLMEventHandler* networkSink = service.ForTesting().networkEventSink;
    CMbnSinks* radioSink = service.ForTesting().radioEventSink;
    // The radio sink does not journal: its references at the releases of
    // its neighbours show when it was released.
    ULONG radioSinkAtPointRelease = 0;
    ULONG radioSinkAtManagerRelease = 0;
    static_cast<fakes::FakeConnectionPoint*>(service.ForTesting().radioEvents.point.Get())
        ->BeforeRelease([&] {
            if (radioSinkAtPointRelease == 0)  // the member's release; the manager's own comes later
                radioSinkAtPointRelease = fakes::ReferencesOf(radioSink);
        });
    static_cast<fakes::FakeMbnInterfaceManager*>(service.ForTesting().mbnInterfaceManager.Get())
        ->BeforeRelease([&] { radioSinkAtManagerRelease = fakes::ReferencesOf(radioSink); });
    service.OnStopForTesting();

    EXPECT_THAT(journal,
                ElementsAre("nlm-point Unadvise 11", "network-sink Release", "nlm-point Release",
                            "connection-point Unadvise 12", "network-sink Release", "connection-point Release",
                            "network-point Unadvise 13", "network-sink Release", "network-point Release",
                            "network-sink Release", "network-list-manager Release", "radio-point Unadvise 14",
                            "radio-point Release", "mbn-manager Release"));
    // Each unadvise gave back the point's reference on the sink ("network-sink
    // Release" after each); then OnStop's own release.
    // "radio-sink Release" came between "radio-point Release" and "mbn-manager Release".
    EXPECT_EQ(radioSinkAtPointRelease, 2u);
    EXPECT_EQ(radioSinkAtManagerRelease, 1u);
    EXPECT_THAT(
        m_platform.journal,
        ElementsAre("SetEvent", "WlanRegisterNotification 0 1 none previous", "WlanCloseHandle", "CoUninitialize"));
    EXPECT_FALSE(service.ForTesting().running);
    EXPECT_FALSE(service.ForTesting().nlmEvents.point);
    EXPECT_FALSE(service.ForTesting().radioEvents.point);
    EXPECT_FALSE(service.ForTesting().networkListManager);
    EXPECT_FALSE(service.ForTesting().mbnInterfaceManager);
    EXPECT_EQ(service.ForTesting().networkEventSink, nullptr);
    EXPECT_EQ(service.ForTesting().radioEventSink, nullptr);
    EXPECT_EQ(service.ForTesting().wlanClient, nullptr);
    EXPECT_EQ(WaitForSingleObject(service.ForTesting().airplaneWatcherEvent, 0), WAIT_OBJECT_0);
    EXPECT_THAT(m_log.LinesOf("CMainService::OnStop"),
                ElementsAre(L"TraceIn|CMainService::OnStop|",
                            L"Information|CMainService::OnStop|LAN/WLAN - LAN/WWAN Switching Service in OnStop",
                            L"TraceOut|CMainService::OnStop|"));
    // Each sink was released once: the kept reference is the last one.
    ReleaseKeptReferences(networkSink, radioSink);
}

TEST_F(MainServiceTest, AStopBeforeTheWorkerSubscribedOnlyLogsItsScope)
{
    TestableMainService service;
    m_platform.wlan.Fail(WlanFailure::OpenHandle, ERROR_SERVICE_NOT_ACTIVE);  // no Wi-Fi service yet
    m_log.Clear();
    service.OnStopForTesting();
    EXPECT_THAT(m_log.LinesOf("CMainService::OnStop"),
                ElementsAre(L"TraceIn|CMainService::OnStop|",
                            L"Information|CMainService::OnStop|LAN/WLAN - LAN/WWAN Switching Service in OnStop",
                            L"Error|CMainService::OnStop|RegisterWlanNotification (Unregister) failed",
                            L"TraceOut|CMainService::OnStop|"));
    EXPECT_THAT(m_platform.journal, ElementsAre("SetEvent", "WlanOpenHandle 2", "CoUninitialize"));
}

TEST_F(MainServiceTest, ASecondStopFindsEverythingReleasedAndStillUninitialisesCom)
{
    fakes::Journal journal;
    TestableMainService service;
    service.Subscribe(journal);
    service.ForTesting().wlanClient = kClient;
    NLMEventHandler* networkSink = service.ForTesting().networkEventSink;
    CMbnSinks* radioSink = service.ForTesting().radioEventSink;
    service.OnStopForTesting();
    const size_t releases = journal.size();
    m_platform.journal.clear();
    service.OnStopForTesting();
    EXPECT_EQ(journal.size(), releases);
    ReleaseKeptReferences(networkSink, radioSink);
    // The Wi-Fi handle was closed, so the unregistration opens a new one.
    EXPECT_THAT(m_platform.journal,
                ElementsAre("SetEvent", "WlanOpenHandle 2", "WlanRegisterNotification 0 1 none previous",
                            "WlanCloseHandle", "CoUninitialize"));
}

TEST_F(MainServiceTest, AFailedEventSignalIsLoggedAndTheStopGoesOn)
{
    m_platform.events.Fail(fakes::FakeEvents::Failure::SetEvent, ERROR_INVALID_HANDLE);
    TestableMainService service;
    service.ForTesting().wlanClient = kClient;
    service.OnStopForTesting();
    EXPECT_THAT(m_log.LinesOf("CMainService::OnStop"),
                Contains(L"Error|CMainService::OnStop|Airplane Watcher Event Set failed with error 6"));
    EXPECT_THAT(m_platform.journal, Contains("CoUninitialize"));
}

TEST_F(MainServiceTest, AFailedWlanCloseKeepsTheHandleSoTheNextStopTriesAgain)
{
    m_platform.wlan.Fail(WlanFailure::CloseHandle, ERROR_INVALID_HANDLE);
    TestableMainService service;
    service.ForTesting().wlanClient = kClient;
    service.OnStopForTesting();
    EXPECT_EQ(service.ForTesting().wlanClient, kClient);
    EXPECT_THAT(m_log.LinesOf("CMainService::OnStop"),
                Contains(L"Error|CMainService::OnStop|WlanCloseHandle failed with error 6"));
    m_platform.wlan.Heal();
    m_platform.journal.clear();
    service.OnStopForTesting();
    EXPECT_THAT(m_platform.journal, Contains("WlanCloseHandle"));
    EXPECT_THAT(m_platform.journal, Not(Contains("WlanOpenHandle 2")));
    EXPECT_EQ(service.ForTesting().wlanClient, nullptr);
}

TEST_F(MainServiceTest, OnShutdownRunsOnStopWithinItsScope)
{
    TestableMainService service;
    service.ForTesting().wlanClient = kClient;
    m_log.Clear();
    service.OnShutdownForTesting();
    const std::vector<std::wstring> tails = m_log.Lines();
    ASSERT_GE(tails.size(), 4u);
    EXPECT_EQ(tails.front(), L"TraceIn|CMainService::OnShutdown|");
    EXPECT_EQ(tails[1], L"TraceIn|CMainService::OnStop|");
    EXPECT_EQ(tails.back(), L"TraceOut|CMainService::OnShutdown|");
    EXPECT_THAT(m_platform.journal, Contains("CoUninitialize"));
}

TEST_F(MainServiceTest, DestructorReleasesManagersAndPointsButNotTheSinks)
{
    fakes::Journal journal;
    NLMEventHandler* networkSink = nullptr;
    CMbnSinks* radioSink = nullptr;
    {
        TestableMainService service;
        service.Subscribe(journal);
        networkSink = service.ForTesting().networkEventSink;
        radioSink = service.ForTesting().radioEventSink;
    }
    EXPECT_THAT(journal,
                ElementsAre("mbn-manager Release", "network-list-manager Release", "radio-point Release",
                            "nlm-point Release", "network-sink Release", "connection-point Release",
                            "network-sink Release", "network-point Release", "network-sink Release"));
    EXPECT_THAT(m_log.LinesOf("CMainService::~CMainService"),
                ElementsAre(L"TraceIn|CMainService::~CMainService|", L"TraceOut|CMainService::~CMainService|"));
    // The points' ends gave back the advises' references; the sinks keep
    // their subscriptions' (three queries; one query and the member's).
    EXPECT_EQ(fakes::ReferencesOf(static_cast<INetworkListManagerEvents*>(networkSink)), 3u);
    EXPECT_EQ(fakes::ReferencesOf(radioSink), 2u);
    for (ULONG left = 3; left > 0; --left)
        EXPECT_EQ(networkSink->Release(), left - 1);
    EXPECT_EQ(radioSink->Release(), 1u);
    EXPECT_EQ(radioSink->Release(), 0u);
}

TEST_F(MainServiceTest, RegisteringOpensTheClientAndAsksForAcmAndMsmNotifications)
{
    TestableMainService service;
    bool registration = true;
    EXPECT_EQ(service.RegisterWlanNotification(registration), 0u);
    EXPECT_EQ(service.ForTesting().wlanClient, kClient);
    EXPECT_THAT(m_platform.journal, ElementsAre("WlanOpenHandle 2", "WlanRegisterNotification 24 1 callback previous"));
    EXPECT_EQ(m_platform.wlan.registeredCallback, &CMainService::WlanNotificationCallback);
    EXPECT_EQ(m_platform.wlan.registeredHandle, kClient);
    EXPECT_THAT(
        m_log.LinesOf("CMainService::RegisterWlanNotification"),
        ElementsAre(L"TraceIn|CMainService::RegisterWlanNotification|Registration Status - 1, WLANHandle = 0x00000000",
                    L"TraceOut|CMainService::RegisterWlanNotification|Return  = 0"));
}

TEST_F(MainServiceTest, RegisteringAgainKeepsTheOpenClient)
{
    TestableMainService service;
    service.ForTesting().wlanClient = kClient;
    bool registration = true;
    service.RegisterWlanNotification(registration);
    EXPECT_THAT(m_platform.journal, ElementsAre("WlanRegisterNotification 24 1 callback previous"));
    EXPECT_THAT(m_log.LinesOf("CMainService::RegisterWlanNotification").front(),
                L"TraceIn|CMainService::RegisterWlanNotification|Registration Status - 1, WLANHandle = 0x000003a1");
    service.ForTesting().wlanClient = nullptr;
}

TEST_F(MainServiceTest, AClientThatCannotBeOpenedReturnsItsCodeWithoutAnExitLine)
{
    m_platform.wlan.Fail(WlanFailure::OpenHandle, ERROR_SERVICE_NOT_ACTIVE);
    TestableMainService service;
    bool registration = true;
    EXPECT_EQ(service.RegisterWlanNotification(registration), static_cast<DWORD>(ERROR_SERVICE_NOT_ACTIVE));
    EXPECT_THAT(
        m_log.LinesOf("CMainService::RegisterWlanNotification"),
        ElementsAre(L"TraceIn|CMainService::RegisterWlanNotification|Registration Status - 1, WLANHandle = 0x00000000",
                    L"Error|CMainService::RegisterWlanNotification|WlanOpenHandle failed with error: 1062"));
}

TEST_F(MainServiceTest, RegistrationFailureLogsTheLastErrorAndReturnsTheCode)
{
    m_platform.wlan.Fail(WlanFailure::RegisterNotification, ERROR_INVALID_STATE, 87);
    TestableMainService service;
    bool registration = true;
    EXPECT_EQ(service.RegisterWlanNotification(registration), static_cast<DWORD>(ERROR_INVALID_STATE));
    EXPECT_THAT(
        m_log.LinesOf("CMainService::RegisterWlanNotification"),
        ElementsAre(
            L"TraceIn|CMainService::RegisterWlanNotification|Registration Status - 1, WLANHandle = 0x00000000",
            L"Error|CMainService::RegisterWlanNotification|WlanRegisterNotification(Registration) fail with err 87!!",
            L"TraceOut|CMainService::RegisterWlanNotification|Return  = 5023"));
}

TEST_F(MainServiceTest, UnregistrationFailureLogsTheLastErrorAndReturnsTheCode)
{
    m_platform.wlan.Fail(WlanFailure::RegisterNotification, ERROR_INVALID_STATE, 87);
    TestableMainService service;
    service.ForTesting().wlanClient = kClient;
    bool registration = false;
    EXPECT_EQ(service.RegisterWlanNotification(registration), static_cast<DWORD>(ERROR_INVALID_STATE));
    EXPECT_THAT(
        m_log.LinesOf("CMainService::RegisterWlanNotification"),
        ElementsAre(L"TraceIn|CMainService::RegisterWlanNotification|Registration Status - 0, WLANHandle = 0x000003a1",
                    L"Error|CMainService::RegisterWlanNotification|WlanRegisterNotification (Un-Registration) fail "
                    L"with err 87!!",
                    L"TraceOut|CMainService::RegisterWlanNotification|Return  = 5023"));
    service.ForTesting().wlanClient = nullptr;
}

TEST_F(MainServiceTest, AnAutomaticResumeThroughTheControlHandlerRunsTheResumeHandling)
{
    fakes::FakeEventLog eventLog;
    fakes::FakeScm scm;
    scm.AddService(L"Tessarine", SERVICE_START_PENDING);
    fakes::FakeServiceDispatcher dispatcher;
    dispatcher.runServiceMain = true;
    // A machine with a wired link, in virtual time; the radio services run.
    fakes::VirtualClock clock;
    fakes::AdapterDescription wired;
    wired.name = "{11111111-2222-3333-4444-555555555555}";
    wired.description = "Intel(R) Ethernet";
    wired.address = "192.168.1.2";
    fakes::FakeIpHelper ipHelper({wired});
    scm.AddService(L"WlanSvc", SERVICE_RUNNING);
    scm.AddService(L"WwanSvc", SERVICE_RUNNING);
    CServiceBase::SetResumeHandler(&NLMUtils::SystemResumeHandler);  // as the executable does
    TestableMainService service;
    ASSERT_TRUE(CServiceBase::Run(service));
    ASSERT_NE(dispatcher.handler, nullptr);
    dispatcher.reports.clear();
    m_log.Clear();

    EXPECT_EQ(dispatcher.handler(SERVICE_CONTROL_POWEREVENT, PBT_APMSUSPEND, nullptr, nullptr), 0u);
    EXPECT_TRUE(on_resumeflag);
    EXPECT_EQ(dispatcher.handler(SERVICE_CONTROL_POWEREVENT, PBT_APMRESUMEAUTOMATIC, nullptr, nullptr), 0u);

    std::vector<DWORD> states;
    for (const SERVICE_STATUS& status : dispatcher.reports)
        states.push_back(status.dwCurrentState);
    EXPECT_THAT(states, ElementsAre(SERVICE_PAUSE_PENDING, SERVICE_PAUSED, SERVICE_CONTINUE_PENDING, SERVICE_RUNNING));
    const std::vector<std::wstring> lines = m_log.Lines();
    ASSERT_GE(lines.size(), 7u);
    EXPECT_THAT(std::vector<std::wstring>(lines.begin(), lines.begin() + 4),
                ElementsAre(L"Information|CServiceBase::HandlerEx|PBT_APMSTANDBY or PBT_APMSUSPEND",
                            L"Information|CServiceBase::HandlerEx|Setting on_resumeflag to TRUE",
                            L"TraceIn|CServiceBase::OnContinue|", L"TraceIn|NLMUtils::SystemResumeHandler|"));
    EXPECT_THAT(std::vector<std::wstring>(lines.end() - 3, lines.end()),
                ElementsAre(L"Information|NLMUtils::SystemResumeHandler|Resetting on_resumeflag to False",
                            L"TraceOut|NLMUtils::SystemResumeHandler|Return = 1",
                            L"TraceOut|CServiceBase::OnContinue|"));
    EXPECT_FALSE(on_resumeflag);
    CServiceBase::SetResumeHandler(nullptr);
    on_resumeflag = false;
}

}  // namespace
