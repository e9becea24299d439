#include "fakes/VirtualClock.h"

namespace fakes {

VirtualClock* VirtualClock::s_current = nullptr;

VirtualClock::VirtualClock()
{
    // A fixed, non-zero start, as on a machine that has been up a while.
    m_ticks = 36000ull * 10000000ull;
    s_current = this;
    m_seam->Sleep = &VirtualClock::Sleep;
    m_seam->QueryUnbiasedInterruptTime = &VirtualClock::QueryUnbiasedInterruptTime;
    m_seam->WaitForSingleObject = &VirtualClock::WaitForSingleObject;
}

VirtualClock::~VirtualClock() { s_current = nullptr; }

void VirtualClock::AdvanceTicks(uint64_t ticks)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_ticks += ticks;
}

void VirtualClock::FailTimeReads(int reads)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_failingReads = reads;
}

uint64_t VirtualClock::NowTicks() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_ticks;
}

std::vector<DWORD> VirtualClock::Pauses() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_pauses;
}

void WINAPI VirtualClock::Sleep(DWORD milliseconds)
{
    std::lock_guard<std::mutex> lock(s_current->m_lock);
    s_current->m_pauses.push_back(milliseconds);
    s_current->m_ticks += static_cast<uint64_t>(milliseconds) * 10000;
}

DWORD WINAPI VirtualClock::WaitForSingleObject(HANDLE handle, DWORD milliseconds)
{
    if (milliseconds == INFINITE)
        return ::WaitForSingleObject(handle, INFINITE);
    const DWORD now = ::WaitForSingleObject(handle, 0);
    if (now != WAIT_TIMEOUT)
        return now;
    Sleep(milliseconds);
    return WAIT_TIMEOUT;
}

BOOL WINAPI VirtualClock::QueryUnbiasedInterruptTime(PULONGLONG time)
{
    std::lock_guard<std::mutex> lock(s_current->m_lock);
    if (s_current->m_failingReads > 0) {
        --s_current->m_failingReads;
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *time = s_current->m_ticks;
    return TRUE;
}

}  // namespace fakes
