#include "app/ServiceInstaller.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "platform/Console.h"
#include "platform/Format.h"
#include "platform/UniqueHandle.h"
#include "state/RegistryPaths.h"
#include "service/Registry.h"

using namespace QX::Shared;

namespace {

constexpr DWORD kPathCharacters = MAX_PATH;
constexpr DWORD kQuotedPathCharacters = MAX_PATH + 2;
constexpr DWORD kStopPollMilliseconds = 1000;

}  // namespace

void InstallService(const wchar_t* serviceName, const wchar_t* displayName, const wchar_t* description, DWORD startType,
                    const wchar_t* dependencies, const wchar_t* account, const wchar_t* password)
{
    const FunctionLog log("InstallService");
    wchar_t path[kPathCharacters] = {};
    wchar_t quotedPath[kQuotedPathCharacters] = {};
    if (os::api().GetModuleFileNameW(nullptr, path, kPathCharacters) == 0) {
        log.Log(LevelError, L"GetModuleFileName failed w/err 0x%08lx", GetLastError());
        return;
    }
    os::Format(quotedPath, kQuotedPathCharacters, L"\"%s\"", path);

    os::UniqueServiceHandle scm(
        os::api().OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE));
    if (!scm) {
        log.LogAndPrint(LevelError, L"OpenSCManager failed w/err 0x%08lx", GetLastError());
        return;
    }

    os::UniqueServiceHandle service(os::api().CreateServiceW(
        scm.get(), serviceName, displayName, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, startType,
        SERVICE_ERROR_NORMAL, quotedPath, nullptr, nullptr, dependencies, account, password));
    // The description is set before the creation is checked: after a failed
    // creation this call fails too, and its line comes first.
    SERVICE_DESCRIPTIONW serviceDescription = {const_cast<LPWSTR>(description)};
    if (!os::api().ChangeServiceConfig2W(service.get(), SERVICE_CONFIG_DESCRIPTION, &serviceDescription))
        os::Print(L"ChangeServiceConfig2 (SERVICE_CONFIG_DESCRIPTION) failed w/err 0x%08lx\n", GetLastError());

    if (service) {
        log.LogAndPrint(LevelInformation, L"%s is installed.", serviceName);
    } else {
        log.LogAndPrint(LevelError, L"CreateService failed w/err 0x%08lx", GetLastError());
    }
    scm.reset();
    service.reset();
}

void UninstallService(const wchar_t* serviceName)
{
    const FunctionLog log("UninstallService");
    os::UniqueServiceHandle scm(os::api().OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!scm) {
        log.LogAndPrint(LevelError, L"OpenSCManager failed w/err 0x%08lx", GetLastError());
        return;
    }
    os::UniqueServiceHandle service(
        os::api().OpenServiceW(scm.get(), serviceName, SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE));
    if (!service) {
        log.LogAndPrint(LevelError, L"OpenService failed w/err 0x%08lx", GetLastError());
        return;
    }

    SERVICE_STATUS status = {};
    if (os::api().ControlService(service.get(), SERVICE_CONTROL_STOP, &status)) {
        os::Print(L"Stopping %s.", serviceName);
        os::api().Sleep(kStopPollMilliseconds);
        // No upper bound: the wait ends when the state changes or the query fails.
        while (os::api().QueryServiceStatus(service.get(), &status) && status.dwCurrentState == SERVICE_STOP_PENDING) {
            os::Print(L".");
            os::api().Sleep(kStopPollMilliseconds);
        }
        if (status.dwCurrentState == SERVICE_STOPPED) {
            os::Print(L"\n%s is stopped.\n", serviceName);
        } else {
            os::Print(L"\n");
            log.LogAndPrint(LevelError, L"%s failed to stop.", serviceName);
        }
    }

    if (!os::api().DeleteService(service.get())) {
        log.LogAndPrint(LevelError, L"DeleteService failed w/err 0x%08lx", GetLastError());
    } else {
        if (Registry::DeleteKey(HKEY_LOCAL_MACHINE, kWlanPowerStatusKey, Registry::kDefaultView) != 0)
            log.Log(LevelError, L"DeleteSubkey (BrisaWlanPowerStatus) failed w/err 0x%08lx", GetLastError());
        if (Registry::DeleteKey(HKEY_LOCAL_MACHINE, kWwanPowerStatusKey, Registry::kDefaultView) != 0)
            log.Log(LevelError, L"DeleteSubkey (BrisaWwanPowerStatus) failed w/err 0x%08lx", GetLastError());
        os::Print(L"%s is removed.\n", serviceName);
    }
    scm.reset();
    service.reset();
}
