// Utils::InitializeSecurity: the COM calls through the seam (their failures,
// the arguments of the process security and the descriptor it is given), and
// once with Wine's real COM.
#include "service/Utils.h"

#include "fakes/RecordingListener.h"
#include "fakes/FakeComRuntime.h"
#include "platform/Api.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

// The name of one of the three accounts the descriptor is expected to hold.
std::wstring SidText(PSID sid)
{
    for (WELL_KNOWN_SID_TYPE type : {WinLocalSystemSid, WinBuiltinAdministratorsSid, WinBuiltinUsersSid}) {
        BYTE buffer[SECURITY_MAX_SID_SIZE];
        DWORD bufferSize = sizeof(buffer);
        if (CreateWellKnownSid(type, nullptr, buffer, &bufferSize) && EqualSid(sid, buffer))
            return type == WinLocalSystemSid             ? L"LocalSystem"
                   : type == WinBuiltinAdministratorsSid ? L"Administrators"
                                                         : L"Users";
    }
    return L"other";
}

// What the descriptor handed to the security call holds.
struct Descriptor {
    bool valid = false;
    bool hasOwner = false;
    bool hasGroup = false;
    // The DACL's entries, in order: account and access mask.
    std::vector<std::pair<std::wstring, ACCESS_MASK>> entries;
};

Descriptor Read(const std::vector<BYTE>& copy)
{
    Descriptor result;
    auto* descriptor = const_cast<BYTE*>(copy.data());
    result.valid = !copy.empty() && IsValidSecurityDescriptor(descriptor);
    if (!result.valid)
        return result;
    PSID owner = nullptr;
    PSID group = nullptr;
    BOOL defaulted = FALSE;
    result.hasOwner = GetSecurityDescriptorOwner(descriptor, &owner, &defaulted) && owner != nullptr;
    result.hasGroup = GetSecurityDescriptorGroup(descriptor, &group, &defaulted) && group != nullptr;
    BOOL present = FALSE;
    PACL dacl = nullptr;
    if (GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) && present && dacl) {
        for (DWORD i = 0; i < dacl->AceCount; ++i) {
            void* ace = nullptr;
            if (GetAce(dacl, i, &ace) && static_cast<ACE_HEADER*>(ace)->AceType == ACCESS_ALLOWED_ACE_TYPE) {
                auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(ace);
                result.entries.emplace_back(SidText(&allowed->SidStart), allowed->Mask);
            }
        }
    }
    return result;
}

// The account whose SID cannot be made, if any.
WELL_KNOWN_SID_TYPE failingAccount = WinNullSid;

BOOL WINAPI CreateWellKnownSidFailingOne(WELL_KNOWN_SID_TYPE type, PSID domain, PSID sid, DWORD* size)
{
    if (type == failingAccount) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    return ::CreateWellKnownSid(type, domain, sid, size);
}

class UtilsSecurityTest : public testing::Test {
protected:
    using Failure = fakes::FakeComRuntime::Failure;

    fakes::RecordingLog m_log;
    fakes::FakeComRuntime m_com;
};

TEST_F(UtilsSecurityTest, AFailedComInitialisationIsLoggedAndReturned)
{
    m_com.Fail(Failure::Initialize, E_UNEXPECTED);
    EXPECT_EQ(Utils::InitializeSecurity(), E_UNEXPECTED);
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"TraceIn|Utils::InitializeSecurity|",
                            L"Error|Utils::InitializeSecurity|CoInitializeEx failed. Error: 0x8000FFFF",
                            L"TraceOut|Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x8000FFFF"));
}

TEST_F(UtilsSecurityTest, AFailedComInitialisationIsAnErrorRecord)
{
    m_com.Fail(Failure::Initialize, E_UNEXPECTED);
    Utils::InitializeSecurity();
    const auto records = m_log.Records();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].Level(), QX::Shared::LevelTraceIn);
    EXPECT_EQ(records[1].Level(), QX::Shared::LevelError);
    EXPECT_EQ(records[2].Level(), QX::Shared::LevelTraceOut);
}

