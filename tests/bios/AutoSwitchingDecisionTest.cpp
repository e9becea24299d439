// The decision of the firmware settings and the read behind it, as the
// service's start takes them and as TessarineDiag reports them.
#include "BiosTestSupport.h"

namespace {

using biostest::kFallbackClass;
using biostest::kFirstClass;
using biostest::kWlan;
using biostest::kWlanOlder;
using biostest::kWwan;
using fakes::NextStep;
using NLMUtils::DecideAutoSwitching;
using NLMUtils::JudgeSettingValue;
using NLMUtils::SettingVerdict;
using testing::ElementsAre;

TEST(JudgeSettingValue, OnlyTheFirstCharacterCounts)
{
    EXPECT_EQ(JudgeSettingValue(L"Enable"), SettingVerdict::Allows);
    EXPECT_EQ(JudgeSettingValue(L"Disable"), SettingVerdict::Allows);  // no keyword is compared
    EXPECT_EQ(JudgeSettingValue(L"*Enable"), SettingVerdict::Starred);
    EXPECT_EQ(JudgeSettingValue(L"*"), SettingVerdict::Starred);
    EXPECT_EQ(JudgeSettingValue(L""), SettingVerdict::Empty);
    EXPECT_EQ(JudgeSettingValue(L" *"), SettingVerdict::Allows);
}

TEST(DecideAutoSwitching, NothingReadAllowsNothing)
{
    const auto decision = DecideAutoSwitching({});
    EXPECT_FALSE(decision.wlan.Allowed());
    EXPECT_EQ(decision.wlan.setting, nullptr);
    EXPECT_FALSE(decision.wwan.Allowed());
    EXPECT_EQ(decision.wwan.setting, nullptr);
}

TEST(DecideAutoSwitching, ThePreferredWlanNameDecidesEvenWhenEmpty)
{
    const auto decision = DecideAutoSwitching({{kWlan, L""}, {kWlanOlder, L"Enable"}, {kWwan, L"Enable"}});
    EXPECT_STREQ(decision.wlan.setting, kWlan);
    EXPECT_EQ(decision.wlan.verdict, SettingVerdict::Empty);
    EXPECT_FALSE(decision.wlan.Allowed());
    EXPECT_STREQ(decision.wwan.setting, kWwan);
    EXPECT_TRUE(decision.wwan.Allowed());
}

TEST(DecideAutoSwitching, TheOlderWlanNameStandsInForAMissingPreferredOne)
{
    const auto decision = DecideAutoSwitching({{kWlanOlder, L"*Disabled"}});
    EXPECT_STREQ(decision.wlan.setting, kWlanOlder);
    EXPECT_EQ(decision.wlan.verdict, SettingVerdict::Starred);
    EXPECT_FALSE(decision.wlan.Allowed());
    EXPECT_EQ(decision.wwan.setting, nullptr);
}

class ReadAutoSwitchingSettingsTest : public biostest::BiosTest {};

TEST_F(ReadAutoSwitchingSettingsTest, AFirstClassWithSettingsIsTheOnlyOneRead)
{
    Add(kFirstClass, kWlan, L"Enable");
    Add(kFallbackClass, kWwan, L"Enable");
    NLMUtils::AutoSwitchingRead read;
    NLMUtils::ReadAutoSwitchingSettings(read);
    EXPECT_EQ(read.firstResult, S_OK);
    EXPECT_FALSE(read.fallbackRead);
    EXPECT_EQ(m_wmi.Queries().size(), 1u);
    EXPECT_THAT(read.settings, ElementsAre(std::make_pair(std::wstring(kWlan), std::wstring(L"Enable"))));
    EXPECT_EQ(read.pausedMilliseconds, 0u);
    // Reading decides nothing: the process flags are the service's start's.
    EXPECT_TRUE(LanWlanSwitchingEnabled);
}

TEST_F(ReadAutoSwitchingSettingsTest, AnEmptyFirstClassSendsTheReadToTheFallbackAndKeepsBothResults)
{
    m_wmi.Script(kFirstClass, {NextStep::Returns(WBEM_E_FAILED)});
    Add(kFallbackClass, kWwan, L"*Disable");
    NLMUtils::AutoSwitchingRead read;
    NLMUtils::ReadAutoSwitchingSettings(read);
    EXPECT_EQ(read.firstResult, WBEM_E_FAILED);
    EXPECT_TRUE(read.fallbackRead);
    EXPECT_EQ(read.fallbackResult, S_OK);
    EXPECT_EQ(read.settings.size(), 1u);
    // The failed pass of the first class paused 3 s.
    EXPECT_EQ(read.pausedMilliseconds, 3000u);
    EXPECT_THAT(m_clock.Pauses(), ElementsAre(3000u));
}

TEST_F(ReadAutoSwitchingSettingsTest, TheRetryPausesOfBothReadsAddUp)
{
    // Six time-outs (six 1 s pauses and the failed pass's 3 s) in each class.
    m_wmi.Script(kFirstClass, std::vector<NextStep>(6, NextStep::TimedOut()));
    m_wmi.Script(kFallbackClass, std::vector<NextStep>(6, NextStep::TimedOut()));
    NLMUtils::AutoSwitchingRead read;
    NLMUtils::ReadAutoSwitchingSettings(read);
    EXPECT_EQ(read.firstResult, WBEM_S_TIMEDOUT);
    EXPECT_EQ(read.fallbackResult, WBEM_S_TIMEDOUT);
    EXPECT_EQ(read.pausedMilliseconds, 2u * (6 * 1000 + 3000));
}

TEST_F(ReadAutoSwitchingSettingsTest, ReadNetworkSwitchingStatusAddsToWhatTheCallerCounted)
{
    m_wmi.Script(kFirstClass, {NextStep::TimedOut()});
    DWORD paused = 500;
    NLMUtils::ReadNetworkSwitchingStatus(kFirstClass, m_settings, &paused);
    EXPECT_EQ(paused, 1500u);
}

}  // namespace
