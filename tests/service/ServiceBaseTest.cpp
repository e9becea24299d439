// CServiceBase: status reports with their check points, the control and
// power-event tables, the wrappers' exception mapping and the event log.
#include "service/ServiceBase.h"

#include "fakes/FakeEventLog.h"
#include "fakes/FakeServiceDispatcher.h"
#include "fakes/RecordingListener.h"
#include "logging/OperationLog.h"
#include "state/SwitchingState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using fakes::FakeEventLog;
using fakes::FakeServiceDispatcher;
using testing::ElementsAre;

// A service whose operations count their calls and throw on request.
class ProbeService : public CServiceBase {
public:
    enum class Throw { Nothing, Win32Code, Other };

    explicit ProbeService(bool canStop = true, bool canShutdown = true, bool canPauseContinue = false)
        : CServiceBase(L"Probe", canStop, canShutdown, canPauseContinue)
    {
    }

    Throw throws = Throw::Nothing;
    std::vector<std::string> calls;

    void OnStart(DWORD argc, LPWSTR*) override { Act("OnStart " + std::to_string(argc)); }
    void OnStop() override { Act("OnStop"); }
    void OnPause() override { Act("OnPause"); }
    void OnShutdown() override { Act("OnShutdown"); }
    // The base OnContinue runs the resume handling; this probe only counts.
    void OnContinue() override { Act("OnContinue"); }
    void BaseOnContinue() { CServiceBase::OnContinue(); }

private:
    void Act(const std::string& call)
    {
        calls.push_back(call);
        if (throws == Throw::Win32Code)
            throw static_cast<DWORD>(ERROR_ACCESS_DENIED);
        if (throws == Throw::Other)
            throw std::runtime_error("other");
    }
};

struct Report {
    DWORD state;
    DWORD checkPoint;
    DWORD exitCode;
    DWORD waitHint;
    bool operator==(const Report& other) const
    {
        return state == other.state && checkPoint == other.checkPoint && exitCode == other.exitCode &&
               waitHint == other.waitHint;
    }
};

void PrintTo(const Report& report, std::ostream* out)
{
    *out << "{state " << report.state << ", check point " << report.checkPoint << ", exit " << report.exitCode
         << ", hint " << report.waitHint << "}";
}

class ServiceBaseTest : public testing::Test {
protected:
    ServiceBaseTest()
    {
        on_resumeflag = false;
        m_dispatcher.runServiceMain = true;
        CServiceBase::Run(m_service);  // registers the handler, reports START_PENDING and RUNNING
        m_dispatcher.reports.clear();
        // Check points continue across tests in one process: start each at a known value.
        CServiceBase::CheckPointCounter = 1;
        m_service.calls.clear();
    }
    ~ServiceBaseTest() override { on_resumeflag = false; }

    std::vector<Report> Reports() const
    {
        std::vector<Report> reports;
        for (const SERVICE_STATUS& status : m_dispatcher.reports)
            reports.push_back({status.dwCurrentState, status.dwCheckPoint, status.dwWin32ExitCode, status.dwWaitHint});
        return reports;
    }
    DWORD Control(DWORD control, DWORD eventType = 0)
    {
        return CServiceBase::HandlerEx(control, eventType, nullptr, nullptr);
    }

    fakes::RecordingLog m_log;
    FakeServiceDispatcher m_dispatcher;
    FakeEventLog m_eventLog;
    ProbeService m_service;
};

TEST(ServiceBase, AcceptsPowerEventsAlwaysAndTheControlsItWasBuiltFor)
{
    EXPECT_EQ(ProbeService(true, true, false).Status().dwControlsAccepted, 0x145u);
    EXPECT_EQ(ProbeService(false, false, false).Status().dwControlsAccepted, 0x40u);
    EXPECT_EQ(ProbeService(true, false, false).Status().dwControlsAccepted, 0x41u);
    EXPECT_EQ(ProbeService(false, true, false).Status().dwControlsAccepted, 0x144u);
    EXPECT_EQ(ProbeService(false, false, true).Status().dwControlsAccepted, 0x42u);
}

