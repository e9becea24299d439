#include "explain/JsonWriter.h"

#include "explain/Texts.h"

namespace diag {

namespace {

// The length of the UTF-8 sequence at text[at], or 0 when it is not one.
size_t Utf8Sequence(std::string_view text, size_t at)
{
    const unsigned char lead = static_cast<unsigned char>(text[at]);
    size_t length;
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF)
        length = 2;
    else if (lead >= 0xE0 && lead <= 0xEF)
        length = 3;
    else if (lead >= 0xF0 && lead <= 0xF4)
        length = 4;
    else
        return 0;
    if (at + length > text.size())
        return 0;
    for (size_t i = 1; i < length; ++i)
        if ((static_cast<unsigned char>(text[at + i]) & 0xC0) != 0x80)
            return 0;
    return length;
}

std::string Quoted(const char* text) { return JsonString(text); }

std::string Number(int64_t value) { return Printf(L"%I64d", value); }

std::string Field(const char* name, const std::string& value) { return Quoted(name) + ": " + value; }

std::string Time(Millis time) { return JsonString(IsoText(time)); }

std::string EffectJson(const Effect& effect)
{
    std::string text = "{" + Field("what", Quoted(EffectName(effect.kind)));
    if (effect.hasRadio)
        text += ", " + Field("radio", Quoted(RadioName(effect.radio)));
    text += ", " + Field("at", Time(effect.at));
    switch (effect.kind) {
    case EffectKind::Switched:
        text += ", " + Field("from", Quoted(StateName(effect.from))) + ", " +
                Field("to", Quoted(StateName(effect.to))) + ", " +
                Field("by", Quoted(effect.byService ? "service" : "outside")) + ", " +
                Field("afterMs", Number(effect.after));
        break;
    case EffectKind::Kept:
        text += ", " + Field("state", Quoted(StateName(effect.to))) + ", " + Field("reason", JsonString(effect.reason));
        break;
    case EffectKind::Stored:
        text += ", " + Field("value", JsonString(effect.value)) + ", " + Field("reason", JsonString(effect.reason));
        break;
    case EffectKind::Ignored: text += ", " + Field("reason", JsonString(effect.reason)); break;
    case EffectKind::Failed: text += ", " + Field("logText", JsonString(effect.value)); break;
    case EffectKind::Firmware: {
        const auto allowed = [](State state) {
            return state == State::Unknown ? "null" : state == State::On ? "true" : "false";
        };
        text += ", " + Field("wifiSwitching", allowed(effect.wifiSwitching)) + ", " +
                Field("wwanSwitching", allowed(effect.wwanSwitching)) + ", \"settings\": [";
        for (size_t i = 0; i < effect.settings.size(); ++i)
            text += std::string(i == 0 ? "" : ", ") + "{" + Field("name", JsonString(effect.settings[i].first)) + ", " +
                    Field("value", JsonString(effect.settings[i].second)) + "}";
        text += "], " + Field("problem", effect.value.empty() ? "null" : JsonString(effect.value));
        break;
    }
    }
    return text + ", " + Field("text", JsonString(effect.text)) + "}";
}

std::string LaneStates(const StoryEnd& end)
{
    const auto state = [&](Lane lane) { return Quoted(StateName(end.lanes[static_cast<int>(lane)])); };
    return Field("wire", state(Lane::Wire)) + ", " + Field("wifi", state(Lane::Wifi)) + ", " +
           Field("wwan", state(Lane::Wwan)) + ", " + Field("airplane", state(Lane::Airplane)) + ", " +
           Field("sleep", state(Lane::Sleep));
}

}  // namespace

std::string JsonString(std::string_view utf8)
{
    std::string text = "\"";
    for (size_t at = 0; at < utf8.size();) {
        const char c = utf8[at];
        const size_t length = Utf8Sequence(utf8, at);
        if (length == 0) {
            text += "\\ufffd";
            ++at;
            continue;
        }
        if (length > 1) {
            text.append(utf8.substr(at, length));
            at += length;
            continue;
        }
        switch (c) {
        case '"': text += "\\\""; break;
        case '\\': text += "\\\\"; break;
        case '\n': text += "\\n"; break;
        case '\r': text += "\\r"; break;
        case '\t': text += "\\t"; break;
        default:
            if (static_cast<unsigned char>(c) < 0x20)
                text += Printf(L"\\u%04x", static_cast<int>(c));
            else
                text += c;
        }
        ++at;
    }
    return text + "\"";
}

