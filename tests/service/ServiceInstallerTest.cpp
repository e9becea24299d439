// InstallService and UninstallService against a scripted SCM: the calls,
// their order, the console lines and the log lines.
#include "service/ServiceInstaller.h"

#include "fakes/ConsoleCapture.h"
#include "fakes/FakeScm.h"
#include "fakes/RecordingListener.h"
#include "fakes/RegistryKeys.h"
#include "fakes/VirtualClock.h"
#include "logging/LoggerSlot.h"
#include "radio/PowerStatus.h"
#include "service/Registry.h"
#include "service/ServiceNames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using fakes::FakeScm;
using testing::ElementsAre;
using testing::IsEmpty;

class ServiceInstallerTest : public testing::Test {
protected:
    ServiceInstallerTest() : logger_(fakes::LoggerWithRecorder(recorder_)) {}

    void Install()
    {
        InstallService(kServiceName, kServiceDisplayName, kServiceDisplayName, SERVICE_AUTO_START,
                       kServiceDependencies, nullptr, nullptr);
    }
    static std::wstring ModulePath()
    {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        return path;
    }

    fakes::RecordingListener* recorder_ = nullptr;
    QX::Shared::ScopedLoggerForTesting logger_;
    fakes::VirtualClock clock_;
    FakeScm scm_;
    fakes::ConsoleCapture console_;
};

TEST_F(ServiceInstallerTest, InstallRegistersTheQuotedPathAsAnAutomaticOwnProcessService)
{
    Install();
    ASSERT_EQ(scm_.creations.size(), 1u);
    const FakeScm::Creation& creation = scm_.creations[0];
    EXPECT_EQ(creation.name, L"Tessarine");
    EXPECT_EQ(creation.displayName, L"QX Tessarine Service");
    EXPECT_EQ(creation.binaryPath, L"\"" + ModulePath() + L"\"");
    EXPECT_EQ(creation.access, 0xF01FFu);
    EXPECT_EQ(creation.serviceType, 0x10u);
    EXPECT_EQ(creation.startType, 2u);
    EXPECT_EQ(creation.errorControl, 1u);
    EXPECT_THAT(creation.dependencies, ElementsAre(L"WlanSvc", L"WwanSvc"));
    EXPECT_FALSE(creation.account);
    EXPECT_FALSE(creation.password);
    EXPECT_FALSE(creation.loadOrderGroup);
    EXPECT_FALSE(creation.tagId);
    EXPECT_EQ(scm_.Find(L"Tessarine")->description, L"QX Tessarine Service");
}

TEST_F(ServiceInstallerTest, InstallCallsInOrderAndClosesTheScmFirst)
{
    Install();
    EXPECT_THAT(scm_.calls, ElementsAre(L"OpenSCManagerW local active 0x00000003", L"CreateServiceW Tessarine",
                                        L"ChangeServiceConfig2W 1", L"CloseServiceHandle scm",
                                        L"CloseServiceHandle Tessarine"));
}

TEST_F(ServiceInstallerTest, InstallPrintsAndLogsTheInstalledLine)
{
    Install();
    EXPECT_EQ(console_.Text(), L"Tessarine is installed.\n");
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"InstallService|Tessarine is installed."));
    EXPECT_EQ(recorder_->Records()[0].Level(), QX::Shared::LevelInformation);
}

TEST_F(ServiceInstallerTest, InstallingTwicePrintsTheDescriptionFailureThenTheCreationFailure)
{
    scm_.AddService(L"Tessarine");
    Install();
    EXPECT_THAT(scm_.calls, ElementsAre(L"OpenSCManagerW local active 0x00000003", L"CreateServiceW Tessarine",
                                        L"ChangeServiceConfig2W 1", L"CloseServiceHandle scm"));
    // The description call on the null handle sets its own error, which the
    // creation line then shows: each line reads the error when printed.
    EXPECT_EQ(console_.Text(), L"ChangeServiceConfig2 (SERVICE_CONFIG_DESCRIPTION) failed w/err 0x00000006\n"
                               L"CreateService failed w/err 0x00000006\n");
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"InstallService|CreateService failed w/err 0x00000006"));
    EXPECT_EQ(recorder_->Records()[0].Level(), QX::Shared::LevelError);
}

