// Utils: opening services, their running state, waiting for them (in
// virtual time), UtilSleep and the restart-on-failure policy, against a
// scripted SCM.
#include "service/Utils.h"

#include "fakes/FakeScm.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "logging/LoggerSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using fakes::FakeScm;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

class UtilsServiceTest : public testing::Test {
protected:
    UtilsServiceTest() : logger_(fakes::LoggerWithRecorder(recorder_)) {}

    std::vector<std::wstring> TailsOf(const std::string& function) const { return recorder_->MessagesOf(function); }
    std::vector<std::wstring> Tails() const { return recorder_->Tails(); }

    fakes::RecordingListener* recorder_ = nullptr;
    QX::Shared::ScopedLoggerForTesting logger_;
    fakes::VirtualClock clock_;
    FakeScm scm_;
};

TEST_F(UtilsServiceTest, GetServiceOpensWithFullAccessAndHandsOverBothHandles)
{
    scm_.AddService(L"WlanSvc", SERVICE_RUNNING);
    os::UniqueServiceHandle scm;
    os::UniqueServiceHandle service;
    EXPECT_EQ(Utils::GetService(L"WlanSvc", scm, service), 0);
    EXPECT_TRUE(scm);
    EXPECT_TRUE(service);
    EXPECT_THAT(scm_.calls, ElementsAre(L"OpenSCManagerW local active 0x000F003F", L"OpenServiceW WlanSvc 0x000F01FF"));
    EXPECT_THAT(Tails(), ElementsAre(L"Utils::GetService|Service Name = WlanSvc", L"Utils::GetService|Return Value = 0"));
    service.reset();
    scm.reset();
    EXPECT_EQ(scm_.OpenHandles(), 0);
}

TEST_F(UtilsServiceTest, GetServiceOfAMissingServiceIsMinusOne)
{
    os::UniqueServiceHandle scm;
    os::UniqueServiceHandle service;
    EXPECT_EQ(Utils::GetService(L"WwanSvc", scm, service), -1);
    EXPECT_FALSE(service);
    EXPECT_THAT(Tails(), ElementsAre(L"Utils::GetService|Service Name = WwanSvc",
                                     L"Utils::GetService|Service does not exist. Error 0x00000424",
                                     L"Utils::GetService|Return Value = -1"));
}

TEST_F(UtilsServiceTest, GetServiceThatCannotBeOpenedIsMinusTwo)
{
    scm_.AddService(L"WlanSvc").openError = ERROR_ACCESS_DENIED;
    os::UniqueServiceHandle scm;
    os::UniqueServiceHandle service;
    EXPECT_EQ(Utils::GetService(L"WlanSvc", scm, service), -2);
    EXPECT_THAT(TailsOf("Utils::GetService"),
                ElementsAre(L"Service Name = WlanSvc", L"OpenService failed w/err 0x00000005", L"Return Value = -2"));
}

TEST_F(UtilsServiceTest, GetServiceWithoutTheScmIsMinusThree)
{
    scm_.openScmError = ERROR_ACCESS_DENIED;
    os::UniqueServiceHandle scm;
    os::UniqueServiceHandle service;
    EXPECT_EQ(Utils::GetService(L"WlanSvc", scm, service), -3);
    EXPECT_THAT(TailsOf("Utils::GetService"), ElementsAre(L"Service Name = WlanSvc",
                                                          L"OpenSCManager failed w/err 0x00000005", L"Return Value = -3"));
    EXPECT_THAT(scm_.calls, ElementsAre(L"OpenSCManagerW local active 0x000F003F"));
}

TEST_F(UtilsServiceTest, IsServicePresentOfARunningService)
{
    scm_.AddService(L"WlanSvc", SERVICE_RUNNING);
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"WlanSvc", version, true, false), 0);
    EXPECT_THAT(TailsOf("Utils::IsServicePresent"),
                ElementsAre(L"Service Name = WlanSvc, Running Status To be checked = 1, To Get version Info Status = 0",
                            L"WlanSvc Service is installed. Querying status..", L"WlanSvc Service status = 0x00000004",
                            L"WlanSvc Service is running", L"Return Value = 0"));
    EXPECT_EQ(scm_.OpenHandles(), 0);
}

