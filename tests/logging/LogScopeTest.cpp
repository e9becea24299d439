// Timed scopes: the elapsed-time record and the statistics.
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "logging/LogScope.h"

#include <gtest/gtest.h>

namespace {

using fakes::LoggerWithRecorder;
using fakes::RecordingListener;
using QX::Shared::CqxLogListener;
using QX::Shared::CqxLogScope;

class LogScopeTest : public ::testing::Test {
protected:
    fakes::VirtualClock clock;
    RecordingListener* recorder = nullptr;
    // A file-type listener that accepts level 6 turns timing on.
    std::unique_ptr<QX::Shared::CqxLogger> logger = LoggerWithRecorder(recorder, 0, 6, CqxLogListener::TypeFileDirect);

    std::wstring TimeOne(uint64_t ticks, const char* function = "Utils::GetService")
    {
        recorder->Clear();
        CqxLogScope scope(logger.get(), function);
        clock.AdvanceTicks(ticks);
        scope.End();
        const auto records = recorder->Records();
        EXPECT_EQ(records.size(), 1u);
        return records.empty() ? L"" : records[0].Message();
    }
};

TEST_F(LogScopeTest, TwelveAndAHalfMillisecondsPrintFourBlanks)
{
    // "=", the blank after it, then three blanks of padding to seven columns.
    EXPECT_EQ(TimeOne(125000), L"Elapsed time =    12.5 ms.");
}

TEST_F(LogScopeTest, ElapsedRecordIsLevel6WithTheFunctionName)
{
    CqxLogScope scope(logger.get(), "ServiceUtils::SwitchWlanStatus");
    clock.AdvanceMilliseconds(3);
    scope.End();
    const auto record = recorder->Records().at(0);
    EXPECT_EQ(record.Level(), 6);
    EXPECT_EQ(record.Function(), "ServiceUtils::SwitchWlanStatus");
    EXPECT_EQ(record.GetLine().substr(33), L"Diag       |ServiceUtils::SwitchWlanStatus|Elapsed time =     3.0 ms.");
    EXPECT_DOUBLE_EQ(scope.ElapsedMilliseconds(), 3.0);
}

TEST_F(LogScopeTest, ExactlyOneMillionMillisecondsIsReportedInSeconds)
{
    EXPECT_EQ(TimeOne(1000000ull * 10000ull), L"Elapsed time =  1000.0 s.");
}

TEST_F(LogScopeTest, JustBelowOneMillionMillisecondsStaysInMilliseconds)
{
    EXPECT_EQ(TimeOne(1000000ull * 10000ull - 1000ull), L"Elapsed time = 999999.9 ms.");
}

TEST_F(LogScopeTest, StatisticsAccumulateCountAndMillisecondsPerFunction)
{
    TimeOne(125000, "A::First");
    TimeOne(250000, "A::First");
    TimeOne(20000000000ull, "B::Longer");  // 2,000,000 ms: printed in seconds, counted in ms
    const auto statistics = logger->TimingStatistics();
    ASSERT_EQ(statistics.size(), 2u);
    EXPECT_DOUBLE_EQ(statistics.at("A::First").first, 37.5);
    EXPECT_EQ(statistics.at("A::First").second, 2u);
    EXPECT_DOUBLE_EQ(statistics.at("B::Longer").first, 2000000.0);
    EXPECT_EQ(statistics.at("B::Longer").second, 1u);
    EXPECT_EQ(logger->LongestFunctionName(), 9u);
}

TEST_F(LogScopeTest, DestructorEndsAScopeNotEnded)
{
    {
        CqxLogScope scope(logger.get(), "F::G");
        clock.AdvanceMilliseconds(1);
    }
    EXPECT_EQ(recorder->Records().size(), 1u);
    EXPECT_EQ(logger->TimingStatistics().at("F::G").second, 1u);
}

TEST_F(LogScopeTest, EndedScopeIsNotEndedAgain)
{
    {
        CqxLogScope scope(logger.get(), "F::G");
        scope.End();
    }
    EXPECT_EQ(recorder->Records().size(), 1u);
}

TEST_F(LogScopeTest, AStartWhoseClockReadFailsTimesNothingRatherThanTheTimeSinceBoot)
{
    clock.FailTimeReads(1);
    EXPECT_EQ(TimeOne(30000, "F::G"), L"Elapsed time =     0.0 ms.");
    EXPECT_DOUBLE_EQ(logger->TimingStatistics().at("F::G").first, 0.0);
    EXPECT_EQ(logger->TimingStatistics().at("F::G").second, 1u);
}

TEST_F(LogScopeTest, AnEndWhoseClockReadFailsTimesNothingRatherThanWrappingAround)
{
    recorder->Clear();
    {
        CqxLogScope scope(logger.get(), "F::G");
        clock.AdvanceMilliseconds(3);
        clock.FailTimeReads(1);
        scope.End();
        EXPECT_DOUBLE_EQ(scope.ElapsedMilliseconds(), 0.0);
    }
    const auto records = recorder->Records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].Message(), L"Elapsed time =     0.0 ms.");
    EXPECT_DOUBLE_EQ(logger->TimingStatistics().at("F::G").first, 0.0);
}

TEST_F(LogScopeTest, AFailedClockReadCostsOnlyItsOwnScope)
{
    clock.FailTimeReads(1);
    TimeOne(30000, "F::G");
    EXPECT_EQ(TimeOne(30000, "F::G"), L"Elapsed time =     3.0 ms.");
    EXPECT_DOUBLE_EQ(logger->TimingStatistics().at("F::G").first, 3.0);
    EXPECT_EQ(logger->TimingStatistics().at("F::G").second, 2u);
}

TEST_F(LogScopeTest, StartIfTimingGivesAScopeWhenTimingIsOn)
{
    ASSERT_TRUE(logger->TimingEnabled());
    EXPECT_NE(CqxLogScope::StartIfTiming(logger.get(), "F::G"), nullptr);
}

TEST(LogScope, StartIfTimingGivesNothingWithoutTiming)
{
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder, 0, 6, CqxLogListener::TypeConsole);
    EXPECT_FALSE(logger->TimingEnabled());
    EXPECT_EQ(CqxLogScope::StartIfTiming(logger.get(), "F::G"), nullptr);
    EXPECT_EQ(CqxLogScope::StartIfTiming(nullptr, "F::G"), nullptr);
}

TEST(LogScope, StatisticsKeptEvenWhenTheRecordIsFiltered)
{
    fakes::VirtualClock clock;
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder, 0, 5);
    {
        CqxLogScope scope(logger.get(), "F::G");
        clock.AdvanceMilliseconds(2);
    }
    EXPECT_TRUE(recorder->Records().empty());
    EXPECT_DOUBLE_EQ(logger->TimingStatistics().at("F::G").first, 2.0);
}

}  // namespace
