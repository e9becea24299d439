// Utils: opening services, their running state, waiting for them (in
// virtual time), UtilSleep and the restart-on-failure policy, against a
// scripted SCM.
#include "service/Utils.h"

#include "fakes/FakeEvents.h"
#include "fakes/FakeScm.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using fakes::FakeScm;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

class UtilsServiceTest : public testing::Test {
protected:
    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    FakeScm m_scm;
};

TEST_F(UtilsServiceTest, GetServiceOpensWithFullAccessAndHandsOverBothHandles)
{
    m_scm.AddService(L"WlanSvc", SERVICE_RUNNING);
    os::UniqueServiceHandle scm;
    os::UniqueServiceHandle service;
    EXPECT_EQ(Utils::GetService(L"WlanSvc", scm, service), 0);
    EXPECT_TRUE(scm);
    EXPECT_TRUE(service);
    EXPECT_THAT(m_scm.calls,
                ElementsAre(L"OpenSCManagerW local active 0x000F003F", L"OpenServiceW WlanSvc 0x000F01FF"));
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|Utils::GetService|Service Name = WlanSvc",
                                           L"TraceOut|Utils::GetService|Return Value = 0"));
    service.reset();
    scm.reset();
    EXPECT_EQ(m_scm.OpenHandles(), 0);
}

TEST_F(UtilsServiceTest, GetServiceOfAMissingServiceIsMinusOne)
{
    os::UniqueServiceHandle scm;
    os::UniqueServiceHandle service;
    EXPECT_EQ(Utils::GetService(L"WwanSvc", scm, service), -1);
    EXPECT_FALSE(service);
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|Utils::GetService|Service Name = WwanSvc",
                                           L"Error|Utils::GetService|Service does not exist. Error 0x00000424",
                                           L"TraceOut|Utils::GetService|Return Value = -1"));
}

TEST_F(UtilsServiceTest, GetServiceThatCannotBeOpenedIsMinusTwo)
{
    m_scm.AddService(L"WlanSvc").openError = ERROR_ACCESS_DENIED;
    os::UniqueServiceHandle scm;
    os::UniqueServiceHandle service;
    EXPECT_EQ(Utils::GetService(L"WlanSvc", scm, service), -2);
    EXPECT_THAT(m_log.LinesOf("Utils::GetService"),
                ElementsAre(L"TraceIn|Utils::GetService|Service Name = WlanSvc",
                            L"Error|Utils::GetService|OpenService failed w/err 0x00000005",
                            L"TraceOut|Utils::GetService|Return Value = -2"));
}

TEST_F(UtilsServiceTest, GetServiceWithoutTheScmIsMinusThree)
{
    m_scm.openScmError = ERROR_ACCESS_DENIED;
    os::UniqueServiceHandle scm;
    os::UniqueServiceHandle service;
    EXPECT_EQ(Utils::GetService(L"WlanSvc", scm, service), -3);
    EXPECT_THAT(m_log.LinesOf("Utils::GetService"),
                ElementsAre(L"TraceIn|Utils::GetService|Service Name = WlanSvc",
                            L"Error|Utils::GetService|OpenSCManager failed w/err 0x00000005",
                            L"TraceOut|Utils::GetService|Return Value = -3"));
    EXPECT_THAT(m_scm.calls, ElementsAre(L"OpenSCManagerW local active 0x000F003F"));
}

TEST_F(UtilsServiceTest, IsServicePresentOfARunningService)
{
    m_scm.AddService(L"WlanSvc", SERVICE_RUNNING);
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"WlanSvc", version, true, false), 0);
    EXPECT_THAT(m_log.LinesOf("Utils::IsServicePresent"),
                ElementsAre(L"TraceIn|Utils::IsServicePresent|Service Name = WlanSvc, Running Status To be checked = "
                            L"1, To Get version Info Status = 0",
                            L"Information|Utils::IsServicePresent|WlanSvc Service is installed. Querying status..",
                            L"Information|Utils::IsServicePresent|WlanSvc Service status = 0x00000004",
                            L"Information|Utils::IsServicePresent|WlanSvc Service is running",
                            L"TraceOut|Utils::IsServicePresent|Return Value = 0"));
    EXPECT_EQ(m_scm.OpenHandles(), 0);
}

