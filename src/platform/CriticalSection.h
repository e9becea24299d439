// A Win32 critical section with scoped locking, for the short updates that
// many threads make (the log statistics, the log queue).
#pragma once

#include <windows.h>

namespace os {

class CriticalSection {
public:
    CriticalSection() { InitializeCriticalSection(&m_section); }
    ~CriticalSection() { DeleteCriticalSection(&m_section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void Enter() { EnterCriticalSection(&m_section); }
    void Leave() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

class CriticalSectionLock {
public:
    explicit CriticalSectionLock(CriticalSection& section) : m_section(section) { m_section.Enter(); }
    ~CriticalSectionLock() { m_section.Leave(); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    CriticalSection& m_section;
};

}  // namespace os
