#include "logging/LogListenerConsole.h"

#include "platform/Api.h"
#include "platform/Format.h"

#include <cstdio>

namespace QX::Shared {

CqxLogListenerConsole::CqxLogListenerConsole(int32_t defaultMinLevel)
    : CqxLogListener(defaultMinLevel, nullptr, nullptr, false)
{
}

void CqxLogListenerConsole::Write(const LogData& record)
{
    // No time, thread or level: the console shows the function and message.
    const std::wstring text = os::FormatString(L"%S : %s\r\n", record.Function().c_str(), record.Message().c_str());
    os::api().fputws(text.c_str(), stdout);
}

}  // namespace QX::Shared
