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
    // Records kept while no writer can write them (the last writer could
    // not open the file: its folder is a file, the disk is full). At the
    // bound the oldest record goes for each new one, so the queue holds the
    // latest ones (about 5 MB at most with messages of the usual capacity).
    // A writer that waits for another process's turn at the file is no
    // failure: the queue then grows until that writer has its turn.
    static constexpr size_t kMaxQueuedRecords = 4096;

    explicit CqxLogQueue(std::shared_ptr<CqxLogFile> file);
    // Flush, then records the writer has not taken are lost.
    ~CqxLogQueue();
    CqxLogQueue(const CqxLogQueue&) = delete;
    CqxLogQueue& operator=(const CqxLogQueue&) = delete;

    void Push(const CqxLogListener::LogData& record);
    // Gives a running writer at most two rounds of a 100 ms pause and a
    // 500 ms wait to write what is queued.
    void Flush();
    // Every record queued so far is written and the writer has ended.
    bool Drained() const;
    // No writer is taking records and the last one has ended.
    bool Idle() const;
    // Records waiting for a writer, and records dropped at the bound.
    size_t Queued() const;
    size_t Dropped() const;

private:
    struct State {
        std::list<CqxLogListener::LogData> records;
        std::shared_ptr<CqxLogFile> file;
        size_t dropped = 0;       // at the bound, since the queue was made
        bool unwritable = false;  // the last writer could not open the file
        bool busy = false;        // a writer is taking records
        os::UniqueHandle thread;  // the last writer started
        os::CriticalSection lock;
    };

    // Runs a writer; owns the State reference it is given. Catches
    // everything: a thread of its own has nobody to hand an exception to.
    static unsigned __stdcall DrainQueue(void* state);
    // Writes what is queued until the queue is empty; false when the file
    // could not be acquired.
    static bool WriteQueued(State& state);
    static bool IdleLocked(const State& state);

    std::shared_ptr<State> m_state;
};

}  // namespace QX::Shared
