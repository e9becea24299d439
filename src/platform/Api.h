// The platform seam: the calls that reach hardware, other services or the
// clock go through one process-wide table of function pointers, each typed
// after the real API and initialised to it. Call sites read like Win32:
//   os::api().Sleep(100);
// Production code never changes the table. Tests swap members through
// os::ScopedApiOverride, which restores the whole table when it ends; they
// swap only while no thread of the code under test is running.
#pragma once

#include <windows.h>
#include <winsvc.h>
#include <shlobj.h>
#include <objbase.h>
#include <wlanapi.h>
#include <winsock2.h>
#include <iphlpapi.h>
#include <sensapi.h>

#include <cstdio>

namespace os {

struct Api {
    // Every timed pause of the product goes through one of these two, so
    // tests run in virtual time and can assert each pause: a sleep, or a wait
    // with a time-out (Utils::UtilSleep pauses by waiting on an event that
    // nobody signals). Infinite waits stay direct.
    decltype(&::Sleep) Sleep = ::Sleep;
    decltype(&::WaitForSingleObject) WaitForSingleObject = ::WaitForSingleObject;
    // The monotonic clock of timed scopes.
    decltype(&::QueryUnbiasedInterruptTime) QueryUnbiasedInterruptTime = ::QueryUnbiasedInterruptTime;

    // Log outputs that Wine does not keep: debugger output, and the folder of
    // the log files (so tests can take it away).
    decltype(&::OutputDebugStringW) OutputDebugStringW = ::OutputDebugStringW;
    decltype(&::SHGetFolderPathW) SHGetFolderPathW = ::SHGetFolderPathW;
    // Opening the log file. Wine running as root opens read-only files for
    // writing, so tests stand in for Windows' access check here.
    decltype(&::_wfopen) _wfopen = ::_wfopen;

    // Event log: Wine's ReportEventW only prints to its debug channel, so
    // tests record the reports here.
    decltype(&::RegisterEventSourceW) RegisterEventSourceW = ::RegisterEventSourceW;
    decltype(&::ReportEventW) ReportEventW = ::ReportEventW;
    decltype(&::DeregisterEventSource) DeregisterEventSource = ::DeregisterEventSource;

    // The executable's own path, so tests can point it at another file.
    decltype(&::GetModuleFileNameW) GetModuleFileNameW = ::GetModuleFileNameW;

    // Console output of the command-line modes, so tests can read it.
    decltype(&::fputws) fputws = ::fputws;

    // Service Control Manager: real in the end-to-end tests, scripted in the
    // unit tests (service states, failures, status reports).
    decltype(&::OpenSCManagerW) OpenSCManagerW = ::OpenSCManagerW;
    decltype(&::OpenServiceW) OpenServiceW = ::OpenServiceW;
    decltype(&::CreateServiceW) CreateServiceW = ::CreateServiceW;
    decltype(&::ChangeServiceConfig2W) ChangeServiceConfig2W = ::ChangeServiceConfig2W;
    decltype(&::ControlService) ControlService = ::ControlService;
    decltype(&::QueryServiceStatus) QueryServiceStatus = ::QueryServiceStatus;
    decltype(&::QueryServiceStatusEx) QueryServiceStatusEx = ::QueryServiceStatusEx;
    decltype(&::QueryServiceConfigW) QueryServiceConfigW = ::QueryServiceConfigW;
    decltype(&::DeleteService) DeleteService = ::DeleteService;
    decltype(&::CloseServiceHandle) CloseServiceHandle = ::CloseServiceHandle;
    decltype(&::StartServiceCtrlDispatcherW) StartServiceCtrlDispatcherW = ::StartServiceCtrlDispatcherW;
    decltype(&::RegisterServiceCtrlHandlerExW) RegisterServiceCtrlHandlerExW = ::RegisterServiceCtrlHandlerExW;
    decltype(&::SetServiceStatus) SetServiceStatus = ::SetServiceStatus;

    // Thread pool and events, so tests can make them fail.
    decltype(&::QueueUserWorkItem) QueueUserWorkItem = ::QueueUserWorkItem;
    decltype(&::CreateEventW) CreateEventW = ::CreateEventW;
    decltype(&::SetEvent) SetEvent = ::SetEvent;

