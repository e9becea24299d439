#include "logging/LogConfiguration.h"

#include "logging/LogListenerConsole.h"
#include "logging/LogListenerDebug.h"
#include "logging/LogListenerEvent.h"
#include "logging/LogListenerFile.h"

#include <cwchar>
#include <cwctype>

namespace QX::Shared {

namespace {

int32_t TypesFromLoggingType(const PolicyKeys& keys)
{
    wchar_t text[kLoggingTypeBytes / sizeof(wchar_t) + 1] = {};
    if (!ReadPolicyBytes(keys, kLoggingTypeValue, text, kLoggingTypeBytes))
        return 0;
    return TypesFromLoggingTypeText(text);
}

}  // namespace

int32_t TypesFromLoggingTypeText(const std::wstring& text)
{
    std::wstring upper = text;
    for (wchar_t& c : upper)
        c = static_cast<wchar_t>(towupper(c));

    int32_t types = 0;
    for (const LoggingTypeKeyword& keyword : kLoggingTypeKeywords) {
        if (upper.find(keyword.keyword) != std::wstring::npos)
            types |= keyword.type;
    }
    return types;
}

int32_t LevelFromName(const wchar_t* name)
{
    if (name == nullptr || name[0] == L'\0')
        return LevelNever;
    for (const int32_t level : kNamedLevels) {
        if (_wcsicmp(name, LevelName(level)) == 0)
            return level;
    }
    return LevelNever;
}

void ReadLevels(CqxLogListener& listener, const PolicyKeys& keys, const wchar_t* minLevelValueName)
{
    const wchar_t* minName =
        (minLevelValueName != nullptr && minLevelValueName[0] != L'\0') ? minLevelValueName : kMinLogLevelValue;
    std::wstring text;
    if (ReadPolicyText(keys, minName, kLevelNameLimit, text))
        listener.SetMinLevel(LevelFromName(text.c_str()));
    if (ReadPolicyText(keys, kMaxLogLevelValue, kLevelNameLimit, text))
        listener.SetMaxLevel(LevelFromName(text.c_str()));
}

std::unique_ptr<CqxLogger> CreateLogger(int32_t defaultMinLevel, int32_t defaultTypes)
{
    try {
        int32_t types = defaultTypes;
        if ((types & CqxLogListener::TypeFileQueued) && (types & CqxLogListener::TypeFileDirect))
            types &= ~CqxLogListener::TypeFileDirect;

        PolicyKeys keys;
        OpenPolicyKeys(nullptr, keys);
        if (const int32_t configured = TypesFromLoggingType(keys))
            types = configured;

        CqxLogger::Listeners listeners;
        if (types & CqxLogListener::TypeEvent)
            listeners.push_back(std::make_unique<CqxLogListenerEvent>(defaultMinLevel));
        if (types & CqxLogListener::TypeFileDirect)
            listeners.push_back(std::make_unique<CqxLogListenerFile>(/*queued=*/false, defaultMinLevel));
        if (types & CqxLogListener::TypeFileQueued)
            listeners.push_back(std::make_unique<CqxLogListenerFile>(/*queued=*/true, defaultMinLevel));
        if (types & CqxLogListener::TypeDebug)
            listeners.push_back(std::make_unique<CqxLogListenerDebug>(defaultMinLevel));
        if (types & CqxLogListener::TypeConsole)
            listeners.push_back(std::make_unique<CqxLogListenerConsole>(defaultMinLevel));

        return CqxLogger::Assemble(std::move(listeners));
    } catch (...) {
        return nullptr;  // out of memory: the next log call tries again
    }
}

}  // namespace QX::Shared
