#include "fakes/MachineState.h"

#include "state/RegistryPaths.h"

namespace fakes {
namespace {

constexpr wchar_t kRadioManagementKey[] = L"SYSTEM\\CurrentControlSet\\Control\\RadioManagement";
constexpr wchar_t kProductKey[] = L"SOFTWARE\\QX\\QX Brisa UWP";

bool KeyExists(const wchar_t* path)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

}  // namespace

ScopedAirplaneMode::ScopedAirplaneMode()
{
    m_parentExisted = KeyExists(kRadioManagementKey);
    HKEY key = nullptr;
    m_existed = RegOpenKeyExW(HKEY_LOCAL_MACHINE, kAirplaneModeKey, 0, KEY_READ, &key) == ERROR_SUCCESS;
    if (m_existed) {
        for (DWORD index = 0;; ++index) {
            wchar_t name[256] = {};
            DWORD nameLength = 256;
            BYTE data[1024];
            DWORD size = sizeof(data);
            DWORD type = REG_NONE;
            if (RegEnumValueW(key, index, name, &nameLength, nullptr, &type, data, &size) != ERROR_SUCCESS)
                break;
            m_saved.push_back({std::wstring(name, nameLength), type, std::vector<BYTE>(data, data + size)});
        }
        RegCloseKey(key);
    }
}

ScopedAirplaneMode::~ScopedAirplaneMode()
{
    Remove();
    if (m_existed) {
        HKEY key = nullptr;
        if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, kAirplaneModeKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                            nullptr) == ERROR_SUCCESS) {
            for (const SavedValue& value : m_saved)
                RegSetValueExW(key, value.name.c_str(), 0, value.type, value.data.data(),
                               static_cast<DWORD>(value.data.size()));
            RegCloseKey(key);
        }
    } else if (!m_parentExisted) {
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, kRadioManagementKey);
    }
}

void ScopedAirplaneMode::Set(bool on)
{
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, kAirplaneModeKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) !=
        ERROR_SUCCESS)
        return;
    const DWORD value = on ? 1 : 0;
    RegSetValueExW(key, nullptr, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
    RegCloseKey(key);
}

void ScopedAirplaneMode::Remove() { RegDeleteKeyW(HKEY_LOCAL_MACHINE, kAirplaneModeKey); }

std::wstring ScopedPowerStatus::Stored(const wchar_t* key)
{
    wchar_t data[64] = {};
    DWORD size = sizeof(data);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key, kPowerStatusValue, RRF_RT_REG_SZ, nullptr, data, &size) != ERROR_SUCCESS)
        return L"<missing>";
    return data;
}

void ScopedPowerStatus::Store(const wchar_t* key, const wchar_t* text)
{
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, kPowerStatusValue, REG_SZ, text,
                    static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t)));
}

void ScopedPowerStatus::Clean()
{
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, kWlanPowerStatusKey);
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, kWwanPowerStatusKey);
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, kProductKey);
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QX");  // only when nothing else is in it
}

}  // namespace fakes
