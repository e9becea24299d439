// A Win32 critical section with scoped locking. Used where a lock guards a
// short update and is taken from many threads (the log statistics, the log
// queue): cheaper than the winpthreads-based std::mutex of this toolchain.
#pragma once

#include <windows.h>

namespace os {

class CriticalSection {
public:
    CriticalSection() { InitializeCriticalSection(&section_); }
    ~CriticalSection() { DeleteCriticalSection(&section_); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void Enter() { EnterCriticalSection(&section_); }
    void Leave() { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};

class CriticalSectionLock {
public:
    explicit CriticalSectionLock(CriticalSection& section) : section_(section) { section_.Enter(); }
    ~CriticalSectionLock() { section_.Leave(); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    CriticalSection& section_;
};

} // namespace os
