// The built Tessarine.exe against Wine's real Service Control Manager:
// install, start, stop and remove as an administrator sees them, with the
// registry entries, the console text and the log file they leave.
//
// Every test starts and ends with the service removed (and gone from the
// SCM), no power-status keys and no Tessarine log files. Running the
// product without an option takes from 0.3 s to about 10 s under Wine: its
// dispatcher may wait for a busy control pipe of another service before it
// gives up with 0x427.
#include "ProcessRunner.h"

#include "fakes/LogFiles.h"
#include "fakes/RegistryKeys.h"
#include "fakes/ServiceState.h"
#include "state/RegistryPaths.h"
#include "service/Registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace {

using e2e::RunProcess;
using e2e::RunProduct;
using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

constexpr wchar_t kServiceName[] = L"Tessarine";
constexpr wchar_t kServiceKey[] = L"SYSTEM\\CurrentControlSet\\Services\\Tessarine";
constexpr wchar_t kProductKey[] = L"SOFTWARE\\QX\\QX Brisa UWP";
constexpr wchar_t kUsage[] = L"Parameters:\n -install  to install the service.\n -remove   to remove the service.\n";
constexpr wchar_t kRunFailure[] = L"Service failed to run w/err 0x00000427\n";
constexpr DWORD kNotInstalled = fakes::kServiceNotInstalled;  // State() of a service the SCM does not know

std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

class ServiceLifecycleTest : public testing::Test {
protected:
    ServiceLifecycleTest() { Clean(); }
    ~ServiceLifecycleTest() override { Clean(); }

    static void Clean()
    {
        if (State() != kNotInstalled)
            RunProduct(L"-remove");
        // A deleted service stays, marked for deletion, until its process has
        // ended; the next install must not meet it.
        EXPECT_TRUE(WaitForState(kNotInstalled)) << "the service is still installed";
        Registry::DeleteKey(HKEY_LOCAL_MACHINE, kProductKey, Registry::kDefaultView);
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QX");  // only when nothing else is in it
        fakes::DeleteLogFiles(L"Tessarine");
    }

    // The service's current state, or kNotInstalled.
    static DWORD State() { return fakes::ServiceState(kServiceName); }
    // Polls every 100 ms for up to 10 s.
    static bool WaitForState(DWORD state)
    {
        for (int i = 0; i < 100; ++i) {
            if (State() == state)
                return true;
            Sleep(100);
        }
        return false;
    }
    static void InstallAndStart()
    {
        ASSERT_EQ(RunProduct(L"-install").output, L"Tessarine is installed.\n");
        const e2e::ProcessResult started = RunProcess(L"net start Tessarine");
        ASSERT_EQ(started.exitCode, 0u) << Narrow(started.output);
        ASSERT_TRUE(WaitForState(SERVICE_RUNNING));
    }

    // A REG_SZ or REG_MULTI_SZ value of the service key with its NULs, the
    // final terminator(s) removed.
    static std::wstring Text(const wchar_t* name, DWORD* type = nullptr)
    {
        wchar_t data[512] = {};
        DWORD size = sizeof(data);
        DWORD storedType = REG_NONE;
        if (RegGetValueW(HKEY_LOCAL_MACHINE, kServiceKey, name, RRF_RT_REG_SZ | RRF_RT_REG_MULTI_SZ | RRF_NOEXPAND,
                         &storedType, data, &size) != ERROR_SUCCESS)
            return L"<missing>";
        if (type)
            *type = storedType;
        std::wstring text(data, size / sizeof(wchar_t));
        while (!text.empty() && text.back() == L'\0')
            text.pop_back();
        return text;
    }
    static DWORD Number(const wchar_t* name)
    {
        DWORD value = ~0u;
        DWORD size = sizeof(value);
        RegGetValueW(HKEY_LOCAL_MACHINE, kServiceKey, name, RRF_RT_REG_DWORD, nullptr, &value, &size);
        return value;
    }
    static std::vector<std::wstring> LogLines() { return fakes::ReadLines(fakes::LogPath(L"Tessarine.log")); }
    // Whether a line of the log ends with `tail` (the head "date|thread|"
    // differs from run to run).
    static bool LogHas(const std::wstring& tail)
    {
        for (const std::wstring& line : LogLines())
            if (line.size() >= tail.size() && line.compare(line.size() - tail.size(), tail.size(), tail) == 0)
                return true;
        return false;
    }
    static bool LogContains(const std::wstring& text)
    {
        for (const std::wstring& line : LogLines())
            if (line.find(text) != std::wstring::npos)
                return true;
        return false;
    }
    // The service writes its log through a queued writer that finishes as
    // its process ends, which may be after the SCM reported the state.
    static bool WaitForLogLine(const std::wstring& tail)
    {
        for (int i = 0; i < 100; ++i) {
            if (LogHas(tail))
                return true;
            Sleep(100);
        }
        return false;
    }

