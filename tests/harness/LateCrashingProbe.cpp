// A test program whose tests all pass and which then dies while it exits, as
// a program with a stray pointer in a static object's destructor does: the
// summary says "PASSED", and the fault comes after it. Not a test of the
// product: tests/harness runs it to prove that ctest reports such a run
// failed.
#include <gtest/gtest.h>

namespace {

// Destroyed after GoogleTest's summary, when the process exits.
struct WritesThroughANullPointerAtExit {
    ~WritesThroughANullPointerAtExit()
    {
        volatile int* nowhere = nullptr;
        *nowhere = 1;
    }
} atExit;

TEST(LateCrashingProbe, PassesBeforeTheExit) { EXPECT_EQ(1 + 1, 2); }

}  // namespace
