// FakeServiceDispatcher: stands in for the SCM's side of a running service
// (the dispatcher, the control handler registration and the status reports)
// for the lifetime of the object. The dispatcher can run the service's main
// function on the calling thread, as a test's "start".
#pragma once

#include "platform/Api.h"

#include <string>
#include <vector>

namespace fakes {

class FakeServiceDispatcher {
public:
    FakeServiceDispatcher();
    ~FakeServiceDispatcher();
    FakeServiceDispatcher(const FakeServiceDispatcher&) = delete;
    FakeServiceDispatcher& operator=(const FakeServiceDispatcher&) = delete;

    static const SERVICE_STATUS_HANDLE kStatusHandle;

    DWORD dispatcherError = 0;    // StartServiceCtrlDispatcherW fails with it
    bool runServiceMain = false;  // the dispatcher calls the table's first entry
    DWORD registrationError = 0;  // RegisterServiceCtrlHandlerExW fails with it
    DWORD statusError = 0;        // SetServiceStatus fails with it (the report is still recorded)

    std::vector<std::wstring> tableNames;  // names in the dispatcher's table, terminator as "<null>"
    std::wstring registeredName;
    LPHANDLER_FUNCTION_EX handler = nullptr;
    LPVOID handlerContext = nullptr;
    std::vector<SERVICE_STATUS> reports;  // every report made, failed ones too
    int failedReports = 0;
    std::vector<SERVICE_STATUS_HANDLE> reportHandles;

private:
    static BOOL WINAPI StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* table);
    static SERVICE_STATUS_HANDLE WINAPI RegisterServiceCtrlHandlerExW(LPCWSTR name, LPHANDLER_FUNCTION_EX handler,
                                                                      LPVOID context);
    static BOOL WINAPI SetServiceStatus(SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status);

    static FakeServiceDispatcher* s_current;
    os::ScopedApiOverride m_seam;
};

}  // namespace fakes
