#include "explain/Timeline.h"

namespace diag {

namespace {

Timeline::Shade ShadeOf(State state)
{
    switch (state) {
    case State::On: return Timeline::Shade::On;
    case State::Off: return Timeline::Shade::Off;
    case State::Unknown: break;
    }
    return Timeline::Shade::Unknown;
}

}  // namespace

Timeline::Timeline(size_t maxSegments, size_t maxMarks)
    : m_maxSegments(maxSegments < 2 ? 2 : maxSegments), m_maxMarks(maxMarks < 2 ? 2 : maxMarks)
{
}

void Timeline::Change(Lane lane, Millis at, State state)
{
    std::vector<Segment>& segments = m_lanes[static_cast<int>(lane)];
    const Shade shade = ShadeOf(state);
    if (!segments.empty() && segments.back().shade == shade)
        return;
    if (!segments.empty() && segments.back().from == at) {
        // Two changes at one millisecond: the last counts.
        segments.pop_back();
        if (!segments.empty() && segments.back().shade == shade)
            return;
    }
    segments.push_back({at, shade});
    if (segments.size() <= m_maxSegments)
        return;
    std::vector<Segment> merged;
    merged.reserve(segments.size() / 2 + 1);
    for (size_t i = 0; i < segments.size(); i += 2) {
        Segment pair = segments[i];
        if (i + 1 < segments.size() && segments[i + 1].shade != pair.shade)
            pair.shade = Shade::Mixed;
        if (!merged.empty() && merged.back().shade == pair.shade)
            continue;
        merged.push_back(pair);
    }
    segments.swap(merged);
}

void Timeline::AddMark(Millis at, uint64_t id, EventKind kind)
{
    if (m_markCount++ % m_markStride != 0)
        return;
    m_marks.push_back({at, id, kind});
    if (m_marks.size() <= m_maxMarks)
        return;
    std::vector<Mark> kept;
    for (size_t i = 0; i < m_marks.size(); i += 2)
        kept.push_back(m_marks[i]);
    m_marks.swap(kept);
    m_markStride *= 2;
}

}  // namespace diag