void JsonWriter::Begin(const InputReport&)
{
    m_out.Write("{" + Field("schema", Quoted("tessarine-diag")) + ", " + Field("version", Number(kJsonSchemaVersion)) +
                ", " + Field("verb", Quoted("explain")) + ",\n \"events\": [");
}

void JsonWriter::Event(const StoryEvent& event)
{
    std::string text = m_first ? "\n  {" : ",\n  {";
    m_first = false;
    text += Field("id", Number(static_cast<int64_t>(event.id))) + ", " + Field("kind", Quoted(KindName(event.kind))) +
            ", " + Field("start", Time(event.start)) + ", " + Field("end", Time(event.end)) + ", " +
            Field("thread", JsonString(Printf(L"%08X", event.thread)));
    if (!event.connection.empty())
        text += ", " + Field("connection", JsonString(event.connection));
    if (!event.adapter.empty())
        text += ", " + Field("adapter", JsonString(event.adapter));
    text += ", " + Field("text", JsonString(event.text)) + ", \"effects\": [";
    for (size_t i = 0; i < event.effects.size(); ++i)
        text += (i == 0 ? "" : ", ") + EffectJson(event.effects[i]);
    m_out.Write(text + "]}");
}

void JsonWriter::Finish(const StoryEnd& end, const InputReport& input)
{
    std::string text = m_first ? "],\n" : "\n ],\n";
    text += " \"end\": {";
    if (end.anyRecord)
        text += Field("first", Time(end.first)) + ", " + Field("last", Time(end.last)) + ", ";
    else
        text += Field("first", "null") + ", " + Field("last", "null") + ", ";
    text += Field("serviceStopped", end.stopped ? "true" : "false") + ", " +
            Field("stoppedAt", end.stopped ? Time(end.stoppedAt) : "null") + ", " + LaneStates(end) +
            ", \"stored\": {" + Field("wifi", end.stored[0].empty() ? "null" : JsonString(end.stored[0])) + ", " +
            Field("wwan", end.stored[1].empty() ? "null" : JsonString(end.stored[1])) + "}},\n";
    text += " \"input\": {" + Field("serviceLog", input.serviceLog ? "true" : "false") + ", " +
            Field("folder", input.folder.empty() ? "null" : JsonString(input.folder)) + ", \"looked\": [";
    for (size_t i = 0; i < input.looked.size(); ++i)
        text += (i == 0 ? "" : ", ") + JsonString(input.looked[i]);
    text += "], \"files\": [";
    uint64_t lines = 0, records = 0, foreign = 0;
    for (size_t i = 0; i < input.files.size(); ++i) {
        const FileReport& file = input.files[i];
        lines += file.lines;
        records += file.records;
        foreign += file.foreignLines;
        text += std::string(i == 0 ? "\n  " : ",\n  ") + "{" + Field("path", JsonString(file.path)) + ", " +
                Field("opened", file.opened ? "true" : "false") + ", " +
                Field("lines", Number(static_cast<int64_t>(file.lines))) + ", " +
                Field("records", Number(static_cast<int64_t>(file.records))) + ", " +
                Field("foreignLines", Number(static_cast<int64_t>(file.foreignLines))) + ", " +
                Field("firstForeignLine",
                      file.foreignLines > 0 ? Number(static_cast<int64_t>(file.firstForeignLine)) : "null") +
                ", " + Field("overlongLines", Number(static_cast<int64_t>(file.overlongLines))) + ", " +
                Field("truncatedLastLine", file.truncatedLastLine ? "true" : "false") + ", " +
                Field("readError", file.readError ? "true" : "false") + "}";
    }
    text += std::string(input.files.empty() ? "" : "\n ") + "], " +
            Field("lines", Number(static_cast<int64_t>(lines))) + ", " +
            Field("records", Number(static_cast<int64_t>(records))) + ", " +
            Field("foreignLines", Number(static_cast<int64_t>(foreign))) + ", " +
            Field("events", Number(static_cast<int64_t>(end.events))) + ", " +
            Field("ownEchoes", Number(static_cast<int64_t>(end.ownEchoes))) + ", " +
            Field("repeatedNotifications", Number(static_cast<int64_t>(end.repeatedNotifications))) + "}}\n";
    m_out.Write(text);
    m_out.Flush();
}

}  // namespace diag
