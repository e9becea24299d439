// The log call: filtering, message formatting, record contents, last error.
#include "fakes/LogFiles.h"
#include "fakes/RecordingListener.h"
#include "logging/Logger.h"
#include "platform/Format.h"
#include "platform/UniqueHandle.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace {

using fakes::LoggerWithRecorder;
using fakes::RecordingListener;
using QX::Shared::CqxLogger;
using QX::Shared::CqxLogListener;
using QX::Shared::Log;

// An argument that crashes the process if the format is ever printed.
const wchar_t* const kPoison = reinterpret_cast<const wchar_t*>(1);

TEST(LogCall, DefaultRangeFiltersLevels7AndMinus1)
{
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder);
    Log(logger.get(), 7, "F::G", L"%s", kPoison);
    Log(logger.get(), -1, "F::G", L"%s", kPoison);
    EXPECT_TRUE(recorder->Records().empty());
}

TEST(LogCall, UndefinedLevelShownWhenAListenerAdmitsIt)
{
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder, -1, 7);
    Log(logger.get(), 7, "F::G", L"seven");
    Log(logger.get(), -1, "F::G", L"minus one");
    const auto records = recorder->Records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].GetLine().substr(33, 12), L"Undefined  |");
    EXPECT_EQ(records[1].GetLine().substr(33, 12), L"Undefined  |");
}

TEST(LogCall, MessageLongerThan511IsCutTo511)
{
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder);
    const std::wstring text(600, L'x');
    Log(logger.get(), 3, "F::G", L"%s!", text.c_str());
    ASSERT_EQ(recorder->Records().size(), 1u);
    EXPECT_EQ(recorder->Records()[0].Message(), std::wstring(511, L'x'));
}

TEST(LogCall, MessageOfExactly511IsKept)
{
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder);
    const std::wstring text(510, L'x');
    Log(logger.get(), 3, "F::G", L"%s!", text.c_str());
    EXPECT_EQ(recorder->Records()[0].Message(), text + L"!");
}

TEST(LogCall, NullFormatGivesEmptyMessageAndLineEndsInBar)
{
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder);
    Log(logger.get(), 0, "CMainService::OnStart", nullptr);
    const auto records = recorder->Records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].Message(), L"");
    EXPECT_EQ(records[0].GetLine().substr(45), L"CMainService::OnStart|");
}

TEST(LogCall, EmptyFormatGivesEmptyMessageAndLineEndsInBar)
{
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder);
    Log(logger.get(), 0, "CMainService::OnStart", L"");
    const auto records = recorder->Records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].Message(), L"");
    EXPECT_EQ(records[0].GetLine().back(), L'|');
}

TEST(LogCall, ErrorLevelNamePaddedWithSixBlanks)
{
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder);
    Log(logger.get(), 5, "F::G", L"CoInitializeSecurity failed. Error: 0x%08X", 0x80010119u);
    EXPECT_EQ(recorder->Records()[0].GetLine().substr(33),
              L"Error      |F::G|CoInitializeSecurity failed. Error: 0x80010119");
}

TEST(LogCall, NoListenerReturnsAtFirstTest)
{
    auto logger = CqxLogger::Assemble({});
    SetLastError(1234);
    // Printing this format would read an invalid pointer: it is never printed.
    Log(logger.get(), 3, "F::G", L"%s", kPoison);
    Log(logger.get(), 5, "F::G", L"%s", kPoison);
    EXPECT_EQ(GetLastError(), 1234u);
}

TEST(LogCall, NullLoggerReturns)
{
    SetLastError(77);
    Log(nullptr, 3, "F::G", L"%s", kPoison);
    EXPECT_EQ(GetLastError(), 77u);
}

TEST(LogCall, LastErrorUnchanged)
{
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder);
    SetLastError(ERROR_SERVICE_DOES_NOT_EXIST);
    Log(logger.get(), 3, "F::G", L"value %d", 1);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SERVICE_DOES_NOT_EXIST));
}

class ErrorChangingListener : public RecordingListener {
public:
    void Write(const LogData& record) override
    {
        RecordingListener::Write(record);
        SetLastError(ERROR_ACCESS_DENIED);
    }
};

CqxLogger::Listeners One(std::unique_ptr<CqxLogListener> listener)
{
    CqxLogger::Listeners listeners;
    listeners.push_back(std::move(listener));
    return listeners;
}

