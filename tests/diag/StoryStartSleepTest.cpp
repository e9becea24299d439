// The story of the service's start (the firmware's answer and each radio's
// start-up decision, a firmware that cannot be read) and of sleep (events
// ignored while the laptop sleeps, the resume that decides again).
#include "StoryHarness.h"

#include <gtest/gtest.h>

using namespace diagtest;
using diag::EffectKind;
using diag::EventKind;
using diag::Radio;
using diag::State;

namespace {

std::vector<std::string> StartWithoutFirmware()
{
    return {
        Info("08:00:00.000", 0x10, "CMainService::OnStart",
             "LAN/WLAN | LAN/WWAN Switching Service (1.2.3.4) in OnStart"),
        Line("08:00:00.010", 0x40, kTraceIn, kWorker, "ServiceWorkerThread - Entry"),
        Line("08:00:00.020", 0x40, kError, kInitWmi,
             "Could not connect to ROOT\\qx\\instrumentedbios. [hr:0x8004100E]"),
        Line("08:00:00.030", 0x40, kVerbose, kAutoSwitching, "Displaying the WMI Read Data - Start"),
        Line("08:00:00.030", 0x40, kVerbose, kAutoSwitching, "Displaying the WMI Read Data - End"),
        Line("08:00:00.030", 0x40, kTraceOut, kAutoSwitching,
             "LanWlanSwitchingEnabled Value = 0, LanWwanSwitchingEnabled = 0"),
        Info("08:00:00.031", 0x40, kWorker,
             "Finished reading LanWlanWan Switching status from BIOS. Wait for (WLAN AutoConfig) to start"),
        Info("08:00:01.040", 0x40, kWorker,
             "LAN WLAN Auto Switching is disabled in BIOS. Restoring previous WLAN Status."),
        Info("08:00:01.041", 0x40, kUpdateWlan, "Registry read is 1, WLAN Switch = 1"),
        Info("08:00:01.042", 0x40, kCheckWlan, "Phy state : 1"),
        Info("08:00:01.042", 0x40, kSwitchWlan, "Current WLAN Status : 1, To Change Status = 1"),
        Info("08:00:01.042", 0x40, kSwitchWlan, "No change in WLAN Status Needed."),
        Info("08:00:01.050", 0x40, kWorker, "Wait for (WWAN AutoConfig) to start"),
        Line("08:00:02.060", 0x40, kError, kWorker,
             "WWAN Device enumeration failed / No supporting WWAN device found "),
        // A wire later: the firmware keeps the service's hands off both radios.
        Info("08:05:00.000", 0x20, kNlm, "------------------start----------------------"),
        Info("08:05:00.000", 0x20, kNlm, "Connection ID : {C}"),
        Info("08:05:00.001", 0x20, kNlm, "Connectivity state : 1 "),
        Info("08:05:00.003", 0x20, kNlm, "Ethernet state : 1 "),
        Info("08:05:00.004", 0x20, kNlm, "Ethernet is connected"),
        Info("08:05:00.005", 0x20, kNlm, "-------------------end-----------------------"),
    };
}

}  // namespace

TEST(StoryStart, AFirmwareThatCannotBeReadDisablesSwitchingForBothRadios)
{
    const Told told = Tell(StartWithoutFirmware());
    ASSERT_EQ(told.events.size(), 3u);
    EXPECT_EQ(told.events[0].kind, EventKind::ServiceStart);
    EXPECT_EQ(told.events[0].text, "The service started (version 1.2.3.4)");
    const diag::StoryEvent& start = told.events[1];
    EXPECT_EQ(start.kind, EventKind::StartUp);
    const auto firmware = EffectsOf(start, EffectKind::Firmware);
    ASSERT_EQ(firmware.size(), 1u);
    EXPECT_EQ(firmware[0].text, "The firmware could not be read (Could not connect to ROOT\\qx\\instrumentedbios. "
                                "[hr:0x8004100E]): switching disabled for both radios");
    EXPECT_EQ(firmware[0].wifiSwitching, State::Off);
    EXPECT_EQ(firmware[0].wwanSwitching, State::Off);
    const auto kept = EffectsOf(start, EffectKind::Kept);
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_EQ(kept[0].radio, Radio::Wifi);
    EXPECT_EQ(kept[0].text, "Wi-Fi already on: nothing to switch");
    EXPECT_EQ(kept[1].reason, "no-device");
    EXPECT_EQ(kept[1].text, "No mobile-broadband device: the service manages Wi-Fi only");
}

TEST(StoryStart, AWireUnderAFirmwareThatForbidsSwitchingLeavesTheRadiosAlone)
{
    const Told told = Tell(StartWithoutFirmware());
    ASSERT_EQ(told.events.size(), 3u);
    const diag::StoryEvent& wire = told.events[2];
    EXPECT_EQ(wire.kind, EventKind::WireUp);
    const auto kept = EffectsOf(wire, EffectKind::Kept);
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_EQ(kept[0].reason, "firmware");
    EXPECT_EQ(kept[0].text, "Wi-Fi left alone: the firmware does not allow switching it");
    EXPECT_EQ(kept[1].radio, Radio::Wwan);
}

