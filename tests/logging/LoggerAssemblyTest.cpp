// Assembling a logger from its listeners, and destroying it.
#include "fakes/RecordingListener.h"
#include "logging/Logger.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using fakes::RecordingListener;
using QX::Shared::CqxLogger;
using QX::Shared::CqxLogListener;

struct Range {
    int32_t min;
    int32_t max;
    int32_t type;
};

std::unique_ptr<CqxLogger> Assemble(std::initializer_list<Range> ranges)
{
    CqxLogger::Listeners listeners;
    for (const Range& range : ranges)
        listeners.push_back(std::make_unique<RecordingListener>(range.min, range.max, range.type));
    return CqxLogger::Assemble(std::move(listeners));
}

TEST(LoggerAssembly, NoListeners)
{
    auto logger = Assemble({});
    EXPECT_EQ(logger->ListenerCount(), 0);
    EXPECT_EQ(logger->MinLevel(), 99);
    EXPECT_EQ(logger->MaxLevel(), 5);
    EXPECT_FALSE(logger->TimingEnabled());
    EXPECT_EQ(logger->FileListener(), nullptr);
    EXPECT_EQ(logger->MessageCapacity(), 512u);
    for (int32_t level = -1; level <= 100; ++level)
        EXPECT_FALSE(logger->Accepts(level));
}

TEST(LoggerAssembly, RangeIsTheUnionButMaximumNeverBelowError)
{
    auto logger = Assemble({{3, 4, CqxLogListener::TypeConsole}, {2, 3, CqxLogListener::TypeDebug}});
    EXPECT_EQ(logger->MinLevel(), 2);
    EXPECT_EQ(logger->MaxLevel(), 5);
}

TEST(LoggerAssembly, HighestMaximumTaken)
{
    auto logger = Assemble({{0, 5, CqxLogListener::TypeConsole}, {1, 99, CqxLogListener::TypeDebug}});
    EXPECT_EQ(logger->MinLevel(), 0);
    EXPECT_EQ(logger->MaxLevel(), 99);
}

TEST(LoggerAssembly, ListenersKeepTheirOrderInSlots)
{
    auto logger = Assemble(
        {{0, 5, CqxLogListener::TypeEvent}, {0, 5, CqxLogListener::TypeFileDirect}, {0, 5, CqxLogListener::TypeDebug}});
    ASSERT_EQ(logger->ListenerCount(), 3);
    EXPECT_EQ(logger->Listener(0)->GetType(), 1);
    EXPECT_EQ(logger->Listener(1)->GetType(), 8);
    EXPECT_EQ(logger->Listener(2)->GetType(), 2);
}

TEST(LoggerAssembly, FileListenerIsTheLastFileTypeInSlotOrder)
{
    auto logger = Assemble({{0, 5, CqxLogListener::TypeFileDirect},
                            {0, 5, CqxLogListener::TypeConsole},
                            {0, 5, CqxLogListener::TypeFileQueued}});
    EXPECT_EQ(logger->FileListener(), logger->Listener(2));
}

TEST(LoggerAssembly, TimingOnWhenTheFileListenerAcceptsDiag)
{
    EXPECT_TRUE(Assemble({{0, 6, CqxLogListener::TypeFileQueued}})->TimingEnabled());
    EXPECT_TRUE(Assemble({{6, 6, CqxLogListener::TypeFileDirect}})->TimingEnabled());
    EXPECT_TRUE(Assemble({{0, 99, CqxLogListener::TypeFileDirect}})->TimingEnabled());
}

TEST(LoggerAssembly, TimingOffWhenTheFileListenerStopsBelowDiag)
{
    EXPECT_FALSE(Assemble({{0, 5, CqxLogListener::TypeFileQueued}})->TimingEnabled());
    EXPECT_FALSE(Assemble({{7, 99, CqxLogListener::TypeFileQueued}})->TimingEnabled());
}

TEST(LoggerAssembly, ConsoleOrDebuggerAcceptingDiagDoesNotTurnTimingOn)
{
    auto logger = Assemble({{0, 6, CqxLogListener::TypeConsole},
                            {0, 6, CqxLogListener::TypeDebug},
                            {0, 5, CqxLogListener::TypeFileQueued}});
    EXPECT_EQ(logger->MaxLevel(), 6);
    EXPECT_FALSE(logger->TimingEnabled());
}

TEST(LoggerAssembly, OnlyTenSlots)
{
    CqxLogger::Listeners listeners;
    for (int i = 0; i < 12; ++i)
        listeners.push_back(std::make_unique<RecordingListener>(i, 5));
    auto logger = CqxLogger::Assemble(std::move(listeners));
    EXPECT_EQ(logger->ListenerCount(), 10);
    EXPECT_EQ(logger->Listener(9)->MinLevel(), 9);
}

std::vector<int>* g_destroyed = nullptr;

class TaggedListener : public RecordingListener {
public:
    explicit TaggedListener(int tag) : m_tag(tag) {}
    ~TaggedListener() override { g_destroyed->push_back(m_tag); }

private:
    int m_tag;
};

TEST(LoggerAssembly, DestructionDeletesListenersInSlotOrder)
{
    std::vector<int> destroyed;
    g_destroyed = &destroyed;
    {
        CqxLogger::Listeners listeners;
        for (int tag = 1; tag <= 3; ++tag)
            listeners.push_back(std::make_unique<TaggedListener>(tag));
        auto logger = CqxLogger::Assemble(std::move(listeners));
    }
    EXPECT_EQ(destroyed, (std::vector<int>{1, 2, 3}));
    g_destroyed = nullptr;
}

}  // namespace
