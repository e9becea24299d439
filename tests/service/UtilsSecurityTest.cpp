// Utils::InitializeSecurity: the COM calls through the seam (their failures,
// the arguments of the process security and the descriptor it is given), and
// once with Wine's real COM.
#include "service/Utils.h"

#include "fakes/RecordingListener.h"
#include "logging/LoggerSlot.h"
#include "platform/Api.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

// What the scripted COM calls saw; reset by each test.
struct ComCalls {
    int initializations = 0;
    DWORD concurrencyModel = ~0u;
    int securityCalls = 0;
    bool descriptorValid = false;
    LONG authenticationServices = 0;
    bool nullPointers = false;  // service list and both reserved pointers, authentication list
    DWORD authenticationLevel = ~0u;
    DWORD impersonationLevel = ~0u;
    DWORD capabilities = ~0u;
    bool hasOwner = false;
    bool hasGroup = false;
    // The DACL's entries, in order: SID text and access mask.
    std::vector<std::pair<std::wstring, ACCESS_MASK>> entries;
    int uninitializations = 0;
    HRESULT initializeResult = S_OK;
    HRESULT securityResult = S_OK;
};
ComCalls calls;

// The name of one of the three accounts the descriptor is expected to hold.
std::wstring SidText(PSID sid)
{
    for (WELL_KNOWN_SID_TYPE type : {WinLocalSystemSid, WinBuiltinAdministratorsSid, WinBuiltinUsersSid}) {
        BYTE buffer[SECURITY_MAX_SID_SIZE];
        DWORD bufferSize = sizeof(buffer);
        if (CreateWellKnownSid(type, nullptr, buffer, &bufferSize) && EqualSid(sid, buffer))
            return type == WinLocalSystemSid ? L"LocalSystem" : type == WinBuiltinAdministratorsSid ? L"Administrators"
                                                                                                      : L"Users";
    }
    return L"other";
}

HRESULT WINAPI FakeCoInitializeEx(LPVOID, DWORD model)
{
    ++calls.initializations;
    calls.concurrencyModel = model;
    return calls.initializeResult;
}

HRESULT WINAPI FakeCoInitializeSecurity(PSECURITY_DESCRIPTOR descriptor, LONG services,
                                        SOLE_AUTHENTICATION_SERVICE* serviceList, void* reserved1,
                                        DWORD authentication, DWORD impersonation, void* authenticationList,
                                        DWORD capabilities, void* reserved3)
{
    ++calls.securityCalls;
    calls.descriptorValid = descriptor != nullptr && IsValidSecurityDescriptor(descriptor);
    calls.authenticationServices = services;
    calls.nullPointers = serviceList == nullptr && reserved1 == nullptr && authenticationList == nullptr &&
                         reserved3 == nullptr;
    calls.authenticationLevel = authentication;
    calls.impersonationLevel = impersonation;
    calls.capabilities = capabilities;
    if (calls.descriptorValid) {
        PSID owner = nullptr;
        PSID group = nullptr;
        BOOL defaulted = FALSE;
        calls.hasOwner = GetSecurityDescriptorOwner(descriptor, &owner, &defaulted) && owner != nullptr;
        calls.hasGroup = GetSecurityDescriptorGroup(descriptor, &group, &defaulted) && group != nullptr;
        BOOL present = FALSE;
        PACL dacl = nullptr;
        if (GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) && present && dacl) {
            for (DWORD i = 0; i < dacl->AceCount; ++i) {
                void* ace = nullptr;
                if (GetAce(dacl, i, &ace) &&
                    static_cast<ACE_HEADER*>(ace)->AceType == ACCESS_ALLOWED_ACE_TYPE) {
                    auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(ace);
                    calls.entries.emplace_back(SidText(&allowed->SidStart), allowed->Mask);
                }
            }
        }
    }
    return calls.securityResult;
}

void WINAPI FakeCoUninitialize() { ++calls.uninitializations; }

class UtilsSecurityTest : public testing::Test {
protected:
    UtilsSecurityTest() : logger_(fakes::LoggerWithRecorder(recorder_))
    {
        calls = ComCalls();
        seam_->CoInitializeEx = &FakeCoInitializeEx;
        seam_->CoInitializeSecurity = &FakeCoInitializeSecurity;
        seam_->CoUninitialize = &FakeCoUninitialize;
    }

    fakes::RecordingListener* recorder_ = nullptr;
    QX::Shared::ScopedLoggerForTesting logger_;
    os::ScopedApiOverride seam_;
};

TEST_F(UtilsSecurityTest, AFailedComInitialisationIsLoggedAndReturned)
{
    calls.initializeResult = E_UNEXPECTED;
    EXPECT_EQ(Utils::InitializeSecurity(), E_UNEXPECTED);
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"Utils::InitializeSecurity|",
                                                L"Utils::InitializeSecurity|CoInitializeEx failed. Error: 0x8000FFFF",
                                                L"Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x8000FFFF"));
}

TEST_F(UtilsSecurityTest, AFailedComInitialisationIsAnErrorRecord)
{
    calls.initializeResult = E_UNEXPECTED;
    Utils::InitializeSecurity();
    const auto records = recorder_->Records();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].Level(), QX::Shared::LevelTraceIn);
    EXPECT_EQ(records[1].Level(), QX::Shared::LevelError);
    EXPECT_EQ(records[2].Level(), QX::Shared::LevelTraceOut);
}

