// The story of wires: a wire coming (with its address after a wait) and
// going, with each radio's change and its cause, connections that are not
// wires, another wire still up, no address, and events told in the order of
// their start although threads interleave.
#include "StoryHarness.h"

#include "explain/Texts.h"

#include <gtest/gtest.h>

using namespace diagtest;
using diag::EffectKind;
using diag::EventKind;
using diag::Radio;
using diag::State;

namespace {

std::vector<std::string> WireComesAndGoes()
{
    return {
        Info("12:00:00.000", 0x20, kNlm, "------------------start----------------------"),
        Info("12:00:00.000", 0x20, kNlm, "Connection ID : {A}"),
        Info("12:00:00.001", 0x20, kNlm, "New connectivity state : "),
        Info("12:00:00.001", 0x20, kNlm, "Connectivity state : 1 "),
        Info("12:00:00.002", 0x20, kAdapterInfo, "Description   : eth1"),
        Info("12:00:00.003", 0x20, kNlm, "Ethernet state : 1 "),
        Info("12:00:00.003", 0x20, kNlm, "Ethernet Connection - adding to set..."),
        Line("12:00:00.004", 0x20, kWarning, kNlm, "CheckEthernetConnectionStatus failed in try 0"),
        Line("12:00:01.005", 0x20, kWarning, kNlm, "CheckEthernetConnectionStatus failed in try 1"),
        Info("12:00:02.006", 0x20, kNlm, "Ethernet is connected"),
        Info("12:00:02.006", 0x20, kNlm, "Connecting to Ethernet. Stop WLAN service..."),
        Info("12:00:02.007", 0x20, kCheckWlan, "Phy state : 1"),
        Info("12:00:02.007", 0x20, kStopWlan, "WLAN Current Status = 1"),
        Info("12:00:02.008", 0x20, kSwitchWlan, "Current WLAN Status : 1, To Change Status = 0"),
        Info("12:00:02.010", 0x20, kCheckWlan, "Phy state : 0"),
        Info("12:00:02.010", 0x20, kSwitchWlan, "New WIFI state : 0"),
        Info("12:00:02.011", 0x20, kStopWlan, "Setting WlanPowerStatus in registry."),
        Info("12:00:02.011", 0x20, kSetWlan, "SetWlanPowerStatusInRegistry. Value = True"),
        Info("12:00:02.012", 0x20, kNlm, "Connecting to Ethernet. Stop WWAN service..."),
        Info("12:00:02.060", 0x20, kCheckWwan, "Current WWAN status : ON"),
        Info("12:00:02.060", 0x20, kStopWwan, "WWAN Current Status = 1"),
        Info("12:00:02.110", 0x20, kSwitchWwan, "Current Status : 1, To Change Status = 0"),
        Info("12:00:02.300", 0x20, kSwitchWwan, "Got new WWAN Status = 0 , bOnOffStatus = 0"),
        Info("12:00:02.300", 0x20, kSwitchWwan, "New Radio State is Set. So exiting from loop"),
        Info("12:00:02.301", 0x20, kSetWwan, "SetWwanPowerStatusInRegistry. Value = True"),
        Info("12:00:02.302", 0x20, kNlm, "-------------------end-----------------------"),
        Info("12:01:02.000", 0x24, kNlm, "------------------start----------------------"),
        Info("12:01:02.000", 0x24, kNlm, "Connection ID : {A}"),
        Info("12:01:02.001", 0x24, kNlm, "Disconnecting connection, check list to see if it was Ethernet."),
        Info("12:01:02.003", 0x24, kNlm, "Ethernet connection status = 0"),
        Info("12:01:02.003", 0x24, kNlm, "The disconnecting connection was Ethernet. Start WLAN service..."),
        Info("12:01:02.004", 0x24, kStartWlan, "WLAN Registry Status = True"),
        Info("12:01:02.005", 0x24, kSwitchWlan, "Current WLAN Status : 0, To Change Status = 1"),
        Info("12:01:02.009", 0x24, kCheckWlan, "Phy state : 1"),
        Info("12:01:02.009", 0x24, kSwitchWlan, "New WIFI state : 1"),
        Info("12:01:02.110", 0x24, kNlm, "The disconnecting connection was Ethernet. Start WWAN service..."),
        Info("12:01:02.110", 0x24, kStartWwan, "WWAN Registry Status = False"),
        Info("12:01:02.111", 0x24, kNlm, "-------------------end-----------------------"),
    };
}

}  // namespace

