// FakeComRuntime: COM initialisation and process security through the seam,
// for the life of the object. Counts the calls, keeps what the security call
// was given (the descriptor as a self-relative copy, since the caller's is
// gone after the call), and fails where a test says.
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

private:
    static HRESULT WINAPI CoInitializeEx(LPVOID reserved, DWORD model);
    static HRESULT WINAPI CoInitializeSecurity(PSECURITY_DESCRIPTOR descriptor, LONG services,
                                               SOLE_AUTHENTICATION_SERVICE* serviceList, void* reserved1,
                                               DWORD authentication, DWORD impersonation, void* authenticationList,
                                               DWORD capabilities, void* reserved3);
    static void WINAPI CoUninitialize();

    static FakeComRuntime* s_current;
    os::ScopedApiOverride m_seam;
    Journal* m_journal;
    Failure m_failure = Failure::None;
    HRESULT m_failureResult = S_OK;
};

}  // namespace fakes
