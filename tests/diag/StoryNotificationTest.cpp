// The story of the user's switches: a Wi-Fi switch stored as the user's
// choice, one ignored while the service handles a connection change, the
// echoes of the service's own switching set aside, a mobile-broadband
// switch stored or switched back off while a wire is up.
#include "StoryHarness.h"

#include <gtest/gtest.h>

using namespace diagtest;
using diag::EffectKind;
using diag::EventKind;
using diag::Radio;
using diag::State;

TEST(StoryNotification, TheUsersWifiSwitchIsStoredAsTheChoice)
{
    const Told told = Tell({
        Info("12:00:00.000", 0x50, kCheckWlan, "Phy state : 1"),
        Info("12:00:10.000", 0x30, kCallback, kMsmText),
        Info("12:00:10.001", 0x30, kCheckWlan, "Phy state : 0"),
        Info("12:00:10.001", 0x30, kMsmHandler, "Current WLAN status = 0"),
        Info("12:00:10.003", 0x30, kMsmHandler, "Ethernet connection status = 0"),
        Info("12:00:10.004", 0x30, kMsmHandler,
             "Airplane mode if OFF. Ethernet not connected. Setting WLAN registry status with WiFi Status = 0"),
        Info("12:00:10.005", 0x30, kSetWlan, "SetWlanPowerStatusInRegistry. Value = False"),
        Line("12:00:10.006", 0x30, kTraceOut, kMsmHandler, ""),
        // The same notification again: nothing new.
        Info("12:00:10.010", 0x31, kCallback, kMsmText),
        Info("12:00:10.011", 0x31, kCheckWlan, "Phy state : 0"),
        Info("12:00:10.014", 0x31, kMsmHandler,
             "Airplane mode if OFF. Ethernet not connected. Setting WLAN registry status with WiFi Status = 0"),
        Info("12:00:10.015", 0x31, kSetWlan, "SetWlanPowerStatusInRegistry. Value = False"),
        Line("12:00:10.016", 0x31, kTraceOut, kMsmHandler, ""),
    });
    ASSERT_EQ(told.events.size(), 1u);
    const diag::StoryEvent& event = told.events[0];
    EXPECT_EQ(event.kind, EventKind::WifiSwitch);
    EXPECT_EQ(event.text, "The user switched Wi-Fi off");
    const diag::Effect change = SwitchOf(event, Radio::Wifi);
    EXPECT_FALSE(change.byService);
    EXPECT_EQ(change.from, State::On);
    EXPECT_EQ(change.to, State::Off);
    const auto stored = EffectsOf(event, EffectKind::Stored);
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_EQ(stored[0].value, "False");
    EXPECT_EQ(stored[0].reason, "user-choice");
    EXPECT_EQ(stored[0].text, "Stored as the user's choice for Wi-Fi: False");
    EXPECT_EQ(told.end.repeatedNotifications, 1u);
}

TEST(StoryNotification, TheEchoesOfTheServicesOwnSwitchingAreSetAside)
{
    const Told told = Tell({
        Info("12:00:00.000", 0x20, kNlm, "------------------start----------------------"),
        Info("12:00:00.000", 0x20, kNlm, "Connection ID : {A}"),
        Info("12:00:00.001", 0x20, kNlm, "Connectivity state : 1 "),
        Info("12:00:00.003", 0x20, kNlm, "Ethernet state : 1 "),
        Info("12:00:00.004", 0x20, kNlm, "Ethernet is connected"),
        Info("12:00:00.004", 0x20, kNlm, "Connecting to Ethernet. Stop WLAN service..."),
        Info("12:00:00.005", 0x20, kSwitchWlan, "Current WLAN Status : 1, To Change Status = 0"),
        // While the service sets the radio: its own notification.
        Info("12:00:00.006", 0x30, kCallback, kMsmText),
        Info("12:00:00.006", 0x30, kMsmHandler,
             "Not processing the callback, msm_Notification_flag = 1, ResumeFlag = 0"),
        Info("12:00:00.008", 0x20, kCheckWlan, "Phy state : 0"),
        Info("12:00:00.008", 0x20, kSwitchWlan, "New WIFI state : 0"),
        // Just after it: the second PHY's.
        Info("12:00:00.300", 0x31, kCallback, kMsmText),
        Info("12:00:00.300", 0x31, kMsmHandler,
             "Not processing the callback, msm_Notification_flag = 1, ResumeFlag = 0"),
        Info("12:00:00.400", 0x20, kNlm, "-------------------end-----------------------"),
    });
    ASSERT_EQ(told.events.size(), 1u);
    EXPECT_EQ(told.events[0].kind, EventKind::WireUp);
    EXPECT_EQ(told.end.ownEchoes, 2u);
}

TEST(StoryNotification, TheUsersMobileBroadbandSwitchIsStored)
{
    const Told told = Tell({
        Info("10:00:00.000", 0x50, kCheckWwan, "Current WWAN status : ON"),
        Line("10:01:00.000", 0x80, kTraceIn, kMbn, "RequestID = 7, Status = 0x0"),
        Info("10:01:00.001", 0x80, kMbn, "NetworkChangedForSetRadio Status = 0"),
        Info("10:01:00.003", 0x80, kMbn, "Ethernet Connection Status = 0"),
        Info("10:01:00.100", 0x80, kCheckWwan, "Current WWAN status : OFF"),
        Info("10:01:00.100", 0x80, kMbn, "WWAN Status = 0"),
        Info("10:01:00.101", 0x80, kMbn, "Writing WWAN status 0 to registry"),
        Info("10:01:00.102", 0x80, kSetWwan, "SetWwanPowerStatusInRegistry. Value = False"),
        Info("10:01:00.103", 0x80, kMbn, "Received OnSetSoftwareRadioStateComplete Event for requestID = 7"),
    });
    ASSERT_EQ(told.events.size(), 1u);
    EXPECT_EQ(told.events[0].kind, EventKind::WwanSwitch);
    EXPECT_EQ(told.events[0].text, "The user switched mobile broadband off");
    const auto stored = EffectsOf(told.events[0], EffectKind::Stored);
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_EQ(stored[0].value, "False");
    EXPECT_EQ(stored[0].reason, "user-choice");
}

