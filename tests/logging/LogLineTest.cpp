// The formatted line of a record.
#include "logging/LogListener.h"

#include "logging/LogLevels.h"
#include "platform/Format.h"

#include <gtest/gtest.h>

namespace {

using QX::Shared::CqxLogListener;

SYSTEMTIME March5At140709046()
{
    SYSTEMTIME time{};
    time.wYear = 2026;
    time.wMonth = 3;
    time.wDayOfWeek = 4;
    time.wDay = 5;
    time.wHour = 14;
    time.wMinute = 7;
    time.wSecond = 9;
    time.wMilliseconds = 46;
    return time;
}

CqxLogListener::LogData Record(int32_t level, std::wstring message,
                               std::string function = "ServiceUtils::SwitchWlanStatus")
{
    return CqxLogListener::LogData(std::move(function), std::move(message), level, March5At140709046(), 0x1F40);
}

TEST(LogLine, ExampleLineOfAVerboseRecord)
{
    const auto record = Record(2, L"LanWlanSwitch set WIFI radio to dot11_radio_state_off");
    EXPECT_EQ(record.GetLine(), L"2026/03/05 14:07:09.046|00001F40|Verbose    |ServiceUtils::SwitchWlanStatus|"
                                L"LanWlanSwitch set WIFI radio to dot11_radio_state_off");
}

TEST(LogLine, HeadIs45Characters)
{
    const auto record = Record(3, L"Ethernet is connected", "NLMEventHandler::CheckEthernetConnectionStatus");
    const std::wstring& line = record.GetLine();
    EXPECT_EQ(line.find(L"NLMEventHandler"), 45u);
    EXPECT_EQ(line.substr(0, 45), L"2026/03/05 14:07:09.046|00001F40|Information|");
}

TEST(LogLine, EmptyMessageEndsInABar)
{
    const auto record = Record(0, L"", "CMainService::OnStart");
    EXPECT_EQ(record.GetLine(), L"2026/03/05 14:07:09.046|00001F40|TraceIn    |CMainService::OnStart|");
}

TEST(LogLine, LevelNamePaddedTo11Columns)
{
    const auto record = Record(5, L"x");
    EXPECT_NE(record.GetLine().find(L"|Error      |"), std::wstring::npos);
}

TEST(LogLine, EveryLevelName)
{
    const std::pair<int32_t, const wchar_t*> names[] = {
        {0, L"|TraceIn    |"}, {1, L"|TraceOut   |"}, {2, L"|Verbose    |"}, {3, L"|Information|"},
        {4, L"|Warning    |"}, {5, L"|Error      |"}, {6, L"|Diag       |"}, {99, L"|Never      |"},
    };
    for (const auto& [level, name] : names)
        EXPECT_NE(Record(level, L"m").GetLine().find(name), std::wstring::npos) << level;
}

TEST(LogLine, UnknownLevelsAreUndefined)
{
    EXPECT_NE(Record(7, L"m").GetLine().find(L"|Undefined  |"), std::wstring::npos);
    EXPECT_NE(Record(-1, L"m").GetLine().find(L"|Undefined  |"), std::wstring::npos);
}

TEST(LogLine, ThreadIdInEightHexDigits)
{
    const CqxLogListener::LogData record("F::G", L"m", 3, March5At140709046(), 0xABCDEF12);
    EXPECT_EQ(record.GetLine().substr(23, 10), L"|ABCDEF12|");
}

TEST(LogLine, FormattedOnceThenCached)
{
    const auto record = Record(4, L"CheckWlanStatus failed");
    const std::wstring first = record.GetLine();
    EXPECT_EQ(&record.GetLine(), &record.GetLine());
    // A copy made after formatting carries the cached line with it.
    const CqxLogListener::LogData copy = record;
    EXPECT_EQ(copy.GetLine(), first);
}

TEST(LogLine, MessageWithPercentSignsIsNotReformatted)
{
    const auto record = Record(3, L"100% %s %d");
    EXPECT_EQ(record.GetLine().substr(45), L"ServiceUtils::SwitchWlanStatus|100% %s %d");
}

TEST(LogLine, LongMessageKeptWhole)
{
    const std::wstring message(511, L'm');
    const auto record = Record(3, message);
    EXPECT_EQ(record.GetLine().size(), 45u + 30u + 1u + 511u);
}

TEST(LogLine, HeadIsThePrintfHeadForEveryKindOfValue)
{
    // The head is built without printf; it must equal what the format gives.
    const WORD years[] = {0, 7, 2026, 9999, 65535};
    const WORD smalls[] = {0, 1, 9, 10, 59, 99, 100, 65535};
    const WORD milliseconds[] = {0, 5, 42, 999, 1000, 65535};
    const DWORD threads[] = {0, 0x10, 0xABCDEF, 0xFFFFFFFF};
    const int32_t levels[] = {0, 1, 2, 3, 4, 5, 6, 7, -1};
    for (WORD year : years)
        for (WORD small : smalls)
            for (WORD ms : milliseconds)
                for (DWORD thread : threads)
                    for (int32_t level : levels) {
                        SYSTEMTIME time{};
                        time.wYear = year;
                        time.wMonth = small;
                        time.wDay = small;
                        time.wHour = small;
                        time.wMinute = small;
                        time.wSecond = small;
                        time.wMilliseconds = ms;
                        const CqxLogListener::LogData record("A::B", L"m", level, time, thread);
                        const wchar_t* name = QX::Shared::LevelName(level);
                        const std::wstring expected =
                            os::FormatString(L"%04d/%02d/%02d %02d:%02d:%02d.%03d|%08X|%-11s|A::B|m", year, small,
                                             small, small, small, small, ms, thread, name ? name : L"Undefined");
                        ASSERT_EQ(record.GetLine(), expected);
                    }
}

}  // namespace
