// The command line: which argument selects which mode, and what each mode
// prints and logs, against a scripted SCM and dispatcher.
#include "service/CommandLine.h"

#include "fakes/ConsoleCapture.h"
#include "fakes/FakeScm.h"
#include "fakes/FakeServiceDispatcher.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "logging/LoggerSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr wchar_t kUsage[] = L"Parameters:\n -install  to install the service.\n -remove   to remove the service.\n";

class CommandLineTest : public testing::Test {
protected:
    CommandLineTest() : logger_(fakes::LoggerWithRecorder(recorder_))
    {
        dispatcher_.dispatcherError = ERROR_FAILED_SERVICE_CONTROLLER_CONNECT;
    }

    int Run(std::initializer_list<const wchar_t*> arguments)
    {
        std::vector<std::wstring> storage{L"Tessarine.exe"};
        storage.insert(storage.end(), arguments.begin(), arguments.end());
        std::vector<wchar_t*> argv;
        for (std::wstring& argument : storage)
            argv.push_back(&argument[0]);
        argv.push_back(nullptr);
        return RunCommandLine(static_cast<int>(storage.size()), argv.data());
    }
    bool Installed() { return !scm_.creations.empty(); }
    bool DispatcherStarted() const { return !dispatcher_.tableNames.empty(); }

    fakes::RecordingListener* recorder_ = nullptr;
    QX::Shared::ScopedLoggerForTesting logger_;
    fakes::VirtualClock clock_;
    fakes::FakeScm scm_;
    fakes::FakeServiceDispatcher dispatcher_;
    fakes::ConsoleCapture console_;
};

TEST_F(CommandLineTest, HyphenInstallInstallsAndLogsAfterwards)
{
    EXPECT_EQ(Run({L"-install"}), 0);
    EXPECT_TRUE(Installed());
    EXPECT_EQ(console_.Text(), L"Tessarine is installed.\n");
    EXPECT_EQ(recorder_->Tails().back(), L"wmain|  Install Service.");
    EXPECT_EQ(recorder_->Records().back().Level(), QX::Shared::LevelInformation);
    EXPECT_FALSE(DispatcherStarted());
}

TEST_F(CommandLineTest, UpperCaseInstallInstalls)
{
    EXPECT_EQ(Run({L"-INSTALL"}), 0);
    EXPECT_TRUE(Installed());
}

TEST_F(CommandLineTest, SlashInstallInAnyCaseInstalls)
{
    EXPECT_EQ(Run({L"/Install"}), 0);
    EXPECT_TRUE(Installed());
}

TEST_F(CommandLineTest, InstallWithoutHyphenOrSlashRunsTheServicePath)
{
    EXPECT_EQ(Run({L"install"}), 0);
    EXPECT_FALSE(Installed());
    EXPECT_TRUE(DispatcherStarted());
    EXPECT_EQ(console_.Text(), std::wstring(kUsage) + L"Service failed to run w/err 0x00000427\n");
}

TEST_F(CommandLineTest, InstallFailureIsLoggedAndStillExitsWithZero)
{
    scm_.AddService(L"Tessarine");
    EXPECT_EQ(Run({L"-install"}), 0);
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"InstallService|CreateService failed w/err 0x00000006",
                                                L"wmain|  Install Service."));
}

TEST_F(CommandLineTest, RemoveRemovesAndLogsAfterwards)
{
    scm_.AddService(L"Tessarine", SERVICE_STOPPED);
    EXPECT_EQ(Run({L"-remove"}), 0);
    EXPECT_TRUE(scm_.Find(L"Tessarine")->deleted);
    EXPECT_EQ(console_.Text(), L"Tessarine is removed.\n");
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"wmain|Uninstall Service."));
}

TEST_F(CommandLineTest, SlashRemoveInAnyCaseRemoves)
{
    scm_.AddService(L"Tessarine", SERVICE_STOPPED);
    EXPECT_EQ(Run({L"/rEmOvE"}), 0);
    EXPECT_TRUE(scm_.Find(L"Tessarine")->deleted);
}

