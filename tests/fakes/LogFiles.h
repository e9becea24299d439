// Helpers for tests of the log file: the log folder, whole files as lines,
// and files made with chosen contents, sizes and write times.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace fakes {

// %APPDATA%\zvrLog, created if missing.
std::wstring LogFolder();
// LogFolder() + "\" + name.
std::wstring LogPath(const std::wstring& name);

bool FileExists(const std::wstring& path);
std::string ReadBytes(const std::wstring& path);
void WriteBytes(const std::wstring& path, const std::string& bytes);
// The file decoded from UTF-8 (a leading byte-order mark dropped), split at
// CR LF; no entry for the text after the last line end if it is empty.
std::vector<std::wstring> ReadLines(const std::wstring& path);
void SetWriteTime(const std::wstring& path, int minutesAgo);
// Deletes every file of the log folder whose name starts with `prefix`.
void DeleteLogFiles(const std::wstring& prefix);
// Names of the log folder's files that start with `prefix`, sorted.
std::vector<std::wstring> LogFileNames(const std::wstring& prefix);

}  // namespace fakes
