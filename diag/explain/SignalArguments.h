// The small readings of a recognised line's arguments that the story
// builder's handlings share.
#pragma once

#include "explain/Episode.h"
#include "explain/Recogniser.h"

#include <string>

namespace diag {

inline State OnOff(int64_t value) { return value != 0 ? State::On : State::Off; }

inline std::string CapturedText(const Recognised& recognised, int index)
{
    return std::string(recognised.captures.texts[index]);
}

inline int RadioIndex(Radio radio) { return static_cast<int>(radio); }

// The handling turns to `radio` (the line that begins each radio's step says so).
inline void Step(Episode& episode, Radio radio)
{
    episode.hasStep = true;
    episode.step = radio;
    episode.stepSeen[RadioIndex(radio)] = true;
}

}  // namespace diag
