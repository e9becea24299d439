// The logging policy against the real registry: listeners, levels, sizes.
#include "fakes/LogFiles.h"
#include "fakes/LoggingPolicy.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "logging/LogConfiguration.h"
#include "logging/LogListenerFile.h"
#include "logging/LogScope.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using fakes::LoggingPolicy;
using QX::Shared::CqxLogger;
using QX::Shared::CqxLogListener;
using QX::Shared::CreateLogger;
using QX::Shared::LevelFromName;
using Key = LoggingPolicy::Key;

const wchar_t* const kPoison = reinterpret_cast<const wchar_t*>(1);

std::vector<int32_t> Types(const CqxLogger& logger)
{
    std::vector<int32_t> types;
    for (int32_t slot = 0; slot < logger.ListenerCount(); ++slot)
        types.push_back(logger.Listener(static_cast<size_t>(slot))->GetType());
    return types;
}

// {minimum, maximum} of every listener, in slot order.
std::vector<std::pair<int32_t, int32_t>> Ranges(const CqxLogger& logger)
{
    std::vector<std::pair<int32_t, int32_t>> ranges;
    for (int32_t slot = 0; slot < logger.ListenerCount(); ++slot) {
        const CqxLogListener& listener = *logger.Listener(static_cast<size_t>(slot));
        ranges.emplace_back(listener.MinLevel(), listener.MaxLevel());
    }
    return ranges;
}

// Every test here may create the process's own log file: remove it after.
class LogConfigurationTest : public ::testing::Test {
protected:
    ~LogConfigurationTest() override { fakes::DeleteLogFiles(L"logging_tests"); }
    LoggingPolicy policy;
};

TEST(LevelFromName, EveryNameInAnyCase)
{
    EXPECT_EQ(LevelFromName(L"TraceIn"), 0);
    EXPECT_EQ(LevelFromName(L"traceout"), 1);
    EXPECT_EQ(LevelFromName(L"VERBOSE"), 2);
    EXPECT_EQ(LevelFromName(L"information"), 3);
    EXPECT_EQ(LevelFromName(L"Warning"), 4);
    EXPECT_EQ(LevelFromName(L"eRROR"), 5);
    EXPECT_EQ(LevelFromName(L"Diag"), 6);
    EXPECT_EQ(LevelFromName(L"Never"), 99);
}

TEST(LevelFromName, NullEmptyAndUnknownGiveNever)
{
    EXPECT_EQ(LevelFromName(nullptr), 99);
    EXPECT_EQ(LevelFromName(L""), 99);
    EXPECT_EQ(LevelFromName(L"Warn"), 99);
    EXPECT_EQ(LevelFromName(L"Undefined"), 99);
    EXPECT_EQ(LevelFromName(L" Error"), 99);
}

TEST_F(LogConfigurationTest, WithoutPolicyOneQueuedFileListenerForLevels0To5)
{
    auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
    ASSERT_NE(logger, nullptr);
    EXPECT_EQ(Types(*logger), (std::vector<int32_t>{4}));
    EXPECT_EQ(logger->MinLevel(), 0);
    EXPECT_EQ(logger->MaxLevel(), 5);
    EXPECT_FALSE(logger->TimingEnabled());
    EXPECT_EQ(logger->FileListener(), logger->Listener(0));
}

TEST_F(LogConfigurationTest, FileCommaDebugGivesDirectFileThenDebugger)
{
    policy.SetText(Key::Product, L"LoggingType", L"file,debug");
    auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
    EXPECT_EQ(Types(*logger), (std::vector<int32_t>{8, 2}));
}

TEST_F(LogConfigurationTest, ProfileContainsFile)
{
    policy.SetText(Key::Product, L"LoggingType", L"PROFILE");
    EXPECT_EQ(Types(*CreateLogger(0, CqxLogListener::TypeFileQueued)), (std::vector<int32_t>{8}));
}

