#include "logging/OperationLog.h"

#include "platform/Console.h"
#include "platform/Format.h"

#include <cstdarg>
#include <string>

namespace QX::Shared {

void FunctionLog::Log(int32_t level, const wchar_t* format, ...) const
{
    va_list args;
    va_start(args, format);
    LogV(GetLogger(), level, m_function, format, args);
    va_end(args);
}

void FunctionLog::LogAndPrint(int32_t level, const wchar_t* format, ...) const
{
    va_list args;
    va_start(args, format);
    const std::wstring text = os::FormatStringV(format, args);
    va_end(args);
    QX::Shared::Log(GetLogger(), level, m_function, L"%s", text.c_str());
    os::Print(L"%s\n", text.c_str());
}

OperationLog::OperationLog(const char* function, const wchar_t* entryFormat, ...) : FunctionLog(function)
{
    va_list args;
    va_start(args, entryFormat);
    LogV(GetLogger(), LevelTraceIn, function, entryFormat, args);
    va_end(args);
    m_scope = CqxLogScope::StartIfTiming(GetLogger(), function);
}

void OperationLog::Exit(const wchar_t* format, ...) const
{
    va_list args;
    va_start(args, format);
    LogV(GetLogger(), LevelTraceOut, Function(), format, args);
    va_end(args);
}

}  // namespace QX::Shared
