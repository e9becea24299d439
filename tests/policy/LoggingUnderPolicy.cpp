#include "policy/LoggingUnderPolicy.h"

#include "fakes/LogFiles.h"
#include "logging/LoggerSlot.h"
#include "logging/PolicyKeys.h"
#include "platform/Format.h"
#include "platform/UniqueHandle.h"

#include <stdexcept>

namespace policy_tests {

namespace {

constexpr char kHeadLine[] = "2026/11/23 10:00:00.000|00000001|Information|Seed::Line|seed\r\n";

std::wstring LogStem() { return QX::Shared::ExecutableBaseName(); }

}  // namespace

LoggingUnderPolicy::LoggingUnderPolicy() { fakes::DeleteLogFiles(LogStem()); }

LoggingUnderPolicy::~LoggingUnderPolicy() { StopLoggingAndDeleteTheLog(); }

QX::Shared::CqxLogger& LoggingUnderPolicy::StartLogging()
{
    m_logger.reset();
    m_logger = QX::Shared::CreateProcessLogger();
    if (!m_logger)
        throw std::runtime_error("no logger was created");
    return *m_logger;
}

void LoggingUnderPolicy::StopLoggingAndDeleteTheLog()
{
    if (m_logger)
        m_logger->Flush();
    m_logger.reset();
    fakes::DeleteLogFiles(LogStem());
}

void LoggingUnderPolicy::LogOneRecordAtEachLevel()
{
    for (int32_t level = QX::Shared::LevelTraceIn; level <= QX::Shared::LevelDiag; ++level)
        QX::Shared::Log(m_logger.get(), level, "LoggingUnderPolicy::Level", L"%d", level);
    m_logger->Flush();
}

std::set<int32_t> LoggingUnderPolicy::LevelsInTheLog() const
{
    // Each record's message is its level, the last field of the line.
    std::set<int32_t> levels;
    for (const std::wstring& line : fakes::ReadLines(LogPath()))
        levels.insert(std::stoi(line.substr(line.rfind(L'|') + 1)));
    return levels;
}

std::vector<int32_t> LoggingUnderPolicy::ListenerTypes() const
{
    std::vector<int32_t> types;
    for (int32_t slot = 0; slot < m_logger->ListenerCount(); ++slot)
        types.push_back(m_logger->Listener(static_cast<size_t>(slot))->GetType());
    return types;
}

std::wstring LoggingUnderPolicy::LogPath() { return fakes::LogPath(LogStem() + L".log"); }

std::wstring LoggingUnderPolicy::OlderLogPath(int number)
{
    return fakes::LogPath(os::FormatString(L"%s_%04d.log", LogStem().c_str(), number));
}

void LoggingUnderPolicy::SeedTheLog(uint64_t size)
{
    fakes::WriteBytes(LogPath(), kHeadLine);
    const os::UniqueFileHandle file(
        CreateFileW(LogPath().c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(size);
    if (!file || !SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) || !SetEndOfFile(file.get()))
        throw std::runtime_error("cannot size the log file");
}

int64_t LoggingUnderPolicy::FileSize(const std::wstring& path)
{
    WIN32_FILE_ATTRIBUTE_DATA attributes;
    if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &attributes))
        return -1;
    return (static_cast<int64_t>(attributes.nFileSizeHigh) << 32) | attributes.nFileSizeLow;
}

}  // namespace policy_tests