TEST(ServiceBase, StartsAsAnOwnProcessServiceInStartPending)
{
    ProbeService service;
    const SERVICE_STATUS& status = service.Status();
    EXPECT_EQ(status.dwServiceType, 0x10u);
    EXPECT_EQ(status.dwCurrentState, static_cast<DWORD>(SERVICE_START_PENDING));
    EXPECT_EQ(status.dwWin32ExitCode, 0u);
    EXPECT_EQ(status.dwServiceSpecificExitCode, 0u);
    EXPECT_EQ(status.dwCheckPoint, 0u);
    EXPECT_EQ(status.dwWaitHint, 0u);
}

TEST(ServiceBase, NullNameBecomesEmpty)
{
    class Unnamed : public CServiceBase {
    public:
        Unnamed() : CServiceBase(nullptr) {}
    } service;
    EXPECT_STREQ(service.ServiceName(), L"");
}

TEST(ServiceBase, RunHandsTheDispatcherTheNameAndATerminatedTable)
{
    FakeServiceDispatcher dispatcher;
    ProbeService service;
    EXPECT_TRUE(CServiceBase::Run(service));
    EXPECT_EQ(CServiceBase::s_service, &service);
    EXPECT_THAT(dispatcher.tableNames, ElementsAre(L"Probe", L"<null>"));
}

TEST(ServiceBase, RunIsFalseWhenTheDispatcherCannotStart)
{
    FakeServiceDispatcher dispatcher;
    dispatcher.dispatcherError = ERROR_FAILED_SERVICE_CONTROLLER_CONNECT;
    ProbeService service;
    EXPECT_FALSE(CServiceBase::Run(service));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT));
}

TEST(ServiceBase, ServiceMainRegistersTheHandlerAndStarts)
{
    FakeServiceDispatcher dispatcher;
    dispatcher.runServiceMain = true;
    ProbeService service;
    CServiceBase::CheckPointCounter = 1;
    CServiceBase::Run(service);
    EXPECT_EQ(dispatcher.registeredName, L"Probe");
    EXPECT_EQ(dispatcher.handler, &CServiceBase::HandlerEx);
    EXPECT_EQ(dispatcher.handlerContext, nullptr);
    EXPECT_THAT(service.calls, ElementsAre("OnStart 1"));
    EXPECT_THAT(dispatcher.reportHandles,
                ElementsAre(FakeServiceDispatcher::kStatusHandle, FakeServiceDispatcher::kStatusHandle));
}

TEST(ServiceBase, ServiceMainThrowsTheErrorWhenTheHandlerCannotBeRegistered)
{
    FakeServiceDispatcher dispatcher;
    dispatcher.registrationError = ERROR_SERVICE_NOT_IN_EXE;
    ProbeService service;
    CServiceBase::s_service = &service;
    wchar_t name[] = L"Probe";
    wchar_t* argv[] = {name};
    try {
        CServiceBase::ServiceMain(1, argv);
        FAIL() << "no exception";
    } catch (DWORD error) {
        EXPECT_EQ(error, static_cast<DWORD>(ERROR_SERVICE_NOT_IN_EXE));
    }
    EXPECT_TRUE(service.calls.empty());
    EXPECT_TRUE(dispatcher.reports.empty());
}

TEST_F(ServiceBaseTest, StartReportsStartPendingThenRunning)
{
    CServiceBase::CheckPointCounter = 7;
    m_service.Start(0, nullptr);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_START_PENDING, 7, 0, 0}, Report{SERVICE_RUNNING, 0, 0, 0}));
    EXPECT_EQ(CServiceBase::CheckPointCounter, 8u);
}

TEST_F(ServiceBaseTest, StartWithAThrownCodeReportsItAndStopsWithIt)
{
    m_service.throws = ProbeService::Throw::Win32Code;
    m_service.Start(0, nullptr);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_START_PENDING, 1, 0, 0}, Report{SERVICE_STOPPED, 0, 5, 0}));
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_EQ(m_eventLog.reports[0].type, EVENTLOG_ERROR_TYPE);
    EXPECT_THAT(m_eventLog.reports[0].strings, ElementsAre(L"Probe", L"Service Start failed w/err 0x00000005"));
}

