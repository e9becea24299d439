// A test program that dies part-way, as a program with a stray pointer
// does: its first test passes, its second writes through a null pointer, and
// its third is never reached. Under Wine the process still exits 0. Not a
// test of the product: tests/harness runs it to prove that ctest reports
// such a run failed.
#include <gtest/gtest.h>

namespace {

TEST(CrashingProbe, PassesBeforeTheCrash) { EXPECT_EQ(1 + 1, 2); }

TEST(CrashingProbe, WritesThroughANullPointer)
{
    volatile int* nowhere = nullptr;
    *nowhere = 1;
    EXPECT_EQ(*nowhere, 1);
}

TEST(CrashingProbe, NeverRunsAfterTheCrash) { EXPECT_EQ(2 + 2, 4); }

}  // namespace
