// Each policy of the template, written to the registry exactly as Group
// Policy writes it (type and data from the template), then logging started
// as the program starts it: the log changes as the policy's explanation
// says. The levels and destinations expected here are those the logging
// documentation gives, not read from the library.
#include "logging/LogLevels.h"
#include "logging/LogListener.h"
#include "policy/LoggingUnderPolicy.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace policy_tests;
using QX::Shared::CqxLogger;
using QX::Shared::CqxLogListener;

std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

// The documented level of each name.
int32_t DocumentedLevel(const std::wstring& name)
{
    static const std::vector<std::pair<std::wstring, int32_t>> levels = {
        {L"TraceIn", 0}, {L"TraceOut", 1}, {L"Verbose", 2}, {L"Information", 3},
        {L"Warning", 4}, {L"Error", 5},    {L"Diag", 6},    {L"Never", 99}};
    for (const auto& [levelName, level] : levels) {
        if (levelName == name)
            return level;
    }
    ADD_FAILURE() << "no documented level is named " << Narrow(name);
    return -1;
}

// The levels from `lowest` to `highest` of the records logged (0 to 6).
std::set<int32_t> Levels(int32_t lowest, int32_t highest)
{
    std::set<int32_t> levels;
    for (int32_t level = 0; level <= 6; ++level) {
        if (level >= lowest && level <= highest)
            levels.insert(level);
    }
    return levels;
}

class PolicyEffect : public LoggingUnderPolicy {
protected:
    struct Outcome {
        std::wstring level;        // the level name chosen
        std::set<int32_t> logged;  // the levels of the records in the log
        bool timing;               // elapsed-time records turned on
    };

    // For each level that the policy's list offers, in turn: written as the
    // template writes it, logging started, one record logged per level.
    std::vector<Outcome> LogWithEachLevelOffered(const wchar_t* policyName)
    {
        const Policy& policy = InstalledTemplate().Find(policyName);
        const PolicyElement& element = policy.Element(policyName);
        EXPECT_FALSE(element.items.empty());
        std::vector<Outcome> outcomes;
        for (size_t item = 0; item < element.items.size(); ++item) {
            Apply(ItemWrite(policy, element, item));
            const bool timing = StartLogging().TimingEnabled();
            LogOneRecordAtEachLevel();
            outcomes.push_back({element.items[item].text, LevelsInTheLog(), timing});
            StopLoggingAndDeleteTheLog();
        }
        return outcomes;
    }
};

TEST_F(PolicyEffect, EachLowestLevelOfferedKeepsThatLevelAndAboveUpToError)
{
    // Never keeps nothing, Diag nothing either (it lies above Error).
    for (const Outcome& outcome : LogWithEachLevelOffered(L"MinLogLevel"))
        EXPECT_EQ(outcome.logged, Levels(DocumentedLevel(outcome.level), 5)) << Narrow(outcome.level);
}

TEST_F(PolicyEffect, EachHighestLevelOfferedKeepsThatLevelAndBelow)
{
    for (const Outcome& outcome : LogWithEachLevelOffered(L"MaxLogLevel")) {
        EXPECT_EQ(outcome.logged, Levels(0, DocumentedLevel(outcome.level))) << Narrow(outcome.level);
        // Diag also turns on the elapsed-time records of timed operations.
        EXPECT_EQ(outcome.timing, outcome.level == L"Diag") << Narrow(outcome.level);
    }
}

TEST_F(PolicyEffect, LogDestinationsChooseTheListeners)
{
    const auto& policy = InstalledTemplate().Find(L"LoggingType");
    const PolicyElement& element = policy.Element(L"LoggingType");
    const std::vector<std::pair<std::wstring, std::vector<int32_t>>> cases = {
        {L"FILE", {CqxLogListener::TypeFileDirect}},
        {L"EVENT", {CqxLogListener::TypeEvent}},
        {L"CONSOLE", {CqxLogListener::TypeConsole}},
        {L"DEBUG", {CqxLogListener::TypeDebug}},
        // The explanation's example, and any case with any separator.
        {L"FILE, EVENT", {CqxLogListener::TypeEvent, CqxLogListener::TypeFileDirect}},
        {L"debug;file", {CqxLogListener::TypeFileDirect, CqxLogListener::TypeDebug}},
        // No keyword: the default, the file through the background writer.
        {L"NONE", {CqxLogListener::TypeFileQueued}},
    };
    for (const auto& [text, types] : cases) {
        Apply(TextWrite(policy, element, text));
        StartLogging();
        EXPECT_EQ(ListenerTypes(), types) << Narrow(text);
        StopLoggingAndDeleteTheLog();
    }
}

TEST_F(PolicyEffect, TheLogFileRotatesAboveTheSizeChosen)
{
    const auto& policy = InstalledTemplate().Find(L"MaxLogSize");
    const PolicyElement& element = policy.Element(L"MaxLogSize");
    for (const uint32_t kilobytes : {element.minValue, 3u, 2048u}) {
        Apply(NumberWrite(policy, element, kilobytes));
        const uint64_t limit = uint64_t{kilobytes} * 1024;

        SeedTheLog(limit);  // exactly the limit: kept
        StartLogging();
        LogOneRecordAtEachLevel();  // the first record written checks the size
        EXPECT_EQ(FileSize(OlderLogPath(1)), -1) << kilobytes;
        StopLoggingAndDeleteTheLog();

        SeedTheLog(limit + 1);  // one byte more: rotated
        StartLogging();
        LogOneRecordAtEachLevel();
        EXPECT_EQ(FileSize(OlderLogPath(1)), static_cast<int64_t>(limit + 1)) << kilobytes;
        EXPECT_EQ(LevelsInTheLog(), Levels(0, 5)) << kilobytes;  // a new file, with the new records only
        StopLoggingAndDeleteTheLog();
    }
}

TEST_F(PolicyEffect, BackgroundWriterEnabledQueuesTheFileThatFileWritesDirectly)
{
    const auto& destinations = InstalledTemplate().Find(L"LoggingType");
    Apply(TextWrite(destinations, destinations.Element(L"LoggingType"), L"FILE"));
    Apply(EnabledWrite(InstalledTemplate().Find(L"QueuedWrites")));
    StartLogging();
    EXPECT_EQ(ListenerTypes(), std::vector<int32_t>{CqxLogListener::TypeFileQueued});
}

TEST_F(PolicyEffect, BackgroundWriterDisabledWritesTheDefaultFileDirectly)
{
    Apply(DisabledWrite(InstalledTemplate().Find(L"QueuedWrites")));
    CqxLogger& logger = StartLogging();
    EXPECT_EQ(ListenerTypes(), std::vector<int32_t>{CqxLogListener::TypeFileDirect});
    // Written by the logging thread itself: in the file when the call returns.
    QX::Shared::Log(&logger, QX::Shared::LevelError, "PolicyEffect::Direct", L"%d", 5);
    EXPECT_EQ(LevelsInTheLog(), std::set<int32_t>{5});
}

}  // namespace
