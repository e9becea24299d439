// Why each radio is in its state and what the service does next, over the
// fixed reports of a person's day on the laptop and its odd corners.
#include "StatusFixtures.h"

#include "status/Reasoning.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using diag::Action;
using diag::Cause;
using diag::RadioState;
using diag::Reason;
using diag::WireEvent;
using namespace diagtest;
using testing::ElementsAre;

constexpr wchar_t kWlanSetting[] = L"LAN / WLAN Auto Switching";
constexpr wchar_t kWwanSetting[] = L"LAN / WWAN Auto Switching";

TEST(Reasoning, NoWireBothRadiosOn)
{
    const auto reasoning = Reason(Laptop());
    EXPECT_EQ(reasoning.wifi.state, RadioState::On);
    EXPECT_EQ(reasoning.wifi.cause, Cause::NoWire);
    EXPECT_EQ(reasoning.wifi.nextEvent, WireEvent::Comes);
    EXPECT_EQ(reasoning.wifi.nextAction, Action::SwitchOff);
    EXPECT_THAT(reasoning.wifi.sentences,
                ElementsAre(L"Wi-Fi is on because no wired adapter counts as Ethernet and the stored choice is True.",
                            L"It goes off when a wired adapter gets an address, and comes back on when that wire "
                            L"goes."));
    EXPECT_EQ(reasoning.mobileBroadband.cause, Cause::NoWire);
    EXPECT_EQ(reasoning.mobileBroadband.sentences[0],
              L"Mobile broadband is on because no wired adapter counts as Ethernet and the stored choice is True.");
}

TEST(Reasoning, APlugSwitchesBothOffUntilTheWireGoes)
{
    auto report = Laptop();
    Plug(report);
    SetWifi(report, false);
    SetMobileBroadband(report, false);
    const auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.state, RadioState::Off);
    EXPECT_EQ(reasoning.wifi.cause, Cause::WiredLink);
    EXPECT_EQ(reasoning.wifi.nextEvent, WireEvent::Goes);
    EXPECT_EQ(reasoning.wifi.nextAction, Action::SwitchOn);
    EXPECT_THAT(reasoning.wifi.sentences,
                ElementsAre(L"Wi-Fi is off because the wired adapter eth0 has an address and the firmware allows "
                            L"LAN/WLAN switching.",
                            L"It comes back on when the wire goes, since the stored choice is True."));
    EXPECT_EQ(reasoning.mobileBroadband.cause, Cause::WiredLink);
    EXPECT_THAT(reasoning.mobileBroadband.sentences,
                ElementsAre(L"Mobile broadband is off because the wired adapter eth0 has an address and the firmware "
                            L"allows LAN/WWAN switching.",
                            L"It comes back on when the wire goes, since the stored choice is True."));
}

TEST(Reasoning, APullBringsBackTheStartingPoint)
{
    auto report = Laptop();
    Plug(report);
    Pull(report);
    const auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.cause, Cause::NoWire);
    EXPECT_EQ(reasoning.wifi.nextAction, Action::SwitchOff);
    // A pulled wire is no wire waiting for its address.
    EXPECT_THAT(reasoning.wifi.sentences,
                ElementsAre(L"Wi-Fi is on because no wired adapter counts as Ethernet (eth0 has no address and its "
                            L"link is down) and the stored choice is True.",
                            L"It goes off when a wired adapter gets an address, and comes back on when that wire "
                            L"goes."));
    EXPECT_EQ(reasoning.mobileBroadband.cause, Cause::NoWire);
}

TEST(Reasoning, TheUsersSwitchOffIsKeptAcrossAWire)
{
    auto report = Laptop();
    SetWifi(report, false);
    StoreWifiChoice(report, L"False");
    auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.cause, Cause::UserChoice);
    EXPECT_EQ(reasoning.wifi.nextAction, Action::None);
    EXPECT_THAT(reasoning.wifi.sentences,
                ElementsAre(L"Wi-Fi is off because the user switched it off: the stored choice is False.",
                            L"It stays off when a wire comes or goes; only the user's switch brings it back."));

    Plug(report);
    reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.cause, Cause::WiredLink);
    EXPECT_EQ(reasoning.wifi.nextAction, Action::None);
    EXPECT_EQ(reasoning.wifi.sentences[1], L"It stays off when the wire goes, since the stored choice is False.");
}

