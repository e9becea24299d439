#include "fakes/FakeScm.h"

#include "platform/Format.h"

#include <cstdarg>

namespace fakes {

FakeScm* FakeScm::s_current = nullptr;

FakeScm::FakeScm()
{
    s_current = this;
    m_seam->OpenSCManagerW = &FakeScm::OpenSCManagerW;
    m_seam->OpenServiceW = &FakeScm::OpenServiceW;
    m_seam->CreateServiceW = &FakeScm::CreateServiceW;
    m_seam->ChangeServiceConfig2W = &FakeScm::ChangeServiceConfig2W;
    m_seam->ControlService = &FakeScm::ControlService;
    m_seam->QueryServiceStatus = &FakeScm::QueryServiceStatus;
    m_seam->QueryServiceStatusEx = &FakeScm::QueryServiceStatusEx;
    m_seam->QueryServiceConfigW = &FakeScm::QueryServiceConfigW;
    m_seam->DeleteService = &FakeScm::DeleteService;
    m_seam->CloseServiceHandle = &FakeScm::CloseServiceHandle;
}

FakeScm::~FakeScm() { s_current = nullptr; }

FakeScm::Service& FakeScm::AddService(const std::wstring& name, DWORD state)
{
    Service& service = m_services[name];
    service.state = state;
    return service;
}

FakeScm::Service* FakeScm::Find(const std::wstring& name)
{
    auto it = m_services.find(name);
    return it == m_services.end() ? nullptr : &it->second;
}

SC_HANDLE FakeScm::NewHandle(const std::wstring& service)
{
    SC_HANDLE handle = reinterpret_cast<SC_HANDLE>(m_nextHandle);
    m_nextHandle += 0x10;
    m_handles[handle] = service;
    return handle;
}

FakeScm::Service* FakeScm::ServiceOf(SC_HANDLE handle)
{
    auto it = m_handles.find(handle);
    if (it == m_handles.end() || it->second.empty()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return Find(it->second);
}

void FakeScm::Call(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    calls.push_back(os::FormatStringV(format, args));
    va_end(args);
}

SC_HANDLE WINAPI FakeScm::OpenSCManagerW(LPCWSTR machine, LPCWSTR database, DWORD access)
{
    const std::lock_guard<std::recursive_mutex> lock(s_current->m_lock);
    s_current->Call(L"OpenSCManagerW %s %s 0x%08lX", machine ? machine : L"local", database ? database : L"active",
                    access);
    if (s_current->openScmError) {
        SetLastError(s_current->openScmError);
        return nullptr;
    }
    return s_current->NewHandle(L"");
}

SC_HANDLE WINAPI FakeScm::OpenServiceW(SC_HANDLE, LPCWSTR name, DWORD access)
{
    const std::lock_guard<std::recursive_mutex> lock(s_current->m_lock);
    s_current->Call(L"OpenServiceW %s 0x%08lX", name, access);
    Service* service = s_current->Find(name);
    if (!service || service->deleted) {
        SetLastError(ERROR_SERVICE_DOES_NOT_EXIST);
        return nullptr;
    }
    if (service->openError) {
        SetLastError(service->openError);
        return nullptr;
    }
    return s_current->NewHandle(name);
}

SC_HANDLE WINAPI FakeScm::CreateServiceW(SC_HANDLE, LPCWSTR name, LPCWSTR displayName, DWORD access, DWORD serviceType,
                                         DWORD startType, DWORD errorControl, LPCWSTR binaryPath,
                                         LPCWSTR loadOrderGroup, LPDWORD tagId, LPCWSTR dependencies, LPCWSTR account,
                                         LPCWSTR password)
{
    const std::lock_guard<std::recursive_mutex> lock(s_current->m_lock);
    s_current->Call(L"CreateServiceW %s", name);
    Creation creation;
    creation.name = name;
    creation.displayName = displayName ? displayName : L"";
    creation.binaryPath = binaryPath ? binaryPath : L"";
    creation.access = access;
    creation.serviceType = serviceType;
    creation.startType = startType;
    creation.errorControl = errorControl;
    for (const wchar_t* item = dependencies; item && *item; item += wcslen(item) + 1)
        creation.dependencies.push_back(item);
    creation.account = account != nullptr;
    creation.password = password != nullptr;
    creation.loadOrderGroup = loadOrderGroup != nullptr;
    creation.tagId = tagId != nullptr;
    s_current->creations.push_back(creation);

    Service* existing = s_current->Find(name);
    const DWORD error = s_current->createError             ? s_current->createError
                        : (existing && !existing->deleted) ? ERROR_SERVICE_EXISTS
                                                           : 0;
    if (error) {
        SetLastError(error);
        return nullptr;
    }
    Service& service = s_current->AddService(name, SERVICE_STOPPED);
    service.binaryPath = creation.binaryPath;
    return s_current->NewHandle(name);
}

BOOL WINAPI FakeScm::ChangeServiceConfig2W(SC_HANDLE handle, DWORD level, LPVOID info)
{
    const std::lock_guard<std::recursive_mutex> lock(s_current->m_lock);
    s_current->Call(L"ChangeServiceConfig2W %lu", level);
    Service* service = s_current->ServiceOf(handle);
    if (!service)
        return FALSE;
    switch (level) {
    case SERVICE_CONFIG_DESCRIPTION:
        service->description = static_cast<SERVICE_DESCRIPTIONW*>(info)->lpDescription;
        return TRUE;
    case SERVICE_CONFIG_FAILURE_ACTIONS: {
        if (service->failureActionsError) {
            SetLastError(service->failureActionsError);
            return FALSE;
        }
        const auto* actions = static_cast<SERVICE_FAILURE_ACTIONSW*>(info);
        service->hasFailureActions = true;
        service->resetPeriod = actions->dwResetPeriod;
        service->actions.assign(actions->lpsaActions, actions->lpsaActions + actions->cActions);
        s_current->Call(L"  reboot message %s, command %s", actions->lpRebootMsg ? L"set" : L"none",
                        actions->lpCommand ? L"set" : L"none");
        return TRUE;
    }
    case SERVICE_CONFIG_FAILURE_ACTIONS_FLAG:
        if (service->failureActionsFlagError) {
            SetLastError(service->failureActionsFlagError);
            return FALSE;
        }
        service->failureActionsFlag =
            static_cast<SERVICE_FAILURE_ACTIONS_FLAG*>(info)->fFailureActionsOnNonCrashFailures;
        return TRUE;
    default: SetLastError(ERROR_INVALID_LEVEL); return FALSE;
    }
}

BOOL WINAPI FakeScm::ControlService(SC_HANDLE handle, DWORD control, LPSERVICE_STATUS status)
{
    const std::lock_guard<std::recursive_mutex> lock(s_current->m_lock);
    s_current->Call(L"ControlService %lu", control);
    Service* service = s_current->ServiceOf(handle);
    if (!service)
        return FALSE;
    if (service->controlError) {
        SetLastError(service->controlError);
        return FALSE;
    }
    if (control != SERVICE_CONTROL_STOP || service->state != SERVICE_RUNNING) {
        SetLastError(ERROR_SERVICE_NOT_ACTIVE);
        return FALSE;
    }
    service->state = service->stopPendingPolls > 0 ? SERVICE_STOP_PENDING : service->stateAfterStop;
    *status = SERVICE_STATUS{SERVICE_WIN32_OWN_PROCESS, service->state, 0, 0, 0, 0, 0};
    return TRUE;
}

BOOL WINAPI FakeScm::QueryServiceStatus(SC_HANDLE handle, LPSERVICE_STATUS status)
{
    const std::lock_guard<std::recursive_mutex> lock(s_current->m_lock);
    s_current->Call(L"QueryServiceStatus");
    Service* service = s_current->ServiceOf(handle);
    if (!service)
        return FALSE;
    if (service->queryError) {
        SetLastError(service->queryError);
        return FALSE;
    }
    ++service->statusQueries;
    if (service->state == SERVICE_STOP_PENDING && service->stopPendingPolls-- <= 0)
        service->state = service->stateAfterStop;
    *status = SERVICE_STATUS{SERVICE_WIN32_OWN_PROCESS, service->state, 0, 0, 0, 0, 0};
    return TRUE;
}

BOOL WINAPI FakeScm::QueryServiceStatusEx(SC_HANDLE handle, SC_STATUS_TYPE level, LPBYTE buffer, DWORD size,
                                          LPDWORD needed)
{
    const std::lock_guard<std::recursive_mutex> lock(s_current->m_lock);
    s_current->Call(L"QueryServiceStatusEx %d", static_cast<int>(level));
    Service* service = s_current->ServiceOf(handle);
    if (!service)
        return FALSE;
    if (service->queryError) {
        SetLastError(service->queryError);
        return FALSE;
    }
    ++service->statusQueries;
    *needed = sizeof(SERVICE_STATUS_PROCESS);
    if (level != SC_STATUS_PROCESS_INFO || size < sizeof(SERVICE_STATUS_PROCESS)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    auto* status = reinterpret_cast<SERVICE_STATUS_PROCESS*>(buffer);
    *status = SERVICE_STATUS_PROCESS{};
    status->dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status->dwCurrentState = service->state;
    return TRUE;
}

BOOL WINAPI FakeScm::QueryServiceConfigW(SC_HANDLE handle, LPQUERY_SERVICE_CONFIGW config, DWORD size, LPDWORD needed)
{
    const std::lock_guard<std::recursive_mutex> lock(s_current->m_lock);
    s_current->Call(L"QueryServiceConfigW %lu", size);
    Service* service = s_current->ServiceOf(handle);
    if (!service)
        return FALSE;
    if (service->configError) {
        SetLastError(service->configError);
        return FALSE;
    }
    const DWORD pathBytes = static_cast<DWORD>((service->binaryPath.size() + 1) * sizeof(wchar_t));
    *needed = sizeof(QUERY_SERVICE_CONFIGW) + pathBytes;
    if (config == nullptr || size < *needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    if (service->configFillError) {
        SetLastError(service->configFillError);
        return FALSE;
    }
    *config = QUERY_SERVICE_CONFIGW{};
    auto* path = reinterpret_cast<wchar_t*>(config + 1);
    wcscpy(path, service->binaryPath.c_str());
    config->lpBinaryPathName = path;
    config->dwStartType = service->startType;
    return TRUE;
}

BOOL WINAPI FakeScm::DeleteService(SC_HANDLE handle)
{
    const std::lock_guard<std::recursive_mutex> lock(s_current->m_lock);
    s_current->Call(L"DeleteService");
    Service* service = s_current->ServiceOf(handle);
    if (!service)
        return FALSE;
    if (service->deleteError) {
        SetLastError(service->deleteError);
        return FALSE;
    }
    service->deleted = true;
    return TRUE;
}

BOOL WINAPI FakeScm::CloseServiceHandle(SC_HANDLE handle)
{
    const std::lock_guard<std::recursive_mutex> lock(s_current->m_lock);
    auto it = s_current->m_handles.find(handle);
    if (it == s_current->m_handles.end()) {
        s_current->Call(L"CloseServiceHandle unknown");
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    s_current->Call(L"CloseServiceHandle %s", it->second.empty() ? L"scm" : it->second.c_str());
    s_current->m_handles.erase(it);
    return TRUE;
}

}  // namespace fakes
