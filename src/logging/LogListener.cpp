#include "logging/LogListener.h"

#include "logging/LogConfiguration.h"
#include "logging/LogLevels.h"
#include "logging/PolicyKeys.h"
#include "platform/Format.h"

#include <memory>
#include <new>

namespace QX::Shared {

CqxLogListener::LogData::LogData(const char* function, std::wstring message, int32_t level)
    : m_function(function != nullptr ? function : ""), m_message(std::move(message)), m_level(level), m_threadId(GetCurrentThreadId())
{
    GetLocalTime(&m_time);
}

CqxLogListener::LogData::LogData(std::string function, std::wstring message, int32_t level, const SYSTEMTIME& time, DWORD threadId)
    : m_function(std::move(function)), m_message(std::move(message)), m_level(level), m_time(time), m_threadId(threadId)
{
}

const std::wstring& CqxLogListener::LogData::GetLine() const
{
    if (!m_line.empty())
        return m_line;

    if (m_levelName.empty()) {
        const wchar_t* name = LevelName(m_level);
        m_levelName = name != nullptr ? name : L"Undefined";
    }

    // 45 characters with an 11-column level name; 63 and a terminator at most.
    wchar_t head[64];
    os::Format(head, 64, L"%04d/%02d/%02d %02d:%02d:%02d.%03d|%08X|%-11s|",
               m_time.wYear, m_time.wMonth, m_time.wDay, m_time.wHour, m_time.wMinute, m_time.wSecond,
               m_time.wMilliseconds, m_threadId, m_levelName.c_str());
    m_line = head;

    // Without memory for the tail the line keeps its head only.
    const size_t tailSize = m_function.size() + m_message.size() + 10;
    std::unique_ptr<wchar_t[]> tail(new (std::nothrow) wchar_t[tailSize]());
    if (tail) {
        os::Format(tail.get(), tailSize, L"%S|%s", m_function.c_str(), m_message.c_str());
        m_line += tail.get();
    }
    return m_line;
}

CqxLogListener::CqxLogListener(int32_t defaultMinLevel, const wchar_t* productName, const wchar_t* minLevelValueName, bool fixedLevels)
    : m_minLevel(defaultMinLevel), m_maxLevel(LevelError), m_fixedLevels(fixedLevels)
{
    PolicyKeys keys;
    OpenPolicyKeys(productName, keys);
    if (keys.product && !m_fixedLevels)
        ReadLevels(*this, keys, minLevelValueName);
}

} // namespace QX::Shared
