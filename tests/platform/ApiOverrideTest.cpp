#include "platform/Api.h"

#include <gtest/gtest.h>

namespace {

// Addresses of imported functions differ between translation units (import
// thunk or import table entry), so the tests compare with a saved table.
bool SameTable(const os::Api& a, const os::Api& b)
{
    return a.Sleep == b.Sleep && a.QueryUnbiasedInterruptTime == b.QueryUnbiasedInterruptTime;
}

DWORD g_lastPause = 0;
void WINAPI RecordPause(DWORD milliseconds) { g_lastPause = milliseconds; }

TEST(ScopedApiOverride, RealFunctionsByDefault)
{
    ULONGLONG now = 0;
    ASSERT_TRUE(os::api().QueryUnbiasedInterruptTime(&now));
    EXPECT_GT(now, 0u);
    const ULONGLONG before = now;
    os::api().Sleep(20);
    os::api().QueryUnbiasedInterruptTime(&now);
    EXPECT_GE(now - before, 10u * 10000u);  // a real pause took real time
}

TEST(ScopedApiOverride, SwapsCallsAndRestores)
{
    const os::Api original = os::api();
    {
        os::ScopedApiOverride guard;
        guard->Sleep = &RecordPause;
        EXPECT_EQ(os::api().Sleep, &RecordPause);
        os::api().Sleep(81);
        EXPECT_EQ(g_lastPause, 81u);
    }
    EXPECT_TRUE(SameTable(os::api(), original));
}

TEST(ScopedApiOverride, NestedGuardsRestoreInTurn)
{
    const os::Api original = os::api();
    {
        os::ScopedApiOverride outer;
        outer->Sleep = &RecordPause;
        {
            os::ScopedApiOverride inner;
            inner->Sleep = original.Sleep;
            EXPECT_EQ(os::api().Sleep, original.Sleep);
        }
        EXPECT_EQ(os::api().Sleep, &RecordPause);
    }
    EXPECT_TRUE(SameTable(os::api(), original));
}

} // namespace
