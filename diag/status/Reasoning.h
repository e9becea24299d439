// Why each radio is in its state and what the service does next, and what
// else on the machine works against the service: pure functions of a
// StatusReport, so that they are tested over fixed inputs.
//
// The reasoning follows the service's own decisions: a radio is switched off
// while a wired adapter counts as Ethernet (the machine-wide rule) and the
// firmware allows that radio's switching; it is switched back on when the
// last such wire goes, where the stored choice is "True" and airplane mode
// is off; with the firmware forbidding, wires change nothing and the user's
// switches are recorded; airplane mode off restores the stored choices of
// the radios whose switching is allowed, when no wire is up. A radio found
// in another state than these rules give is reported as not switched by
// the service (another program, the driver, or a change the service has yet
// to handle).
#pragma once

#include "status/StatusReport.h"

#include <string>
#include <vector>

namespace diag {

enum class RadioState { On, Off, Unknown, Absent };

enum class Cause {
    AirplaneMode,      // off: airplane mode is on
    WiredLink,         // off: a wire counts and the firmware allows the switching
    UserChoice,        // off: the stored choice is not "True" (the user switched it off)
    NoWire,            // on: no wire counts
    FirmwareForbids,   // on beside a wire: the firmware forbids the switching
    OnInAirplaneMode,  // on while airplane mode is on: the user's hand
    NotTheService,     // the service's rules give the other state
    NoDevice,          // no radio to switch
    Unreadable,        // the radio could not be read
};

// The next wire change (a wire coming while none is up, the wire going
// while one is), and what the service does to the radio then.
enum class WireEvent { Comes, Goes };
enum class Action { SwitchOff, SwitchOn, None };

struct RadioExplanation {
    RadioState state = RadioState::Unknown;
    Cause cause = Cause::Unreadable;
    WireEvent nextEvent = WireEvent::Comes;
    Action nextAction = Action::None;
    std::vector<std::wstring> sentences;
};

struct Conflict {
    std::wstring kind;    // "connection-manager-policy", "wifi-driver-setting", "logging-policy"
    std::wstring source;  // where it was read (a registry key)
    std::wstring name;    // the value or setting
    std::wstring value;
    std::wstring text;  // one plain sentence
};

struct Reasoning {
    RadioExplanation wifi;
    RadioExplanation mobileBroadband;
    std::vector<Conflict> conflicts;
};

Reasoning Reason(const StatusReport& report);

// The names the JSON report uses: "on", "off", "unknown", "absent";
// "airplane-mode", "wired-link", ...; "wire-comes", "wire-goes";
// "switch-off", "switch-on", "none".
const wchar_t* StateName(RadioState state);
const wchar_t* CauseName(Cause cause);
const wchar_t* EventName(WireEvent event);
const wchar_t* ActionName(Action action);

}  // namespace diag
