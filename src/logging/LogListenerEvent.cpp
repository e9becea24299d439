#include "logging/LogListenerEvent.h"

#include "logging/LogLevels.h"
#include "logging/PolicyKeys.h"
#include "platform/Api.h"

namespace QX::Shared {

CqxLogListenerEvent::CqxLogListenerEvent(int32_t defaultMinLevel)
    : CqxLogListener(defaultMinLevel, nullptr, nullptr, false),
      m_eventSource(os::api().RegisterEventSourceW(nullptr, ExecutableBaseName().c_str()))
{
}

void CqxLogListenerEvent::Write(const LogData& record)
{
    // Elapsed-time records never reach the event log, whatever the range.
    if (record.Level() < MinLevel() || record.Level() > LevelError)
        return;

    const wchar_t* strings[] = {record.GetLine().c_str()};
    WORD type = EVENTLOG_INFORMATION_TYPE;
    if (record.Level() == LevelWarning)
        type = EVENTLOG_WARNING_TYPE;
    else if (record.Level() == LevelError)
        type = EVENTLOG_ERROR_TYPE;
    // The executable has no message table: the line is the whole event.
    os::api().ReportEventW(m_eventSource.get(), type, 0, static_cast<DWORD>(record.Level()), nullptr, 1, 0, strings,
                           nullptr);
}

}  // namespace QX::Shared
