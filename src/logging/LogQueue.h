// CqxLogQueue: the queue of a queued file listener. Push appends a copy of
// the record and, when no writer is taking records, starts a writer thread
// that drains the queue into the file and ends. Its critical section guards
// the list, the busy flag and the thread handle, and is never held while
// writing.
#pragma once

#include "logging/LogListener.h"
#include "platform/CriticalSection.h"
#include "platform/UniqueHandle.h"

#include <windows.h>

#include <list>

namespace QX::Shared {

class CqxLogListenerFile;

class CqxLogQueue {
public:
    explicit CqxLogQueue(CqxLogListenerFile* listener);
    // Gives a running writer at most two rounds of a 100 ms pause and a
    // 500 ms wait; records it has not written by then are lost.
    ~CqxLogQueue();
    CqxLogQueue(const CqxLogQueue&) = delete;
    CqxLogQueue& operator=(const CqxLogQueue&) = delete;

    void Push(const CqxLogListener::LogData& record);
    // Every record queued so far is written and the writer has ended.
    bool Drained() const;

private:
    static unsigned __stdcall DrainQueue(void* queue);

    std::list<CqxLogListener::LogData> m_records;
    CqxLogListenerFile* m_listener;
    bool m_busy = false;        // a writer is taking records
    os::UniqueHandle m_thread;  // the last writer started
    mutable os::CriticalSection m_lock;
};

} // namespace QX::Shared
