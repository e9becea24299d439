// RecordingListener: a log listener that keeps a copy of every record it is
// given, for tests to assert on. Its range and type are set by the test; it
// never reads the logging policy. Safe for concurrent Write calls.
//
// RecordingLog: the environment most tests want: a process logger made of
// one recording listener (levels 0 to 5, console type), installed for the
// life of the object, with the previous logger put back afterwards.
//
// Records read as "Level|Class::Method|message": the level name, the
// function and the message of the record's line, without its head.
#pragma once

#include "logging/LogListener.h"
#include "logging/Logger.h"
#include "logging/LoggerSlot.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace fakes {

class RecordingListener : public QX::Shared::CqxLogListener {
public:
    explicit RecordingListener(int32_t minLevel = 0, int32_t maxLevel = 5, int32_t type = TypeConsole);

    void Write(const LogData& record) override;
    int32_t GetType() const override { return m_type; }

    std::vector<LogData> Records() const;
    // Every record as "Level|Class::Method|message", in order.
    std::vector<std::wstring> Lines() const;
    // The records logged under `function`, in the same form.
    std::vector<std::wstring> LinesOf(const std::string& function) const;
    // Which of `functions` were entered (their TraceIn records), in order,
    // once per entry: the steps an operation reached.
    std::vector<std::wstring> Entered(const std::vector<std::string>& functions) const;
    void Clear();

private:
    int32_t m_type;
    mutable std::mutex m_lock;
    std::vector<LogData> m_records;
};

// "Level|Class::Method|message" of one record.
std::wstring LineOf(const QX::Shared::CqxLogListener::LogData& record);

// A logger with one recording listener; `listener` is set to it.
std::unique_ptr<QX::Shared::CqxLogger> LoggerWithRecorder(RecordingListener*& listener, int32_t minLevel = 0,
                                                          int32_t maxLevel = 5,
                                                          int32_t type = QX::Shared::CqxLogListener::TypeConsole);

class RecordingLog {
public:
    explicit RecordingLog(int32_t minLevel = 0, int32_t maxLevel = 5,
                          int32_t type = QX::Shared::CqxLogListener::TypeConsole);
    RecordingLog(const RecordingLog&) = delete;
    RecordingLog& operator=(const RecordingLog&) = delete;

    RecordingListener& Recorder() const { return *m_recorder; }
    std::vector<QX::Shared::CqxLogListener::LogData> Records() const { return m_recorder->Records(); }
    std::vector<std::wstring> Lines() const { return m_recorder->Lines(); }
    std::vector<std::wstring> LinesOf(const std::string& function) const { return m_recorder->LinesOf(function); }
    std::vector<std::wstring> Entered(const std::vector<std::string>& functions) const
    {
        return m_recorder->Entered(functions);
    }
    void Clear() { m_recorder->Clear(); }

private:
    RecordingListener* m_recorder = nullptr;
    QX::Shared::ScopedLoggerForTesting m_logger;
};

}  // namespace fakes
