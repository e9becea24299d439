#include "fakes/FakeWlanClient.h"

#include <string>

namespace fakes {

const HANDLE FakeWlanClient::kClientHandle = reinterpret_cast<HANDLE>(0x3A1);
FakeWlanClient* FakeWlanClient::s_current = nullptr;

FakeWlanClient::FakeWlanClient(Journal* journal) : m_journal(journal)
{
    s_current = this;
    m_seam->WlanOpenHandle = &FakeWlanClient::WlanOpenHandle;
    m_seam->WlanRegisterNotification = &FakeWlanClient::WlanRegisterNotification;
    m_seam->WlanCloseHandle = &FakeWlanClient::WlanCloseHandle;
}

FakeWlanClient::~FakeWlanClient() { s_current = nullptr; }

void FakeWlanClient::Fail(Failure point, DWORD error, DWORD lastError)
{
    m_failure = point;
    m_error = error;
    m_lastError = lastError;
}

DWORD WINAPI FakeWlanClient::WlanOpenHandle(DWORD version, PVOID, PDWORD negotiated, PHANDLE client)
{
    Note(s_current->m_journal, "WlanOpenHandle " + std::to_string(version));
    if (const DWORD error = s_current->FailureOf(Failure::OpenHandle))
        return error;
    *negotiated = 2;
    *client = kClientHandle;
    return ERROR_SUCCESS;
}

DWORD WINAPI FakeWlanClient::WlanRegisterNotification(HANDLE client, DWORD sources, BOOL ignoreDuplicate,
                                                      WLAN_NOTIFICATION_CALLBACK callback, PVOID context,
                                                      PVOID reserved, PDWORD previous)
{
    Note(s_current->m_journal,
         "WlanRegisterNotification " + std::to_string(sources) + " " + std::to_string(ignoreDuplicate)
             + (callback ? " callback" : " none") + (context ? " context" : "") + (reserved ? " reserved" : "")
             + (previous ? " previous" : ""));
    s_current->registeredCallback = callback;
    s_current->registeredHandle = client;
    const DWORD error = s_current->FailureOf(Failure::RegisterNotification);
    if (error != ERROR_SUCCESS)
        SetLastError(s_current->m_lastError);
    return error;
}

DWORD WINAPI FakeWlanClient::WlanCloseHandle(HANDLE, PVOID)
{
    Note(s_current->m_journal, "WlanCloseHandle");
    return s_current->FailureOf(Failure::CloseHandle);
}

}  // namespace fakes
