// Utils: service-level operations: process-wide COM security, opening a
// service through the SCM, asking whether a service is installed and running,
// waiting for a service, this service's restart-on-failure policy, and file
// versions. Free functions; any thread. Each logs under its "Utils::" name.
#pragma once

#include "platform/UniqueHandle.h"

#include <windows.h>

#include <cstdint>
#include <string>

namespace Utils {

// Results of GetService and IsServicePresent.
constexpr int32_t kServiceOk = 0;
constexpr int32_t kServiceNotRunning = 1;
constexpr int32_t kServiceConfigUnreadable = 2;
constexpr int32_t kServiceMissing = -1;
constexpr int32_t kServiceCannotOpen = -2;
constexpr int32_t kScmCannotOpen = -3;

// Bits of SetServiceRestartRecoveryOnFailure's result.
constexpr int32_t kFailureActionsNotSet = 0x1;
constexpr int32_t kFailureActionsFlagNotSet = 0x10;

// The four 16-bit parts of a file version, most significant first.
struct VersionRecord {
    WORD parts[4] = {};
    bool found = false;  // the file had a version resource
};

HRESULT InitializeSecurity();

// Opens the SCM and the service with full access; the handles are the
// caller's.
int32_t GetService(const wchar_t* serviceName, os::UniqueServiceHandle& scm, os::UniqueServiceHandle& service);

int32_t IsServicePresent(const wchar_t* serviceName, VersionRecord& version, bool checkRunning, bool getVersion);

// Polls once a second until the service runs, up to `tries` polls; a missing
// service ends the wait after its first poll.
int32_t WaitforServiceToStartRunning(const wchar_t* serviceName, int32_t tries);

// Waits on a private event, so the pause is a timed wait of the seam.
void UtilSleep(DWORD milliseconds);

int32_t SetServiceRestartRecoveryOnFailure(const wchar_t* serviceName);

// This executable's file version as "a.b.c.d"; "0.0.0.0" when unreadable.
std::wstring GetBinaryVersion();
void GetVersionValue(VersionRecord& version, const std::wstring& executablePath);

}  // namespace Utils