TEST(LogCall, LastErrorRestoredWhenAListenerChangesIt)
{
    auto logger = CqxLogger::Assemble(One(std::make_unique<ErrorChangingListener>()));
    SetLastError(ERROR_FILE_NOT_FOUND);
    Log(logger.get(), 3, "F::G", L"x");
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

class ThrowingListener : public RecordingListener {
public:
    void Write(const LogData&) override
    {
        SetLastError(ERROR_OUTOFMEMORY);
        throw std::runtime_error("listener failed");
    }
};

TEST(LogCall, AFailingListenerNeitherThrowsNorChangesLastError)
{
    auto logger = CqxLogger::Assemble(One(std::make_unique<ThrowingListener>()));
    SetLastError(42);
    EXPECT_NO_THROW(Log(logger.get(), 3, "F::G", L"x"));
    EXPECT_EQ(GetLastError(), 42u);
}

// The time zone of the local-time test: 5 h 30 min east of UTC, without
// daylight saving. Wine takes a process's local time from the TZ of its Unix
// process, and ignores SetTimeZoneInformation and the time zone in its
// registry; so the test runs again in a Wine process that env(1) starts with
// TZ set, and reads that run's result.
constexpr wchar_t kTestZone[] = L"IST-5:30";
constexpr LONG kTestZoneBiasMinutes = -330;  // UTC = local time + bias
// Names the zone run's event ("_started") and mutex ("_ended").
constexpr wchar_t kZoneRunVariable[] = L"LOGGING_TESTS_ZONE_RUN";
constexpr DWORD kZoneRunBoundMilliseconds = 60000;
constexpr char kOneTestPassed[] = "[  PASSED  ] 1 test.";

std::wstring EnvironmentValue(const wchar_t* name)
{
    wchar_t value[MAX_PATH] = {};
    const DWORD length = GetEnvironmentVariableW(name, value, MAX_PATH);
    return length < MAX_PATH ? std::wstring(value, length) : std::wstring();
}

std::string Narrow(const std::wstring& text)
{
    std::string narrow;
    for (wchar_t c : text)
        narrow += (c >= 0x20 && c < 0x7F) ? static_cast<char>(c) : '?';
    return narrow;
}

bool InTestZone() { return EnvironmentValue(L"TZ") == kTestZone; }

// In the zone run: tells the first run that this one has started, and holds
// its mutex until this process ends (the mutex is then abandoned), so that
// the first run knows when the output is complete. Neither handle is closed.
void ReportZoneRunStarted()
{
    const std::wstring name = EnvironmentValue(kZoneRunVariable);
    if (name.empty())
        return;  // run in the zone by whoever started this executable
    const HANDLE ended = OpenMutexW(SYNCHRONIZE, FALSE, (name + L"_ended").c_str());
    const HANDLE started = OpenEventW(EVENT_MODIFY_STATE, FALSE, (name + L"_started").c_str());
    if (ended != nullptr && started != nullptr && WaitForSingleObject(ended, 0) == WAIT_OBJECT_0)
        SetEvent(started);
}

// Runs `test` of this executable in a Wine process of the test zone, with its
// output in a temporary file; passes when that run passed the one test.
::testing::AssertionResult PassesInTestZone(const char* test)
{
    const std::wstring loader = EnvironmentValue(L"WINELOADER");
    if (loader.empty())
        return ::testing::AssertionFailure() << "WINELOADER is not set: the test zone needs Wine";
    wchar_t self[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    wchar_t temporary[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temporary);
    const std::wstring name = os::FormatString(L"logging_tests_zone_%lu", GetCurrentProcessId());
    const std::wstring outputPath = temporary + name + L".txt";

    struct RemovedAtEnd {
        ~RemovedAtEnd() { DeleteFileW(path.c_str()); }
        std::wstring path;
    } removed{outputPath};
    const os::UniqueHandle started(CreateEventW(nullptr, TRUE, FALSE, (name + L"_started").c_str()));
    const os::UniqueHandle ended(CreateMutexW(nullptr, FALSE, (name + L"_ended").c_str()));
    SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
    os::UniqueFileHandle output(CreateFileW(outputPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                            &inheritable, CREATE_ALWAYS, 0, nullptr));
    if (!started || !ended || !output)
        return ::testing::AssertionFailure() << "cannot prepare the zone run: error " << GetLastError();

    std::wstring command = os::FormatString(L"Z:\\usr\\bin\\env TZ=%s %s=%s \"%s\" \"%s\" --gtest_filter=%S", kTestZone,
                                            kZoneRunVariable, name.c_str(), loader.c_str(), self, test);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = output.get();
    startup.hStdError = output.get();
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, &command[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process))
        return ::testing::AssertionFailure() << "cannot start " << Narrow(command) << ": error " << GetLastError();
    // Wine gives no handle of a Unix process: the run reports its start and
    // its end itself.
    const os::UniqueHandle processHandle(process.hProcess);
    const os::UniqueHandle threadHandle(process.hThread);
    output.reset();

    if (WaitForSingleObject(started.get(), kZoneRunBoundMilliseconds) != WAIT_OBJECT_0)
        return ::testing::AssertionFailure() << "the zone run did not start in time: " << Narrow(command) << "\n"
                                             << fakes::ReadBytes(outputPath);
    const DWORD end = WaitForSingleObject(ended.get(), kZoneRunBoundMilliseconds);
    if (end == WAIT_OBJECT_0 || end == WAIT_ABANDONED)
        ReleaseMutex(ended.get());
    const std::string text = fakes::ReadBytes(outputPath);
    if (end != WAIT_ABANDONED)
        return ::testing::AssertionFailure() << "the zone run did not end in time:\n" << text;
    if (text.find(kOneTestPassed) == std::string::npos)
        return ::testing::AssertionFailure() << "the run in the zone " << Narrow(kTestZone) << " failed:\n" << text;
    return ::testing::AssertionSuccess();
}

// 100-ns units since 1601 of a time read as UTC.
int64_t Ticks(const SYSTEMTIME& time)
{
    FILETIME file{};
    SystemTimeToFileTime(&time, &file);
    return static_cast<int64_t>((static_cast<uint64_t>(file.dwHighDateTime) << 32) | file.dwLowDateTime);
}

int64_t UtcTicksNow()
{
    SYSTEMTIME now;
    GetSystemTime(&now);
    return Ticks(now);
}

TEST(LogCall, RecordCarriesFunctionLevelThreadAndLocalTime)
{
    if (!InTestZone()) {
        EXPECT_TRUE(PassesInTestZone("LogCall.RecordCarriesFunctionLevelThreadAndLocalTime"));
        return;
    }
    ReportZoneRunStarted();
    TIME_ZONE_INFORMATION zone{};
    GetTimeZoneInformation(&zone);
    ASSERT_EQ(zone.Bias, kTestZoneBiasMinutes) << "the zone " << Narrow(kTestZone) << " is not in force";

    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder);
    const int64_t before = UtcTicksNow();
    Log(logger.get(), 4, "ServiceUtils::SwitchWlanStatus", L"SwitchWlanStatus not Succeeded. Retrying to %d", 3);
    const int64_t after = UtcTicksNow();
    const auto record = recorder->Records().at(0);
    EXPECT_EQ(record.Function(), "ServiceUtils::SwitchWlanStatus");
    EXPECT_EQ(record.Message(), L"SwitchWlanStatus not Succeeded. Retrying to 3");
    EXPECT_EQ(record.Level(), 4);
    EXPECT_EQ(record.ThreadId(), GetCurrentThreadId());
    // The record's time is local time: 5 h 30 min ahead of UTC, read between
    // the two UTC readings (to the millisecond it keeps).
    const int64_t recordAsUtc = Ticks(record.Time()) + int64_t{kTestZoneBiasMinutes} * 60 * 10000000;
    EXPECT_GE(recordAsUtc, before - before % 10000);
    EXPECT_LE(recordAsUtc, after);
}

