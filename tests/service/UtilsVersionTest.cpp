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
    UtilsVersionTest() : logger_(fakes::LoggerWithRecorder(recorder_))
    {
        wchar_t temp[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temp);
        folder_ = std::wstring(temp) + L"TessarineVersionTest";
        CreateDirectoryW(folder_.c_str(), nullptr);
        noVersionPath_ = folder_ + L"\\noversion.exe";
        fakes::WriteBytes(noVersionPath_, "not a program\r\n");
    }
    ~UtilsVersionTest() override
    {
        DeleteFileW(noVersionPath_.c_str());
        RemoveDirectoryW(folder_.c_str());
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
        wcsncpy(path, noVersionPath_.c_str(), size);
        return static_cast<DWORD>(noVersionPath_.size());
    }

    std::wstring folder_;
    static std::wstring noVersionPath_;
    fakes::RecordingListener* recorder_ = nullptr;
    QX::Shared::ScopedLoggerForTesting logger_;
};
std::wstring UtilsVersionTest::noVersionPath_;

// Wine reports a file that is not a program as having no resource data.
constexpr DWORD kNoVersionError = ERROR_RESOURCE_DATA_NOT_FOUND;  // 1812

TEST_F(UtilsVersionTest, BinaryVersionIsTheProjectVersion)
{
    EXPECT_EQ(Utils::GetBinaryVersion(), TESSARINE_VERSION_TEXT);
}

TEST_F(UtilsVersionTest, BinaryVersionLogsTheQueryAndTheResult)
{
    Utils::GetBinaryVersion();
    EXPECT_THAT(recorder_->Tails(),
                ElementsAre(L"Utils::GetBinaryVersion|",
                            L"Utils::GetBinaryVersion|VerQueryValue returned size = " +
                                std::to_wstring(sizeof(VS_FIXEDFILEINFO)),
                            L"Utils::GetBinaryVersion|" TESSARINE_VERSION_TEXT));
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
    EXPECT_THAT(recorder_->Tails(),
                ElementsAre(L"Utils::GetBinaryVersion|",
                            L"Utils::GetBinaryVersion|GetFileVersionInfoSize Return Value  = 0 Error Code =" +
                                std::to_wstring(kNoVersionError),
                            L"Utils::GetBinaryVersion|0.0.0.0"));
    EXPECT_EQ(recorder_->Records()[1].Level(), QX::Shared::LevelError);
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
    EXPECT_THAT(recorder_->Tails(),
                ElementsAre(L"Utils::GetVersionValue|Executable Complete Path = " + OwnPath(),
                            L"Utils::GetVersionValue|VerQueryValue returned size = " +
                                std::to_wstring(sizeof(VS_FIXEDFILEINFO)),
                            L"Utils::GetVersionValue|" TESSARINE_VERSION_TEXT));
}

TEST_F(UtilsVersionTest, VersionValueOfAFileWithoutAVersionResourceLeavesTheRecordNotFound)
{
    Utils::VersionRecord version;
    Utils::GetVersionValue(version, noVersionPath_);
    EXPECT_FALSE(version.found);
    EXPECT_THAT(version.parts, ElementsAre(0, 0, 0, 0));
    EXPECT_THAT(recorder_->Tails(),
                ElementsAre(L"Utils::GetVersionValue|Executable Complete Path = " + noVersionPath_,
                            L"Utils::GetVersionValue|GetFileVersionInfoSize Return Value  = 0 Error Code =" +
                                std::to_wstring(kNoVersionError),
                            L"Utils::GetVersionValue|0.0.0.0"));
}

TEST_F(UtilsVersionTest, VersionValueOfAFileWithoutAVersionResourceKeepsWhatTheRecordHeld)
{
    Utils::VersionRecord version;
    version.parts[0] = 7;
    version.parts[3] = 9;
    Utils::GetVersionValue(version, noVersionPath_);
    EXPECT_FALSE(version.found);
    EXPECT_THAT(version.parts, ElementsAre(7, 0, 0, 9));
}

TEST_F(UtilsVersionTest, VersionValueOfAMissingFileLeavesTheRecordNotFound)
{
    Utils::VersionRecord version;
    Utils::GetVersionValue(version, folder_ + L"\\missing.exe");
    EXPECT_FALSE(version.found);
    EXPECT_EQ(recorder_->Tails().back(), L"Utils::GetVersionValue|0.0.0.0");
}

} // namespace
