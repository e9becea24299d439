// The line parser: one line of the service's log split into its fields.
// A line is what the logging library's record formatting writes:
//   2026/03/05 14:07:09.046|00001F40|Verbose    |ServiceUtils::SwitchWlanStatus|LanWlanSwitch set ...
// (time, thread id in hexadecimal, level name padded to 11 columns, the
// function, the message; the message may itself hold bars). Texts stay the
// log's UTF-8 bytes: the record points into the line it was parsed from.
#pragma once

#include <cstdint>
#include <string_view>

namespace diag {

// Local time as the log writes it, in milliseconds since 1970/01/01 00:00.
using Millis = int64_t;

struct LogRecord {
    Millis time = 0;
    uint32_t thread = 0;
    int level = -1;  // 0 (TraceIn) to 6 (Diag); -1 for "Undefined"
    std::string_view function;
    std::string_view message;
};

// False for a line of another format (the record is then unspecified).
bool ParseLogLine(std::string_view line, LogRecord& record);

// The time of a calendar date and clock reading; false for a date or time
// that does not exist (month 13, 30 February, hour 24...).
bool ToMillis(int year, int month, int day, int hour, int minute, int second, int millisecond, Millis& time);

struct CivilTime {
    int year, month, day, hour, minute, second, millisecond;
};
CivilTime ToCivil(Millis time);

}  // namespace diag
