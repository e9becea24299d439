#include "platform/Format.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Format, WindowsRuntimeConversions)
{
    wchar_t buffer[512];
    os::Format(buffer, 512, L"[%s] [%S] [%7.1Lf ms.]", L"wide", "narrow", 12.5);
    EXPECT_STREQ(buffer, L"[wide] [narrow] [   12.5 ms.]");
}

TEST(Format, HexAndPaddedColumns)
{
    wchar_t buffer[64];
    os::Format(buffer, 64, L"%08X|%-11s|0x%08lx|%d|%u", 0x1F40u, L"Error", 0x427ul, -1, 7u);
    EXPECT_STREQ(buffer, L"00001F40|Error      |0x00000427|-1|7");
}

TEST(Format, ReturnsLength)
{
    wchar_t buffer[16];
    EXPECT_EQ(os::Format(buffer, 16, L"%d", 12345), 5u);
}

TEST(Format, CutsAtCapacityMinusOneAndTerminates)
{
    wchar_t buffer[8];
    EXPECT_EQ(os::Format(buffer, 8, L"%s", L"0123456789"), 7u);
    EXPECT_STREQ(buffer, L"0123456");
}

TEST(Format, TextOfExactlyCapacityMinusOneFits)
{
    wchar_t buffer[8];
    EXPECT_EQ(os::Format(buffer, 8, L"%s", L"0123456"), 7u);
    EXPECT_STREQ(buffer, L"0123456");
}

TEST(Format, ZeroCapacityWritesNothing)
{
    wchar_t buffer[2] = {L'x', L'y'};
    EXPECT_EQ(os::Format(buffer, 0, L"%d", 1), 0u);
    EXPECT_EQ(buffer[0], L'x');
}

TEST(FormatString, AnyLength)
{
    const std::wstring text = os::FormatString(L"%s-%S", std::wstring(3000, L'a').c_str(), "b");
    EXPECT_EQ(text.size(), 3002u);
    EXPECT_EQ(text.substr(2998), L"aa-b");
}

TEST(FormatString, EmptyFormat) { EXPECT_EQ(os::FormatString(L""), L""); }

}  // namespace