TEST_F(UtilsSecurityTest, AFailedComInitialisationSetsNoSecurityAndStillUninitialises)
{
    m_com.Fail(Failure::Initialize, E_OUTOFMEMORY);
    EXPECT_EQ(Utils::InitializeSecurity(), E_OUTOFMEMORY);
    EXPECT_EQ(m_com.securityCalls.size(), 0u);
    EXPECT_EQ(m_com.uninitializations, 1);
}

TEST_F(UtilsSecurityTest, AFailedSecuritySetIsLoggedAndReturned)
{
    m_com.Fail(Failure::InitializeSecurity, RPC_E_TOO_LATE);
    EXPECT_EQ(Utils::InitializeSecurity(), RPC_E_TOO_LATE);
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"TraceIn|Utils::InitializeSecurity|",
                            L"Error|Utils::InitializeSecurity|CoInitializeSecurity failed. Error: 0x80010119",
                            L"TraceOut|Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x80010119"));
}

TEST_F(UtilsSecurityTest, AFailedSecuritySetStillUninitialisesOnce)
{
    m_com.Fail(Failure::InitializeSecurity, E_ACCESSDENIED);
    EXPECT_EQ(Utils::InitializeSecurity(), E_ACCESSDENIED);
    EXPECT_EQ(m_com.initializations, 1);
    EXPECT_EQ(m_com.securityCalls.size(), 1u);
    EXPECT_EQ(m_com.uninitializations, 1);
}

TEST_F(UtilsSecurityTest, SuccessLogsOnlyEntryAndExit)
{
    EXPECT_EQ(Utils::InitializeSecurity(), S_OK);
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"TraceIn|Utils::InitializeSecurity|",
                            L"TraceOut|Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x00000000"));
    EXPECT_EQ(m_com.uninitializations, 1);
}

TEST_F(UtilsSecurityTest, TheApartmentIsSingleThreaded)
{
    Utils::InitializeSecurity();
    EXPECT_EQ(m_com.concurrencyModel, static_cast<DWORD>(COINIT_APARTMENTTHREADED));
}

TEST_F(UtilsSecurityTest, AnAlreadyInitialisedApartmentStillSetsTheSecurity)
{
    m_com.Fail(Failure::Initialize, S_FALSE);
    EXPECT_EQ(Utils::InitializeSecurity(), S_OK);
    EXPECT_EQ(m_com.securityCalls.size(), 1u);
    EXPECT_EQ(m_com.uninitializations, 1);
}

TEST_F(UtilsSecurityTest, SecurityIsConnectAuthenticationWithIdentifyImpersonation)
{
    Utils::InitializeSecurity();
    ASSERT_EQ(m_com.securityCalls.size(), 1u);
    const fakes::FakeComRuntime::SecurityCall& call = m_com.securityCalls[0];
    EXPECT_EQ(call.authenticationServices, -1);
    EXPECT_TRUE(call.nullPointers);
    EXPECT_EQ(call.authenticationLevel, static_cast<DWORD>(RPC_C_AUTHN_LEVEL_CONNECT));
    EXPECT_EQ(call.impersonationLevel, static_cast<DWORD>(RPC_C_IMP_LEVEL_IDENTIFY));
    EXPECT_EQ(call.capabilities, static_cast<DWORD>(EOAC_NONE));
}

TEST_F(UtilsSecurityTest, TheDescriptorHasTheProcessOwnerAndGroup)
{
    Utils::InitializeSecurity();
    ASSERT_EQ(m_com.securityCalls.size(), 1u);
    const Descriptor descriptor = Read(m_com.securityCalls[0].descriptor);
    EXPECT_TRUE(descriptor.valid);
    EXPECT_TRUE(descriptor.hasOwner);
    EXPECT_TRUE(descriptor.hasGroup);
}

TEST_F(UtilsSecurityTest, TheDescriptorLetsSystemAdministratorsAndUsersExecute)
{
    Utils::InitializeSecurity();
    const ACCESS_MASK comRightsExecute = 1;
    ASSERT_EQ(m_com.securityCalls.size(), 1u);
    EXPECT_THAT(Read(m_com.securityCalls[0].descriptor).entries,
                ElementsAre(std::make_pair(std::wstring(L"LocalSystem"), comRightsExecute),
                            std::make_pair(std::wstring(L"Administrators"), comRightsExecute),
                            std::make_pair(std::wstring(L"Users"), comRightsExecute)));
}

