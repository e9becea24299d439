// NLMUtils::GetAutoSwitchingStatus: which class is read, the dump of the
// setting map and the first-character rule that turns values into flags.
#include "BiosTestSupport.h"

#include "fakes/JoinedVectors.h"

#include <memory>

namespace {

using biostest::kFallbackClass;
using biostest::kFallbackQuery;
using biostest::kFirstClass;
using biostest::kFirstQuery;
using biostest::kRead;
using biostest::kWlan;
using biostest::kWlanOlder;
using biostest::kWwan;
using biostest::ReadLine;
using fakes::operator+;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kGet[] = "NLMUtils::GetAutoSwitchingStatus";

// The lines of a read that found the class and walked it once without trouble.
std::vector<std::wstring> CleanRead(const std::wstring& className, const std::wstring& query, int count)
{
    return {ReadLine(L"TraceIn", L"Fetch Location = " + className), ReadLine(L"Verbose", L"WMI Query =  " + query),
            ReadLine(L"Verbose", L"ProcessEnum Return  [hr:0x00000000]"),
            ReadLine(L"Verbose", L"Retry Count for Timeout =  0"),
            ReadLine(L"TraceOut", L"Return WMI Read Count = " + std::to_wstring(count) + L",Return Value = 0x0")};
}

class GetAutoSwitchingStatusTest : public biostest::BiosTest {};

TEST_F(GetAutoSwitchingStatusTest, AnEmptyFirstClassSendsTheReadToTheFallbackClassWhoseValuesDecide)
{
    Add(kFallbackClass, kWlan, L"Enable");
    Add(kFallbackClass, kWwan, L"Enable");

    NLMUtils::GetAutoSwitchingStatus();

    EXPECT_TRUE(LanWlanSwitchingEnabled);
    EXPECT_TRUE(LanWwanSwitchingEnabled);
    ASSERT_EQ(m_wmi.Queries().size(), 2u);
    EXPECT_EQ(m_wmi.Queries()[0].text, kFirstQuery);
    EXPECT_EQ(m_wmi.Queries()[1].text, kFallbackQuery);
    for (const auto& query : m_wmi.Queries()) {
        EXPECT_EQ(query.language, L"WQL");
        EXPECT_EQ(query.flags, 0x30);
        EXPECT_FALSE(query.context);
    }
    EXPECT_THAT(Lines(kRead), testing::ContainerEq(CleanRead(kFirstClass, kFirstQuery, 0) +
                                                   CleanRead(kFallbackClass, kFallbackQuery, 2)));
    EXPECT_THAT(Lines(kGet),
                ElementsAre(L"TraceIn|NLMUtils::GetAutoSwitchingStatus|",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Displaying the WMI Read Data - Start",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Setting = LAN / WLAN Auto Switching  ==>  "
                            L"Value = Enable",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Setting = LAN / WWAN Auto Switching  ==>  "
                            L"Value = Enable",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Displaying the WMI Read Data - End",
                            L"TraceOut|NLMUtils::GetAutoSwitchingStatus|LanWlanSwitchingEnabled Value = 1, "
                            L"LanWwanSwitchingEnabled = 1"));
    EXPECT_EQ(m_com.initializations, 2);
    EXPECT_EQ(m_com.uninitializations, 2);
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
    EXPECT_THAT(m_clock.Pauses(), IsEmpty());
}

TEST_F(GetAutoSwitchingStatusTest, OneObjectOfTheFirstClassEvenUnrelatedToWiFiKeepsTheFallbackUnread)
{
    Add(kFirstClass, kWwan, L"*Disable");
    Add(kFallbackClass, kWlan, L"Enable");

    NLMUtils::GetAutoSwitchingStatus();

    EXPECT_FALSE(LanWlanSwitchingEnabled);
    EXPECT_FALSE(LanWwanSwitchingEnabled);
    ASSERT_EQ(m_wmi.Queries().size(), 1u);
    EXPECT_EQ(m_wmi.Queries()[0].text, kFirstQuery);
    EXPECT_THAT(Lines(kRead), testing::ContainerEq(CleanRead(kFirstClass, kFirstQuery, 1)));
    EXPECT_THAT(Lines(kGet),
                ElementsAre(L"TraceIn|NLMUtils::GetAutoSwitchingStatus|",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Displaying the WMI Read Data - Start",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Setting = LAN / WWAN Auto Switching  ==>  "
                            L"Value = *Disable",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Displaying the WMI Read Data - End",
                            L"TraceOut|NLMUtils::GetAutoSwitchingStatus|LanWlanSwitchingEnabled Value = 0, "
                            L"LanWwanSwitchingEnabled = 0"));
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(GetAutoSwitchingStatusTest, AFirstClassThatFailsStillSendsTheReadToTheFallbackClass)
{
    m_wmi.FailQuery(kFirstClass, WBEM_E_INVALID_CLASS);
    Add(kFallbackClass, kWlanOlder, L"Enabled");

    NLMUtils::GetAutoSwitchingStatus();

    EXPECT_TRUE(LanWlanSwitchingEnabled);
    EXPECT_FALSE(LanWwanSwitchingEnabled);
    EXPECT_EQ(m_wmi.Queries().size(), 2u);
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(GetAutoSwitchingStatusTest, AnEmptyPreferredWiFiValueDecidesOverAnEnablingOlderName)
{
    Add(kFirstClass, kWlanOlder, L"Enable");
    Add(kFirstClass, kWlan, L"");

    NLMUtils::GetAutoSwitchingStatus();

    EXPECT_FALSE(LanWlanSwitchingEnabled);
    EXPECT_FALSE(LanWwanSwitchingEnabled);
    EXPECT_THAT(Lines(kGet),
                ElementsAre(L"TraceIn|NLMUtils::GetAutoSwitchingStatus|",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Displaying the WMI Read Data - Start",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Setting = LAN / WLAN Auto Switching  ==>  "
                            L"Value = ",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Setting = LAN/WLAN Switching  ==>  "
                            L"Value = Enable",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Displaying the WMI Read Data - End",
                            L"TraceOut|NLMUtils::GetAutoSwitchingStatus|LanWlanSwitchingEnabled Value = 0, "
                            L"LanWwanSwitchingEnabled = 0"));
}

TEST_F(GetAutoSwitchingStatusTest, ALeadingStarDisablesAndAnyOtherFirstCharacterEnables)
{
    Add(kFirstClass, kWlan, L"*Enable");
    Add(kFirstClass, kWwan, L"Disable");

    NLMUtils::GetAutoSwitchingStatus();

    // Only the first character counts: "*Enable" is off, "Disable" is on.
    EXPECT_FALSE(LanWlanSwitchingEnabled);
    EXPECT_TRUE(LanWwanSwitchingEnabled);
    EXPECT_EQ(Lines(kGet).back(), L"TraceOut|NLMUtils::GetAutoSwitchingStatus|LanWlanSwitchingEnabled Value = 0, "
                                  L"LanWwanSwitchingEnabled = 1");
}

TEST_F(GetAutoSwitchingStatusTest, TwoObjectsOfOneNameKeepTheFirstValueAndLogTheSecondAsAnError)
{
    Add(kFirstClass, kWlan, L"*Disabled");
    Add(kFirstClass, kWlan, L"Enabled");

    NLMUtils::GetAutoSwitchingStatus();

    EXPECT_FALSE(LanWlanSwitchingEnabled);
    EXPECT_THAT(Lines("NLMUtils::ProcessObjects"),
                testing::Contains(L"Error|NLMUtils::ProcessObjects|Already read and inserted LAN / WLAN Auto "
                                  L"Switching with value Enabled"));
    EXPECT_THAT(Lines(kGet), testing::Contains(L"Verbose|NLMUtils::GetAutoSwitchingStatus|Setting = LAN / WLAN Auto "
                                               L"Switching  ==>  Value = *Disabled"));
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(GetAutoSwitchingStatusTest, AnObjectWhoseNameOrValueIsNotAStringIsSkippedAndTheWalkGoesOn)
{
    m_wmi.AddSetting({kFirstClass, kWlan, L"", fakes::NumberValue(7), std::nullopt});
    m_wmi.AddSetting({kFirstClass, kWlanOlder, L"", std::nullopt, fakes::NumberValue(1, CIM_UINT8)});
    Add(kFirstClass, kWwan, L"Enabled");

    NLMUtils::GetAutoSwitchingStatus();

    EXPECT_FALSE(LanWlanSwitchingEnabled);
    EXPECT_TRUE(LanWwanSwitchingEnabled);
    const auto objects = Lines("NLMUtils::ProcessObjects");
    EXPECT_THAT(objects, testing::Contains(L"Error|NLMUtils::ProcessObjects|Failed to Get WMI Objects (Name). "
                                           L"[hr:0x00000000] [CIMTYPE = 3]"));
    EXPECT_THAT(objects, testing::Contains(L"Error|NLMUtils::ProcessObjects|Failed to Get WMI Objects (Value). "
                                           L"[hr:0x00000000] [CIMTYPE = 17]"));
    // A skipped object ends with a succeeding code: nothing else complains.
    EXPECT_THAT(Lines("NLMUtils::ProcessEnum"),
                testing::Not(testing::Contains(testing::HasSubstr(L"ProcessObjects Failed"))));
    EXPECT_THAT(Lines(kRead), testing::ContainerEq(CleanRead(kFirstClass, kFirstQuery, 1)));
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(GetAutoSwitchingStatusTest, TheDumpListsTheMapInCodeUnitOrder)
{
    Add(kFirstClass, L"b", L"2");
    Add(kFirstClass, kWlanOlder, L"Enable");
    Add(kFirstClass, L"B", L"1");
    Add(kFirstClass, kWwan, L"Enable");
    Add(kFirstClass, kWlan, L"Enable");

    NLMUtils::GetAutoSwitchingStatus();

    // ' ' (0x20) sorts before '/' (0x2F), upper case before lower case.
    EXPECT_THAT(Lines(kGet),
                ElementsAre(L"TraceIn|NLMUtils::GetAutoSwitchingStatus|",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Displaying the WMI Read Data - Start",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Setting = B  ==>  Value = 1",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Setting = LAN / WLAN Auto Switching  ==>  "
                            L"Value = Enable",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Setting = LAN / WWAN Auto Switching  ==>  "
                            L"Value = Enable",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Setting = LAN/WLAN Switching  ==>  "
                            L"Value = Enable",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Setting = b  ==>  Value = 2",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Displaying the WMI Read Data - End",
                            L"TraceOut|NLMUtils::GetAutoSwitchingStatus|LanWlanSwitchingEnabled Value = 1, "
                            L"LanWwanSwitchingEnabled = 1"));
}

TEST_F(GetAutoSwitchingStatusTest, NothingAnywhereLeavesBothFlagsFalseAfterAnEmptyDump)
{
    NLMUtils::GetAutoSwitchingStatus();

    EXPECT_FALSE(LanWlanSwitchingEnabled);
    EXPECT_FALSE(LanWwanSwitchingEnabled);
    EXPECT_THAT(Lines(kGet),
                ElementsAre(L"TraceIn|NLMUtils::GetAutoSwitchingStatus|",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Displaying the WMI Read Data - Start",
                            L"Verbose|NLMUtils::GetAutoSwitchingStatus|Displaying the WMI Read Data - End",
                            L"TraceOut|NLMUtils::GetAutoSwitchingStatus|LanWlanSwitchingEnabled Value = 0, "
                            L"LanWwanSwitchingEnabled = 0"));
    EXPECT_EQ(m_com.initializations, 2);
    EXPECT_EQ(m_com.uninitializations, 2);
}

TEST_F(GetAutoSwitchingStatusTest, HundredsOfUnrelatedSettingsAndAValueOfTenThousandCharactersAreRead)
{
    for (int i = 0; i < 300; ++i)
        Add(kFirstClass, L"Setting " + std::to_wstring(1000 + i), L"*x");
    Add(kFirstClass, kWwan, std::wstring(10000, L'E'));

    NLMUtils::GetAutoSwitchingStatus();

    EXPECT_FALSE(LanWlanSwitchingEnabled);
    EXPECT_TRUE(LanWwanSwitchingEnabled);
    EXPECT_EQ(Lines(kRead).back(), L"TraceOut|NLMUtils::ReadNetworkSwitchingStatus|Return WMI Read Count = "
                                   L"301,Return Value = 0x0");
    // 30 full batches of 10, 1 object with WBEM_S_FALSE, then the empty end.
    EXPECT_EQ(m_wmi.NextCalls().size(), 32u);
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

// The value rule across a table of values, for both settings, with the
// older Wi-Fi name present, absent and shadowed by the preferred one.
struct RuleCase {
    const wchar_t* value;
    bool enables;
};

constexpr RuleCase kRuleCases[] = {
    {L"*Enable", false}, {L"*Disable", false}, {L"Enable", true}, {L"Disable", true}, {L"Enabled,*Disabled", true},
    {L"x", true},        {L"*", false},        {L"", false},      {L" ", true},
};

// Reads the firmware `settings` in a fresh environment; returns the flags.
std::pair<bool, bool> Decide(std::vector<fakes::FirmwareSetting> settings)
{
    fakes::VirtualClock clock;
    fakes::FakeComRuntime com;
    fakes::FirmwareWmi wmi(std::move(settings));
    NLMUtils::GetAutoSwitchingStatus();
    EXPECT_EQ(wmi.LiveObjects(), 0);
    return {LanWlanSwitchingEnabled, LanWwanSwitchingEnabled};
}

TEST(ValueRuleTest, OnlyTheFirstCharacterOfTheValueDecides)
{
    fakes::RecordingLog log;
    for (const RuleCase& rule : kRuleCases) {
        SCOPED_TRACE(testing::Message() << "value \"" << std::string(rule.value, rule.value + wcslen(rule.value))
                                        << "\"");
        // The preferred Wi-Fi name and mobile broadband.
        EXPECT_EQ(Decide({{kFirstClass, kWlan, rule.value}, {kFirstClass, kWwan, rule.value}}),
                  std::make_pair(rule.enables, rule.enables));
        // The older Wi-Fi name alone stands in.
        EXPECT_EQ(Decide({{kFirstClass, kWlanOlder, rule.value}}), std::make_pair(rule.enables, false));
        // The older name is shadowed by the preferred one, whatever either says.
        EXPECT_EQ(Decide({{kFirstClass, kWlanOlder, L"Enable"}, {kFirstClass, kWlan, rule.value}}),
                  std::make_pair(rule.enables, false));
        EXPECT_EQ(Decide({{kFirstClass, kWlanOlder, L"*Disable"}, {kFirstClass, kWlan, rule.value}}),
                  std::make_pair(rule.enables, false));
        // Neither Wi-Fi name: Wi-Fi stays off whatever mobile broadband says.
        EXPECT_EQ(Decide({{kFirstClass, kWwan, rule.value}}), std::make_pair(false, rule.enables));
    }
    LanWlanSwitchingEnabled = false;
    LanWwanSwitchingEnabled = false;
}

}  // namespace