TEST_F(LogConfigurationTest, NoneKeepsTheQueuedDefault)
{
    policy.SetText(Key::Product, L"LoggingType", L"NONE");
    EXPECT_EQ(Types(*CreateLogger(0, CqxLogListener::TypeFileQueued)), (std::vector<int32_t>{4}));
}

TEST_F(LogConfigurationTest, EmptyLoggingTypeKeepsTheDefault)
{
    policy.SetText(Key::Product, L"LoggingType", L"");
    EXPECT_EQ(Types(*CreateLogger(0, CqxLogListener::TypeFileQueued)), (std::vector<int32_t>{4}));
}

TEST_F(LogConfigurationTest, AllKeywordsBuildInTheFixedOrder)
{
    policy.SetText(Key::Product, L"LoggingType", L"console debug file event");
    EXPECT_EQ(Types(*CreateLogger(0, CqxLogListener::TypeFileQueued)), (std::vector<int32_t>{1, 8, 2, 16}));
}

TEST_F(LogConfigurationTest, LoggingTypeOfAnyRegistryTypeIsRead)
{
    policy.SetText(Key::Product, L"LoggingType", L"Console", REG_MULTI_SZ);
    EXPECT_EQ(Types(*CreateLogger(0, CqxLogListener::TypeFileQueued)), (std::vector<int32_t>{16}));
}

TEST_F(LogConfigurationTest, LoggingTypeOf64CharactersIsAbsentAtThatKey)
{
    policy.SetText(Key::Module, L"LoggingType", L"CONSOLE" + std::wstring(57, L'-'));  // 64 characters
    policy.SetText(Key::Product, L"LoggingType", L"DEBUG");
    EXPECT_EQ(Types(*CreateLogger(0, CqxLogListener::TypeFileQueued)), (std::vector<int32_t>{2}));
}

TEST_F(LogConfigurationTest, LoggingTypeOf63CharactersIsRead)
{
    policy.SetText(Key::Module, L"LoggingType", std::wstring(56, L'-') + L"CONSOLE");  // 63 characters
    policy.SetText(Key::Product, L"LoggingType", L"DEBUG");
    EXPECT_EQ(Types(*CreateLogger(0, CqxLogListener::TypeFileQueued)), (std::vector<int32_t>{16}));
}

TEST_F(LogConfigurationTest, DefaultTypesWithBothFileModesDropDirect)
{
    auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued | CqxLogListener::TypeFileDirect);
    EXPECT_EQ(Types(*logger), (std::vector<int32_t>{4}));
}

TEST_F(LogConfigurationTest, ValueOnlyInProductKeyApplies)
{
    policy.SetText(Key::Product, L"LoggingType", L"CONSOLE");
    EXPECT_EQ(Types(*CreateLogger(0, CqxLogListener::TypeFileQueued)), (std::vector<int32_t>{16}));
}

TEST_F(LogConfigurationTest, ModuleKeyOverridesProductKey)
{
    policy.SetText(Key::Product, L"LoggingType", L"CONSOLE");
    policy.SetText(Key::Module, L"LoggingType", L"DEBUG");
    policy.SetText(Key::Product, L"MinLogLevel", L"Warning");
    policy.SetText(Key::Module, L"MinLogLevel", L"Information");
    auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
    EXPECT_EQ(Types(*logger), (std::vector<int32_t>{2}));
    EXPECT_EQ(logger->Listener(0)->MinLevel(), 3);
}

TEST_F(LogConfigurationTest, MinLevelVerboseInAnyCaseDropsTraceRecords)
{
    for (const wchar_t* name : {L"verbose", L"VERBOSE", L"Verbose", L"vErBoSe"}) {
        policy.SetText(Key::Product, L"MinLogLevel", name);
        policy.SetText(Key::Product, L"LoggingType", L"DEBUG");
        auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
        EXPECT_EQ(logger->Listener(0)->MinLevel(), 2) << name;
        EXPECT_EQ(logger->MinLevel(), 2) << name;
        EXPECT_FALSE(logger->Accepts(0));
        EXPECT_FALSE(logger->Accepts(1));
        EXPECT_TRUE(logger->Accepts(2));
    }
}

