// Creating the process logger: once, on first use, again after a failure.
#include "Waits.h"
#include "fakes/RecordingListener.h"
#include "logging/LoggerSlot.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using QX::Shared::CqxLogger;
using QX::Shared::LoggerSlot;

std::atomic<int> g_created{0};
std::atomic<int> g_failuresLeft{0};

std::unique_ptr<CqxLogger> SlowFactory()
{
    ++g_created;
    Sleep(50);  // widen the window in which racing callers could create a second logger
    return CqxLogger::Assemble({});
}

std::unique_ptr<CqxLogger> FailingFirstFactory()
{
    ++g_created;
    if (g_failuresLeft.fetch_sub(1) > 0)
        return nullptr;
    return CqxLogger::Assemble({});
}

TEST(LoggerSlot, EightRacingFirstCallsCreateExactlyOneLogger)
{
    g_created = 0;
    LoggerSlot slot(&SlowFactory);
    logging_tests::StartGate gate;
    std::atomic<int> lateStarts{0};
    std::vector<CqxLogger*> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            if (!gate.Pass()) {
                ++lateStarts;
                return;
            }
            seen[i] = slot.Get();
        });
    gate.Open();
    for (auto& thread : threads)
        thread.join();
    ASSERT_EQ(lateStarts.load(), 0) << "threads not started within the bound";
    EXPECT_EQ(g_created.load(), 1);
    ASSERT_NE(seen[0], nullptr);
    for (CqxLogger* logger : seen)
        EXPECT_EQ(logger, seen[0]);
}

TEST(LoggerSlot, LaterCallsReuseTheLogger)
{
    g_created = 0;
    LoggerSlot slot(&SlowFactory);
    CqxLogger* first = slot.Get();
    EXPECT_EQ(slot.Get(), first);
    EXPECT_EQ(g_created.load(), 1);
}

TEST(LoggerSlot, CreationRetriedWhileItGivesNoLogger)
{
    g_created = 0;
    g_failuresLeft = 2;
    LoggerSlot slot(&FailingFirstFactory);
    EXPECT_EQ(slot.Get(), nullptr);
    EXPECT_EQ(slot.Get(), nullptr);
    EXPECT_NE(slot.Get(), nullptr);
    EXPECT_EQ(g_created.load(), 3);
    slot.Get();
    EXPECT_EQ(g_created.load(), 3);
}

TEST(LoggerSlot, ClosedSlotCreatesNothing)
{
    g_created = 0;
    LoggerSlot slot(&SlowFactory);
    slot.Get();
    slot.Close();
    EXPECT_EQ(slot.Get(), nullptr);
    EXPECT_EQ(g_created.load(), 1);
}

// A logger whose one listener records what reaches it.
fakes::RecordingListener* g_recorder = nullptr;
std::unique_ptr<CqxLogger> RecordingFactory()
{
    auto recorder = std::make_unique<fakes::RecordingListener>();
    g_recorder = recorder.get();
    CqxLogger::Listeners listeners;
    listeners.push_back(std::move(recorder));
    return CqxLogger::Assemble(std::move(listeners));
}

TEST(LoggerSlot, AThreadThatFetchedTheLoggerBeforeTheCloseStillLogsWithIt)
{
    LoggerSlot slot(&RecordingFactory);
    CqxLogger* fetched = slot.Get();
    ASSERT_NE(fetched, nullptr);
    // The exit handler closes the slot while another thread is between
    // fetching the logger and logging with it.
    slot.Close();
    EXPECT_EQ(slot.Peek(), nullptr);
    EXPECT_EQ(slot.Get(), nullptr);
    std::thread late([fetched] { QX::Shared::Log(fetched, 3, "Late::Thread", L"after the close"); });
    late.join();
    EXPECT_EQ(g_recorder->Lines(), (std::vector<std::wstring>{L"Information|Late::Thread|after the close"}));
}

TEST(ProcessLogger, GetLoggerGivesOneLoggerForTheProcess)
{
    CqxLogger* first = QX::Shared::GetLogger();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(QX::Shared::GetLogger(), first);
}

TEST(ProcessLogger, ScopedReplacementAndRestore)
{
    CqxLogger* original = QX::Shared::GetLogger();
    {
        fakes::RecordingLog log;
        EXPECT_NE(QX::Shared::GetLogger(), original);
        QX::Shared::Log(QX::Shared::GetLogger(), 3, "F::G", L"to the recorder");
        EXPECT_EQ(log.Lines(), (std::vector<std::wstring>{L"Information|F::G|to the recorder"}));
    }
    EXPECT_EQ(QX::Shared::GetLogger(), original);
}

}  // namespace
