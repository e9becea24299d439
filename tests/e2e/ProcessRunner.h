// Runs a program of the Wine prefix to its end and captures its standard
// output, with CR LF turned into LF.
#pragma once

#include <windows.h>

#include <string>

namespace e2e {

struct ProcessResult {
    DWORD exitCode = ~0u;
    std::wstring output;
};

ProcessResult RunProcess(const std::wstring& commandLine);

// The built Tessarine.exe as a Windows path.
std::wstring ProductPath();
// `arguments` given to the built Tessarine.exe.
ProcessResult RunProduct(const std::wstring& arguments);

} // namespace e2e
