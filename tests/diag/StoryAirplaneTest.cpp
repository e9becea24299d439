// The story of airplane mode: the radios the system switches with it, the
// service's restore when it goes off; and the builder's own limits: an
// episode without an end line ends after a pause, and a long log is told as
// it is read.
#include "StoryHarness.h"

#include "explain/Texts.h"

#include <gtest/gtest.h>

using namespace diagtest;
using diag::EffectKind;
using diag::EventKind;
using diag::Radio;
using diag::State;

namespace {

std::vector<std::string> AirplaneOnAndOff()
{
    return {
        Info("09:00:00.000", 0x50, kCheckWlan, "Phy state : 1"),
        Info("09:00:00.000", 0x50, kCheckWwan, "Current WWAN status : ON"),
        Line("09:00:00.000", 0x50, kTraceOut, kAirplane, "Airplane Mode Status: 0 "),
        Info("09:10:00.000", 0x60, kWatcher, "AirplaneModeWatcher - Registry Change Event Triggered"),
        Line("09:10:00.001", 0x60, kTraceOut, kAirplane, "Airplane Mode Status: 1 "),
        Info("09:10:00.001", 0x60, kWatcher, "Airplane Mode ON , setting default"),
        Info("09:10:00.003", 0x70, kCallback, kMsmText),
        Info("09:10:00.004", 0x70, kCheckWlan, "Phy state : 0"),
        Info("09:10:00.004", 0x70, kMsmHandler, "Current WLAN status = 0"),
        Info("09:10:00.005", 0x60, kCheckWlan, "Phy state : 0"),
        Info("09:10:00.005", 0x60, kSwitchWlan, "Current WLAN Status : 0, To Change Status = 0"),
        Info("09:10:00.005", 0x60, kSwitchWlan, "No change in WLAN Status Needed."),
        Line("09:10:00.006", 0x70, kTraceOut, kMsmHandler, ""),
        Line("09:10:00.006", 0x80, kTraceIn, kMbn, "RequestID = 0, Status = 0x0"),
        Info("09:10:00.006", 0x80, kMbn, "NetworkChangedForSetRadio Status = 0"),
        Info("09:10:00.007", 0x80, kMbn, "Ethernet Connection Status = 0"),
        Info("09:10:00.007", 0x80, kMbn, "Not Processing OnSetSoftwareRadioStateComplete"),
        Info("09:20:00.000", 0x60, kWatcher, "AirplaneModeWatcher - Registry Change Event Triggered"),
        Line("09:20:00.001", 0x60, kTraceOut, kAirplane, "Airplane Mode Status: 0 "),
        Info("09:20:00.003", 0x60, kWatcher, "Airplane mode is OFF, ethernet not connected"),
        Info("09:20:00.004", 0x60, kWatcher, "Previous WLAN Power Status in registry = True"),
        Info("09:20:00.004", 0x60, kWatcher, "Setting SetWlanPowerStatusInRegistry with value = 1"),
        Info("09:20:00.005", 0x60, kSwitchWlan, "Current WLAN Status : 0, To Change Status = 1"),
        Info("09:20:00.008", 0x60, kCheckWlan, "Phy state : 1"),
        Info("09:20:00.008", 0x60, kSwitchWlan, "New WIFI state : 1"),
        Info("09:20:00.009", 0x60, kUpdateWwan, "Registry read is 1, WWAN Switch = 1"),
        Info("09:20:00.060", 0x60, kCheckWwan, "Current WWAN status : OFF"),
        Info("09:20:00.060", 0x60, kSwitchWwan, "Current Status : 0, To Change Status = 1"),
        Info("09:20:00.300", 0x60, kSwitchWwan, "Got new WWAN Status = 1 , bOnOffStatus = 1"),
        Info("09:20:00.300", 0x60, kSwitchWwan, "New Radio State is Set. So exiting from loop"),
    };
}

}  // namespace