TEST_F(ServiceInstallerTest, InstallWithoutTheScmPrintsAndLogsTheOpenFailure)
{
    scm_.openScmError = ERROR_ACCESS_DENIED;
    Install();
    EXPECT_EQ(console_.Text(), L"OpenSCManager failed w/err 0x00000005\n");
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"InstallService|OpenSCManager failed w/err 0x00000005"));
    EXPECT_THAT(scm_.calls, ElementsAre(L"OpenSCManagerW local active 0x00000003"));
}

TEST_F(ServiceInstallerTest, InstallWithoutItsOwnPathOnlyLogs)
{
    os::ScopedApiOverride seam;
    seam->GetModuleFileNameW = [](HMODULE, LPWSTR, DWORD) -> DWORD {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    };
    Install();
    EXPECT_THAT(console_.Text(), IsEmpty());
    EXPECT_THAT(scm_.calls, IsEmpty());
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"InstallService|GetModuleFileName failed w/err 0x0000007a"));
}

class ServiceUninstallerTest : public ServiceInstallerTest {
protected:
    ServiceUninstallerTest()
    {
        for (const wchar_t* key : {ServiceUtils::kWlanPowerStatusKey, ServiceUtils::kWwanPowerStatusKey}) {
            Registry::SetValue(HKEY_LOCAL_MACHINE, key, ServiceUtils::kPowerStatusValue, L"False", 0);
            Registry::SetValue(HKEY_LOCAL_MACHINE, std::wstring(key) + L"\\Nested", L"x", L"y", 0);
        }
    }
    ~ServiceUninstallerTest() override
    {
        Registry::DeleteKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QX\\QX Brisa UWP", 0);
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QX");  // only if nothing else is left in it
    }

    static bool KeyExists(const wchar_t* path) { return fakes::MachineKeyExists(path); }
};

TEST_F(ServiceUninstallerTest, RemovingARunningServiceStopsItWithOneFullStopPerSecondOfStopPending)
{
    FakeScm::Service& service = scm_.AddService(L"Tessarine", SERVICE_RUNNING);
    service.stopPendingPolls = 3;
    UninstallService(L"Tessarine");
    EXPECT_EQ(console_.Text(), L"Stopping Tessarine....\nTessarine is stopped.\nTessarine is removed.\n");
    EXPECT_THAT(clock_.Pauses(), ElementsAre(1000u, 1000u, 1000u, 1000u));
    EXPECT_TRUE(service.deleted);
    EXPECT_THAT(recorder_->Tails(), IsEmpty());
}

TEST_F(ServiceUninstallerTest, RemovingARunningServiceCallsInOrder)
{
    scm_.AddService(L"Tessarine", SERVICE_RUNNING).stopPendingPolls = 1;
    UninstallService(L"Tessarine");
    EXPECT_THAT(scm_.calls,
                ElementsAre(L"OpenSCManagerW local active 0x00000001", L"OpenServiceW Tessarine 0x00010024",
                            L"ControlService 1", L"QueryServiceStatus", L"QueryServiceStatus", L"DeleteService",
                            L"CloseServiceHandle scm", L"CloseServiceHandle Tessarine"));
}

TEST_F(ServiceUninstallerTest, RemovingARunningServiceDeletesBothPowerStatusKeys)
{
    scm_.AddService(L"Tessarine", SERVICE_RUNNING);
    UninstallService(L"Tessarine");
    EXPECT_FALSE(KeyExists(ServiceUtils::kWlanPowerStatusKey));
    EXPECT_FALSE(KeyExists(ServiceUtils::kWwanPowerStatusKey));
    EXPECT_EQ(console_.Text(), L"Stopping Tessarine.\nTessarine is stopped.\nTessarine is removed.\n");
}

TEST_F(ServiceUninstallerTest, TheStopWaitHasNoUpperBound)
{
    scm_.AddService(L"Tessarine", SERVICE_RUNNING).stopPendingPolls = 600;
    UninstallService(L"Tessarine");
    EXPECT_EQ(clock_.Pauses().size(), 601u);
    EXPECT_EQ(console_.Text(), L"Stopping Tessarine." + std::wstring(600, L'.') +
                                   L"\nTessarine is stopped.\nTessarine is removed.\n");
}

