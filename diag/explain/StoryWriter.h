// Where the story builder tells the story, as it goes: events in the order of
// their start, and the lanes of the timeline as they change. A writer may
// keep what it needs for the end, but nothing that grows with the log.
#pragma once

#include "explain/Story.h"

namespace diag {

class StoryWriter {
public:
    virtual ~StoryWriter() = default;

    // Before the first event: the files about to be read.
    virtual void Begin(const InputReport& input) = 0;
    virtual void Event(const StoryEvent& event) = 0;
    virtual void LaneChange(Lane lane, Millis at, State state) = 0;
    // After the last event: what the log ended with and what was read.
    virtual void Finish(const StoryEnd& end, const InputReport& input) = 0;
};

}  // namespace diag
