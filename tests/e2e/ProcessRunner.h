// Runs a program of the Wine prefix to its end and captures what it writes
// to standard output and standard error, with CR LF turned into LF.
#pragma once

#include <windows.h>

#include <string>

namespace e2e {

struct ProcessResult {
    bool started = false;
    bool timedOut = false;  // ended by the runner after the time limit
    DWORD exitCode = ~0u;
    std::wstring output;
};

// `commandLine` as CreateProcessW takes it; a program still running after
// `timeoutMilliseconds` is terminated.
ProcessResult RunProcess(const std::wstring& commandLine, DWORD timeoutMilliseconds = 60000);

// The built Tessarine.exe as a Windows path: "Z:" and the build tree's path
// with backslashes.
std::wstring ProductPath();
// The built Tessarine.exe with `arguments` (none when empty).
ProcessResult RunProduct(const std::wstring& arguments);

}  // namespace e2e
