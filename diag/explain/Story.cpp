#include "explain/Story.h"

namespace diag {

const char* KindName(EventKind kind)
{
    switch (kind) {
    case EventKind::ServiceStart: return "service-start";
    case EventKind::ServiceStop: return "service-stop";
    case EventKind::StartUp: return "start-up";
    case EventKind::WireUp: return "wire-up";
    case EventKind::WireDown: return "wire-down";
    case EventKind::ConnectionUp: return "connection-up";
    case EventKind::ConnectionDown: return "connection-down";
    case EventKind::ConnectionChange: return "connection-change";
    case EventKind::WifiSwitch: return "wifi-switch";
    case EventKind::WifiNotification: return "wifi-notification";
    case EventKind::NetworkAvailable: return "network-available";
    case EventKind::AirplaneOn: return "airplane-on";
    case EventKind::AirplaneOff: return "airplane-off";
    case EventKind::RadioKeyChange: return "radio-key-change";
    case EventKind::WwanSwitch: return "wwan-switch";
    case EventKind::WwanCompletion: return "wwan-completion";
    case EventKind::Suspend: return "suspend";
    case EventKind::Resume: return "resume";
    case EventKind::OutsideChange: return "outside-change";
    case EventKind::ServiceAction: return "service-action";
    }
    return "unknown";
}

const char* EffectName(EffectKind kind)
{
    switch (kind) {
    case EffectKind::Switched: return "switched";
    case EffectKind::Kept: return "kept";
    case EffectKind::Stored: return "stored";
    case EffectKind::Ignored: return "ignored";
    case EffectKind::Failed: return "failed";
    case EffectKind::Firmware: return "firmware";
    }
    return "unknown";
}

const char* RadioName(Radio radio) { return radio == Radio::Wifi ? "wifi" : "wwan"; }

const char* RadioTitle(Radio radio) { return radio == Radio::Wifi ? "Wi-Fi" : "mobile broadband"; }

const char* StateName(State state)
{
    switch (state) {
    case State::On: return "on";
    case State::Off: return "off";
    case State::Unknown: break;
    }
    return "unknown";
}

const char* LaneTitle(Lane lane)
{
    switch (lane) {
    case Lane::Wire: return "Wire";
    case Lane::Wifi: return "Wi-Fi";
    case Lane::Wwan: return "Mobile broadband";
    case Lane::Airplane: return "Airplane mode";
    case Lane::Sleep: return "Sleep";
    }
    return "";
}

}  // namespace diag
