#include "BenchFiles.h"

#include "platform/UniqueHandle.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <cwctype>

namespace bench {

namespace {

// "<stem>.log" or "<stem>_" followed by digits and ".log".
bool IsLogFileOf(const std::wstring& name, const std::wstring& stem)
{
    if (name.compare(0, stem.size(), stem) != 0)
        return false;
    const std::wstring rest = name.substr(stem.size());
    if (rest == L".log")
        return true;
    if (rest.size() < 6 || rest[0] != L'_' || rest.compare(rest.size() - 4, 4, L".log") != 0)
        return false;
    return std::all_of(rest.begin() + 1, rest.end() - 4, [](wchar_t c) { return std::iswdigit(c) != 0; });
}

} // namespace

std::wstring LogFolder()
{
    wchar_t appData[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, CSIDL_APPDATA | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, appData);
    const std::wstring folder = std::wstring(appData) + L"\\zvrLog";
    CreateDirectoryW(folder.c_str(), nullptr);
    return folder;
}

std::wstring LogPath(const std::wstring& name) { return LogFolder() + L"\\" + name; }

std::vector<std::wstring> LogFilesOf(const std::wstring& stem)
{
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW found;
    os::UniqueFindHandle search(FindFirstFileW((LogFolder() + L"\\" + stem + L"*.log").c_str(), &found));
    if (!search)
        return names;
    do {
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && IsLogFileOf(found.cFileName, stem))
            names.push_back(found.cFileName);
    } while (FindNextFileW(search.get(), &found));
    std::sort(names.begin(), names.end());
    return names;
}

void DeleteLogFilesOf(const std::wstring& stem)
{
    for (const std::wstring& name : LogFilesOf(stem)) {
        const std::wstring path = LogPath(name);
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileW(path.c_str());
    }
}

size_t CountLines(const std::wstring& path)
{
    os::UniqueFileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                          nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    if (!file)
        return 0;
    std::vector<char> buffer(1 << 20);
    size_t lines = 0;
    DWORD read = 0;
    while (ReadFile(file.get(), buffer.data(), static_cast<DWORD>(buffer.size()), &read, nullptr) && read > 0)
        lines += static_cast<size_t>(std::count(buffer.data(), buffer.data() + read, '\n'));
    return lines;
}

size_t CountLinesOf(const std::wstring& stem)
{
    size_t lines = 0;
    for (const std::wstring& name : LogFilesOf(stem))
        lines += CountLines(LogPath(name));
    return lines;
}

} // namespace bench
