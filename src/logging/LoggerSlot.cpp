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

// The process slot once it exists, for GetLogger's fast path.
std::atomic<LoggerSlot*> g_processSlot{nullptr};

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
        g_processSlot.store(created, std::memory_order_release);
        return created;
    }();
    return *slot;
}

} // namespace

CqxLogger* GetLogger()
{
    if (LoggerSlot* slot = g_processSlot.load(std::memory_order_acquire)) {
        if (CqxLogger* logger = slot->Peek())
            return logger;
    }
    // Callers often read GetLastError() in the same statement that fetches
    // the logger; creating the slot and the logger (static guard, registry,
    // files, mutex) must not change it.
    const DWORD savedError = GetLastError();
    CqxLogger* logger = ProcessSlot().Get();
    SetLastError(savedError);
    return logger;
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
