#include "logging/LoggerSlot.h"

#include "logging/LogConfiguration.h"

#include <cstdlib>

namespace QX::Shared {

CqxLogger* LoggerSlot::Create()
{
    std::lock_guard<std::mutex> lock(creation_);
    if (CqxLogger* logger = current_.load(std::memory_order_acquire))
        return logger;
    if (closed_)
        return nullptr;
    owned_ = factory_();
    current_.store(owned_.get(), std::memory_order_release);
    return owned_.get();
}

void LoggerSlot::Close()
{
    std::lock_guard<std::mutex> lock(creation_);
    closed_ = true;
    current_.store(nullptr, std::memory_order_release);
    owned_.reset();
}

std::unique_ptr<CqxLogger> LoggerSlot::ExchangeForTesting(std::unique_ptr<CqxLogger> logger)
{
    std::lock_guard<std::mutex> lock(creation_);
    std::unique_ptr<CqxLogger> previous = std::move(owned_);
    owned_ = std::move(logger);
    current_.store(owned_.get(), std::memory_order_release);
    return previous;
}

namespace {

std::unique_ptr<CqxLogger> CreateProcessLogger()
{
    return CreateLogger(LevelTraceIn, CqxLogListener::TypeFileQueued);
}

LoggerSlot& ProcessSlot()
{
    // Never freed: records may still arrive from other threads while the
    // process ends. The logger inside is destroyed at exit by the handler registered here.
    static LoggerSlot* slot = [] {
        auto* created = new LoggerSlot(&CreateProcessLogger);
        std::atexit([] { ProcessSlot().Close(); });
        return created;
    }();
    return *slot;
}

} // namespace

CqxLogger* GetLogger()
{
    return ProcessSlot().Get();
}

ScopedLoggerForTesting::ScopedLoggerForTesting(std::unique_ptr<CqxLogger> logger)
    : logger_(logger.get()), previous_(ProcessSlot().ExchangeForTesting(std::move(logger)))
{
}

ScopedLoggerForTesting::~ScopedLoggerForTesting()
{
    ProcessSlot().ExchangeForTesting(std::move(previous_));
}

} // namespace QX::Shared
