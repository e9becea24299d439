// The command line: which argument selects which mode, and what each mode
// prints and logs, against a scripted SCM and dispatcher.
#include "app/CommandLine.h"

#include "fakes/ConsoleCapture.h"
#include "fakes/ExpectedLines.h"
#include "fakes/FakeScm.h"
#include "fakes/FakeServiceDispatcher.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "service/ServiceBase.h"
#include "switching/ResumeHandler.h"

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

// Counts the COM security calls made through the seam.
struct ComSecurityCalls {
    static int securityCalls;
    static HRESULT securityResult;
    ComSecurityCalls()
    {
        securityCalls = 0;
        securityResult = S_OK;
        SecurityInitialized = 0;
        m_seam->CoInitializeEx = [](LPVOID, DWORD) -> HRESULT { return S_OK; };
        m_seam->CoUninitialize = []() {};
        m_seam->CoInitializeSecurity = [](PSECURITY_DESCRIPTOR, LONG, SOLE_AUTHENTICATION_SERVICE*, void*, DWORD, DWORD,
                                          void*, DWORD, void*) -> HRESULT {
            ++securityCalls;
            return securityResult;
        };
    }
    ~ComSecurityCalls() { SecurityInitialized = 0; }
    os::ScopedApiOverride m_seam;
};
int ComSecurityCalls::securityCalls = 0;
HRESULT ComSecurityCalls::securityResult = S_OK;

constexpr wchar_t kUsage[] = L"Parameters:\n -install  to install the service.\n -remove   to remove the service.\n";

class CommandLineTest : public testing::Test {
protected:
    CommandLineTest() { m_dispatcher.dispatcherError = ERROR_FAILED_SERVICE_CONTROLLER_CONNECT; }

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
    bool Installed() { return !m_scm.creations.empty(); }
    bool DispatcherStarted() const { return !m_dispatcher.tableNames.empty(); }

    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    fakes::FakeScm m_scm;
    fakes::FakeServiceDispatcher m_dispatcher;
    fakes::ConsoleCapture m_console;
    ComSecurityCalls m_com;
};

TEST_F(CommandLineTest, HyphenInstallInstallsAndLogsAfterwards)
{
    EXPECT_EQ(Run({L"-install"}), 0);
    EXPECT_TRUE(Installed());
    EXPECT_EQ(m_console.Text(), L"Tessarine is installed.\n");
    EXPECT_EQ(m_log.Lines().back(), L"Information|wmain|  Install Service.");
    EXPECT_EQ(m_log.Records().back().Level(), QX::Shared::LevelInformation);
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
    EXPECT_EQ(m_console.Text(), std::wstring(kUsage) + L"Service failed to run w/err 0x00000427\n");
}

TEST_F(CommandLineTest, InstallFailureIsLoggedAndStillExitsWithZero)
{
    m_scm.AddService(L"Tessarine");
    EXPECT_EQ(Run({L"-install"}), 0);
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Error|InstallService|CreateService failed w/err 0x00000006",
                                           L"Information|wmain|  Install Service."));
}

TEST_F(CommandLineTest, RemoveRemovesAndLogsAfterwards)
{
    m_scm.AddService(L"Tessarine", SERVICE_STOPPED);
    EXPECT_EQ(Run({L"-remove"}), 0);
    EXPECT_TRUE(m_scm.Find(L"Tessarine")->deleted);
    EXPECT_EQ(m_console.Text(), L"Tessarine is removed.\n");
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Information|wmain|Uninstall Service."));
}

TEST_F(CommandLineTest, SlashRemoveInAnyCaseRemoves)
{
    m_scm.AddService(L"Tessarine", SERVICE_STOPPED);
    EXPECT_EQ(Run({L"/rEmOvE"}), 0);
    EXPECT_TRUE(m_scm.Find(L"Tessarine")->deleted);
}

TEST_F(CommandLineTest, RemoveWhenNotInstalledPrintsTheOpenFailureAndExitsWithZero)
{
    EXPECT_EQ(Run({L"-remove"}), 0);
    EXPECT_EQ(m_console.Text(), L"OpenService failed w/err 0x00000424\n");
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"Error|UninstallService|OpenService failed w/err 0x00000424",
                                           L"Information|wmain|Uninstall Service."));
}

TEST_F(CommandLineTest, AnUnknownOptionDoesNothingAtAll)
{
    for (const wchar_t* option : {L"-foo", L"/x", L"-help", L"-", L"/", L"-installs", L"-instal", L"--install"}) {
        EXPECT_EQ(Run({option}), 0) << option;
    }
    EXPECT_THAT(m_console.Text(), IsEmpty());
    EXPECT_THAT(m_log.Lines(), IsEmpty());
    EXPECT_THAT(m_scm.calls, IsEmpty());
    EXPECT_FALSE(DispatcherStarted());
}

TEST_F(CommandLineTest, OnlyTheFirstArgumentIsExamined)
{
    EXPECT_EQ(Run({L"-install", L"-remove", L"extra"}), 0);
    EXPECT_TRUE(Installed());
    EXPECT_THAT(m_scm.calls, Not(Contains(L"DeleteService")));
}

