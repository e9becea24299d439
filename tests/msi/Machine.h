// What the installer tests read of the machine (the Wine prefix): the
// service's registration, registry values, files and the products Windows
// Installer knows (its state: fakes/ServiceState.h). Reads only; a missing
// thing reads as empty or "<missing>", never as an error.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace msi {

// Polls `condition` every 100 ms for up to `seconds`; whether it came true.
template <typename Condition>
bool WaitUntil(Condition condition, int seconds)
{
    for (int i = 0; i < seconds * 10; ++i) {
        if (condition())
            return true;
        Sleep(100);
    }
    return condition();
}

// The names of the installed services whose display name is `displayName`.
std::vector<std::wstring> ServicesNamed(const wchar_t* displayName);

bool KeyExists(const std::wstring& key);  // under HKEY_LOCAL_MACHINE
// A REG_SZ, REG_EXPAND_SZ or REG_MULTI_SZ value under HKEY_LOCAL_MACHINE with
// its NULs, the final terminator(s) removed, not expanded; "<missing>" when
// there is none.
std::wstring Text(const std::wstring& key, const wchar_t* name);
// A REG_DWORD value, or ~0u.
DWORD Number(const std::wstring& key, const wchar_t* name);

// C:\Program Files (the 64-bit program folder).
std::wstring ProgramFiles();
bool FileExists(const std::wstring& path);
// "a.b.c.d" of a file's version resource, or "".
std::wstring FileVersion(const std::wstring& path);

struct Product {
    std::wstring code;     // the product code, with braces
    std::wstring version;  // its ProductVersion
};
// The installed products of this upgrade code.
std::vector<Product> RelatedProducts(const wchar_t* upgradeCode);

}  // namespace msi
