// The firmware's two auto-switching settings, read over WMI into the
// process-wide flags LanWlanSwitchingEnabled and LanWwanSwitchingEnabled.
// Called on the service worker thread at start-up; each read initialises
// COM on the calling thread, connects, queries and tears everything down.
// The setting map is the caller's; nothing here keeps state between calls.
#pragma once

#include "platform/ComPtr.h"

#include <wbemcli.h>

#include <map>
#include <string>

namespace NLMUtils {

// Setting name to setting value, keys in plain code-unit order.
using SettingMap = std::map<std::wstring, std::wstring>;

// Sets both flags false, reads the settings (ReadAutoSwitchingSettings) and
// sets each flag its setting allows (DecideAutoSwitching).
void GetAutoSwitchingStatus();

// What the first-character rule makes of a setting's raw value: any first
// character but '*' allows; a leading '*' or an empty value does not. No
// keyword is compared.
enum class SettingVerdict { Allows, Empty, Starred };
SettingVerdict JudgeSettingValue(const std::wstring& value);

// One radio's switching as the settings decide it: the setting that decided
// (null when none of the radio's names was read) and its value's verdict.
struct SwitchingDecision {
    const wchar_t* setting = nullptr;
    SettingVerdict verdict = SettingVerdict::Empty;
    bool Allowed() const { return setting != nullptr && verdict == SettingVerdict::Allows; }
};
// Wi-Fi: "LAN / WLAN Auto Switching" whenever it is there, even empty, else
// "LAN/WLAN Switching"; mobile broadband: "LAN / WWAN Auto Switching".
struct AutoSwitchingDecision {
    SwitchingDecision wlan;
    SwitchingDecision wwan;
};
AutoSwitchingDecision DecideAutoSwitching(const SettingMap& settings);

// One read of the settings as the service makes it at its start: the first
// class, then the fallback class only when the first gave nothing. The
// result codes are kept for whoever reports them (the service does not
// examine them), and so is the time the read's own retry pauses took.
struct AutoSwitchingRead {
    SettingMap settings;
    HRESULT firstResult = S_OK;
    bool fallbackRead = false;
    HRESULT fallbackResult = S_OK;
    DWORD pausedMilliseconds = 0;
};
void ReadAutoSwitchingSettings(AutoSwitchingRead& read);

// One query against `className`, with the time-out and exception retries.
// Returns 0 when the walk ended normally. The retry pauses, in
// milliseconds, are added to *pausedMilliseconds when it is not null.
HRESULT ReadNetworkSwitchingStatus(const std::wstring& className, SettingMap& settings,
                                   DWORD* pausedMilliseconds = nullptr);

// Initialises COM and connects to the firmware namespace with the proxy
// blanket set. Both outputs are emptied first.
HRESULT InitWMIRead(os::ComPtr<IWbemLocator>& locator, os::ComPtr<IWbemServices>& services);

// Walks the whole result set into `settings` (cleared first). The walk
// holds its own reference to the enumerator while it runs.
HRESULT ProcessEnum(os::ComPtr<IEnumWbemClassObject> enumerator, SettingMap& settings);

// Reads one setting object's "Name" and "Value" into `settings`.
HRESULT ProcessObjects(IWbemClassObject* object, SettingMap& settings);

}  // namespace NLMUtils
