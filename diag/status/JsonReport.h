// The status report as JSON, schema "tessarine-diag" version 1 (the README's
// TessarineDiag section documents every member).
#pragma once

#include "status/Reasoning.h"
#include "status/StatusReport.h"

#include <string>

namespace diag {

inline constexpr int kJsonSchemaVersion = 1;

std::wstring StatusJson(const StatusReport& report, const Reasoning& reasoning);

}  // namespace diag
