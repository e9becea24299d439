// CqxLogger, the process-wide logger, and Log, the one log call.
//
// The logger is assembled once from its listeners and never changes after:
// Log reads it from any thread without a lock. The only shared mutable state
// is the timing statistics, guarded by their own critical section.
//
// Operations log through OperationLog and FunctionLog (OperationLog.h),
// which call Log with the logger fetched anew for every record.
#pragma once

#include "logging/LogLevels.h"
#include "logging/LogListener.h"
#include "platform/CriticalSection.h"

#include <array>
#include <cstdarg>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace QX::Shared {

class CqxLogger {
public:
    static constexpr size_t kMaxListeners = 10;
    static constexpr size_t kMessageCapacity = 512;
    static constexpr size_t kMessageCapacityLimit = 8096;

    using Listeners = std::vector<std::unique_ptr<CqxLogListener>>;
    // function name -> {total elapsed milliseconds, call count}
    using Statistics = std::map<std::string, std::pair<double, uint32_t>>;

    // Takes the listeners, in order, into its slots (the first ten) and
    // derives the level range, the file listener and the timing flag.
    static std::unique_ptr<CqxLogger> Assemble(Listeners listeners);

    // Deletes the listeners in slot order; a queued file listener waits for
    // its writer there.
    ~CqxLogger();
    CqxLogger(const CqxLogger&) = delete;
    CqxLogger& operator=(const CqxLogger&) = delete;

    // The front end's filter: no listener, or a level outside the range.
    bool Accepts(int32_t level) const { return m_listenerCount >= 1 && level >= m_minLevel && level <= m_maxLevel; }

    // Hands the record to every listener whose range admits its level.
    void Dispatch(const CqxLogListener::LogData& record) const;
    // Every listener's Flush, in slot order.
    void Flush() const;

    // Adds one timed call of `function` to the statistics.
    void AddTiming(const char* function, double milliseconds);

    size_t MessageCapacity() const { return m_messageCapacity; }
    int32_t ListenerCount() const { return m_listenerCount; }
    CqxLogListener* Listener(size_t slot) const { return m_listeners[slot].get(); }
    int32_t MinLevel() const { return m_minLevel; }
    int32_t MaxLevel() const { return m_maxLevel; }
    bool TimingEnabled() const { return m_timing; }
    CqxLogListener* FileListener() const { return m_fileListener; }
    Statistics TimingStatistics() const;
    uint64_t LongestFunctionName() const;

private:
    CqxLogger() = default;

    size_t m_messageCapacity = kMessageCapacity;
    std::array<std::unique_ptr<CqxLogListener>, kMaxListeners> m_listeners;
    int32_t m_listenerCount = 0;
    int32_t m_minLevel = LevelNever;
    int32_t m_maxLevel = LevelError;
    bool m_timing = false;
    CqxLogListener* m_fileListener = nullptr;  // one of m_listeners, or null
    Statistics m_statistics;
    uint64_t m_longestFunctionName = 0;
    mutable os::CriticalSection m_statisticsLock;
};

// Formats the message (wide printf format of the Windows runtime: "%s" wide,
// "%S" narrow; null or empty: empty message; cut at capacity - 1 characters)
// and dispatches the record. Never fails towards the caller and leaves
// GetLastError as it was. A null logger, no listener or a level outside the
// range returns at once.
void Log(CqxLogger* logger, int32_t level, const char* function, const wchar_t* format, ...);
void LogV(CqxLogger* logger, int32_t level, const char* function, const wchar_t* format, va_list args);

// The process-wide logger: created by the first call from any thread, with
// the logging policy of this executable; callers fetch it anew for every
// record and never keep it. Null while no logger could be created (every
// call tries again) and after it was destroyed at process exit.
CqxLogger* GetLogger();

}  // namespace QX::Shared
