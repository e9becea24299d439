#include "status/RegistryValues.h"

#include "platform/Format.h"

#include <cstring>

namespace diag {
namespace {

// Value names may be 16383 characters long.
constexpr DWORD kNameCapacity = 16384;

RegistryValue Describe(std::wstring name, DWORD type, const std::vector<BYTE>& data)
{
    RegistryValue value;
    value.name = std::move(name);
    value.type = type;
    switch (type) {
    case REG_SZ:
    case REG_EXPAND_SZ: {
        std::wstring text(reinterpret_cast<const wchar_t*>(data.data()), data.size() / sizeof(wchar_t));
        value.data = text.substr(0, text.find(L'\0'));
        break;
    }
    case REG_DWORD:
        if (data.size() == sizeof(DWORD)) {
            std::memcpy(&value.number, data.data(), sizeof(DWORD));
            value.isNumber = true;
            value.data = std::to_wstring(value.number);
            break;
        }
        [[fallthrough]];
    default:
        for (BYTE byte : data)
            value.data += os::FormatString(value.data.empty() ? L"%02x" : L" %02x", byte);
        break;
    }
    return value;
}

}  // namespace

std::vector<RegistryValue> ReadValues(HKEY key)
{
    std::vector<RegistryValue> values;
    std::vector<wchar_t> name(kNameCapacity);
    for (DWORD index = 0;; ++index) {
        DWORD nameLength = kNameCapacity;
        DWORD type = 0;
        DWORD size = 0;
        if (RegEnumValueW(key, index, name.data(), &nameLength, nullptr, &type, nullptr, &size) != ERROR_SUCCESS)
            break;
        const std::wstring valueName(name.data(), nameLength);
        if (auto value = ReadValue(key, valueName.c_str()))
            values.push_back(*value);
    }
    return values;
}

std::optional<RegistryValue> ReadValue(HKEY key, const wchar_t* name)
{
    DWORD type = 0;
    DWORD size = 0;
    if (RegQueryValueExW(key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS)
        return std::nullopt;
    std::vector<BYTE> data(size);
    if (RegQueryValueExW(key, name, nullptr, &type, data.data(), &size) != ERROR_SUCCESS)
        return std::nullopt;
    data.resize(size);
    return Describe(name, type, data);
}

std::wstring RegistryTypeName(DWORD type)
{
    switch (type) {
    case REG_NONE: return L"REG_NONE";
    case REG_SZ: return L"REG_SZ";
    case REG_EXPAND_SZ: return L"REG_EXPAND_SZ";
    case REG_BINARY: return L"REG_BINARY";
    case REG_DWORD: return L"REG_DWORD";
    case REG_DWORD_BIG_ENDIAN: return L"REG_DWORD_BIG_ENDIAN";
    case REG_LINK: return L"REG_LINK";
    case REG_MULTI_SZ: return L"REG_MULTI_SZ";
    case REG_QWORD: return L"REG_QWORD";
    default: return os::FormatString(L"type %u", type);
    }
}

}  // namespace diag
