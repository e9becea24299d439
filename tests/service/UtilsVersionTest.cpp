// Utils: file versions of this executable and of a file without a version
// resource; InitializeSecurity's failure lines.
#include "service/Utils.h"

#include "fakes/LogFiles.h"
#include "fakes/RecordingListener.h"
#include "logging/LoggerSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class UtilsVersionTest : public testing::Test {
protected:
    UtilsVersionTest() : logger_(fakes::LoggerWithRecorder(recorder_))
    {
        wchar_t folder[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, folder);
        noVersionPath_ = std::wstring(folder) + L"tessarine_noversion.exe";
        fakes::WriteBytes(noVersionPath_, "not a program");
    }
    ~UtilsVersionTest() override { DeleteFileW(noVersionPath_.c_str()); }

    static std::wstring OwnPath()
    {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        return path;
    }

    static std::wstring noVersionPath_;
    fakes::RecordingListener* recorder_ = nullptr;
    QX::Shared::ScopedLoggerForTesting logger_;
};
std::wstring UtilsVersionTest::noVersionPath_;

TEST_F(UtilsVersionTest, BinaryVersionIsThisExecutablesFileVersion)
{
    // The test executables carry the product's version resource.
    EXPECT_EQ(Utils::GetBinaryVersion(), TESSARINE_VERSION_TEXT);
    EXPECT_EQ(recorder_->Tails().back(), L"Utils::GetBinaryVersion|" TESSARINE_VERSION_TEXT);
}

TEST_F(UtilsVersionTest, AnExecutableWithoutAVersionResourceIsAllZero)
{
    os::ScopedApiOverride seam;
    seam->GetModuleFileNameW = [](HMODULE, LPWSTR path, DWORD size) -> DWORD {
        wcsncpy(path, noVersionPath_.c_str(), size);
        return static_cast<DWORD>(noVersionPath_.size());
    };
    EXPECT_EQ(Utils::GetBinaryVersion(), L"0.0.0.0");
    const std::vector<std::wstring> tails = recorder_->Tails();
    ASSERT_EQ(tails.size(), 3u);
    EXPECT_THAT(tails[1], HasSubstr(L"Utils::GetBinaryVersion|GetFileVersionInfoSize Return Value  = 0 Error Code ="));
    EXPECT_EQ(tails[2], L"Utils::GetBinaryVersion|0.0.0.0");
}

TEST_F(UtilsVersionTest, VersionValueOfThisExecutable)
{
    Utils::VersionRecord version;
    Utils::GetVersionValue(version, OwnPath());
    EXPECT_TRUE(version.found);
    const std::wstring text = std::to_wstring(version.parts[0]) + L"." + std::to_wstring(version.parts[1]) + L"." +
                              std::to_wstring(version.parts[2]) + L"." + std::to_wstring(version.parts[3]);
    EXPECT_EQ(text, TESSARINE_VERSION_TEXT);
    EXPECT_EQ(recorder_->Tails().front(), L"Utils::GetVersionValue|Executable Complete Path = " + OwnPath());
}

TEST_F(UtilsVersionTest, VersionValueOfAFileWithoutAResourceLeavesTheRecord)
{
    Utils::VersionRecord version;
    Utils::GetVersionValue(version, noVersionPath_);
    EXPECT_FALSE(version.found);
    EXPECT_THAT(version.parts, ElementsAre(0, 0, 0, 0));
}

class UtilsSecurityTest : public UtilsVersionTest {
protected:
    UtilsSecurityTest()
    {
        seam_->CoUninitialize = [] { ++uninitialized; };
        uninitialized = 0;
    }
    static int uninitialized;
    os::ScopedApiOverride seam_;
};
int UtilsSecurityTest::uninitialized = 0;

TEST_F(UtilsSecurityTest, AFailedComInitialisationIsLoggedReturnedAndStillUninitialised)
{
    seam_->CoInitializeEx = [](LPVOID, DWORD) -> HRESULT { return E_OUTOFMEMORY; };
    EXPECT_EQ(Utils::InitializeSecurity(), E_OUTOFMEMORY);
    EXPECT_EQ(uninitialized, 1);
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"Utils::InitializeSecurity|",
                                                L"Utils::InitializeSecurity|CoInitializeEx failed. Error: 0x8007000E",
                                                L"Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x8007000E"));
}

TEST_F(UtilsSecurityTest, SecurityIsSetWithConnectAuthenticationAndIdentifyImpersonation)
{
    static DWORD authentication = 0;
    static DWORD impersonation = 0;
    static LONG services = 0;
    static bool descriptor = false;
    seam_->CoInitializeEx = [](LPVOID, DWORD model) -> HRESULT {
        EXPECT_EQ(model, static_cast<DWORD>(COINIT_APARTMENTTHREADED));
        return S_OK;
    };
    seam_->CoInitializeSecurity = [](PSECURITY_DESCRIPTOR sd, LONG count, SOLE_AUTHENTICATION_SERVICE*, void*,
                                     DWORD authn, DWORD imp, void*, DWORD capabilities, void*) -> HRESULT {
        descriptor = sd != nullptr && IsValidSecurityDescriptor(sd);
        services = count;
        authentication = authn;
        impersonation = imp;
        EXPECT_EQ(capabilities, static_cast<DWORD>(EOAC_NONE));
        return S_OK;
    };
    EXPECT_EQ(Utils::InitializeSecurity(), S_OK);
    EXPECT_TRUE(descriptor);
    EXPECT_EQ(services, -1);
    EXPECT_EQ(authentication, static_cast<DWORD>(RPC_C_AUTHN_LEVEL_CONNECT));
    EXPECT_EQ(impersonation, static_cast<DWORD>(RPC_C_IMP_LEVEL_IDENTIFY));
    EXPECT_EQ(uninitialized, 1);
    EXPECT_EQ(recorder_->Tails().back(), L"Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x00000000");
}

TEST_F(UtilsSecurityTest, AFailedSecuritySetIsLoggedAndReturned)
{
    seam_->CoInitializeEx = [](LPVOID, DWORD) -> HRESULT { return S_OK; };
    seam_->CoInitializeSecurity = [](PSECURITY_DESCRIPTOR, LONG, SOLE_AUTHENTICATION_SERVICE*, void*, DWORD, DWORD,
                                     void*, DWORD, void*) -> HRESULT { return RPC_E_TOO_LATE; };
    EXPECT_EQ(Utils::InitializeSecurity(), RPC_E_TOO_LATE);
    EXPECT_THAT(recorder_->Tails(), Contains(L"Utils::InitializeSecurity|CoInitializeSecurity failed. Error: 0x80010119"));
    EXPECT_EQ(uninitialized, 1);
}

} // namespace