    // One record of the log file: "date|thread|level|function|message", the
    // level without its padding; the message may hold '|' itself.
    struct Record {
        std::wstring thread;
        std::wstring level;
        std::wstring function;
        std::wstring message;
    };
    static std::vector<Record> Records()
    {
        std::vector<Record> records;
        for (const std::wstring& line : LogLines()) {
            size_t bars[4];
            size_t from = 0;
            bool whole = true;
            for (size_t& bar : bars) {
                bar = line.find(L'|', from);
                if (bar == std::wstring::npos) {
                    whole = false;
                    break;
                }
                from = bar + 1;
            }
            if (!whole)
                continue;  // the empty line after a message with its own line feed
            Record record;
            record.thread = line.substr(bars[0] + 1, bars[1] - bars[0] - 1);
            record.level = line.substr(bars[1] + 1, bars[2] - bars[1] - 1);
            record.level.erase(record.level.find_last_not_of(L' ') + 1);
            record.function = line.substr(bars[2] + 1, bars[3] - bars[2] - 1);
            record.message = line.substr(bars[3] + 1);
            records.push_back(record);
        }
        return records;
    }
    // The thread of the worker's entry line, or empty.
    static std::wstring WorkerThread(const std::vector<Record>& records)
    {
        for (const Record& record : records)
            if (record.function == L"CMainService::ServiceWorkerThread" && record.level == L"TraceIn")
                return record.thread;
        return L"";
    }
    // "Level|message" of every record of `function` on `thread`, in order.
    static std::vector<std::wstring> LinesOf(const std::vector<Record>& records, const std::wstring& thread,
                                             const std::wstring& function)
    {
        std::vector<std::wstring> lines;
        for (const Record& record : records)
            if (record.thread == thread && record.function == function)
                lines.push_back(record.level + L"|" + record.message);
        return lines;
    }
    // Polls every 100 ms for up to `seconds` until a record of `function`
    // says `message`.
    static bool WaitForRecord(const std::wstring& function, const std::wstring& message, int seconds)
    {
        for (int i = 0; i < seconds * 10; ++i) {
            for (const Record& record : Records())
                if (record.function == function && record.message == message)
                    return true;
            Sleep(100);
        }
        return false;
    }
};

TEST_F(ServiceLifecycleTest, InstallPrintsTheInstalledLineAndExitsWithZero)
{
    const e2e::ProcessResult result = RunProduct(L"-install");
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(result.output, L"Tessarine is installed.\n");
    EXPECT_EQ(State(), static_cast<DWORD>(SERVICE_STOPPED));
}

