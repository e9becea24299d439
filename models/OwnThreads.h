// OwnThreads: the threads of their own on which the simulated laptop's
// devices deliver events (the network list manager's events, the Wi-Fi
// notifications, the thread pool's work items), as the platform does. A
// caller waits for one of them, or for all, within a bound, so that a test
// sees a callback that never returns as a failure rather than a hang.
// Every thread is joined before the object ends.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace fakes {

class OwnThreads {
public:
    // Long enough for any callback of the service under Wine on a loaded
    // machine; a callback that takes longer counts as hung.
    static constexpr std::chrono::milliseconds kBound{20000};

    OwnThreads() = default;
    ~OwnThreads();
    OwnThreads(const OwnThreads&) = delete;
    OwnThreads& operator=(const OwnThreads&) = delete;

    // Runs `work` on a new thread; returns its number (0 for the first).
    size_t Start(std::function<void()> work);
    // Whether thread `number` has returned within the bound.
    bool WaitFor(size_t number, std::chrono::milliseconds bound = kBound);
    // Whether every thread started so far (and any they start meanwhile) has
    // returned within the bound.
    bool WaitForAll(std::chrono::milliseconds bound = kBound);
    size_t Started() const;
    size_t Running() const;

private:
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<std::thread> m_threads;
    std::vector<bool> m_done;
    size_t m_running = 0;
};

}  // namespace fakes