TEST_F(ServiceBaseTest, StartWithAnyOtherExceptionStopsWithExitCodeZero)
{
    m_service.throws = ProbeService::Throw::Other;
    m_service.Start(0, nullptr);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_START_PENDING, 1, 0, 0}, Report{SERVICE_STOPPED, 0, 0, 0}));
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_EQ(m_eventLog.reports[0].type, EVENTLOG_ERROR_TYPE);
    EXPECT_THAT(m_eventLog.reports[0].strings, ElementsAre(L"Probe", L"Service failed to start."));
}

TEST_F(ServiceBaseTest, StopReportsStopPendingThenStopped)
{
    EXPECT_EQ(Control(SERVICE_CONTROL_STOP), 0u);
    EXPECT_THAT(m_service.calls, ElementsAre("OnStop"));
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_STOP_PENDING, 1, 0, 0}, Report{SERVICE_STOPPED, 0, 0, 0}));
}

TEST_F(ServiceBaseTest, StopWithAThrownCodeGoesBackToTheStateBefore)
{
    m_service.throws = ProbeService::Throw::Win32Code;
    Control(SERVICE_CONTROL_STOP);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_STOP_PENDING, 1, 0, 0}, Report{SERVICE_RUNNING, 0, 0, 0}));
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_THAT(m_eventLog.reports[0].strings, ElementsAre(L"Probe", L"Service Stop failed w/err 0x00000005"));
}

TEST_F(ServiceBaseTest, StopWithAnyOtherExceptionGoesBackToTheStateBefore)
{
    Control(SERVICE_CONTROL_POWEREVENT, PBT_APMSUSPEND);  // now PAUSED
    m_dispatcher.reports.clear();
    m_service.throws = ProbeService::Throw::Other;
    Control(SERVICE_CONTROL_STOP);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_STOP_PENDING, 3, 0, 0}, Report{SERVICE_PAUSED, 4, 0, 0}));
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_EQ(m_eventLog.reports[0].type, EVENTLOG_ERROR_TYPE);
    EXPECT_THAT(m_eventLog.reports[0].strings, ElementsAre(L"Probe", L"Service failed to stop."));
}

TEST_F(ServiceBaseTest, PauseReportsPausePendingThenPausedBothWithCheckPoints)
{
    EXPECT_EQ(Control(SERVICE_CONTROL_PAUSE), 0u);
    EXPECT_THAT(m_service.calls, ElementsAre("OnPause"));
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_PAUSE_PENDING, 1, 0, 0}, Report{SERVICE_PAUSED, 2, 0, 0}));
}

TEST_F(ServiceBaseTest, PauseWithAThrownCodeReportsRunning)
{
    m_service.throws = ProbeService::Throw::Win32Code;
    Control(SERVICE_CONTROL_PAUSE);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_PAUSE_PENDING, 1, 0, 0}, Report{SERVICE_RUNNING, 0, 0, 0}));
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_THAT(m_eventLog.reports[0].strings, ElementsAre(L"Probe", L"Service Pause failed w/err 0x00000005"));
}

TEST_F(ServiceBaseTest, PauseWithAnyOtherExceptionReportsRunning)
{
    m_service.throws = ProbeService::Throw::Other;
    Control(SERVICE_CONTROL_PAUSE);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_PAUSE_PENDING, 1, 0, 0}, Report{SERVICE_RUNNING, 0, 0, 0}));
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_THAT(m_eventLog.reports[0].strings, ElementsAre(L"Probe", L"Service failed to pause."));
}

TEST_F(ServiceBaseTest, ContinueReportsContinuePendingThenRunning)
{
    EXPECT_EQ(Control(SERVICE_CONTROL_CONTINUE), 0u);
    EXPECT_THAT(m_service.calls, ElementsAre("OnContinue"));
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_CONTINUE_PENDING, 1, 0, 0}, Report{SERVICE_RUNNING, 0, 0, 0}));
}

TEST_F(ServiceBaseTest, ContinueWithAThrownCodeReportsPaused)
{
    m_service.throws = ProbeService::Throw::Win32Code;
    Control(SERVICE_CONTROL_CONTINUE);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_CONTINUE_PENDING, 1, 0, 0}, Report{SERVICE_PAUSED, 2, 0, 0}));
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_THAT(m_eventLog.reports[0].strings, ElementsAre(L"Probe", L"Service Continue failed w/err 0x00000005"));
}

