// os::Print: the command-line modes' console output, through the seam's
// fputws, and what a write that fails (a closed or full stream) costs.
#include "platform/Console.h"

#include "fakes/ConsoleCapture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::wstring>;

TEST(Print, WritesTheFormattedTextInOneWrite)
{
    fakes::ConsoleCapture console;
    os::Print(L"%s is removed.\n", L"Tessarine");
    EXPECT_EQ(console.Writes(), (Texts{L"Tessarine is removed.\n"}));
}

TEST(Print, AFailedWriteIsDroppedWithoutARetryAndTheNextPrintStillWrites)
{
    fakes::ConsoleCapture console;
    console.FailWrites(1);
    os::Print(L"Stopping %s.", L"Tessarine");
    os::Print(L"\n%s is stopped.\n", L"Tessarine");
    EXPECT_EQ(console.FailedWrites(), (Texts{L"Stopping Tessarine."}));
    EXPECT_EQ(console.Writes(), (Texts{L"\nTessarine is stopped.\n"}));
}

TEST(Print, EveryWriteFailingLosesEveryTextAndNothingElse)
{
    fakes::ConsoleCapture console;
    console.FailWrites(3);
    os::Print(L"Parameters:\n");
    os::Print(L" -install  to install the service.\n");
    os::Print(L" -remove   to remove the service.\n");
    EXPECT_EQ(console.FailedWrites(), (Texts{L"Parameters:\n", L" -install  to install the service.\n",
                                             L" -remove   to remove the service.\n"}));
    EXPECT_TRUE(console.Writes().empty());
    EXPECT_EQ(console.Text(), L"");
}

}  // namespace