TEST_F(CommandLineTest, AFurtherOptionAfterAnUnknownOneIsIgnored)
{
    EXPECT_EQ(Run({L"-foo", L"-install"}), 0);
    EXPECT_FALSE(Installed());
    EXPECT_THAT(m_console.Text(), IsEmpty());
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
    EXPECT_THAT(m_console.Writes(),
                ElementsAre(L"Parameters:\n", L" -install  to install the service.\n",
                            L" -remove   to remove the service.\n", L"Service failed to run w/err 0x00000427\n"));
    EXPECT_THAT(m_log.Lines(), Contains(L"Error|wmain|Service failed to run w/err 0x00000427"));
}

TEST_F(CommandLineTest, TheServicePathHandsTheDispatcherTheServiceByName)
{
    m_dispatcher.dispatcherError = 0;
    EXPECT_EQ(Run({}), 0);
    EXPECT_THAT(m_dispatcher.tableNames, ElementsAre(L"Tessarine", L"<null>"));
    EXPECT_EQ(m_console.Text(), kUsage);
    EXPECT_THAT(m_log.Lines(), Not(Contains(L"Error|wmain|Service failed to run w/err 0x00000427")));
}

TEST_F(CommandLineTest, TheServiceObjectAcceptsStopShutdownPreshutdownAndPowerEvents)
{
    m_dispatcher.dispatcherError = 0;
    m_dispatcher.runServiceMain = true;
    // The start queues the worker; here it is left unqueued.
    os::ScopedApiOverride seam;
    seam->QueueUserWorkItem = [](LPTHREAD_START_ROUTINE, PVOID, ULONG) -> BOOL { return TRUE; };
    EXPECT_EQ(Run({}), 0);
    ASSERT_FALSE(m_dispatcher.reports.empty());
    EXPECT_EQ(m_dispatcher.reports.front().dwControlsAccepted, 0x145u);
    EXPECT_EQ(m_dispatcher.reports.front().dwCurrentState, static_cast<DWORD>(SERVICE_START_PENDING));
}

// A worker that does not return (here: never run) keeps the service object:
// the entry point waits a second for it, says so, and does not destroy what
// the worker may still use; the process then ends around it.
TEST_F(CommandLineTest, AWorkItemThatDoesNotEndWithinASecondKeepsTheServiceObject)
{
    m_dispatcher.dispatcherError = 0;
    m_dispatcher.runServiceMain = true;
    os::ScopedApiOverride seam;
    seam->QueueUserWorkItem = [](LPTHREAD_START_ROUTINE, PVOID, ULONG) -> BOOL { return TRUE; };
    EXPECT_EQ(Run({}), 0);
    EXPECT_THAT(m_log.Lines(),
                Contains(L"Error|wmain|Work items still running after 1000 ms: the service object is kept"));
    EXPECT_THAT(m_log.LinesOf("CMainService::~CMainService"), IsEmpty());
    EXPECT_THAT(m_clock.Pauses(), Contains(1000u));
}

TEST_F(CommandLineTest, TheServicePathBuildsAndDestroysOneServiceObject)
{
    EXPECT_EQ(Run({}), 0);
    EXPECT_THAT(fakes::Matching(m_log.Lines(), L"|CMainService::"),
                ElementsAre(L"TraceIn|CMainService::CMainService|", L"TraceOut|CMainService::CMainService|",
                            L"TraceIn|CMainService::~CMainService|", L"TraceOut|CMainService::~CMainService|"));
}

TEST_F(CommandLineTest, TheServicePathSetsTheComSecurityOnceAndRemembersIt)
{
    Run({});
    EXPECT_EQ(ComSecurityCalls::securityCalls, 1);
    EXPECT_EQ(SecurityInitialized, 1);
    Run({});
    EXPECT_EQ(ComSecurityCalls::securityCalls, 1);
}

TEST_F(CommandLineTest, AFailedComSecurityIsTriedAgainAtTheNextServiceStart)
{
    ComSecurityCalls::securityResult = RPC_E_TOO_LATE;
    Run({});
    EXPECT_EQ(SecurityInitialized, 0);
    Run({});
    EXPECT_EQ(ComSecurityCalls::securityCalls, 2);
}

TEST_F(CommandLineTest, InstallAndRemoveLeaveTheComSecurityAlone)
{
    Run({L"-install"});
    Run({L"-remove"});
    Run({L"-foo"});
    EXPECT_EQ(ComSecurityCalls::securityCalls, 0);
    EXPECT_EQ(SecurityInitialized, 0);
}

TEST_F(CommandLineTest, TheServicePathHandsTheResumeHandlingToTheServiceBase)
{
    CServiceBase::SetResumeHandler(nullptr);
    Run({});
    EXPECT_EQ(CServiceBase::ResumeHandlerForTesting(), &NLMUtils::SystemResumeHandler);
    CServiceBase::SetResumeHandler(nullptr);
}

}  // namespace