TEST_F(ServiceBaseTest, ContinueWithAnyOtherExceptionReportsPaused)
{
    m_service.throws = ProbeService::Throw::Other;
    Control(SERVICE_CONTROL_CONTINUE);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_CONTINUE_PENDING, 1, 0, 0}, Report{SERVICE_PAUSED, 2, 0, 0}));
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_THAT(m_eventLog.reports[0].strings, ElementsAre(L"Probe", L"Service failed to resume."));
}

TEST_F(ServiceBaseTest, ShutdownReportsStopPendingThenStopped)
{
    EXPECT_EQ(Control(SERVICE_CONTROL_SHUTDOWN), 0u);
    EXPECT_THAT(m_service.calls, ElementsAre("OnShutdown"));
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_STOP_PENDING, 1, 0, 0}, Report{SERVICE_STOPPED, 0, 0, 0}));
}

TEST_F(ServiceBaseTest, ShutdownWithAThrownCodeReportsNothingFurther)
{
    m_service.throws = ProbeService::Throw::Win32Code;
    Control(SERVICE_CONTROL_SHUTDOWN);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_STOP_PENDING, 1, 0, 0}));
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_THAT(m_eventLog.reports[0].strings, ElementsAre(L"Probe", L"Service Shutdown failed w/err 0x00000005"));
}

TEST_F(ServiceBaseTest, ShutdownWithAnyOtherExceptionReportsNothingFurther)
{
    m_service.throws = ProbeService::Throw::Other;
    Control(SERVICE_CONTROL_SHUTDOWN);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_STOP_PENDING, 1, 0, 0}));
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_THAT(m_eventLog.reports[0].strings, ElementsAre(L"Probe", L"Service failed to shut down."));
}

TEST_F(ServiceBaseTest, PreshutdownBehavesAsShutdown)
{
    EXPECT_EQ(Control(SERVICE_CONTROL_PRESHUTDOWN), 0u);
    EXPECT_THAT(m_service.calls, ElementsAre("OnShutdown"));
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_STOP_PENDING, 1, 0, 0}, Report{SERVICE_STOPPED, 0, 0, 0}));
}

TEST_F(ServiceBaseTest, ASecondShutdownAfterStoppedRunsOnShutdownAgain)
{
    Control(SERVICE_CONTROL_STOP);
    Control(SERVICE_CONTROL_SHUTDOWN);
    Control(SERVICE_CONTROL_PRESHUTDOWN);
    EXPECT_THAT(m_service.calls, ElementsAre("OnStop", "OnShutdown", "OnShutdown"));
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_STOP_PENDING, 1, 0, 0}, Report{SERVICE_STOPPED, 0, 0, 0},
                                       Report{SERVICE_STOP_PENDING, 2, 0, 0}, Report{SERVICE_STOPPED, 0, 0, 0},
                                       Report{SERVICE_STOP_PENDING, 3, 0, 0}, Report{SERVICE_STOPPED, 0, 0, 0}));
}

TEST_F(ServiceBaseTest, InterrogateDoesNothingAndReportsNothing)
{
    EXPECT_EQ(Control(SERVICE_CONTROL_INTERROGATE), 0u);
    EXPECT_TRUE(m_service.calls.empty());
    EXPECT_TRUE(m_dispatcher.reports.empty());
}

TEST_F(ServiceBaseTest, PauseControlIsDispatchedAlthoughPauseContinueIsNotAccepted)
{
    EXPECT_EQ(m_service.Status().dwControlsAccepted & SERVICE_ACCEPT_PAUSE_CONTINUE, 0u);
    EXPECT_EQ(Control(SERVICE_CONTROL_PAUSE), 0u);
    EXPECT_THAT(m_service.calls, ElementsAre("OnPause"));
}

TEST_F(ServiceBaseTest, EveryOtherControlDoesNothing)
{
    for (DWORD control : {0ul, 6ul, 7ul, 8ul, 9ul, 10ul, 11ul, 12ul, 14ul, 16ul, 32ul, 128ul, 255ul}) {
        EXPECT_EQ(Control(control), 0u) << control;
    }
    EXPECT_TRUE(m_service.calls.empty());
    EXPECT_TRUE(m_dispatcher.reports.empty());
}

