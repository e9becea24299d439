// What each recognised line does to the story: the state machine's
// transitions, by the kind of handling the line belongs to.
#include "explain/StoryBuilder.h"

namespace diag {

namespace {

State OnOff(int64_t value) { return value != 0 ? State::On : State::Off; }

std::string Text(const Recognised& recognised, int index) { return std::string(recognised.captures.texts[index]); }

int Index(Radio radio) { return static_cast<int>(radio); }

void Step(Episode& episode, Radio radio)
{
    episode.hasStep = true;
    episode.step = radio;
    episode.stepSeen[Index(radio)] = true;
}

}  // namespace

void StoryBuilder::Handle(const LogRecord& record, const Recognised& recognised)
{
    switch (recognised.signal) {
    case Signal::ServiceStart:
    case Signal::ServiceStop: HandleService(record, recognised); break;

    case Signal::WorkerEntry:
    case Signal::WorkerExit:
    case Signal::WorkerStopping:
    case Signal::FirmwareDone:
    case Signal::CheckingEthernet:
    case Signal::WireAtStartWlan:
    case Signal::WireAtStartWwan:
    case Signal::NoWireAtStartWwan:
    case Signal::WwanStep:
    case Signal::WwanDeviceFound:
    case Signal::NoWwanDevice:
    case Signal::WorkerEndedEarly:
    case Signal::WorkerNoMbnManager:
    case Signal::FirmwareDisplayStart:
    case Signal::FirmwareSetting:
    case Signal::FirmwareFlags:
    case Signal::FirmwareProblem:
    case Signal::PrintedConnectionId:
    case Signal::PrintedEthernet: HandleStartUp(record, recognised); break;

    case Signal::AdapterDescription:
    case Signal::NlmStart:
    case Signal::NlmConnectionId:
    case Signal::NlmConnecting:
    case Signal::NlmDisconnecting:
    case Signal::NlmSleeping:
    case Signal::NlmTypeUnknown:
    case Signal::NlmEthernetState:
    case Signal::NlmAddingToSet:
    case Signal::NlmStopWlan:
    case Signal::NlmStopWwan:
    case Signal::NlmNotInList:
    case Signal::NlmStartWlan:
    case Signal::NlmStartWwan:
    case Signal::NlmEnd:
    case Signal::NlmFailure:
    case Signal::AddressTry:
    case Signal::EthernetConnected:
    case Signal::EthernetStatus:
    case Signal::EthernetTestFailed: HandleConnection(record, recognised); break;

    case Signal::WlanObserved:
    case Signal::WlanQueryTimeout:
    case Signal::WlanNoInterface:
    case Signal::WlanSwitchBegin:
    case Signal::WlanNoChange:
    case Signal::WlanAirplaneRefused:
    case Signal::WlanCheckFailed:
    case Signal::WlanSetFailed:
    case Signal::WlanNewState:
    case Signal::WlanSwitchEnd:
    case Signal::WlanFailure:
    case Signal::StopWlanCurrent:
    case Signal::StopWlanStoring:
    case Signal::StartWlanStored:
    case Signal::StartWlanKept:
    case Signal::WlanStored:
    case Signal::WlanRestoreDefault:
    case Signal::WlanRestore:
    case Signal::WlanFirmwareOff:
    case Signal::StoreFailed: HandleWlan(record, recognised); break;

    case Signal::WwanObserved:
    case Signal::WwanNoDevice:
    case Signal::WwanSwitchBegin:
    case Signal::WwanNoChange:
    case Signal::WwanAirplaneRefused:
    case Signal::WwanGot:
    case Signal::WwanSet:
    case Signal::WwanRetry:
    case Signal::WwanSwitchEnd:
    case Signal::WwanFailure:
    case Signal::StopWwanCurrent:
    case Signal::StartWwanStored:
    case Signal::WwanStored:
    case Signal::WwanRestoreDefault:
    case Signal::WwanRestore:
    case Signal::WwanFirmwareOff: HandleWwan(record, recognised); break;

    case Signal::MsmNotification:
    case Signal::AcmNotification:
    case Signal::HandlerSkipped:
    case Signal::HandlerWlanStatus:
    case Signal::HandlerStoring:
    case Signal::HandlerCheckFailed:
    case Signal::HandlerSwitchFailed:
    case Signal::HandlerEnd: HandleNotification(record, recognised); break;

    case Signal::AirplaneKeyChanged:
    case Signal::AirplaneOnSwitching:
    case Signal::AirplaneOffNoWire:
    case Signal::WatcherWifiOn:
    case Signal::WatcherStored:
    case Signal::WatcherRestoring:
    case Signal::WatcherStop:
    case Signal::WatcherError:
    case Signal::AirplaneStatus: HandleAirplane(record, recognised); break;

    case Signal::MbnEntry:
    case Signal::MbnOwnFlag:
    case Signal::MbnResumeFlag:
    case Signal::MbnSleepOrFailed:
    case Signal::MbnEthernet:
    case Signal::MbnNotProcessing:
    case Signal::MbnWwanStatus:
    case Signal::MbnSwitchOff:
    case Signal::MbnStoring:
    case Signal::MbnReceived:
    case Signal::MbnFailure:
    case Signal::MbnEnd: HandleCompletion(record, recognised); break;

    case Signal::Suspending:
    case Signal::ResumeEntry:
    case Signal::ResumeAddressTry:
    case Signal::ResumeEthernet:
    case Signal::ResumeWlanStep:
    case Signal::ResumeWwanStep:
    case Signal::ResumeWlanFailed:
    case Signal::ResumeWwanFailed:
    case Signal::ResumeDone:
    case Signal::ResumeFailure: HandleSleep(record, recognised); break;
    }
}

void StoryBuilder::HandleService(const LogRecord& record, const Recognised& recognised)
{
    StoryEvent event;
    event.start = event.end = record.time;
    event.thread = record.thread;
    if (recognised.signal == Signal::ServiceStart) {
        // A new process: what the last one had open will not go on.
        CloseAll();
        for (RadioTrack& track : m_radios)
            track = RadioTrack();
        m_firmware[0] = m_firmware[1] = -1;
        SetLane(Lane::Sleep, State::Off, record.time);
        m_end.stopped = false;
        event.kind = EventKind::ServiceStart;
        event.text = "The service started (version " + Text(recognised, 0) + ")";
    } else {
        event.kind = EventKind::ServiceStop;
        event.text = "The service stopped: from here it watches nothing until it starts again";
        m_end.stopped = true;
        m_end.stoppedAt = record.time;
        for (int lane = 0; lane < kLanes; ++lane)
            m_lanesAtStop[lane] = m_lanes[lane];
        for (Lane lane : {Lane::Wire, Lane::Wifi, Lane::Wwan, Lane::Airplane, Lane::Sleep})
            SetLane(lane, State::Unknown, record.time);
    }
    Tell(std::move(event));
}

void StoryBuilder::HandleStartUp(const LogRecord& record, const Recognised& recognised)
{
    Episode& episode = Ensure(EpisodeKind::StartUp, record, true);
    const auto& captures = recognised.captures;
    switch (recognised.signal) {
    case Signal::WorkerExit:
    case Signal::WorkerStopping: End(record); break;
    case Signal::FirmwareDisplayStart: episode.displaySeen = true; break;
    case Signal::FirmwareSetting:
        if (episode.settings.size() < 8)
            episode.settings.emplace_back(Text(recognised, 0), Text(recognised, 1));
        break;
    case Signal::FirmwareFlags:
        episode.firmwareFlags[0] = captures.numbers[0] != 0;
        episode.firmwareFlags[1] = captures.numbers[1] != 0;
        break;
    case Signal::FirmwareProblem:
        if (episode.firmwareProblems.size() < 4)
            episode.firmwareProblems.emplace_back(record.message);
        break;
    case Signal::FirmwareDone: FirmwareEffect(episode, record); break;
    case Signal::CheckingEthernet:
        Step(episode, Radio::Wifi);
        episode.checkingEthernet = true;
        break;
    case Signal::WireAtStartWlan:
        Step(episode, Radio::Wifi);
        episode.basis[0] = "a wire is up at the start";
        ObserveWire(State::On, record.time);
        break;
    case Signal::WwanStep:
    case Signal::WwanDeviceFound: Step(episode, Radio::Wwan); break;
    case Signal::WireAtStartWwan:
        Step(episode, Radio::Wwan);
        episode.basis[1] = "a wire is up at the start";
        ObserveWire(State::On, record.time);
        break;
    case Signal::NoWireAtStartWwan:
        Step(episode, Radio::Wwan);
        episode.basis[1] = "no wire at the start";
        ObserveWire(State::Off, record.time);
        break;
    case Signal::NoWwanDevice:
        AddKept(episode, Radio::Wwan, State::Unknown, "no-device", record);
        End(record);
        break;
    case Signal::WorkerEndedEarly:
        AddFailed(episode,
                  "Start-up ended early (" + std::string(record.message) +
                      "): the service decided nothing for the radios and handles no event",
                  record);
        End(record);
        break;
    case Signal::WorkerNoMbnManager:
        AddFailed(episode,
                  "Mobile broadband cannot be managed (" + std::string(record.message) +
                      "): the service manages Wi-Fi only",
                  record, true, Radio::Wwan);
        End(record);
        break;
    case Signal::PrintedConnectionId: episode.printedConnection = Text(recognised, 0); break;
    case Signal::PrintedEthernet:
        if (episode.printedWires.size() < 4 && !episode.printedConnection.empty())
            episode.printedWires.push_back(episode.printedConnection);
        break;
    default: break;
    }
}

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
        const std::string adapter = Text(recognised, 0);
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
        episode.event.connection = Text(recognised, 0);
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
        episode.basis[Index(radio)] = "a wire is up";
        episode.storeReason[Index(radio)] = "before-wire";
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

void StoryBuilder::HandleWlan(const LogRecord& record, const Recognised& recognised)
{
    const auto& captures = recognised.captures;
    const Radio wifi = Radio::Wifi;
    RadioTrack& track = m_radios[Index(wifi)];
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
    case Signal::WlanStored: StoreChoice(wifi, Text(recognised, 0), record); return;
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
        m_end.stored[0] = Text(recognised, 0);
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
    case Signal::WwanStored: StoreChoice(wwan, Text(recognised, 0), record); return;
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
            const RadioTrack& track = m_radios[Index(wwan)];
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
        m_end.stored[1] = Text(recognised, 0);
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
    const RadioTrack& track = m_radios[Index(Radio::Wifi)];
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

void StoryBuilder::HandleSleep(const LogRecord& record, const Recognised& recognised)
{
    if (recognised.signal == Signal::Suspending) {
        StoryEvent event;
        event.kind = EventKind::Suspend;
        event.start = event.end = record.time;
        event.thread = record.thread;
        event.text = "The laptop went to sleep: the service sets network and radio events aside until it resumes";
        Tell(std::move(event));
        m_sleepSince = record.time;
        SetLane(Lane::Sleep, State::On, record.time);
        return;
    }
    Episode* current = Current(record.thread);
    Episode& episode =
        current != nullptr && current->kind == EpisodeKind::Resume ? *current : Open(EpisodeKind::Resume, record, true);
    if (episode.sleptFor < 0 && m_sleepSince >= 0 && m_lanes[static_cast<int>(Lane::Sleep)] == State::On)
        episode.sleptFor = episode.event.start - m_sleepSince;
    const auto& captures = recognised.captures;
    switch (recognised.signal) {
    case Signal::ResumeAddressTry: episode.addressTries = static_cast<int>(captures.numbers[0]) + 1; break;
    case Signal::ResumeEthernet:
        episode.wire = OnOff(captures.numbers[0]);
        ObserveWire(episode.wire, record.time);
        episode.basis[0] = episode.basis[1] = captures.numbers[0] != 0 ? "a wire is up" : "no wire";
        break;
    case Signal::ResumeWlanStep: Step(episode, Radio::Wifi); break;
    case Signal::ResumeWwanStep: Step(episode, Radio::Wwan); break;
    case Signal::ResumeWlanFailed:
        AddFailed(episode, "Wi-Fi could not be switched off after 6 attempts", record, true, Radio::Wifi);
        break;
    case Signal::ResumeWwanFailed:
        AddFailed(episode, "Mobile broadband could not be switched off after 6 attempts", record, true, Radio::Wwan);
        break;
    case Signal::ResumeFailure:
        AddFailed(episode, "The resume handling failed: " + std::string(record.message), record);
        break;
    case Signal::ResumeDone:
        SetLane(Lane::Sleep, State::Off, record.time);
        m_sleepSince = -1;
        End(record);
        break;
    default: break;
    }
}

}  // namespace diag
