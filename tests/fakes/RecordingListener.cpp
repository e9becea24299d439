#include "fakes/RecordingListener.h"

#include "fakes/ExpectedLines.h"
#include "logging/LogLevels.h"

namespace fakes {

RecordingListener::RecordingListener(int32_t minLevel, int32_t maxLevel, int32_t type)
    : CqxLogListener(minLevel, nullptr, nullptr, /*fixedLevels=*/true), m_type(type)
{
    SetMaxLevel(maxLevel);
}

void RecordingListener::Write(const LogData& record)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_records.push_back(record);
}

std::vector<RecordingListener::LogData> RecordingListener::Records() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_records;
}

std::wstring LineOf(const QX::Shared::CqxLogListener::LogData& record)
{
    return Line(QX::Shared::LevelName(record.Level()), record.Function(), record.Message());
}

std::vector<std::wstring> RecordingListener::Lines() const
{
    std::vector<std::wstring> lines;
    for (const LogData& record : Records())
        lines.push_back(LineOf(record));
    return lines;
}

std::vector<std::wstring> RecordingListener::LinesOf(const std::string& function) const
{
    std::vector<std::wstring> lines;
    for (const LogData& record : Records())
        if (record.Function() == function)
            lines.push_back(LineOf(record));
    return lines;
}

std::vector<std::wstring> RecordingListener::Entered(const std::vector<std::string>& functions) const
{
    std::vector<std::wstring> entered;
    for (const LogData& record : Records()) {
        if (LineOf(record).rfind(L"TraceIn|", 0) != 0)
            continue;
        for (const std::string& function : functions)
            if (record.Function() == function)
                entered.emplace_back(function.begin(), function.end());
    }
    return entered;
}

void RecordingListener::Clear()
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_records.clear();
}

std::unique_ptr<QX::Shared::CqxLogger> LoggerWithRecorder(RecordingListener*& listener, int32_t minLevel,
                                                          int32_t maxLevel, int32_t type)
{
    auto recorder = std::make_unique<RecordingListener>(minLevel, maxLevel, type);
    listener = recorder.get();
    QX::Shared::CqxLogger::Listeners listeners;
    listeners.push_back(std::move(recorder));
    return QX::Shared::CqxLogger::Assemble(std::move(listeners));
}

RecordingLog::RecordingLog(int32_t minLevel, int32_t maxLevel, int32_t type)
    : m_logger(LoggerWithRecorder(m_recorder, minLevel, maxLevel, type))
{
}

}  // namespace fakes
