// The exit codes are the contract with administrators' scripts.
#include "Verbs.h"

#include <gtest/gtest.h>

TEST(DiagExitCodes, AreTheDocumentedOnes)
{
    EXPECT_EQ(diag::kExitRan, 0);
    EXPECT_EQ(diag::kExitServiceNotRunning, 1);
    EXPECT_EQ(diag::kExitMisuse, 2);
}
