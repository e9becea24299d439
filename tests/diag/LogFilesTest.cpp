// Where the service's log is found and the order its files are read in.
#include "explain/LogFiles.h"

#include "StoryHarness.h"

#include "platform/Api.h"

#include <gtest/gtest.h>

#include <windows.h>

using diag::OrderLogFileNames;

TEST(LogFiles, OrdersRotatedFilesOldestFirstAndTheCurrentOneLast)
{
    const std::vector<std::wstring> names = {L"Tessarine.log",      L"Tessarine_0001.log", L"Tessarine_0009.log",
                                             L"Tessarine_0010.log", L"Tessarine_0002.log", L"Other.log",
                                             L"Tessarine_x.log",    L"Tessarine_0003.txt", L"_log_0004.tmp"};
    EXPECT_EQ(OrderLogFileNames(names),
              (std::vector<std::wstring>{L"Tessarine_0010.log", L"Tessarine_0009.log", L"Tessarine_0002.log",
                                         L"Tessarine_0001.log", L"Tessarine.log"}));
}

TEST(LogFiles, ReadsTheNamesOfAFolderInThatOrder)
{
    diagtest::TempFolder folder;
    for (const wchar_t* name : {L"Tessarine.log", L"Tessarine_0002.log", L"Tessarine_0001.log", L"Tessarines.log"})
        folder.Write(name, "x");
    EXPECT_EQ(diag::LogFilesIn(folder.Path()),
              (std::vector<std::wstring>{folder.Path() + L"\\Tessarine_0002.log",
                                         folder.Path() + L"\\Tessarine_0001.log", folder.Path() + L"\\Tessarine.log"}));
    diagtest::TempFolder empty;
    EXPECT_TRUE(diag::LogFilesIn(empty.Path()).empty());
}

namespace {

constexpr wchar_t kSystemProfileKey[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\S-1-5-18";

// The system profile named in the registry for the test's life (Wine has
// none of its own), and removed at the end.
class SystemProfile {
public:
    explicit SystemProfile(const std::wstring& path)
    {
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kSystemProfileKey, 0, nullptr, 0, KEY_WRITE | KEY_WOW64_64KEY,
                                  nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        const DWORD bytes = static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t));
        EXPECT_EQ(RegSetValueExW(key, L"ProfileImagePath", 0, REG_EXPAND_SZ,
                                 reinterpret_cast<const BYTE*>(path.c_str()), bytes),
                  ERROR_SUCCESS);
        RegCloseKey(key);
    }
    ~SystemProfile() { RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kSystemProfileKey, KEY_WOW64_64KEY, 0); }
};

// Creates folder\AppData\Roaming\zvrLog and removes it at the end.
class ProfileLogFolder {
public:
    explicit ProfileLogFolder(const std::wstring& profile) : m_profile(profile)
    {
        CreateDirectoryW((profile + L"\\AppData").c_str(), nullptr);
        CreateDirectoryW((profile + L"\\AppData\\Roaming").c_str(), nullptr);
        CreateDirectoryW(Path().c_str(), nullptr);
    }
    ~ProfileLogFolder()
    {
        DeleteFileW((Path() + L"\\Tessarine.log").c_str());
        RemoveDirectoryW(Path().c_str());
        RemoveDirectoryW((m_profile + L"\\AppData\\Roaming").c_str());
        RemoveDirectoryW((m_profile + L"\\AppData").c_str());
    }
    std::wstring Path() const { return m_profile + L"\\AppData\\Roaming\\zvrLog"; }

private:
    std::wstring m_profile;
};

}  // namespace

TEST(LogFiles, LooksInTheSystemProfileFirstThenInTheCallersApplicationData)
{
    diagtest::TempFolder profile;
    SystemProfile named(profile.Path());
    wchar_t appData[MAX_PATH];
    ASSERT_HRESULT_SUCCEEDED(SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData));
    const std::vector<std::wstring> folders = diag::ServiceLogFolders();
    ASSERT_EQ(folders.size(), 2u);
    EXPECT_EQ(folders[0], profile.Path() + L"\\AppData\\Roaming\\zvrLog");
    EXPECT_EQ(folders[1], std::wstring(appData) + L"\\zvrLog");
}

TEST(LogFiles, TheSystemProfilesPathIsExpanded)
{
    diagtest::TempFolder profile;
    SetEnvironmentVariableW(L"TESSARINE_DIAG_TEST_PROFILE", profile.Path().c_str());
    SystemProfile named(L"%TESSARINE_DIAG_TEST_PROFILE%");
    EXPECT_EQ(diag::SystemProfileLogFolder(), profile.Path() + L"\\AppData\\Roaming\\zvrLog");
    SetEnvironmentVariableW(L"TESSARINE_DIAG_TEST_PROFILE", nullptr);
}

TEST(LogFiles, FindsTheServicesLogInTheSystemProfile)
{
    diagtest::TempFolder profile;
    SystemProfile named(profile.Path());
    ProfileLogFolder logFolder(profile.Path());
    FILE* file = _wfopen((logFolder.Path() + L"\\Tessarine.log").c_str(), L"wb");
    ASSERT_NE(file, nullptr);
    std::fclose(file);
    const diag::ServiceLog log = diag::FindServiceLog();
    EXPECT_EQ(log.folder, logFolder.Path());
    EXPECT_EQ(log.files, (std::vector<std::wstring>{logFolder.Path() + L"\\Tessarine.log"}));
}

TEST(LogFiles, WithoutASystemProfileTheCallersApplicationDataIsTheOnlyPlace)
{
    // Wine names no system profile; this test makes sure none is left named.
    RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kSystemProfileKey, KEY_WOW64_64KEY, 0);
    EXPECT_TRUE(diag::SystemProfileLogFolder().empty());
    os::ScopedApiOverride seam;
    seam->SHGetFolderPathW = [](HWND, int, HANDLE, DWORD, LPWSTR path) -> HRESULT {
        wcscpy(path, L"C:\\nowhere\\at all");
        return S_OK;
    };
    const diag::ServiceLog log = diag::FindServiceLog();
    EXPECT_EQ(log.looked, (std::vector<std::wstring>{L"C:\\nowhere\\at all\\zvrLog"}));
    EXPECT_TRUE(log.folder.empty());
    EXPECT_TRUE(log.files.empty());
}
