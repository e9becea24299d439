#include "models/OwnThreads.h"

namespace fakes {

OwnThreads::~OwnThreads()
{
    std::vector<std::thread> threads;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        threads.swap(m_threads);
    }
    for (std::thread& thread : threads)
        if (thread.joinable())
            thread.join();
}

size_t OwnThreads::Start(std::function<void()> work)
{
    std::lock_guard<std::mutex> lock(m_lock);
    // Threads that have returned are joined here, so that a storm of events
    // does not keep thousands of ended threads.
    for (size_t i = 0; i < m_threads.size(); ++i)
        if (m_done[i] && m_threads[i].joinable())
            m_threads[i].join();
    const size_t number = m_done.size();
    m_done.push_back(false);
    ++m_running;
    m_threads.emplace_back([this, number, work = std::move(work)] {
        work();
        std::lock_guard<std::mutex> done(m_lock);
        m_done[number] = true;
        --m_running;
        m_changed.notify_all();
    });
    return number;
}

bool OwnThreads::WaitFor(size_t number, std::chrono::milliseconds bound)
{
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_for(lock, bound, [&] { return number < m_done.size() && m_done[number]; });
}

bool OwnThreads::WaitForAll(std::chrono::milliseconds bound)
{
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_for(lock, bound, [&] { return m_running == 0; });
}

size_t OwnThreads::Started() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_done.size();
}

size_t OwnThreads::Running() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_running;
}

}  // namespace fakes
