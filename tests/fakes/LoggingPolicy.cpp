#include "fakes/LoggingPolicy.h"

#include "logging/PolicyKeys.h"
#include "platform/UniqueHandle.h"

#include <stdexcept>

namespace fakes {

namespace {

constexpr wchar_t kRoot[] = L"Software\\Policies\\QX";

bool KeyExists(const wchar_t* path)
{
    os::UniqueRegKey key;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, key.put()) == ERROR_SUCCESS;
}

}  // namespace

LoggingPolicy::LoggingPolicy(std::wstring module)
    : m_module(module.empty() ? QX::Shared::ExecutableBaseName() : std::move(module)), m_createdRoot(!KeyExists(kRoot))
{
}

LoggingPolicy::~LoggingPolicy()
{
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, m_createdRoot ? kRoot : ProductKeyPath().c_str());
    if (m_createdRoot)
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, kRoot);
}

std::wstring LoggingPolicy::KeyPath(Key key) const
{
    return key == Key::Product ? ProductKeyPath() : ProductKeyPath() + L"\\" + m_module;
}

void LoggingPolicy::SetBytes(Key key, const wchar_t* name, const void* data, DWORD size, DWORD type)
{
    os::UniqueRegKey handle;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, KeyPath(key).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, handle.put(),
                        nullptr) != ERROR_SUCCESS)
        throw std::runtime_error("cannot create the policy key");
    if (RegSetValueExW(handle.get(), name, 0, type, static_cast<const BYTE*>(data), size) != ERROR_SUCCESS)
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

}  // namespace fakes