TEST_F(CommandLineTest, RemoveWhenNotInstalledPrintsTheOpenFailureAndExitsWithZero)
{
    EXPECT_EQ(Run({L"-remove"}), 0);
    EXPECT_EQ(console_.Text(), L"OpenService failed w/err 0x00000424\n");
    EXPECT_THAT(recorder_->Tails(),
                ElementsAre(L"UninstallService|OpenService failed w/err 0x00000424", L"wmain|Uninstall Service."));
}

TEST_F(CommandLineTest, AnUnknownOptionDoesNothingAtAll)
{
    for (const wchar_t* option : {L"-foo", L"/x", L"-help", L"-", L"/", L"-installs", L"-instal", L"--install"}) {
        EXPECT_EQ(Run({option}), 0) << option;
    }
    EXPECT_THAT(console_.Text(), IsEmpty());
    EXPECT_THAT(recorder_->Tails(), IsEmpty());
    EXPECT_THAT(scm_.calls, IsEmpty());
    EXPECT_FALSE(DispatcherStarted());
}

TEST_F(CommandLineTest, OnlyTheFirstArgumentIsExamined)
{
    EXPECT_EQ(Run({L"-install", L"-remove", L"extra"}), 0);
    EXPECT_TRUE(Installed());
    EXPECT_THAT(scm_.calls, Not(Contains(L"DeleteService")));
}

TEST_F(CommandLineTest, AFurtherOptionAfterAnUnknownOneIsIgnored)
{
    EXPECT_EQ(Run({L"-foo", L"-install"}), 0);
    EXPECT_FALSE(Installed());
    EXPECT_THAT(console_.Text(), IsEmpty());
}

TEST_F(CommandLineTest, NonAsciiLettersAreNotFolded)
{
    // Only ASCII letters fold: a dotted capital I is not an "i".
    EXPECT_EQ(Run({L"-\u0130NSTALL"}), 0);
    EXPECT_FALSE(Installed());
}

TEST_F(CommandLineTest, NoArgumentPrintsTheUsageOneCallPerLineThenTheRunFailure)
{
    EXPECT_EQ(Run({}), 0);
    EXPECT_THAT(console_.Writes(), ElementsAre(L"Parameters:\n", L" -install  to install the service.\n",
                                               L" -remove   to remove the service.\n",
                                               L"Service failed to run w/err 0x00000427\n"));
    EXPECT_THAT(recorder_->Tails(), Contains(L"wmain|Service failed to run w/err 0x00000427"));
}

TEST_F(CommandLineTest, TheServicePathHandsTheDispatcherTheServiceByName)
{
    dispatcher_.dispatcherError = 0;
    EXPECT_EQ(Run({}), 0);
    EXPECT_THAT(dispatcher_.tableNames, ElementsAre(L"Tessarine", L"<null>"));
    EXPECT_EQ(console_.Text(), kUsage);
    EXPECT_THAT(recorder_->Tails(), Not(Contains(L"wmain|Service failed to run w/err 0x00000427")));
}

TEST_F(CommandLineTest, TheServiceObjectAcceptsStopShutdownPreshutdownAndPowerEvents)
{
    dispatcher_.dispatcherError = 0;
    dispatcher_.runServiceMain = true;
    // The start queues the worker; here it is left unqueued.
    os::ScopedApiOverride seam;
    seam->QueueUserWorkItem = [](LPTHREAD_START_ROUTINE, PVOID, ULONG) -> BOOL { return TRUE; };
    EXPECT_EQ(Run({}), 0);
    ASSERT_FALSE(dispatcher_.reports.empty());
    EXPECT_EQ(dispatcher_.reports.front().dwControlsAccepted, 0x145u);
    EXPECT_EQ(dispatcher_.reports.front().dwCurrentState, static_cast<DWORD>(SERVICE_START_PENDING));
}

TEST_F(CommandLineTest, TheServicePathBuildsAndDestroysOneServiceObject)
{
    EXPECT_EQ(Run({}), 0);
    std::vector<std::wstring> lifecycle;
    for (const std::wstring& tail : recorder_->Tails())
        if (tail.rfind(L"CMainService::", 0) == 0)
            lifecycle.push_back(tail);
    EXPECT_THAT(lifecycle, ElementsAre(L"CMainService::CMainService|", L"CMainService::CMainService|",
                                       L"CMainService::~CMainService|", L"CMainService::~CMainService|"));
}

} // namespace
