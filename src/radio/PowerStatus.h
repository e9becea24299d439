// The persisted radio power status and the airplane-mode reading.
//
// Per radio, HKLM\<key>\PowerOnOff holds "True" (the radio was on before the
// service last decided about it, so it is switched on again when the wire
// goes away) or "False". Readers take a missing or empty value as "True".
// No lock: every call opens and closes its own key; the last write wins.
#pragma once

#include <windows.h>

namespace ServiceUtils {

constexpr wchar_t kWlanPowerStatusKey[] = L"SOFTWARE\\QX\\QX Brisa UWP\\WlanPowerStatus";
constexpr wchar_t kWwanPowerStatusKey[] = L"SOFTWARE\\QX\\QX Brisa UWP\\WwanPowerStatus";
constexpr wchar_t kPowerStatusValue[] = L"PowerOnOff";
constexpr wchar_t kAirplaneModeKey[] = L"SYSTEM\\CurrentControlSet\\Control\\RadioManagement\\SystemRadioState";

// "True" exactly when the status byte is 1.
const wchar_t* PowerStatusText(bool status);

// Writes the status text under HKLM\<key>\PowerOnOff; the Win32 code.
LSTATUS SetPowerStatusInRegistry(const wchar_t* keyPath, bool status);
LSTATUS SetWlanPowerStatusInRegistry(bool status);
LSTATUS SetWwanPowerStatusInRegistry(bool status);

// True when the system's radio state says airplane mode is on; any failure
// counts as off.
bool CheckAirplaneMode();

} // namespace ServiceUtils
