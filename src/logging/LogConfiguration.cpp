#include "logging/LogConfiguration.h"

namespace QX::Shared {

std::unique_ptr<CqxLogger> CreateLogger(int32_t defaultMinLevel, int32_t defaultTypes)
{
    (void)defaultMinLevel;
    (void)defaultTypes;
    return CqxLogger::Assemble({});
}

} // namespace QX::Shared