TEST_F(UtilsSecurityTest, AFailedComInitialisationSetsNoSecurityAndStillUninitialises)
{
    calls.initializeResult = E_OUTOFMEMORY;
    EXPECT_EQ(Utils::InitializeSecurity(), E_OUTOFMEMORY);
    EXPECT_EQ(calls.securityCalls, 0);
    EXPECT_EQ(calls.uninitializations, 1);
}

TEST_F(UtilsSecurityTest, AFailedSecuritySetIsLoggedAndReturned)
{
    calls.securityResult = RPC_E_TOO_LATE;
    EXPECT_EQ(Utils::InitializeSecurity(), RPC_E_TOO_LATE);
    EXPECT_THAT(recorder_->Tails(),
                ElementsAre(L"Utils::InitializeSecurity|",
                            L"Utils::InitializeSecurity|CoInitializeSecurity failed. Error: 0x80010119",
                            L"Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x80010119"));
    EXPECT_EQ(recorder_->Records()[1].Level(), QX::Shared::LevelError);
}

TEST_F(UtilsSecurityTest, AFailedSecuritySetStillUninitialisesOnce)
{
    calls.securityResult = E_ACCESSDENIED;
    EXPECT_EQ(Utils::InitializeSecurity(), E_ACCESSDENIED);
    EXPECT_EQ(calls.initializations, 1);
    EXPECT_EQ(calls.securityCalls, 1);
    EXPECT_EQ(calls.uninitializations, 1);
}

TEST_F(UtilsSecurityTest, SuccessLogsOnlyEntryAndExit)
{
    EXPECT_EQ(Utils::InitializeSecurity(), S_OK);
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"Utils::InitializeSecurity|",
                                                L"Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x00000000"));
    EXPECT_EQ(calls.uninitializations, 1);
}

TEST_F(UtilsSecurityTest, TheApartmentIsSingleThreaded)
{
    Utils::InitializeSecurity();
    EXPECT_EQ(calls.concurrencyModel, static_cast<DWORD>(COINIT_APARTMENTTHREADED));
}

TEST_F(UtilsSecurityTest, AnAlreadyInitialisedApartmentStillSetsTheSecurity)
{
    calls.initializeResult = S_FALSE;
    EXPECT_EQ(Utils::InitializeSecurity(), S_OK);
    EXPECT_EQ(calls.securityCalls, 1);
    EXPECT_EQ(calls.uninitializations, 1);
}

TEST_F(UtilsSecurityTest, SecurityIsConnectAuthenticationWithIdentifyImpersonation)
{
    Utils::InitializeSecurity();
    ASSERT_EQ(calls.securityCalls, 1);
    EXPECT_EQ(calls.authenticationServices, -1);
    EXPECT_TRUE(calls.nullPointers);
    EXPECT_EQ(calls.authenticationLevel, static_cast<DWORD>(RPC_C_AUTHN_LEVEL_CONNECT));
    EXPECT_EQ(calls.impersonationLevel, static_cast<DWORD>(RPC_C_IMP_LEVEL_IDENTIFY));
    EXPECT_EQ(calls.capabilities, static_cast<DWORD>(EOAC_NONE));
}

TEST_F(UtilsSecurityTest, TheDescriptorHasTheProcessOwnerAndGroup)
{
    Utils::InitializeSecurity();
    EXPECT_TRUE(calls.descriptorValid);
    EXPECT_TRUE(calls.hasOwner);
    EXPECT_TRUE(calls.hasGroup);
}

TEST_F(UtilsSecurityTest, TheDescriptorLetsSystemAdministratorsAndUsersExecute)
{
    Utils::InitializeSecurity();
    const ACCESS_MASK comRightsExecute = 1;
    EXPECT_THAT(calls.entries, ElementsAre(std::make_pair(std::wstring(L"LocalSystem"), comRightsExecute),
                                           std::make_pair(std::wstring(L"Administrators"), comRightsExecute),
                                           std::make_pair(std::wstring(L"Users"), comRightsExecute)));
}

// The real calls. On Windows only the first CoInitializeSecurity of a
// process succeeds and later ones give RPC_E_TOO_LATE; Wine 8's is a stub
// that accepts every call, so a test of the service path that ran earlier in
// this process (it sets the security too) does not change the result here.
TEST(UtilsSecurityRealComTest, SucceedsWithWinesComEveryTime)
{
    fakes::RecordingListener* recorder = nullptr;
    QX::Shared::ScopedLoggerForTesting logger(fakes::LoggerWithRecorder(recorder));
    EXPECT_EQ(Utils::InitializeSecurity(), S_OK);
    EXPECT_EQ(Utils::InitializeSecurity(), S_OK);
    EXPECT_THAT(recorder->Tails(), ElementsAre(L"Utils::InitializeSecurity|",
                                               L"Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x00000000",
                                               L"Utils::InitializeSecurity|",
                                               L"Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x00000000"));
}

TEST(UtilsSecurityRealComTest, LeavesTheThreadWithoutAnApartment)
{
    fakes::RecordingListener* recorder = nullptr;
    QX::Shared::ScopedLoggerForTesting logger(fakes::LoggerWithRecorder(recorder));
    Utils::InitializeSecurity();
    // A multithreaded initialisation would fail with RPC_E_CHANGED_MODE if
    // the single-threaded apartment had been left open.
    const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    EXPECT_EQ(hr, S_OK);
    if (SUCCEEDED(hr))
        CoUninitialize();
}

} // namespace
