// VirtualClock: installs itself in the platform seam for its lifetime, so
// that timed pauses (sleeps and timed waits) return at once, advance virtual time and are recorded,
// and the unbiased interrupt time reads virtual time. Safe for calls from
// several threads.
#pragma once

#include "platform/Api.h"

#include <cstdint>
#include <mutex>
#include <vector>

namespace fakes {

class VirtualClock {
public:
    VirtualClock();
    ~VirtualClock();
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    // Moves virtual time on without a pause (100-ns units, or milliseconds).
    void AdvanceTicks(uint64_t ticks);
    void AdvanceMilliseconds(uint64_t milliseconds) { AdvanceTicks(milliseconds * 10000); }

    // The next `reads` reads of the unbiased interrupt time fail: FALSE,
    // ERROR_INVALID_PARAMETER as the last error, nothing written.
    void FailTimeReads(int reads);

    uint64_t NowTicks() const;
    uint64_t NowMilliseconds() const { return NowTicks() / 10000; }
    // Every pause taken, in milliseconds, in the order taken.
    std::vector<DWORD> Pauses() const;

private:
    static void WINAPI Sleep(DWORD milliseconds);
    // A timed wait on an object that is not signalled is a pause that ends
    // at once with WAIT_TIMEOUT; a signalled object or an infinite wait is
    // left to the real call.
    static DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);
    static BOOL WINAPI QueryUnbiasedInterruptTime(PULONGLONG time);

    static VirtualClock* s_current;
    os::ScopedApiOverride m_seam;
    mutable std::mutex m_lock;
    uint64_t m_ticks = 0;
    std::vector<DWORD> m_pauses;
    int m_failingReads = 0;
};

}  // namespace fakes
