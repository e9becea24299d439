// The console, debugger and event-log listeners.
#include "fakes/ConsoleCapture.h"
#include "fakes/FakeDebugOutput.h"
#include "fakes/FakeEventLog.h"
#include "fakes/LogFiles.h"
#include "fakes/LoggingPolicy.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "logging/LogConfiguration.h"
#include "logging/LogListenerConsole.h"
#include "logging/LogListenerDebug.h"
#include "logging/LogListenerEvent.h"
#include "logging/LogScope.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using fakes::FakeEventLog;
using fakes::LoggingPolicy;
using QX::Shared::CqxLogger;
using QX::Shared::CqxLogListener;
using QX::Shared::CreateLogger;
using QX::Shared::Log;
using Key = LoggingPolicy::Key;

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
    fakes::ConsoleCapture capture;
    console.Write(Record(3, L"Service Name = WlanSvc"));
    // One write, ending in "\r\n" (the stream's text mode adds a CR before its LF).
    EXPECT_EQ(capture.Writes(), (std::vector<std::wstring>{L"Utils::GetService : Service Name = WlanSvc\r\n"}));
}

TEST(ConsoleListener, EmptyMessagePrintsFunctionBlankColonBlank)
{
    QX::Shared::CqxLogListenerConsole console(0);
    fakes::ConsoleCapture capture;
    console.Write(Record(0, L""));
    EXPECT_EQ(capture.Writes(), (std::vector<std::wstring>{L"Utils::GetService : \r\n"}));
}

TEST(ConsoleListener, AFailedWriteLosesThatRecordOnlyAndIsNotRetried)
{
    QX::Shared::CqxLogListenerConsole console(0);
    fakes::ConsoleCapture capture;
    capture.FailWrites(1);
    console.Write(Record(4, L"first"));
    console.Write(Record(4, L"second"));
    EXPECT_EQ(capture.FailedWrites(), (std::vector<std::wstring>{L"Utils::GetService : first\r\n"}));
    EXPECT_EQ(capture.Writes(), (std::vector<std::wstring>{L"Utils::GetService : second\r\n"}));
}

TEST(ConsoleListener, AConsoleThatFailsTakesNothingFromTheListenersAfterIt)
{
    fakes::ConsoleCapture capture;
    capture.FailWrites(1);
    auto recorder = std::make_unique<fakes::RecordingListener>(0, 5);
    fakes::RecordingListener* recorded = recorder.get();
    CqxLogger::Listeners listeners;
    listeners.push_back(std::make_unique<QX::Shared::CqxLogListenerConsole>(0));
    listeners.push_back(std::move(recorder));
    const std::unique_ptr<CqxLogger> logger = CqxLogger::Assemble(std::move(listeners));
    Log(logger.get(), QX::Shared::LevelError, "Utils::GetService", L"OpenService failed w/err 0x%08lx", 5ul);
    EXPECT_EQ(capture.FailedWrites(),
              (std::vector<std::wstring>{L"Utils::GetService : OpenService failed w/err 0x00000005\r\n"}));
    EXPECT_TRUE(capture.Writes().empty());
    EXPECT_EQ(recorded->Lines(),
              (std::vector<std::wstring>{L"Error|Utils::GetService|OpenService failed w/err 0x00000005"}));
}

TEST(DebugListener, SendsFunctionAndMessageToTheDebugger)
{
    fakes::FakeDebugOutput debugger;
    QX::Shared::CqxLogListenerDebug debug(0);
    EXPECT_EQ(debug.GetType(), 2);
    debug.Write(Record(4, L"CheckWlanStatus failed"));
    debug.Write(Record(0, L""));
    EXPECT_EQ(debugger.texts, (std::vector<std::wstring>{L"Utils::GetService : CheckWlanStatus failed\r\n",
                                                         L"Utils::GetService : \r\n"}));
}

TEST(EventListener, RegistersTheExecutableNameAsSourceAndDeregistersIt)
{
    FakeEventLog eventLog;
    {
        QX::Shared::CqxLogListenerEvent events(0);
        EXPECT_EQ(events.GetType(), 1);
        ASSERT_EQ(eventLog.registrations.size(), 1u);
        EXPECT_FALSE(eventLog.registrations[0].server);
        EXPECT_EQ(eventLog.registrations[0].name, L"logging_tests");
        ASSERT_NE(eventLog.registrations[0].handle, nullptr);
        EXPECT_TRUE(eventLog.deregistered.empty());
    }
    EXPECT_EQ(eventLog.deregistered, (std::vector<HANDLE>{eventLog.registrations[0].handle}));
    EXPECT_EQ(eventLog.openSources, 0);
}

