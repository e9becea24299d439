// The README demo's log, as the service wrote it on the simulated laptop
// (tests/diag/data/demo.log): explain reconstructs the demo's steps in
// order, each with its cause. The demo: plug (the radios go off), pull (they
// come back), the user switches Wi-Fi off, plug and pull again (Wi-Fi stays
// off), the user switches Wi-Fi on, airplane mode on and off.
#include "explain/LogInput.h"

#include "StoryHarness.h"

#include <gtest/gtest.h>

using namespace diagtest;
using diag::EffectKind;
using diag::EventKind;
using diag::Radio;
using diag::State;

namespace {

Told TellDemo(diag::InputReport& input)
{
    RecordingWriter writer;
    diag::StoryBuilder builder(writer);
    input.files.resize(1);
    diag::ReadLogFiles({DemoLogPath()}, input, builder);
    builder.Finish();
    return {writer.events, writer.lanes, builder.End()};
}

void ExpectSwitch(const diag::StoryEvent& event, Radio radio, State to, bool byService)
{
    const diag::Effect change = SwitchOf(event, radio);
    EXPECT_EQ(change.to, to) << event.text << ": " << change.text;
    EXPECT_EQ(change.byService, byService) << event.text << ": " << change.text;
}

void ExpectKept(const diag::StoryEvent& event, Radio radio, const char* reason)
{
    const auto kept = EffectsOf(event, EffectKind::Kept);
    ASSERT_EQ(kept.size(), 1u) << event.text;
    EXPECT_EQ(kept[0].radio, radio) << event.text;
    EXPECT_EQ(kept[0].reason, reason) << event.text;
}

}  // namespace

TEST(DemoLog, ReadsEveryLineOfTheServicesLog)
{
    diag::InputReport input;
    TellDemo(input);
    ASSERT_TRUE(input.files[0].opened);
    EXPECT_EQ(input.files[0].lines, 982u);
    // Every line is the service's, but for the empty line a message with a
    // line end of its own leaves behind.
    EXPECT_EQ(input.files[0].records, 981u);
    EXPECT_EQ(input.files[0].foreignLines, 0u);
    EXPECT_FALSE(input.files[0].truncatedLastLine);
}

TEST(DemoLog, TellsTheDemosStepsInOrderWithTheirCauses)
{
    diag::InputReport input;
    const Told told = TellDemo(input);
    const std::vector<EventKind> expected = {
        EventKind::ServiceStart, EventKind::StartUp,     EventKind::WireUp,      EventKind::WireDown,
        EventKind::WifiSwitch,   EventKind::WireUp,      EventKind::WireDown,    EventKind::WifiSwitch,
        EventKind::AirplaneOn,   EventKind::AirplaneOff, EventKind::ServiceStop,
    };
    ASSERT_EQ(told.events.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(told.events[i].kind, expected[i]) << i << ": " << told.events[i].text;

    // Plug: both radios off, by the service, remembered as on.
    const diag::StoryEvent& plug = told.events[2];
    EXPECT_EQ(plug.connection, "{00000002-FFFF-FFFF-0000-4E6574446576}");
    EXPECT_EQ(plug.adapter, "eth0");
    ExpectSwitch(plug, Radio::Wifi, State::Off, true);
    ExpectSwitch(plug, Radio::Wwan, State::Off, true);
    EXPECT_EQ(EffectsOf(plug, EffectKind::Stored).size(), 2u);
    // Pull: both back on, by the service.
    ExpectSwitch(told.events[3], Radio::Wifi, State::On, true);
    ExpectSwitch(told.events[3], Radio::Wwan, State::On, true);
    // The user switches Wi-Fi off; it is stored as the choice.
    EXPECT_EQ(told.events[4].text, "The user switched Wi-Fi off");
    ExpectSwitch(told.events[4], Radio::Wifi, State::Off, false);
    ASSERT_EQ(EffectsOf(told.events[4], EffectKind::Stored).size(), 1u);
    EXPECT_EQ(EffectsOf(told.events[4], EffectKind::Stored)[0].value, "False");
    // Plug again: Wi-Fi already off, mobile broadband off.
    ExpectKept(told.events[5], Radio::Wifi, "already");
    ExpectSwitch(told.events[5], Radio::Wwan, State::Off, true);
    // Pull again: Wi-Fi stays off by the user's stored choice, mobile broadband back on.
    ExpectKept(told.events[6], Radio::Wifi, "stored-choice");
    ExpectSwitch(told.events[6], Radio::Wwan, State::On, true);
    // The user switches Wi-Fi on.
    EXPECT_EQ(told.events[7].text, "The user switched Wi-Fi on");
    ExpectSwitch(told.events[7], Radio::Wifi, State::On, false);
    // Airplane mode on: the system switches Wi-Fi off; off: the service restores both.
    ExpectSwitch(told.events[8], Radio::Wifi, State::Off, false);
    ExpectSwitch(told.events[9], Radio::Wifi, State::On, true);
    ExpectSwitch(told.events[9], Radio::Wwan, State::On, true);
}

TEST(DemoLog, EndsWithWhatWasLastKnownBeforeTheServiceStopped)
{
    diag::InputReport input;
    const Told told = TellDemo(input);
    EXPECT_TRUE(told.end.stopped);
    EXPECT_EQ(told.end.lanes[static_cast<int>(diag::Lane::Wire)], State::Off);
    EXPECT_EQ(told.end.lanes[static_cast<int>(diag::Lane::Wifi)], State::On);
    EXPECT_EQ(told.end.lanes[static_cast<int>(diag::Lane::Wwan)], State::On);
    EXPECT_EQ(told.end.lanes[static_cast<int>(diag::Lane::Airplane)], State::Off);
    EXPECT_EQ(told.end.stored[0], "True");
    EXPECT_EQ(told.end.stored[1], "True");
}