TEST_F(ServiceLifecycleTest, InstallRegistersTheServiceAsAnAdministratorExpects)
{
    RunProduct(L"-install");
    EXPECT_EQ(Text(L"ImagePath"), L"\"" + e2e::ProductPath() + L"\"");
    EXPECT_EQ(Number(L"Start"), static_cast<DWORD>(SERVICE_AUTO_START));
    EXPECT_EQ(Number(L"Type"), static_cast<DWORD>(SERVICE_WIN32_OWN_PROCESS));
    EXPECT_EQ(Number(L"ErrorControl"), static_cast<DWORD>(SERVICE_ERROR_NORMAL));
    EXPECT_EQ(Text(L"DisplayName"), L"QX Tessarine Service");
    EXPECT_EQ(Text(L"Description"), L"QX Tessarine Service");
    // Wine stores the dependencies but does not return them from
    // QueryServiceConfigW; the registry has them.
    DWORD type = REG_NONE;
    EXPECT_EQ(Text(L"DependOnService", &type), std::wstring(L"WlanSvc\0WwanSvc", 15));
    EXPECT_EQ(type, static_cast<DWORD>(REG_MULTI_SZ));
    // No account given: the SCM records LocalSystem.
    EXPECT_EQ(Text(L"ObjectName"), L"LocalSystem");
}

class InstallOptionTest : public ServiceLifecycleTest, public testing::WithParamInterface<const wchar_t*> {};

TEST_P(InstallOptionTest, Installs)
{
    const e2e::ProcessResult result = RunProduct(GetParam());
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(result.output, L"Tessarine is installed.\n");
    EXPECT_EQ(State(), static_cast<DWORD>(SERVICE_STOPPED));
}

INSTANTIATE_TEST_SUITE_P(AnyCaseWithHyphenOrSlash, InstallOptionTest,
                         testing::Values(L"-INSTALL", L"/Install", L"-install"),
                         [](const testing::TestParamInfo<const wchar_t*>& info) {
                             return info.index == 0   ? "HyphenUpperCase"
                                    : info.index == 1 ? "SlashMixedCase"
                                                      : "HyphenLowerCase";
                         });

TEST_F(ServiceLifecycleTest, OnlyTheFirstArgumentCounts)
{
    const e2e::ProcessResult result = RunProduct(L"-install extra args");
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(result.output, L"Tessarine is installed.\n");
    EXPECT_EQ(State(), static_cast<DWORD>(SERVICE_STOPPED));
}

TEST_F(ServiceLifecycleTest, ASecondInstallPrintsTheDescriptionFailureThenTheCreationFailure)
{
    RunProduct(L"-install");
    const e2e::ProcessResult result = RunProduct(L"-install");
    EXPECT_EQ(result.exitCode, 0u);
    // CreateServiceW fails with ERROR_SERVICE_EXISTS (0x431), but both lines
    // read the last error after the description call on the null handle
    // has replaced it with ERROR_INVALID_HANDLE (6).
    EXPECT_EQ(result.output, L"ChangeServiceConfig2 (SERVICE_CONFIG_DESCRIPTION) failed w/err 0x00000006\n"
                             L"CreateService failed w/err 0x00000006\n");
    EXPECT_EQ(State(), static_cast<DWORD>(SERVICE_STOPPED));
}

TEST_F(ServiceLifecycleTest, NoArgumentPrintsTheUsageThenTheRunFailure)
{
    const e2e::ProcessResult result = RunProduct(L"");
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.exitCode, 0u);
    // Not started by the SCM: the dispatcher cannot connect
    // (ERROR_FAILED_SERVICE_CONTROLLER_CONNECT).
    EXPECT_EQ(result.output, std::wstring(kUsage) + kRunFailure);
    EXPECT_TRUE(LogHas(L"|Error      |wmain|Service failed to run w/err 0x00000427"));
}

TEST_F(ServiceLifecycleTest, InstallWithoutHyphenOrSlashRunsTheServicePath)
{
    const e2e::ProcessResult result = RunProduct(L"install");
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(result.output, std::wstring(kUsage) + kRunFailure);
    EXPECT_EQ(State(), kNotInstalled);
}

TEST_F(ServiceLifecycleTest, AnUnknownOptionPrintsNothingAndExitsWithZero)
{
    const e2e::ProcessResult result = RunProduct(L"-foo");
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(result.output, L"");
    EXPECT_EQ(State(), kNotInstalled);
}

TEST_F(ServiceLifecycleTest, RemoveWhenNotInstalledPrintsTheOpenFailureAndExitsWithZero)
{
    const e2e::ProcessResult result = RunProduct(L"-remove");
    EXPECT_EQ(result.exitCode, 0u);
    // ERROR_SERVICE_DOES_NOT_EXIST.
    EXPECT_EQ(result.output, L"OpenService failed w/err 0x00000424\n");
}