TEST(EventListener, EventTypeAndIdentifierFollowTheLevel)
{
    FakeEventLog eventLog;
    QX::Shared::CqxLogListenerEvent events(0);
    for (int32_t level = 0; level <= 5; ++level)
        events.Write(Record(level, L"m"));
    const WORD expectedTypes[] = {EVENTLOG_INFORMATION_TYPE, EVENTLOG_INFORMATION_TYPE, EVENTLOG_INFORMATION_TYPE,
                                  EVENTLOG_INFORMATION_TYPE, EVENTLOG_WARNING_TYPE,     EVENTLOG_ERROR_TYPE};
    ASSERT_EQ(eventLog.reports.size(), 6u);
    for (size_t level = 0; level <= 5; ++level) {
        const FakeEventLog::Report& report = eventLog.reports[level];
        EXPECT_EQ(report.handle, eventLog.registrations.at(0).handle);
        EXPECT_EQ(report.source, L"logging_tests");
        EXPECT_EQ(report.type, expectedTypes[level]) << level;
        EXPECT_EQ(report.category, 0);
        EXPECT_EQ(report.id, level);
        EXPECT_FALSE(report.rawData);
        EXPECT_EQ(report.strings, (std::vector<std::wstring>{Record(static_cast<int32_t>(level), L"m").GetLine()}));
    }
}

TEST(EventListener, NeverAboveErrorNorBelowItsMinimum)
{
    FakeEventLog eventLog;
    QX::Shared::CqxLogListenerEvent events(2);
    events.SetMaxLevel(99);
    events.Write(Record(6, L"Elapsed time =    12.5 ms."));
    events.Write(Record(7, L"m"));
    events.Write(Record(1, L"m"));
    EXPECT_TRUE(eventLog.reports.empty());
    EXPECT_EQ(eventLog.failedReports, 0);  // none was even tried
}

TEST(EventListener, NullSourceIsKeptAndReportsFailSilently)
{
    FakeEventLog eventLog;
    eventLog.Fail(FakeEventLog::Failure::RegisterEventSource, ERROR_ACCESS_DENIED);
    {
        auto listener = std::make_unique<QX::Shared::CqxLogListenerEvent>(0);
        QX::Shared::CqxLogListenerEvent& events = *listener;
        ASSERT_EQ(eventLog.registrations.size(), 1u);
        EXPECT_EQ(eventLog.registrations[0].handle, nullptr);
        // The event log works again; the listener keeps its null source.
        eventLog.Fail(FakeEventLog::Failure::None, 0);

        EXPECT_NO_THROW(events.Write(Record(5, L"first")));
        EXPECT_NO_THROW(events.Write(Record(3, L"second")));
        EXPECT_TRUE(eventLog.reports.empty());
        EXPECT_EQ(eventLog.failedReports, 2);  // every record is still reported, and fails
        EXPECT_EQ(eventLog.registrations.size(), 1u);

        // In a logger, the records go on to the listeners after it.
        auto recorder = std::make_unique<fakes::RecordingListener>();
        fakes::RecordingListener& recorded = *recorder;
        CqxLogger::Listeners listeners;
        listeners.push_back(std::move(listener));
        listeners.push_back(std::move(recorder));
        auto logger = CqxLogger::Assemble(std::move(listeners));
        Log(logger.get(), 4, "Utils::GetService", L"third");
        Log(logger.get(), 5, "Utils::GetService", L"fourth");
        EXPECT_EQ(recorded.Lines(),
                  (std::vector<std::wstring>{L"Warning|Utils::GetService|third", L"Error|Utils::GetService|fourth"}));
        EXPECT_TRUE(eventLog.reports.empty());
        EXPECT_EQ(eventLog.failedReports, 4);
    }
    EXPECT_TRUE(eventLog.deregistered.empty());  // a null source is not deregistered
}

