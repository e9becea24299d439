// Matches a log message against the printf format that wrote it, so that the
// recogniser's table holds the service's texts exactly as the source writes
// them ("Connection ID : %s", "Set WLAN state %d for PHY %d success").
//
// What each conversion matches: %d, %i, %ld: an optional minus and digits;
// %u, %lu: digits; %x, %X, %08X, %08lx...: hexadecimal digits; %s, %S, %ls,
// %ws: any text, as little as lets the rest of the format match. "%%" is a
// percent sign. Everything else must match character for character, blanks
// included.
#pragma once

#include <cstdint>
#include <string_view>

namespace diag {

struct PatternCaptures {
    static constexpr int kMax = 4;
    int64_t numbers[kMax] = {};
    std::string_view texts[kMax];
    int numberCount = 0;
    int textCount = 0;
};

// True when `message` is what `format` prints for some arguments; the
// captures are the arguments, numbers and texts each in their order.
bool MatchPattern(std::string_view format, std::string_view message, PatternCaptures& captures);

}  // namespace diag
