#include "Machine.h"

#include <msi.h>
#include <shlobj.h>

namespace msi {

std::vector<std::wstring> ServicesNamed(const wchar_t* displayName)
{
    std::vector<std::wstring> names;
    SC_HANDLE scm = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ENUMERATE_SERVICE);
    if (!scm)
        return names;
    DWORD needed = 0;
    DWORD count = 0;
    EnumServicesStatusExW(scm, SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL, nullptr, 0, &needed, &count,
                          nullptr, nullptr);
    std::vector<BYTE> buffer(needed);
    if (EnumServicesStatusExW(scm, SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL, buffer.data(), needed,
                              &needed, &count, nullptr, nullptr)) {
        const auto* services = reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(buffer.data());
        for (DWORD i = 0; i < count; ++i)
            if (services[i].lpDisplayName && std::wstring(services[i].lpDisplayName) == displayName)
                names.push_back(services[i].lpServiceName);
    }
    CloseServiceHandle(scm);
    return names;
}

bool KeyExists(const std::wstring& key)
{
    HKEY handle = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &handle) != ERROR_SUCCESS)
        return false;
    RegCloseKey(handle);
    return true;
}

std::wstring Text(const std::wstring& key, const wchar_t* name)
{
    wchar_t data[1024] = {};
    DWORD size = sizeof(data);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name,
                     RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_RT_REG_MULTI_SZ | RRF_NOEXPAND, nullptr, data,
                     &size) != ERROR_SUCCESS)
        return L"<missing>";
    std::wstring text(data, size / sizeof(wchar_t));
    while (!text.empty() && text.back() == L'\0')
        text.pop_back();
    return text;
}

DWORD Number(const std::wstring& key, const wchar_t* name)
{
    DWORD value = ~0u;
    DWORD size = sizeof(value);
    RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_DWORD, nullptr, &value, &size);
    return value;
}

std::wstring ProgramFiles()
{
    wchar_t path[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, CSIDL_PROGRAM_FILES, nullptr, SHGFP_TYPE_CURRENT, path);
    return path;
}

bool FileExists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

std::wstring FileVersion(const std::wstring& path)
{
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
    if (size == 0)
        return L"";
    std::vector<BYTE> block(size);
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (!GetFileVersionInfoW(path.c_str(), 0, size, block.data()) ||
        !VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &length) || info == nullptr)
        return L"";
    return std::to_wstring(HIWORD(info->dwFileVersionMS)) + L"." + std::to_wstring(LOWORD(info->dwFileVersionMS)) +
           L"." + std::to_wstring(HIWORD(info->dwFileVersionLS)) + L"." +
           std::to_wstring(LOWORD(info->dwFileVersionLS));
}

std::vector<Product> RelatedProducts(const wchar_t* upgradeCode)
{
    std::vector<Product> products;
    wchar_t code[39] = {};
    for (DWORD index = 0; MsiEnumRelatedProductsW(upgradeCode, 0, index, code) == ERROR_SUCCESS; ++index) {
        wchar_t version[64] = {};
        DWORD length = 64;
        if (MsiGetProductInfoW(code, INSTALLPROPERTY_VERSIONSTRING, version, &length) != ERROR_SUCCESS)
            version[0] = L'\0';
        products.push_back({code, version});
    }
    return products;
}

}  // namespace msi
