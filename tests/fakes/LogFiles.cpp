#include "fakes/LogFiles.h"

#include "platform/UniqueHandle.h"

#include <shlobj.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fakes {

std::wstring LogFolder()
{
    wchar_t appData[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, CSIDL_APPDATA | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, appData);
    const std::wstring folder = std::wstring(appData) + L"\\zvrLog";
    CreateDirectoryW(folder.c_str(), nullptr);
    return folder;
}

std::wstring LogPath(const std::wstring& name) { return LogFolder() + L"\\" + name; }

bool FileExists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

std::string ReadBytes(const std::wstring& path)
{
    std::ifstream in(path.c_str(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteBytes(const std::wstring& path, const std::string& bytes)
{
    std::ofstream out(path.c_str(), std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out)
        throw std::runtime_error("cannot write the file");
}

std::vector<std::wstring> ReadLines(const std::wstring& path)
{
    std::string bytes = ReadBytes(path);
    if (bytes.compare(0, 3, "\xEF\xBB\xBF") == 0)
        bytes.erase(0, 3);
    std::wstring text;
    if (!bytes.empty()) {
        const int length = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
        text.resize(static_cast<size_t>(length));
        MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), &text[0], length);
    }
    std::vector<std::wstring> lines;
    size_t start = 0;
    for (size_t end; (end = text.find(L"\r\n", start)) != std::wstring::npos; start = end + 2)
        lines.push_back(text.substr(start, end - start));
    if (start < text.size())
        lines.push_back(text.substr(start));
    return lines;
}

void SetWriteTime(const std::wstring& path, int minutesAgo)
{
    const os::UniqueFileHandle file(CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                                nullptr, OPEN_EXISTING, 0, nullptr));
    if (!file)
        throw std::runtime_error("cannot open the file");
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    ULARGE_INTEGER time;
    time.LowPart = now.dwLowDateTime;
    time.HighPart = now.dwHighDateTime;
    time.QuadPart -= static_cast<ULONGLONG>(minutesAgo) * 60ull * 10000000ull;
    FILETIME written;
    written.dwLowDateTime = time.LowPart;
    written.dwHighDateTime = time.HighPart;
    SetFileTime(file.get(), nullptr, nullptr, &written);
}

std::vector<std::wstring> LogFileNames(const std::wstring& prefix)
{
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW found;
    const os::UniqueFindHandle search(FindFirstFileW((LogFolder() + L"\\*").c_str(), &found));
    if (!search)
        return names;
    do {
        const std::wstring name = found.cFileName;
        if (name.compare(0, prefix.size(), prefix) == 0 && !(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
            names.push_back(name);
    } while (FindNextFileW(search.get(), &found));
    std::sort(names.begin(), names.end());
    return names;
}

void DeleteLogFiles(const std::wstring& prefix)
{
    for (const std::wstring& name : LogFileNames(prefix)) {
        const std::wstring path = LogPath(name);
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileW(path.c_str());
    }
}

}  // namespace fakes
