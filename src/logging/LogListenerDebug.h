// CqxLogListenerDebug: sends "Class::Method : message" and "\r\n" to an
// attached debugger through the seam's OutputDebugStringW (chosen by
// "DEBUG").
#pragma once

#include "logging/LogListener.h"

namespace QX::Shared {

class CqxLogListenerDebug : public CqxLogListener {
public:
    explicit CqxLogListenerDebug(int32_t defaultMinLevel);

    void Write(const LogData& record) override;
    int32_t GetType() const override { return TypeDebug; }
};

}  // namespace QX::Shared
