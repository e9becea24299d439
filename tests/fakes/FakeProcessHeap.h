// FakeProcessHeap: the process-heap allocations of the seam (HeapAlloc,
// HeapFree), for the life of the object. Blocks come from the real heap;
// the fake counts them, keeps the size of each allocation asked for, and
// fails the allocations a test names. Safe for calls from several threads.
#pragma once

#include "platform/Api.h"

#include <mutex>
#include <set>
#include <vector>

namespace fakes {

class FakeProcessHeap {
public:
    FakeProcessHeap();
    ~FakeProcessHeap();
    FakeProcessHeap(const FakeProcessHeap&) = delete;
    FakeProcessHeap& operator=(const FakeProcessHeap&) = delete;

    // The n-th allocation from now (1 is the next one) fails; so do all
    // allocations from the n-th on when `andAfter` is set.
    void FailAllocation(int n, bool andAfter = false);

    // The sizes asked for, failed allocations included, in order.
    std::vector<SIZE_T> Allocations() const;
    int Frees() const;
    // Blocks allocated through the fake and not yet freed.
    size_t Live() const;

private:
    static LPVOID WINAPI HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes);
    static BOOL WINAPI HeapFree(HANDLE heap, DWORD flags, LPVOID block);

    static FakeProcessHeap* s_current;
    os::ScopedApiOverride m_seam;
    mutable std::mutex m_lock;
    std::vector<SIZE_T> m_allocations;
    std::set<void*> m_live;
    int m_frees = 0;
    int m_failFrom = 0;  // index (1-based) into m_allocations of the first failing one; 0: none
    bool m_failAfter = false;
};

}  // namespace fakes
