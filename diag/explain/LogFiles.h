// Where the service's log is, and its files in time order.
//
// The service logs to the application-data folder of the account it runs
// as, in "zvrLog": for LocalSystem that is the system profile's,
// %SystemRoot%\System32\config\systemprofile\AppData\Roaming\zvrLog. The
// program finds the system profile from the registry (ProfileList, value
// ProfileImagePath of S-1-5-18), which holds it whatever the Windows
// folder is called. It then looks in the caller's own application data:
// the same folder when the caller runs as LocalSystem (a management agent),
// and where a service writes under Wine, which has no system profile. The
// first folder that holds the service's log is taken.
//
// The files: "Tessarine_NNNN.log" are the rotated older files, number 0001
// the newest; "Tessarine.log" is the current one. In time order: the
// highest number first, the current file last.
#pragma once

#include <string>
#include <vector>

namespace diag {

// The log's name: the service's executable's, without its extension.
constexpr wchar_t kServiceLogName[] = L"Tessarine";

// The folders looked in, in order; folders that cannot be named are left out.
std::vector<std::wstring> ServiceLogFolders();

// The system profile's application-data log folder, from the registry's
// ProfileList; empty when the registry does not name the system profile.
std::wstring SystemProfileLogFolder();

// Of the file names of one folder, those of the service's log in time order
// (other names are left out).
std::vector<std::wstring> OrderLogFileNames(const std::vector<std::wstring>& names);

// The service's log files in `folder`, full paths, in time order; empty when
// it holds none.
std::vector<std::wstring> LogFilesIn(const std::wstring& folder);

struct ServiceLog {
    std::wstring folder;  // empty: not found
    std::vector<std::wstring> files;
    std::vector<std::wstring> looked;
};
ServiceLog FindServiceLog();

}  // namespace diag