TEST_F(LogConfigurationTest, MinLevelNeverSilencesEverything)
{
    policy.SetText(Key::Product, L"MinLogLevel", L"Never");
    auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
    EXPECT_EQ(logger->MinLevel(), 99);
    EXPECT_EQ(logger->MaxLevel(), 5);
    for (int32_t level = -1; level <= 100; ++level)
        EXPECT_FALSE(logger->Accepts(level)) << level;
    // The range is empty: the call returns before it formats anything.
    QX::Shared::Log(logger.get(), 5, "F::G", L"%s", kPoison);
}

TEST_F(LogConfigurationTest, MisspeltMinLevelSilencesEverything)
{
    policy.SetText(Key::Product, L"MinLogLevel", L"Verbos");
    EXPECT_EQ(CreateLogger(0, CqxLogListener::TypeFileQueued)->MinLevel(), 99);
}

TEST_F(LogConfigurationTest, MisspeltMaxLevelLetsEveryLevelThroughAndTurnsTimingOn)
{
    policy.SetText(Key::Product, L"MaxLogLevel", L"Eror");
    auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
    EXPECT_EQ(logger->MaxLevel(), 99);
    EXPECT_TRUE(logger->Accepts(7));
    EXPECT_TRUE(logger->TimingEnabled());
}

TEST_F(LogConfigurationTest, MaxLevelDiagWithAFileListenerWritesElapsedTimeRecords)
{
    policy.SetText(Key::Product, L"MaxLogLevel", L"Diag");
    policy.SetText(Key::Product, L"LoggingType", L"FILE");
    const std::wstring path = fakes::LogPath(L"logging_tests.log");
    fakes::DeleteLogFiles(L"logging_tests");
    {
        auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
        ASSERT_TRUE(logger->TimingEnabled());
        fakes::VirtualClock clock;
        auto scope = QX::Shared::CqxLogScope::StartIfTiming(logger.get(), "CMainService::OnStart");
        ASSERT_NE(scope, nullptr);
        clock.AdvanceTicks(125000);
        scope->End();
    }
    const auto lines = fakes::ReadLines(path);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].substr(33), L"Diag       |CMainService::OnStart|Elapsed time =    12.5 ms.");
}

TEST_F(LogConfigurationTest, MaxLevelDiagWithoutFileListenerLeavesTimingOff)
{
    policy.SetText(Key::Product, L"MaxLogLevel", L"Diag");
    policy.SetText(Key::Product, L"LoggingType", L"CONSOLE,DEBUG");
    auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
    EXPECT_EQ(logger->MaxLevel(), 6);
    EXPECT_FALSE(logger->TimingEnabled());
}

TEST_F(LogConfigurationTest, LevelsStoredAsExpandSzAreIgnored)
{
    policy.SetText(Key::Product, L"MinLogLevel", L"Warning", REG_EXPAND_SZ);
    policy.SetText(Key::Product, L"MaxLogLevel", L"Diag", REG_EXPAND_SZ);
    auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
    EXPECT_EQ(logger->Listener(0)->MinLevel(), 0);
    EXPECT_EQ(logger->Listener(0)->MaxLevel(), 5);
}

TEST_F(LogConfigurationTest, ExpandSzInModuleKeyFallsBackToProductKey)
{
    policy.SetText(Key::Module, L"MinLogLevel", L"Error", REG_EXPAND_SZ);
    policy.SetText(Key::Product, L"MinLogLevel", L"Warning");
    EXPECT_EQ(CreateLogger(0, CqxLogListener::TypeFileQueued)->Listener(0)->MinLevel(), 4);
}

TEST_F(LogConfigurationTest, LevelNameOf128CharactersIsAbsent)
{
    policy.SetText(Key::Product, L"MinLogLevel", std::wstring(128, L'x'));
    EXPECT_EQ(CreateLogger(3, CqxLogListener::TypeFileQueued)->Listener(0)->MinLevel(), 3);
}

