// The logging policy: which listeners the process logger has and their
// level ranges, read once when the logger is created.
//
//   "LoggingType"   text with the keywords EVENT, FILE, CONSOLE, DEBUG
//   "MinLogLevel"   level name (REG_SZ), default TraceIn
//   "MaxLogLevel"   level name (REG_SZ), default Error
// ("MaxLogSize" and "QueuedWrites" belong to the file listener.)
#pragma once

#include "logging/Logger.h"
#include "logging/PolicyKeys.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace QX::Shared {

// Level values are REG_SZ of at most 127 characters.
inline constexpr size_t kLevelNameLimit = 127;

// "LoggingType" is read into 128 bytes: 63 characters and a terminator.
inline constexpr uint32_t kLoggingTypeBytes = 128;
inline constexpr size_t kLoggingTypeMaxLength = kLoggingTypeBytes / sizeof(wchar_t) - 1;

// The keywords searched for in the upper-cased "LoggingType", and the
// listener each one adds.
struct LoggingTypeKeyword {
    const wchar_t* keyword;
    int32_t type;
};
inline constexpr LoggingTypeKeyword kLoggingTypeKeywords[] = {
    {L"EVENT", CqxLogListener::TypeEvent},
    {L"FILE", CqxLogListener::TypeFileDirect},
    {L"CONSOLE", CqxLogListener::TypeConsole},
    {L"DEBUG", CqxLogListener::TypeDebug},
};

// The listener bits of a "LoggingType" text: every keyword it holds, in any
// letter case; 0 when it holds none (the defaults then stand).
int32_t TypesFromLoggingTypeText(const std::wstring& text);

// The level of a name, ignoring letter case; null, empty or unknown: Never.
int32_t LevelFromName(const wchar_t* name);

// Sets the listener's minimum level from minLevelValueName (null or empty:
// "MinLogLevel") and its maximum level from "MaxLogLevel", where present.
void ReadLevels(CqxLogListener& listener, const PolicyKeys& keys, const wchar_t* minLevelValueName);

// The new logger, or null. The process calls it with (TraceIn, queued file).
std::unique_ptr<CqxLogger> CreateLogger(int32_t defaultMinLevel, int32_t defaultTypes);

}  // namespace QX::Shared