TEST_F(UtilsServiceTest, IsServicePresentOfAStoppedServiceIsOne)
{
    scm_.AddService(L"WlanSvc", SERVICE_STOPPED);
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"WlanSvc", version, true, false), 1);
    const auto records = recorder_->Records();
    const auto notRunning = std::find_if(records.begin(), records.end(), [](const auto& record) {
        return record.Message() == L"WlanSvc Service is not running";
    });
    ASSERT_NE(notRunning, records.end());
    EXPECT_EQ(notRunning->Level(), QX::Shared::LevelError);
}

TEST_F(UtilsServiceTest, AServiceWhoseStatusQueryFailsCountsAsRunning)
{
    scm_.AddService(L"WlanSvc", SERVICE_STOPPED).queryError = ERROR_ACCESS_DENIED;
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"WlanSvc", version, true, false), 0);
    EXPECT_THAT(TailsOf("Utils::IsServicePresent"),
                ElementsAre(L"Service Name = WlanSvc, Running Status To be checked = 1, To Get version Info Status = 0",
                            L"WlanSvc Service is installed. Querying status..", L"Return Value = 0"));
}

TEST_F(UtilsServiceTest, IsServicePresentWithoutChecksOnlyOpens)
{
    scm_.AddService(L"WlanSvc", SERVICE_STOPPED);
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"WlanSvc", version, false, false), 0);
    EXPECT_THAT(scm_.calls, Not(Contains(L"QueryServiceStatusEx 0")));
}

TEST_F(UtilsServiceTest, IsServicePresentPassesOnTheOpenFailure)
{
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"WlanSvc", version, true, true), -1);
    EXPECT_THAT(TailsOf("Utils::IsServicePresent"),
                ElementsAre(L"Service Name = WlanSvc, Running Status To be checked = 1, To Get version Info Status = 1"));
}

TEST_F(UtilsServiceTest, IsServicePresentReadsTheVersionOfTheInstalledPathWithoutItsQuotes)
{
    scm_.AddService(L"Probe", SERVICE_RUNNING).binaryPath = L"\"C:\\nowhere\\probe.exe\"";
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"Probe", version, false, true), 0);
    EXPECT_THAT(scm_.calls, Contains(L"QueryServiceConfigW 0"));
    EXPECT_THAT(TailsOf("Utils::IsServicePresent"), Contains(L"Probe service installed path = C:\\nowhere\\probe.exe"));
    EXPECT_THAT(TailsOf("Utils::GetVersionValue"), Contains(L"Executable Complete Path = C:\\nowhere\\probe.exe"));
    EXPECT_FALSE(version.found);
}

TEST_F(UtilsServiceTest, IsServicePresentWithAnUnreadableConfigurationIsTwo)
{
    scm_.AddService(L"Probe", SERVICE_RUNNING).configError = ERROR_ACCESS_DENIED;
    Utils::VersionRecord version;
    EXPECT_EQ(Utils::IsServicePresent(L"Probe", version, true, true), 2);
    EXPECT_THAT(TailsOf("Utils::IsServicePresent"), Contains(L"QueryServiceConfig failed w/err 0x00000005"));
    EXPECT_EQ(scm_.OpenHandles(), 0);
}

TEST_F(UtilsServiceTest, WaitingForARunningServiceTakesOnePollAndNoPause)
{
    scm_.AddService(L"WlanSvc", SERVICE_RUNNING);
    EXPECT_EQ(Utils::WaitforServiceToStartRunning(L"WlanSvc", 15), 0);
    EXPECT_EQ(scm_.Find(L"WlanSvc")->statusQueries, 1);
    EXPECT_TRUE(clock_.Pauses().empty());
    EXPECT_THAT(TailsOf("Utils::WaitforServiceToStartRunning"), ElementsAre(L"", L"WlanSvc Running Status = 0"));
}

TEST_F(UtilsServiceTest, WaitingForAMissingServiceReturnsMinusOneAfterOnePollAndOneSecond)
{
    EXPECT_EQ(Utils::WaitforServiceToStartRunning(L"WwanSvc", 15), -1);
    EXPECT_THAT(clock_.Pauses(), ElementsAre(1000u));
    EXPECT_THAT(TailsOf("Utils::WaitforServiceToStartRunning"),
                ElementsAre(L"", L"WwanSvc service Running Status = -1, try 0", L"WwanSvc Running Status = -1"));
}

