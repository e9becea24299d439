// A one-byte flag that several threads write and read without a lock, on
// purpose: each load and store is a relaxed atomic access, which compiles to
// the plain byte move the service has always made, while C++ gives it a
// defined meaning (a plain bool written and read by two threads would be a
// data race). It orders nothing: a flag never publishes other data.
#pragma once

#include <atomic>

class RelaxedFlag {
public:
    constexpr RelaxedFlag() noexcept = default;
    RelaxedFlag(const RelaxedFlag&) = delete;
    RelaxedFlag& operator=(const RelaxedFlag&) = delete;

    operator bool() const noexcept { return m_value.load(std::memory_order_relaxed); }
    RelaxedFlag& operator=(bool value) noexcept
    {
        m_value.store(value, std::memory_order_relaxed);
        return *this;
    }
    // The value as a plain bool, for a log line's variable arguments.
    bool Get() const noexcept { return *this; }

private:
    std::atomic<bool> m_value{false};
};

static_assert(sizeof(RelaxedFlag) == 1, "a switching flag stays a single byte");
static_assert(std::atomic<bool>::is_always_lock_free, "a switching flag is read and written without a lock");
