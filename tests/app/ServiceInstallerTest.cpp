// InstallService and UninstallService against a scripted SCM: the calls,
// their order, the console lines and the log lines.
#include "app/ServiceInstaller.h"

#include "fakes/ConsoleCapture.h"
#include "fakes/FakeScm.h"
#include "fakes/RecordingListener.h"
#include "fakes/RegistryKeys.h"
#include "fakes/VirtualClock.h"
#include "platform/Api.h"
#include "logging/LoggerSlot.h"
#include "state/RegistryPaths.h"
#include "service/Registry.h"
#include "state/ServiceNames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using fakes::FakeScm;
using testing::ElementsAre;
using testing::IsEmpty;

class ServiceInstallerTest : public testing::Test {
protected:
    void Install()
    {
        InstallService(kServiceName, kServiceDisplayName, kServiceDisplayName, SERVICE_AUTO_START, kServiceDependencies,
                       nullptr, nullptr);
    }
    static std::wstring ModulePath()
    {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        return path;
    }

    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    FakeScm m_scm;
    fakes::ConsoleCapture m_console;
};

TEST_F(ServiceInstallerTest, InstallRegistersTheQuotedPathAsAnAutomaticOwnProcessService)
{
    Install();
    ASSERT_EQ(m_scm.creations.size(), 1u);
    const FakeScm::Creation& creation = m_scm.creations[0];
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
    EXPECT_EQ(m_scm.Find(L"Tessarine")->description, L"QX Tessarine Service");
}

TEST_F(ServiceInstallerTest, InstallCallsInOrderAndClosesTheScmFirst)
{
    Install();
    EXPECT_THAT(m_scm.calls,
                ElementsAre(L"OpenSCManagerW local active 0x00000003", L"CreateServiceW Tessarine",
                            L"ChangeServiceConfig2W 1", L"CloseServiceHandle scm", L"CloseServiceHandle Tessarine"));
}

TEST_F(ServiceInstallerTest, InstallPrintsAndLogsTheInstalledLine)
{
    Install();
    EXPECT_EQ(m_console.Text(), L"Tessarine is installed.\n");
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Information|InstallService|Tessarine is installed."));
}

TEST_F(ServiceInstallerTest, AnInstallWhoseConsoleFailsStillInstallsAndLogsTheInstalledLine)
{
    // The console copy is the only thing lost: the log has the line first.
    m_console.FailWrites(1);
    Install();
    EXPECT_TRUE(m_scm.Find(L"Tessarine") != nullptr);
    EXPECT_THAT(m_scm.calls,
                ElementsAre(L"OpenSCManagerW local active 0x00000003", L"CreateServiceW Tessarine",
                            L"ChangeServiceConfig2W 1", L"CloseServiceHandle scm", L"CloseServiceHandle Tessarine"));
    EXPECT_THAT(m_console.FailedWrites(), ElementsAre(L"Tessarine is installed.\n"));
    EXPECT_THAT(m_console.Text(), IsEmpty());
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Information|InstallService|Tessarine is installed."));
}

TEST_F(ServiceInstallerTest, InstallingTwicePrintsTheDescriptionFailureThenTheCreationFailure)
{
    m_scm.AddService(L"Tessarine");
    Install();
    EXPECT_THAT(m_scm.calls, ElementsAre(L"OpenSCManagerW local active 0x00000003", L"CreateServiceW Tessarine",
                                         L"ChangeServiceConfig2W 1", L"CloseServiceHandle scm"));
    // The description call on the null handle sets its own error, which the
    // creation line then shows: each line reads the error when printed.
    EXPECT_EQ(m_console.Text(), L"ChangeServiceConfig2 (SERVICE_CONFIG_DESCRIPTION) failed w/err 0x00000006\n"
                                L"CreateService failed w/err 0x00000006\n");
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Error|InstallService|CreateService failed w/err 0x00000006"));
}

TEST_F(ServiceInstallerTest, InstallWithoutTheScmPrintsAndLogsTheOpenFailure)
{
    m_scm.openScmError = ERROR_ACCESS_DENIED;
    Install();
    EXPECT_EQ(m_console.Text(), L"OpenSCManager failed w/err 0x00000005\n");
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Error|InstallService|OpenSCManager failed w/err 0x00000005"));
    EXPECT_THAT(m_scm.calls, ElementsAre(L"OpenSCManagerW local active 0x00000003"));
}

