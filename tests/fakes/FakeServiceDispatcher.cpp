#include "fakes/FakeServiceDispatcher.h"

namespace fakes {

FakeServiceDispatcher* FakeServiceDispatcher::current_ = nullptr;
const SERVICE_STATUS_HANDLE FakeServiceDispatcher::kStatusHandle = reinterpret_cast<SERVICE_STATUS_HANDLE>(0x57A7);

FakeServiceDispatcher::FakeServiceDispatcher()
{
    current_ = this;
    seam_->StartServiceCtrlDispatcherW = &FakeServiceDispatcher::StartServiceCtrlDispatcherW;
    seam_->RegisterServiceCtrlHandlerExW = &FakeServiceDispatcher::RegisterServiceCtrlHandlerExW;
    seam_->SetServiceStatus = &FakeServiceDispatcher::SetServiceStatus;
}

FakeServiceDispatcher::~FakeServiceDispatcher() { current_ = nullptr; }

BOOL WINAPI FakeServiceDispatcher::StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* table)
{
    for (const SERVICE_TABLE_ENTRYW* entry = table;; ++entry) {
        if (entry->lpServiceName == nullptr && entry->lpServiceProc == nullptr) {
            current_->tableNames.push_back(L"<null>");
            break;
        }
        current_->tableNames.push_back(entry->lpServiceName);
    }
    if (current_->dispatcherError) {
        SetLastError(current_->dispatcherError);
        return FALSE;
    }
    if (current_->runServiceMain) {
        wchar_t* argv[] = {table[0].lpServiceName};
        table[0].lpServiceProc(1, argv);
    }
    return TRUE;
}

SERVICE_STATUS_HANDLE WINAPI FakeServiceDispatcher::RegisterServiceCtrlHandlerExW(LPCWSTR name,
                                                                                   LPHANDLER_FUNCTION_EX handler,
                                                                                   LPVOID context)
{
    current_->registeredName = name;
    current_->handler = handler;
    current_->handlerContext = context;
    if (current_->registrationError) {
        SetLastError(current_->registrationError);
        return nullptr;
    }
    return kStatusHandle;
}

BOOL WINAPI FakeServiceDispatcher::SetServiceStatus(SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status)
{
    current_->reportHandles.push_back(handle);
    current_->reports.push_back(*status);
    return TRUE;
}

} // namespace fakes
