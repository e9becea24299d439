// LoggerSlot: holds one logger that is created on first use, exactly once
// however many threads ask at the same time, and created again on a later
// call if creation gave none. GetLogger keeps the process logger in one.
#pragma once

#include "logging/Logger.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace QX::Shared {

class LoggerSlot {
public:
    using Factory = std::unique_ptr<CqxLogger> (*)();

    explicit LoggerSlot(Factory factory) : m_factory(factory) {}
    ~LoggerSlot() { Close(); }
    LoggerSlot(const LoggerSlot&) = delete;
    LoggerSlot& operator=(const LoggerSlot&) = delete;

    // The logger, creating it if there is none yet; null when creation gave
    // none or after Close.
    CqxLogger* Get()
    {
        CqxLogger* logger = m_current.load(std::memory_order_acquire);
        return logger != nullptr ? logger : Create();
    }

    // The logger, or null; never creates one.
    CqxLogger* Peek() const { return m_current.load(std::memory_order_acquire); }

    // Flushes the logger; from then on Get and Peek return null and Get
    // creates nothing, so that records logged during process exit are
    // dropped, not re-created. The logger itself is destroyed only with the
    // slot: a thread that fetched it before the close may still be logging
    // with it (the process slot is never destroyed).
    void Close();

    // Puts `logger` in the slot and returns the one it held; the caller must
    // make sure that no other thread is logging.
    std::unique_ptr<CqxLogger> ExchangeForTesting(std::unique_ptr<CqxLogger> logger);

private:
    CqxLogger* Create();

    Factory m_factory;
    std::mutex m_creation;
    std::unique_ptr<CqxLogger> m_owned;  // guarded by m_creation
    bool m_closed = false;               // guarded by m_creation
    std::atomic<CqxLogger*> m_current{nullptr};
};

// The process logger as the first log call creates it: the listeners and
// levels the policy values give, with TraceIn and the queued file listener
// as the defaults.
std::unique_ptr<CqxLogger> CreateProcessLogger();

// Replaces the process logger for the life of the object (tests only, with
// no other thread logging), and puts the previous one back.
class ScopedLoggerForTesting {
public:
    explicit ScopedLoggerForTesting(std::unique_ptr<CqxLogger> logger);
    ~ScopedLoggerForTesting();
    ScopedLoggerForTesting(const ScopedLoggerForTesting&) = delete;
    ScopedLoggerForTesting& operator=(const ScopedLoggerForTesting&) = delete;

    CqxLogger* get() const { return m_logger; }

private:
    CqxLogger* m_logger;
    std::unique_ptr<CqxLogger> m_previous;
};

}  // namespace QX::Shared