TEST_F(UtilsServiceTest, IsServicePresentOfAStoppedServiceIsOne)
{
    m_scm.AddService(L"WlanSvc", SERVICE_STOPPED);
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"WlanSvc", version, true, false), 1);
    const auto records = m_log.Records();
    const auto notRunning = std::find_if(records.begin(), records.end(), [](const auto& record) {
        return record.Message() == L"WlanSvc Service is not running";
    });
    ASSERT_NE(notRunning, records.end());
    EXPECT_EQ(notRunning->Level(), QX::Shared::LevelError);
}

TEST_F(UtilsServiceTest, AServiceWhoseStatusQueryFailsCountsAsRunning)
{
    m_scm.AddService(L"WlanSvc", SERVICE_STOPPED).queryError = ERROR_ACCESS_DENIED;
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"WlanSvc", version, true, false), 0);
    EXPECT_THAT(m_log.LinesOf("Utils::IsServicePresent"),
                ElementsAre(L"TraceIn|Utils::IsServicePresent|Service Name = WlanSvc, Running Status To be checked = "
                            L"1, To Get version Info Status = 0",
                            L"Information|Utils::IsServicePresent|WlanSvc Service is installed. Querying status..",
                            L"TraceOut|Utils::IsServicePresent|Return Value = 0"));
}

TEST_F(UtilsServiceTest, IsServicePresentWithoutChecksOnlyOpens)
{
    m_scm.AddService(L"WlanSvc", SERVICE_STOPPED);
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"WlanSvc", version, false, false), 0);
    EXPECT_THAT(m_scm.calls, Not(Contains(L"QueryServiceStatusEx 0")));
}

TEST_F(UtilsServiceTest, IsServicePresentPassesOnTheOpenFailure)
{
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"WlanSvc", version, true, true), -1);
    EXPECT_THAT(m_log.LinesOf("Utils::IsServicePresent"),
                ElementsAre(L"TraceIn|Utils::IsServicePresent|Service Name = WlanSvc, Running Status To be checked = "
                            L"1, To Get version Info Status = 1"));
}

TEST_F(UtilsServiceTest, IsServicePresentReadsTheVersionOfTheInstalledPathWithoutItsQuotes)
{
    m_scm.AddService(L"Probe", SERVICE_RUNNING).binaryPath = L"\"C:\\nowhere\\probe.exe\"";
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"Probe", version, false, true), 0);
    EXPECT_THAT(m_scm.calls, Contains(L"QueryServiceConfigW 0"));
    EXPECT_THAT(m_log.LinesOf("Utils::IsServicePresent"),
                Contains(L"Verbose|Utils::IsServicePresent|Probe service installed path = C:\\nowhere\\probe.exe"));
    EXPECT_THAT(m_log.LinesOf("Utils::GetVersionValue"),
                Contains(L"TraceIn|Utils::GetVersionValue|Executable Complete Path = C:\\nowhere\\probe.exe"));
    EXPECT_FALSE(version.found);
}

TEST_F(UtilsServiceTest, IsServicePresentWithAnUnreadableConfigurationIsTwo)
{
    m_scm.AddService(L"Probe", SERVICE_RUNNING).configError = ERROR_ACCESS_DENIED;
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"Probe", version, true, true), 2);
    EXPECT_THAT(m_log.LinesOf("Utils::IsServicePresent"),
                Contains(L"Error|Utils::IsServicePresent|QueryServiceConfig failed w/err 0x00000005"));
    EXPECT_EQ(m_scm.OpenHandles(), 0);
}

