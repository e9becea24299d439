// CqxLogListenerEvent: reports each record of level 0 to 5 to the Windows
// event log (chosen by "EVENT"), under the source named after the
// executable. The event id is the level; the one insertion string is the
// record's formatted line. ReportEventW is safe for concurrent callers.
#pragma once

#include "logging/LogListener.h"
#include "platform/UniqueHandle.h"

namespace QX::Shared {

class CqxLogListenerEvent : public CqxLogListener {
public:
    explicit CqxLogListenerEvent(int32_t defaultMinLevel);

    void Write(const LogData& record) override;
    int32_t GetType() const override { return TypeEvent; }

private:
    // Null when registration failed: every report is then still attempted
    // and fails, silently, and nothing is deregistered.
    os::UniqueEventSource m_eventSource;
};

}  // namespace QX::Shared