TEST_F(UtilsSecurityTest, WithoutMemoryForTheSidNothingIsSetAndTheFailureIsReturned)
{
    os::ScopedApiOverride seam;
    seam->LocalAlloc = [](UINT, SIZE_T) -> HLOCAL { return nullptr; };
    EXPECT_EQ(Utils::InitializeSecurity(), E_FAIL);
    EXPECT_EQ(m_com.initializations, 0);
    EXPECT_TRUE(m_com.securityCalls.empty());
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|Utils::InitializeSecurity|",
                                           L"Error|Utils::InitializeSecurity|LocalAlloc failed for PSID"));
}

struct AccountFailure {
    WELL_KNOWN_SID_TYPE account;
    const wchar_t* line;
    std::vector<std::wstring> remaining;  // the accounts still in the descriptor
};

class UtilsSecurityAccountTest : public UtilsSecurityTest, public testing::WithParamInterface<AccountFailure> {};

TEST_P(UtilsSecurityAccountTest, AnAccountWhoseSidCannotBeMadeIsLoggedAndLeftOut)
{
    os::ScopedApiOverride seam;
    seam->CreateWellKnownSid = &CreateWellKnownSidFailingOne;
    failingAccount = GetParam().account;
    EXPECT_EQ(Utils::InitializeSecurity(), S_OK);
    failingAccount = WinNullSid;
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"TraceIn|Utils::InitializeSecurity|", GetParam().line,
                            L"TraceOut|Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x00000000"));
    ASSERT_EQ(m_com.securityCalls.size(), 1u);
    std::vector<std::wstring> accounts;
    for (const auto& entry : Read(m_com.securityCalls[0].descriptor).entries)
        accounts.push_back(entry.first);
    EXPECT_EQ(accounts, GetParam().remaining);
}

INSTANTIATE_TEST_SUITE_P(
    EachAccount, UtilsSecurityAccountTest,
    testing::Values(
        AccountFailure{
            WinLocalSystemSid,
            L"Error|Utils::InitializeSecurity|CreateWellKnownSid with WinLocalSystemSid failed. Error: 0x00000057",
            {L"Administrators", L"Users"}},
        AccountFailure{WinBuiltinAdministratorsSid,
                       L"Error|Utils::InitializeSecurity|CreateWellKnownSid with WinBuiltinAdministratorsSid failed.  "
                       L"Error: 0x00000057",
                       {L"LocalSystem", L"Users"}},
        AccountFailure{WinBuiltinUsersSid,
                       L"Error|Utils::InitializeSecurity|CreateWellKnownSid with WinBuiltinUsersSid failed.  Error: "
                       L"0x00000057",
                       {L"LocalSystem", L"Administrators"}}));

// The real calls. On Windows only the first CoInitializeSecurity of a
// process succeeds and later ones give RPC_E_TOO_LATE; Wine 8's is a stub
// that accepts every call, so a test of the service path that ran earlier in
// this process (it sets the security too) does not change the result here.
TEST(UtilsSecurityRealComTest, SucceedsWithWinesComEveryTime)
{
    fakes::RecordingLog log;
    EXPECT_EQ(Utils::InitializeSecurity(), S_OK);
    EXPECT_EQ(Utils::InitializeSecurity(), S_OK);
    EXPECT_THAT(log.Lines(),
                ElementsAre(L"TraceIn|Utils::InitializeSecurity|",
                            L"TraceOut|Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x00000000",
                            L"TraceIn|Utils::InitializeSecurity|",
                            L"TraceOut|Utils::InitializeSecurity|InitializeSecurity : HRESULT: 0x00000000"));
}

TEST(UtilsSecurityRealComTest, LeavesTheThreadWithoutAnApartment)
{
    fakes::RecordingLog log;
    Utils::InitializeSecurity();
    // A multithreaded initialisation would fail with RPC_E_CHANGED_MODE if
    // the single-threaded apartment had been left open.
    const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    EXPECT_EQ(hr, S_OK);
    if (SUCCEEDED(hr))
        CoUninitialize();
}

}  // namespace
