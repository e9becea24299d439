#include "ProcessRunner.h"

#include <string>
#include <vector>

namespace e2e {

ProcessResult RunProcess(const std::wstring& commandLine)
{
    ProcessResult result;
    SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &inheritable, 0))
        return result;
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writeEnd;
    startup.hStdError = writeEnd;
    startup.hStdInput = nullptr;
    PROCESS_INFORMATION process = {};
    std::wstring mutableLine = commandLine;
    const BOOL started = CreateProcessW(nullptr, &mutableLine[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                        &startup, &process);
    CloseHandle(writeEnd);
    if (started) {
        std::string bytes;
        char buffer[4096];
        DWORD read = 0;
        while (ReadFile(readEnd, buffer, sizeof(buffer), &read, nullptr) && read > 0)
            bytes.append(buffer, read);
        WaitForSingleObject(process.hProcess, INFINITE);
        GetExitCodeProcess(process.hProcess, &result.exitCode);
        CloseHandle(process.hProcess);
        CloseHandle(process.hThread);
        // Console text is in the ANSI code page; the product prints ASCII only.
        for (char c : bytes)
            if (c != '\r')
                result.output.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
    }
    CloseHandle(readEnd);
    return result;
}

std::wstring ProductPath()
{
    std::wstring path = L"Z:";
    for (const char* c = TESSARINE_EXE_PATH; *c; ++c)
        path.push_back(*c == '/' ? L'\\' : static_cast<wchar_t>(*c));
    return path;
}

ProcessResult RunProduct(const std::wstring& arguments)
{
    std::wstring commandLine = L"\"" + ProductPath() + L"\"";
    if (!arguments.empty())
        commandLine += L" " + arguments;
    return RunProcess(commandLine);
}

} // namespace e2e