TEST(LogCall, WideAndNarrowStringArguments)
{
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder);
    Log(logger.get(), 0, "F::G", L"Service Name = %s, %S", L"WlanSvc", "narrow");
    EXPECT_EQ(recorder->Records().at(0).Message(), L"Service Name = WlanSvc, narrow");
}

TEST(LogCall, EachListenerGetsOnlyItsRange)
{
    auto low = std::make_unique<RecordingListener>(0, 2);
    auto high = std::make_unique<RecordingListener>(4, 5);
    RecordingListener* lowRecorder = low.get();
    RecordingListener* highRecorder = high.get();
    CqxLogger::Listeners listeners;
    listeners.push_back(std::move(low));
    listeners.push_back(std::move(high));
    auto logger = CqxLogger::Assemble(std::move(listeners));
    for (int32_t level = 0; level <= 5; ++level)
        Log(logger.get(), level, "F::G", L"%d", level);
    ASSERT_EQ(lowRecorder->Records().size(), 3u);
    ASSERT_EQ(highRecorder->Records().size(), 2u);
    EXPECT_EQ(lowRecorder->Records()[2].Level(), 2);
    EXPECT_EQ(highRecorder->Records()[0].Level(), 4);
    EXPECT_EQ(highRecorder->Records()[1].Level(), 5);
}

TEST(LogCall, LevelOutsideLoggerRangeIsNotFormatted)
{
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder, 2, 4);
    // The logger's range is [2, 5]: its maximum is never below Error.
    EXPECT_EQ(logger->MinLevel(), 2);
    EXPECT_EQ(logger->MaxLevel(), 5);
    Log(logger.get(), 1, "F::G", L"%s", kPoison);
    Log(logger.get(), 6, "F::G", L"%s", kPoison);
    EXPECT_TRUE(recorder->Records().empty());
}

}  // namespace
