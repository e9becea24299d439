// The status report as text for a person at a prompt: what was read, then
// why each radio is in its state, then the conflicts.
#pragma once

#include "status/Reasoning.h"
#include "status/StatusReport.h"

#include <string>

namespace diag {

std::wstring StatusText(const StatusReport& report, const Reasoning& reasoning);

}  // namespace diag
