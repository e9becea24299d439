// Utils: opening services, their running state, waiting for them and this
// service's restart-on-failure policy. Every SCM call goes through the seam.
#include "service/Utils.h"

#include "logging/Logger.h"
#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "platform/UniqueHandle.h"

using namespace QX::Shared;

namespace Utils {
namespace {

constexpr DWORD kPollPauseMilliseconds = 1000;
constexpr DWORD kFailureResetSeconds = 3600;
// Restart after 2, 4 and 6 minutes for the first, second and later failures.
constexpr DWORD kRestartDelaysMilliseconds[] = {120000, 240000, 360000};

}  // namespace

int32_t GetService(const wchar_t* serviceName, os::UniqueServiceHandle& scm, os::UniqueServiceHandle& service)
{
    OperationLog op("Utils::GetService", L"Service Name = %s", serviceName);
    int32_t result = kServiceOk;
    scm.reset(os::api().OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    if (!scm) {
        op.Log(LevelError, L"OpenSCManager failed w/err 0x%08lx", GetLastError());
        result = kScmCannotOpen;
    } else {
        service.reset(os::api().OpenServiceW(scm.get(), serviceName, SERVICE_ALL_ACCESS));
        if (!service) {
            if (GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST) {
                op.Log(LevelError, L"Service does not exist. Error 0x%08lx", GetLastError());
                result = kServiceMissing;
            } else {
                op.Log(LevelError, L"OpenService failed w/err 0x%08lx", GetLastError());
                result = kServiceCannotOpen;
            }
        }
    }
    op.Exit(L"Return Value = %d", result);
    return result;
}

int32_t IsServicePresent(const wchar_t* serviceName, VersionRecord& version, bool checkRunning, bool getVersion)
{
    OperationLog op("Utils::IsServicePresent",
                    L"Service Name = %s, Running Status To be checked = %d, To Get version Info Status = %d",
                    serviceName, checkRunning, getVersion);
    os::UniqueServiceHandle scm;
    os::UniqueServiceHandle service;
    int32_t result = GetService(serviceName, scm, service);
    if (result != kServiceOk)
        return result;

    if (checkRunning) {
        op.Log(LevelInformation, L"%s Service is installed. Querying status..", serviceName);
        SERVICE_STATUS_PROCESS status = {};
        DWORD needed = 0;
        // A failed query leaves the result at 0: the service counts as running.
        if (os::api().QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                                           sizeof(status), &needed)) {
            op.Log(LevelInformation, L"%s Service status = 0x%08lx", serviceName, status.dwCurrentState);
            if (status.dwCurrentState == SERVICE_RUNNING) {
                op.Log(LevelInformation, L"%s Service is running", serviceName);
            } else {
                result = kServiceNotRunning;
                op.Log(LevelError, L"%s Service is not running", serviceName);
            }
        }
    }

    if (getVersion) {
        DWORD needed = 0;
        os::UniqueLocalMemory buffer;
        bool ok = os::api().QueryServiceConfigW(service.get(), nullptr, 0, &needed) ||
                  GetLastError() == ERROR_INSUFFICIENT_BUFFER;
        if (ok) {
            buffer.reset(LocalAlloc(LPTR, needed));
            ok = buffer && os::api().QueryServiceConfigW(
                               service.get(), static_cast<QUERY_SERVICE_CONFIGW*>(buffer.get()), needed, &needed);
        }
        if (!ok) {
            op.Log(LevelError, L"QueryServiceConfig failed w/err 0x%08lx", GetLastError());
            result = kServiceConfigUnreadable;
        } else {
            // The path was written in quotes at install: drop the first and last character.
            std::wstring path = static_cast<QUERY_SERVICE_CONFIGW*>(buffer.get())->lpBinaryPathName;
            path = path.size() >= 2 ? path.substr(1, path.size() - 2) : std::wstring();
            op.Log(LevelVerbose, L"%s service installed path = %s", serviceName, path.c_str());
            GetVersionValue(version, path);
        }
    }

    service.reset();
    scm.reset();
    op.Exit(L"Return Value = %d", result);
    return result;
}

int32_t WaitforServiceToStartRunning(const wchar_t* serviceName, int32_t tries)
{
    OperationLog op("Utils::WaitforServiceToStartRunning");
    int32_t tryCounter = 0;
    int32_t result = kServiceOk;
    for (;;) {
        VersionRecord unused;
        result = IsServicePresent(serviceName, unused, true, false);
        if (result == kServiceOk)
            break;
        op.Log(LevelVerbose, L"%s service Running Status = %d, try %d", serviceName, result, tryCounter);
        UtilSleep(kPollPauseMilliseconds);
        ++tryCounter;
        // A missing or unopenable service will not appear by waiting.
        if (result < 0 || tryCounter >= tries)
            break;
    }
    op.Exit(L"%s Running Status = %d", serviceName, result);
    return result;
}

void UtilSleep(DWORD milliseconds)
{
    OperationLog op("Utils::UtilSleep");
    os::UniqueHandle event(os::api().CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!event) {
        op.Log(LevelError, L"CreateEvent() failed with  error: %d", GetLastError());
        return;
    }
    os::api().WaitForSingleObject(event.get(), milliseconds);
    op.Exit();
}

int32_t SetServiceRestartRecoveryOnFailure(const wchar_t* serviceName)
{
    OperationLog op("Utils::SetServiceRestartRecoveryOnFailure", L"Service Name = %s", serviceName);
    os::UniqueServiceHandle scm;
    os::UniqueServiceHandle service;
    int32_t result = GetService(serviceName, scm, service);
    if (result != kServiceOk)
        return result;

    SC_ACTION actions[3];
    for (size_t i = 0; i < 3; ++i)
        actions[i] = {SC_ACTION_RESTART, kRestartDelaysMilliseconds[i]};
    SERVICE_FAILURE_ACTIONSW failureActions = {};
    failureActions.dwResetPeriod = kFailureResetSeconds;
    failureActions.lpRebootMsg = nullptr;
    failureActions.lpCommand = nullptr;
    failureActions.cActions = 3;
    failureActions.lpsaActions = actions;
    if (!os::api().ChangeServiceConfig2W(service.get(), SERVICE_CONFIG_FAILURE_ACTIONS, &failureActions)) {
        op.Log(LevelError, L"ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS) failed w/err 0x%08lx\n",
               GetLastError());
        result |= kFailureActionsNotSet;
    }

    // Failure actions apply also when the service stops with a non-zero exit code.
    SERVICE_FAILURE_ACTIONS_FLAG flag = {TRUE};
    if (!os::api().ChangeServiceConfig2W(service.get(), SERVICE_CONFIG_FAILURE_ACTIONS_FLAG, &flag)) {
        op.Log(LevelError, L"ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS_FLAG) failed w/err 0x%08lx\n",
               GetLastError());
        result |= kFailureActionsFlagNotSet;
    }

    service.reset();
    scm.reset();
    op.Exit(L"Return Value = %d", result);
    return result;
}

}  // namespace Utils