TEST(StoryWire, AWireComingSwitchesTheRadiosOffAndRemembersThem)
{
    const Told told = Tell(WireComesAndGoes());
    ASSERT_EQ(told.events.size(), 2u);
    const diag::StoryEvent& up = told.events[0];
    EXPECT_EQ(up.kind, EventKind::WireUp);
    EXPECT_EQ(up.start, At("12:00:00.000"));
    EXPECT_EQ(up.connection, "{A}");
    EXPECT_EQ(up.adapter, "eth1");
    EXPECT_EQ(up.text, "A wire came: connection {A} (eth1), with its address after 2.0 s");
    const diag::Effect wifi = SwitchOf(up, Radio::Wifi);
    EXPECT_EQ(wifi.from, State::On);
    EXPECT_EQ(wifi.to, State::Off);
    EXPECT_TRUE(wifi.byService);
    EXPECT_EQ(wifi.after, 2010);
    EXPECT_EQ(wifi.text, "Wi-Fi switched off by the service after 2.0 s (a wire is up)");
    const diag::Effect wwan = SwitchOf(up, Radio::Wwan);
    EXPECT_EQ(wwan.to, State::Off);
    EXPECT_TRUE(wwan.byService);
    EXPECT_EQ(wwan.after, 2300);
    const auto stored = EffectsOf(up, EffectKind::Stored);
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_EQ(stored[0].radio, Radio::Wifi);
    EXPECT_EQ(stored[0].value, "True");
    EXPECT_EQ(stored[0].reason, "before-wire");
    EXPECT_EQ(stored[1].radio, Radio::Wwan);
    EXPECT_EQ(LaneAt(told.lanes, diag::Lane::Wire, At("12:00:02.006")), State::On);
    EXPECT_EQ(LaneAt(told.lanes, diag::Lane::Wire, At("12:00:02.005")), State::Unknown);
}

TEST(StoryWire, AWireGoingRestoresWhatTheStoredChoicesSay)
{
    const Told told = Tell(WireComesAndGoes());
    ASSERT_EQ(told.events.size(), 2u);
    const diag::StoryEvent& down = told.events[1];
    EXPECT_EQ(down.kind, EventKind::WireDown);
    EXPECT_EQ(down.adapter, "eth1");  // known from when it came
    EXPECT_EQ(down.text, "The wire went: connection {A} (eth1), up for 59.9 s");
    const diag::Effect wifi = SwitchOf(down, Radio::Wifi);
    EXPECT_EQ(wifi.to, State::On);
    EXPECT_TRUE(wifi.byService);
    EXPECT_EQ(wifi.text, "Wi-Fi switched on by the service after 9 ms (the stored choice is True)");
    const auto kept = EffectsOf(down, EffectKind::Kept);
    ASSERT_EQ(kept.size(), 1u);
    EXPECT_EQ(kept[0].radio, Radio::Wwan);
    EXPECT_EQ(kept[0].reason, "stored-choice");
    EXPECT_EQ(kept[0].text, "Mobile broadband stays as it is (off): the user's stored choice is False");
    EXPECT_EQ(LaneAt(told.lanes, diag::Lane::Wire, At("12:01:02.003")), State::Off);
    EXPECT_EQ(told.end.stored[1], "False");
}

TEST(StoryWire, ConnectionsThatAreNotWiresChangeNothing)
{
    const Told told = Tell({
        Info("12:00:00.000", 0x20, kNlm, "------------------start----------------------"),
        Info("12:00:00.000", 0x20, kNlm, "Connection ID : {W}"),
        Info("12:00:00.001", 0x20, kNlm, "Connectivity state : 66 "),
        Info("12:00:00.003", 0x20, kNlm, "Ethernet state : 0 "),
        Info("12:00:00.004", 0x20, kNlm, "-------------------end-----------------------"),
        Info("12:00:05.000", 0x20, kNlm, "------------------start----------------------"),
        Info("12:00:05.000", 0x20, kNlm, "Connection ID : {W}"),
        Info("12:00:05.001", 0x20, kNlm, "Disconnecting connection, check list to see if it was Ethernet."),
        Info("12:00:05.001", 0x20, kNlm, "Connection ID is not in the list, DO nothing"),
        Info("12:00:05.002", 0x20, kNlm, "-------------------end-----------------------"),
    });
    ASSERT_EQ(told.events.size(), 2u);
    EXPECT_EQ(told.events[0].kind, EventKind::ConnectionUp);
    EXPECT_EQ(told.events[0].text, "A connection came: connection {W}: not a wired connection, nothing to do");
    EXPECT_EQ(told.events[0].effects[0].reason, "not-ethernet");
    EXPECT_TRUE(told.events[0].effects[0].inTitle);
    EXPECT_EQ(told.events[1].kind, EventKind::ConnectionDown);
    EXPECT_EQ(told.events[1].text,
              "A connection went: connection {W}: not a wired connection the service knew, nothing to do");
    EXPECT_EQ(told.events[1].effects[0].reason, "unknown-connection");
}

