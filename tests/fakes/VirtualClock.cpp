#include "fakes/VirtualClock.h"

namespace fakes {

VirtualClock* VirtualClock::current_ = nullptr;

VirtualClock::VirtualClock()
{
    // A fixed, non-zero start, as on a machine that has been up a while.
    ticks_ = 36000ull * 10000000ull;
    current_ = this;
    seam_->Sleep = &VirtualClock::Sleep;
    seam_->QueryUnbiasedInterruptTime = &VirtualClock::QueryUnbiasedInterruptTime;
    seam_->WaitForSingleObject = &VirtualClock::WaitForSingleObject;
}

VirtualClock::~VirtualClock() { current_ = nullptr; }

void VirtualClock::AdvanceTicks(uint64_t ticks)
{
    std::lock_guard<std::mutex> lock(lock_);
    ticks_ += ticks;
}

uint64_t VirtualClock::NowTicks() const
{
    std::lock_guard<std::mutex> lock(lock_);
    return ticks_;
}

std::vector<DWORD> VirtualClock::Pauses() const
{
    std::lock_guard<std::mutex> lock(lock_);
    return pauses_;
}

void WINAPI VirtualClock::Sleep(DWORD milliseconds)
{
    std::lock_guard<std::mutex> lock(current_->lock_);
    current_->pauses_.push_back(milliseconds);
    current_->ticks_ += static_cast<uint64_t>(milliseconds) * 10000;
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
    *time = current_->NowTicks();
    return TRUE;
}

} // namespace fakes
