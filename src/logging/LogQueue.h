// CqxLogQueue: the queue of a queued file listener. Push appends a copy of
// the record and, when no writer is taking records, starts a writer thread
// that drains the queue into the file and ends. Its critical section guards
// the list, the busy flag and the thread handle, and is never held while
// writing.
//
// The list, the flag, the handle and the critical section live in a state
// that the queue shares with its writer, and the writer holds the listener's
// file (CqxLogFile) the same way: a writer still running when the queue is
// destroyed (after the bounded wait below) ends on state that is still
// there.
#pragma once

#include "logging/LogListener.h"
#include "platform/CriticalSection.h"
#include "platform/UniqueHandle.h"

#include <windows.h>

#include <list>
#include <memory>

namespace QX::Shared {

class CqxLogFile;

class CqxLogQueue {
public:
    explicit CqxLogQueue(std::shared_ptr<CqxLogFile> file);
    // Gives a running writer at most two rounds of a 100 ms pause and a
    // 500 ms wait; records it has not taken by then are lost.
    ~CqxLogQueue();
    CqxLogQueue(const CqxLogQueue&) = delete;
    CqxLogQueue& operator=(const CqxLogQueue&) = delete;

    void Push(const CqxLogListener::LogData& record);
    // Every record queued so far is written and the writer has ended.
    bool Drained() const;

private:
    struct State {
        std::list<CqxLogListener::LogData> records;
        std::shared_ptr<CqxLogFile> file;
        bool busy = false;        // a writer is taking records
        os::UniqueHandle thread;  // the last writer started
        os::CriticalSection lock;
    };

    // Runs a writer; owns the State reference it is given.
    static unsigned __stdcall DrainQueue(void* state);

    std::shared_ptr<State> m_state;
};

} // namespace QX::Shared
