// The story as one self-contained HTML page (no script, no style or image
// from elsewhere): the timeline drawn as lanes (wire, Wi-Fi, mobile
// broadband, airplane mode, sleep) over time in inline SVG, with a mark for
// each event that links to it, and the story beside it. The story is written
// as it is told; the timeline, which needs the whole span, at the end (the
// page's grid puts it first), from the bounded Timeline.
#pragma once

#include "explain/Output.h"
#include "explain/StoryWriter.h"
#include "explain/Timeline.h"

#include <string>
#include <string_view>

namespace diag {

// Text for an HTML element or attribute: & < > " escaped.
std::string HtmlText(std::string_view utf8);

class HtmlWriter : public StoryWriter {
public:
    explicit HtmlWriter(Output& out) : m_out(out) {}

    void Begin(const InputReport& input) override;
    void Event(const StoryEvent& event) override;
    void LaneChange(Lane lane, Millis at, State state) override { m_timeline.Change(lane, at, state); }
    void Finish(const StoryEnd& end, const InputReport& input) override;

private:
    std::string Svg(const StoryEnd& end) const;

    Output& m_out;
    Timeline m_timeline;
    std::string m_date;
};

}  // namespace diag