TEST_F(ServiceBaseTest, SuspendSetsTheResumeFlagLogsAndPauses)
{
    EXPECT_EQ(Control(SERVICE_CONTROL_POWEREVENT, PBT_APMSUSPEND), 0u);
    EXPECT_TRUE(on_resumeflag);
    EXPECT_THAT(m_service.calls, ElementsAre("OnPause"));
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_PAUSE_PENDING, 1, 0, 0}, Report{SERVICE_PAUSED, 2, 0, 0}));
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Information|CServiceBase::HandlerEx|PBT_APMSTANDBY or PBT_APMSUSPEND",
                                           L"Information|CServiceBase::HandlerEx|Setting on_resumeflag to TRUE"));
    for (const auto& record : m_log.Records())
        EXPECT_EQ(record.Level(), QX::Shared::LevelInformation);
}

TEST_F(ServiceBaseTest, StandbyBehavesAsSuspend)
{
    EXPECT_EQ(Control(SERVICE_CONTROL_POWEREVENT, PBT_APMSTANDBY), 0u);
    EXPECT_TRUE(on_resumeflag);
    EXPECT_THAT(m_service.calls, ElementsAre("OnPause"));
    EXPECT_EQ(m_log.Records().size(), 2u);
}

TEST_F(ServiceBaseTest, TwoSuspendsInARowSetTheFlagAndPauseAgainWithRisingCheckPoints)
{
    Control(SERVICE_CONTROL_POWEREVENT, PBT_APMSUSPEND);
    on_resumeflag = false;
    Control(SERVICE_CONTROL_POWEREVENT, PBT_APMSUSPEND);
    EXPECT_TRUE(on_resumeflag);
    EXPECT_THAT(m_service.calls, ElementsAre("OnPause", "OnPause"));
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_PAUSE_PENDING, 1, 0, 0}, Report{SERVICE_PAUSED, 2, 0, 0},
                                       Report{SERVICE_PAUSE_PENDING, 3, 0, 0}, Report{SERVICE_PAUSED, 4, 0, 0}));
}

TEST_F(ServiceBaseTest, AutomaticResumeContinues)
{
    Control(SERVICE_CONTROL_POWEREVENT, PBT_APMSUSPEND);
    m_dispatcher.reports.clear();
    EXPECT_EQ(Control(SERVICE_CONTROL_POWEREVENT, PBT_APMRESUMEAUTOMATIC), 0u);
    EXPECT_THAT(m_service.calls, ElementsAre("OnPause", "OnContinue"));
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_CONTINUE_PENDING, 3, 0, 0}, Report{SERVICE_RUNNING, 0, 0, 0}));
}

TEST_F(ServiceBaseTest, EveryOtherPowerEventDoesNothing)
{
    for (DWORD eventType = 0; eventType <= 40; ++eventType) {
        if (eventType == PBT_APMSUSPEND || eventType == PBT_APMSTANDBY || eventType == PBT_APMRESUMEAUTOMATIC)
            continue;
        EXPECT_EQ(Control(SERVICE_CONTROL_POWEREVENT, eventType), 0u) << eventType;
    }
    EXPECT_EQ(Control(SERVICE_CONTROL_POWEREVENT, PBT_POWERSETTINGCHANGE), 0u);
    EXPECT_TRUE(m_service.calls.empty());
    EXPECT_TRUE(m_dispatcher.reports.empty());
    EXPECT_FALSE(on_resumeflag);
}

TEST_F(ServiceBaseTest, ResumeCriticalSuspendAndStandbyDoNotContinue)
{
    for (DWORD eventType : {6ul, 7ul, 8ul})
        Control(SERVICE_CONTROL_POWEREVENT, eventType);
    EXPECT_TRUE(m_service.calls.empty());
    EXPECT_TRUE(m_dispatcher.reports.empty());
}

