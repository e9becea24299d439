#include "explain/StoryBuilder.h"

#include <algorithm>
#include <limits>

namespace diag {

namespace {

// A radio change outside the service this soon after airplane mode changed
// is the system's, with airplane mode.
constexpr Millis kAirplaneWindow = 2000;
// An episode without an end line of its own (a watcher pass, a notification
// whose exit record the levels leave out) ends after this pause of its thread;
// one with an end line, when the log broke off before it, after the longer one.
constexpr Millis kQuietEnd = 3000;
constexpr Millis kStalledEnd = 600000;
constexpr Millis kIdleCheckEvery = 250;
// Effects kept per event: a handling that retries logs the same effect again
// and again, and the story needs it once.
constexpr size_t kMaxEffects = 32;

Lane LaneOf(Radio radio) { return radio == Radio::Wifi ? Lane::Wifi : Lane::Wwan; }

}  // namespace

StoryBuilder::StoryBuilder(StoryWriter& writer) : m_writer(writer) {}

void StoryBuilder::Add(const LogRecord& record)
{
    if (!m_end.anyRecord) {
        m_end.anyRecord = true;
        m_end.first = record.time;
        m_lastIdleCheck = record.time;
    }
    m_end.last = record.time;
    if (record.time - m_lastIdleCheck >= kIdleCheckEvery || record.time < m_lastIdleCheck) {
        CloseIdle(record.time);
        m_lastIdleCheck = record.time;
    }
    Recognised recognised;
    if (Recognise(record, recognised))
        Handle(record, recognised);
    // After the handling: a line that opens an episode is not the last line
    // of the one it ends.
    if (!m_open.empty()) {
        const auto open = m_open.find(record.thread);
        if (open != m_open.end())
            open->second.lastLine = record.time;
    }
    if (m_closed)
        Flush();
}

void StoryBuilder::Finish()
{
    CloseAll();
    Flush();
    for (int lane = 0; lane < kLanes; ++lane)
        m_end.lanes[lane] = m_end.stopped ? m_lanesAtStop[lane] : m_lanes[lane];
}

Episode* StoryBuilder::Current(uint32_t thread)
{
    const auto found = m_open.find(thread);
    return found == m_open.end() ? nullptr : &found->second;
}

Episode& StoryBuilder::Open(EpisodeKind kind, const LogRecord& record, bool explicitEnd)
{
    Close(record.thread);
    Episode& episode = m_open[record.thread];
    episode.kind = kind;
    episode.event.start = record.time;
    episode.event.thread = record.thread;
    episode.lastLine = record.time;
    episode.explicitEnd = explicitEnd;
    if (kind == EpisodeKind::Airplane) {
        m_airplaneEpisodeOpen = true;
        m_airplaneThread = record.thread;
    }
    return episode;
}

Episode& StoryBuilder::Ensure(EpisodeKind kind, const LogRecord& record, bool explicitEnd)
{
    Episode* current = Current(record.thread);
    if (current != nullptr && current->kind == kind)
        return *current;
    return Open(kind, record, explicitEnd);
}

Episode& StoryBuilder::EnsureAny(const LogRecord& record)
{
    Episode* current = Current(record.thread);
    return current != nullptr ? *current : Open(EpisodeKind::Orphan, record, false);
}

void StoryBuilder::Close(uint32_t thread)
{
    const auto found = m_open.find(thread);
    if (found == m_open.end())
        return;
    Episode episode = std::move(found->second);
    m_open.erase(found);
    if (episode.kind == EpisodeKind::Airplane && thread == m_airplaneThread)
        m_airplaneEpisodeOpen = false;
    episode.event.end = episode.lastLine;
    Finalize(episode);
    m_closed = true;
}

void StoryBuilder::End(const LogRecord& record)
{
    if (Episode* episode = Current(record.thread))
        episode->lastLine = record.time;
    Close(record.thread);
}

void StoryBuilder::CloseAll()
{
    std::vector<std::pair<Millis, uint32_t>> threads;
    for (const auto& open : m_open)
        threads.emplace_back(open.second.event.start, open.first);
    std::sort(threads.begin(), threads.end());
    for (const auto& thread : threads)
        Close(thread.second);
}

void StoryBuilder::CloseIdle(Millis now)
{
    std::vector<uint32_t> idle;
    for (const auto& open : m_open) {
        const Millis quiet = now - open.second.lastLine;
        if (quiet > (open.second.explicitEnd ? kStalledEnd : kQuietEnd))
            idle.push_back(open.first);
    }
    for (uint32_t thread : idle)
        Close(thread);
}

void StoryBuilder::Tell(StoryEvent event)
{
    event.id = m_sequence++;
    m_pending.push(std::move(event));
    m_closed = true;
}

void StoryBuilder::Flush()
{
    Millis watermark = std::numeric_limits<Millis>::max();
    for (const auto& open : m_open)
        watermark = std::min(watermark, open.second.event.start);
    while (!m_pending.empty() && m_pending.top().start < watermark) {
        StoryEvent event = m_pending.top();
        m_pending.pop();
        event.id = m_nextId++;
        ++m_end.events;
        m_writer.Event(event);
    }
    m_closed = false;
}

void StoryBuilder::SetLane(Lane lane, State state, Millis at)
{
    State& current = m_lanes[static_cast<int>(lane)];
    if (current == state)
        return;
    current = state;
    m_writer.LaneChange(lane, at, state);
}

Episode* StoryBuilder::AirplaneEpisode(Millis at)
{
    if (!m_airplaneEpisodeOpen)
        return nullptr;
    Episode* episode = Current(m_airplaneThread);
    if (episode == nullptr || episode->kind != EpisodeKind::Airplane || at - episode->event.start > kAirplaneWindow)
        return nullptr;
    return episode;
}

// A radio read: where it differs from what was known, it changed, and the
// change is told with what made it: the service's switching in progress (or
// just ended) towards that state, or else something outside the service,
// blamed on airplane mode when that just changed.
void StoryBuilder::Observe(Radio radio, State state, const LogRecord& record)
{
    const State before = m_lanes[static_cast<int>(LaneOf(radio))];
    if (state == before)
        return;
    SetLane(LaneOf(radio), state, record.time);
    if (before == State::Unknown)
        return;  // a first reading, not a change
    RadioTrack& track = m_radios[static_cast<int>(radio)];
    Effect effect = RadioEffect(EffectKind::Switched, radio, record);
    effect.from = before;
    effect.to = state;
    uint32_t owner = 0;
    if (track.switching && track.target == state) {
        effect.byService = true;
        owner = track.thread;
    } else if (!track.switching && track.ended && record.time - track.endedAt <= kEchoWindow &&
               track.lastTarget == state) {
        effect.byService = true;
        owner = track.lastThread;
    }
    if (effect.byService) {
        Episode* episode = Current(owner);
        if (episode == nullptr) {
            LogRecord ownerRecord = record;
            ownerRecord.thread = owner;
            episode = &Open(EpisodeKind::Orphan, ownerRecord, false);
        }
        effect.after = record.time - episode->event.start;
        effect.text = SwitchedByService(radio, state, effect.after, episode->basis[static_cast<int>(radio)]);
        AddEffect(*episode, effect);
        return;
    }
    if (Episode* airplane = AirplaneEpisode(record.time)) {
        effect.after = record.time - airplane->event.start;
        effect.text = SwitchedOutside(radio, state, OutsideCause::AirplaneMode);
        AddEffect(*airplane, effect);
        return;
    }
    if (Episode* episode = Current(record.thread)) {
        effect.after = record.time - episode->event.start;
        const bool switchEvent = (radio == Radio::Wifi && (episode->kind == EpisodeKind::WifiNotification ||
                                                           episode->kind == EpisodeKind::NetworkAvailable)) ||
                                 (radio == Radio::Wwan && episode->kind == EpisodeKind::WwanCompletion);
        effect.text = SwitchedOutside(radio, state, switchEvent ? OutsideCause::Switch : OutsideCause::Unknown);
        AddEffect(*episode, effect);
        return;
    }
    effect.text = SwitchedOutside(radio, state, OutsideCause::Unknown);
    StoryEvent event;
    event.kind = EventKind::OutsideChange;
    event.start = event.end = record.time;
    event.thread = record.thread;
    event.text = effect.text;
    effect.inTitle = true;
    event.effects.push_back(effect);
    Tell(std::move(event));
}

void StoryBuilder::ObserveWire(State state, Millis at, const std::string& connection)
{
    if (state == State::On && m_lanes[static_cast<int>(Lane::Wire)] != State::On)
        m_wireSince = at;
    if (state == State::On && !connection.empty())
        m_wireConnection = connection;
    SetLane(Lane::Wire, state, at);
}

void StoryBuilder::ObserveAirplane(State state, Millis at)
{
    if (state == State::On && m_lanes[static_cast<int>(Lane::Airplane)] != State::On)
        m_airplaneSince = at;
    SetLane(Lane::Airplane, state, at);
}

void StoryBuilder::BeginSwitch(Radio radio, State target, const LogRecord& record)
{
    RadioTrack& track = m_radios[static_cast<int>(radio)];
    track.switching = true;
    track.thread = record.thread;
    track.target = target;
}

void StoryBuilder::EndSwitch(Radio radio, const LogRecord& record)
{
    RadioTrack& track = m_radios[static_cast<int>(radio)];
    if (!track.switching || track.thread != record.thread)
        return;
    track.switching = false;
    track.ended = true;
    track.endedAt = record.time;
    track.lastThread = record.thread;
    track.lastTarget = track.target;
}

void StoryBuilder::AddEffect(Episode& episode, Effect effect)
{
    if (episode.event.effects.size() < kMaxEffects)
        episode.event.effects.push_back(std::move(effect));
}

Effect StoryBuilder::RadioEffect(EffectKind kind, Radio radio, const LogRecord& record) const
{
    Effect effect;
    effect.kind = kind;
    effect.at = record.time;
    effect.hasRadio = true;
    effect.radio = radio;
    return effect;
}

void StoryBuilder::AddKept(Episode& episode, Radio radio, State state, const std::string& reason,
                           const LogRecord& record)
{
    Effect effect = RadioEffect(EffectKind::Kept, radio, record);
    effect.to = state;
    effect.reason = reason;
    const std::string& stored = m_end.stored[static_cast<int>(radio)];
    effect.text = Kept(radio, state, reason, stored.empty() ? std::string("True (nothing stored)") : stored);
    AddEffect(episode, effect);
}

void StoryBuilder::AddFailed(Episode& episode, const std::string& text, const LogRecord& record, bool hasRadio,
                             Radio radio)
{
    Effect effect = RadioEffect(EffectKind::Failed, radio, record);
    effect.hasRadio = hasRadio;
    effect.value = std::string(record.message);
    effect.text = text;
    AddEffect(episode, effect);
}

void StoryBuilder::AddIgnored(Episode& episode, const std::string& reason, const LogRecord& record)
{
    Effect effect;
    effect.kind = EffectKind::Ignored;
    effect.at = record.time;
    effect.reason = reason;
    effect.text = "Ignored: " + Ignored(reason);
    AddEffect(episode, effect);
}

void StoryBuilder::StoreChoice(Radio radio, const std::string& value, const LogRecord& record)
{
    Episode& episode = EnsureAny(record);
    const int index = static_cast<int>(radio);
    Effect effect = RadioEffect(EffectKind::Stored, radio, record);
    effect.value = value;
    effect.reason = episode.storeReason[index];
    effect.text = Stored(radio, value, effect.reason);
    if (m_end.stored[index] != value)
        episode.storedNew = true;
    m_end.stored[index] = value;
    AddEffect(episode, effect);
}

}  // namespace diag