    // Opening and creating registry keys, so tests can make them fail or
    // throw; the registry itself stays real.
    decltype(&::RegOpenKeyExW) RegOpenKeyExW = ::RegOpenKeyExW;
    decltype(&::RegCreateKeyExW) RegCreateKeyExW = ::RegCreateKeyExW;
    // The airplane watcher's arming, so a simulated laptop knows when the
    // watcher waits again.
    decltype(&::RegNotifyChangeKeyValue) RegNotifyChangeKeyValue = ::RegNotifyChangeKeyValue;

    // The process security descriptor's SID buffer and accounts, so tests
    // can make them fail.
    decltype(&::LocalAlloc) LocalAlloc = ::LocalAlloc;
    decltype(&::CreateWellKnownSid) CreateWellKnownSid = ::CreateWellKnownSid;

    // IP Helper's adapter lists and the process-heap blocks they are read
    // into, so tests hand out adapters and make allocations fail.
    decltype(&::GetAdaptersInfo) GetAdaptersInfo = ::GetAdaptersInfo;
    decltype(&::GetAdaptersAddresses) GetAdaptersAddresses = ::GetAdaptersAddresses;
    decltype(&::HeapAlloc) HeapAlloc = ::HeapAlloc;
    decltype(&::HeapFree) HeapFree = ::HeapFree;

    // GUID texts and the texts COM hands out, so tests can make the
    // conversions fail and count what is freed.
    decltype(&::StringFromCLSID) StringFromCLSID = ::StringFromCLSID;
    decltype(&::IIDFromString) IIDFromString = ::IIDFromString;
    decltype(&::StringFromIID) StringFromIID = ::StringFromIID;
    decltype(&::CoTaskMemFree) CoTaskMemFree = ::CoTaskMemFree;
    decltype(&::SysFreeString) SysFreeString = ::SysFreeString;
    decltype(&::SysAllocString) SysAllocString = ::SysAllocString;
    decltype(&::SysAllocStringLen) SysAllocStringLen = ::SysAllocStringLen;

    // COM initialisation and process security.
    decltype(&::CoInitializeEx) CoInitializeEx = ::CoInitializeEx;
    decltype(&::CoInitializeSecurity) CoInitializeSecurity = ::CoInitializeSecurity;
    decltype(&::CoUninitialize) CoUninitialize = ::CoUninitialize;

    // Native Wi-Fi: Wine has no Wi-Fi adapter.
    decltype(&::WlanOpenHandle) WlanOpenHandle = ::WlanOpenHandle;
    decltype(&::WlanCloseHandle) WlanCloseHandle = ::WlanCloseHandle;
    decltype(&::WlanRegisterNotification) WlanRegisterNotification = ::WlanRegisterNotification;
    decltype(&::WlanEnumInterfaces) WlanEnumInterfaces = ::WlanEnumInterfaces;
    decltype(&::WlanQueryInterface) WlanQueryInterface = ::WlanQueryInterface;
    decltype(&::WlanGetInterfaceCapability) WlanGetInterfaceCapability = ::WlanGetInterfaceCapability;
    decltype(&::WlanSetInterface) WlanSetInterface = ::WlanSetInterface;
    decltype(&::WlanFreeMemory) WlanFreeMemory = ::WlanFreeMemory;

    // COM objects: fakes stand in for the network list manager, the
    // mobile-broadband interface manager and the WMI locator.
    decltype(&::CoCreateInstance) CoCreateInstance = ::CoCreateInstance;
    decltype(&::CoSetProxyBlanket) CoSetProxyBlanket = ::CoSetProxyBlanket;

    // Network reachability, only reported by the start-up worker.
    decltype(&::IsNetworkAlive) IsNetworkAlive = ::IsNetworkAlive;
};

// The table in force. Valid from the first call to process exit.
Api& api();

// Saves the table on construction and restores it on destruction; members
// are swapped through it: `guard->Sleep = &FakeSleep;`.
class ScopedApiOverride {
public:
    ScopedApiOverride();
    ~ScopedApiOverride();
    ScopedApiOverride(const ScopedApiOverride&) = delete;
    ScopedApiOverride& operator=(const ScopedApiOverride&) = delete;

    Api* operator->() { return &api(); }

private:
    Api m_saved;
};

}  // namespace os