TEST_F(UtilsServiceTest, IsServicePresentWhoseConfigurationCannotBeFilledIsTwoAndReadsNoVersion)
{
    FakeScm::Service& probe = m_scm.AddService(L"Probe", SERVICE_RUNNING);
    probe.binaryPath = L"\"C:\\nowhere\\probe.exe\"";
    probe.configFillError = ERROR_NOT_ENOUGH_MEMORY;
    const DWORD needed = static_cast<DWORD>(sizeof(QUERY_SERVICE_CONFIGW) + (probe.binaryPath.size() + 1) * 2);
    Utils::VersionRecord version;
    version.parts[0] = 7;
    EXPECT_EQ(Utils::IsServicePresent(L"Probe", version, false, true), 2);
    // The size query, then the read into a buffer of the size it gave; no third try.
    EXPECT_THAT(m_scm.calls, ElementsAre(L"OpenSCManagerW local active 0x000F003F", L"OpenServiceW Probe 0x000F01FF",
                                         L"QueryServiceConfigW 0", L"QueryServiceConfigW " + std::to_wstring(needed),
                                         L"CloseServiceHandle Probe", L"CloseServiceHandle scm"));
    EXPECT_THAT(m_log.LinesOf("Utils::IsServicePresent"),
                ElementsAre(L"TraceIn|Utils::IsServicePresent|Service Name = Probe, Running Status To be checked = "
                            L"0, To Get version Info Status = 1",
                            L"Error|Utils::IsServicePresent|QueryServiceConfig failed w/err 0x00000008",
                            L"TraceOut|Utils::IsServicePresent|Return Value = 2"));
    EXPECT_TRUE(m_log.LinesOf("Utils::GetVersionValue").empty());
    EXPECT_FALSE(version.found);
    EXPECT_THAT(version.parts, ElementsAre(7, 0, 0, 0));
    EXPECT_EQ(m_scm.OpenHandles(), 0);
}

TEST_F(UtilsServiceTest, AStoppedServiceWhoseConfigurationCannotBeFilledIsTwoNotOne)
{
    // The configuration's failure replaces the running check's result.
    FakeScm::Service& probe = m_scm.AddService(L"Probe", SERVICE_STOPPED);
    probe.configFillError = ERROR_ACCESS_DENIED;
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"Probe", version, true, true), 2);
    EXPECT_EQ(m_scm.OpenHandles(), 0);
}

TEST_F(UtilsServiceTest, WaitingForARunningServiceTakesOnePollAndNoPause)
{
    m_scm.AddService(L"WlanSvc", SERVICE_RUNNING);
    EXPECT_EQ(Utils::WaitforServiceToStartRunning(L"WlanSvc", 15), 0);
    EXPECT_EQ(m_scm.Find(L"WlanSvc")->statusQueries, 1);
    EXPECT_TRUE(m_clock.Pauses().empty());
    EXPECT_THAT(m_log.LinesOf("Utils::WaitforServiceToStartRunning"),
                ElementsAre(L"TraceIn|Utils::WaitforServiceToStartRunning|",
                            L"TraceOut|Utils::WaitforServiceToStartRunning|WlanSvc Running Status = 0"));
}

TEST_F(UtilsServiceTest, WaitingForAMissingServiceReturnsMinusOneAfterOnePollAndOneSecond)
{
    EXPECT_EQ(Utils::WaitforServiceToStartRunning(L"WwanSvc", 15), -1);
    EXPECT_THAT(m_clock.Pauses(), ElementsAre(1000u));
    EXPECT_THAT(m_log.LinesOf("Utils::WaitforServiceToStartRunning"),
                ElementsAre(L"TraceIn|Utils::WaitforServiceToStartRunning|",
                            L"Verbose|Utils::WaitforServiceToStartRunning|WwanSvc service Running Status = -1, try 0",
                            L"TraceOut|Utils::WaitforServiceToStartRunning|WwanSvc Running Status = -1"));
}

TEST_F(UtilsServiceTest, WaitingForAServiceThatStaysStoppedReturnsOneAfter15PollsAnd15Seconds)
{
    m_scm.AddService(L"WlanSvc", SERVICE_STOPPED);
    EXPECT_EQ(Utils::WaitforServiceToStartRunning(L"WlanSvc", 15), 1);
    EXPECT_EQ(m_scm.Find(L"WlanSvc")->statusQueries, 15);
    EXPECT_EQ(m_clock.Pauses(), std::vector<DWORD>(15, 1000));
    std::vector<std::wstring> expected{L"TraceIn|Utils::WaitforServiceToStartRunning|"};
    for (int poll = 0; poll < 15; ++poll)
        expected.push_back(L"Verbose|Utils::WaitforServiceToStartRunning|WlanSvc service Running Status = 1, try " +
                           std::to_wstring(poll));
    expected.push_back(L"TraceOut|Utils::WaitforServiceToStartRunning|WlanSvc Running Status = 1");
    EXPECT_EQ(m_log.LinesOf("Utils::WaitforServiceToStartRunning"), expected);
}

