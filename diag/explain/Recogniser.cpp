#include "explain/Recogniser.h"

#include "explain/ServiceTexts.h"

#include <string_view>
#include <unordered_map>
#include <vector>

namespace diag {

namespace {

// The table's entries by function, built once: a line costs one lookup of
// its function, and only the few texts of that function are tried.
const std::unordered_map<std::string_view, std::vector<const ServiceText*>>& ByFunction()
{
    static const auto index = [] {
        std::unordered_map<std::string_view, std::vector<const ServiceText*>> made;
        for (const ServiceText* text = ServiceTextsBegin(); text != ServiceTextsEnd(); ++text)
            made[text->function].push_back(text);
        return made;
    }();
    return index;
}

}  // namespace

bool Recognise(const LogRecord& record, Recognised& recognised)
{
    const auto& index = ByFunction();
    const auto found = index.find(record.function);
    if (found == index.end())
        return false;
    for (const ServiceText* text : found->second) {
        if (text->level != kAnyLevel && text->level != record.level)
            continue;
        if (MatchPattern(text->format, record.message, recognised.captures)) {
            recognised.signal = text->signal;
            return true;
        }
    }
    return false;
}

}  // namespace diag
