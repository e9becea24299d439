// Builds the process logger's listeners from the logging policy.
#pragma once

#include "logging/Logger.h"

#include <cstdint>
#include <memory>

namespace QX::Shared {

// The new logger, or null. The process calls it with (TraceIn, queued file).
std::unique_ptr<CqxLogger> CreateLogger(int32_t defaultMinLevel, int32_t defaultTypes);

} // namespace QX::Shared
