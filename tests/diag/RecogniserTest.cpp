// The recogniser: printf formats matched against messages, and the
// service's lines told apart by function and text.
#include "explain/Recogniser.h"
#include "explain/ServiceTexts.h"
#include "explain/TextPattern.h"

#include "StoryHarness.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

using diag::MatchPattern;
using diag::PatternCaptures;
using diag::Signal;

TEST(TextPattern, MatchesLiteralTextExactlyBlanksIncluded)
{
    PatternCaptures captures;
    EXPECT_TRUE(MatchPattern("Ethernet is connected", "Ethernet is connected", captures));
    EXPECT_FALSE(MatchPattern("Ethernet is connected", "Ethernet is connected ", captures));
    EXPECT_FALSE(MatchPattern("Connectivity state : %d ", "Connectivity state : 66", captures));
    EXPECT_TRUE(MatchPattern("Connectivity state : %d ", "Connectivity state : 66 ", captures));
    EXPECT_EQ(captures.numbers[0], 66);
    EXPECT_TRUE(MatchPattern("100%% done", "100% done", captures));
}

TEST(TextPattern, CapturesNumbersOfEachConversion)
{
    PatternCaptures captures;
    ASSERT_TRUE(MatchPattern("WaitforServiceToStartRunning (WLAN AutoConfig) failed with running status = %d",
                             "WaitforServiceToStartRunning (WLAN AutoConfig) failed with running status = -1",
                             captures));
    EXPECT_EQ(captures.numbers[0], -1);
    ASSERT_TRUE(MatchPattern("Airplane Mode Status: %u ", "Airplane Mode Status: 1 ", captures));
    EXPECT_EQ(captures.numbers[0], 1);
    EXPECT_FALSE(MatchPattern("Airplane Mode Status: %u ", "Airplane Mode Status: -1 ", captures));
    ASSERT_TRUE(MatchPattern("Failed to initialize WMI Read [hr:0x%08X]",
                             "Failed to initialize WMI Read [hr:0x8004100E]", captures));
    EXPECT_EQ(captures.numbers[0], 0x8004100E);
    ASSERT_TRUE(
        MatchPattern("StringFromCLSID failed w/err 0x%08lx", "StringFromCLSID failed w/err 0x0000007e", captures));
    EXPECT_EQ(captures.numbers[0], 0x7E);
    EXPECT_FALSE(MatchPattern("Phy state : %d", "Phy state : ", captures));
    EXPECT_FALSE(MatchPattern("Phy state : %d", "Phy state : x", captures));
}

TEST(TextPattern, CapturesTextsAsShortAsTheRestAllows)
{
    PatternCaptures captures;
    ASSERT_TRUE(MatchPattern("Setting = %s  ==>  Value = %s",
                             "Setting = LAN / WLAN Auto Switching  ==>  Value = *Disable", captures));
    EXPECT_EQ(captures.textCount, 2);
    EXPECT_EQ(captures.texts[0], "LAN / WLAN Auto Switching");
    EXPECT_EQ(captures.texts[1], "*Disable");
    ASSERT_TRUE(MatchPattern("LAN/WLAN | LAN/WWAN Switching Service (%s) in OnStart",
                             "LAN/WLAN | LAN/WWAN Switching Service (1.0.0.0) in OnStart", captures));
    EXPECT_EQ(captures.texts[0], "1.0.0.0");
    ASSERT_TRUE(MatchPattern("Connection ID : %s", "Connection ID : ", captures));
    EXPECT_EQ(captures.texts[0], "");
    ASSERT_TRUE(MatchPattern("Query for %ws from  %ws failed. [hr:0x%08X]",
                             "Query for SELECT * FROM X WHERE Name='a' from  X failed. [hr:0x80041010]", captures));
    EXPECT_EQ(captures.texts[0], "SELECT * FROM X WHERE Name='a'");
    EXPECT_EQ(captures.texts[1], "X");
    EXPECT_EQ(captures.numbers[0], 0x80041010);
}

namespace {

bool RecogniseLine(const std::string& line, diag::Recognised& recognised)
{
    diag::LogRecord record;
    EXPECT_TRUE(diag::ParseLogLine(line, record)) << line;
    return diag::Recognise(record, recognised);
}

}  // namespace

