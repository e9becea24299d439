#include "explain/ReportTexts.h"

#include "explain/Texts.h"

namespace diag {

namespace {

std::string Plural(uint64_t count, const char* one, const char* many)
{
    return Printf(L"%I64u ", static_cast<unsigned long long>(count)) + (count == 1 ? one : many);
}

State LaneState(const StoryEnd& end, Lane lane) { return end.lanes[static_cast<int>(lane)]; }

}  // namespace

std::string SourcesSentence(const InputReport& input)
{
    std::string files;
    for (const FileReport& file : input.files)
        files += (files.empty() ? "" : ", ") + file.path;
    if (input.serviceLog)
        return "The service's own log, oldest file first: " + files;
    if (input.files.empty()) {
        std::string looked;
        for (const std::string& folder : input.looked)
            looked += (looked.empty() ? "" : ", ") + folder;
        return "No log of the service found (looked in " + looked + ")";
    }
    return "The files given, in their order: " + files;
}

std::vector<std::string> SkippedSentences(const InputReport& input)
{
    std::vector<std::string> sentences;
    for (const FileReport& file : input.files) {
        std::string text;
        if (!file.opened)
            text = "it could no longer be opened";
        if (file.foreignLines > 0)
            text += (text.empty() ? "" : "; ") + Plural(file.foreignLines, "line", "lines") +
                    " of another format skipped (the first is line " +
                    Printf(L"%I64u", static_cast<unsigned long long>(file.firstForeignLine)) + ")";
        if (file.overlongLines > 0)
            text +=
                (text.empty() ? "" : "; ") + Plural(file.overlongLines, "overlong line", "overlong lines") + " skipped";
        if (file.truncatedLastLine)
            text += (text.empty() ? "" : "; ") + std::string("its last line was cut short and not read");
        if (file.readError)
            text += (text.empty() ? "" : "; ") + std::string("a read error ended it early");
        if (!text.empty())
            sentences.push_back(file.path + ": " + text + ".");
    }
    return sentences;
}

std::string EndSentence(const StoryEnd& end)
{
    const State wire = LaneState(end, Lane::Wire);
    std::string text = end.stopped ? "the service had stopped at " + ClockText(end.stoppedAt) + "; before that: " : "";
    text += wire == State::On ? "a wire up" : wire == State::Off ? "no wire" : "the wire not known";
    text += std::string("; Wi-Fi ") + StateName(LaneState(end, Lane::Wifi)) + ", mobile broadband " +
            StateName(LaneState(end, Lane::Wwan)) + "; airplane mode " + StateName(LaneState(end, Lane::Airplane));
    const State sleep = LaneState(end, Lane::Sleep);
    text += sleep == State::On ? "; asleep" : sleep == State::Off ? "; awake" : "";
    return text;
}

std::string StoredSentence(const StoryEnd& end)
{
    const auto stored = [&](int radio) { return end.stored[radio].empty() ? "(none seen)" : end.stored[radio]; };
    return "Stored choices: Wi-Fi " + stored(0) + ", mobile broadband " + stored(1) + ".";
}

std::string CountsSentence(const StoryEnd& end, const InputReport& input)
{
    uint64_t lines = 0;
    for (const FileReport& file : input.files)
        lines += file.lines;
    std::string text = Plural(lines, "line", "lines") + " read from " + Plural(input.files.size(), "file", "files") +
                       ", " + Plural(end.events, "event", "events") + " told";
    if (end.ownEchoes > 0 || end.repeatedNotifications > 0)
        text += "; set aside: " + Plural(end.ownEchoes, "notification", "notifications") +
                " of the service's own switching and " +
                Plural(end.repeatedNotifications, "notification", "notifications") + " that changed nothing";
    return text + ".";
}

}  // namespace diag