TEST(StoryNotification, MobileBroadbandSwitchedOnWhileAWireIsUpGoesOffAgain)
{
    const Told told = Tell({
        Info("10:00:00.000", 0x50, kCheckWwan, "Current WWAN status : OFF"),
        Line("10:01:00.000", 0x80, kTraceIn, kMbn, "RequestID = 8, Status = 0x0"),
        Info("10:01:00.001", 0x80, kMbn, "NetworkChangedForSetRadio Status = 0"),
        Info("10:01:00.003", 0x80, kMbn, "Ethernet Connection Status = 1"),
        Info("10:01:00.100", 0x80, kCheckWwan, "Current WWAN status : ON"),
        Info("10:01:00.100", 0x80, kMbn, "WWAN Status = 1"),
        Info("10:01:00.101", 0x80, kMbn, "Ethernet is present, switching OFF WWAN"),
        Info("10:01:00.200", 0x80, kSwitchWwan, "Current Status : 1, To Change Status = 0"),
        Info("10:01:00.500", 0x80, kSwitchWwan, "Got new WWAN Status = 0 , bOnOffStatus = 0"),
        Info("10:01:00.500", 0x80, kSwitchWwan, "New Radio State is Set. So exiting from loop"),
        Line("10:01:00.700", 0x80, kTraceOut, kMbn, ""),
    });
    ASSERT_EQ(told.events.size(), 1u);
    const diag::StoryEvent& event = told.events[0];
    EXPECT_EQ(event.text, "The user switched mobile broadband on");
    const auto switched = EffectsOf(event, EffectKind::Switched);
    ASSERT_EQ(switched.size(), 2u);
    EXPECT_FALSE(switched[0].byService);
    EXPECT_EQ(switched[0].to, State::On);
    EXPECT_TRUE(switched[1].byService);
    EXPECT_EQ(switched[1].to, State::Off);
    EXPECT_EQ(switched[1].text, "Mobile broadband switched off by the service after 500 ms (a wire is up)");
    EXPECT_EQ(LaneAt(told.lanes, diag::Lane::Wire, At("10:01:00.003")), State::On);
}

TEST(StoryNotification, TheServicesOwnMobileBroadbandCompletionsAreSetAside)
{
    const Told told = Tell({
        Line("10:01:00.000", 0x80, kTraceIn, kMbn, "RequestID = 1, Status = 0x0"),
        Info("10:01:00.001", 0x80, kMbn, "NetworkChangedForSetRadio Status = 1"),
        Info("10:01:00.003", 0x80, kMbn, "Ethernet Connection Status = 1"),
        Info("10:01:00.004", 0x80, kMbn, "Not Processing OnSetSoftwareRadioStateComplete"),
    });
    EXPECT_TRUE(told.events.empty());
    EXPECT_EQ(told.end.ownEchoes, 1u);
}

TEST(StoryNotification, AWifiSetThatFailsIsToldAndItsLatchOnce)
{
    const Told told = Tell({
        Info("12:00:00.000", 0x20, kNlm, "------------------start----------------------"),
        Info("12:00:00.000", 0x20, kNlm, "Connection ID : {A}"),
        Info("12:00:00.001", 0x20, kNlm, "Connectivity state : 1 "),
        Info("12:00:00.003", 0x20, kNlm, "Ethernet state : 1 "),
        Info("12:00:00.004", 0x20, kNlm, "Ethernet is connected"),
        Info("12:00:00.004", 0x20, kNlm, "Connecting to Ethernet. Stop WLAN service..."),
        Info("12:00:00.005", 0x20, kSwitchWlan, "Current WLAN Status : 1, To Change Status = 0"),
        Line("12:00:08.200", 0x20, kError, kSwitchWlan, "WlanSetInterface failed"),
        Info("12:00:08.300", 0x20, kNlm, "-------------------end-----------------------"),
        Info("12:00:20.000", 0x30, kCallback, kMsmText),
        Line("12:00:20.001", 0x30, kError, kCheckWlan, "My WIFI Query timeout, my_setwifitimeout : 1"),
        Line("12:00:20.001", 0x30, kWarning, kMsmHandler, "CheckWlanStatus failed"),
        Info("12:00:30.000", 0x31, kCallback, kMsmText),
        Line("12:00:30.001", 0x31, kError, kCheckWlan, "My WIFI Query timeout, my_setwifitimeout : 1"),
        Line("12:00:30.001", 0x31, kWarning, kMsmHandler, "CheckWlanStatus failed"),
    });
    ASSERT_EQ(told.events.size(), 3u);
    const auto setFailed = EffectsOf(told.events[0], EffectKind::Failed);
    ASSERT_EQ(setFailed.size(), 1u);
    EXPECT_EQ(setFailed[0].text, "Wi-Fi could not be set on every PHY in 81 passes: from now on the service reads and "
                                 "switches Wi-Fi no more until it restarts");
    // The latch is told once; each notification that could not read the radio is told.
    EXPECT_EQ(EffectsOf(told.events[1], EffectKind::Failed).size(), 2u);
    EXPECT_EQ(EffectsOf(told.events[2], EffectKind::Failed).size(), 1u);
}
