#include "service/Registry.h"

#include "platform/Api.h"
#include "platform/UniqueHandle.h"

#include <atomic>

namespace Registry {
namespace {

constexpr REGSAM kReadAccess = KEY_READ;
constexpr REGSAM kReadWriteAccess = KEY_READ | KEY_WRITE;
constexpr DWORD kReadBufferCharacters = 1024;
constexpr DWORD kSubkeyNameCharacters = 256;

REGSAM ViewFlag(uint32_t view)
{
    switch (view) {
    case k64BitView: return KEY_WOW64_64KEY;
    case k32BitView: return KEY_WOW64_32KEY;
    default: return 0;
    }
}

using DeleteKeyExFunction = LSTATUS(WINAPI*)(HKEY, LPCWSTR, REGSAM, DWORD);

// RegDeleteKeyExW, looked up once by name; null when the system lacks it.
// Every thread that gets here first stores the same address.
DeleteKeyExFunction DeleteKeyEx()
{
    static std::atomic<DeleteKeyExFunction> cached{nullptr};
    static std::atomic<bool> looked{false};
    if (!looked.load()) {
        HMODULE advapi = GetModuleHandleW(L"Advapi32.dll");
        if (!advapi)
            advapi = LoadLibraryW(L"Advapi32.dll");
        if (advapi)
            cached = reinterpret_cast<DeleteKeyExFunction>(
                reinterpret_cast<void*>(GetProcAddress(advapi, "RegDeleteKeyExW")));
        looked = true;
    }
    return cached.load();
}

LSTATUS DeleteTree(HKEY parent, const std::wstring& keyPath, REGSAM viewFlag)
{
    {
        os::UniqueRegKey key;
        LSTATUS status = os::api().RegOpenKeyExW(parent, keyPath.c_str(), 0, kReadWriteAccess | viewFlag, key.put());
        if (status != ERROR_SUCCESS)
            return status;
        for (;;) {
            wchar_t name[kSubkeyNameCharacters] = {};
            DWORD length = kSubkeyNameCharacters;
            status = RegEnumKeyExW(key.get(), 0, name, &length, nullptr, nullptr, nullptr, nullptr);
            if (status == ERROR_NO_MORE_ITEMS)
                break;
            if (status != ERROR_SUCCESS)
                return status;
            status = DeleteTree(key.get(), name, viewFlag);
            if (status != ERROR_SUCCESS)
                return status;
        }
    }
    if (DeleteKeyExFunction deleteKeyEx = DeleteKeyEx())
        return deleteKeyEx(parent, keyPath.c_str(), viewFlag, 0);
    return RegDeleteKeyW(parent, keyPath.c_str());
}

}  // namespace

std::wstring GetValue(HKEY hive, const std::wstring& keyPath, const std::wstring& valueName, uint32_t view)
{
    os::UniqueRegKey key;
    if (os::api().RegOpenKeyExW(hive, keyPath.c_str(), 0, kReadAccess | ViewFlag(view), key.put()) != ERROR_SUCCESS)
        return {};

    wchar_t buffer[kReadBufferCharacters] = {};
    DWORD type = REG_NONE;
    DWORD size = sizeof(buffer);
    const LSTATUS status =
        RegQueryValueExW(key.get(), valueName.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size);
    if (status != ERROR_SUCCESS || (type != REG_SZ && type != REG_EXPAND_SZ))
        return {};
    if (size == 0)
        return {};
    if (size % sizeof(wchar_t) != 0 || buffer[size / sizeof(wchar_t) - 1] != L'\0')
        return {};
    return buffer;
}

LSTATUS SetValue(HKEY hive, const std::wstring& keyPath, const std::wstring& valueName, const wchar_t* text,
                 uint32_t view)
{
    os::UniqueRegKey key;
    const LSTATUS status = os::api().RegCreateKeyExW(hive, keyPath.c_str(), 0, nullptr, 0,
                                                     kReadWriteAccess | ViewFlag(view), nullptr, key.put(), nullptr);
    if (status != ERROR_SUCCESS)
        return status;
    if (!text)
        return ERROR_INVALID_DATA;
    const DWORD size = static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t));
    return RegSetValueExW(key.get(), valueName.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text), size);
}

LSTATUS DeleteKey(HKEY hive, const std::wstring& keyPath, uint32_t view)
{
    const REGSAM viewFlag = ViewFlag(view);
    os::UniqueRegKey root;
    LSTATUS status = os::api().RegOpenKeyExW(hive, L"", 0, kReadWriteAccess | viewFlag, root.put());
    if (status == ERROR_SUCCESS)
        status = DeleteTree(root.get(), keyPath, viewFlag);
    return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

}  // namespace Registry
