#include "fakes/RecordingListener.h"

namespace fakes {

RecordingListener::RecordingListener(int32_t minLevel, int32_t maxLevel, int32_t type)
    : CqxLogListener(minLevel, nullptr, nullptr, /*fixedLevels=*/true), type_(type)
{
    SetMaxLevel(maxLevel);
}

void RecordingListener::Write(const LogData& record)
{
    std::lock_guard<std::mutex> lock(lock_);
    records_.push_back(record);
}

std::vector<RecordingListener::LogData> RecordingListener::Records() const
{
    std::lock_guard<std::mutex> lock(lock_);
    return records_;
}

std::vector<std::wstring> RecordingListener::Tails() const
{
    std::vector<std::wstring> tails;
    for (const LogData& record : Records())
        tails.push_back(std::wstring(record.Function().begin(), record.Function().end()) + L"|" + record.Message());
    return tails;
}

std::vector<std::wstring> RecordingListener::MessagesOf(const std::string& function) const
{
    std::vector<std::wstring> messages;
    for (const LogData& record : Records())
        if (record.Function() == function)
            messages.push_back(record.Message());
    return messages;
}

void RecordingListener::Clear()
{
    std::lock_guard<std::mutex> lock(lock_);
    records_.clear();
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

} // namespace fakes
