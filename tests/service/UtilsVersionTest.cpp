// Utils: the file version of this executable and of a file without a version
// resource. The test executables carry the product's version resource, so
// the expected text is the project's version (TESSARINE_VERSION_TEXT, from
// CMake's PROJECT_VERSION).
#include "service/Utils.h"

#include "fakes/LogFiles.h"
#include "fakes/RecordingListener.h"
#include "logging/LoggerSlot.h"
#include "platform/Api.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cwchar>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

class UtilsVersionTest : public testing::Test {
protected:
    UtilsVersionTest()
    {
        wchar_t temp[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temp);
        m_folder = std::wstring(temp) + L"TessarineVersionTest";
        CreateDirectoryW(m_folder.c_str(), nullptr);
        m_noVersionPath = m_folder + L"\\noversion.exe";
        fakes::WriteBytes(m_noVersionPath, "not a program\r\n");
    }
    ~UtilsVersionTest() override
    {
        DeleteFileW(m_noVersionPath.c_str());
        RemoveDirectoryW(m_folder.c_str());
    }

    static std::wstring OwnPath()
    {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        return path;
    }
    static std::wstring Text(const Utils::VersionRecord& version)
    {
        return std::to_wstring(version.parts[0]) + L"." + std::to_wstring(version.parts[1]) + L"." +
               std::to_wstring(version.parts[2]) + L"." + std::to_wstring(version.parts[3]);
    }
    // Points the seam's GetModuleFileNameW at the file without a version.
    static DWORD WINAPI NoVersionModuleName(HMODULE, LPWSTR path, DWORD size)
    {
        wcsncpy(path, m_noVersionPath.c_str(), size);
        return static_cast<DWORD>(m_noVersionPath.size());
    }

    std::wstring m_folder;
    static std::wstring m_noVersionPath;
    fakes::RecordingLog m_log;
};
std::wstring UtilsVersionTest::m_noVersionPath;

// Wine reports a file that is not a program as having no resource data.
constexpr DWORD kNoVersionError = ERROR_RESOURCE_DATA_NOT_FOUND;  // 1812

TEST_F(UtilsVersionTest, BinaryVersionIsTheProjectVersion)
{
    EXPECT_EQ(Utils::GetBinaryVersion(), TESSARINE_VERSION_TEXT);
}

TEST_F(UtilsVersionTest, BinaryVersionLogsTheQueryAndTheResult)
{
    Utils::GetBinaryVersion();
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|Utils::GetBinaryVersion|",
                                           L"Verbose|Utils::GetBinaryVersion|VerQueryValue returned size = " +
                                               std::to_wstring(sizeof(VS_FIXEDFILEINFO)),
                                           L"TraceOut|Utils::GetBinaryVersion|" TESSARINE_VERSION_TEXT));
}

TEST_F(UtilsVersionTest, BinaryVersionOfAFileWithoutAVersionResourceIsAllZero)
{
    os::ScopedApiOverride seam;
    seam->GetModuleFileNameW = &NoVersionModuleName;
    EXPECT_EQ(Utils::GetBinaryVersion(), L"0.0.0.0");
}

TEST_F(UtilsVersionTest, BinaryVersionOfAFileWithoutAVersionResourceLogsTheSizeQueryFailure)
{
    os::ScopedApiOverride seam;
    seam->GetModuleFileNameW = &NoVersionModuleName;
    Utils::GetBinaryVersion();
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"TraceIn|Utils::GetBinaryVersion|",
                            L"Error|Utils::GetBinaryVersion|GetFileVersionInfoSize Return Value  = 0 Error Code =" +
                                std::to_wstring(kNoVersionError),
                            L"TraceOut|Utils::GetBinaryVersion|0.0.0.0"));
}

// The executable's path cannot be had: 0 and a last error, as the platform does.
int moduleNameCalls = 0;
DWORD WINAPI FailingModuleName(HMODULE module, LPWSTR path, DWORD size)
{
    ++moduleNameCalls;
    EXPECT_EQ(module, nullptr);
    EXPECT_EQ(size, static_cast<DWORD>(MAX_PATH));
    if (size > 0)
        path[0] = L'\0';
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
}

TEST_F(UtilsVersionTest, BinaryVersionWithoutTheExecutablesPathIsAllZeroAndReadsNoFile)
{
    os::ScopedApiOverride seam;
    moduleNameCalls = 0;
    seam->GetModuleFileNameW = &FailingModuleName;
    EXPECT_EQ(Utils::GetBinaryVersion(), L"0.0.0.0");
    EXPECT_EQ(moduleNameCalls, 1);
    // No version read is tried, so nothing is logged between the entry and the result.
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"TraceIn|Utils::GetBinaryVersion|", L"TraceOut|Utils::GetBinaryVersion|0.0.0.0"));
}

TEST_F(UtilsVersionTest, VersionValueOfThisExecutableFillsTheRecord)
{
    Utils::VersionRecord version;
    Utils::GetVersionValue(version, OwnPath());
    EXPECT_TRUE(version.found);
    EXPECT_EQ(Text(version), TESSARINE_VERSION_TEXT);
}

TEST_F(UtilsVersionTest, VersionValueLogsThePathAndTheVersion)
{
    Utils::VersionRecord version;
    Utils::GetVersionValue(version, OwnPath());
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|Utils::GetVersionValue|Executable Complete Path = " + OwnPath(),
                                           L"Verbose|Utils::GetVersionValue|VerQueryValue returned size = " +
                                               std::to_wstring(sizeof(VS_FIXEDFILEINFO)),
                                           L"TraceOut|Utils::GetVersionValue|" TESSARINE_VERSION_TEXT));
}

TEST_F(UtilsVersionTest, VersionValueOfAFileWithoutAVersionResourceLeavesTheRecordNotFound)
{
    Utils::VersionRecord version;
    Utils::GetVersionValue(version, m_noVersionPath);
    EXPECT_FALSE(version.found);
    EXPECT_THAT(version.parts, ElementsAre(0, 0, 0, 0));
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"TraceIn|Utils::GetVersionValue|Executable Complete Path = " + m_noVersionPath,
                            L"Error|Utils::GetVersionValue|GetFileVersionInfoSize Return Value  = 0 Error Code =" +
                                std::to_wstring(kNoVersionError),
                            L"TraceOut|Utils::GetVersionValue|0.0.0.0"));
}

TEST_F(UtilsVersionTest, VersionValueOfAFileWithoutAVersionResourceKeepsWhatTheRecordHeld)
{
    Utils::VersionRecord version;
    version.parts[0] = 7;
    version.parts[3] = 9;
    Utils::GetVersionValue(version, m_noVersionPath);
    EXPECT_FALSE(version.found);
    EXPECT_THAT(version.parts, ElementsAre(7, 0, 0, 9));
}

TEST_F(UtilsVersionTest, VersionValueOfAMissingFileLeavesTheRecordNotFound)
{
    Utils::VersionRecord version;
    Utils::GetVersionValue(version, m_folder + L"\\missing.exe");
    EXPECT_FALSE(version.found);
    EXPECT_EQ(m_log.Lines().back(), L"TraceOut|Utils::GetVersionValue|0.0.0.0");
}

}  // namespace