TEST(Reasoning, AirplaneModeOffBringsTheStoredChoicesBack)
{
    auto report = Laptop();
    report.airplaneMode = true;
    SetWifi(report, false);
    SetMobileBroadband(report, false);
    const auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.cause, Cause::AirplaneMode);
    EXPECT_THAT(reasoning.wifi.sentences,
                ElementsAre(L"Wi-Fi is off because airplane mode is on.",
                            L"When airplane mode goes off, the service switches it back on, since the stored choice "
                            L"is True."));
    EXPECT_EQ(reasoning.mobileBroadband.cause, Cause::AirplaneMode);
    EXPECT_EQ(reasoning.mobileBroadband.sentences[0], L"Mobile broadband is off because airplane mode is on.");
}

TEST(Reasoning, AirplaneModeWithTheWireInOrTheFirmwareForbidding)
{
    auto report = Laptop();
    report.airplaneMode = true;
    SetWifi(report, false);
    Plug(report);
    EXPECT_EQ(Reason(report).wifi.sentences[1],
              L"When airplane mode goes off, it stays off while the wired adapter eth0 is up.");
    // The wire goes while airplane mode is on: nothing is switched on.
    EXPECT_EQ(Reason(report).wifi.nextAction, Action::None);

    SetFirmware(report, kWlanSetting, L"*Disable");
    EXPECT_EQ(Reason(report).wifi.sentences[1],
              L"When airplane mode goes off, the service does not switch it back itself: the firmware forbids "
              L"LAN/WLAN switching (\"LAN / WLAN Auto Switching\" is \"*Disable\").");
}

TEST(Reasoning, WiFiSwitchedOnInAirplaneMode)
{
    auto report = Laptop();
    report.airplaneMode = true;
    const auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.cause, Cause::OnInAirplaneMode);
    EXPECT_THAT(reasoning.wifi.sentences,
                ElementsAre(L"Wi-Fi is on while airplane mode is on: the user switched it on in airplane mode.",
                            L"It goes off when a wired adapter gets an address, and comes back on when that wire "
                            L"goes."));

    Plug(report);
    EXPECT_EQ(Reason(report).wifi.sentences[1],
              L"The service switches it off at its next Wi-Fi notification, wire change or start.");
    SetFirmware(report, kWlanSetting, L"*Disable");
    EXPECT_EQ(Reason(report).wifi.sentences[1], L"A wire does not change it: the firmware forbids LAN/WLAN switching "
                                                L"(\"LAN / WLAN Auto Switching\" is \"*Disable\").");
}

TEST(Reasoning, TheFirmwareForbiddingWiFiSwitchingLeavesItOnBesideTheWire)
{
    auto report = Laptop();
    SetFirmware(report, kWlanSetting, L"*Disable");
    Plug(report);
    SetMobileBroadband(report, false);
    const auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.state, RadioState::On);
    EXPECT_EQ(reasoning.wifi.cause, Cause::FirmwareForbids);
    EXPECT_EQ(reasoning.wifi.nextAction, Action::None);
    EXPECT_THAT(reasoning.wifi.sentences,
                ElementsAre(L"Wi-Fi is on beside the wired adapter eth0 because the firmware forbids LAN/WLAN "
                            L"switching (\"LAN / WLAN Auto Switching\" is \"*Disable\").",
                            L"Wires coming and going do not change it; the service only records the user's choice."));
    EXPECT_EQ(reasoning.mobileBroadband.cause, Cause::WiredLink);
}

TEST(Reasoning, WhatTheServiceMakesOfMissingOrUnreadFirmwareSettings)
{
    auto report = Laptop();
    Plug(report);
    SetFirmware(report, kWlanSetting, L"");
    EXPECT_EQ(Reason(report).wifi.sentences[0],
              L"Wi-Fi is on beside the wired adapter eth0 because the firmware's \"LAN / WLAN Auto Switching\" is "
              L"empty, which the service takes as forbidding LAN/WLAN switching.");

    report.firmware.read.settings = {{kWwanSetting, L"Enable"}};
    report.firmware.decision = NLMUtils::DecideAutoSwitching(report.firmware.read.settings);
    EXPECT_EQ(Reason(report).wifi.sentences[0],
              L"Wi-Fi is on beside the wired adapter eth0 because the firmware has no LAN/WLAN switching setting, "
              L"which the service takes as forbidding it.");

    report.firmware.read.settings.clear();
    report.firmware.decision = {};
    EXPECT_EQ(Reason(report).wifi.sentences[0],
              L"Wi-Fi is on beside the wired adapter eth0 because the firmware settings could not be read, which the "
              L"service takes as forbidding LAN/WLAN switching.");
}

