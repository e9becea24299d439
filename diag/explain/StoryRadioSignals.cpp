// What the lines of the radio operations do to the story, whichever handling
// calls them: the radios read and switched, kept, stored, and their failures.
#include "explain/StoryBuilder.h"

#include "explain/SignalArguments.h"

namespace diag {

void StoryBuilder::HandleWlan(const LogRecord& record, const Recognised& recognised)
{
    const auto& captures = recognised.captures;
    const Radio wifi = Radio::Wifi;
    RadioTrack& track = m_radios[RadioIndex(wifi)];
    switch (recognised.signal) {
    case Signal::WlanObserved:
    case Signal::WlanNewState:
    case Signal::StopWlanCurrent:
        Observe(wifi, OnOff(captures.numbers[0]), record);
        if (recognised.signal == Signal::WlanNewState)
            EndSwitch(wifi, record);
        if (recognised.signal == Signal::StopWlanCurrent && captures.numbers[0] == 0)
            AddKept(EnsureAny(record), wifi, State::Off, "already", record);
        return;
    case Signal::WlanSwitchBegin:
        Observe(wifi, OnOff(captures.numbers[0]), record);
        if ((captures.numbers[0] != 0) != (captures.numbers[1] != 0))
            BeginSwitch(wifi, OnOff(captures.numbers[1]), record);
        return;
    case Signal::WlanSwitchEnd: EndSwitch(wifi, record); return;
    case Signal::WlanStored: StoreChoice(wifi, CapturedText(recognised, 0), record); return;
    default: break;
    }
    Episode& episode = EnsureAny(record);
    switch (recognised.signal) {
    case Signal::WlanQueryTimeout:
        if (!track.latchTold) {
            track.latchTold = true;
            AddFailed(episode,
                      "Wi-Fi cannot be read: an earlier switch needed every one of its passes, and the service "
                      "reads and switches Wi-Fi no more until it restarts",
                      record, true, wifi);
        }
        break;
    case Signal::WlanNoInterface:
        if (!track.noInterfaceTold) {
            track.noInterfaceTold = true;
            AddFailed(episode, "No Wi-Fi adapter: Wi-Fi cannot be read or switched", record, true, wifi);
        }
        break;
    case Signal::WlanNoChange:
        if (!episode.HasEffectFor(wifi))
            AddKept(episode, wifi, m_lanes[static_cast<int>(Lane::Wifi)], "already", record);
        break;
    case Signal::WlanAirplaneRefused: AddKept(episode, wifi, State::Unknown, "airplane-mode", record); break;
    case Signal::WlanCheckFailed:
        AddFailed(episode, "The Wi-Fi radio could not be read: not switched", record, true, wifi);
        break;
    case Signal::WlanSetFailed:
        AddFailed(episode,
                  recognised.captures.numberCount == 0
                      ? "Wi-Fi could not be set on every PHY in 81 passes: from now on the service reads and "
                        "switches Wi-Fi no more until it restarts"
                      : "Wi-Fi could not be set (" + std::string(record.message) + ")",
                  record, true, wifi);
        EndSwitch(wifi, record);
        break;
    case Signal::WlanFailure:
        AddFailed(episode, "Wi-Fi: " + std::string(record.message), record, true, wifi);
        EndSwitch(wifi, record);
        break;
    case Signal::StartWlanStored:
        m_end.stored[0] = CapturedText(recognised, 0);
        episode.basis[0] = StoredChoiceBasis(m_end.stored[0]);
        break;
    case Signal::StartWlanKept:
        AddKept(episode, wifi, m_lanes[static_cast<int>(Lane::Wifi)], "stored-choice", record);
        break;
    case Signal::WlanRestoreDefault:
        Step(episode, wifi);
        episode.basis[0] = "nothing stored: on by default";
        episode.defaultBasis[0] = true;
        break;
    case Signal::WlanRestore:
        Step(episode, wifi);
        if (!episode.defaultBasis[0]) {
            m_end.stored[0] = captures.numbers[0] != 0 ? "True" : "False";
            episode.basis[0] = StoredChoiceBasis(m_end.stored[0]);
        }
        if (episode.kind == EpisodeKind::StartUp && episode.checkingEthernet && !episode.firmwareOff[0]) {
            episode.basis[0] = "no wire: " + episode.basis[0];
            ObserveWire(State::Off, record.time);
        }
        break;
    case Signal::WlanFirmwareOff:
        Step(episode, wifi);
        episode.firmwareOff[0] = true;
        episode.basis[0] = "the firmware does not allow switching Wi-Fi: the user's stored choice decides";
        break;
    case Signal::StoreFailed:
        AddFailed(episode, "The choice could not be stored (" + std::string(record.message) + ")", record);
        break;
    default: break;
    }
}

void StoryBuilder::HandleWwan(const LogRecord& record, const Recognised& recognised)
{
    const auto& captures = recognised.captures;
    const Radio wwan = Radio::Wwan;
    switch (recognised.signal) {
    case Signal::WwanObserved: Observe(wwan, captures.texts[0] == "ON" ? State::On : State::Off, record); return;
    case Signal::WwanGot:
    case Signal::StopWwanCurrent:
        Observe(wwan, OnOff(captures.numbers[0]), record);
        if (recognised.signal == Signal::StopWwanCurrent && captures.numbers[0] == 0)
            AddKept(EnsureAny(record), wwan, State::Off, "already", record);
        return;
    case Signal::WwanSwitchBegin:
        Observe(wwan, OnOff(captures.numbers[0]), record);
        if ((captures.numbers[0] != 0) != (captures.numbers[1] != 0))
            BeginSwitch(wwan, OnOff(captures.numbers[1]), record);
        return;
    case Signal::WwanSet:
    case Signal::WwanSwitchEnd: EndSwitch(wwan, record); return;
    case Signal::WwanStored: StoreChoice(wwan, CapturedText(recognised, 0), record); return;
    default: break;
    }
    Episode& episode = EnsureAny(record);
    switch (recognised.signal) {
    case Signal::WwanNoDevice:
        if (!episode.HasEffectFor(wwan))
            AddKept(episode, wwan, State::Unknown, "no-device", record);
        break;
    case Signal::WwanNoChange:
        if (!episode.HasEffectFor(wwan))
            AddKept(episode, wwan, m_lanes[static_cast<int>(Lane::Wwan)], "already", record);
        break;
    case Signal::WwanAirplaneRefused: AddKept(episode, wwan, State::Unknown, "airplane-mode", record); break;
    case Signal::WwanRetry:
        if (captures.numbers[0] >= 9) {
            const RadioTrack& track = m_radios[RadioIndex(wwan)];
            AddFailed(episode,
                      std::string("Mobile broadband did not turn ") + StateName(track.target) + " in 10 attempts",
                      record, true, wwan);
            EndSwitch(wwan, record);
        }
        break;
    case Signal::WwanFailure:
        AddFailed(episode, "Mobile broadband: " + std::string(record.message), record, true, wwan);
        EndSwitch(wwan, record);
        break;
    case Signal::StartWwanStored:
        Step(episode, wwan);
        m_end.stored[1] = CapturedText(recognised, 0);
        episode.basis[1] = StoredChoiceBasis(m_end.stored[1]);
        if (m_end.stored[1] != "True")
            AddKept(episode, wwan, m_lanes[static_cast<int>(Lane::Wwan)], "stored-choice", record);
        break;
    case Signal::WwanRestoreDefault:
        Step(episode, wwan);
        episode.basis[1] = "nothing stored: on by default";
        episode.defaultBasis[1] = true;
        break;
    case Signal::WwanRestore:
        Step(episode, wwan);
        if (!episode.defaultBasis[1]) {
            m_end.stored[1] = captures.numbers[0] != 0 ? "True" : "False";
            episode.basis[1] = StoredChoiceBasis(m_end.stored[1]);
        }
        break;
    case Signal::WwanFirmwareOff:
        Step(episode, wwan);
        episode.firmwareOff[1] = true;
        episode.basis[1] = "the firmware does not allow switching mobile broadband: the user's stored choice decides";
        break;
    default: break;
    }
}

}  // namespace diag
