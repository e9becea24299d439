// LoggingPolicy: writes logging policy values into the real registry for the
// life of the object, under HKLM\Software\Policies\QX\Tessarine (the product
// key of every test executable) and its module subkey, and removes what it
// created when it ends.
#pragma once

#include <windows.h>

#include <string>

namespace fakes {

class LoggingPolicy {
public:
    enum class Key { Product, Module };

    // `module` is the module key's name: the test executable's by default.
    explicit LoggingPolicy(std::wstring module = std::wstring());
    ~LoggingPolicy();
    LoggingPolicy(const LoggingPolicy&) = delete;
    LoggingPolicy& operator=(const LoggingPolicy&) = delete;

    void SetText(Key key, const wchar_t* name, const std::wstring& value, DWORD type = REG_SZ);
    void SetNumber(Key key, const wchar_t* name, DWORD value, DWORD type = REG_DWORD);
    void SetBytes(Key key, const wchar_t* name, const void* data, DWORD size, DWORD type);

    static std::wstring ProductKeyPath() { return L"Software\\Policies\\QX\\Tessarine"; }

private:
    std::wstring KeyPath(Key key) const;

    std::wstring m_module;
    bool m_createdRoot;
};

}  // namespace fakes
