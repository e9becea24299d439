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

    explicit LoggerSlot(Factory factory) : factory_(factory) {}
    ~LoggerSlot() { Close(); }
    LoggerSlot(const LoggerSlot&) = delete;
    LoggerSlot& operator=(const LoggerSlot&) = delete;

    // The logger, creating it if there is none yet; null when creation gave
    // none or after Close.
    CqxLogger* Get()
    {
        CqxLogger* logger = current_.load(std::memory_order_acquire);
        return logger != nullptr ? logger : Create();
    }

    // The logger, or null; never creates one.
    CqxLogger* Peek() const { return current_.load(std::memory_order_acquire); }

    // Destroys the logger; from then on Get returns null and creates nothing,
    // so that records logged during process exit are dropped, not re-created.
    void Close();

    // Puts `logger` in the slot and returns the one it held; the caller must
    // make sure that no other thread is logging.
    std::unique_ptr<CqxLogger> ExchangeForTesting(std::unique_ptr<CqxLogger> logger);

private:
    CqxLogger* Create();

    Factory factory_;
    std::mutex creation_;
    std::unique_ptr<CqxLogger> owned_;     // guarded by creation_
    bool closed_ = false;                  // guarded by creation_
    std::atomic<CqxLogger*> current_{nullptr};
};

// Replaces the process logger for the life of the object (tests only, with
// no other thread logging), and puts the previous one back.
class ScopedLoggerForTesting {
public:
    explicit ScopedLoggerForTesting(std::unique_ptr<CqxLogger> logger);
    ~ScopedLoggerForTesting();
    ScopedLoggerForTesting(const ScopedLoggerForTesting&) = delete;
    ScopedLoggerForTesting& operator=(const ScopedLoggerForTesting&) = delete;

    CqxLogger* get() const { return logger_; }

private:
    CqxLogger* logger_;
    std::unique_ptr<CqxLogger> previous_;
};

} // namespace QX::Shared
