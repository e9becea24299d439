#include "explain/LogFiles.h"

#include "platform/Api.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <cwctype>
#include <utility>

namespace diag {

namespace {

constexpr wchar_t kProfileListSystem[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\S-1-5-18";
constexpr wchar_t kLogFolder[] = L"zvrLog";

bool EqualsIgnoringCase(const std::wstring& a, const std::wstring& b)
{
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](wchar_t x, wchar_t y) { return towlower(x) == towlower(y); });
}

// The number of a rotated file's name ("Tessarine_0012.log": 12), or -1.
long RotationNumber(const std::wstring& name)
{
    const std::wstring prefix = std::wstring(kServiceLogName) + L"_";
    const std::wstring suffix = L".log";
    if (name.size() <= prefix.size() + suffix.size())
        return -1;
    if (!EqualsIgnoringCase(name.substr(0, prefix.size()), prefix) ||
        !EqualsIgnoringCase(name.substr(name.size() - suffix.size()), suffix))
        return -1;
    const std::wstring digits = name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
    if (digits.size() > 9 ||
        !std::all_of(digits.begin(), digits.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; }))
        return -1;
    return std::stol(digits);
}

}  // namespace

std::wstring SystemProfileLogFolder()
{
    HKEY key = nullptr;
    if (os::api().RegOpenKeyExW(HKEY_LOCAL_MACHINE, kProfileListSystem, 0, KEY_READ | KEY_WOW64_64KEY, &key) !=
        ERROR_SUCCESS)
        return {};
    wchar_t value[MAX_PATH] = {};
    DWORD size = sizeof(value) - sizeof(wchar_t);
    DWORD type = 0;
    const LONG read = RegQueryValueExW(key, L"ProfileImagePath", nullptr, &type, reinterpret_cast<BYTE*>(value), &size);
    RegCloseKey(key);
    if (read != ERROR_SUCCESS || (type != REG_SZ && type != REG_EXPAND_SZ) || value[0] == L'\0')
        return {};
    wchar_t expanded[MAX_PATH] = {};
    const DWORD length = ExpandEnvironmentStringsW(value, expanded, MAX_PATH);
    if (length == 0 || length > MAX_PATH)
        return {};
    return std::wstring(expanded) + L"\\AppData\\Roaming\\" + kLogFolder;
}

std::vector<std::wstring> ServiceLogFolders()
{
    std::vector<std::wstring> folders;
    const std::wstring system = SystemProfileLogFolder();
    if (!system.empty())
        folders.push_back(system);
    wchar_t appData[MAX_PATH] = {};
    if (SUCCEEDED(os::api().SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData))) {
        const std::wstring own = std::wstring(appData) + L"\\" + kLogFolder;
        if (folders.empty() || !EqualsIgnoringCase(folders.front(), own))
            folders.push_back(own);
    }
    return folders;
}

std::vector<std::wstring> OrderLogFileNames(const std::vector<std::wstring>& names)
{
    std::vector<std::pair<long, std::wstring>> rotated;
    std::wstring current;
    const std::wstring currentName = std::wstring(kServiceLogName) + L".log";
    for (const std::wstring& name : names) {
        if (EqualsIgnoringCase(name, currentName)) {
            current = name;
            continue;
        }
        const long number = RotationNumber(name);
        if (number >= 0)
            rotated.emplace_back(number, name);
    }
    std::sort(rotated.begin(), rotated.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    std::vector<std::wstring> ordered;
    for (const auto& file : rotated)
        ordered.push_back(file.second);
    if (!current.empty())
        ordered.push_back(current);
    return ordered;
}

std::vector<std::wstring> LogFilesIn(const std::wstring& folder)
{
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder + L"\\" + kServiceLogName + L"*.log").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return {};
    do {
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
            names.emplace_back(found.cFileName);
    } while (FindNextFileW(search, &found));
    FindClose(search);
    std::vector<std::wstring> files;
    for (const std::wstring& name : OrderLogFileNames(names))
        files.push_back(folder + L"\\" + name);
    return files;
}

ServiceLog FindServiceLog()
{
    ServiceLog log;
    log.looked = ServiceLogFolders();
    for (const std::wstring& folder : log.looked) {
        log.files = LogFilesIn(folder);
        if (!log.files.empty()) {
            log.folder = folder;
            return log;
        }
    }
    return log;
}

}  // namespace diag
