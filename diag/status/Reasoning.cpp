// The radios' sentences. Each radio gets a first sentence (why it is in
// its state) and a second (what the service does next).
#include "status/Reasoning.h"

#include "status/Conflicts.h"
#include "status/Phrases.h"

namespace diag {
namespace {

// What differs between the two radios.
struct Radio {
    const wchar_t* name;         // "Wi-Fi", "Mobile broadband"
    const wchar_t* noun;         // "the Wi-Fi radio"
    const wchar_t* switching;    // "LAN/WLAN switching"
    const wchar_t* recordsWhen;  // when the service records the user's choice
    const wchar_t* recheckWhen;  // when the service looks at the radio again
    RadioState state;
    std::wstring unreadText;  // for Absent and Unknown: the first sentence
    NLMUtils::SwitchingDecision decision;
    StoredChoice choice;
};

RadioState WlanState(const WlanReading& wlan)
{
    if (wlan.read)
        return wlan.on ? RadioState::On : RadioState::Off;
    return wlan.listed && wlan.interfaces == 0 ? RadioState::Absent : RadioState::Unknown;
}

RadioState WwanState(const WwanReading& wwan)
{
    if (wwan.read)
        return wwan.on ? RadioState::On : RadioState::Off;
    return wwan.deviceFound ? RadioState::Unknown : RadioState::Absent;
}

Radio WifiRadio(const StatusReport& report)
{
    Radio radio{L"Wi-Fi",
                L"the Wi-Fi radio",
                L"LAN/WLAN switching",
                L"at its next Wi-Fi notification",
                L"at its next Wi-Fi notification, wire change or start",
                WlanState(report.wlan),
                {},
                report.firmware.decision.wlan,
                report.wlanChoice};
    if (radio.state == RadioState::Absent)
        radio.unreadText = L"No Wi-Fi adapter was found, so the service has no Wi-Fi radio to switch.";
    else if (radio.state == RadioState::Unknown)
        radio.unreadText = L"The Wi-Fi radio could not be read (" + report.wlan.failure + L").";
    return radio;
}

Radio MobileBroadbandRadio(const StatusReport& report)
{
    Radio radio{L"Mobile broadband",
                L"the mobile-broadband radio",
                L"LAN/WWAN switching",
                L"when the next radio change completes",
                L"at its next radio event, wire change or start",
                WwanState(report.wwan),
                {},
                report.firmware.decision.wwan,
                report.wwanChoice};
    if (radio.state == RadioState::Absent)
        radio.unreadText = L"No mobile-broadband device was found (" + report.wwan.failure +
                           L"), so the service leaves mobile broadband alone; it looks for a device only when it "
                           L"starts.";
    else if (radio.state == RadioState::Unknown)
        radio.unreadText = L"The mobile-broadband radio could not be read (" + report.wwan.failure + L").";
    return radio;
}

// The first sentence, and the cause it gives.
std::wstring WhyItIs(const Radio& radio, const StatusReport& report, Cause& cause)
{
    const bool allowed = radio.decision.Allowed();
    const bool wired = report.ethernet.up;
    const std::wstring name = radio.name;
    const std::wstring firmware = FirmwarePhrase(radio.decision, report.firmware, radio.switching);
    const std::wstring stored = StoredPhrase(radio.choice);
    if (radio.state == RadioState::Off) {
        if (report.airplaneMode) {
            cause = Cause::AirplaneMode;
            return name + L" is off because airplane mode is on.";
        }
        if (wired && allowed) {
            cause = Cause::WiredLink;
            return name + L" is off because " + WirePhrase(report.ethernet) + L" and " + firmware + L".";
        }
        if (!radio.choice.on) {
            cause = Cause::UserChoice;
            return name + L" is off because the user switched it off: " + stored + L".";
        }
        cause = Cause::NotTheService;
        return name + L" is off, but not by the service: " + (wired ? firmware : NoWirePhrase(report.ethernet)) +
               L", and " + stored + L".";
    }
    if (report.airplaneMode) {
        cause = Cause::OnInAirplaneMode;
        return name + L" is on while airplane mode is on: the user switched it on in airplane mode.";
    }
    if (wired && allowed) {
        cause = Cause::NotTheService;
        return name + L" is on although " + WirePhrase(report.ethernet) + L" and " + firmware + L".";
    }
    if (wired) {
        cause = Cause::FirmwareForbids;
        return name + L" is on beside the wired adapter " + Widen(report.ethernet.Deciding()->description) +
               L" because " + firmware + L".";
    }
    cause = Cause::NoWire;
    if (!radio.choice.on)
        return name + L" is on because " + NoWirePhrase(report.ethernet) +
               L"; the service records the user's choice (" + stored + L") " + radio.recordsWhen + L".";
    return name + L" is on because " + NoWirePhrase(report.ethernet) + L" and " + stored + L".";
}

// The second sentence: what the service does next.
std::wstring WhatNext(const Radio& radio, const StatusReport& report, Cause cause)
{
    if (!report.service.Running())
        return L"The service is " + ServiceStatePhrase(report.service) + L", so nothing switches " + radio.noun +
               L" until it runs.";
    const bool allowed = radio.decision.Allowed();
    const bool wired = report.ethernet.up;
    const std::wstring firmware = FirmwarePhrase(radio.decision, report.firmware, radio.switching);
    const std::wstring stored = StoredPhrase(radio.choice);
    switch (cause) {
    case Cause::AirplaneMode:
        if (!allowed)
            return L"When airplane mode goes off, the service does not switch it back itself: " + firmware + L".";
        if (wired)
            return L"When airplane mode goes off, it stays off while the wired adapter " +
                   Widen(report.ethernet.Deciding()->description) + L" is up.";
        return radio.choice.on ? L"When airplane mode goes off, the service switches it back on, since " + stored + L"."
                               : L"When airplane mode goes off, the service leaves it off, since " + stored + L".";
    case Cause::WiredLink:
        return radio.choice.on ? L"It comes back on when the wire goes, since " + stored + L"."
                               : L"It stays off when the wire goes, since " + stored + L".";
    case Cause::UserChoice: return L"It stays off when a wire comes or goes; only the user's switch brings it back.";
    case Cause::NotTheService:
        if (radio.state == RadioState::On)
            return L"The service switches it off " + std::wstring(radio.recheckWhen) + L".";
        return L"Another program or the driver switched it off (see the conflicts), or the service has yet to "
               L"handle a change; the service switches it back on at its next start.";
    case Cause::FirmwareForbids:
        return L"Wires coming and going do not change it; the service only records the user's choice.";
    case Cause::OnInAirplaneMode:
        // The radio's next notification finds the wire.
        if (wired && allowed)
            return L"The service switches it off " + std::wstring(radio.recheckWhen) + L".";
        [[fallthrough]];
    case Cause::NoWire:
        if (!allowed)
            return L"A wire does not change it: " + firmware + L".";
        if (const AdapterReading* pending = report.ethernet.Pending())
            return L"It goes off once " + Widen(pending->description) +
                   L" gets its address, and comes back on when that wire goes.";
        return L"It goes off when a wired adapter gets an address, and comes back on when that wire goes.";
    case Cause::NoDevice:
    case Cause::Unreadable: break;
    }
    return std::wstring();
}

RadioExplanation Explain(const Radio& radio, const StatusReport& report)
{
    RadioExplanation explanation;
    explanation.state = radio.state;
    const bool wired = report.ethernet.up;
    explanation.nextEvent = wired ? WireEvent::Goes : WireEvent::Comes;
    if (radio.state == RadioState::Absent || radio.state == RadioState::Unknown) {
        explanation.cause = radio.state == RadioState::Absent ? Cause::NoDevice : Cause::Unreadable;
        explanation.sentences.push_back(radio.unreadText);
        return explanation;
    }
    const bool allowed = radio.decision.Allowed();
    if (report.service.Running()) {
        if (wired && allowed && radio.choice.on && !report.airplaneMode)
            explanation.nextAction = Action::SwitchOn;
        else if (!wired && allowed && radio.state == RadioState::On)
            explanation.nextAction = Action::SwitchOff;
    }
    explanation.sentences.push_back(WhyItIs(radio, report, explanation.cause));
    explanation.sentences.push_back(WhatNext(radio, report, explanation.cause));
    return explanation;
}

}  // namespace

Reasoning Reason(const StatusReport& report)
{
    Reasoning reasoning;
    reasoning.wifi = Explain(WifiRadio(report), report);
    reasoning.mobileBroadband = Explain(MobileBroadbandRadio(report), report);
    reasoning.conflicts = FindConflicts(report);
    return reasoning;
}

const wchar_t* StateName(RadioState state)
{
    switch (state) {
    case RadioState::On: return L"on";
    case RadioState::Off: return L"off";
    case RadioState::Unknown: return L"unknown";
    case RadioState::Absent: return L"absent";
    }
    return L"unknown";
}

const wchar_t* CauseName(Cause cause)
{
    switch (cause) {
    case Cause::AirplaneMode: return L"airplane-mode";
    case Cause::WiredLink: return L"wired-link";
    case Cause::UserChoice: return L"user-choice";
    case Cause::NoWire: return L"no-wire";
    case Cause::FirmwareForbids: return L"firmware-forbids";
    case Cause::OnInAirplaneMode: return L"on-in-airplane-mode";
    case Cause::NotTheService: return L"not-the-service";
    case Cause::NoDevice: return L"no-device";
    case Cause::Unreadable: return L"unreadable";
    }
    return L"unreadable";
}

const wchar_t* EventName(WireEvent event) { return event == WireEvent::Comes ? L"wire-comes" : L"wire-goes"; }

const wchar_t* ActionName(Action action)
{
    switch (action) {
    case Action::SwitchOff: return L"switch-off";
    case Action::SwitchOn: return L"switch-on";
    case Action::None: return L"none";
    }
    return L"none";
}

}  // namespace diag
