// The benchmark's files in the log folder (%APPDATA%\zvrLog, where the file
// listener writes; fakes::LogFolder and fakes::LogPath name it): a log file
// "<stem>.log" and its older files "<stem>_0001.log" ... left by rotation.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

// "<stem>.log" and "<stem>_NNNN.log" of the log folder, sorted.
std::vector<std::wstring> LogFilesOf(const std::wstring& stem);
// Deletes every file LogFilesOf(stem) lists.
void DeleteLogFilesOf(const std::wstring& stem);
// The line ends ('\n') in one file; 0 when it cannot be read.
size_t CountLines(const std::wstring& path);
// The lines of "<stem>.log" and its older files together.
size_t CountLinesOf(const std::wstring& stem);

}  // namespace bench
