#include "logging/LogQueue.h"

#include "logging/LogFile.h"
#include "platform/Api.h"

#include <process.h>

namespace QX::Shared {

CqxLogQueue::CqxLogQueue(std::shared_ptr<CqxLogFile> file) : m_state(std::make_shared<State>())
{
    m_state->file = std::move(file);
}

CqxLogQueue::~CqxLogQueue()
{
    Flush();
    // A writer still running now belongs to a process that is ending: it
    // finds the list empty after the record in hand, releases the file and
    // ends, holding the state until then.
    State& state = *m_state;
    state.lock.Enter();
    state.records.clear();
    state.lock.Leave();
    state.thread.reset();
}

void CqxLogQueue::Flush()
{
    State& state = *m_state;
    os::CriticalSectionLock lock(state.lock);
    if (!state.busy)
        return;
    for (int round = 0; round < 2 && state.file && state.thread; ++round) {
        os::api().Sleep(100);
        state.lock.Leave();
        const DWORD waited = os::api().WaitForSingleObject(state.thread.get(), 500);
        state.lock.Enter();
        if (waited != WAIT_TIMEOUT || !state.busy)
            break;
    }
}

void CqxLogQueue::Push(const CqxLogListener::LogData& record)
{
    State& state = *m_state;
    os::CriticalSectionLock lock(state.lock);
    if (state.unwritable && state.records.size() >= kMaxQueuedRecords) {
        state.records.pop_front();
        ++state.dropped;
    }
    state.records.push_back(record);
    if (!state.busy) {
        auto* writerState = new std::shared_ptr<State>(m_state);
        // The handle of the previous writer, which takes no more records, is closed.
        state.thread.reset(
            reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, &CqxLogQueue::DrainQueue, writerState, 0, nullptr)));
        state.busy = static_cast<bool>(state.thread);
        if (!state.busy)
            delete writerState;
    }
}

bool CqxLogQueue::Drained() const
{
    State& state = *m_state;
    os::CriticalSectionLock lock(state.lock);
    return state.records.empty() && IdleLocked(state);
}

bool CqxLogQueue::Idle() const
{
    State& state = *m_state;
    os::CriticalSectionLock lock(state.lock);
    return IdleLocked(state);
}

bool CqxLogQueue::IdleLocked(const State& state)
{
    // The writer flushes and closes the file after it has cleared busy.
    return !state.busy && (!state.thread || WaitForSingleObject(state.thread.get(), 0) == WAIT_OBJECT_0);
}

size_t CqxLogQueue::Queued() const
{
    State& state = *m_state;
    os::CriticalSectionLock lock(state.lock);
    return state.records.size();
}

size_t CqxLogQueue::Dropped() const
{
    State& state = *m_state;
    os::CriticalSectionLock lock(state.lock);
    return state.dropped;
}

unsigned __stdcall CqxLogQueue::DrainQueue(void* context)
{
    const std::unique_ptr<std::shared_ptr<State>> owned(static_cast<std::shared_ptr<State>*>(context));
    State& state = **owned;
    try {
        const bool written = WriteQueued(state);
        os::CriticalSectionLock lock(state.lock);
        state.unwritable = !written;
        if (written)
            return 0;
    } catch (...) {
        // The batch in hand is lost; the records still queued wait for the
        // next writer, and the file is released below if it was acquired.
    }
    try {
        os::CriticalSectionLock lock(state.lock);
        state.busy = false;
    } catch (...) {
    }
    try {
        state.file->Release();
    } catch (...) {
    }
    return 0;
}

bool CqxLogQueue::WriteQueued(State& state)
{
    if (!state.file->Acquire())
        return false;  // the records stay queued for the next writer
    // Takes everything queued so far in one step and writes it outside the
    // lock, so callers only ever wait for a swap.
    decltype(state.records) batch;
    state.lock.Enter();
    while (!state.records.empty()) {
        batch.swap(state.records);
        state.lock.Leave();
        try {
            for (const CqxLogListener::LogData& record : batch)
                state.file->WriteRecord(record);
        } catch (...) {
            batch.clear();
            throw;  // the lock is not held here
        }
        batch.clear();
        state.lock.Enter();
    }
    state.busy = false;
    state.lock.Leave();
    state.file->Release();
    return true;
}

}  // namespace QX::Shared