TEST_F(ServiceInstallerTest, InstallWithoutItsOwnPathOnlyLogs)
{
    os::ScopedApiOverride seam;
    seam->GetModuleFileNameW = [](HMODULE, LPWSTR, DWORD) -> DWORD {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    };
    Install();
    EXPECT_THAT(m_console.Text(), IsEmpty());
    EXPECT_THAT(m_scm.calls, IsEmpty());
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Error|InstallService|GetModuleFileName failed w/err 0x0000007a"));
}

class ServiceUninstallerTest : public ServiceInstallerTest {
protected:
    ServiceUninstallerTest()
    {
        for (const wchar_t* key : {kWlanPowerStatusKey, kWwanPowerStatusKey}) {
            Registry::SetValue(HKEY_LOCAL_MACHINE, key, kPowerStatusValue, L"False", 0);
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
    FakeScm::Service& service = m_scm.AddService(L"Tessarine", SERVICE_RUNNING);
    service.stopPendingPolls = 3;
    UninstallService(L"Tessarine");
    EXPECT_EQ(m_console.Text(), L"Stopping Tessarine....\nTessarine is stopped.\nTessarine is removed.\n");
    EXPECT_THAT(m_clock.Pauses(), ElementsAre(1000u, 1000u, 1000u, 1000u));
    EXPECT_TRUE(service.deleted);
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(ServiceUninstallerTest, RemovingARunningServiceCallsInOrder)
{
    m_scm.AddService(L"Tessarine", SERVICE_RUNNING).stopPendingPolls = 1;
    UninstallService(L"Tessarine");
    EXPECT_THAT(m_scm.calls,
                ElementsAre(L"OpenSCManagerW local active 0x00000001", L"OpenServiceW Tessarine 0x00010024",
                            L"ControlService 1", L"QueryServiceStatus", L"QueryServiceStatus", L"DeleteService",
                            L"CloseServiceHandle scm", L"CloseServiceHandle Tessarine"));
}

TEST_F(ServiceUninstallerTest, RemovingARunningServiceDeletesBothPowerStatusKeys)
{
    m_scm.AddService(L"Tessarine", SERVICE_RUNNING);
    UninstallService(L"Tessarine");
    EXPECT_FALSE(KeyExists(kWlanPowerStatusKey));
    EXPECT_FALSE(KeyExists(kWwanPowerStatusKey));
    EXPECT_EQ(m_console.Text(), L"Stopping Tessarine.\nTessarine is stopped.\nTessarine is removed.\n");
}

TEST_F(ServiceUninstallerTest, TheStopWaitHasNoUpperBound)
{
    m_scm.AddService(L"Tessarine", SERVICE_RUNNING).stopPendingPolls = 600;
    UninstallService(L"Tessarine");
    EXPECT_EQ(m_clock.Pauses().size(), 601u);
    EXPECT_EQ(m_console.Text(),
              L"Stopping Tessarine." + std::wstring(600, L'.') + L"\nTessarine is stopped.\nTessarine is removed.\n");
}

TEST_F(ServiceUninstallerTest, AServiceThatDoesNotStopIsReportedAndStillDeleted)
{
    FakeScm::Service& service = m_scm.AddService(L"Tessarine", SERVICE_RUNNING);
    service.stopPendingPolls = 1;
    service.stateAfterStop = SERVICE_RUNNING;
    UninstallService(L"Tessarine");
    EXPECT_EQ(m_console.Text(), L"Stopping Tessarine..\nTessarine failed to stop.\nTessarine is removed.\n");
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Error|UninstallService|Tessarine failed to stop."));
    EXPECT_TRUE(service.deleted);
}

TEST_F(ServiceUninstallerTest, AFailedStatusQueryEndsTheWait)
{
    FakeScm::Service& service = m_scm.AddService(L"Tessarine", SERVICE_RUNNING);
    service.stopPendingPolls = 5;
    service.queryError = ERROR_ACCESS_DENIED;
    UninstallService(L"Tessarine");
    // The last state read is the one the stop control returned.
    EXPECT_EQ(m_console.Text(), L"Stopping Tessarine.\nTessarine failed to stop.\nTessarine is removed.\n");
    EXPECT_THAT(m_clock.Pauses(), ElementsAre(1000u));
}

TEST_F(ServiceUninstallerTest, RemovingAStoppedServiceDeletesItWithoutStoppingLines)
{
    m_scm.AddService(L"Tessarine", SERVICE_STOPPED);
    UninstallService(L"Tessarine");
    EXPECT_EQ(m_console.Text(), L"Tessarine is removed.\n");
    EXPECT_TRUE(m_clock.Pauses().empty());
    EXPECT_FALSE(KeyExists(kWlanPowerStatusKey));
    EXPECT_FALSE(KeyExists(kWwanPowerStatusKey));
}

TEST_F(ServiceUninstallerTest, MissingPowerStatusKeysCountAsDeleted)
{
    Registry::DeleteKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QX\\QX Brisa UWP", 0);
    m_scm.AddService(L"Tessarine", SERVICE_STOPPED);
    UninstallService(L"Tessarine");
    EXPECT_EQ(m_console.Text(), L"Tessarine is removed.\n");
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(ServiceUninstallerTest, RemovingAMissingServicePrintsTheOpenFailure)
{
    UninstallService(L"Tessarine");
    EXPECT_EQ(m_console.Text(), L"OpenService failed w/err 0x00000424\n");
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Error|UninstallService|OpenService failed w/err 0x00000424"));
    EXPECT_THAT(m_scm.calls, ElementsAre(L"OpenSCManagerW local active 0x00000001",
                                         L"OpenServiceW Tessarine 0x00010024", L"CloseServiceHandle scm"));
    EXPECT_TRUE(KeyExists(kWlanPowerStatusKey));
}

TEST_F(ServiceUninstallerTest, RemovingWithoutTheScmPrintsTheOpenFailure)
{
    m_scm.openScmError = ERROR_ACCESS_DENIED;
    UninstallService(L"Tessarine");
    EXPECT_EQ(m_console.Text(), L"OpenSCManager failed w/err 0x00000005\n");
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Error|UninstallService|OpenSCManager failed w/err 0x00000005"));
}

TEST_F(ServiceUninstallerTest, AFailedDeletionLeavesThePowerStatusKeys)
{
    m_scm.AddService(L"Tessarine", SERVICE_STOPPED).deleteError = ERROR_ACCESS_DENIED;
    UninstallService(L"Tessarine");
    EXPECT_EQ(m_console.Text(), L"DeleteService failed w/err 0x00000005\n");
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Error|UninstallService|DeleteService failed w/err 0x00000005"));
    EXPECT_TRUE(KeyExists(kWlanPowerStatusKey));
    EXPECT_TRUE(KeyExists(kWwanPowerStatusKey));
}

// Opening a power-status key fails with access denied (also as the thread's
// last error); every other key opens as usual.
LSTATUS WINAPI OpenDenyingPowerStatusKeys(HKEY parent, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY key)
{
    if (subKey != nullptr && std::wstring(subKey).find(L"PowerStatus") != std::wstring::npos) {
        SetLastError(ERROR_ACCESS_DENIED);
        return ERROR_ACCESS_DENIED;
    }
    return ::RegOpenKeyExW(parent, subKey, options, access, key);
}

TEST_F(ServiceUninstallerTest, PowerStatusKeysThatCannotBeDeletedAreLoggedAndTheServiceIsStillRemoved)
{
    FakeScm::Service& service = m_scm.AddService(L"Tessarine", SERVICE_STOPPED);
    os::ScopedApiOverride seam;
    seam->RegOpenKeyExW = &OpenDenyingPowerStatusKeys;
    UninstallService(L"Tessarine");
    EXPECT_TRUE(service.deleted);
    EXPECT_EQ(m_console.Text(), L"Tessarine is removed.\n");
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"Error|UninstallService|DeleteSubkey (BrisaWlanPowerStatus) failed w/err 0x00000005",
                            L"Error|UninstallService|DeleteSubkey (BrisaWwanPowerStatus) failed w/err 0x00000005"));
    EXPECT_TRUE(KeyExists(kWlanPowerStatusKey));
    EXPECT_TRUE(KeyExists(kWwanPowerStatusKey));
}

}  // namespace