TEST_F(UtilsServiceTest, WaitingForAServiceThatCannotBeOpenedEndsAfterOnePoll)
{
    m_scm.AddService(L"WlanSvc").openError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(Utils::WaitforServiceToStartRunning(L"WlanSvc", 15), -2);
    EXPECT_THAT(m_clock.Pauses(), ElementsAre(1000u));
}

int plainSleeps = 0;

TEST_F(UtilsServiceTest, UtilSleepWaitsOnAPrivateEventForTheTimeGiven)
{
    fakes::FakeEvents events;
    os::ScopedApiOverride seam;
    plainSleeps = 0;
    seam->Sleep = [](DWORD) { ++plainSleeps; };
    Utils::UtilSleep(2500);
    EXPECT_EQ(plainSleeps, 0);
    EXPECT_THAT(m_clock.Pauses(), ElementsAre(2500u));
    ASSERT_EQ(events.creations.size(), 1u);
    EXPECT_FALSE(events.creations[0].manualReset);
    EXPECT_FALSE(events.creations[0].initiallySignalled);
    EXPECT_EQ(events.creations[0].name, L"");
    EXPECT_THAT(m_log.LinesOf("Utils::UtilSleep"),
                ElementsAre(L"TraceIn|Utils::UtilSleep|", L"TraceOut|Utils::UtilSleep|"));
}

TEST_F(UtilsServiceTest, UtilSleepWithoutAnEventReturnsAtOnce)
{
    fakes::FakeEvents events;
    events.Fail(fakes::FakeEvents::Failure::CreateEvent, ERROR_NOT_ENOUGH_MEMORY);
    Utils::UtilSleep(1000);
    EXPECT_TRUE(m_clock.Pauses().empty());
    EXPECT_THAT(
        m_log.LinesOf("Utils::UtilSleep"),
        ElementsAre(L"TraceIn|Utils::UtilSleep|", L"Error|Utils::UtilSleep|CreateEvent() failed with  error: 8"));
}

