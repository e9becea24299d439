// Tessarine.msi under Wine's installer and Service Control Manager, as an
// administrator's deployment tool uses it: silent install, a newer package
// over it, an older package refused, and the uninstall. Runs only inside
// the Wine prefix that msi-test.sh makes for it.
//
// Every test starts and ends with no product of Tessarine's upgrade code
// installed and the service gone from the SCM. A silent install or removal
// takes from 0.5 s to about 2 s under Wine.
#include "Machine.h"
#include "ProcessRunner.h"

#include "fakes/LogFiles.h"
#include "fakes/ServiceState.h"
#include "state/RegistryPaths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <msi.h>
#include <msidefs.h>
#include <msiquery.h>

#include <string>
#include <vector>

namespace {

using msi::WaitUntil;
using testing::ElementsAre;

// Fixed for every release: it ties them together, and administrators' detection rules name it.
constexpr wchar_t kUpgradeCode[] = L"{8E5B1F0A-3C47-4D2E-9A61-7B0C2D4E6F18}";
constexpr wchar_t kServiceName[] = L"Tessarine";
constexpr wchar_t kDisplayName[] = L"QX Tessarine Service";
constexpr wchar_t kServiceKey[] = L"SYSTEM\\CurrentControlSet\\Services\\Tessarine";
constexpr wchar_t kEventSourceKey[] = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\Tessarine";
constexpr wchar_t kPolicyKey[] = L"Software\\Policies\\QX\\Tessarine";
constexpr int kServiceSeconds = 30;               // for the service to start, or to be gone
constexpr DWORD kInstallerMilliseconds = 180000;  // for one msiexec run

std::wstring WindowsPath(const char* path)
{
    std::wstring windows = L"Z:";
    for (const char* c = path; *c; ++c)
        windows.push_back(*c == '/' ? L'\\' : static_cast<wchar_t>(*c));
    return windows;
}

std::wstring InstallFolder() { return msi::ProgramFiles() + L"\\QX\\Tessarine"; }

// msiexec's exit code for `arguments` (/qn added: no window, no question).
DWORD Msiexec(const std::wstring& arguments)
{
    const e2e::ProcessResult result = e2e::RunProcess(L"msiexec " + arguments + L" /qn", kInstallerMilliseconds);
    EXPECT_TRUE(result.started);
    EXPECT_FALSE(result.timedOut) << "msiexec " << std::string(arguments.begin(), arguments.end());
    return result.exitCode;
}
DWORD Install(const char* package) { return Msiexec(L"/i \"" + WindowsPath(package) + L"\""); }
DWORD Uninstall(const std::wstring& productCode) { return Msiexec(L"/x " + productCode); }

// Deletes the service `name` if there is one.
void DeleteServiceNamed(const wchar_t* name)
{
    SC_HANDLE scm = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    if (!scm)
        return;
    if (SC_HANDLE service = OpenServiceW(scm, name, DELETE)) {
        ::DeleteService(service);
        CloseServiceHandle(service);
    }
    CloseServiceHandle(scm);
}

bool ServiceRunning() { return fakes::ServiceState(kServiceName) == SERVICE_RUNNING; }
bool ServiceGone() { return fakes::ServiceState(kServiceName) == fakes::kServiceNotInstalled; }

// Whether a line of the service's log ends with `tail`.
bool LogHas(const std::wstring& tail)
{
    for (const std::wstring& line : fakes::ReadLines(fakes::LogPath(L"Tessarine.log")))
        if (line.size() >= tail.size() && line.compare(line.size() - tail.size(), tail.size(), tail) == 0)
            return true;
    return false;
}
// The line the service logs as it starts, with the version of the program that runs.
std::wstring StartLine(const std::wstring& fileVersion)
{
    return L"|CMainService::OnStart|LAN/WLAN | LAN/WWAN Switching Service (" + fileVersion + L") in OnStart";
}

class MsiLifecycleTest : public testing::Test {
protected:
    MsiLifecycleTest() { RemoveEverything(); }
    ~MsiLifecycleTest() override { RemoveEverything(); }

