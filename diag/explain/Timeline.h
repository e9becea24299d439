// The lanes of the HTML page's timeline (wire, Wi-Fi, mobile broadband,
// airplane mode, sleep) and the marks of the events, kept in bounded memory:
// when a lane has more segments than its bound, neighbours are merged in
// pairs (a merged pair of different states is drawn as "mixed"), and when
// there are more marks than theirs, every other one is dropped. A long log
// then draws as an overview, as it would at the page's width anyway.
#pragma once

#include "explain/Story.h"

#include <cstdint>
#include <vector>

namespace diag {

class Timeline {
public:
    enum class Shade : uint8_t { Unknown, Off, On, Mixed };
    struct Segment {
        Millis from;
        Shade shade;
    };
    struct Mark {
        Millis at;
        uint64_t id;
        EventKind kind;
    };

    explicit Timeline(size_t maxSegments = 2048, size_t maxMarks = 1024);

    void Change(Lane lane, Millis at, State state);
    void AddMark(Millis at, uint64_t id, EventKind kind);

    // Each segment lasts until the next one's start; the last until the end of the log.
    const std::vector<Segment>& Segments(Lane lane) const { return m_lanes[static_cast<int>(lane)]; }
    const std::vector<Mark>& Marks() const { return m_marks; }

private:
    size_t m_maxSegments;
    size_t m_maxMarks;
    std::vector<Segment> m_lanes[kLanes];
    std::vector<Mark> m_marks;
    uint64_t m_markStride = 1;  // keep one mark in this many
    uint64_t m_markCount = 0;
};

}  // namespace diag