// The timed wait fails at once (an invalid handle, as the platform says).
int failedWaits = 0;
DWORD WINAPI FailingWait(HANDLE, DWORD)
{
    ++failedWaits;
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

TEST_F(UtilsServiceTest, UtilSleepWhoseWaitFailsReturnsAtOnceAsIfItHadWaited)
{
    fakes::FakeEvents events;
    os::ScopedApiOverride seam;
    failedWaits = 0;
    seam->WaitForSingleObject = &FailingWait;
    Utils::UtilSleep(2500);
    EXPECT_EQ(failedWaits, 1);
    EXPECT_TRUE(m_clock.Pauses().empty());
    EXPECT_EQ(events.creations.size(), 1u);
    // Nothing tells the caller that no time passed.
    EXPECT_THAT(m_log.LinesOf("Utils::UtilSleep"),
                ElementsAre(L"TraceIn|Utils::UtilSleep|", L"TraceOut|Utils::UtilSleep|"));
}

TEST_F(UtilsServiceTest, AWaitForAServiceWhosePausesFailPollsItsFifteenTimesBackToBack)
{
    // The only cost of a failing pause is "go round again" at once: the
    // fifteen polls for a stopped service come back to back, so the wait
    // that should give it 15 s gives it none.
    m_scm.AddService(L"WlanSvc", SERVICE_STOPPED);
    os::ScopedApiOverride seam;
    failedWaits = 0;
    seam->WaitForSingleObject = &FailingWait;
    EXPECT_EQ(Utils::WaitforServiceToStartRunning(L"WlanSvc", 15), 1);
    EXPECT_EQ(failedWaits, 15);
    EXPECT_EQ(m_scm.Find(L"WlanSvc")->statusQueries, 15);
    EXPECT_TRUE(m_clock.Pauses().empty());
    std::vector<std::wstring> expected{L"TraceIn|Utils::WaitforServiceToStartRunning|"};
    for (int poll = 0; poll < 15; ++poll)
        expected.push_back(L"Verbose|Utils::WaitforServiceToStartRunning|WlanSvc service Running Status = 1, try " +
                           std::to_wstring(poll));
    expected.push_back(L"TraceOut|Utils::WaitforServiceToStartRunning|WlanSvc Running Status = 1");
    EXPECT_EQ(m_log.LinesOf("Utils::WaitforServiceToStartRunning"), expected);
    EXPECT_EQ(m_scm.OpenHandles(), 0);
}

TEST_F(UtilsServiceTest, RestartRecoveryRestartsAfterTwoFourAndSixMinutesResetAfterAnHour)
{
    m_scm.AddService(L"Tessarine", SERVICE_RUNNING);
    EXPECT_EQ(Utils::SetServiceRestartRecoveryOnFailure(L"Tessarine"), 0);
    const FakeScm::Service& service = *m_scm.Find(L"Tessarine");
    EXPECT_TRUE(service.hasFailureActions);
    EXPECT_EQ(service.resetPeriod, 3600u);
    ASSERT_EQ(service.actions.size(), 3u);
    const DWORD delays[] = {120000, 240000, 360000};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(service.actions[i].Type, SC_ACTION_RESTART);
        EXPECT_EQ(service.actions[i].Delay, delays[i]);
    }
    EXPECT_TRUE(service.failureActionsFlag);
    EXPECT_THAT(m_scm.calls, Contains(L"  reboot message none, command none"));
    EXPECT_THAT(m_log.LinesOf("Utils::SetServiceRestartRecoveryOnFailure"),
                ElementsAre(L"TraceIn|Utils::SetServiceRestartRecoveryOnFailure|Service Name = Tessarine",
                            L"TraceOut|Utils::SetServiceRestartRecoveryOnFailure|Return Value = 0"));
    EXPECT_EQ(m_scm.OpenHandles(), 0);
}

TEST_F(UtilsServiceTest, RestartRecoveryFailuresSetTheirBits)
{
    FakeScm::Service& service = m_scm.AddService(L"Tessarine", SERVICE_RUNNING);
    service.failureActionsError = ERROR_ACCESS_DENIED;
    service.failureActionsFlagError = ERROR_INVALID_LEVEL;
    EXPECT_EQ(Utils::SetServiceRestartRecoveryOnFailure(L"Tessarine"), 0x11);
    EXPECT_THAT(m_log.LinesOf("Utils::SetServiceRestartRecoveryOnFailure"),
                ElementsAre(L"TraceIn|Utils::SetServiceRestartRecoveryOnFailure|Service Name = Tessarine",
                            L"Error|Utils::SetServiceRestartRecoveryOnFailure|ChangeServiceConfig2 "
                            L"(SERVICE_CONFIG_FAILURE_ACTIONS) failed w/err 0x00000005\n",
                            L"Error|Utils::SetServiceRestartRecoveryOnFailure|ChangeServiceConfig2 "
                            L"(SERVICE_CONFIG_FAILURE_ACTIONS_FLAG) failed w/err 0x0000007c\n",
                            L"TraceOut|Utils::SetServiceRestartRecoveryOnFailure|Return Value = 17"));
}

TEST_F(UtilsServiceTest, RestartRecoveryFlagFailureAloneIsSixteen)
{
    m_scm.AddService(L"Tessarine", SERVICE_RUNNING).failureActionsFlagError = ERROR_INVALID_LEVEL;
    EXPECT_EQ(Utils::SetServiceRestartRecoveryOnFailure(L"Tessarine"), 0x10);
}

TEST_F(UtilsServiceTest, RestartRecoveryOfAMissingServiceIsTheOpenResult)
{
    EXPECT_EQ(Utils::SetServiceRestartRecoveryOnFailure(L"Tessarine"), -1);
    EXPECT_EQ(m_scm.OpenHandles(), 0);
}

}  // namespace