// A resume handler that logs under its own name and counts its runs.
int resumeHandlerRuns = 0;
bool CountingResumeHandler()
{
    ++resumeHandlerRuns;
    QX::Shared::FunctionLog("Probe::Resume").Log(QX::Shared::LevelInformation, L"resumed");
    return false;  // ignored
}

// Hands a resume handler to the service base for the life of the object.
class ScopedResumeHandler {
public:
    explicit ScopedResumeHandler(CServiceBase::ResumeHandler handler) { CServiceBase::SetResumeHandler(handler); }
    ~ScopedResumeHandler() { CServiceBase::SetResumeHandler(nullptr); }
};

TEST_F(ServiceBaseTest, BaseOnContinueRunsTheHandedOverResumeHandlerWithinItsScope)
{
    resumeHandlerRuns = 0;
    ScopedResumeHandler handler(&CountingResumeHandler);
    m_service.BaseOnContinue();
    EXPECT_EQ(resumeHandlerRuns, 1);
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|CServiceBase::OnContinue|", L"Information|Probe::Resume|resumed",
                                           L"TraceOut|CServiceBase::OnContinue|"));
}

TEST_F(ServiceBaseTest, BaseOnContinueWithoutAResumeHandlerOnlyLogsItsScope)
{
    CServiceBase::SetResumeHandler(nullptr);
    m_service.BaseOnContinue();
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"TraceIn|CServiceBase::OnContinue|", L"TraceOut|CServiceBase::OnContinue|"));
}

TEST_F(ServiceBaseTest, CheckPointCounterIsSharedByAllPendingStatesAndNeverReset)
{
    Control(SERVICE_CONTROL_PAUSE);
    Control(SERVICE_CONTROL_CONTINUE);
    Control(SERVICE_CONTROL_STOP);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_PAUSE_PENDING, 1, 0, 0}, Report{SERVICE_PAUSED, 2, 0, 0},
                                       Report{SERVICE_CONTINUE_PENDING, 3, 0, 0}, Report{SERVICE_RUNNING, 0, 0, 0},
                                       Report{SERVICE_STOP_PENDING, 4, 0, 0}, Report{SERVICE_STOPPED, 0, 0, 0}));
    EXPECT_EQ(CServiceBase::CheckPointCounter, 5u);
}

TEST_F(ServiceBaseTest, SetServiceStatusWritesStateExitCodeAndWaitHint)
{
    m_service.SetServiceStatus(SERVICE_STOPPED, 1066, 3000);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_STOPPED, 0, 1066, 3000}));
    EXPECT_EQ(m_dispatcher.reportHandles.back(), FakeServiceDispatcher::kStatusHandle);
}

TEST_F(ServiceBaseTest, StatusReportsThatFailAreNeitherRetriedNorLoggedAndTheServiceCarriesOn)
{
    // The SCM does not hear of the states; the service keeps them all the same.
    m_dispatcher.statusError = ERROR_INVALID_HANDLE;
    m_service.Start(0, nullptr);
    EXPECT_THAT(m_service.calls, ElementsAre("OnStart 0"));
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_START_PENDING, 1, 0, 0}, Report{SERVICE_RUNNING, 0, 0, 0}));
    EXPECT_EQ(m_dispatcher.failedReports, 2);
    EXPECT_EQ(m_service.Status().dwCurrentState, static_cast<DWORD>(SERVICE_RUNNING));
    EXPECT_TRUE(m_eventLog.registrations.empty());
    EXPECT_TRUE(m_log.Lines().empty());

    Control(SERVICE_CONTROL_STOP);
    EXPECT_THAT(m_service.calls, ElementsAre("OnStart 0", "OnStop"));
    EXPECT_EQ(m_dispatcher.failedReports, 4);
    EXPECT_EQ(m_service.Status().dwCurrentState, static_cast<DWORD>(SERVICE_STOPPED));
    EXPECT_EQ(CServiceBase::CheckPointCounter, 3u);
}

TEST_F(ServiceBaseTest, AFailedStoppedReportAfterAFailedStartStillCarriesTheExitCode)
{
    m_dispatcher.statusError = ERROR_INVALID_HANDLE;
    m_service.throws = ProbeService::Throw::Win32Code;
    m_service.Start(0, nullptr);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_START_PENDING, 1, 0, 0}, Report{SERVICE_STOPPED, 0, 5, 0}));
    EXPECT_EQ(m_dispatcher.failedReports, 2);
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_THAT(m_eventLog.reports[0].strings, ElementsAre(L"Probe", L"Service Start failed w/err 0x00000005"));
}

