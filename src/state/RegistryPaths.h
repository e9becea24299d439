// Registry paths that more than one subsystem uses: the persisted radio
// power status (written by the radio control, deleted at uninstall) and the
// system's radio-management key (read by the radio control, watched by the
// airplane-mode watcher). All under HKEY_LOCAL_MACHINE.
#pragma once

constexpr wchar_t kWlanPowerStatusKey[] = L"SOFTWARE\\QX\\QX Brisa UWP\\WlanPowerStatus";
constexpr wchar_t kWwanPowerStatusKey[] = L"SOFTWARE\\QX\\QX Brisa UWP\\WwanPowerStatus";
constexpr wchar_t kPowerStatusValue[] = L"PowerOnOff";
constexpr wchar_t kAirplaneModeKey[] = L"SYSTEM\\CurrentControlSet\\Control\\RadioManagement\\SystemRadioState";