TEST_F(ServiceLifecycleTest, NetStartReachesRunning)
{
    RunProduct(L"-install");
    const e2e::ProcessResult started = RunProcess(L"net start Tessarine");
    EXPECT_EQ(started.exitCode, 0u) << Narrow(started.output);
    EXPECT_TRUE(WaitForState(SERVICE_RUNNING));
    EXPECT_TRUE(WaitForLogLine(L"|Information|CMainService::OnStart|LAN/WLAN | LAN/WWAN Switching Service (" +
                               std::wstring(TESSARINE_VERSION_TEXT) + L") in OnStart"));
}

TEST_F(ServiceLifecycleTest, StartSetsTheRestartPolicyAsFarAsWineKeepsIt)
{
    InstallAndStart();
    ASSERT_TRUE(WaitForLogLine(L"|Information|CMainService::OnStart|LAN/WLAN | LAN/WWAN Switching Service Restart "
                               L"Recovery On Failure set status : 16"));
    // Wine's SCM accepts SERVICE_CONFIG_FAILURE_ACTIONS without storing it:
    // the service key gets no FailureActions value and the query answers
    // ERROR_INVALID_LEVEL. The failure-actions flag it refuses with the same
    // code, which gives the status 16 (0x10) above. The actions themselves
    // (3600 s, three restarts after 120000, 240000 and 360000 ms) are
    // asserted against the scripted SCM of the unit tests.
    EXPECT_FALSE(LogContains(L"ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS) failed"));
    BYTE data[256] = {};
    DWORD size = sizeof(data);
    EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE, kServiceKey, L"FailureActions", RRF_RT_ANY, nullptr, data, &size),
              ERROR_FILE_NOT_FOUND);
    SC_HANDLE scm = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    SC_HANDLE service = OpenServiceW(scm, kServiceName, SERVICE_QUERY_CONFIG);
    DWORD needed = 0;
    EXPECT_FALSE(QueryServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS, data, sizeof(data), &needed));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_LEVEL));
    CloseServiceHandle(service);
    CloseServiceHandle(scm);

    // The message carries its own line feed, so the record is followed by an
    // empty line in the file.
    const std::wstring flagFailure = L"|Error      |Utils::SetServiceRestartRecoveryOnFailure|ChangeServiceConfig2 "
                                     L"(SERVICE_CONFIG_FAILURE_ACTIONS_FLAG) failed w/err 0x0000007c";
    const std::vector<std::wstring> lines = LogLines();
    size_t found = lines.size();
    for (size_t i = 0; i < lines.size(); ++i)
        if (lines[i].size() >= flagFailure.size() &&
            lines[i].compare(lines[i].size() - flagFailure.size(), flagFailure.size(), flagFailure) == 0)
            found = i;
    ASSERT_LT(found + 1, lines.size()) << "no flag failure line followed by another line";
    EXPECT_EQ(lines[found + 1], L"");
}

TEST_F(ServiceLifecycleTest, NetStopStopsTheServiceThroughOnStop)
{
    InstallAndStart();
    const e2e::ProcessResult stopped = RunProcess(L"net stop Tessarine");
    EXPECT_EQ(stopped.exitCode, 0u) << Narrow(stopped.output);
    ASSERT_TRUE(WaitForState(SERVICE_STOPPED));
    EXPECT_TRUE(WaitForLogLine(L"|TraceOut   |CMainService::~CMainService|"));
    EXPECT_TRUE(LogHas(L"|TraceIn    |CMainService::OnStop|"));
    EXPECT_TRUE(LogHas(L"|Information|CMainService::OnStop|LAN/WLAN - LAN/WWAN Switching Service in OnStop"));
    EXPECT_TRUE(LogHas(L"|TraceOut   |CMainService::OnStop|"));
}