TEST_F(UtilsServiceTest, WaitingForAServiceThatStaysStoppedReturnsOneAfter15PollsAnd15Seconds)
{
    scm_.AddService(L"WlanSvc", SERVICE_STOPPED);
    EXPECT_EQ(Utils::WaitforServiceToStartRunning(L"WlanSvc", 15), 1);
    EXPECT_EQ(scm_.Find(L"WlanSvc")->statusQueries, 15);
    EXPECT_EQ(clock_.Pauses(), std::vector<DWORD>(15, 1000));
    const auto tails = TailsOf("Utils::WaitforServiceToStartRunning");
    ASSERT_EQ(tails.size(), 17u);
    EXPECT_EQ(tails[1], L"WlanSvc service Running Status = 1, try 0");
    EXPECT_EQ(tails[15], L"WlanSvc service Running Status = 1, try 14");
    EXPECT_EQ(tails[16], L"WlanSvc Running Status = 1");
}

TEST_F(UtilsServiceTest, WaitingForAServiceThatCannotBeOpenedEndsAfterOnePoll)
{
    scm_.AddService(L"WlanSvc").openError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(Utils::WaitforServiceToStartRunning(L"WlanSvc", 15), -2);
    EXPECT_THAT(clock_.Pauses(), ElementsAre(1000u));
}

TEST_F(UtilsServiceTest, UtilSleepWaitsOnAPrivateEventForTheTimeGiven)
{
    Utils::UtilSleep(2500);
    EXPECT_THAT(clock_.Pauses(), ElementsAre(2500u));
}

TEST_F(UtilsServiceTest, UtilSleepWithoutAnEventReturnsAtOnce)
{
    os::ScopedApiOverride seam;
    seam->CreateEventW = [](LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR) -> HANDLE {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    };
    Utils::UtilSleep(1000);
    EXPECT_TRUE(clock_.Pauses().empty());
    EXPECT_THAT(TailsOf("Utils::UtilSleep"), Contains(L"CreateEvent() failed with  error: 8"));
}

TEST_F(UtilsServiceTest, RestartRecoveryRestartsAfterTwoFourAndSixMinutesResetAfterAnHour)
{
    scm_.AddService(L"Tessarine", SERVICE_RUNNING);
    EXPECT_EQ(Utils::SetServiceRestartRecoveryOnFailure(L"Tessarine"), 0);
    const FakeScm::Service& service = *scm_.Find(L"Tessarine");
    EXPECT_TRUE(service.hasFailureActions);
    EXPECT_EQ(service.resetPeriod, 3600u);
    ASSERT_EQ(service.actions.size(), 3u);
    const DWORD delays[] = {120000, 240000, 360000};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(service.actions[i].Type, SC_ACTION_RESTART);
        EXPECT_EQ(service.actions[i].Delay, delays[i]);
    }
    EXPECT_TRUE(service.failureActionsFlag);
    EXPECT_THAT(scm_.calls, Contains(L"  reboot message none, command none"));
    EXPECT_THAT(TailsOf("Utils::SetServiceRestartRecoveryOnFailure"),
                ElementsAre(L"Service Name = Tessarine", L"Return Value = 0"));
    EXPECT_EQ(scm_.OpenHandles(), 0);
}

TEST_F(UtilsServiceTest, RestartRecoveryFailuresSetTheirBits)
{
    FakeScm::Service& service = scm_.AddService(L"Tessarine", SERVICE_RUNNING);
    service.failureActionsError = ERROR_ACCESS_DENIED;
    service.failureActionsFlagError = ERROR_INVALID_LEVEL;
    EXPECT_EQ(Utils::SetServiceRestartRecoveryOnFailure(L"Tessarine"), 0x11);
    EXPECT_THAT(TailsOf("Utils::SetServiceRestartRecoveryOnFailure"),
                ElementsAre(L"Service Name = Tessarine",
                            L"ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS) failed w/err 0x00000005\n",
                            L"ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS_FLAG) failed w/err 0x0000007c\n",
                            L"Return Value = 17"));
}

TEST_F(UtilsServiceTest, RestartRecoveryFlagFailureAloneIsSixteen)
{
    scm_.AddService(L"Tessarine", SERVICE_RUNNING).failureActionsFlagError = ERROR_INVALID_LEVEL;
    EXPECT_EQ(Utils::SetServiceRestartRecoveryOnFailure(L"Tessarine"), 0x10);
}

TEST_F(UtilsServiceTest, RestartRecoveryOfAMissingServiceIsTheOpenResult)
{
    EXPECT_EQ(Utils::SetServiceRestartRecoveryOnFailure(L"Tessarine"), -1);
    EXPECT_EQ(scm_.OpenHandles(), 0);
}

} // namespace
