// The two verbs of TessarineDiag.exe. Each writes its report to standard
// output and returns the process's exit code (see kExit...).
#pragma once

#include <string>
#include <vector>

namespace diag {

// The exit codes, documented for administrators' scripts.
constexpr int kExitRan = 0;                // the verb ran and reported
constexpr int kExitServiceNotRunning = 1;  // the service is not installed or not running
constexpr int kExitMisuse = 2;             // unknown verb or option, or a missing argument

struct StatusOptions {
    bool json = false;
};

struct ExplainOptions {
    bool json = false;
    std::wstring htmlPath;            // explain --html FILE: the page to write; empty: none
    std::vector<std::wstring> files;  // the logs to read; empty: the service's own, with its rotated files
};

int RunStatus(const StatusOptions& options);
int RunExplain(const ExplainOptions& options);

}  // namespace diag
