// Registry: text values and whole-key deletion for the service's own keys.
// Each call opens and closes its own key handle. The view selector picks the
// registry view: 1 the 64-bit view, 2 the 32-bit view, anything else the
// process's default view. Does not log; failures come back as an empty text
// or a Win32 code.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace Registry {

constexpr uint32_t kDefaultView = 0;
constexpr uint32_t k64BitView = 1;
constexpr uint32_t k32BitView = 2;

// The REG_SZ or REG_EXPAND_SZ text (unexpanded) of a value, up to its first
// NUL; empty on any failure or malformed data.
std::wstring GetValue(HKEY hive, const std::wstring& keyPath, const std::wstring& valueName, uint32_t view);

// Stores `text` as REG_SZ with its terminating NUL, creating the key when
// missing. A null text returns ERROR_INVALID_DATA without writing.
LSTATUS SetValue(HKEY hive, const std::wstring& keyPath, const std::wstring& valueName, const wchar_t* text,
                 uint32_t view);

// Deletes the key and everything below it; a missing key counts as deleted.
LSTATUS DeleteKey(HKEY hive, const std::wstring& keyPath, uint32_t view);

}  // namespace Registry
