#include "logging/LogFile.h"

#include "platform/Api.h"
#include "platform/Format.h"

#include <io.h>

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace QX::Shared {

namespace {

constexpr size_t kPathCapacity = MAX_PATH;  // characters, terminator included
constexpr wchar_t kOpenMode[] = L"a+,ccs=UTF-8";
constexpr int kOlderFilesKept = 9;

// The size limit is kept as a signed 32-bit number of kilobytes and all
// arithmetic on it wraps like 32-bit integers do.
int32_t Times(int32_t value, uint32_t factor) { return static_cast<int32_t>(static_cast<uint32_t>(value) * factor); }

uint64_t WriteTime(const WIN32_FIND_DATAW& found)
{
    return (static_cast<uint64_t>(found.ftLastWriteTime.dwHighDateTime) << 32) | found.ftLastWriteTime.dwLowDateTime;
}

}  // namespace

uint32_t RotationLimitBytes(int32_t maxSizeKilobytes)
{
    return maxSizeKilobytes <= 0 ? 0 : static_cast<uint32_t>(Times(maxSizeKilobytes, 1024));
}

void CqxLogFile::SetMaxSize(int32_t kilobytes)
{
    m_maxSize = kilobytes;
    m_writeCounter = Times(m_maxSize, 10) + 1;  // the first record written checks the size
}

bool CqxLogFile::OpenStream()
{
    m_file.reset(os::api()._wfopen(m_path.c_str(), kOpenMode));
    return static_cast<bool>(m_file);
}

bool CqxLogFile::Acquire()
{
    if (!m_mutex)
        return false;
    DWORD waited = WaitForSingleObject(m_mutex.get(), INFINITE);
    if (waited == WAIT_ABANDONED) {
        // Waited for once more: the mutex is then owned twice, released once
        // by ReleaseFile, and so stays with this thread.
        waited = WaitForSingleObject(m_mutex.get(), INFINITE);
    }
    if (waited != WAIT_OBJECT_0)
        return false;
    m_file.reset();
    if (!OpenStream()) {
        ReleaseMutex(m_mutex.get());
        return false;
    }
    return true;
}

void CqxLogFile::Release()
{
    if (!m_file || !m_mutex)
        return;
    fflush(m_file.get());
    m_file.reset();  // closed before the mutex is released
    ReleaseMutex(m_mutex.get());
}

size_t CqxLogFile::WriteRecord(const CqxLogListener::LogData& record)
{
    if (!m_file)
        return 0;
    const int32_t written = m_writeCounter;
    m_writeCounter = Times(written, 1) + 1;
    if (written > Times(m_maxSize, 10)) {
        Rotate(false);
        m_writeCounter /= 2;  // the next check comes about maxSize * 5 records later
    }
    const std::wstring& line = record.GetLine();
    size_t items = 0;
    if (fputws(line.c_str(), m_file.get()) >= 0)
        items += line.size();
    if (fputwc(L'\n', m_file.get()) != WEOF)  // the text mode writes CR LF
        items += 1;
    return items;
}

bool CqxLogFile::Rotate(bool force)
{
    WIN32_FILE_ATTRIBUTE_DATA attributes;
    if (_waccess(m_path.c_str(), 0) != 0 || !GetFileAttributesExW(m_path.c_str(), GetFileExInfoStandard, &attributes))
        return false;
    if (!force) {
        if (m_maxSize <= 0)
            return false;
        if (attributes.nFileSizeHigh == 0 && attributes.nFileSizeLow <= RotationLimitBytes(m_maxSize))
            return false;
    }

    wchar_t fullPath[kPathCapacity] = {};
    GetFullPathNameW(m_path.c_str(), kPathCapacity, fullPath, nullptr);
    wchar_t drive[_MAX_DRIVE] = {}, directory[_MAX_DIR] = {}, name[_MAX_FNAME] = {}, extension[_MAX_EXT] = {};
    _wsplitpath_s(fullPath, drive, _MAX_DRIVE, directory, _MAX_DIR, name, _MAX_FNAME, extension, _MAX_EXT);
    const std::wstring folder = std::wstring(drive) + directory;
    const std::wstring base = folder + name;

    // The older files, oldest first; files written at the same moment count once.
    std::map<uint64_t, std::wstring> older;
    WIN32_FIND_DATAW found;
    os::UniqueFindHandle search(FindFirstFileW((base + L"_*.log").c_str(), &found));
    if (search) {
        do {
            older.emplace(WriteTime(found), found.cFileName);
        } while (FindNextFileW(search.get(), &found));
    }

    // With exactly nine the oldest goes; with more, none does.
    if (older.size() == kOlderFilesKept) {
        DeleteFileW((folder + older.begin()->second).c_str());
        older.erase(older.begin());
    }

    // Each older file moves up one number, through a temporary name so that
    // no move lands on a file not yet moved.
    std::vector<std::pair<std::wstring, std::wstring>> moves;  // temporary name, target
    int n = static_cast<int>(older.size()) + 1;
    for (const auto& entry : older) {
        const std::wstring target = os::FormatString(L"%s_%04d.log", base.c_str(), n);
        wchar_t temporary[kPathCapacity] = {};
        GetTempFileNameW(folder.c_str(), L"_log_", static_cast<UINT>(n % 256), temporary);
        DeleteFileW(temporary);
        if (!MoveFileW((folder + entry.second).c_str(), temporary)) {
            moves.clear();  // files already moved keep their temporary names
            break;
        }
        moves.emplace_back(temporary, target);
        --n;
    }
    for (const auto& move : moves)
        MoveFileW(move.first.c_str(), move.second.c_str());

    // The current file is moved closed, and opened again under its name.
    const bool wasOpen = static_cast<bool>(m_file);
    m_file.reset();
    MoveFileW(m_path.c_str(), os::FormatString(L"%s_0001.log", base.c_str()).c_str());
    if (wasOpen)
        OpenStream();
    return false;
}

}  // namespace QX::Shared
