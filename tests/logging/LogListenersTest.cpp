// The console, debugger and event-log listeners.
#include "fakes/LogFiles.h"
#include "fakes/LoggingPolicy.h"
#include "fakes/VirtualClock.h"
#include "logging/LogConfiguration.h"
#include "logging/LogListenerConsole.h"
#include "logging/LogListenerDebug.h"
#include "logging/LogListenerEvent.h"
#include "logging/LogScope.h"
#include "platform/Api.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

using fakes::LoggingPolicy;
using QX::Shared::CqxLogListener;
using QX::Shared::CreateLogger;
using QX::Shared::Log;
using Key = LoggingPolicy::Key;

// Records what reaches the debugger and the event log.
struct PlatformOutputs {
    struct Report {
        HANDLE source;
        WORD type;
        WORD category;
        DWORD id;
        std::vector<std::wstring> strings;
        bool rawData;
    };
    static PlatformOutputs* current;

    PlatformOutputs()
    {
        current = this;
        seam->OutputDebugStringW = [](LPCWSTR text) { current->debugOutput.push_back(text); };
        seam->RegisterEventSourceW = [](LPCWSTR server, LPCWSTR name) -> HANDLE {
            current->registeredServer = server != nullptr;
            current->sourceName = name;
            return current->sourceHandle;
        };
        seam->ReportEventW = [](HANDLE source, WORD type, WORD category, DWORD id, PSID, WORD count, DWORD size,
                                LPCWSTR* strings, LPVOID) -> BOOL {
            Report report{source, type, category, id, {}, size != 0};
            for (WORD i = 0; i < count; ++i)
                report.strings.push_back(strings[i]);
            current->reports.push_back(report);
            return TRUE;
        };
        seam->DeregisterEventSource = [](HANDLE source) -> BOOL {
            current->deregistered.push_back(source);
            return TRUE;
        };
    }
    ~PlatformOutputs() { current = nullptr; }

    os::ScopedApiOverride seam;
    HANDLE sourceHandle = reinterpret_cast<HANDLE>(0x5150);
    bool registeredServer = false;
    std::wstring sourceName;
    std::vector<std::wstring> debugOutput;
    std::vector<Report> reports;
    std::vector<HANDLE> deregistered;
};
PlatformOutputs* PlatformOutputs::current = nullptr;

// Captures what the process writes to its standard output.
class StandardOutputCapture {
public:
    StandardOutputCapture() : path_(fakes::LogPath(L"stdout_capture.tmp"))
    {
        fflush(stdout);
        saved_ = _dup(1);
        const int file = _wopen(path_.c_str(), _O_CREAT | _O_TRUNC | _O_WRONLY | _O_TEXT, 0600);
        _dup2(file, 1);  // text mode, as standard output is
        _close(file);
    }
    ~StandardOutputCapture()
    {
        Restore();
        DeleteFileW(path_.c_str());
    }
    std::string Text()
    {
        Restore();
        return fakes::ReadBytes(path_);
    }

private:
    void Restore()
    {
        if (saved_ < 0)
            return;
        fflush(stdout);
        _dup2(saved_, 1);
        _close(saved_);
        saved_ = -1;
    }
    std::wstring path_;
    int saved_ = -1;
};

QX::Shared::CqxLogListener::LogData Record(int32_t level, const wchar_t* message)
{
    SYSTEMTIME time{};
    time.wYear = 2026;
    time.wMonth = 11;
    time.wDay = 22;
    return CqxLogListener::LogData("Utils::GetService", message, level, time, 0x10);
}

TEST(ConsoleListener, PrintsFunctionAndMessage)
{
    QX::Shared::CqxLogListenerConsole console(0);
    EXPECT_EQ(console.GetType(), 16);
    StandardOutputCapture capture;
    console.Write(Record(3, L"Service Name = WlanSvc"));
    // The stream's text mode turns the format's "\n" into "\r\n" as well.
    EXPECT_EQ(capture.Text(), "Utils::GetService : Service Name = WlanSvc\r\r\n");
}

TEST(ConsoleListener, EmptyMessagePrintsFunctionBlankColonBlank)
{
    QX::Shared::CqxLogListenerConsole console(0);
    StandardOutputCapture capture;
    console.Write(Record(0, L""));
    EXPECT_EQ(capture.Text(), "Utils::GetService : \r\r\n");
}

TEST(DebugListener, SendsFunctionAndMessageToTheDebugger)
{
    PlatformOutputs outputs;
    QX::Shared::CqxLogListenerDebug debug(0);
    EXPECT_EQ(debug.GetType(), 2);
    debug.Write(Record(4, L"CheckWlanStatus failed"));
    debug.Write(Record(0, L""));
    EXPECT_EQ(outputs.debugOutput,
              (std::vector<std::wstring>{L"Utils::GetService : CheckWlanStatus failed\r\n", L"Utils::GetService : \r\n"}));
}

TEST(EventListener, RegistersTheExecutableNameAsSourceAndDeregistersIt)
{
    PlatformOutputs outputs;
    {
        QX::Shared::CqxLogListenerEvent events(0);
        EXPECT_EQ(events.GetType(), 1);
        EXPECT_FALSE(outputs.registeredServer);
        EXPECT_EQ(outputs.sourceName, L"logging_tests");
    }
    EXPECT_EQ(outputs.deregistered, (std::vector<HANDLE>{outputs.sourceHandle}));
}

