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

// Sets both flags false, reads the settings (the fallback class only when
// the first class gave nothing) and sets each flag its setting enables.
void GetAutoSwitchingStatus();

// One query against `className`, with the time-out and exception retries.
// Returns 0 when the walk ended normally.
HRESULT ReadNetworkSwitchingStatus(const std::wstring& className, SettingMap& settings);

// Initialises COM and connects to the firmware namespace with the proxy
// blanket set. Both outputs are emptied first.
HRESULT InitWMIRead(os::ComPtr<IWbemLocator>& locator, os::ComPtr<IWbemServices>& services);

// Walks the whole result set into `settings` (cleared first). The walk
// holds its own reference to the enumerator while it runs.
HRESULT ProcessEnum(os::ComPtr<IEnumWbemClassObject> enumerator, SettingMap& settings);

// Reads one setting object's "Name" and "Value" into `settings`.
HRESULT ProcessObjects(IWbemClassObject* object, SettingMap& settings);

}  // namespace NLMUtils
