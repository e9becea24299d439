// One handling of the service in progress, on one thread: a connectivity
// callback, the start-up worker, a Wi-Fi notification, a pass of the
// airplane-mode watcher, a mobile-broadband completion, the resume handler.
// Lines of different threads interleave, so the story builder keeps one open
// episode per thread; what the episode learns along its lines becomes, when
// it ends, the event it tells.
#pragma once

#include "explain/Story.h"

#include <string>
#include <utility>
#include <vector>

namespace diag {

enum class EpisodeKind {
    StartUp,
    Connection,
    WifiNotification,
    NetworkAvailable,
    Airplane,
    WwanCompletion,
    Resume,
    Orphan
};

enum class Direction { Unknown, Connect, Disconnect };

struct Episode {
    EpisodeKind kind = EpisodeKind::Orphan;
    StoryEvent event;  // start, thread, connection, effects so far
    Millis lastLine = 0;
    bool explicitEnd = false;  // ends on a line of its own; otherwise after a pause of its thread

    // The radio the handling is at (the line that begins each radio's step
    // says), why the service wants what it sets for each radio ("the stored
    // choice is True"), and why it stores a radio's state here.
    bool hasStep = false;
    Radio step = Radio::Wifi;
    bool stepSeen[kRadios] = {};
    std::string basis[kRadios];
    bool defaultBasis[kRadios] = {};
    std::string storeReason[kRadios];

    // A connectivity callback.
    Direction direction = Direction::Unknown;
    bool ethernet = false;
    bool ethernetKnown = false;  // the per-connection test's answer is in the log
    bool connected = false;
    bool asleep = false;
    bool stillUp = false;
    bool notInList = false;
    int addressTries = 0;
    Millis connectedAt = 0;
    bool wireWasUp = false;
    std::string wireWasConnection;
    Millis wireUpSince = -1;

    // The start-up worker.
    bool checkingEthernet = false;
    bool firmwareOff[kRadios] = {};
    bool displaySeen = false;
    int firmwareFlags[kRadios] = {-1, -1};
    std::vector<std::pair<std::string, std::string>> settings;
    std::vector<std::string> firmwareProblems;
    std::string printedConnection;
    std::vector<std::string> printedWires;

    // Notifications and completions.
    bool own = false;  // the echo of the service's own switching
    int resumeFlag = 0;
    bool storedNew = false;  // a store changed the stored choice

    // The airplane-mode watcher.
    State airplaneBefore = State::Unknown;
    State airplane = State::Unknown;
    Millis airplaneOnFor = -1;

    // The resume handler.
    Millis sleptFor = -1;
    State wire = State::Unknown;

    bool HasEffectFor(Radio radio) const
    {
        for (const Effect& effect : event.effects)
            if (effect.hasRadio && effect.radio == radio)
                return true;
        return false;
    }
    bool Has(EffectKind kind) const
    {
        for (const Effect& effect : event.effects)
            if (effect.kind == kind)
                return true;
        return false;
    }
};

}  // namespace diag
