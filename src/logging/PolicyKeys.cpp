#include "logging/PolicyKeys.h"

#include <memory>
#include <vector>

namespace QX::Shared {

namespace {

constexpr wchar_t kPolicyRoot[] = L"Software\\Policies\\QX\\";

std::wstring ExecutablePath(DWORD capacity)
{
    std::vector<wchar_t> path(capacity + 1, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), capacity);
    return std::wstring(path.data(), length < capacity ? length : capacity);
}

std::wstring VersionString(const std::vector<BYTE>& info, const wchar_t* subBlock)
{
    void* value = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(info.data(), subBlock, &value, &length) || value == nullptr || length == 0)
        return std::wstring();
    return std::wstring(static_cast<const wchar_t*>(value));
}

std::wstring ProductNameOfExecutable()
{
    const std::wstring path = ExecutablePath(MAX_PATH);
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
    if (size == 0)
        return std::wstring();
    std::vector<BYTE> info(size);
    if (!GetFileVersionInfoW(path.c_str(), 0, size, info.data()))
        return std::wstring();
    std::wstring name = VersionString(info, L"\\StringFileInfo\\040904E4\\ProductName");
    if (name.empty())
        name = VersionString(info, L"\\StringFileInfo\\040904B0\\ProductName");
    return name;
}

bool ReadText(HKEY key, const wchar_t* name, size_t maxCharacters, std::wstring& text)
{
    if (key == nullptr)
        return false;
    // Room for the longest accepted text and its terminator, plus one
    // character that stays zero, so unterminated data still ends.
    std::vector<wchar_t> buffer(maxCharacters + 2, L'\0');
    DWORD type = 0;
    DWORD bytes = static_cast<DWORD>((maxCharacters + 1) * sizeof(wchar_t));
    if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &bytes) != ERROR_SUCCESS)
        return false;
    if (type != REG_SZ)
        return false;
    std::wstring read(buffer.data());
    if (read.empty() || read.size() > maxCharacters)
        return false;
    text = std::move(read);
    return true;
}

bool ReadBytes(HKEY key, const wchar_t* name, void* buffer, DWORD size)
{
    if (key == nullptr)
        return false;
    DWORD bytes = size;
    return RegQueryValueExW(key, name, nullptr, nullptr, static_cast<BYTE*>(buffer), &bytes) == ERROR_SUCCESS;
}

bool ReadNumber(HKEY key, const wchar_t* name, DWORD& number)
{
    if (key == nullptr)
        return false;
    DWORD value = 0;
    DWORD bytes = sizeof(value);
    if (RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &bytes) != ERROR_SUCCESS ||
        bytes != sizeof(value))
        return false;
    number = value;
    return true;
}

}  // namespace

void OpenPolicyKeys(const wchar_t* productName, PolicyKeys& keys)
{
    OpenPolicyKeysFor(productName, ExecutableBaseName(), keys);
}

void OpenPolicyKeysFor(const wchar_t* productName, const std::wstring& moduleName, PolicyKeys& keys)
{
    keys.module.reset();
    keys.product.reset();

    const std::wstring productPath = ProductKeyPath(productName);
    if (productPath.empty())
        return;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, productPath.c_str(), 0, KEY_READ, keys.product.put()) != ERROR_SUCCESS) {
        keys.product.release();
        return;
    }
    if (RegOpenKeyExW(keys.product.get(), moduleName.c_str(), 0, KEY_READ, keys.module.put()) != ERROR_SUCCESS)
        keys.module.release();
}

std::wstring ProductKeyPath(const wchar_t* productName)
{
    const std::wstring product =
        (productName != nullptr && productName[0] != L'\0') ? std::wstring(productName) : ProductNameOfExecutable();
    return product.empty() ? std::wstring() : kPolicyRoot + product;
}

std::wstring ExecutableBaseName()
{
    std::wstring path = ExecutablePath(520);
    const size_t dot = path.rfind(L'.');
    if (dot == std::wstring::npos)
        return std::wstring();
    path.resize(dot);
    const size_t slash = path.rfind(L'\\');
    if (slash == std::wstring::npos)
        return std::wstring();
    return path.substr(slash + 1);
}

bool ReadPolicyText(const PolicyKeys& keys, const wchar_t* name, size_t maxCharacters, std::wstring& text)
{
    return ReadText(keys.module.get(), name, maxCharacters, text) ||
           ReadText(keys.product.get(), name, maxCharacters, text);
}

bool ReadPolicyBytes(const PolicyKeys& keys, const wchar_t* name, void* buffer, DWORD size)
{
    return ReadBytes(keys.module.get(), name, buffer, size) || ReadBytes(keys.product.get(), name, buffer, size);
}

bool ReadPolicyNumber(const PolicyKeys& keys, const wchar_t* name, bool zeroIsAbsent, DWORD& number)
{
    DWORD value = 0;
    if (ReadNumber(keys.module.get(), name, value) && !(zeroIsAbsent && value == 0)) {
        number = value;
        return true;
    }
    if (ReadNumber(keys.product.get(), name, value) && !(zeroIsAbsent && value == 0)) {
        number = value;
        return true;
    }
    return false;
}

}  // namespace QX::Shared
