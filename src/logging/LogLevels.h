// The log levels and their names, shared by the record format and the
// level values of the logging policy.
#pragma once

#include <cstdint>

namespace QX::Shared {

enum LogLevel : int32_t {
    LevelTraceIn = 0,      // first record of an operation
    LevelTraceOut = 1,     // last record of an operation, with its result
    LevelVerbose = 2,      // details and retry counters
    LevelInformation = 3,  // decisions and state
    LevelWarning = 4,      // failures that are retried or tolerated
    LevelError = 5,        // failed system calls, with their code
    LevelDiag = 6,         // elapsed-time records of timed scopes only
    LevelNever = 99,       // a configuration value only; no record carries it
};

// Every level that has a name, in the order of the table.
inline constexpr int32_t kNamedLevels[] = {LevelTraceIn, LevelTraceOut, LevelVerbose, LevelInformation,
                                           LevelWarning, LevelError,    LevelDiag,    LevelNever};

// The name of a level, or nullptr for a number outside the table.
const wchar_t* LevelName(int32_t level);

}  // namespace QX::Shared
