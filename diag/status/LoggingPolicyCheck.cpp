// The logging policy as a program of the product reads it (the logging
// library's own keys, readers and parsers), and the values it reads
// otherwise than an administrator would expect: a level name it does not
// know, a "LoggingType" without any keyword, a "MaxLogSize" whose bytes do
// not fit the 32-bit rotation check.
#include "status/Readings.h"

#include "logging/LogConfiguration.h"
#include "logging/LogFile.h"
#include "logging/LogLevels.h"
#include "logging/PolicyKeys.h"
#include "platform/Format.h"

#include <cwchar>

using namespace QX::Shared;

namespace diag {
namespace {

bool IsUnknownLevel(const std::wstring& name)
{
    // Only "Never" itself is Never by name; any other Never is a name the
    // table does not have.
    return LevelFromName(name.c_str()) == LevelNever && _wcsicmp(name.c_str(), LevelName(LevelNever)) != 0;
}

std::wstring KeywordList()
{
    std::wstring list;
    for (const LoggingTypeKeyword& keyword : kLoggingTypeKeywords)
        list += (list.empty() ? L"" : L", ") + std::wstring(keyword.keyword);
    return list;
}

std::wstring SizeProblem(DWORD kilobytes)
{
    if (static_cast<int32_t>(kilobytes) <= 0)
        return os::FormatString(L"%u KB is a negative limit to the service, which then never rotates the file by size",
                                kilobytes);
    const uint32_t bytes = RotationLimitBytes(static_cast<int32_t>(kilobytes));
    return os::FormatString(L"%u KB x 1024 does not fit in 32 bits: the rotation check compares the file with %u "
                            L"bytes%s (the largest size that fits is %u KB)",
                            kilobytes, bytes, bytes == 0 ? L", so every non-empty file is rotated at each check" : L"",
                            kLargestMaxLogSize);
}

}  // namespace

std::vector<LoggingFinding> CheckLoggingPolicy(const std::wstring& moduleName)
{
    std::vector<LoggingFinding> findings;
    PolicyKeys keys;
    OpenPolicyKeysFor(nullptr, moduleName, keys);
    if (!keys.product)
        return findings;
    // The module key alone tells where a value the program reads comes from.
    PolicyKeys moduleOnly;
    OpenPolicyKeysFor(nullptr, moduleName, moduleOnly);
    moduleOnly.product.reset();
    const std::wstring productPath = L"HKLM\\" + ProductKeyPath(nullptr);
    const std::wstring modulePath = productPath + L"\\" + moduleName;
    const auto where = [&](bool inModule) { return inModule ? modulePath : productPath; };

    for (const wchar_t* name : {kMinLogLevelValue, kMaxLogLevelValue}) {
        std::wstring text;
        if (!ReadPolicyText(keys, name, kLevelNameLimit, text) || !IsUnknownLevel(text))
            continue;
        std::wstring unused;
        const bool minimum = std::wcscmp(name, kMinLogLevelValue) == 0;
        findings.push_back({name, where(ReadPolicyText(moduleOnly, name, kLevelNameLimit, unused)), text,
                            minimum ? L"not a level name: read as Never, so no listener logs anything"
                                    : L"not a level name: read as Never, so every level from the minimum up is "
                                      L"logged, the timing records (Diag) included"});
    }

    wchar_t type[kLoggingTypeBytes / sizeof(wchar_t) + 1] = {};
    if (ReadPolicyBytes(keys, kLoggingTypeValue, type, kLoggingTypeBytes) && type[0] != L'\0' &&
        TypesFromLoggingTypeText(type) == 0) {
        wchar_t unused[kLoggingTypeBytes / sizeof(wchar_t) + 1] = {};
        findings.push_back({kLoggingTypeValue,
                            where(ReadPolicyBytes(moduleOnly, kLoggingTypeValue, unused, kLoggingTypeBytes)), type,
                            L"holds none of the keywords " + KeywordList() +
                                L": the default stands, a log file written through the background writer"});
    }

    DWORD kilobytes = 0;
    if (ReadPolicyNumber(keys, kMaxLogSizeValue, /*zeroIsAbsent=*/true, kilobytes) && kilobytes > kLargestMaxLogSize) {
        DWORD unused = 0;
        findings.push_back({kMaxLogSizeValue, where(ReadPolicyNumber(moduleOnly, kMaxLogSizeValue, true, unused)),
                            std::to_wstring(kilobytes), SizeProblem(kilobytes)});
    }
    return findings;
}

}  // namespace diag
