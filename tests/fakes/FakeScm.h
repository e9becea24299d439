// FakeScm: a scripted Service Control Manager in the platform seam for the
// lifetime of the object. Services, their states and failures are set by the
// test; every call is recorded in order, and every handle handed out must be
// closed again. Calls may come from several threads; the test sets services
// up before the service runs.
#pragma once

#include "platform/Api.h"

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace fakes {

class FakeScm {
public:
    struct Service {
        DWORD state = SERVICE_STOPPED;
        // Reports of SERVICE_STOP_PENDING after a successful stop control,
        // before the state becomes `stateAfterStop`.
        int stopPendingPolls = 0;
        DWORD stateAfterStop = SERVICE_STOPPED;
        DWORD openError = 0;        // OpenServiceW fails with it
        DWORD controlError = 0;     // ControlService fails with it
        DWORD queryError = 0;       // QueryServiceStatus(Ex) fail with it
        DWORD deleteError = 0;      // DeleteService fails with it
        DWORD configError = 0;      // QueryServiceConfigW fails with it
        DWORD configFillError = 0;  // QueryServiceConfigW fails with it when given a buffer big enough
        DWORD failureActionsError = 0;
        DWORD failureActionsFlagError = 0;
        std::wstring binaryPath = L"\"C:\\Program Files\\QX\\Tessarine.exe\"";
        DWORD startType = SERVICE_AUTO_START;  // as QueryServiceConfigW reports it
        // Written by ChangeServiceConfig2W.
        std::wstring description;
        bool hasFailureActions = false;
        DWORD resetPeriod = 0;
        std::vector<SC_ACTION> actions;
        bool failureActionsFlag = false;
        bool deleted = false;
        int statusQueries = 0;
    };
    struct Creation {
        std::wstring name, displayName, binaryPath;
        DWORD access = 0, serviceType = 0, startType = 0, errorControl = 0;
        std::vector<std::wstring> dependencies;
        bool account = false, password = false, loadOrderGroup = false, tagId = false;
    };

    FakeScm();
    ~FakeScm();
    FakeScm(const FakeScm&) = delete;
    FakeScm& operator=(const FakeScm&) = delete;

    Service& AddService(const std::wstring& name, DWORD state = SERVICE_STOPPED);
    Service* Find(const std::wstring& name);

    DWORD openScmError = 0;  // OpenSCManagerW fails with it
    DWORD createError = 0;   // CreateServiceW fails with it (an existing name fails with 1073)

    // Every call, e.g. L"OpenSCManagerW 0x000F003F", L"CloseServiceHandle scm".
    std::vector<std::wstring> calls;
    std::vector<Creation> creations;
    int OpenHandles() const { return static_cast<int>(m_handles.size()); }

private:
    static FakeScm* s_current;
    static SC_HANDLE WINAPI OpenSCManagerW(LPCWSTR machine, LPCWSTR database, DWORD access);
    static SC_HANDLE WINAPI OpenServiceW(SC_HANDLE scm, LPCWSTR name, DWORD access);
    static SC_HANDLE WINAPI CreateServiceW(SC_HANDLE scm, LPCWSTR name, LPCWSTR displayName, DWORD access,
                                           DWORD serviceType, DWORD startType, DWORD errorControl, LPCWSTR binaryPath,
                                           LPCWSTR loadOrderGroup, LPDWORD tagId, LPCWSTR dependencies, LPCWSTR account,
                                           LPCWSTR password);
    static BOOL WINAPI ChangeServiceConfig2W(SC_HANDLE service, DWORD level, LPVOID info);
    static BOOL WINAPI ControlService(SC_HANDLE service, DWORD control, LPSERVICE_STATUS status);
    static BOOL WINAPI QueryServiceStatus(SC_HANDLE service, LPSERVICE_STATUS status);
    static BOOL WINAPI QueryServiceStatusEx(SC_HANDLE service, SC_STATUS_TYPE level, LPBYTE buffer, DWORD size,
                                            LPDWORD needed);
    static BOOL WINAPI QueryServiceConfigW(SC_HANDLE service, LPQUERY_SERVICE_CONFIGW config, DWORD size,
                                           LPDWORD needed);
    static BOOL WINAPI DeleteService(SC_HANDLE service);
    static BOOL WINAPI CloseServiceHandle(SC_HANDLE handle);

    SC_HANDLE NewHandle(const std::wstring& service);
    // The service behind a handle, or null (with the call failing as the
    // platform's would) for the SCM's handle or an unknown one.
    Service* ServiceOf(SC_HANDLE handle);
    void Call(const wchar_t* format, ...);

    os::ScopedApiOverride m_seam;
    // The service's threads may ask at the same time (the worker, resume
    // handling, the radio operations); each call holds it.
    std::recursive_mutex m_lock;
    std::map<std::wstring, Service> m_services;
    std::map<SC_HANDLE, std::wstring> m_handles;  // empty name: the SCM
    uintptr_t m_nextHandle = 0x5C00;
};

}  // namespace fakes
