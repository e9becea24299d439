// The log call: filtering, message formatting, record contents, last error.
#include "fakes/RecordingListener.h"
#include "logging/Logger.h"

#include <gtest/gtest.h>

#include <stdexcept>

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
    EXPECT_EQ(recorder->Records()[0].GetLine().substr(33), L"Error      |F::G|CoInitializeSecurity failed. Error: 0x80010119");
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

TEST(LogCall, RecordCarriesFunctionLevelThreadAndLocalTime)
{
    RecordingListener* recorder = nullptr;
    auto logger = LoggerWithRecorder(recorder);
    SYSTEMTIME before;
    GetLocalTime(&before);
    Log(logger.get(), 4, "ServiceUtils::SwitchWlanStatus", L"SwitchWlanStatus not Succeeded. Retrying to %d", 3);
    const auto record = recorder->Records().at(0);
    EXPECT_EQ(record.Function(), "ServiceUtils::SwitchWlanStatus");
    EXPECT_EQ(record.Message(), L"SwitchWlanStatus not Succeeded. Retrying to 3");
    EXPECT_EQ(record.Level(), 4);
    EXPECT_EQ(record.ThreadId(), GetCurrentThreadId());
    EXPECT_EQ(record.Time().wYear, before.wYear);
    EXPECT_EQ(record.Time().wDay, before.wDay);
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

} // namespace
