// RecordingListener: a log listener that keeps a copy of every record it is
// given, for tests to assert on. Its range and type are set by the test; it
// never reads the logging policy. Safe for concurrent Write calls.
#pragma once

#include "logging/LogListener.h"
#include "logging/Logger.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace fakes {

class RecordingListener : public QX::Shared::CqxLogListener {
public:
    explicit RecordingListener(int32_t minLevel = 0, int32_t maxLevel = 5, int32_t type = TypeConsole);

    void Write(const LogData& record) override;
    int32_t GetType() const override { return type_; }

    std::vector<LogData> Records() const;
    // Each record as "Class::Method|message", the line without its head.
    std::vector<std::wstring> Tails() const;
    // The messages of the records logged under `function`, in order.
    std::vector<std::wstring> MessagesOf(const std::string& function) const;
    void Clear();

private:
    int32_t type_;
    mutable std::mutex lock_;
    std::vector<LogData> records_;
};

// A logger with one recording listener; `listener` is set to it.
std::unique_ptr<QX::Shared::CqxLogger> LoggerWithRecorder(RecordingListener*& listener, int32_t minLevel = 0,
                                                          int32_t maxLevel = 5,
                                                          int32_t type = QX::Shared::CqxLogListener::TypeConsole);

} // namespace fakes
