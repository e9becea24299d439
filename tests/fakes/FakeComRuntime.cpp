#include "fakes/FakeComRuntime.h"

#include "platform/MbnApi.h"

#include <netlistmgr.h>
#include <wbemcli.h>

namespace fakes {
namespace {

// The classes the service creates, as the journal names them.
std::string ClassName(REFCLSID clsid)
{
    if (IsEqualCLSID(clsid, CLSID_NetworkListManager))
        return "NetworkListManager";
    if (IsEqualCLSID(clsid, CLSID_MbnInterfaceManager))
        return "MbnInterfaceManager";
    if (IsEqualCLSID(clsid, CLSID_WbemLocator))
        return "WbemLocator";
    return "other";
}

}  // namespace

FakeComRuntime* FakeComRuntime::s_current = nullptr;

FakeComRuntime::FakeComRuntime(Journal* journal) : m_journal(journal)
{
    s_current = this;
    m_seam->CoInitializeEx = &FakeComRuntime::CoInitializeEx;
    m_seam->CoInitializeSecurity = &FakeComRuntime::CoInitializeSecurity;
    m_seam->CoUninitialize = &FakeComRuntime::CoUninitialize;
    m_seam->CoCreateInstance = &FakeComRuntime::CoCreateInstance;
}

FakeComRuntime::~FakeComRuntime() { s_current = nullptr; }

void FakeComRuntime::Fail(Failure point, HRESULT result)
{
    m_failure = point;
    m_failureResult = result;
}

HRESULT WINAPI FakeComRuntime::CoInitializeEx(LPVOID, DWORD model)
{
    ++s_current->initializations;
    s_current->concurrencyModel = model;
    Note(s_current->m_journal, "CoInitializeEx " + std::to_string(model));
    return s_current->m_failure == Failure::Initialize ? s_current->m_failureResult : S_OK;
}

HRESULT WINAPI FakeComRuntime::CoInitializeSecurity(PSECURITY_DESCRIPTOR descriptor, LONG services,
                                                    SOLE_AUTHENTICATION_SERVICE* serviceList, void* reserved1,
                                                    DWORD authentication, DWORD impersonation, void* authenticationList,
                                                    DWORD capabilities, void* reserved3)
{
    SecurityCall call;
    if (descriptor != nullptr) {
        DWORD size = 0;
        MakeSelfRelativeSD(descriptor, nullptr, &size);
        call.descriptor.resize(size);
        if (size == 0 || !MakeSelfRelativeSD(descriptor, call.descriptor.data(), &size))
            call.descriptor.clear();
    }
    call.authenticationServices = services;
    call.nullPointers
        = serviceList == nullptr && reserved1 == nullptr && authenticationList == nullptr && reserved3 == nullptr;
    call.authenticationLevel = authentication;
    call.impersonationLevel = impersonation;
    call.capabilities = capabilities;
    s_current->securityCalls.push_back(std::move(call));
    Note(s_current->m_journal, "CoInitializeSecurity");
    return s_current->m_failure == Failure::InitializeSecurity ? s_current->m_failureResult : S_OK;
}

void WINAPI FakeComRuntime::CoUninitialize()
{
    ++s_current->uninitializations;
    Note(s_current->m_journal, "CoUninitialize");
}

HRESULT WINAPI FakeComRuntime::CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid,
                                                LPVOID* object)
{
    s_current->classRequests.push_back({clsid, outer, context, iid});
    Note(s_current->m_journal, "CoCreateInstance " + ClassName(clsid));
    *object = nullptr;
    return REGDB_E_CLASSNOTREG;
}

}  // namespace fakes
