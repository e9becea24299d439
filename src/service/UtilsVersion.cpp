// Utils: file versions from version resources.
#include "service/Utils.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "platform/Format.h"

#include <vector>

using namespace QX::Shared;

namespace Utils {
namespace {

constexpr DWORD kFixedFileInfoSignature = 0xFEEF04BD;

// Reads the fixed file version of `path` into `version`, logging each
// failure under the calling operation's name; false leaves `version` as it
// was.
bool ReadFileVersion(const FunctionLog& log, const wchar_t* path, VersionRecord& version)
{
    DWORD handle = 0;
    const DWORD size = GetFileVersionInfoSizeW(path, &handle);
    if (size == 0) {
        log.Log(LevelError, L"GetFileVersionInfoSize Return Value  = %d Error Code =%d", size, GetLastError());
        return false;
    }
    std::vector<BYTE> block;
    try {
        block.resize(size);
    } catch (...) {
        log.Log(LevelError, L"Version String Allocation failed");
        return false;
    }
    if (!GetFileVersionInfoW(path, 0, size, block.data())) {
        log.Log(LevelError, L"GetFileVersionInfo failed with error %d", GetLastError());
        return false;
    }
    VS_FIXEDFILEINFO* info = nullptr;
    UINT infoSize = 0;
    if (!VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &infoSize)) {
        log.Log(LevelError, L"VerQueryValue failed with error %d", GetLastError());
        return false;
    }
    log.Log(LevelVerbose, L"VerQueryValue returned size = %d", infoSize);
    if (info == nullptr) {
        log.Log(LevelError, L"VS_FIXEDFILEINFO buffer is NULL");
        return false;
    }
    if (info->dwSignature != kFixedFileInfoSignature) {
        log.Log(LevelError, L"Signature not correct");
        return false;
    }
    version.parts[0] = HIWORD(info->dwFileVersionMS);
    version.parts[1] = LOWORD(info->dwFileVersionMS);
    version.parts[2] = HIWORD(info->dwFileVersionLS);
    version.parts[3] = LOWORD(info->dwFileVersionLS);
    version.found = true;
    return true;
}

}  // namespace

std::wstring GetBinaryVersion()
{
    OperationLog op("Utils::GetBinaryVersion");
    VersionRecord version;
    wchar_t path[MAX_PATH] = {};
    if (os::api().GetModuleFileNameW(nullptr, path, MAX_PATH) != 0)
        ReadFileVersion(op, path, version);
    const std::wstring text =
        os::FormatString(L"%u.%u.%u.%u", version.parts[0], version.parts[1], version.parts[2], version.parts[3]);
    op.Exit(L"%s", text.c_str());
    return text;
}

void GetVersionValue(VersionRecord& version, const std::wstring& executablePath)
{
    OperationLog op("Utils::GetVersionValue", L"Executable Complete Path = %s", executablePath.c_str());
    ReadFileVersion(op, executablePath.c_str(), version);
    op.Exit(L"%u.%u.%u.%u", version.parts[0], version.parts[1], version.parts[2], version.parts[3]);
}

}  // namespace Utils
