#include "fakes/VirtualClock.h"

#include <gtest/gtest.h>

namespace {

ULONGLONG Now()
{
    ULONGLONG now = 0;
    os::api().QueryUnbiasedInterruptTime(&now);
    return now;
}

TEST(VirtualClock, PausesAdvanceTimeAndAreRecorded)
{
    fakes::VirtualClock clock;
    const ULONGLONG before = Now();
    os::api().Sleep(100);
    os::api().Sleep(1000);
    EXPECT_EQ(Now() - before, 1100u * 10000u);
    EXPECT_EQ(clock.Pauses(), (std::vector<DWORD>{100, 1000}));
}

TEST(VirtualClock, AdvanceMovesTimeWithoutPause)
{
    fakes::VirtualClock clock;
    const ULONGLONG before = Now();
    clock.AdvanceTicks(125000);
    EXPECT_EQ(Now() - before, 125000u);
    EXPECT_TRUE(clock.Pauses().empty());
}

TEST(VirtualClock, RealClockComesBack)
{
    const os::Api original = os::api();
    {
        fakes::VirtualClock clock;
        EXPECT_NE(os::api().Sleep, original.Sleep);
    }
    EXPECT_EQ(os::api().Sleep, original.Sleep);
    EXPECT_EQ(os::api().QueryUnbiasedInterruptTime, original.QueryUnbiasedInterruptTime);
}

}  // namespace
