// The persisted radio power status and the airplane-mode reading.
//
// Per radio, HKLM\<key>\PowerOnOff holds "True" (the radio was on before the
// service last decided about it, so it is switched on again when the wire
// goes away) or "False". A missing or empty value counts as "True": the
// readers below are the one place that says so.
// No lock: every call opens and closes its own key; the last write wins.
#pragma once

#include "state/RegistryPaths.h"

#include <windows.h>

#include <string>

namespace ServiceUtils {

// The stored text of a status: "True" exactly when its byte is 1. Callers
// hand over the byte of their bool (StatusByte), which a foreign writer of
// that memory may have left at another value.
const wchar_t* PowerStatusText(unsigned char statusByte);
unsigned char StatusByte(bool status);

// Writes the status text under HKLM\<key>\PowerOnOff; the Win32 code.
LSTATUS SetPowerStatusInRegistry(const wchar_t* keyPath, bool status);
LSTATUS SetWlanPowerStatusInRegistry(bool status);
LSTATUS SetWwanPowerStatusInRegistry(bool status);

// A radio's stored status as read: the text of PowerOnOff, or "True" when
// the value is missing or empty (`wasEmpty` then says so, for the callers
// that log it). Only the exact text "True" is on.
struct StoredPowerStatus {
    std::wstring text;
    bool wasEmpty = false;
    bool IsOn() const { return text == L"True"; }
};
StoredPowerStatus ReadWlanPowerStatus();
StoredPowerStatus ReadWwanPowerStatus();

// True when the system's radio state says airplane mode is on; any failure
// counts as off.
bool CheckAirplaneMode();

}  // namespace ServiceUtils
