// The platform seam: the calls that reach hardware, other services or the
// clock go through one process-wide table of function pointers, each typed
// after the real API and initialised to it. Call sites read like Win32:
//   os::api().Sleep(100);
// Production code never changes the table. Tests swap members through
// os::ScopedApiOverride, which restores the whole table when it ends; they
// swap only while no thread of the code under test is running.
#pragma once

#include <windows.h>
#include <winsvc.h>
#include <shlobj.h>

#include <cstdio>

namespace os {

struct Api {
    // Every timed pause of the product goes through this one function, so
    // tests run in virtual time and can assert each pause.
    decltype(&::Sleep) Sleep = ::Sleep;
    // The monotonic clock of timed scopes.
    decltype(&::QueryUnbiasedInterruptTime) QueryUnbiasedInterruptTime = ::QueryUnbiasedInterruptTime;
    // Waits with a time-out are timed pauses too; infinite waits stay direct.
    decltype(&::WaitForSingleObject) WaitForSingleObject = ::WaitForSingleObject;

    // Log outputs that Wine does not keep: debugger output, and the folder of
    // the log files (so tests can take it away).
    decltype(&::OutputDebugStringW) OutputDebugStringW = ::OutputDebugStringW;
    decltype(&::SHGetFolderPathW) SHGetFolderPathW = ::SHGetFolderPathW;
    // Opening the log file. Wine running as root opens read-only files for
    // writing, so tests stand in for Windows' access check here.
    decltype(&::_wfopen) _wfopen = ::_wfopen;

    // Event log: Wine's ReportEventW only prints to its debug channel, so
    // tests record the reports here.
    decltype(&::RegisterEventSourceW) RegisterEventSourceW = ::RegisterEventSourceW;
    decltype(&::ReportEventW) ReportEventW = ::ReportEventW;
    decltype(&::DeregisterEventSource) DeregisterEventSource = ::DeregisterEventSource;
};

// The table in force. Valid from the first call to process exit.
Api& api();

// Saves the table on construction and restores it on destruction; members
// are swapped through it: `guard->Sleep = &FakeSleep;`.
class ScopedApiOverride {
public:
    ScopedApiOverride();
    ~ScopedApiOverride();
    ScopedApiOverride(const ScopedApiOverride&) = delete;
    ScopedApiOverride& operator=(const ScopedApiOverride&) = delete;

    Api* operator->() { return &api(); }

private:
    Api saved_;
};

} // namespace os
