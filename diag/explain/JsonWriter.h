// The story as JSON, for a fleet's scripts: one object of the documented,
// versioned schema (README, section TessarineDiag):
//   {"schema": "tessarine-diag", "version": 1, "verb": "explain",
//    "events": [...], "end": {...}, "input": {...}}
// The events are written as they are told, so the object is streamed, and
// "end" and "input" follow them.
#pragma once

#include "explain/Output.h"
#include "explain/StoryWriter.h"

#include <string>
#include <string_view>

namespace diag {

constexpr int kJsonSchemaVersion = 1;

// A JSON string literal of UTF-8 text, quotes included; bytes that are not
// UTF-8 become U+FFFD.
std::string JsonString(std::string_view utf8);

class JsonWriter : public StoryWriter {
public:
    explicit JsonWriter(Output& out) : m_out(out) {}

    void Begin(const InputReport& input) override;
    void Event(const StoryEvent& event) override;
    void LaneChange(Lane, Millis, State) override {}
    void Finish(const StoryEnd& end, const InputReport& input) override;

private:
    Output& m_out;
    bool m_first = true;
};

}  // namespace diag
