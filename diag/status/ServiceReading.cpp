// The service's registration: read with the SCM's connect right and the
// service's query rights only, so that a prompt without elevation reads it
// too.
#include "status/Readings.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "platform/Format.h"
#include "platform/UniqueHandle.h"
#include "service/Utils.h"

#include <vector>

using namespace QX::Shared;

namespace diag {
namespace {

// The program's file from the registered command line: the quoted part, or
// the whole line when it is not quoted.
std::wstring ProgramPath(const std::wstring& commandLine)
{
    if (!commandLine.empty() && commandLine[0] == L'"') {
        const size_t closing = commandLine.find(L'"', 1);
        return commandLine.substr(1, closing == std::wstring::npos ? std::wstring::npos : closing - 1);
    }
    return commandLine;
}

void ReadConfig(SC_HANDLE service, ServiceReading& reading, const FunctionLog& log)
{
    DWORD needed = 0;
    if (!os::api().QueryServiceConfigW(service, nullptr, 0, &needed) && GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
        reading.error = GetLastError();
        log.Log(LevelError, L"QueryServiceConfig failed w/err 0x%08lx", reading.error);
        return;
    }
    // Whole records, so the configuration is aligned as the call expects.
    std::vector<QUERY_SERVICE_CONFIGW> buffer(needed / sizeof(QUERY_SERVICE_CONFIGW) + 1);
    const DWORD size = static_cast<DWORD>(buffer.size() * sizeof(QUERY_SERVICE_CONFIGW));
    if (!os::api().QueryServiceConfigW(service, buffer.data(), size, &needed)) {
        reading.error = GetLastError();
        log.Log(LevelError, L"QueryServiceConfig failed w/err 0x%08lx", reading.error);
        return;
    }
    reading.configRead = true;
    reading.startType = buffer[0].dwStartType;
    if (buffer[0].lpBinaryPathName != nullptr)
        reading.registeredPath = buffer[0].lpBinaryPathName;
    reading.programPath = ProgramPath(reading.registeredPath);
    Utils::VersionRecord version;
    Utils::GetVersionValue(version, reading.programPath);
    reading.versionFound = version.found;
    if (version.found)
        reading.version =
            os::FormatString(L"%u.%u.%u.%u", version.parts[0], version.parts[1], version.parts[2], version.parts[3]);
}

}  // namespace

ServiceReading ReadService(const wchar_t* serviceName)
{
    OperationLog op("TessarineDiag::ReadService", L"Service Name = %s", serviceName);
    ServiceReading reading;
    reading.name = serviceName;
    os::UniqueServiceHandle scm(os::api().OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!scm) {
        reading.error = GetLastError();
        op.Log(LevelError, L"OpenSCManager failed w/err 0x%08lx", reading.error);
        return reading;
    }
    reading.scmOpened = true;
    os::UniqueServiceHandle service(
        os::api().OpenServiceW(scm.get(), serviceName, SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG));
    if (!service) {
        reading.error = GetLastError();
        // Not registered is an answer, not a failure.
        if (reading.error == ERROR_SERVICE_DOES_NOT_EXIST)
            reading.error = 0;
        else
            op.Log(LevelError, L"OpenService failed w/err 0x%08lx", reading.error);
        return reading;
    }
    reading.registered = true;
    SERVICE_STATUS_PROCESS status = {};
    DWORD needed = 0;
    if (os::api().QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                                       sizeof(status), &needed)) {
        reading.state = status.dwCurrentState;
    } else {
        reading.error = GetLastError();
        op.Log(LevelError, L"QueryServiceStatusEx failed w/err 0x%08lx", reading.error);
    }
    ReadConfig(service.get(), reading, op);
    op.Exit(L"Registered = %d, State = %u, Start Type = %u", reading.registered, reading.state, reading.startType);
    return reading;
}

}  // namespace diag
