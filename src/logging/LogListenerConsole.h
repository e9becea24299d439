// CqxLogListenerConsole: prints "Class::Method : message" and "\r\n" on
// standard output (chosen by "CONSOLE") through the seam's fputws, as
// os::Print does. The runtime serialises the stream between threads.
#pragma once

#include "logging/LogListener.h"

namespace QX::Shared {

class CqxLogListenerConsole : public CqxLogListener {
public:
    explicit CqxLogListenerConsole(int32_t defaultMinLevel);

    void Write(const LogData& record) override;
    int32_t GetType() const override { return TypeConsole; }
};

}  // namespace QX::Shared