    static void RemoveEverything()
    {
        for (const msi::Product& product : msi::RelatedProducts(kUpgradeCode))
            EXPECT_EQ(Uninstall(product.code), 0u)
                << "removing " << std::string(product.code.begin(), product.code.end());
        DeleteServiceNamed(kServiceName);  // one a test made itself
        // A deleted service stays, marked for deletion, until its process
        // has ended; the next install must not meet it.
        EXPECT_TRUE(WaitUntil(ServiceGone, kServiceSeconds)) << "the service is still installed";
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"Software\\Policies\\QX");
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QX");
        fakes::DeleteLogFiles(L"Tessarine");
    }

    // The registration "Tessarine.exe -install" makes, for the program under
    // Program Files: the path in quotes, automatic start, LocalSystem.
    static void ExpectRegisteredAsInstallMakesIt()
    {
        EXPECT_EQ(msi::Text(kServiceKey, L"ImagePath"), L"\"" + InstallFolder() + L"\\Tessarine.exe\"");
        EXPECT_EQ(msi::Text(kServiceKey, L"DisplayName"), kDisplayName);
        EXPECT_EQ(msi::Text(kServiceKey, L"Description"), L"QX Tessarine Service");
        EXPECT_EQ(msi::Text(kServiceKey, L"DependOnService"), std::wstring(L"WlanSvc\0WwanSvc", 15));
        EXPECT_EQ(msi::Text(kServiceKey, L"ObjectName"), L"LocalSystem");
        EXPECT_EQ(msi::Number(kServiceKey, L"Start"), static_cast<DWORD>(SERVICE_AUTO_START));
        EXPECT_EQ(msi::Number(kServiceKey, L"Type"), static_cast<DWORD>(SERVICE_WIN32_OWN_PROCESS));
        EXPECT_EQ(msi::Number(kServiceKey, L"ErrorControl"), static_cast<DWORD>(SERVICE_ERROR_NORMAL));
        EXPECT_THAT(msi::ServicesNamed(kDisplayName), ElementsAre(kServiceName)) << "one service, no other";
    }

    // The event source "Tessarine" with the installed message file, which
    // gives the service's entries their text.
    static void ExpectEventSourceRegistered()
    {
        const std::wstring messages = InstallFolder() + L"\\TessarineMessages.dll";
        EXPECT_EQ(msi::Text(kEventSourceKey, L"EventMessageFile"), messages);
        EXPECT_EQ(msi::Number(kEventSourceKey, L"TypesSupported"),
                  static_cast<DWORD>(EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE));
        HMODULE module = LoadLibraryExW(messages.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
        ASSERT_NE(module, nullptr) << GetLastError();
        const DWORD_PTR strings[] = {reinterpret_cast<DWORD_PTR>(L"Tessarine"),
                                     reinterpret_cast<DWORD_PTR>(L"Service failed to start.")};
        wchar_t text[128] = {};
        FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, module, 0, 0, text, 128,
                       reinterpret_cast<va_list*>(const_cast<DWORD_PTR*>(strings)));
        FreeLibrary(module);
        EXPECT_STREQ(text, L"Tessarine\r\nService failed to start.");
    }

    static void ExpectInstalled(const wchar_t* productVersion, const wchar_t* fileVersion)
    {
        const std::vector<msi::Product> products = msi::RelatedProducts(kUpgradeCode);
        ASSERT_EQ(products.size(), 1u) << "one product of the upgrade code";
        EXPECT_EQ(products[0].version, productVersion);
        EXPECT_EQ(msi::FileVersion(InstallFolder() + L"\\Tessarine.exe"), fileVersion);
        EXPECT_TRUE(msi::FileExists(InstallFolder() + L"\\TessarineMessages.dll"));
        EXPECT_TRUE(msi::FileExists(InstallFolder() + L"\\TessarineDiag.exe"));
    }
};

