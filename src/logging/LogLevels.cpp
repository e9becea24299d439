#include "logging/LogLevels.h"

namespace QX::Shared {

const wchar_t* LevelName(int32_t level)
{
    switch (level) {
    case LevelTraceIn: return L"TraceIn";
    case LevelTraceOut: return L"TraceOut";
    case LevelVerbose: return L"Verbose";
    case LevelInformation: return L"Information";
    case LevelWarning: return L"Warning";
    case LevelError: return L"Error";
    case LevelDiag: return L"Diag";
    case LevelNever: return L"Never";
    default: return nullptr;
    }
}

}  // namespace QX::Shared