TEST_F(ServiceLifecycleTest, RemovingARunningServiceStopsItAndDeletesBothPowerStatusKeys)
{
    for (const wchar_t* key : {kWlanPowerStatusKey, kWwanPowerStatusKey}) {
        ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, key, L"PowerOnOff", L"False", 0), 0);
        ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, std::wstring(key) + L"\\Nested", L"x", L"y", 0), 0);
    }
    InstallAndStart();
    const e2e::ProcessResult result = RunProduct(L"-remove");
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_TRUE(std::regex_match(result.output, std::wregex(L"Stopping Tessarine\\.\\.*\nTessarine is stopped\\.\n"
                                                            L"Tessarine is removed\\.\n")))
        << Narrow(result.output);
    EXPECT_FALSE(fakes::MachineKeyExists(kWlanPowerStatusKey));
    EXPECT_FALSE(fakes::MachineKeyExists(kWwanPowerStatusKey));
    EXPECT_TRUE(fakes::MachineKeyExists(kProductKey));  // only the two keys go
    EXPECT_TRUE(WaitForState(kNotInstalled));
}

TEST_F(ServiceLifecycleTest, RemovingAStoppedServiceOnlyRemovesIt)
{
    RunProduct(L"-install");
    const e2e::ProcessResult result = RunProduct(L"-remove");
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(result.output, L"Tessarine is removed.\n");
    EXPECT_EQ(State(), kNotInstalled);
}

TEST_F(ServiceLifecycleTest, InstallLeavesALogFileInTheRecordFormat)
{
    RunProduct(L"-install");
    // UTF-8 throughout, after the byte-order mark the runtime may write.
    std::string bytes = fakes::ReadBytes(fakes::LogPath(L"Tessarine.log"));
    if (bytes.compare(0, 3, "\xEF\xBB\xBF") == 0)
        bytes.erase(0, 3);
    ASSERT_FALSE(bytes.empty());
    EXPECT_NE(
        MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0),
        0);
    const std::vector<std::wstring> lines = LogLines();
    ASSERT_FALSE(lines.empty());
    const std::wregex record(L"\\d{4}/\\d{2}/\\d{2} \\d{2}:\\d{2}:\\d{2}\\.\\d{3}\\|[0-9A-F]{8}\\|"
                             L"(TraceIn    |TraceOut   |Verbose    |Information|Warning    |Error      )\\|[^|]+\\|.*");
    for (const std::wstring& line : lines)
        EXPECT_TRUE(std::regex_match(line, record)) << Narrow(line);
    EXPECT_TRUE(LogHas(L"|Information|InstallService|Tessarine is installed."));
    EXPECT_TRUE(LogHas(L"|Information|wmain|  Install Service."));
}