TEST_F(MsiLifecycleTest, InstallsSilentlyAndStartsTheServiceRegisteredAsInstallRegistersIt)
{
    ASSERT_EQ(Install(TESSARINE_MSI_PATH), 0u);
    EXPECT_TRUE(WaitUntil(ServiceRunning, kServiceSeconds)) << "state " << fakes::ServiceState(kServiceName);
    ExpectInstalled(TESSARINE_VERSION, TESSARINE_FILE_VERSION);
    ExpectRegisteredAsInstallMakesIt();
    ExpectEventSourceRegistered();
    EXPECT_TRUE(WaitUntil([] { return LogHas(StartLine(TESSARINE_FILE_VERSION)); }, kServiceSeconds))
        << "the installed program did not start as the service";
}

TEST_F(MsiLifecycleTest, ANewerPackageReplacesTheInstalledOneInPlace)
{
    ASSERT_EQ(Install(TESSARINE_MSI_PATH), 0u);
    ASSERT_TRUE(WaitUntil(ServiceRunning, kServiceSeconds));

    ASSERT_EQ(Install(TESSARINE_NEXT_MSI_PATH), 0u);
    EXPECT_TRUE(WaitUntil(ServiceRunning, kServiceSeconds)) << "state " << fakes::ServiceState(kServiceName);
    ExpectInstalled(TESSARINE_NEXT_VERSION, TESSARINE_NEXT_FILE_VERSION);
    ExpectRegisteredAsInstallMakesIt();
    ExpectEventSourceRegistered();
    EXPECT_TRUE(WaitUntil([] { return LogHas(StartLine(TESSARINE_NEXT_FILE_VERSION)); }, kServiceSeconds))
        << "the newer program did not start as the service";
}

TEST_F(MsiLifecycleTest, AnOlderPackageIsRefusedAndChangesNothing)
{
    ASSERT_EQ(Install(TESSARINE_NEXT_MSI_PATH), 0u);
    ASSERT_TRUE(WaitUntil(ServiceRunning, kServiceSeconds));

    EXPECT_EQ(Install(TESSARINE_MSI_PATH), static_cast<DWORD>(ERROR_INSTALL_FAILURE));
    ExpectInstalled(TESSARINE_NEXT_VERSION, TESSARINE_NEXT_FILE_VERSION);
    EXPECT_TRUE(ServiceRunning());
    ExpectRegisteredAsInstallMakesIt();
}

TEST_F(MsiLifecycleTest, UninstallLeavesTheMachineAsRemoveDoesAndKeepsThePolicy)
{
    ASSERT_EQ(Install(TESSARINE_MSI_PATH), 0u);
    ASSERT_TRUE(WaitUntil(ServiceRunning, kServiceSeconds));
    // What the service keeps of the user's radio choice, and what Group
    // Policy owns.
    for (const wchar_t* key : {kWlanPowerStatusKey, kWwanPowerStatusKey})
        ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, kPowerStatusValue, REG_SZ, L"False", 12), ERROR_SUCCESS);
    const DWORD maxLogSize = 4096;
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kPolicyKey, L"MaxLogSize", REG_DWORD, &maxLogSize, 4), ERROR_SUCCESS);
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kPolicyKey, L"MinLogLevel", REG_SZ, L"TraceIn", 16), ERROR_SUCCESS);

    const std::vector<msi::Product> products = msi::RelatedProducts(kUpgradeCode);
    ASSERT_EQ(products.size(), 1u);
    ASSERT_EQ(Uninstall(products[0].code), 0u);

    EXPECT_TRUE(WaitUntil(ServiceGone, kServiceSeconds)) << "state " << fakes::ServiceState(kServiceName);
    EXPECT_FALSE(msi::KeyExists(kServiceKey));
    EXPECT_FALSE(msi::KeyExists(kWlanPowerStatusKey));
    EXPECT_FALSE(msi::KeyExists(kWwanPowerStatusKey));
    EXPECT_FALSE(msi::KeyExists(kEventSourceKey));
    EXPECT_FALSE(msi::FileExists(InstallFolder()));
    EXPECT_FALSE(msi::FileExists(msi::ProgramFiles() + L"\\QX"));
    EXPECT_TRUE(msi::RelatedProducts(kUpgradeCode).empty());
    EXPECT_EQ(msi::Number(kPolicyKey, L"MaxLogSize"), maxLogSize);
    EXPECT_EQ(msi::Text(kPolicyKey, L"MinLogLevel"), L"TraceIn");
}

