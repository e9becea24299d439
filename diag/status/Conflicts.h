// What else on the machine switches radios or misleads the service, as the
// report shows it: Windows' connection manager policy, a Wi-Fi driver that
// acts on a wired link itself, a logging policy read otherwise than meant.
#pragma once

#include "status/Reasoning.h"
#include "status/StatusReport.h"

#include <vector>

namespace diag {

std::vector<Conflict> FindConflicts(const StatusReport& report);

}  // namespace diag