TEST(StoryAirplane, AirplaneModeOnSwitchesTheRadiosBySystem)
{
    const Told told = Tell(AirplaneOnAndOff());
    ASSERT_EQ(told.events.size(), 2u);
    const diag::StoryEvent& on = told.events[0];
    EXPECT_EQ(on.kind, EventKind::AirplaneOn);
    EXPECT_EQ(on.text, "Airplane mode went on");
    EXPECT_EQ(on.end, At("09:10:00.005"));  // its last line, not the next pass's first
    const diag::Effect wifi = SwitchOf(on, Radio::Wifi);
    EXPECT_FALSE(wifi.byService);
    EXPECT_EQ(wifi.to, State::Off);
    EXPECT_EQ(wifi.text, "Wi-Fi went off with airplane mode (switched by the system)");
    const diag::Effect wwan = SwitchOf(on, Radio::Wwan);
    EXPECT_EQ(wwan.to, State::Unknown);
    EXPECT_EQ(wwan.text, "Mobile broadband switched by the system with airplane mode (not read: the service leaves "
                         "mobile broadband alone in airplane mode)");
    // The service's own switch-off was not needed, and is not told beside the change.
    EXPECT_TRUE(EffectsOf(on, EffectKind::Kept).empty());
    EXPECT_EQ(LaneAt(told.lanes, diag::Lane::Wwan, At("09:10:00.007")), State::Unknown);
    EXPECT_EQ(LaneAt(told.lanes, diag::Lane::Airplane, At("09:10:00.001")), State::On);
}

TEST(StoryAirplane, AirplaneModeOffRestoresTheStoredChoices)
{
    const Told told = Tell(AirplaneOnAndOff());
    ASSERT_EQ(told.events.size(), 2u);
    const diag::StoryEvent& off = told.events[1];
    EXPECT_EQ(off.kind, EventKind::AirplaneOff);
    EXPECT_EQ(off.text, "Airplane mode went off (it was on for 10 min 0 s)");
    const diag::Effect wifi = SwitchOf(off, Radio::Wifi);
    EXPECT_TRUE(wifi.byService);
    EXPECT_EQ(wifi.text, "Wi-Fi switched on by the service after 8 ms (the stored choice is True)");
    const diag::Effect wwan = SwitchOf(off, Radio::Wwan);
    EXPECT_TRUE(wwan.byService);
    EXPECT_EQ(wwan.from, State::Off);
    EXPECT_EQ(wwan.to, State::On);
}

TEST(StoryAirplane, AnEpisodeWithoutAnEndLineEndsAfterAPauseOfItsThread)
{
    RecordingWriter writer;
    diag::StoryBuilder builder(writer);
    const std::vector<std::string> lines = {
        Info("09:00:00.000", 0x50, kCheckWlan, "Phy state : 1"),
        Info("09:10:00.000", 0x60, kWatcher, "AirplaneModeWatcher - Registry Change Event Triggered"),
        Info("09:10:00.001", 0x60, kWatcher, "Airplane Mode ON , setting default"),
        Info("09:10:00.003", 0x60, kCheckWlan, "Phy state : 0"),
        Info("09:10:02.000", 0x99, "Some::Other", "anything"),
        Info("09:10:04.000", 0x99, "Some::Other", "anything"),
    };
    for (size_t i = 0; i < lines.size(); ++i) {
        diag::LogRecord record;
        ASSERT_TRUE(diag::ParseLogLine(lines[i], record));
        builder.Add(record);
        // Told three seconds after the watcher's last line, not at the end of the log.
        EXPECT_EQ(writer.events.size(), i + 1 < lines.size() ? 0u : 1u) << lines[i];
    }
    ASSERT_EQ(writer.events.size(), 1u);
    EXPECT_EQ(writer.events[0].kind, EventKind::AirplaneOn);
}

TEST(StoryAirplane, ALongLogIsToldAsItIsRead)
{
    // Ten thousand wire events: each is told once the next one starts, so
    // what the builder holds does not grow with the log.
    RecordingWriter writer;
    diag::StoryBuilder builder(writer);
    for (int i = 0; i < 10000; ++i) {
        const diag::Millis start = At("00:00:00.000") + static_cast<diag::Millis>(i) * 2000;
        const diag::CivilTime t = diag::ToCivil(start);
        const std::string clock = diag::Printf(L"%02d:%02d:%02d.000", t.hour, t.minute, t.second);
        const std::string end = diag::Printf(L"%02d:%02d:%02d.500", t.hour, t.minute, t.second);
        for (const std::string& line :
             {Info(clock.c_str(), 0x20, kNlm, "------------------start----------------------"),
              Info(clock.c_str(), 0x20, kNlm, "Connection ID : {A}"),
              Info(clock.c_str(), 0x20, kNlm, "Connectivity state : 1 "),
              Info(end.c_str(), 0x20, kNlm, "-------------------end-----------------------")}) {
            diag::LogRecord record;
            ASSERT_TRUE(diag::ParseLogLine(line, record));
            builder.Add(record);
        }
        ASSERT_EQ(writer.events.size(), static_cast<size_t>(i) + 1);
    }
}