// -install cannot replace a service of the same name, and its failure does
// not reach the installer (the program always exits with 0); the start
// that follows does. A registration of a program that cannot start fails
// the install, and the installer takes back what it did.
TEST_F(MsiLifecycleTest, AServiceItCannotReplaceAndStartFailsTheInstallAndLeavesNothing)
{
    SC_HANDLE scm = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE);
    ASSERT_NE(scm, nullptr);
    SC_HANDLE earlier = CreateServiceW(scm, kServiceName, L"Earlier", SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                                       SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, L"C:\\nowhere\\Tessarine.exe",
                                       nullptr, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(earlier, nullptr) << GetLastError();
    CloseServiceHandle(earlier);
    CloseServiceHandle(scm);

    EXPECT_NE(Install(TESSARINE_MSI_PATH), 0u);
    EXPECT_TRUE(msi::RelatedProducts(kUpgradeCode).empty());
    EXPECT_FALSE(msi::FileExists(InstallFolder()));
    EXPECT_FALSE(msi::KeyExists(kEventSourceKey));
    EXPECT_EQ(msi::Text(kServiceKey, L"ImagePath"), L"C:\\nowhere\\Tessarine.exe") << "the earlier one, unchanged";
}

// What a package declares for Windows Installer: a per-machine (ALLUSERS=1),
// x64 install that needs administrator rights (bit 3 of the word count
// clear), the fixed upgrade code and the project's version. Wine's installer
// treats every user as an administrator, so the refusal of a user without
// those rights cannot be run here; this is the declaration Windows acts on.
void ExpectPackageDeclares(const char* package, const wchar_t* version)
{
    const std::wstring path = WindowsPath(package);
    MSIHANDLE database = 0;
    ASSERT_EQ(MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_READONLY, &database), static_cast<UINT>(ERROR_SUCCESS));
    auto property = [database](const wchar_t* name) {
        const std::wstring query = L"SELECT `Value` FROM `Property` WHERE `Property` = '" + std::wstring(name) + L"'";
        MSIHANDLE view = 0;
        MSIHANDLE record = 0;
        wchar_t value[128] = L"<missing>";
        DWORD length = 128;
        if (MsiDatabaseOpenViewW(database, query.c_str(), &view) == ERROR_SUCCESS &&
            MsiViewExecute(view, 0) == ERROR_SUCCESS && MsiViewFetch(view, &record) == ERROR_SUCCESS)
            MsiRecordGetStringW(record, 1, value, &length);
        MsiCloseHandle(record);
        MsiCloseHandle(view);
        return std::wstring(value);
    };
    EXPECT_EQ(property(L"ALLUSERS"), L"1");
    EXPECT_EQ(property(L"UpgradeCode"), kUpgradeCode);
    EXPECT_EQ(property(L"ProductVersion"), version);
    EXPECT_EQ(property(L"ProductName"), L"Tessarine");
    EXPECT_EQ(property(L"Manufacturer"), L"QX");

    MSIHANDLE summary = 0;
    ASSERT_EQ(MsiGetSummaryInformationW(database, nullptr, 0, &summary), static_cast<UINT>(ERROR_SUCCESS));
    UINT type = 0;
    INT wordCount = -1;
    FILETIME unused = {};
    DWORD length = 0;
    MsiSummaryInfoGetPropertyW(summary, PID_WORDCOUNT, &type, &wordCount, &unused, nullptr, &length);
    EXPECT_EQ(wordCount & 8, 0) << "elevated rights are required";
    wchar_t platform[64] = {};
    length = 64;
    MsiSummaryInfoGetPropertyW(summary, PID_TEMPLATE, &type, nullptr, &unused, platform, &length);
    EXPECT_STREQ(platform, L"x64;1033");
    MsiCloseHandle(summary);
    MsiCloseHandle(database);
}

TEST(MsiPackages, DeclareAPerMachineX64InstallOfTheirVersionForAdministrators)
{
    ExpectPackageDeclares(TESSARINE_MSI_PATH, TESSARINE_VERSION);
    ExpectPackageDeclares(TESSARINE_NEXT_MSI_PATH, TESSARINE_NEXT_VERSION);
}

}  // namespace
