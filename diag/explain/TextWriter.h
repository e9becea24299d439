// The story as plain text, for an administrator's prompt: one line per event
// with its time, the effects indented below it, a date line where the date
// changes, and at the end what the log ended with and what was read.
#pragma once

#include "explain/Output.h"
#include "explain/StoryWriter.h"

#include <string>

namespace diag {

class TextWriter : public StoryWriter {
public:
    explicit TextWriter(Output& out) : m_out(out) {}

    void Begin(const InputReport& input) override;
    void Event(const StoryEvent& event) override;
    void LaneChange(Lane, Millis, State) override {}
    void Finish(const StoryEnd& end, const InputReport& input) override;

private:
    Output& m_out;
    std::string m_date;
};

}  // namespace diag