TEST_F(ServiceBaseTest, AnEventReportThatFailsIsDroppedAndItsSourceStillClosed)
{
    m_eventLog.Fail(FakeEventLog::Failure::ReportEvent, ERROR_ACCESS_DENIED);
    m_service.WriteEventLogEntry(L"hello", EVENTLOG_INFORMATION_TYPE);
    EXPECT_TRUE(m_eventLog.reports.empty());
    EXPECT_EQ(m_eventLog.failedReports, 1);
    ASSERT_EQ(m_eventLog.registrations.size(), 1u);
    EXPECT_EQ(m_eventLog.deregistered, (std::vector<HANDLE>{m_eventLog.registrations[0].handle}));
    EXPECT_EQ(m_eventLog.openSources, 0);
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(ServiceBaseTest, AFailedStartWhoseEventReportFailsStillStopsWithItsCode)
{
    m_eventLog.Fail(FakeEventLog::Failure::ReportEvent, ERROR_ACCESS_DENIED);
    m_service.throws = ProbeService::Throw::Win32Code;
    m_service.Start(0, nullptr);
    EXPECT_THAT(Reports(), ElementsAre(Report{SERVICE_START_PENDING, 1, 0, 0}, Report{SERVICE_STOPPED, 0, 5, 0}));
    EXPECT_EQ(m_eventLog.failedReports, 1);
    EXPECT_EQ(m_eventLog.openSources, 0);
    // The next report finds the event log working again: one failure costs one entry.
    m_eventLog.Fail(FakeEventLog::Failure::None, 0);
    m_service.throws = ProbeService::Throw::Other;
    m_service.Start(0, nullptr);
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_THAT(m_eventLog.reports[0].strings, ElementsAre(L"Probe", L"Service failed to start."));
}

TEST_F(ServiceBaseTest, EventLogEntryNamesTheServiceFirst)
{
    m_service.WriteEventLogEntry(L"hello", EVENTLOG_INFORMATION_TYPE);
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    const FakeEventLog::Report& report = m_eventLog.reports[0];
    EXPECT_EQ(report.source, L"Probe");
    EXPECT_EQ(report.type, EVENTLOG_INFORMATION_TYPE);
    EXPECT_EQ(report.category, 0);
    EXPECT_EQ(report.id, 0u);
    EXPECT_FALSE(report.rawData);
    EXPECT_THAT(report.strings, ElementsAre(L"Probe", L"hello"));
    EXPECT_EQ(m_eventLog.openSources, 0);
}

TEST_F(ServiceBaseTest, NoEventSourceNoReport)
{
    m_eventLog.Fail(FakeEventLog::Failure::RegisterEventSource, ERROR_ACCESS_DENIED);
    m_service.WriteEventLogEntry(L"hello", EVENTLOG_INFORMATION_TYPE);
    m_service.WriteErrorLogEntry(L"Service Start", 5);
    EXPECT_TRUE(m_eventLog.reports.empty());
}

TEST_F(ServiceBaseTest, ErrorLogEntryIsCutAt259Characters)
{
    const std::wstring function(300, L'f');
    m_service.WriteErrorLogEntry(function.c_str(), 5);
    ASSERT_EQ(m_eventLog.reports.size(), 1u);
    EXPECT_EQ(m_eventLog.reports[0].type, EVENTLOG_ERROR_TYPE);
    EXPECT_EQ(m_eventLog.reports[0].strings[1], std::wstring(259, L'f'));
}

TEST_F(ServiceBaseTest, ErrorLogEntryJustFitting)
{
    // "<f> failed w/err 0x00000005" is 27 characters beyond the function text.
    const std::wstring function(232, L'f');
    m_service.WriteErrorLogEntry(function.c_str(), 5);
    EXPECT_EQ(m_eventLog.reports[0].strings[1], function + L" failed w/err 0x00000005");
}

}  // namespace
