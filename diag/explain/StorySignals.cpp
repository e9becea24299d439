// What each recognised line does to the story: the state machine's
// transitions. Here the dispatch by signal, the service's start and stop, the
// start-up worker, and sleep; StoryEventSignals.cpp has the handlings of
// events, StoryRadioSignals.cpp the radio operations they call.
#include "explain/StoryBuilder.h"

#include "explain/SignalArguments.h"

namespace diag {

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
        event.text = "The service started (version " + CapturedText(recognised, 0) + ")";
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
            episode.settings.emplace_back(CapturedText(recognised, 0), CapturedText(recognised, 1));
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
    case Signal::PrintedConnectionId: episode.printedConnection = CapturedText(recognised, 0); break;
    case Signal::PrintedEthernet:
        if (episode.printedWires.size() < 4 && !episode.printedConnection.empty())
            episode.printedWires.push_back(episode.printedConnection);
        break;
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
