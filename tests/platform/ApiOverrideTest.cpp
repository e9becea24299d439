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
    // A real pause takes real time. Measured with the performance counter:
    // Wine updates the interrupt time too coarsely for a 20 ms pause.
    LARGE_INTEGER frequency;
    LARGE_INTEGER before;
    LARGE_INTEGER after;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&before);
    os::api().Sleep(20);
    QueryPerformanceCounter(&after);
    EXPECT_GE((after.QuadPart - before.QuadPart) * 1000 / frequency.QuadPart, 15);
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

}  // namespace
