// FakeThreadPool: the thread pool's QueueUserWorkItem through the seam, for
// the life of the object. Work items are kept, not run, until the test runs
// them on its own thread (RunQueued), or, on the simulated laptop, each at
// once on a thread of its own (RunOnOwnThreads), as the pool would; a
// queueing can be made to fail with a Win32 code.
#pragma once

#include "models/Journal.h"
#include "models/OwnThreads.h"
#include "platform/Api.h"

#include <utility>
#include <vector>

namespace fakes {

class FakeThreadPool {
public:
    enum class Failure { None, QueueUserWorkItem };

    explicit FakeThreadPool(Journal* journal = nullptr);
    ~FakeThreadPool();
    FakeThreadPool(const FakeThreadPool&) = delete;
    FakeThreadPool& operator=(const FakeThreadPool&) = delete;

    // Queueing fails, with `error` as the thread's last error.
    void Fail(Failure point, DWORD error);
    // Runs the work items queued so far, in order, and forgets them.
    void RunQueued();
    // From now on every item queued runs at once on a thread of its own.
    void RunOnOwnThreads() { m_ownThreads = true; }
    // Whether work item `number` (0: the first queued) has returned within
    // the bound; false also for an item never queued.
    bool WaitForItem(size_t number, std::chrono::milliseconds bound = OwnThreads::kBound);
    bool WaitForAllItems(std::chrono::milliseconds bound = OwnThreads::kBound) { return m_threads.WaitForAll(bound); }
    size_t ItemsStarted() const { return m_threads.Started(); }

    std::vector<ULONG> flags;  // of every queueing asked for, failed ones too
    std::vector<std::pair<LPTHREAD_START_ROUTINE, PVOID>> queued;

private:
    static BOOL WINAPI QueueUserWorkItem(LPTHREAD_START_ROUTINE function, PVOID context, ULONG flags);

    static FakeThreadPool* s_current;
    os::ScopedApiOverride m_seam;
    Journal* m_journal;
    Failure m_failure = Failure::None;
    DWORD m_error = 0;
    bool m_ownThreads = false;
    // Last: its threads are joined before anything else of the pool goes.
    OwnThreads m_threads;
};

}  // namespace fakes
