#include "explain/HtmlWriter.h"

#include "explain/ReportTexts.h"
#include "explain/Texts.h"

#include <algorithm>

namespace diag {

namespace {

constexpr char kStyle[] = R"(
body { font: 14px/1.45 system-ui, sans-serif; margin: 0; color: #222; }
header { padding: 12px 20px; background: #263238; color: #fff; }
header h1 { font-size: 18px; margin: 0 0 4px; }
.page { display: grid; grid-template-columns: minmax(0, 1fr) minmax(0, 1fr); gap: 20px; padding: 16px 20px; }
.timeline { grid-column: 1; grid-row: 1; position: sticky; top: 8px; align-self: start; }
.story { grid-column: 2; grid-row: 1; }
@media (max-width: 900px) { .page { grid-template-columns: 1fr; } .story { grid-column: 1; grid-row: 2; } .timeline { position: static; } }
.story ol { list-style: none; padding: 0; margin: 0; }
.story li.event { margin: 0 0 8px; padding: 4px 8px; border-left: 4px solid #b0bec5; }
.story li.event:target { background: #fff8e1; }
.story .date { font-weight: 600; margin: 14px 0 6px; }
.story .time { font-family: monospace; color: #555; margin-right: 8px; }
.story .kind { font-size: 11px; color: #fff; background: #607d8b; border-radius: 3px; padding: 0 4px; margin-right: 6px; }
.story ul { margin: 2px 0 0 18px; padding: 0; }
.k-wire-up, .k-wire-down { border-left-color: #1565c0 !important; }
.k-wifi-switch, .k-wwan-switch { border-left-color: #2e7d32 !important; }
.k-airplane-on, .k-airplane-off { border-left-color: #ef6c00 !important; }
.k-suspend, .k-resume { border-left-color: #6a1b9a !important; }
.failed { color: #b71c1c; }
.ignored { color: #6d4c41; }
.summary p { margin: 4px 0; }
svg text { font: 11px system-ui, sans-serif; fill: #333; }
)";

constexpr int kWidth = 900;
constexpr int kLabel = 130;
constexpr int kLaneHeight = 26;
constexpr int kLaneGap = 6;
constexpr int kMarkRow = 18;

const char* LaneColour(Lane lane)
{
    switch (lane) {
    case Lane::Wire: return "#1565c0";
    case Lane::Wifi: return "#2e7d32";
    case Lane::Wwan: return "#00897b";
    case Lane::Airplane: return "#ef6c00";
    case Lane::Sleep: return "#6a1b9a";
    }
    return "#000";
}

std::string Fill(Lane lane, Timeline::Shade shade)
{
    switch (shade) {
    case Timeline::Shade::On: return LaneColour(lane);
    case Timeline::Shade::Off: return "#eceff1";
    case Timeline::Shade::Mixed: return "#90a4ae";
    case Timeline::Shade::Unknown: break;
    }
    return "url(#unknown)";
}

const char* ShadeName(Timeline::Shade shade)
{
    switch (shade) {
    case Timeline::Shade::On: return "on";
    case Timeline::Shade::Off: return "off";
    case Timeline::Shade::Mixed: return "changing often";
    case Timeline::Shade::Unknown: break;
    }
    return "not known";
}

}  // namespace

std::string HtmlText(std::string_view utf8)
{
    std::string text;
    text.reserve(utf8.size());
    for (char c : utf8) {
        switch (c) {
        case '&': text += "&amp;"; break;
        case '<': text += "&lt;"; break;
        case '>': text += "&gt;"; break;
        case '"': text += "&quot;"; break;
        default: text += c;
        }
    }
    return text;
}

void HtmlWriter::Begin(const InputReport& input)
{
    m_out.Write("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                "<title>Tessarine: the story of the service's decisions</title>\n<style>");
    m_out.Write(kStyle);
    m_out.Write("</style>\n</head>\n<body>\n<header><h1>Tessarine: the story of the service's decisions</h1>\n<div>" +
                HtmlText(SourcesSentence(input)) +
                "</div></header>\n<div class=\"page\">\n"
                "<section class=\"story\">\n<ol>\n");
}

void HtmlWriter::Event(const StoryEvent& event)
{
    m_timeline.AddMark(event.start, event.id, event.kind);
    std::string text;
    const std::string date = DateText(event.start);
    if (date != m_date) {
        m_date = date;
        text += "<li class=\"date\">" + date + "</li>\n";
    }
    const std::string kind = KindName(event.kind);
    text += Printf(L"<li class=\"event k-%S\" id=\"e%I64u\">", kind.c_str(), static_cast<unsigned long long>(event.id));
    text += "<span class=\"time\">" + ClockText(event.start) + "</span><span class=\"kind\">" + kind + "</span>" +
            HtmlText(event.text);
    std::string effects;
    for (const Effect& effect : event.effects) {
        if (effect.inTitle)
            continue;
        const char* cls = effect.kind == EffectKind::Failed    ? " class=\"failed\""
                          : effect.kind == EffectKind::Ignored ? " class=\"ignored\""
                                                               : "";
        effects += std::string("<li") + cls + ">" + HtmlText(effect.text) + "</li>";
    }
    if (!effects.empty())
        text += "<ul>" + effects + "</ul>";
    m_out.Write(text + "</li>\n");
}

std::string HtmlWriter::Svg(const StoryEnd& end) const
{
    const Millis first = end.first;
    const Millis last = std::max(end.last, end.first + 1);
    const double span = static_cast<double>(last - first);
    const int right = kWidth - 10;
    const auto x = [&](Millis at) {
        const double clamped = static_cast<double>(std::min(std::max(at, first), last) - first);
        return kLabel + clamped / span * (right - kLabel);
    };
    const int lanesTop = kMarkRow + 4;
    const int height = lanesTop + kLanes * (kLaneHeight + kLaneGap) + 30;
    std::string svg = Printf(L"<svg viewBox=\"0 0 %d %d\" width=\"100%%\" "
                             L"role=\"img\" aria-label=\"timeline\">\n",
                             kWidth, height);
    svg += "<defs><pattern id=\"unknown\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\" "
           "patternTransform=\"rotate(45)\"><rect width=\"6\" height=\"6\" fill=\"#fafafa\"/>"
           "<line x1=\"0\" y1=\"0\" x2=\"0\" y2=\"6\" stroke=\"#cfd8dc\" stroke-width=\"3\"/></pattern></defs>\n";
    for (const Timeline::Mark& mark : m_timeline.Marks()) {
        svg += Printf(L"<a href=\"#e%I64u\"><title>%S %S</title><rect x=\"%.1f\" y=\"2\" width=\"3\" height=\"%d\" "
                      L"fill=\"#37474f\"/></a>\n",
                      static_cast<unsigned long long>(mark.id), ClockText(mark.at).c_str(), KindName(mark.kind),
                      x(mark.at) - 1.0, kMarkRow - 2);
    }
    for (int index = 0; index < kLanes; ++index) {
        const Lane lane = static_cast<Lane>(index);
        const int top = lanesTop + index * (kLaneHeight + kLaneGap);
        svg += Printf(L"<text x=\"4\" y=\"%d\">%S</text>\n", top + kLaneHeight / 2 + 4, LaneTitle(lane));
        const auto& segments = m_timeline.Segments(lane);
        // Before the lane's first change its state is not known.
        const Millis known = segments.empty() ? last : segments.front().from;
        if (known > first)
            svg += Printf(L"<rect x=\"%d\" y=\"%d\" width=\"%.1f\" height=\"%d\" fill=\"url(#unknown)\"/>\n", kLabel,
                          top, x(known) - kLabel, kLaneHeight);
        for (size_t i = 0; i < segments.size(); ++i) {
            const Millis from = segments[i].from;
            const Millis to = i + 1 < segments.size() ? segments[i + 1].from : last;
            const double width = std::max(x(to) - x(from), 0.5);
            svg += Printf(
                L"<rect x=\"%.1f\" y=\"%d\" width=\"%.1f\" height=\"%d\" fill=\"%S\"><title>%S %S from %S</title>"
                L"</rect>\n",
                x(from), top, width, kLaneHeight, Fill(lane, segments[i].shade).c_str(), LaneTitle(lane),
                ShadeName(segments[i].shade), (DateText(from) + " " + ClockText(from)).c_str());
        }
    }
    // The time axis: the ends and a few ticks between.
    const int axis = lanesTop + kLanes * (kLaneHeight + kLaneGap) + 2;
    svg += Printf(L"<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"#90a4ae\"/>\n", kLabel, axis, right, axis);
    const bool days = last - first >= 86400000;
    for (int tick = 0; tick <= 4; ++tick) {
        const Millis at = first + static_cast<Millis>(span * tick / 4);
        const std::string label = days ? DateText(at) + " " + ClockText(at).substr(0, 5) : ClockText(at);
        const char* anchor = tick == 0 ? "start" : tick == 4 ? "end" : "middle";
        svg += Printf(L"<line x1=\"%.1f\" y1=\"%d\" x2=\"%.1f\" y2=\"%d\" stroke=\"#90a4ae\"/>"
                      L"<text x=\"%.1f\" y=\"%d\" text-anchor=\"%S\">%S</text>\n",
                      x(at), axis, x(at), axis + 4, x(at), axis + 16, anchor, label.c_str());
    }
    return svg + "</svg>\n";
}

void HtmlWriter::Finish(const StoryEnd& end, const InputReport& input)
{
    std::string text = "</ol>\n";
    if (end.events == 0)
        text += "<p>Nothing to tell.</p>\n";
    text += "</section>\n<section class=\"timeline\">\n";
    if (end.anyRecord) {
        text += Svg(end);
        text += "<p>From " + DateText(end.first) + " " + ClockText(end.first) + " to " + DateText(end.last) + " " +
                ClockText(end.last) + ". Hatched: not known; grey: changing too often to draw at this width.</p>\n";
    }
    text += "<div class=\"summary\">";
    if (end.anyRecord)
        text += "<p>At the end of the log: " + HtmlText(EndSentence(end)) + ".</p><p>" + HtmlText(StoredSentence(end)) +
                "</p>";
    text += "<p>" + HtmlText(CountsSentence(end, input)) + "</p>";
    for (const std::string& skipped : SkippedSentences(input))
        text += "<p>Skipped: " + HtmlText(skipped) + "</p>";
    text += "</div>\n</section>\n</div>\n</body>\n</html>\n";
    m_out.Write(text);
    m_out.Flush();
}

}  // namespace diag
