#include "fakes/FakeThreadPool.h"

#include <string>

namespace fakes {

FakeThreadPool* FakeThreadPool::s_current = nullptr;

FakeThreadPool::FakeThreadPool(Journal* journal) : m_journal(journal)
{
    s_current = this;
    m_seam->QueueUserWorkItem = &FakeThreadPool::QueueUserWorkItem;
}

FakeThreadPool::~FakeThreadPool() { s_current = nullptr; }

void FakeThreadPool::Fail(Failure point, DWORD error)
{
    m_failure = point;
    m_error = error;
}

void FakeThreadPool::RunQueued()
{
    std::vector<std::pair<LPTHREAD_START_ROUTINE, PVOID>> items;
    items.swap(queued);
    for (auto& [function, context] : items)
        function(context);
}

bool FakeThreadPool::WaitForItem(size_t number, std::chrono::milliseconds bound)
{
    return m_threads.WaitFor(number, bound);
}

BOOL WINAPI FakeThreadPool::QueueUserWorkItem(LPTHREAD_START_ROUTINE function, PVOID context, ULONG flags)
{
    s_current->flags.push_back(flags);
    Note(s_current->m_journal, "QueueUserWorkItem " + std::to_string(flags));
    if (s_current->m_failure == Failure::QueueUserWorkItem) {
        SetLastError(s_current->m_error);
        return FALSE;
    }
    if (s_current->m_ownThreads)
        s_current->m_threads.Start([function, context] { function(context); });
    else
        s_current->queued.emplace_back(function, context);
    return TRUE;
}

}  // namespace fakes
