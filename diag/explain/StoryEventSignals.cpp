// What the lines of the service's event handlings do to the story: the
// connectivity callback, the Wi-Fi notifications, the airplane-mode watcher
// and the mobile-broadband completions.
#include "explain/StoryBuilder.h"

#include "explain/SignalArguments.h"

namespace diag {

void StoryBuilder::HandleConnection(const LogRecord& record, const Recognised& recognised)
{
    const auto& captures = recognised.captures;
    if (recognised.signal == Signal::NlmStart) {
        Episode& episode = Open(EpisodeKind::Connection, record, true);
        episode.wireWasUp = m_lanes[static_cast<int>(Lane::Wire)] == State::On;
        episode.wireWasConnection = m_wireConnection;
        episode.wireUpSince = episode.wireWasUp ? m_wireSince : -1;
        return;
    }
    Episode* current = Current(record.thread);
    if (recognised.signal == Signal::AdapterDescription) {
        if (current == nullptr)
            return;
        const std::string adapter = CapturedText(recognised, 0);
        const std::string& connection =
            current->kind == EpisodeKind::StartUp ? current->printedConnection : current->event.connection;
        if (current->kind == EpisodeKind::Connection)
            current->event.adapter = adapter;
        if (!connection.empty() && (m_adapterOf.size() < 256 || m_adapterOf.count(connection) > 0))
            m_adapterOf[connection] = adapter;
        return;
    }
    // The lines shared with other handlings: the Ethernet test's answers.
    if (current == nullptr || current->kind != EpisodeKind::Connection) {
        Episode& episode = current != nullptr ? *current : EnsureAny(record);
        switch (recognised.signal) {
        case Signal::EthernetConnected:
            ObserveWire(State::On, record.time);
            if (episode.kind == EpisodeKind::NetworkAvailable)
                episode.basis[0] = "a wire is up";
            break;
        case Signal::EthernetStatus:
            ObserveWire(OnOff(captures.numbers[0]), record.time);
            if (episode.kind == EpisodeKind::WifiNotification || episode.kind == EpisodeKind::NetworkAvailable)
                episode.basis[0] = captures.numbers[0] != 0 ? "a wire is up" : "";
            break;
        case Signal::EthernetTestFailed:
            if (episode.kind == EpisodeKind::StartUp) {
                const Radio radio = episode.hasStep ? episode.step : Radio::Wifi;
                AddFailed(episode,
                          "The Ethernet test failed: " + std::string(RadioTitle(radio)) + " was left as it was", record,
                          true, radio);
            } else if (episode.kind == EpisodeKind::Airplane) {
                AddFailed(episode, "The Ethernet test failed: nothing restored", record);
            } else {
                AddFailed(episode, "The Ethernet test failed: nothing done", record);
            }
            break;
        default: break;
        }
        return;
    }
    Episode& episode = *current;
    switch (recognised.signal) {
    case Signal::NlmConnectionId: {
        episode.event.connection = CapturedText(recognised, 0);
        const auto adapter = m_adapterOf.find(episode.event.connection);
        if (adapter != m_adapterOf.end())
            episode.event.adapter = adapter->second;
        break;
    }
    case Signal::NlmConnecting: episode.direction = Direction::Connect; break;
    case Signal::NlmDisconnecting: episode.direction = Direction::Disconnect; break;
    case Signal::NlmSleeping:
        episode.asleep = true;
        AddIgnored(episode, "sleep", record);
        break;
    case Signal::NlmTypeUnknown:
        episode.ethernetKnown = true;
        AddFailed(episode, "The connection's type could not be told: nothing done", record);
        break;
    case Signal::NlmEthernetState:
        episode.ethernetKnown = true;
        episode.ethernet = captures.numbers[0] != 0;
        if (!episode.ethernet)
            AddIgnored(episode, "not-ethernet", record);
        break;
    case Signal::NlmAddingToSet:
        episode.ethernetKnown = true;
        episode.ethernet = true;
        break;
    case Signal::AddressTry: episode.addressTries = static_cast<int>(captures.numbers[0]) + 1; break;
    case Signal::EthernetConnected:
        episode.connected = true;
        episode.connectedAt = record.time;
        ObserveWire(State::On, record.time, episode.event.connection);
        break;
    case Signal::NlmStopWlan:
    case Signal::NlmStopWwan: {
        const Radio radio = recognised.signal == Signal::NlmStopWlan ? Radio::Wifi : Radio::Wwan;
        Step(episode, radio);
        episode.basis[RadioIndex(radio)] = "a wire is up";
        episode.storeReason[RadioIndex(radio)] = "before-wire";
        break;
    }
    case Signal::NlmNotInList:
        episode.notInList = true;
        AddIgnored(episode, "unknown-connection", record);
        break;
    case Signal::EthernetTestFailed:
        AddFailed(episode, "The Ethernet test failed: the radios stay as they are", record);
        break;
    case Signal::EthernetStatus:
        ObserveWire(OnOff(captures.numbers[0]), record.time);
        if (captures.numbers[0] != 0 && episode.direction == Direction::Disconnect) {
            episode.stillUp = true;
            AddIgnored(episode, "ethernet-still-up", record);
        }
        break;
    case Signal::NlmStartWlan: Step(episode, Radio::Wifi); break;
    case Signal::NlmStartWwan: Step(episode, Radio::Wwan); break;
    case Signal::NlmEnd: End(record); break;
    case Signal::NlmFailure:
        AddFailed(episode, "The handling failed (" + std::string(record.message) + "): nothing more done", record);
        End(record);
        break;
    default: break;
    }
}

void StoryBuilder::HandleNotification(const LogRecord& record, const Recognised& recognised)
{
    const bool networkAvailable = record.function.find("AcmNetworkAvailable") != std::string_view::npos ||
                                  recognised.signal == Signal::AcmNotification;
    const EpisodeKind kind = networkAvailable ? EpisodeKind::NetworkAvailable : EpisodeKind::WifiNotification;
    if (recognised.signal == Signal::MsmNotification || recognised.signal == Signal::AcmNotification) {
        Open(kind, record, false);
        return;
    }
    Episode* current = Current(record.thread);
    // The watcher logs two of the handlers' texts too.
    if (current != nullptr && current->kind == EpisodeKind::Airplane &&
        recognised.signal == Signal::HandlerCheckFailed) {
        AddFailed(*current, "The Wi-Fi radio could not be read: nothing restored", record, true, Radio::Wifi);
        return;
    }
    Episode& episode = Ensure(kind, record, false);
    const RadioTrack& track = m_radios[RadioIndex(Radio::Wifi)];
    switch (recognised.signal) {
    case Signal::HandlerSkipped:
        // Set aside while the service switches Wi-Fi itself, or just after:
        // the notification of its own switch. Otherwise the user's (or
        // another program's) change, which the service never reads.
        if (track.switching || (track.ended && record.time - track.endedAt <= kEchoWindow)) {
            episode.own = true;
        } else {
            episode.resumeFlag = static_cast<int>(recognised.captures.numbers[1]);
            AddIgnored(episode, episode.resumeFlag != 0 ? "sleep" : "handling-connection-change", record);
        }
        End(record);
        break;
    case Signal::HandlerWlanStatus: Observe(Radio::Wifi, OnOff(recognised.captures.numbers[0]), record); break;
    case Signal::HandlerStoring: episode.storeReason[0] = "user-choice"; break;
    case Signal::HandlerCheckFailed:
        AddFailed(episode, "The Wi-Fi radio could not be read: nothing done", record, true, Radio::Wifi);
        break;
    case Signal::HandlerSwitchFailed:
        AddFailed(episode, "Wi-Fi could not be switched off again", record, true, Radio::Wifi);
        break;
    case Signal::HandlerEnd: End(record); break;
    default: break;
    }
}

void StoryBuilder::HandleAirplane(const LogRecord& record, const Recognised& recognised)
{
    if (recognised.signal == Signal::AirplaneStatus) {
        const State state = OnOff(recognised.captures.numbers[0]);
        Episode* current = Current(record.thread);
        if (current != nullptr && current->kind == EpisodeKind::Airplane && current->airplane == State::Unknown) {
            current->airplane = state;
            if (state == State::Off && m_lanes[static_cast<int>(Lane::Airplane)] == State::On && m_airplaneSince >= 0)
                current->airplaneOnFor = record.time - m_airplaneSince;
        }
        ObserveAirplane(state, record.time);
        return;
    }
    if (recognised.signal == Signal::AirplaneKeyChanged) {
        Episode& episode = Open(EpisodeKind::Airplane, record, false);
        episode.airplaneBefore = m_lanes[static_cast<int>(Lane::Airplane)];
        return;
    }
    Episode& episode = Ensure(EpisodeKind::Airplane, record, false);
    switch (recognised.signal) {
    case Signal::AirplaneOnSwitching:
        episode.airplane = State::On;
        ObserveAirplane(State::On, record.time);
        Step(episode, Radio::Wifi);
        episode.basis[0] = "airplane mode is on";
        break;
    case Signal::AirplaneOffNoWire:
        if (episode.airplane == State::Unknown && m_lanes[static_cast<int>(Lane::Airplane)] == State::On &&
            m_airplaneSince >= 0)
            episode.airplaneOnFor = record.time - m_airplaneSince;
        episode.airplane = State::Off;
        ObserveAirplane(State::Off, record.time);
        ObserveWire(State::Off, record.time);
        break;
    case Signal::WatcherWifiOn: episode.storeReason[0] = "user-choice"; break;
    case Signal::WatcherStored:
        m_end.stored[0] = std::string(recognised.captures.texts[0]);
        episode.basis[0] = StoredChoiceBasis(m_end.stored[0]);
        break;
    case Signal::WatcherRestoring: Step(episode, Radio::Wifi); break;
    case Signal::WatcherStop: End(record); break;
    case Signal::WatcherError:
        AddFailed(episode, "The airplane-mode watcher failed: " + std::string(record.message), record);
        break;
    default: break;
    }
}

void StoryBuilder::HandleCompletion(const LogRecord& record, const Recognised& recognised)
{
    if (recognised.signal == Signal::MbnEntry) {
        Open(EpisodeKind::WwanCompletion, record, false);
        return;
    }
    Episode& episode = Ensure(EpisodeKind::WwanCompletion, record, false);
    const auto& captures = recognised.captures;
    switch (recognised.signal) {
    case Signal::MbnOwnFlag: episode.own = captures.numbers[0] != 0; break;
    case Signal::MbnResumeFlag: episode.resumeFlag = static_cast<int>(captures.numbers[0]); break;
    case Signal::MbnSleepOrFailed:
        if (episode.resumeFlag != 0)
            AddIgnored(episode, "sleep", record);
        else
            AddFailed(episode, "The Ethernet test failed: the change was not processed", record);
        End(record);
        break;
    case Signal::MbnEthernet: ObserveWire(OnOff(captures.numbers[0]), record.time); break;
    case Signal::MbnNotProcessing:
        if (!episode.own) {
            // Airplane mode: the system switches the radio, and the service
            // reads it no more; its state is not known until it is read.
            SetLane(Lane::Wwan, State::Unknown, record.time);
            if (Episode* airplane = AirplaneEpisode(record.time)) {
                Effect effect = RadioEffect(EffectKind::Switched, Radio::Wwan, record);
                effect.from = State::Unknown;
                effect.to = State::Unknown;
                effect.after = record.time - airplane->event.start;
                effect.text = SwitchedOutside(Radio::Wwan, State::Unknown, OutsideCause::AirplaneMode);
                AddEffect(*airplane, effect);
                episode.own = true;  // told with airplane mode
            } else {
                AddIgnored(episode, "airplane-mode", record);
            }
        }
        End(record);
        break;
    case Signal::MbnWwanStatus: Observe(Radio::Wwan, OnOff(captures.numbers[0]), record); break;
    case Signal::MbnSwitchOff:
        Step(episode, Radio::Wwan);
        episode.basis[1] = "a wire is up";
        break;
    case Signal::MbnStoring: episode.storeReason[1] = "user-choice"; break;
    case Signal::MbnFailure:
        AddFailed(episode, "Mobile broadband: " + std::string(record.message), record, true, Radio::Wwan);
        End(record);
        break;
    case Signal::MbnReceived:
    case Signal::MbnEnd: End(record); break;
    default: break;
    }
}

}  // namespace diag