TEST_F(ServiceUninstallerTest, AServiceThatDoesNotStopIsReportedAndStillDeleted)
{
    FakeScm::Service& service = scm_.AddService(L"Tessarine", SERVICE_RUNNING);
    service.stopPendingPolls = 1;
    service.stateAfterStop = SERVICE_RUNNING;
    UninstallService(L"Tessarine");
    EXPECT_EQ(console_.Text(), L"Stopping Tessarine..\nTessarine failed to stop.\nTessarine is removed.\n");
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"UninstallService|Tessarine failed to stop."));
    EXPECT_TRUE(service.deleted);
}

TEST_F(ServiceUninstallerTest, AFailedStatusQueryEndsTheWait)
{
    FakeScm::Service& service = scm_.AddService(L"Tessarine", SERVICE_RUNNING);
    service.stopPendingPolls = 5;
    service.queryError = ERROR_ACCESS_DENIED;
    UninstallService(L"Tessarine");
    // The last state read is the one the stop control returned.
    EXPECT_EQ(console_.Text(), L"Stopping Tessarine.\nTessarine failed to stop.\nTessarine is removed.\n");
    EXPECT_THAT(clock_.Pauses(), ElementsAre(1000u));
}

TEST_F(ServiceUninstallerTest, RemovingAStoppedServiceDeletesItWithoutStoppingLines)
{
    scm_.AddService(L"Tessarine", SERVICE_STOPPED);
    UninstallService(L"Tessarine");
    EXPECT_EQ(console_.Text(), L"Tessarine is removed.\n");
    EXPECT_TRUE(clock_.Pauses().empty());
    EXPECT_FALSE(KeyExists(ServiceUtils::kWlanPowerStatusKey));
    EXPECT_FALSE(KeyExists(ServiceUtils::kWwanPowerStatusKey));
}

TEST_F(ServiceUninstallerTest, MissingPowerStatusKeysCountAsDeleted)
{
    Registry::DeleteKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QX\\QX Brisa UWP", 0);
    scm_.AddService(L"Tessarine", SERVICE_STOPPED);
    UninstallService(L"Tessarine");
    EXPECT_EQ(console_.Text(), L"Tessarine is removed.\n");
    EXPECT_THAT(recorder_->Tails(), IsEmpty());
}

TEST_F(ServiceUninstallerTest, RemovingAMissingServicePrintsTheOpenFailure)
{
    UninstallService(L"Tessarine");
    EXPECT_EQ(console_.Text(), L"OpenService failed w/err 0x00000424\n");
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"UninstallService|OpenService failed w/err 0x00000424"));
    EXPECT_THAT(scm_.calls, ElementsAre(L"OpenSCManagerW local active 0x00000001", L"OpenServiceW Tessarine 0x00010024",
                                        L"CloseServiceHandle scm"));
    EXPECT_TRUE(KeyExists(ServiceUtils::kWlanPowerStatusKey));
}

TEST_F(ServiceUninstallerTest, RemovingWithoutTheScmPrintsTheOpenFailure)
{
    scm_.openScmError = ERROR_ACCESS_DENIED;
    UninstallService(L"Tessarine");
    EXPECT_EQ(console_.Text(), L"OpenSCManager failed w/err 0x00000005\n");
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"UninstallService|OpenSCManager failed w/err 0x00000005"));
}

TEST_F(ServiceUninstallerTest, AFailedDeletionLeavesThePowerStatusKeys)
{
    scm_.AddService(L"Tessarine", SERVICE_STOPPED).deleteError = ERROR_ACCESS_DENIED;
    UninstallService(L"Tessarine");
    EXPECT_EQ(console_.Text(), L"DeleteService failed w/err 0x00000005\n");
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"UninstallService|DeleteService failed w/err 0x00000005"));
    EXPECT_TRUE(KeyExists(ServiceUtils::kWlanPowerStatusKey));
    EXPECT_TRUE(KeyExists(ServiceUtils::kWwanPowerStatusKey));
}

} // namespace
