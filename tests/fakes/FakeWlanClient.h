// FakeWlanClient: the Native Wi-Fi client calls of the service's
// registration for notifications (open, register, close) through the seam,
// for the life of the object. Hands out one client handle, keeps the
// registered callback, journals each call with its arguments, and fails
// where a test says: the failing call returns the given Win32 code and, for
// a registration, leaves the given value as the thread's last error.
#pragma once

#include "fakes/Journal.h"
#include "platform/Api.h"

namespace fakes {

class FakeWlanClient {
public:
    enum class Failure { None, OpenHandle, RegisterNotification, CloseHandle };

    static const HANDLE kClientHandle;

    explicit FakeWlanClient(Journal* journal = nullptr);
    ~FakeWlanClient();
    FakeWlanClient(const FakeWlanClient&) = delete;
    FakeWlanClient& operator=(const FakeWlanClient&) = delete;

    void Fail(Failure point, DWORD error, DWORD lastError = 0);
    void Heal() { Fail(Failure::None, 0); }

    WLAN_NOTIFICATION_CALLBACK registeredCallback = nullptr;
    HANDLE registeredHandle = nullptr;  // the client handle of the last registration

private:
    static DWORD WINAPI WlanOpenHandle(DWORD version, PVOID reserved, PDWORD negotiated, PHANDLE client);
    static DWORD WINAPI WlanRegisterNotification(HANDLE client, DWORD sources, BOOL ignoreDuplicate,
                                                 WLAN_NOTIFICATION_CALLBACK callback, PVOID context, PVOID reserved,
                                                 PDWORD previous);
    static DWORD WINAPI WlanCloseHandle(HANDLE client, PVOID reserved);
    DWORD FailureOf(Failure point) const { return m_failure == point ? m_error : ERROR_SUCCESS; }

    static FakeWlanClient* s_current;
    os::ScopedApiOverride m_seam;
    Journal* m_journal;
    Failure m_failure = Failure::None;
    DWORD m_error = 0;
    DWORD m_lastError = 0;
};

}  // namespace fakes
