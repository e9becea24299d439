// The line parser: a record's fields, and lines of another format refused.
#include "explain/LogLine.h"

#include <gtest/gtest.h>

#include <string>

using diag::LogRecord;
using diag::ParseLogLine;

TEST(LogLine, SplitsTheFieldsOfALine)
{
    LogRecord record;
    ASSERT_TRUE(
        ParseLogLine("2026/03/05 14:07:09.046|00001F40|Verbose    |ServiceUtils::SwitchWlanStatus|LanWlanSwitch "
                     "set WIFI radio to dot11_radio_state_off",
                     record));
    EXPECT_EQ(record.thread, 0x1F40u);
    EXPECT_EQ(record.level, 2);
    EXPECT_EQ(record.function, "ServiceUtils::SwitchWlanStatus");
    EXPECT_EQ(record.message, "LanWlanSwitch set WIFI radio to dot11_radio_state_off");
    const diag::CivilTime time = diag::ToCivil(record.time);
    EXPECT_EQ(time.year, 2026);
    EXPECT_EQ(time.month, 3);
    EXPECT_EQ(time.day, 5);
    EXPECT_EQ(time.hour, 14);
    EXPECT_EQ(time.minute, 7);
    EXPECT_EQ(time.second, 9);
    EXPECT_EQ(time.millisecond, 46);
}

TEST(LogLine, KeepsTheBarsOfTheMessage)
{
    LogRecord record;
    ASSERT_TRUE(ParseLogLine("2026/11/23 18:13:03.015|00000190|Information|CMainService::OnStart|LAN/WLAN | LAN/WWAN "
                             "Switching Service (1.0.0.0) in OnStart",
                             record));
    EXPECT_EQ(record.function, "CMainService::OnStart");
    EXPECT_EQ(record.message, "LAN/WLAN | LAN/WWAN Switching Service (1.0.0.0) in OnStart");
}

TEST(LogLine, ReadsEveryLevelNameAndAnEmptyMessage)
{
    const char* names[] = {"TraceIn    ", "TraceOut   ", "Verbose    ", "Information",
                           "Warning    ", "Error      ", "Diag       "};
    for (int level = 0; level <= 6; ++level) {
        LogRecord record;
        const std::string line = std::string("2026/11/23 18:13:03.015|00000190|") + names[level] + "|F::G|";
        ASSERT_TRUE(ParseLogLine(line, record)) << line;
        EXPECT_EQ(record.level, level);
        EXPECT_TRUE(record.message.empty());
    }
    LogRecord record;
    ASSERT_TRUE(ParseLogLine("2026/11/23 18:13:03.015|00000190|Undefined  |F::G|x", record));
    EXPECT_EQ(record.level, -1);
}

TEST(LogLine, RefusesLinesOfAnotherFormat)
{
    const char* foreign[] = {
        "",
        "garbage",
        "2026/11/23 18:13:03.015|00000190|Information|",                    // no function
        "2026/11/23 18:13:03.015|00000190|Information||message",            // an empty function
        "2026/11/23 18:13:03.015|00000190|Information|NoBarAfterFunction",  // no bar after it
        "2026-11-23 18:13:03.015|00000190|Information|F|m",                 // another date format
        "2026/11/23 18:13:03,015|00000190|Information|F|m",                 // a comma
        "2026/11/23 18:13:03.015|0000019g|Information|F|m",                 // not hexadecimal
        "2026/11/23 18:13:03.015|0000019a|Information|F|m",                 // lower case: not the service's
        "2026/11/23 18:13:03.015|00000190|Info       |F|m",                 // no such level
        "2026/11/23 18:13:03.015|00000190|information|F|m",                 // the wrong case
        "2026/13/23 18:13:03.015|00000190|Information|F|m",                 // month 13
        "2026/02/30 18:13:03.015|00000190|Information|F|m",                 // 30 February
        "2026/11/23 24:13:03.015|00000190|Information|F|m",                 // hour 24
        "2026/11/23 18:13:03.01|00000190|Information|F|m",                  // a digit short
        "\xEF\xBB\xBF"
        "2026/11/23 18:13:03.015|00000190|Information|F|m",  // a mark the reader drops
    };
    for (const char* line : foreign) {
        LogRecord record;
        EXPECT_FALSE(ParseLogLine(line, record)) << line;
    }
}

TEST(LogLine, TimesCountMillisecondsAcrossDaysMonthsAndLeapDays)
{
    diag::Millis a, b;
    ASSERT_TRUE(diag::ToMillis(2026, 11, 23, 23, 59, 59, 999, a));
    ASSERT_TRUE(diag::ToMillis(2026, 11, 24, 0, 0, 0, 0, b));
    EXPECT_EQ(b - a, 1);
    ASSERT_TRUE(diag::ToMillis(2028, 2, 29, 12, 0, 0, 0, a));
    ASSERT_TRUE(diag::ToMillis(2028, 3, 1, 12, 0, 0, 0, b));
    EXPECT_EQ(b - a, 86400000);
    EXPECT_FALSE(diag::ToMillis(2026, 2, 29, 12, 0, 0, 0, a));
    ASSERT_TRUE(diag::ToMillis(1970, 1, 1, 0, 0, 0, 0, a));
    EXPECT_EQ(a, 0);
    const diag::CivilTime back = diag::ToCivil(b);
    EXPECT_EQ(back.year, 2028);
    EXPECT_EQ(back.month, 3);
    EXPECT_EQ(back.day, 1);
    EXPECT_EQ(back.hour, 12);
}
