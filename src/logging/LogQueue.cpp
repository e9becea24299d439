#include "logging/LogQueue.h"

#include "logging/LogListenerFile.h"
#include "platform/Api.h"

#include <process.h>

namespace QX::Shared {

CqxLogQueue::CqxLogQueue(CqxLogListenerFile* listener) : m_listener(listener) {}

CqxLogQueue::~CqxLogQueue()
{
    m_lock.Enter();
    if (m_busy) {
        for (int round = 0; round < 2 && m_listener != nullptr && m_thread; ++round) {
            os::api().Sleep(100);
            m_lock.Leave();
            const DWORD waited = os::api().WaitForSingleObject(m_thread.get(), 500);
            m_lock.Enter();
            if (waited != WAIT_TIMEOUT || !m_busy)
                break;
        }
    }
    // A writer still running now belongs to a process that is ending.
    m_records.clear();
    m_lock.Leave();
    m_thread.reset();
}

void CqxLogQueue::Push(const CqxLogListener::LogData& record)
{
    os::CriticalSectionLock lock(m_lock);
    m_records.push_back(record);
    if (!m_busy) {
        // The handle of the previous writer, which takes no more records, is closed.
        m_thread.reset(
            reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, &CqxLogQueue::DrainQueue, this, 0, nullptr)));
        m_busy = static_cast<bool>(m_thread);
    }
}

bool CqxLogQueue::Drained() const
{
    os::CriticalSectionLock lock(m_lock);
    // The writer flushes and closes the file after it has cleared busy.
    return m_records.empty() && !m_busy && (!m_thread || WaitForSingleObject(m_thread.get(), 0) == WAIT_OBJECT_0);
}

unsigned __stdcall CqxLogQueue::DrainQueue(void* context)
{
    auto* queue = static_cast<CqxLogQueue*>(context);
    if (!queue->m_listener->AcquireFile()) {
        // The records stay queued for the next writer.
        os::CriticalSectionLock lock(queue->m_lock);
        queue->m_busy = false;
        return 0;
    }
    // Takes everything queued so far in one step and writes it outside the
    // lock, so callers only ever wait for a swap.
    decltype(queue->m_records) batch;
    queue->m_lock.Enter();
    while (!queue->m_records.empty()) {
        batch.swap(queue->m_records);
        queue->m_lock.Leave();
        for (const CqxLogListener::LogData& record : batch)
            queue->m_listener->WriteRecord(record);
        batch.clear();
        queue->m_lock.Enter();
    }
    queue->m_busy = false;
    queue->m_lock.Leave();
    queue->m_listener->ReleaseFile();
    return 0;
}

} // namespace QX::Shared
