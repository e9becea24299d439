// A test program that hangs, as a test waiting for an event that never
// comes does. Its wait is bounded (ten minutes), far beyond the limit that
// tests/harness gives it. Not a test of the product: tests/harness runs it
// to prove that ctest reports such a run failed.
#include <windows.h>

#include <gtest/gtest.h>

namespace {

TEST(HangingProbe, WaitsForAnEventThatNobodySets)
{
    HANDLE never = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ASSERT_NE(never, nullptr);
    EXPECT_EQ(WaitForSingleObject(never, 10 * 60 * 1000), static_cast<DWORD>(WAIT_OBJECT_0));
    CloseHandle(never);
}

}  // namespace