TEST(Recogniser, KnowsTheServicesLinesWithTheirArguments)
{
    using diagtest::Info;
    diag::Recognised recognised;
    ASSERT_TRUE(RecogniseLine(Info("18:13:05.236", 0x220, "NLMEventHandler::NetworkConnectionConnectivityChanged",
                                   "Connection ID : {00000002-FFFF-FFFF-0000-4E6574446576}"),
                              recognised));
    EXPECT_EQ(recognised.signal, Signal::NlmConnectionId);
    EXPECT_EQ(recognised.captures.texts[0], "{00000002-FFFF-FFFF-0000-4E6574446576}");
    ASSERT_TRUE(RecogniseLine(
        Info("18:13:05.240", 0x220, "ServiceUtils::SwitchWlanStatus", "Current WLAN Status : 1, To Change Status = 0"),
        recognised));
    EXPECT_EQ(recognised.signal, Signal::WlanSwitchBegin);
    EXPECT_EQ(recognised.captures.numbers[0], 1);
    EXPECT_EQ(recognised.captures.numbers[1], 0);
    ASSERT_TRUE(RecogniseLine(Info("18:13:06.858", 0x308, "CMainService::HandleWlanNotificationMsmRadioStateChange",
                                   "Not processing the callback, msm_Notification_flag = 1, ResumeFlag = 0"),
                              recognised));
    EXPECT_EQ(recognised.signal, Signal::HandlerSkipped);
    ASSERT_TRUE(RecogniseLine(diagtest::Line("18:13:06.858", 0x308, diagtest::kTraceOut,
                                             "CMainService::HandleWlanNotificationMsmRadioStateChange", ""),
                              recognised));
    EXPECT_EQ(recognised.signal, Signal::HandlerEnd);
}

TEST(Recogniser, ATextCountsOnlyUnderItsOwnFunctionAndLevel)
{
    using diagtest::Info;
    diag::Recognised recognised;
    // "Ethernet Connection - adding to set..." means one thing in the sink and another at the start.
    ASSERT_TRUE(RecogniseLine(Info("18:13:05.238", 0x220, "NLMEventHandler::NetworkConnectionConnectivityChanged",
                                   "Ethernet Connection - adding to set..."),
                              recognised));
    EXPECT_EQ(recognised.signal, Signal::NlmAddingToSet);
    ASSERT_TRUE(RecogniseLine(
        Info("18:13:05.238", 0x220, "NLMUtils::PrintNetworkConnections", "Ethernet Connection - adding to set..."),
        recognised));
    EXPECT_EQ(recognised.signal, Signal::PrintedEthernet);
    EXPECT_FALSE(RecogniseLine(Info("18:13:05.238", 0x220, "Some::Other", "Ethernet is connected"), recognised));
    // The handler's exit record is its end; an entry record with the same empty text is not.
    EXPECT_FALSE(RecogniseLine(diagtest::Line("18:13:06.858", 0x308, diagtest::kTraceIn,
                                              "CMainService::HandleWlanNotificationMsmRadioStateChange", ""),
                               recognised));
    // Lines of the service that tell nothing of the story.
    EXPECT_FALSE(RecogniseLine(Info("18:13:05.240", 0x220, "ServiceUtils::CheckWlanStatus", "WLAN Interface Count : 1"),
                               recognised));
    // A number where the text has one, or nothing.
    EXPECT_FALSE(RecogniseLine(Info("18:13:05.240", 0x220, "NLMEventHandler::NetworkConnectionConnectivityChanged",
                                    "Connectivity state : many "),
                               recognised));
}

TEST(Recogniser, EveryTextOfTheTableIsRecognisedAsItsOwnSignal)
{
    // Each format printed with sample arguments comes back as the entry's
    // signal: no entry is shadowed by another of its function.
    for (const diag::ServiceText* text = diag::ServiceTextsBegin(); text != diag::ServiceTextsEnd(); ++text) {
        std::string message;
        for (const char* c = text->format; *c != '\0'; ++c) {
            if (*c != '%') {
                message += *c;
                continue;
            }
            ++c;
            while (*c == '0' || (*c >= '1' && *c <= '9') || *c == 'l' || *c == 'w')
                ++c;
            message += (*c == 's' || *c == 'S') ? "text" : (*c == 'x' || *c == 'X') ? "1F" : "7";
        }
        const int level = text->level == diag::kAnyLevel ? diagtest::kInformation : text->level;
        diag::Recognised recognised;
        ASSERT_TRUE(RecogniseLine(diagtest::Line("12:00:00.000", 1, level, text->function, message), recognised))
            << text->function << "|" << message;
        EXPECT_EQ(recognised.signal, text->signal) << text->function << "|" << message;
    }
}
