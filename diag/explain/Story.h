// The story told from a log: events (something reached the service, or the
// service did something on its own), each with its effects (a radio switched
// or kept, a choice stored, an event ignored, a failure, the firmware's
// answer), the lanes of the timeline (wire, radios, airplane mode, sleep) and
// what the reading saw of its input. The writers (text, JSON, HTML) render
// these; the JSON names of the kinds and reasons here are the schema's
// (README, section TessarineDiag).
//
// Texts are UTF-8, as the log is, and sentences are made once, by the story
// builder, so that every writer tells the same story.
#pragma once

#include "explain/LogLine.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace diag {

enum class Radio { Wifi, Wwan };
constexpr int kRadios = 2;

// A radio, the wire (up: Ethernet as the service counts it), airplane mode
// or sleep; Unknown while the log does not say.
enum class State { Unknown, Off, On };

enum class EventKind {
    ServiceStart,
    ServiceStop,
    StartUp,
    WireUp,
    WireDown,
    ConnectionUp,      // a connection that is not a wire the service switches for
    ConnectionDown,    // a connection the service did not know as a wire
    ConnectionChange,  // the log breaks off before the service said which
    WifiSwitch,        // the Wi-Fi radio changed outside the service (the user's switch)
    WifiNotification,  // a Wi-Fi radio notification that changed nothing but was worth telling
    NetworkAvailable,
    AirplaneOn,
    AirplaneOff,
    RadioKeyChange,  // the radio-management key changed, airplane mode unchanged or unknown
    WwanSwitch,      // a mobile-broadband radio change completed outside the service
    WwanCompletion,
    Suspend,
    Resume,
    OutsideChange,  // a radio found changed with no event of the log to explain it
    ServiceAction,  // the service switched on its own: what set it off is not in the log
};

enum class EffectKind { Switched, Kept, Stored, Ignored, Failed, Firmware };

struct Effect {
    EffectKind kind = EffectKind::Failed;
    Millis at = 0;
    bool hasRadio = false;
    Radio radio = Radio::Wifi;
    State from = State::Unknown;  // Switched
    State to = State::Unknown;    // Switched: the new state; Kept: the state kept
    bool byService = false;       // Switched
    Millis after = 0;             // Switched: since the event reached the service
    std::string reason;           // Kept, Ignored, Stored: a word of the schema
    std::string value;            // Stored: "True" or "False"; Failed: the log's text
    // Firmware
    State wifiSwitching = State::Unknown;
    State wwanSwitching = State::Unknown;
    std::vector<std::pair<std::string, std::string>> settings;
    std::string text;      // the sentence
    bool inTitle = false;  // the event's sentence already says it
};

struct StoryEvent {
    EventKind kind = EventKind::OutsideChange;
    uint64_t id = 0;  // 1, 2, ... in the order told
    Millis start = 0;
    Millis end = 0;
    uint32_t thread = 0;
    std::string connection;  // wire and connection events
    std::string adapter;
    std::string text;  // the sentence that tells the event
    std::vector<Effect> effects;
};

enum class Lane { Wire, Wifi, Wwan, Airplane, Sleep };
constexpr int kLanes = 5;

// What was known at the end of the log. When the log ends with the service
// stopped, the lanes are as they were last known while it ran.
struct StoryEnd {
    bool anyRecord = false;
    Millis first = 0;
    Millis last = 0;
    bool stopped = false;
    Millis stoppedAt = 0;
    State lanes[kLanes] = {};
    std::string stored[kRadios];  // the last stored choice seen ("True", "False"), or empty
    uint64_t events = 0;
    uint64_t ownEchoes = 0;              // notifications of the service's own switching, set aside
    uint64_t repeatedNotifications = 0;  // notifications that changed nothing
};

struct FileReport {
    std::string path;  // UTF-8
    bool opened = true;
    uint64_t lines = 0;
    uint64_t records = 0;
    uint64_t foreignLines = 0;  // lines of another format (empty lines not counted)
    uint64_t firstForeignLine = 0;
    uint64_t overlongLines = 0;
    bool truncatedLastLine = false;
    bool readError = false;
};

struct InputReport {
    std::vector<FileReport> files;
    std::vector<std::string> looked;  // the folders looked in for the service's log (no FILE given)
    bool serviceLog = false;          // the files are the service's own, found in `folder`
    std::string folder;
};

const char* KindName(EventKind kind);
const char* EffectName(EffectKind kind);
const char* RadioName(Radio radio);   // "wifi", "wwan"
const char* RadioTitle(Radio radio);  // "Wi-Fi", "mobile broadband"
const char* StateName(State state);   // "on", "off", "unknown"
const char* LaneTitle(Lane lane);

}  // namespace diag
