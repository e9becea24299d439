#include "fakes/FakeServiceDispatcher.h"

namespace fakes {

FakeServiceDispatcher* FakeServiceDispatcher::s_current = nullptr;
const SERVICE_STATUS_HANDLE FakeServiceDispatcher::kStatusHandle = reinterpret_cast<SERVICE_STATUS_HANDLE>(0x57A7);

FakeServiceDispatcher::FakeServiceDispatcher()
{
    s_current = this;
    m_seam->StartServiceCtrlDispatcherW = &FakeServiceDispatcher::StartServiceCtrlDispatcherW;
    m_seam->RegisterServiceCtrlHandlerExW = &FakeServiceDispatcher::RegisterServiceCtrlHandlerExW;
    m_seam->SetServiceStatus = &FakeServiceDispatcher::SetServiceStatus;
}

FakeServiceDispatcher::~FakeServiceDispatcher() { s_current = nullptr; }

BOOL WINAPI FakeServiceDispatcher::StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* table)
{
    for (const SERVICE_TABLE_ENTRYW* entry = table;; ++entry) {
        if (entry->lpServiceName == nullptr && entry->lpServiceProc == nullptr) {
            s_current->tableNames.push_back(L"<null>");
            break;
        }
        s_current->tableNames.push_back(entry->lpServiceName);
    }
    if (s_current->dispatcherError) {
        SetLastError(s_current->dispatcherError);
        return FALSE;
    }
    if (s_current->runServiceMain) {
        wchar_t* argv[] = {table[0].lpServiceName};
        table[0].lpServiceProc(1, argv);
    }
    return TRUE;
}

SERVICE_STATUS_HANDLE WINAPI FakeServiceDispatcher::RegisterServiceCtrlHandlerExW(LPCWSTR name,
                                                                                  LPHANDLER_FUNCTION_EX handler,
                                                                                  LPVOID context)
{
    s_current->registeredName = name;
    s_current->handler = handler;
    s_current->handlerContext = context;
    if (s_current->registrationError) {
        SetLastError(s_current->registrationError);
        return nullptr;
    }
    return kStatusHandle;
}

BOOL WINAPI FakeServiceDispatcher::SetServiceStatus(SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status)
{
    s_current->reportHandles.push_back(handle);
    s_current->reports.push_back(*status);
    if (s_current->statusError) {
        ++s_current->failedReports;
        SetLastError(s_current->statusError);
        return FALSE;
    }
    return TRUE;
}

}  // namespace fakes
