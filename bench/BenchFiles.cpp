#include "BenchFiles.h"

#include "fakes/LogFiles.h"
#include "platform/UniqueHandle.h"

#include <windows.h>

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

}  // namespace

std::vector<std::wstring> LogFilesOf(const std::wstring& stem)
{
    std::vector<std::wstring> names = fakes::LogFileNames(stem);  // sorted
    names.erase(
        std::remove_if(names.begin(), names.end(), [&](const std::wstring& name) { return !IsLogFileOf(name, stem); }),
        names.end());
    return names;
}

void DeleteLogFilesOf(const std::wstring& stem)
{
    for (const std::wstring& name : LogFilesOf(stem)) {
        const std::wstring path = fakes::LogPath(name);
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileW(path.c_str());
    }
}

size_t CountLines(const std::wstring& path)
{
    os::UniqueFileHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
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
        lines += CountLines(fakes::LogPath(name));
    return lines;
}

}  // namespace bench
