// CqxLogListener: the abstract output of log records, and LogData, the
// record of one log call.
//
// A record is built by the logging thread and handed to each listener whose
// range admits its level; the queued file listener keeps copies for its
// writer thread. Write may be called from several threads at once: every
// listener must be safe for that.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace QX::Shared {

class CqxLogListener {
public:
    class LogData {
    public:
        // A record made now, on the calling thread.
        LogData(const char* function, std::wstring message, int32_t level);
        LogData(std::string function, std::wstring message, int32_t level, const SYSTEMTIME& time, DWORD threadId);
        virtual ~LogData() = default;
        LogData(const LogData&) = default;
        LogData& operator=(const LogData&) = default;

        // "yyyy/mm/dd hh:mm:ss.mmm|TTTTTTTT|Level      |Class::Method|message",
        // without a line end. Formatted on the first call, then cached.
        const std::wstring& GetLine() const;

        const std::string& Function() const { return m_function; }
        const std::wstring& Message() const { return m_message; }
        int32_t Level() const { return m_level; }
        const SYSTEMTIME& Time() const { return m_time; }
        DWORD ThreadId() const { return m_threadId; }

    private:
        std::string m_function;
        std::wstring m_message;
        int32_t m_level;
        SYSTEMTIME m_time;
        DWORD m_threadId;
        void AppendHead(std::wstring& text) const;

        // Filled by the first GetLine; several listeners may ask for the line.
        mutable std::wstring m_levelName;
        mutable std::wstring m_line;
    };

    // Type bits returned by GetType.
    enum Type : int32_t {
        TypeEvent = 1,
        TypeDebug = 2,
        TypeFileQueued = 4,
        TypeFileDirect = 8,
        TypeConsole = 16,
    };

    // Sets the range to [defaultMinLevel, Error], then, unless fixedLevels is
    // set, reads "MinLogLevel" (or minLevelValueName) and "MaxLogLevel" from
    // the logging policy of productName (null: this executable's product).
    CqxLogListener(int32_t defaultMinLevel, const wchar_t* productName, const wchar_t* minLevelValueName,
                   bool fixedLevels);
    virtual ~CqxLogListener() = default;
    CqxLogListener(const CqxLogListener&) = delete;
    CqxLogListener& operator=(const CqxLogListener&) = delete;

    virtual void Write(const LogData& record) = 0;
    virtual int32_t GetType() const = 0;
    // Gives records still on their way their bounded time to reach the
    // output (a queued file listener's writer); nothing for the others.
    virtual void Flush() {}

    int32_t MinLevel() const { return m_minLevel; }
    int32_t MaxLevel() const { return m_maxLevel; }
    void SetMinLevel(int32_t level) { m_minLevel = level; }
    void SetMaxLevel(int32_t level) { m_maxLevel = level; }
    bool Accepts(int32_t level) const { return m_minLevel <= level && m_maxLevel >= level; }

private:
    int32_t m_minLevel;
    int32_t m_maxLevel;
    bool m_fixedLevels;
};

}  // namespace QX::Shared
