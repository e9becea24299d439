#include "logging/Logger.h"

#include "platform/Format.h"

#include <cstdarg>

namespace QX::Shared {

std::unique_ptr<CqxLogger> CqxLogger::Assemble(Listeners listeners)
{
    std::unique_ptr<CqxLogger> logger(new CqxLogger());
    for (auto& listener : listeners) {
        if (!listener || static_cast<size_t>(logger->m_listenerCount) == kMaxListeners)
            continue;
        CqxLogListener* stored = listener.get();
        logger->m_listeners[static_cast<size_t>(logger->m_listenerCount++)] = std::move(listener);
        if (stored->MinLevel() < logger->m_minLevel)
            logger->m_minLevel = stored->MinLevel();
        if (stored->MaxLevel() > logger->m_maxLevel)
            logger->m_maxLevel = stored->MaxLevel();
        const int32_t type = stored->GetType();
        if (type == CqxLogListener::TypeFileQueued || type == CqxLogListener::TypeFileDirect)
            logger->m_fileListener = stored;
    }
    // Timing records exist only where the file listener will keep them.
    if (logger->m_fileListener != nullptr && logger->m_fileListener->Accepts(LevelDiag))
        logger->m_timing = true;
    if (logger->m_messageCapacity > kMessageCapacityLimit)
        logger->m_messageCapacity = kMessageCapacityLimit;
    return logger;
}

CqxLogger::~CqxLogger()
{
    for (auto& listener : m_listeners)
        listener.reset();
}

void CqxLogger::Flush() const
{
    for (int32_t slot = 0; slot < m_listenerCount; ++slot)
        m_listeners[static_cast<size_t>(slot)]->Flush();
}

void CqxLogger::Dispatch(const CqxLogListener::LogData& record) const
{
    const int32_t level = record.Level();
    for (int32_t slot = 0; slot < m_listenerCount; ++slot) {
        CqxLogListener& listener = *m_listeners[static_cast<size_t>(slot)];
        if (listener.Accepts(level))
            listener.Write(record);
    }
}

void CqxLogger::AddTiming(const char* function, double milliseconds)
{
    const std::string name(function != nullptr ? function : "");
    os::CriticalSectionLock lock(m_statisticsLock);
    auto found = m_statistics.find(name);
    if (found != m_statistics.end()) {
        found->second.first += milliseconds;
        found->second.second += 1;
    } else {
        m_statistics.emplace(name, std::make_pair(milliseconds, 1u));
    }
    if (name.size() > m_longestFunctionName)
        m_longestFunctionName = name.size();
}

CqxLogger::Statistics CqxLogger::TimingStatistics() const
{
    os::CriticalSectionLock lock(m_statisticsLock);
    return m_statistics;
}

uint64_t CqxLogger::LongestFunctionName() const
{
    os::CriticalSectionLock lock(m_statisticsLock);
    return m_longestFunctionName;
}

void LogV(CqxLogger* logger, int32_t level, const char* function, const wchar_t* format, va_list args)
{
    if (logger == nullptr || !logger->Accepts(level))
        return;

    const DWORD savedError = GetLastError();
    try {
        std::wstring message(logger->MessageCapacity(), L'\0');
        size_t length = 0;
        if (format != nullptr && format[0] != L'\0')
            length = os::FormatV(&message[0], message.size(), format, args);
        message.resize(length);

        const CqxLogListener::LogData record(function, std::move(message), level);
        logger->Dispatch(record);
    } catch (...) {
        // Logging never fails towards its caller: a record that could not be
        // built or written is dropped.
    }
    SetLastError(savedError);
}

void Log(CqxLogger* logger, int32_t level, const char* function, const wchar_t* format, ...)
{
    // The filter comes first, before any argument is touched.
    if (logger == nullptr || !logger->Accepts(level))
        return;
    va_list args;
    va_start(args, format);
    LogV(logger, level, function, format, args);
    va_end(args);
}

}  // namespace QX::Shared
