// Bounded waits of the logging tests. A queued listener's writer and racing
// threads run on their own; a test waits for them at most a bound, and
// reaching the bound fails the test.
#pragma once

#include "logging/LogListenerFile.h"
#include "platform/UniqueHandle.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace logging_tests {

constexpr DWORD kWaitBoundMilliseconds = 10000;

// Polls until every record handed to `listener` is in its file and its
// writer has ended (at once for a direct listener).
inline ::testing::AssertionResult DrainedWithin(const QX::Shared::CqxLogListenerFile& listener,
                                                DWORD milliseconds = kWaitBoundMilliseconds)
{
    const ULONGLONG start = GetTickCount64();
    while (!listener.QueueDrained()) {
        if (GetTickCount64() - start >= milliseconds)
            return ::testing::AssertionFailure() << "the queue was not drained within " << milliseconds << " ms";
        Sleep(5);
    }
    return ::testing::AssertionSuccess();
}

// A start line for racing threads: each waits at Pass until Open is called.
class StartGate {
public:
    StartGate() : m_open(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

    void Open() { SetEvent(m_open.get()); }
    // False when the gate was not opened within the bound.
    bool Pass(DWORD milliseconds = kWaitBoundMilliseconds) const
    {
        return WaitForSingleObject(m_open.get(), milliseconds) == WAIT_OBJECT_0;
    }

private:
    os::UniqueHandle m_open;
};

}  // namespace logging_tests