// The start-up worker on Wine's own platform: no firmware namespace (both
// switching settings off), no WLAN AutoConfig service, a Native Wi-Fi that
// refuses the registration with 120, the network list manager's connections
// (the host's interfaces, not asserted) and no mobile-broadband class, where
// the worker ends, as on a laptop without a modem, without its exit line.
// The stop that follows is as clean as ever.
TEST_F(ServiceLifecycleTest, TheWorkerRunsOnWinesPlatformToTheMissingMobileBroadbandClassAndStopStillStops)
{
    const std::wstring worker = L"CMainService::ServiceWorkerThread";
    InstallAndStart();
    // The worker waits about a second for WLAN AutoConfig; 30 s is the bound.
    ASSERT_TRUE(WaitForRecord(worker, L"CoCreateInstance(CLSID_MbnInterfaceManager) failed with error: 0x80040154", 30))
        << "the worker did not reach the mobile-broadband manager";

    const std::vector<Record> records = Records();
    const std::wstring thread = WorkerThread(records);
    ASSERT_FALSE(thread.empty());
    // Wine has no WLAN AutoConfig service: the wait gives up after its
    // first try. What IsNetworkAlive says depends on the host's network.
    EXPECT_THAT(
        LinesOf(records, thread, worker),
        ElementsAre(L"TraceIn|ServiceWorkerThread - Entry",
                    L"Information|Finished reading LanWlanWan Switching status from BIOS. Wait for (WLAN AutoConfig) "
                    L"to start",
                    L"Error|WaitforServiceToStartRunning (WLAN AutoConfig) failed with running status = -1",
                    L"Information|WLAN AutoConfig wait completed and WLAN Device Available. So Listening for WLAN "
                    L"Notifications..",
                    L"Error|RegisterWlanNotification (register) failed",
                    StartsWith(L"Information|Network Alive : Return  = "),
                    L"Information|LAN WLAN Auto Switching is disabled in BIOS. Restoring previous WLAN Status.",
                    L"Error|CoCreateInstance(CLSID_MbnInterfaceManager) failed with error: 0x80040154"));

    // The firmware read: the namespace does not connect for either class
    // (WBEM_E_INVALID_NAMESPACE), so both settings stay off.
    EXPECT_THAT(LinesOf(records, thread, L"NLMUtils::ReadNetworkSwitchingStatus"),
                ElementsAre(L"TraceIn|Fetch Location = QXBIOS_BIOSEnumeration",
                            L"Error|Failed to initialize WMI Read [hr:0x8004100E]",
                            L"TraceIn|Fetch Location = QX_BIOSSetting",
                            L"Error|Failed to initialize WMI Read [hr:0x8004100E]"));
    EXPECT_THAT(LinesOf(records, thread, L"NLMUtils::GetAutoSwitchingStatus"),
                Contains(L"TraceOut|LanWlanSwitchingEnabled Value = 0, LanWwanSwitchingEnabled = 0"));
    // The wait for WLAN AutoConfig: one try of a service that does not exist.
    EXPECT_THAT(LinesOf(records, thread, L"Utils::WaitforServiceToStartRunning"),
                ElementsAre(L"TraceIn|", L"Verbose|WlanSvc service Running Status = -1, try 0",
                            L"TraceOut|WlanSvc Running Status = -1"));
    EXPECT_THAT(LinesOf(records, thread, L"CMainService::RegisterWlanNotification"),
                ElementsAre(L"TraceIn|Registration Status - 1, WLANHandle = 0x00000000",
                            L"Error|WlanRegisterNotification(Registration) fail with err 0!!",
                            L"TraceOut|Return  = 120"));
    const std::vector<std::wstring> listing = LinesOf(records, thread, L"NLMUtils::PrintNetworkConnections");
    ASSERT_GE(listing.size(), 3u);
    EXPECT_EQ(listing.front(), L"TraceIn|");
    EXPECT_EQ(listing[1], L"Information|Current Connections:");
    EXPECT_EQ(listing.back(), L"TraceOut|");

    // The steps in their order, from their entry records on the worker's thread.
    const std::vector<std::wstring> steps = {
        L"NLMUtils::GetAutoSwitchingStatus",  L"Utils::WaitforServiceToStartRunning",
        L"CMainService::ListenForWlanEvents", L"CMainService::RegisterWlanNotification",
        L"NLMUtils::PrintNetworkConnections", L"CMainService::UpdateWlanPowerStatus"};
    std::vector<std::wstring> reached;
    for (const Record& record : records)
        if (record.thread == thread && record.level == L"TraceIn")
            for (const std::wstring& step : steps)
                if (record.function == step)
                    reached.push_back(step);
    EXPECT_EQ(reached, steps);

    const e2e::ProcessResult stopped = RunProcess(L"net stop Tessarine");
    EXPECT_EQ(stopped.exitCode, 0u) << Narrow(stopped.output);
    ASSERT_TRUE(WaitForState(SERVICE_STOPPED));
    EXPECT_TRUE(WaitForLogLine(L"|TraceOut   |CMainService::~CMainService|"));
    EXPECT_TRUE(LogHas(L"|TraceOut   |CMainService::OnStop|"));
    // The worker had ended early: it never logs its exit line.
    EXPECT_FALSE(LogContains(L"ServiceWorkerThread - Exit"));
    EXPECT_FALSE(LogContains(L"CMainService::WorkItemTrampoline"));
}

}  // namespace