TEST(Reasoning, TheOlderWiFiSettingIsNamedWhenItDecides)
{
    auto report = Laptop();
    report.firmware.read.settings = {{L"LAN/WLAN Switching", L"*Off"}, {kWwanSetting, L"Enable"}};
    report.firmware.decision = NLMUtils::DecideAutoSwitching(report.firmware.read.settings);
    Plug(report);
    EXPECT_EQ(Reason(report).wifi.sentences[0],
              L"Wi-Fi is on beside the wired adapter eth0 because the firmware forbids LAN/WLAN switching "
              L"(\"LAN/WLAN Switching\" is \"*Off\").");
}

TEST(Reasoning, NoModem)
{
    auto report = Laptop();
    NoModem(report);
    const auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.mobileBroadband.state, RadioState::Absent);
    EXPECT_EQ(reasoning.mobileBroadband.cause, Cause::NoDevice);
    EXPECT_EQ(reasoning.mobileBroadband.nextAction, Action::None);
    EXPECT_THAT(reasoning.mobileBroadband.sentences,
                ElementsAre(L"No mobile-broadband device was found (no mobile-broadband interface), so the service "
                            L"leaves mobile broadband alone; it looks for a device only when it starts."));
    EXPECT_EQ(reasoning.wifi.cause, Cause::NoWire);
}

TEST(Reasoning, AWireDescribedAsAVpnDoesNotCount)
{
    auto report = Laptop();
    Plug(report, "TAP-Win1");
    const auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.cause, Cause::NoWire);
    EXPECT_EQ(reasoning.wifi.nextEvent, WireEvent::Comes);
    EXPECT_EQ(reasoning.wifi.sentences[0],
              L"Wi-Fi is on because no wired adapter counts as Ethernet (TAP-Win1 is described as a VPN or virtual "
              L"adapter) and the stored choice is True.");
    EXPECT_EQ(reasoning.mobileBroadband.cause, Cause::NoWire);
}

TEST(Reasoning, AWireWaitingForItsAddress)
{
    auto report = Laptop();
    PlugWithoutAddress(report);
    const auto reasoning = Reason(report);
    EXPECT_THAT(reasoning.wifi.sentences,
                ElementsAre(L"Wi-Fi is on because no wired adapter counts as Ethernet (eth0 has its link up but no "
                            L"address yet) and the stored choice is True.",
                            L"It goes off once eth0 gets its address, and comes back on when that wire goes."));
}

TEST(Reasoning, AnAdapterWithoutAnAddressWhoseLinkIsNotKnown)
{
    auto report = Laptop();
    PlugWithoutAddress(report);
    report.ethernet.adapters[0].link = diag::AdapterReading::Link::Unknown;
    const auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.sentences[0], L"Wi-Fi is on because no wired adapter counts as Ethernet (eth0 has no "
                                           L"address) and the stored choice is True.");
    EXPECT_EQ(reasoning.wifi.sentences[1], L"It goes off once eth0 gets its address, and comes back on when that wire "
                                           L"goes.");
}

TEST(Reasoning, AnUnreadAdapterList)
{
    auto report = Laptop();
    report.ethernet.listRead = false;
    report.ethernet.error = 232;
    EXPECT_EQ(Reason(report).wifi.sentences[0],
              L"Wi-Fi is on because no wired adapter counts as Ethernet (the adapter list could not be read: error "
              L"232) and the stored choice is True.");
}

TEST(Reasoning, ARadioOnBesideAWireThatShouldSwitchIt)
{
    auto report = Laptop();
    Plug(report);
    auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.cause, Cause::NotTheService);
    EXPECT_THAT(reasoning.wifi.sentences,
                ElementsAre(L"Wi-Fi is on although the wired adapter eth0 has an address and the firmware allows "
                            L"LAN/WLAN switching.",
                            L"The service switches it off at its next Wi-Fi notification, wire change or start."));
    EXPECT_EQ(reasoning.mobileBroadband.sentences[1],
              L"The service switches it off at its next radio event, wire change or start.");

    StopService(report);
    reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.nextAction, Action::None);
    EXPECT_EQ(reasoning.wifi.sentences[1],
              L"The service is stopped, so nothing switches the Wi-Fi radio until it runs.");
}

