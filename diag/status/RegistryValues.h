// Registry values as the report shows them: their name, type and data as
// text (numbers also as numbers).
#pragma once

#include "status/StatusReport.h"

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace diag {

// Every value of an open key, in the key's order.
std::vector<RegistryValue> ReadValues(HKEY key);
// One value of an open key, or nothing when it is not there.
std::optional<RegistryValue> ReadValue(HKEY key, const wchar_t* name);
// "REG_SZ", "REG_DWORD", ...
std::wstring RegistryTypeName(DWORD type);

}  // namespace diag
