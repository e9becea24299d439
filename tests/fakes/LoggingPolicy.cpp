#include "fakes/LoggingPolicy.h"

#include "logging/PolicyKeys.h"

#include <stdexcept>

namespace fakes {

namespace {

constexpr wchar_t kRoot[] = L"Software\\Policies\\QX";

bool KeyExists(const wchar_t* path)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

} // namespace

LoggingPolicy::LoggingPolicy(std::wstring module)
    : module_(module.empty() ? QX::Shared::ExecutableBaseName() : std::move(module)), createdRoot_(!KeyExists(kRoot))
{
}

LoggingPolicy::~LoggingPolicy()
{
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, createdRoot_ ? kRoot : ProductKeyPath().c_str());
    if (createdRoot_)
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, kRoot);
}

std::wstring LoggingPolicy::KeyPath(Key key) const
{
    return key == Key::Product ? ProductKeyPath() : ProductKeyPath() + L"\\" + module_;
}

void LoggingPolicy::SetBytes(Key key, const wchar_t* name, const void* data, DWORD size, DWORD type)
{
    HKEY handle = nullptr;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, KeyPath(key).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &handle, nullptr) !=
        ERROR_SUCCESS)
        throw std::runtime_error("cannot create the policy key");
    const LSTATUS status = RegSetValueExW(handle, name, 0, type, static_cast<const BYTE*>(data), size);
    RegCloseKey(handle);
    if (status != ERROR_SUCCESS)
        throw std::runtime_error("cannot set the policy value");
}

void LoggingPolicy::SetText(Key key, const wchar_t* name, const std::wstring& value, DWORD type)
{
    SetBytes(key, name, value.c_str(), static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)), type);
}

void LoggingPolicy::SetNumber(Key key, const wchar_t* name, DWORD value, DWORD type)
{
    SetBytes(key, name, &value, sizeof(value), type);
}

} // namespace fakes
