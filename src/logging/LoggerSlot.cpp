#include "logging/LoggerSlot.h"

#include "logging/LogConfiguration.h"

#include <cstdlib>

namespace QX::Shared {

CqxLogger* LoggerSlot::Create()
{
    std::lock_guard<std::mutex> lock(m_creation);
    if (CqxLogger* logger = m_current.load(std::memory_order_acquire))
        return logger;
    if (m_closed)
        return nullptr;
    m_owned = m_factory();
    m_current.store(m_owned.get(), std::memory_order_release);
    return m_owned.get();
}

void LoggerSlot::Close()
{
    std::lock_guard<std::mutex> lock(m_creation);
    m_closed = true;
    m_current.store(nullptr, std::memory_order_release);
    if (m_owned)
        m_owned->Flush();
}

std::unique_ptr<CqxLogger> LoggerSlot::ExchangeForTesting(std::unique_ptr<CqxLogger> logger)
{
    std::lock_guard<std::mutex> lock(m_creation);
    std::unique_ptr<CqxLogger> previous = std::move(m_owned);
    m_owned = std::move(logger);
    m_current.store(m_owned.get(), std::memory_order_release);
    return previous;
}

std::unique_ptr<CqxLogger> CreateProcessLogger() { return CreateLogger(LevelTraceIn, CqxLogListener::TypeFileQueued); }

namespace {

// The process slot once it exists, so that GetLogger reads the logger without
// going through the guard of ProcessSlot's function-local static.
std::atomic<LoggerSlot*> g_processSlot{nullptr};

LoggerSlot& ProcessSlot()
{
    // Never freed, nor the logger in it: records may still arrive from
    // other threads while the process ends. The handler registered here
    // flushes the logger at exit and hands it out no more.
    static LoggerSlot* slot = [] {
        auto* created = new LoggerSlot(&CreateProcessLogger);
        std::atexit([] { ProcessSlot().Close(); });
        g_processSlot.store(created, std::memory_order_release);
        return created;
    }();
    return *slot;
}

}  // namespace

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
    : m_logger(logger.get()), m_previous(ProcessSlot().ExchangeForTesting(std::move(logger)))
{
}

ScopedLoggerForTesting::~ScopedLoggerForTesting() { ProcessSlot().ExchangeForTesting(std::move(m_previous)); }

}  // namespace QX::Shared
