// The status verb's output and exit code for a report already read
// (RunStatus reads the machine first).
#pragma once

#include "status/StatusReport.h"

namespace diag {

// Prints the report as text, or as JSON, on standard output; returns the
// exit code: kExitRan when the service runs, else kExitServiceNotRunning.
int PrintStatus(const StatusReport& report, bool json);

}  // namespace diag
