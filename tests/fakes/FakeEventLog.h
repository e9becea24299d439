// FakeEventLog: the event log through the seam (Wine's own ReportEventW
// keeps nothing), for the life of the object. Registrations hand out
// distinct non-null source handles; reports, registrations and
// deregistrations are recorded in order. A report made with a handle that is
// not registered (null, or already deregistered) fails with
// ERROR_INVALID_HANDLE, as Windows' does; registration or reporting can be
// made to fail with a Win32 code. Single-threaded use.
#pragma once

#include "platform/Api.h"

#include <map>
#include <string>
#include <vector>

namespace fakes {

class FakeEventLog {
public:
    enum class Failure { None, RegisterEventSource, ReportEvent };

    struct Registration {
        bool server;        // a server name was given
        std::wstring name;  // the source name ("" for null)
        HANDLE handle;      // null when the registration failed
    };
    struct Report {
        std::wstring source;  // the name the handle was registered with
        WORD type;
        WORD category;
        DWORD id;
        std::vector<std::wstring> strings;
        bool rawData;  // raw data was passed
        HANDLE handle;
    };

    FakeEventLog();
    ~FakeEventLog();
    FakeEventLog(const FakeEventLog&) = delete;
    FakeEventLog& operator=(const FakeEventLog&) = delete;

    // Every later call at `point` fails (null or FALSE) with `error` as the
    // last error, until Fail(Failure::None, 0).
    void Fail(Failure point, DWORD error);

    std::vector<Registration> registrations;  // failed ones too
    std::vector<Report> reports;              // the reports that succeeded
    int failedReports = 0;                    // ReportEventW calls that failed
    std::vector<HANDLE> deregistered;         // every DeregisterEventSource, unknown handles too
    int openSources = 0;                      // registered and not yet deregistered

private:
    static HANDLE WINAPI RegisterEventSourceW(LPCWSTR server, LPCWSTR source);
    static BOOL WINAPI ReportEventW(HANDLE source, WORD type, WORD category, DWORD id, PSID sid, WORD count,
                                    DWORD dataSize, LPCWSTR* strings, LPVOID data);
    static BOOL WINAPI DeregisterEventSource(HANDLE source);

    static FakeEventLog* s_current;
    os::ScopedApiOverride m_seam;
    Failure m_failure = Failure::None;
    DWORD m_error = 0;
    std::map<HANDLE, std::wstring> m_open;  // registered handle -> source name
    size_t m_handedOut = 0;                 // handles handed out so far
};

}  // namespace fakes