TEST(Reasoning, ARadioOffThatTheServiceWouldHaveOn)
{
    auto report = Laptop();
    SetWifi(report, false);
    const auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.cause, Cause::NotTheService);
    EXPECT_THAT(reasoning.wifi.sentences,
                ElementsAre(L"Wi-Fi is off, but not by the service: no wired adapter counts as Ethernet, and the "
                            L"stored choice is True.",
                            L"Another program or the driver switched it off (see the conflicts), or the service has "
                            L"yet to handle a change; the service switches it back on at its next start."));
}

TEST(Reasoning, ARadioOnWhoseStoredChoiceLagsBehind)
{
    auto report = Laptop();
    StoreWifiChoice(report, L"False");
    StoreMobileBroadbandChoice(report, L"False");
    const auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.sentences[0],
              L"Wi-Fi is on because no wired adapter counts as Ethernet; the service records the user's choice (the "
              L"stored choice is False) at its next Wi-Fi notification.");
    EXPECT_EQ(reasoning.mobileBroadband.sentences[0],
              L"Mobile broadband is on because no wired adapter counts as Ethernet; the service records the user's "
              L"choice (the stored choice is False) when the next radio change completes.");
}

TEST(Reasoning, WhatAMissingOrOddStoredValueCountsAs)
{
    auto report = Laptop();
    StoreWifiChoice(report, L"");
    EXPECT_EQ(Reason(report).wifi.sentences[0],
              L"Wi-Fi is on because no wired adapter counts as Ethernet and the stored choice is True (nothing is "
              L"stored, which counts as True).");
    StoreWifiChoice(report, L"true");
    SetWifi(report, false);
    EXPECT_EQ(Reason(report).wifi.sentences[0],
              L"Wi-Fi is off because the user switched it off: the stored choice is \"true\", which counts as False.");
}

TEST(Reasoning, AServiceNotInstalledSwitchesNothing)
{
    auto report = Laptop();
    report.service.registered = false;
    report.service.state = 0;
    const auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.nextAction, Action::None);
    EXPECT_EQ(reasoning.wifi.sentences[1],
              L"The service is not installed, so nothing switches the Wi-Fi radio until it runs.");
    EXPECT_EQ(reasoning.mobileBroadband.sentences[1],
              L"The service is not installed, so nothing switches the mobile-broadband radio until it runs.");
}

TEST(Reasoning, NoWiFiAdapterOrAnUnreadRadio)
{
    auto report = Laptop();
    report.wlan = {};
    report.wlan.listed = true;
    report.wlan.failure = L"no Wi-Fi interface";
    auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.state, RadioState::Absent);
    EXPECT_EQ(reasoning.wifi.cause, Cause::NoDevice);
    EXPECT_THAT(reasoning.wifi.sentences,
                ElementsAre(L"No Wi-Fi adapter was found, so the service has no Wi-Fi radio to switch."));

    report.wlan = {};
    report.wlan.failure = L"WlanOpenHandle failed with error 1062";
    reasoning = Reason(report);
    EXPECT_EQ(reasoning.wifi.state, RadioState::Unknown);
    EXPECT_EQ(reasoning.wifi.cause, Cause::Unreadable);
    EXPECT_THAT(reasoning.wifi.sentences,
                ElementsAre(L"The Wi-Fi radio could not be read (WlanOpenHandle failed with error 1062)."));
}

TEST(Reasoning, AnUnreadModemRadio)
{
    auto report = Laptop();
    report.wwan.read = false;
    report.wwan.failure = L"the radio could not be read (0x80004005)";
    const auto reasoning = Reason(report);
    EXPECT_EQ(reasoning.mobileBroadband.state, RadioState::Unknown);
    EXPECT_THAT(reasoning.mobileBroadband.sentences,
                ElementsAre(L"The mobile-broadband radio could not be read (the radio could not be read "
                            L"(0x80004005))."));
}

TEST(ReasoningNames, AreTheDocumentedOnes)
{
    EXPECT_STREQ(diag::StateName(RadioState::Absent), L"absent");
    EXPECT_STREQ(diag::CauseName(Cause::WiredLink), L"wired-link");
    EXPECT_STREQ(diag::CauseName(Cause::NotTheService), L"not-the-service");
    EXPECT_STREQ(diag::CauseName(Cause::OnInAirplaneMode), L"on-in-airplane-mode");
    EXPECT_STREQ(diag::EventName(WireEvent::Goes), L"wire-goes");
    EXPECT_STREQ(diag::ActionName(Action::SwitchOn), L"switch-on");
}

}  // namespace
