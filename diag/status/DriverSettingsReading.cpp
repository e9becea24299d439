// The Wi-Fi adapters' driver settings that act on a wired link ("Disable
// Upon Wired Connect" and the like), from the network adapter class key.
//
// What is looked for: each subkey of the class key ("0000", "0001", ...) is
// an adapter; it is a Wi-Fi adapter when its "*IfType" is 71 (IEEE 802.11)
// or its "*PhysicalMediaType" is 9 (native 802.11). Each of its advanced
// settings is a subkey of "Ndi\Params" named after the setting's keyword,
// whose "ParamDesc" is the label the adapter's properties show. A setting
// whose label holds "wired" or "Ethernet" (any letter case) is reported,
// with the value in force: the adapter key's own value of that keyword, or
// else the setting's "default"; and the value's name from the setting's
// "enum" subkey, where it has one. A value other than empty or "0" counts
// as active: the driver itself acts when a wire comes.
#include "status/Readings.h"

#include "platform/UniqueHandle.h"
#include "status/RegistryValues.h"

#include <algorithm>
#include <cwctype>

namespace diag {
namespace {

constexpr DWORD kWifiIfType = 71;
constexpr DWORD kNative80211Medium = 9;
constexpr const wchar_t* kWiredWords[] = {L"wired", L"ethernet"};
// Key names are at most 255 characters.
constexpr DWORD kKeyNameCapacity = 256;

std::vector<std::wstring> Subkeys(HKEY key)
{
    std::vector<std::wstring> names;
    wchar_t name[kKeyNameCapacity];
    for (DWORD index = 0;; ++index) {
        DWORD length = kKeyNameCapacity;
        if (RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        names.emplace_back(name, length);
    }
    return names;
}

std::wstring Text(HKEY key, const wchar_t* name)
{
    const auto value = ReadValue(key, name);
    return value ? value->data : std::wstring();
}

bool IsWifiAdapter(HKEY adapter)
{
    const auto ifType = ReadValue(adapter, L"*IfType");
    const auto medium = ReadValue(adapter, L"*PhysicalMediaType");
    return (ifType && ifType->isNumber && ifType->number == kWifiIfType) ||
           (medium && medium->isNumber && medium->number == kNative80211Medium);
}

bool SpeaksOfWire(std::wstring label)
{
    std::transform(label.begin(), label.end(), label.begin(), [](wchar_t c) { return std::towlower(c); });
    return std::any_of(std::begin(kWiredWords), std::end(kWiredWords),
                       [&label](const wchar_t* word) { return label.find(word) != std::wstring::npos; });
}

void ReadAdapter(HKEY classKey, const std::wstring& subkey, std::vector<DriverSetting>& found)
{
    os::UniqueRegKey adapter;
    if (RegOpenKeyExW(classKey, subkey.c_str(), 0, KEY_READ, adapter.put()) != ERROR_SUCCESS ||
        !IsWifiAdapter(adapter.get()))
        return;
    os::UniqueRegKey params;
    if (RegOpenKeyExW(adapter.get(), L"Ndi\\Params", 0, KEY_READ, params.put()) != ERROR_SUCCESS)
        return;
    for (const std::wstring& keyword : Subkeys(params.get())) {
        os::UniqueRegKey param;
        if (RegOpenKeyExW(params.get(), keyword.c_str(), 0, KEY_READ, param.put()) != ERROR_SUCCESS)
            continue;
        DriverSetting setting;
        setting.label = Text(param.get(), L"ParamDesc");
        if (!SpeaksOfWire(setting.label))
            continue;
        setting.adapterKey = subkey;
        setting.adapter = Text(adapter.get(), L"DriverDesc");
        setting.keyword = keyword;
        const auto own = ReadValue(adapter.get(), keyword.c_str());
        setting.value = own ? own->data : Text(param.get(), L"default");
        os::UniqueRegKey names;
        if (!setting.value.empty() && RegOpenKeyExW(param.get(), L"enum", 0, KEY_READ, names.put()) == ERROR_SUCCESS)
            setting.valueLabel = Text(names.get(), setting.value.c_str());
        setting.active = !setting.value.empty() && setting.value != L"0";
        found.push_back(setting);
    }
}

}  // namespace

std::vector<DriverSetting> ReadWifiDriverSettings(HKEY root, const std::wstring& path)
{
    std::vector<DriverSetting> found;
    os::UniqueRegKey classKey;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, classKey.put()) != ERROR_SUCCESS)
        return found;
    // "Properties" and any other subkey that is no adapter fails to open
    // or is no Wi-Fi adapter, and is passed over.
    for (const std::wstring& subkey : Subkeys(classKey.get()))
        ReadAdapter(classKey.get(), subkey, found);
    return found;
}

}  // namespace diag
