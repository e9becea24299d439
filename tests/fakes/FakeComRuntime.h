// FakeComRuntime: COM initialisation, process security and class creation
// through the seam, for the life of the object. Counts the calls, keeps what
// the security call was given (the descriptor as a self-relative copy, since
// the caller's is gone after the call), and fails where a test says.
//
// No class is registered with it: every CoCreateInstance that reaches it is
// kept and answered REGDB_E_CLASSNOTREG. The device models installed after
// it (models/ComClass.h) serve their classes in front of it, so install it
// first.
#pragma once

#include "models/Journal.h"
#include "platform/Api.h"

#include <vector>

namespace fakes {

class FakeComRuntime {
public:
    enum class Failure { None, Initialize, InitializeSecurity };

    struct SecurityCall {
        std::vector<BYTE> descriptor;  // self-relative; empty for a null descriptor
        LONG authenticationServices = 0;
        bool nullPointers = false;  // service list, both reserved pointers and the authentication list
        DWORD authenticationLevel = 0;
        DWORD impersonationLevel = 0;
        DWORD capabilities = 0;
    };

    // A CoCreateInstance that no installed class served.
    struct ClassRequest {
        CLSID clsid;
        IUnknown* outer;
        DWORD context;
        IID iid;
    };

    explicit FakeComRuntime(Journal* journal = nullptr);
    ~FakeComRuntime();
    FakeComRuntime(const FakeComRuntime&) = delete;
    FakeComRuntime& operator=(const FakeComRuntime&) = delete;

    // The failing call returns `result` (any HRESULT, S_FALSE too).
    void Fail(Failure point, HRESULT result);

    int initializations = 0;
    DWORD concurrencyModel = ~0u;  // of the last initialisation
    int uninitializations = 0;
    std::vector<SecurityCall> securityCalls;
    std::vector<ClassRequest> classRequests;

private:
    static HRESULT WINAPI CoInitializeEx(LPVOID reserved, DWORD model);
    static HRESULT WINAPI CoInitializeSecurity(PSECURITY_DESCRIPTOR descriptor, LONG services,
                                               SOLE_AUTHENTICATION_SERVICE* serviceList, void* reserved1,
                                               DWORD authentication, DWORD impersonation, void* authenticationList,
                                               DWORD capabilities, void* reserved3);
    static void WINAPI CoUninitialize();
    static HRESULT WINAPI CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid,
                                           LPVOID* object);

    static FakeComRuntime* s_current;
    os::ScopedApiOverride m_seam;
    Journal* m_journal;
    Failure m_failure = Failure::None;
    HRESULT m_failureResult = S_OK;
};

}  // namespace fakes