TEST(EventListener, AFailedReportIsDroppedSilentlyAndTheNextIsMade)
{
    FakeEventLog eventLog;
    {
        QX::Shared::CqxLogListenerEvent events(0);
        ASSERT_EQ(eventLog.registrations.size(), 1u);
        eventLog.Fail(FakeEventLog::Failure::ReportEvent, ERROR_LOG_FILE_FULL);
        EXPECT_NO_THROW(events.Write(Record(5, L"lost")));
        EXPECT_TRUE(eventLog.reports.empty());
        EXPECT_EQ(eventLog.failedReports, 1);

        eventLog.Fail(FakeEventLog::Failure::None, 0);
        events.Write(Record(4, L"kept"));
        ASSERT_EQ(eventLog.reports.size(), 1u);
        EXPECT_EQ(eventLog.reports[0].handle, eventLog.registrations[0].handle);
        EXPECT_EQ(eventLog.reports[0].strings, (std::vector<std::wstring>{Record(4, L"kept").GetLine()}));
    }
    EXPECT_EQ(eventLog.deregistered, (std::vector<HANDLE>{eventLog.registrations[0].handle}));
}

TEST(EventListener, ConfiguredByEventKeyword)
{
    LoggingPolicy policy;
    policy.SetText(Key::Product, L"LoggingType", L"event");
    FakeEventLog eventLog;
    auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
    Log(logger.get(), 0, "CMainService::OnStart", L"");
    Log(logger.get(), 4, "ServiceUtils::SwitchWlanStatus", L"SwitchWlanStatus not Succeeded. Retrying to %d", 2);
    Log(logger.get(), 5, "Utils::InitializeSecurity", L"CoInitializeSecurity failed. Error: 0x%08X", 0x80010119u);
    const std::vector<FakeEventLog::Report>& reports = eventLog.reports;
    ASSERT_EQ(reports.size(), 3u);
    EXPECT_EQ(reports[0].type, EVENTLOG_INFORMATION_TYPE);
    EXPECT_EQ(reports[0].id, 0u);
    EXPECT_EQ(reports[0].strings[0].substr(33), L"TraceIn    |CMainService::OnStart|");
    EXPECT_EQ(reports[1].type, EVENTLOG_WARNING_TYPE);
    EXPECT_EQ(reports[1].id, 4u);
    EXPECT_EQ(reports[1].strings[0].substr(33),
              L"Warning    |ServiceUtils::SwitchWlanStatus|SwitchWlanStatus not Succeeded. Retrying to 2");
    EXPECT_EQ(reports[2].type, EVENTLOG_ERROR_TYPE);
    EXPECT_EQ(reports[2].id, 5u);
    EXPECT_EQ(reports[2].strings[0].substr(33),
              L"Error      |Utils::InitializeSecurity|CoInitializeSecurity failed. Error: 0x80010119");
}

// Removes the log files of this executable, which a FILE listener makes, when
// the test ends.
struct OwnLogFilesRemoved {
    ~OwnLogFilesRemoved() { fakes::DeleteLogFiles(L"logging_tests"); }
};

TEST(Listeners, WithMaxLevelDiagConsoleAndDebuggerShowElapsedTimeButTheEventLogDoesNot)
{
    const OwnLogFilesRemoved removed;
    LoggingPolicy policy;
    policy.SetText(Key::Product, L"LoggingType", L"EVENT CONSOLE DEBUG FILE");
    policy.SetText(Key::Product, L"MaxLogLevel", L"Diag");
    FakeEventLog eventLog;
    fakes::FakeDebugOutput debugger;
    fakes::VirtualClock clock;
    std::vector<std::wstring> console;
    {
        fakes::ConsoleCapture capture;
        auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
        ASSERT_TRUE(logger->TimingEnabled());
        {
            QX::Shared::CqxLogScope scope(logger.get(), "Utils::GetService");
            clock.AdvanceTicks(125000);
        }
        console = capture.Writes();
    }
    EXPECT_EQ(console, (std::vector<std::wstring>{L"Utils::GetService : Elapsed time =    12.5 ms.\r\n"}));
    EXPECT_EQ(debugger.texts, (std::vector<std::wstring>{L"Utils::GetService : Elapsed time =    12.5 ms.\r\n"}));
    EXPECT_TRUE(eventLog.reports.empty());
    EXPECT_EQ(eventLog.failedReports, 0);
}

}  // namespace