TEST_F(LogConfigurationTest, EmptyLevelNameIsAbsent)
{
    policy.SetText(Key::Product, L"MaxLogLevel", L"");
    EXPECT_EQ(CreateLogger(0, CqxLogListener::TypeFileQueued)->Listener(0)->MaxLevel(), 5);
}

TEST_F(LogConfigurationTest, DefaultMinimumLevelIsGivenToEveryListener)
{
    policy.SetText(Key::Product, L"LoggingType", L"debug console");
    auto logger = CreateLogger(3, CqxLogListener::TypeFileQueued);
    EXPECT_EQ(logger->Listener(0)->MinLevel(), 3);
    EXPECT_EQ(logger->Listener(1)->MinLevel(), 3);
    EXPECT_EQ(logger->MinLevel(), 3);
}

TEST_F(LogConfigurationTest, EveryListenerReadsTheSameRange)
{
    policy.SetText(Key::Product, L"LoggingType", L"FILE DEBUG CONSOLE");
    policy.SetText(Key::Product, L"MinLogLevel", L"Information");
    policy.SetText(Key::Product, L"MaxLogLevel", L"Warning");
    auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
    ASSERT_NE(logger, nullptr);
    EXPECT_EQ(Types(*logger), (std::vector<int32_t>{CqxLogListener::TypeFileDirect, CqxLogListener::TypeDebug,
                                                    CqxLogListener::TypeConsole}));
    EXPECT_EQ(Ranges(*logger), (std::vector<std::pair<int32_t, int32_t>>{{3, 4}, {3, 4}, {3, 4}}));
    EXPECT_EQ(logger->MinLevel(), 3);
    EXPECT_EQ(logger->MaxLevel(), 5);  // never below Error
}

TEST_F(LogConfigurationTest, QueuedWritesTurnsTheFileKeywordIntoQueued)
{
    policy.SetText(Key::Product, L"LoggingType", L"FILE");
    policy.SetNumber(Key::Product, L"QueuedWrites", 1);
    EXPECT_EQ(Types(*CreateLogger(0, CqxLogListener::TypeFileQueued)), (std::vector<int32_t>{4}));
}

TEST_F(LogConfigurationTest, QueuedWritesZeroMakesTheDefaultListenerDirect)
{
    policy.SetNumber(Key::Module, L"QueuedWrites", 0);
    policy.SetNumber(Key::Product, L"QueuedWrites", 1);
    EXPECT_EQ(Types(*CreateLogger(0, CqxLogListener::TypeFileQueued)), (std::vector<int32_t>{8}));
}

TEST_F(LogConfigurationTest, QueuedWritesOfAnotherSizeIsAbsent)
{
    const unsigned long long eight = 0;
    policy.SetBytes(Key::Product, L"QueuedWrites", &eight, sizeof(eight), REG_QWORD);
    EXPECT_EQ(Types(*CreateLogger(0, CqxLogListener::TypeFileQueued)), (std::vector<int32_t>{4}));
}

int32_t MaxLogSizeOfTheDefaultListener()
{
    auto logger = CreateLogger(0, CqxLogListener::TypeFileQueued);
    auto* file = static_cast<QX::Shared::CqxLogListenerFile*>(logger->FileListener());
    QX::Shared::PolicyKeys keys;
    return file->GetMaxLogSize(keys, nullptr);  // stored when the listener was built
}

TEST_F(LogConfigurationTest, MaxLogSizeZeroInModuleKeyFallsThroughToProductKey)
{
    policy.SetNumber(Key::Module, L"MaxLogSize", 0);
    policy.SetNumber(Key::Product, L"MaxLogSize", 4096);
    EXPECT_EQ(MaxLogSizeOfTheDefaultListener(), 4096);
}

TEST_F(LogConfigurationTest, MaxLogSizeZeroInBothKeysGives2048)
{
    policy.SetNumber(Key::Module, L"MaxLogSize", 0);
    policy.SetNumber(Key::Product, L"MaxLogSize", 0);
    EXPECT_EQ(MaxLogSizeOfTheDefaultListener(), 2048);
}

