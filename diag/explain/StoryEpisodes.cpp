// What each ended episode tells: its event's kind and sentence, the effects
// the log implies without a line of their own, or nothing at all (the echo
// of the service's own switching, a notification that changed nothing).
#include "explain/StoryBuilder.h"

#include "explain/Texts.h"

namespace diag {

namespace {

// The firmware's rule for a setting's value, as the service applies it: a
// value allows switching when it is not empty and does not begin with '*'.
bool AllowsSwitching(const std::string& value) { return !value.empty() && value[0] != '*'; }

const std::string* SettingValue(const Episode& episode, const char* name)
{
    for (const auto& setting : episode.settings)
        if (setting.first == name)
            return &setting.second;
    return nullptr;
}

const Effect* FirstOutsideSwitch(const Episode& episode)
{
    for (const Effect& effect : episode.event.effects)
        if (effect.kind == EffectKind::Switched && !effect.byService)
            return &effect;
    return nullptr;
}

bool OnlyIgnored(const Episode& episode)
{
    return episode.event.effects.size() == 1 && episode.event.effects[0].kind == EffectKind::Ignored;
}

// An event whose one effect is an ignored event says why in its sentence.
void IgnoredInTitle(Episode& episode, const std::string& what)
{
    Effect& ignored = episode.event.effects[0];
    ignored.inTitle = true;
    episode.event.text = what + " was ignored: " + Ignored(ignored.reason);
}

// A connection the service has nothing to do with: the reason follows its name.
void ReasonInTitle(Episode& episode)
{
    if (!OnlyIgnored(episode))
        return;
    Effect& ignored = episode.event.effects[0];
    ignored.inTitle = true;
    episode.event.text +=
        ignored.reason == "sleep" ? "; ignored: " + Ignored(ignored.reason) : ": " + Ignored(ignored.reason);
}

}  // namespace

void StoryBuilder::FirmwareEffect(Episode& episode, const LogRecord& record)
{
    Effect effect;
    effect.kind = EffectKind::Firmware;
    effect.at = record.time;
    effect.settings = episode.settings;
    int flags[kRadios] = {episode.firmwareFlags[0], episode.firmwareFlags[1]};
    if (flags[0] < 0 && episode.displaySeen) {
        // The flags' own line is a trace record; the settings decide as the
        // service decides.
        const std::string* wifi = SettingValue(episode, "LAN / WLAN Auto Switching");
        if (wifi == nullptr)
            wifi = SettingValue(episode, "LAN/WLAN Switching");
        const std::string* wwan = SettingValue(episode, "LAN / WWAN Auto Switching");
        flags[0] = wifi != nullptr && AllowsSwitching(*wifi);
        flags[1] = wwan != nullptr && AllowsSwitching(*wwan);
    }
    for (int radio = 0; radio < kRadios; ++radio)
        m_firmware[radio] = flags[radio];
    effect.wifiSwitching = flags[0] < 0 ? State::Unknown : flags[0] ? State::On : State::Off;
    effect.wwanSwitching = flags[1] < 0 ? State::Unknown : flags[1] ? State::On : State::Off;
    if (!episode.firmwareProblems.empty())
        effect.value = episode.firmwareProblems.front();
    effect.text = FirmwareSentence(effect, episode.firmwareProblems, episode.displaySeen);
    AddEffect(episode, effect);
}

void StoryBuilder::Finalize(Episode& episode)
{
    bool tell = true;
    switch (episode.kind) {
    case EpisodeKind::StartUp: FinalizeStartUp(episode); break;
    case EpisodeKind::Connection: FinalizeConnection(episode); break;
    case EpisodeKind::WifiNotification:
    case EpisodeKind::NetworkAvailable: tell = FinalizeNotification(episode); break;
    case EpisodeKind::Airplane: tell = FinalizeAirplane(episode); break;
    case EpisodeKind::WwanCompletion: tell = FinalizeCompletion(episode); break;
    case EpisodeKind::Resume: FinalizeResume(episode); break;
    case EpisodeKind::Orphan:
        tell = !episode.event.effects.empty();
        episode.event.kind = EventKind::ServiceAction;
        episode.event.text = "The service acted on its own: what set it off is not in the log";
        break;
    }
    if (tell)
        Tell(std::move(episode.event));
}

void StoryBuilder::FinalizeStartUp(Episode& episode)
{
    episode.event.kind = EventKind::StartUp;
    std::string text = "The service's start-up decision";
    for (size_t i = 0; i < episode.printedWires.size(); ++i) {
        const std::string& connection = episode.printedWires[i];
        const auto adapter = m_adapterOf.find(connection);
        text +=
            (i == 0 ? " (wired " : ", ") + Connection(connection, adapter == m_adapterOf.end() ? "" : adapter->second);
        if (i + 1 == episode.printedWires.size())
            text += " there at the start)";
    }
    episode.event.text = text;
}

void StoryBuilder::FinalizeConnection(Episode& episode)
{
    StoryEvent& event = episode.event;
    const std::string connection = Connection(event.connection, event.adapter);
    // Where the firmware keeps the service's hands off a radio, the handling
    // has no line for it: say so.
    const auto firmwareKept = [&](bool handled) {
        if (!handled)
            return;
        for (Radio radio : {Radio::Wifi, Radio::Wwan}) {
            if (!episode.stepSeen[static_cast<int>(radio)] && m_firmware[static_cast<int>(radio)] == 0) {
                LogRecord at;
                at.time = event.end;
                AddKept(episode, radio, State::Unknown, "firmware", at);
            }
        }
    };
    if (episode.direction == Direction::Connect && (episode.ethernetKnown || episode.asleep)) {
        if (episode.asleep || !episode.ethernet) {
            event.kind = EventKind::ConnectionUp;
            event.text = "A connection came: " + connection;
            ReasonInTitle(episode);
            return;
        }
        event.kind = EventKind::WireUp;
        if (episode.wireWasUp && episode.wireWasConnection == event.connection && episode.connected)
            event.text = "The wire on " + connection + " changed its connectivity and is still up";
        else
            event.text = "A wire came: " + connection;
        if (episode.connected && episode.addressTries > 0)
            event.text += ", with its address after " + DurationText(episode.connectedAt - event.start);
        if (!episode.connected && !episode.Has(EffectKind::Failed)) {
            LogRecord at;
            at.time = event.end;
            AddFailed(episode,
                      "No address after " + std::to_string(episode.addressTries) +
                          " tries: the service did not switch the radios for this wire",
                      at);
        }
        firmwareKept(episode.connected);
        return;
    }
    if (episode.direction == Direction::Disconnect) {
        if (episode.asleep || episode.notInList) {
            event.kind = EventKind::ConnectionDown;
            event.text = "A connection went: " + connection;
            ReasonInTitle(episode);
            return;
        }
        event.kind = EventKind::WireDown;
        event.text = "The wire went: " + connection;
        if (episode.wireUpSince >= 0 && !episode.stillUp)
            event.text += ", up for " + DurationText(event.start - episode.wireUpSince);
        firmwareKept(!episode.stillUp && !episode.Has(EffectKind::Failed));
        return;
    }
    event.kind = EventKind::ConnectionChange;
    event.text = "A connection changed: " + connection + " (the log does not say what the service made of it)";
}

bool StoryBuilder::FinalizeNotification(Episode& episode)
{
    StoryEvent& event = episode.event;
    const bool wifiNotification = episode.kind == EpisodeKind::WifiNotification;
    if (episode.own) {
        ++m_end.ownEchoes;
        return false;
    }
    if (const Effect* change = FirstOutsideSwitch(episode)) {
        event.kind = wifiNotification ? EventKind::WifiSwitch : EventKind::NetworkAvailable;
        event.text = wifiNotification ? std::string("The user switched Wi-Fi ") + StateName(change->to)
                                      : std::string("A Wi-Fi network became available; Wi-Fi had gone ") +
                                            StateName(change->to) + " outside the service";
        return true;
    }
    if (OnlyIgnored(episode)) {
        event.kind = wifiNotification ? EventKind::WifiNotification : EventKind::NetworkAvailable;
        IgnoredInTitle(episode, wifiNotification ? "The user's Wi-Fi switch" : "A Wi-Fi network's coming");
        return true;
    }
    bool serviceSwitched = false;
    for (const Effect& effect : event.effects)
        serviceSwitched = serviceSwitched || (effect.kind == EffectKind::Switched && effect.byService);
    if (serviceSwitched || episode.Has(EffectKind::Failed) || episode.Has(EffectKind::Ignored) || episode.storedNew) {
        event.kind = wifiNotification ? EventKind::WifiNotification : EventKind::NetworkAvailable;
        event.text = wifiNotification ? "A Wi-Fi radio notification" : "A Wi-Fi network became available";
        return true;
    }
    ++m_end.repeatedNotifications;
    return false;
}

bool StoryBuilder::FinalizeAirplane(Episode& episode)
{
    StoryEvent& event = episode.event;
    const State state = episode.airplane;
    if (state != State::Unknown && state != episode.airplaneBefore) {
        event.kind = state == State::On ? EventKind::AirplaneOn : EventKind::AirplaneOff;
        event.text = state == State::On ? "Airplane mode went on" : "Airplane mode went off";
        if (state == State::Off && episode.airplaneOnFor >= 0)
            event.text += " (it was on for " + DurationText(episode.airplaneOnFor) + ")";
        return true;
    }
    if (event.effects.empty())
        return false;
    event.kind = EventKind::RadioKeyChange;
    event.text = state == State::Unknown
                     ? std::string("The radio-management key changed")
                     : std::string("The radio-management key changed (airplane mode stays ") + StateName(state) + ")";
    return true;
}

bool StoryBuilder::FinalizeCompletion(Episode& episode)
{
    StoryEvent& event = episode.event;
    if (episode.own) {
        ++m_end.ownEchoes;
        return false;
    }
    if (const Effect* change = FirstOutsideSwitch(episode)) {
        event.kind = EventKind::WwanSwitch;
        event.text = std::string("The user switched mobile broadband ") + StateName(change->to);
        return true;
    }
    event.kind = EventKind::WwanCompletion;
    if (OnlyIgnored(episode)) {
        IgnoredInTitle(episode, "A mobile-broadband radio change");
        return true;
    }
    if (!event.effects.empty() || episode.storedNew) {
        event.text = "A mobile-broadband radio change completed";
        return true;
    }
    ++m_end.repeatedNotifications;
    return false;
}

void StoryBuilder::FinalizeResume(Episode& episode)
{
    StoryEvent& event = episode.event;
    event.kind = EventKind::Resume;
    event.text = "The laptop resumed";
    if (episode.sleptFor >= 0)
        event.text += " after " + DurationText(episode.sleptFor) + " asleep";
    if (episode.wire == State::On)
        event.text += "; a wire is up";
    else if (episode.wire == State::Off)
        event.text += "; no wire";
}

}  // namespace diag