TEST(EventListener, EventTypeAndIdentifierFollowTheLevel)
{
    PlatformOutputs outputs;
    QX::Shared::CqxLogListenerEvent events(0);
    for (int32_t level = 0; level <= 5; ++level)
        events.Write(Record(level, L"m"));
    const WORD expectedTypes[] = {EVENTLOG_INFORMATION_TYPE, EVENTLOG_INFORMATION_TYPE, EVENTLOG_INFORMATION_TYPE,
                                  EVENTLOG_INFORMATION_TYPE, EVENTLOG_WARNING_TYPE,     EVENTLOG_ERROR_TYPE};
    ASSERT_EQ(outputs.reports.size(), 6u);
    for (size_t level = 0; level <= 5; ++level) {
        const auto& report = outputs.reports[level];
        EXPECT_EQ(report.source, outputs.sourceHandle);
        EXPECT_EQ(report.type, expectedTypes[level]) << level;
        EXPECT_EQ(report.category, 0);
        EXPECT_EQ(report.id, level);
        EXPECT_FALSE(report.rawData);
        ASSERT_EQ(report.strings.size(), 1u);
        EXPECT_EQ(report.strings[0], Record(static_cast<int32_t>(level), L"m").GetLine());
    }
}

TEST(EventListener, NeverAboveErrorNorBelowItsMinimum)
{
    PlatformOutputs outputs;
    QX::Shared::CqxLogListenerEvent events(2);
    events.SetMaxLevel(99);
    events.Write(Record(6, L"Elapsed time =    12.5 ms."));
    events.Write(Record(7, L"m"));
    events.Write(Record(1, L"m"));
    EXPECT_TRUE(outputs.reports.empty());
}

TEST(EventListener, NullSourceIsKeptAndReportsFailSilently)
{
    PlatformOutputs outputs;
    outputs.sourceHandle = nullptr;
    QX::Shared::CqxLogListenerEvent events(0);
    events.Write(Record(5, L"m"));
    ASSERT_EQ(outputs.reports.size(), 1u);
    EXPECT_EQ(outputs.reports[0].source, nullptr);
}

TEST(EventListener, ConfiguredByEventKeyword)
{
    LoggingPolicy policy;
    policy.SetText(Key::Product, L"LoggingType", L"event");
    PlatformOutputs outputs;
    auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
    Log(logger.get(), 0, "CMainService::OnStart", L"");
    Log(logger.get(), 4, "ServiceUtils::SwitchWlanStatus", L"SwitchWlanStatus not Succeeded. Retrying to %d", 2);
    Log(logger.get(), 5, "Utils::InitializeSecurity", L"CoInitializeSecurity failed. Error: 0x%08X", 0x80010119u);
    ASSERT_EQ(outputs.reports.size(), 3u);
    EXPECT_EQ(outputs.reports[0].type, EVENTLOG_INFORMATION_TYPE);
    EXPECT_EQ(outputs.reports[0].id, 0u);
    EXPECT_EQ(outputs.reports[0].strings[0].substr(33), L"TraceIn    |CMainService::OnStart|");
    EXPECT_EQ(outputs.reports[1].type, EVENTLOG_WARNING_TYPE);
    EXPECT_EQ(outputs.reports[1].id, 4u);
    EXPECT_EQ(outputs.reports[1].strings[0].substr(33),
              L"Warning    |ServiceUtils::SwitchWlanStatus|SwitchWlanStatus not Succeeded. Retrying to 2");
    EXPECT_EQ(outputs.reports[2].type, EVENTLOG_ERROR_TYPE);
    EXPECT_EQ(outputs.reports[2].id, 5u);
    EXPECT_EQ(outputs.reports[2].strings[0].substr(33),
              L"Error      |Utils::InitializeSecurity|CoInitializeSecurity failed. Error: 0x80010119");
}

TEST(Listeners, WithMaxLevelDiagConsoleAndDebuggerShowElapsedTimeButTheEventLogDoesNot)
{
    LoggingPolicy policy;
    policy.SetText(Key::Product, L"LoggingType", L"EVENT CONSOLE DEBUG FILE");
    policy.SetText(Key::Product, L"MaxLogLevel", L"Diag");
    PlatformOutputs outputs;
    fakes::VirtualClock clock;
    std::string console;
    {
        auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
        ASSERT_TRUE(logger->TimingEnabled());
        StandardOutputCapture capture;
        {
            QX::Shared::CqxLogScope scope(logger.get(), "Utils::GetService");
            clock.AdvanceTicks(125000);
        }
        console = capture.Text();
    }
    fakes::DeleteLogFiles(L"logging_tests");
    EXPECT_EQ(console, "Utils::GetService : Elapsed time =    12.5 ms.\r\r\n");
    EXPECT_EQ(outputs.debugOutput, (std::vector<std::wstring>{L"Utils::GetService : Elapsed time =    12.5 ms.\r\n"}));
    EXPECT_TRUE(outputs.reports.empty());
}

} // namespace
