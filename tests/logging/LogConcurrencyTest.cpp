// Many threads logging at once into one logger.
#include "Waits.h"
#include "fakes/RecordingListener.h"
#include "logging/Logger.h"
#include "platform/Format.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(LogConcurrency, EightThreadsTenThousandRecordsEachArriveOnceAndWhole)
{
    constexpr int kThreads = 8;
    constexpr int kRecords = 10000;
    fakes::RecordingListener* recorder = nullptr;
    auto logger = fakes::LoggerWithRecorder(recorder);

    logging_tests::StartGate gate;
    std::atomic<int> lateStarts{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            if (!gate.Pass()) {
                ++lateStarts;
                return;
            }
            for (int i = 0; i < kRecords; ++i)
                QX::Shared::Log(logger.get(), 3, "Worker::Run", L"thread %d record %05d %s", t, i, L"payload");
        });
    gate.Open();
    for (auto& thread : threads)
        thread.join();
    ASSERT_EQ(lateStarts.load(), 0) << "threads not started within the bound";

    const auto records = recorder->Records();
    ASSERT_EQ(records.size(), static_cast<size_t>(kThreads * kRecords));
    std::set<std::wstring> messages;
    for (const auto& record : records) {
        const std::wstring& line = record.GetLine();
        ASSERT_EQ(line.substr(33, 30), L"Information|Worker::Run|thread") << line;
        ASSERT_EQ(line.substr(line.size() - 8), L" payload") << line;
        messages.insert(record.Message());
    }
    EXPECT_EQ(messages.size(), static_cast<size_t>(kThreads * kRecords));
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kRecords; i += 997) {
            const std::wstring expected = os::FormatString(L"thread %d record %05d payload", t, i);
            EXPECT_EQ(messages.count(expected), 1u) << expected;
        }
}

}  // namespace