TEST_F(LogConfigurationTest, MaxLogSizeAbsentGives2048) { EXPECT_EQ(MaxLogSizeOfTheDefaultListener(), 2048); }

TEST_F(LogConfigurationTest, MaxLogSizeOfAnyTypeWithFourBytes)
{
    policy.SetNumber(Key::Module, L"MaxLogSize", 512, REG_BINARY);
    EXPECT_EQ(MaxLogSizeOfTheDefaultListener(), 512);
}

TEST_F(LogConfigurationTest, MaxLogSizeAboveSignedRangeIsNegative)
{
    policy.SetNumber(Key::Product, L"MaxLogSize", 0x80000000u);
    EXPECT_LT(MaxLogSizeOfTheDefaultListener(), 0);
}

TEST(PolicyKeys, ProductKeyFromTheVersionResourceAndModuleKeyFromTheFileName)
{
    LoggingPolicy policy;
    policy.SetText(LoggingPolicy::Key::Module, L"Marker", L"module");
    QX::Shared::PolicyKeys keys;
    QX::Shared::OpenPolicyKeys(nullptr, keys);
    ASSERT_TRUE(keys.product);
    ASSERT_TRUE(keys.module);
    std::wstring text;
    ASSERT_TRUE(QX::Shared::ReadPolicyText(keys, L"Marker", 127, text));
    EXPECT_EQ(text, L"module");
    EXPECT_EQ(QX::Shared::ExecutableBaseName(), L"logging_tests");
}

TEST(PolicyKeys, NoModuleKeyWithoutProductKey)
{
    QX::Shared::PolicyKeys keys;
    QX::Shared::OpenPolicyKeys(L"NoSuchProduct", keys);
    EXPECT_FALSE(keys.product);
    EXPECT_FALSE(keys.module);
}

// What RegQueryInfoKeyW says of a key handle: ERROR_SUCCESS while it is
// open, ERROR_INVALID_HANDLE once it is closed.
LSTATUS QueryKey(HKEY key)
{
    DWORD subkeys = 0;
    return RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr);
}

TEST(PolicyKeys, ReopeningClosesTheOldKeys)
{
    LoggingPolicy policy;
    policy.SetText(LoggingPolicy::Key::Module, L"Marker", L"x");
    QX::Shared::PolicyKeys keys;
    QX::Shared::OpenPolicyKeys(nullptr, keys);
    ASSERT_TRUE(keys.product);
    ASSERT_TRUE(keys.module);
    const HKEY oldProduct = keys.product.get();
    const HKEY oldModule = keys.module.get();
    ASSERT_EQ(QueryKey(oldProduct), ERROR_SUCCESS);
    ASSERT_EQ(QueryKey(oldModule), ERROR_SUCCESS);

    // Nothing opens for this product, so no new key can take an old handle's value.
    QX::Shared::OpenPolicyKeys(L"NoSuchProduct", keys);
    EXPECT_FALSE(keys.product);
    EXPECT_FALSE(keys.module);
    const LSTATUS product = QueryKey(oldProduct);
    const LSTATUS module = QueryKey(oldModule);
    // Keys the code left open are closed here, so that the test leaks nothing.
    if (product == ERROR_SUCCESS)
        RegCloseKey(oldProduct);
    if (module == ERROR_SUCCESS)
        RegCloseKey(oldModule);
    EXPECT_EQ(product, ERROR_INVALID_HANDLE) << "the old product key was not closed";
    EXPECT_EQ(module, ERROR_INVALID_HANDLE) << "the old module key was not closed";
}

TEST(PolicyKeys, FixedLevelsAreNotReadFromThePolicy)
{
    LoggingPolicy policy;
    policy.SetText(LoggingPolicy::Key::Product, L"MinLogLevel", L"Error");
    fakes::RecordingListener fixed(1, 4);
    EXPECT_EQ(fixed.MinLevel(), 1);
    EXPECT_EQ(fixed.MaxLevel(), 4);
}

}  // namespace
