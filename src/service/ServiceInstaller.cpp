#include "service/ServiceInstaller.h"

#include "logging/Logger.h"
#include "platform/Api.h"
#include "platform/Console.h"
#include "platform/Format.h"
#include "platform/ServiceHandle.h"
#include "radio/PowerStatus.h"
#include "service/Registry.h"

using namespace QX::Shared;

namespace {

constexpr DWORD kPathCharacters = MAX_PATH;
constexpr DWORD kQuotedPathCharacters = MAX_PATH + 2;
constexpr DWORD kStopPollMilliseconds = 1000;

} // namespace

void InstallService(const wchar_t* serviceName, const wchar_t* displayName, const wchar_t* description,
                    DWORD startType, const wchar_t* dependencies, const wchar_t* account, const wchar_t* password)
{
    constexpr char kFunction[] = "InstallService";
    wchar_t path[kPathCharacters] = {};
    wchar_t quotedPath[kQuotedPathCharacters] = {};
    if (os::api().GetModuleFileNameW(nullptr, path, kPathCharacters) == 0) {
        Log(GetLogger(), LevelError, kFunction, L"GetModuleFileName failed w/err 0x%08lx", GetLastError());
        return;
    }
    os::Format(quotedPath, kQuotedPathCharacters, L"\"%s\"", path);

    os::UniqueServiceHandle scm(os::api().OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE));
    if (!scm) {
        Log(GetLogger(), LevelError, kFunction, L"OpenSCManager failed w/err 0x%08lx", GetLastError());
        os::Print(L"OpenSCManager failed w/err 0x%08lx\n", GetLastError());
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
        Log(GetLogger(), LevelInformation, kFunction, L"%s is installed.", serviceName);
        os::Print(L"%s is installed.\n", serviceName);
    } else {
        Log(GetLogger(), LevelError, kFunction, L"CreateService failed w/err 0x%08lx", GetLastError());
        os::Print(L"CreateService failed w/err 0x%08lx\n", GetLastError());
    }
    scm.reset();
    service.reset();
}

void UninstallService(const wchar_t* serviceName)
{
    constexpr char kFunction[] = "UninstallService";
    os::UniqueServiceHandle scm(os::api().OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!scm) {
        Log(GetLogger(), LevelError, kFunction, L"OpenSCManager failed w/err 0x%08lx", GetLastError());
        os::Print(L"OpenSCManager failed w/err 0x%08lx\n", GetLastError());
        return;
    }
    os::UniqueServiceHandle service(
        os::api().OpenServiceW(scm.get(), serviceName, SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE));
    if (!service) {
        Log(GetLogger(), LevelError, kFunction, L"OpenService failed w/err 0x%08lx", GetLastError());
        os::Print(L"OpenService failed w/err 0x%08lx\n", GetLastError());
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
            Log(GetLogger(), LevelError, kFunction, L"%s failed to stop.", serviceName);
            os::Print(L"\n%s failed to stop.\n", serviceName);
        }
    }

    if (!os::api().DeleteService(service.get())) {
        Log(GetLogger(), LevelError, kFunction, L"DeleteService failed w/err 0x%08lx", GetLastError());
        os::Print(L"DeleteService failed w/err 0x%08lx\n", GetLastError());
    } else {
        if (Registry::DeleteKey(HKEY_LOCAL_MACHINE, ServiceUtils::kWlanPowerStatusKey, Registry::kDefaultView) != 0)
            Log(GetLogger(), LevelError, kFunction, L"DeleteSubkey (BrisaWlanPowerStatus) failed w/err 0x%08lx",
                GetLastError());
        if (Registry::DeleteKey(HKEY_LOCAL_MACHINE, ServiceUtils::kWwanPowerStatusKey, Registry::kDefaultView) != 0)
            Log(GetLogger(), LevelError, kFunction, L"DeleteSubkey (BrisaWwanPowerStatus) failed w/err 0x%08lx",
                GetLastError());
        os::Print(L"%s is removed.\n", serviceName);
    }
    scm.reset();
    service.reset();
}
