#include "logging/LogListenerDebug.h"

#include "platform/Api.h"
#include "platform/Format.h"

#include <memory>
#include <new>

namespace QX::Shared {

CqxLogListenerDebug::CqxLogListenerDebug(int32_t defaultMinLevel)
    : CqxLogListener(defaultMinLevel, nullptr, nullptr, false)
{
}

void CqxLogListenerDebug::Write(const LogData& record)
{
    const size_t size = record.Function().size() + record.Message().size() + 10;
    std::unique_ptr<wchar_t[]> text(new (std::nothrow) wchar_t[size]());
    if (!text)
        return;
    os::Format(text.get(), size, L"%S : %s\r\n", record.Function().c_str(), record.Message().c_str());
    os::api().OutputDebugStringW(text.get());
}

}  // namespace QX::Shared
