// FakeThreadPool: the thread pool's QueueUserWorkItem through the seam, for
// the life of the object. Work items are kept, not run, until the test runs
// them on its own thread (RunQueued), as the pool would; a queueing can be
// made to fail with a Win32 code.
#pragma once

#include "fakes/Journal.h"
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

    std::vector<ULONG> flags;  // of every queueing asked for, failed ones too
    std::vector<std::pair<LPTHREAD_START_ROUTINE, PVOID>> queued;

private:
    static BOOL WINAPI QueueUserWorkItem(LPTHREAD_START_ROUTINE function, PVOID context, ULONG flags);

    static FakeThreadPool* s_current;
    os::ScopedApiOverride m_seam;
    Journal* m_journal;
    Failure m_failure = Failure::None;
    DWORD m_error = 0;
};

}  // namespace fakes
