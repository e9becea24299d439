// The state of a service as the Service Control Manager of the test's Wine
// prefix reports it, for the tests that install the real program.
#pragma once

#include <windows.h>

namespace fakes {

constexpr DWORD kServiceNotInstalled = 0;  // ServiceState() of a service the SCM does not know

// The service's current state (SERVICE_RUNNING, ...), or kServiceNotInstalled.
DWORD ServiceState(const wchar_t* name);

}  // namespace fakes
