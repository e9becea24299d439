// Utils::InitializeSecurity: the process-wide COM security of the service,
// set once on the main thread before the dispatcher starts.
#include "service/Utils.h"

#include "logging/Logger.h"
#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "platform/UniqueHandle.h"

#include <vector>

using namespace QX::Shared;

namespace Utils {
namespace {

constexpr DWORD kSidBufferSize = SECURITY_MAX_SID_SIZE;  // 68 bytes
constexpr DWORD kComRightsExecute = 1;

struct WellKnownAccount {
    WELL_KNOWN_SID_TYPE type;
    const wchar_t* failureMessage;
};

// The two blanks before "Error" in the last two messages are kept as the
// service has always written them.
constexpr WellKnownAccount kAccounts[] = {
    {WinLocalSystemSid, L"CreateWellKnownSid with WinLocalSystemSid failed. Error: 0x%08X"},
    {WinBuiltinAdministratorsSid, L"CreateWellKnownSid with WinBuiltinAdministratorsSid failed.  Error: 0x%08X"},
    {WinBuiltinUsersSid, L"CreateWellKnownSid with WinBuiltinUsersSid failed.  Error: 0x%08X"},
};

// Owner and primary group from the thread's token, or the process's when
// the thread has none; on any failure the descriptor starts again empty.
void SetOwnerAndGroup(SECURITY_DESCRIPTOR& descriptor, std::vector<BYTE>& ownerBuffer, std::vector<BYTE>& groupBuffer)
{
    os::UniqueHandle token;
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, FALSE, token.put())) {
        if (GetLastError() != ERROR_NO_TOKEN || !OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.put()))
            return;
    }
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenOwner, nullptr, 0, &size);
    ownerBuffer.resize(size);
    bool ok = size != 0 && GetTokenInformation(token.get(), TokenOwner, ownerBuffer.data(), size, &size);
    size = 0;
    GetTokenInformation(token.get(), TokenPrimaryGroup, nullptr, 0, &size);
    groupBuffer.resize(size);
    ok = ok && size != 0 && GetTokenInformation(token.get(), TokenPrimaryGroup, groupBuffer.data(), size, &size);
    if (ok) {
        PSID owner = reinterpret_cast<TOKEN_OWNER*>(ownerBuffer.data())->Owner;
        PSID group = reinterpret_cast<TOKEN_PRIMARY_GROUP*>(groupBuffer.data())->PrimaryGroup;
        ok = SetSecurityDescriptorOwner(&descriptor, owner, FALSE) &&
             SetSecurityDescriptorGroup(&descriptor, group, FALSE);
    }
    if (!ok)
        InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
}

}  // namespace

HRESULT InitializeSecurity()
{
    OperationLog op("Utils::InitializeSecurity");

    os::UniqueLocalMemory sid(os::api().LocalAlloc(LPTR, kSidBufferSize));
    if (!sid) {
        op.Log(LevelError, L"LocalAlloc failed for PSID");
        return E_FAIL;
    }

    SECURITY_DESCRIPTOR descriptor;
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    std::vector<BYTE> ownerBuffer;
    std::vector<BYTE> groupBuffer;
    SetOwnerAndGroup(descriptor, ownerBuffer, groupBuffer);

    // Room for three access-allowed entries of the largest SID.
    constexpr DWORD kAclSize = sizeof(ACL) + 3 * (sizeof(ACCESS_ALLOWED_ACE) + kSidBufferSize);
    alignas(DWORD) BYTE aclBuffer[kAclSize];
    ACL* acl = reinterpret_cast<ACL*>(aclBuffer);
    bool aclInitialized = false;
    for (const WellKnownAccount& account : kAccounts) {
        DWORD sidSize = kSidBufferSize;
        if (!os::api().CreateWellKnownSid(account.type, nullptr, sid.get(), &sidSize)) {
            op.Log(LevelError, account.failureMessage, GetLastError());
            continue;
        }
        if (!aclInitialized)
            aclInitialized = InitializeAcl(acl, kAclSize, ACL_REVISION);
        if (aclInitialized && AddAccessAllowedAce(acl, ACL_REVISION, kComRightsExecute, sid.get()))
            SetSecurityDescriptorDacl(&descriptor, TRUE, acl, FALSE);
    }
    sid.reset();

    HRESULT hr = os::api().CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (FAILED(hr)) {
        op.Log(LevelError, L"CoInitializeEx failed. Error: 0x%08X", hr);
    } else {
        hr = os::api().CoInitializeSecurity(&descriptor, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_CONNECT,
                                            RPC_C_IMP_LEVEL_IDENTIFY, nullptr, EOAC_NONE, nullptr);
        if (FAILED(hr))
            op.Log(LevelError, L"CoInitializeSecurity failed. Error: 0x%08X", hr);
    }
    // The process-wide security stays in force after the apartment is left.
    os::api().CoUninitialize();

    op.Exit(L"InitializeSecurity : HRESULT: 0x%08X", hr);
    return hr;
}

}  // namespace Utils
