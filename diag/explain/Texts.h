// Text helpers of the explain verb: UTF-8 and UTF-16 conversions, numbers and
// times through the product's formatting helper (os::FormatString), and the
// durations of the story ("8 ms", "1.2 s", "3 min 4 s").
#pragma once

#include "explain/LogLine.h"

#include <string>
#include <string_view>

namespace diag {

std::string Utf8(std::wstring_view text);
std::wstring Wide(std::string_view utf8);

// os::FormatString's result, in UTF-8.
std::string Printf(const wchar_t* format, ...);

std::string ClockText(Millis time);  // 18:13:05.236
std::string DateText(Millis time);   // 2026/11/23, as the log writes dates
std::string IsoText(Millis time);    // 2026-11-23T18:13:05.236 (local time, no zone)
std::string DurationText(Millis duration);

}  // namespace diag
