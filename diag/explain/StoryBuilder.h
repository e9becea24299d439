// The story builder: a state machine over the log's records, in file order.
// It keeps one open episode per thread (lines of different threads
// interleave), the lanes (wire, Wi-Fi, mobile broadband, airplane mode,
// sleep), each radio's switching by the service in progress (to tell the
// service's own switching and its echoes from the user's), and the stored
// choices. An episode becomes an event when it ends (its last line, or a
// pause of its thread); events are told in the order of their start, held
// back only while an episode that started earlier is still open. So what it
// keeps does not grow with the log.
//
// One thread: the caller's.
#pragma once

#include "explain/Episode.h"
#include "explain/Recogniser.h"
#include "explain/Sentences.h"
#include "explain/StoryWriter.h"

#include <cstdint>
#include <map>
#include <queue>
#include <string>
#include <unordered_map>
#include <vector>

namespace diag {

class StoryBuilder {
public:
    explicit StoryBuilder(StoryWriter& writer);
    StoryBuilder(const StoryBuilder&) = delete;
    StoryBuilder& operator=(const StoryBuilder&) = delete;

    // Every record of the log, in the order of the files and their lines.
    void Add(const LogRecord& record);
    // The end of the log: open episodes end, every event is told.
    void Finish();
    const StoryEnd& End() const { return m_end; }

private:
    // A notification that comes while the service sets that radio itself, or
    // this soon after, is the echo of its own switching.
    static constexpr Millis kEchoWindow = 1500;

    struct RadioTrack {
        bool switching = false;  // the service is setting the radio on `thread`
        uint32_t thread = 0;
        State target = State::Unknown;
        Millis endedAt = 0;
        bool ended = false;
        uint32_t lastThread = 0;
        State lastTarget = State::Unknown;
        bool latchTold = false;        // the Wi-Fi query time-out, once a service run
        bool noInterfaceTold = false;  // no Wi-Fi adapter, once a service run
    };
    struct Later {
        bool operator()(const StoryEvent& a, const StoryEvent& b) const
        {
            return a.start != b.start ? a.start > b.start : a.id > b.id;
        }
    };

    // StoryBuilder.cpp: episodes, lanes, radios, telling.
    Episode* Current(uint32_t thread);
    Episode& Open(EpisodeKind kind, const LogRecord& record, bool explicitEnd);
    Episode& Ensure(EpisodeKind kind, const LogRecord& record, bool explicitEnd);
    Episode& EnsureAny(const LogRecord& record);
    void Close(uint32_t thread);
    void End(const LogRecord& record);  // the episode of the record's thread ends with this line
    void CloseAll();
    void CloseIdle(Millis now);
    void Tell(StoryEvent event);
    void Flush();
    void SetLane(Lane lane, State state, Millis at);
    void Observe(Radio radio, State state, const LogRecord& record);
    void ObserveWire(State state, Millis at, const std::string& connection = {});
    void ObserveAirplane(State state, Millis at);
    void BeginSwitch(Radio radio, State target, const LogRecord& record);
    void EndSwitch(Radio radio, const LogRecord& record);
    void AddEffect(Episode& episode, Effect effect);
    Effect RadioEffect(EffectKind kind, Radio radio, const LogRecord& record) const;
    void AddKept(Episode& episode, Radio radio, State state, const std::string& reason, const LogRecord& record);
    void AddFailed(Episode& episode, const std::string& text, const LogRecord& record, bool hasRadio = false,
                   Radio radio = Radio::Wifi);
    void AddIgnored(Episode& episode, const std::string& reason, const LogRecord& record);
    void StoreChoice(Radio radio, const std::string& value, const LogRecord& record);
    Episode* AirplaneEpisode(Millis at);

    // StoryEpisodes.cpp: what each ended episode tells.
    void Finalize(Episode& episode);
    void FinalizeStartUp(Episode& episode);
    void FinalizeConnection(Episode& episode);
    bool FinalizeNotification(Episode& episode);
    bool FinalizeAirplane(Episode& episode);
    bool FinalizeCompletion(Episode& episode);
    void FinalizeResume(Episode& episode);
    void FirmwareEffect(Episode& episode, const LogRecord& record);

    // StorySignals.cpp: what each recognised line does.
    void Handle(const LogRecord& record, const Recognised& recognised);
    void HandleService(const LogRecord& record, const Recognised& recognised);
    void HandleStartUp(const LogRecord& record, const Recognised& recognised);
    void HandleSleep(const LogRecord& record, const Recognised& recognised);
    // StoryEventSignals.cpp
    void HandleConnection(const LogRecord& record, const Recognised& recognised);
    void HandleNotification(const LogRecord& record, const Recognised& recognised);
    void HandleAirplane(const LogRecord& record, const Recognised& recognised);
    void HandleCompletion(const LogRecord& record, const Recognised& recognised);
    // StoryRadioSignals.cpp
    void HandleWlan(const LogRecord& record, const Recognised& recognised);
    void HandleWwan(const LogRecord& record, const Recognised& recognised);

    StoryWriter& m_writer;
    std::unordered_map<uint32_t, Episode> m_open;
    std::priority_queue<StoryEvent, std::vector<StoryEvent>, Later> m_pending;
    uint64_t m_sequence = 0;  // orders events told at the same millisecond
    uint64_t m_nextId = 1;
    bool m_closed = false;  // an episode ended since the last flush
    Millis m_lastIdleCheck = 0;

    StoryEnd m_end;
    State m_lanes[kLanes] = {};
    State m_lanesAtStop[kLanes] = {};
    RadioTrack m_radios[kRadios];
    int m_firmware[kRadios] = {-1, -1};  // the last start-up's answer: 1 allowed, 0 not, -1 unknown
    std::string m_wireConnection;
    Millis m_wireSince = -1;
    Millis m_airplaneSince = -1;
    Millis m_sleepSince = -1;
    bool m_airplaneEpisodeOpen = false;
    uint32_t m_airplaneThread = 0;
    // Adapters of the connections seen, for the wire events; a laptop has a
    // few, so the map stays small (and is bounded all the same).
    std::map<std::string, std::string> m_adapterOf;
};

}  // namespace diag