TEST(StoryStart, TheSettingsDecideWhereTheFlagsLineIsLeftOut)
{
    // Levels from Verbose up: no trace records, so no flags line.
    const Told told = Tell({
        Line("08:00:00.030", 0x40, kVerbose, kAutoSwitching, "Displaying the WMI Read Data - Start"),
        Line("08:00:00.030", 0x40, kVerbose, kAutoSwitching,
             "Setting = LAN / WLAN Auto Switching  ==>  Value = *Disable"),
        Line("08:00:00.030", 0x40, kVerbose, kAutoSwitching, "Setting = LAN/WLAN Switching  ==>  Value = Enable"),
        Line("08:00:00.030", 0x40, kVerbose, kAutoSwitching,
             "Setting = LAN / WWAN Auto Switching  ==>  Value = Enable"),
        Line("08:00:00.030", 0x40, kVerbose, kAutoSwitching, "Displaying the WMI Read Data - End"),
        Info("08:00:00.031", 0x40, kWorker,
             "Finished reading LanWlanWan Switching status from BIOS. Wait for (WLAN AutoConfig) to start"),
        Line("08:00:00.040", 0x40, kTraceOut, kWorker, "ServiceWorkerThread - Exit"),
    });
    ASSERT_EQ(told.events.size(), 1u);
    const auto firmware = EffectsOf(told.events[0], EffectKind::Firmware);
    ASSERT_EQ(firmware.size(), 1u);
    // The preferred name decides, even against the older one.
    EXPECT_EQ(firmware[0].wifiSwitching, State::Off);
    EXPECT_EQ(firmware[0].wwanSwitching, State::On);
    EXPECT_EQ(firmware[0].text,
              "The firmware allows switching for mobile broadband, not for Wi-Fi (LAN / WLAN Auto "
              "Switching = *Disable; LAN/WLAN Switching = Enable; LAN / WWAN Auto Switching = Enable)");
}

TEST(StoryStart, AServiceStartEndsWhatTheLastProcessLeftOpen)
{
    const Told told = Tell({
        Info("12:00:00.000", 0x20, kNlm, "------------------start----------------------"),
        Info("12:00:00.000", 0x20, kNlm, "Connection ID : {A}"),
        Info("12:00:00.001", 0x20, kNlm, "Connectivity state : 1 "),
        Info("12:00:05.000", 0x10, "CMainService::OnStart",
             "LAN/WLAN | LAN/WWAN Switching Service (1.0.0.0) in OnStart"),
    });
    ASSERT_EQ(told.events.size(), 2u);
    EXPECT_EQ(told.events[0].kind, EventKind::ConnectionChange);
    EXPECT_EQ(told.events[0].text,
              "A connection changed: connection {A} (the log does not say what the service made of it)");
    EXPECT_EQ(told.events[1].kind, EventKind::ServiceStart);
}

TEST(StorySleep, EventsDuringSleepAreIgnoredAndTheResumeDecidesAgain)
{
    const Told told = Tell({
        Info("01:00:00.000", 0x10, kHandlerEx, "PBT_APMSTANDBY or PBT_APMSUSPEND"),
        Info("01:00:00.000", 0x10, kHandlerEx, "Setting on_resumeflag to TRUE"),
        Info("01:30:00.000", 0x20, kNlm, "------------------start----------------------"),
        Info("01:30:00.000", 0x20, kNlm, "Connection ID : {B}"),
        Info("01:30:00.001", 0x20, kNlm, "Connectivity state : 1 "),
        Info("01:30:00.001", 0x20, kNlm, "System in sleep/Hibernate, not processing the callback"),
        Info("01:30:00.002", 0x20, kNlm, "-------------------end-----------------------"),
        Info("01:40:00.000", 0x30, kCallback, kMsmText),
        Info("01:40:00.001", 0x30, kMsmHandler,
             "Not processing the callback, msm_Notification_flag = 0, ResumeFlag = 1"),
        Line("03:00:00.000", 0x10, kTraceIn, kResume, ""),
        Info("03:00:00.010", 0x10, kResume, "Ethernet Status = 0"),
        Info("03:00:00.010", 0x10, kResume, "Service resume handler starting WLAN service.."),
        Info("03:00:00.011", 0x10, kResume, "Wait for (WLAN AutoConfig) to start"),
        Info("03:00:01.020", 0x10, kStartWlan, "WLAN Registry Status = True"),
        Info("03:00:01.021", 0x10, kSwitchWlan, "Current WLAN Status : 0, To Change Status = 1"),
        Info("03:00:01.025", 0x10, kCheckWlan, "Phy state : 1"),
        Info("03:00:01.025", 0x10, kSwitchWlan, "New WIFI state : 1"),
        Info("03:00:01.200", 0x10, kResume, "Resetting on_resumeflag to False"),
    });
    ASSERT_EQ(told.events.size(), 4u);
    EXPECT_EQ(told.events[0].kind, EventKind::Suspend);
    EXPECT_EQ(told.events[1].kind, EventKind::ConnectionUp);
    EXPECT_EQ(told.events[1].text,
              "A connection came: connection {B}; ignored: the laptop was going to sleep or resuming");
    EXPECT_EQ(told.events[2].kind, EventKind::WifiNotification);
    EXPECT_EQ(told.events[2].text, "The user's Wi-Fi switch was ignored: the laptop was going to sleep or resuming");
    const diag::StoryEvent& resume = told.events[3];
    EXPECT_EQ(resume.kind, EventKind::Resume);
    EXPECT_EQ(resume.text, "The laptop resumed after 2 h 0 min asleep; no wire");
    const diag::Effect wifi = SwitchOf(resume, Radio::Wifi);
    EXPECT_TRUE(wifi.byService);
    EXPECT_EQ(wifi.to, State::On);
    EXPECT_EQ(wifi.text, "Wi-Fi switched on by the service after 1.0 s (the stored choice is True)");
    EXPECT_EQ(LaneAt(told.lanes, diag::Lane::Sleep, At("02:00:00.000")), State::On);
    EXPECT_EQ(LaneAt(told.lanes, diag::Lane::Sleep, At("03:00:01.200")), State::Off);
}