TEST(StoryWire, AWireGoingWhileAnotherIsUpKeepsTheRadios)
{
    const Told told = Tell({
        Info("12:00:00.000", 0x20, kNlm, "------------------start----------------------"),
        Info("12:00:00.000", 0x20, kNlm, "Connection ID : {A}"),
        Info("12:00:00.001", 0x20, kNlm, "Disconnecting connection, check list to see if it was Ethernet."),
        Info("12:00:00.003", 0x20, kNlm, "Ethernet connection status = 1"),
        Info("12:00:00.004", 0x20, kNlm, "-------------------end-----------------------"),
    });
    ASSERT_EQ(told.events.size(), 1u);
    EXPECT_EQ(told.events[0].kind, EventKind::WireDown);
    const auto ignored = EffectsOf(told.events[0], EffectKind::Ignored);
    ASSERT_EQ(ignored.size(), 1u);
    EXPECT_EQ(ignored[0].reason, "ethernet-still-up");
    EXPECT_FALSE(ignored[0].inTitle);
    EXPECT_EQ(ignored[0].text, "Ignored: another wired connection is still up: the radios stay as they are");
}

TEST(StoryWire, AWireWithoutAnAddressSwitchesNothing)
{
    std::vector<std::string> lines = {
        Info("12:00:00.000", 0x20, kNlm, "------------------start----------------------"),
        Info("12:00:00.000", 0x20, kNlm, "Connection ID : {A}"),
        Info("12:00:00.001", 0x20, kNlm, "Connectivity state : 1 "),
        Info("12:00:00.003", 0x20, kNlm, "Ethernet state : 1 "),
        Info("12:00:00.003", 0x20, kNlm, "Ethernet Connection - adding to set..."),
    };
    for (int attempt = 0; attempt < 8; ++attempt) {
        const std::string clock = diag::Printf(L"12:00:%02d.004", attempt);
        lines.push_back(Line(clock.c_str(), 0x20, kWarning, kNlm,
                             "CheckEthernetConnectionStatus failed in try " + std::to_string(attempt)));
    }
    lines.push_back(Info("12:00:08.010", 0x20, kNlm, "-------------------end-----------------------"));
    const Told told = Tell(lines);
    ASSERT_EQ(told.events.size(), 1u);
    EXPECT_EQ(told.events[0].kind, EventKind::WireUp);
    const auto failed = EffectsOf(told.events[0], EffectKind::Failed);
    ASSERT_EQ(failed.size(), 1u);
    EXPECT_EQ(failed[0].text, "No address after 8 tries: the service did not switch the radios for this wire");
    EXPECT_TRUE(EffectsOf(told.events[0], EffectKind::Switched).empty());
}

TEST(StoryWire, EventsAreToldInTheOrderOfTheirStartAcrossThreads)
{
    // A wire's handling starts first and ends last; a notification on
    // another thread comes and goes inside it.
    const Told told = Tell({
        Info("12:01:00.000", 0x20, kNlm, "------------------start----------------------"),
        Info("12:01:00.000", 0x20, kNlm, "Connection ID : {A}"),
        Info("12:01:00.001", 0x20, kNlm, "Connectivity state : 1 "),
        Info("12:01:00.003", 0x20, kNlm, "Ethernet state : 1 "),
        Line("12:01:00.004", 0x20, kWarning, kNlm, "CheckEthernetConnectionStatus failed in try 0"),
        Line("12:01:01.005", 0x20, kWarning, kNlm, "CheckEthernetConnectionStatus failed in try 1"),
        Info("12:01:03.000", 0x30, kCallback, kMsmText),
        Info("12:01:03.001", 0x30, kMsmHandler,
             "Not processing the callback, msm_Notification_flag = 1, ResumeFlag = 0"),
        Info("12:01:04.000", 0x20, kNlm, "Ethernet is connected"),
        Info("12:01:04.001", 0x20, kNlm, "-------------------end-----------------------"),
    });
    ASSERT_EQ(told.events.size(), 2u);
    EXPECT_EQ(told.events[0].kind, EventKind::WireUp);
    EXPECT_EQ(told.events[1].kind, EventKind::WifiNotification);
    EXPECT_EQ(told.events[1].start, At("12:01:03.000"));
    EXPECT_EQ(told.events[1].text, "The user's Wi-Fi switch was ignored: the service was handling a connection change");
    EXPECT_EQ(told.events[0].id, 1u);
    EXPECT_EQ(told.events[1].id, 2u);
}
