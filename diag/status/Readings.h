// The readings of `TessarineDiag status`, one file each. They only read:
// nothing is switched, written or registered. Platform calls go through the
// seam (os::api()) where the service's own do, so tests stand the device
// models behind them; each reading logs into TessarineDiag's own log.
#pragma once

#include "status/StatusReport.h"

#include <windows.h>

#include <string>
#include <vector>

namespace diag {

// The service's registration through the SCM (connect and query rights
// only) and the version of its program on disk.
ServiceReading ReadService(const wchar_t* serviceName);

// The firmware settings, read and decided as the service does at its start.
FirmwareReading ReadFirmware();

// A radio's stored "PowerOnOff", as the service reads it.
StoredChoice ReadStoredWlanChoice();
StoredChoice ReadStoredWwanChoice();

// IP Helper's legacy adapter list, each adapter with the verdict of the
// machine-wide Ethernet rule, and the rule's result over the whole list.
EthernetReading ReadAdapters();

// The first Wi-Fi interface's radio state per PHY (the interface the
// service switches).
WlanReading ReadWlanRadio();
// The mobile-broadband device (the last interface listed, as the service
// takes it) and its radio. COM must be initialised on the calling thread.
WwanReading ReadWwanRadio();

// Windows' connection manager policy: every value under
// <root>\<path> (HKLM\Software\Policies\Microsoft\Windows\WcmSvc\GroupPolicy).
inline constexpr wchar_t kConnectionManagerPolicyKey[] = L"Software\\Policies\\Microsoft\\Windows\\WcmSvc\\GroupPolicy";
ConnectionManagerPolicy ReadConnectionManagerPolicy(HKEY root, const std::wstring& path);

// The Wi-Fi adapters' driver settings that speak of a wired link, from the
// network adapter class key <root>\<path> (see DriverSettings.cpp for what
// counts).
inline constexpr wchar_t kNetworkAdapterClassKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e972-e325-11ce-bfc1-08002be10318}";
std::vector<DriverSetting> ReadWifiDriverSettings(HKEY root, const std::wstring& path);

// The logging policy values that the program `moduleName` of the product
// (its file name without extension) would read otherwise than they look.
std::vector<LoggingFinding> CheckLoggingPolicy(const std::wstring& moduleName);

// Everything above, in that order, with the time it took.
StatusReport ReadStatus();

}  // namespace diag
