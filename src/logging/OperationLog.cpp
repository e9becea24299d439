#include "logging/OperationLog.h"

#include <cstdarg>

namespace QX::Shared {

OperationLog::OperationLog(const char* function, const wchar_t* entryFormat, ...) : m_function(function)
{
    va_list args;
    va_start(args, entryFormat);
    LogV(GetLogger(), LevelTraceIn, function, entryFormat, args);
    va_end(args);
    m_scope = CqxLogScope::StartIfTiming(GetLogger(), function);
}

void OperationLog::Exit(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    LogV(GetLogger(), LevelTraceOut, m_function, format, args);
    va_end(args);
}

} // namespace QX::Shared
