// FakeEventLog: records event-log reports made through the seam for the
// lifetime of the object (Wine's own ReportEventW keeps nothing).
#pragma once

#include "platform/Api.h"

#include <string>
#include <vector>

namespace fakes {

class FakeEventLog {
public:
    struct Report {
        std::wstring source;
        WORD type;
        WORD category;
        DWORD id;
        std::vector<std::wstring> strings;
        bool rawData;
    };

    FakeEventLog();
    ~FakeEventLog();
    FakeEventLog(const FakeEventLog&) = delete;
    FakeEventLog& operator=(const FakeEventLog&) = delete;

    bool registrationFails = false;
    std::vector<Report> reports;
    int openSources = 0;  // registered and not yet deregistered

private:
    static HANDLE WINAPI RegisterEventSourceW(LPCWSTR server, LPCWSTR source);
    static BOOL WINAPI ReportEventW(HANDLE source, WORD type, WORD category, DWORD id, PSID sid, WORD count,
                                   DWORD dataSize, LPCWSTR* strings, LPVOID data);
    static BOOL WINAPI DeregisterEventSource(HANDLE source);

    static FakeEventLog* current_;
    os::ScopedApiOverride seam_;
    std::vector<std::wstring> sources_;  // index + 1 is the handle value
};

} // namespace fakes
