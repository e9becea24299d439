#include "app/CommandLine.h"

#include "logging/OperationLog.h"
#include "platform/Console.h"
#include "app/ServiceInstaller.h"
#include "state/ServiceNames.h"
#include "service/Utils.h"
#include "switching/MainService.h"
#include "switching/ResumeHandler.h"

#include <new>

using namespace QX::Shared;

int SecurityInitialized = 0;

namespace {

// How long the process waits, after the service has stopped, for its work
// items before it ends. The watcher ends at the stop signal at once, and a
// worker between two steps at the next one; a worker inside a step's waits
// (15 tries of a second for a radio service) would keep the stopped
// service's process alive for as long, and the Service Control Manager
// neither deletes nor starts the service again until that process has
// ended. So the wait is short, and what still runs then ends with the
// process.
constexpr DWORD kWorkItemsBoundMilliseconds = 1000;

// Case-insensitive for ASCII letters only, whatever the locale.
bool EqualsAsciiNoCase(const wchar_t* text, const wchar_t* expected)
{
    for (; *text && *expected; ++text, ++expected) {
        wchar_t a = *text;
        wchar_t b = *expected;
        if (a >= L'A' && a <= L'Z')
            a = static_cast<wchar_t>(a - L'A' + L'a');
        if (b >= L'A' && b <= L'Z')
            b = static_cast<wchar_t>(b - L'A' + L'a');
        if (a != b)
            return false;
    }
    return *text == *expected;
}

void RunAsService()
{
    // Printed on every service start too, where no console is attached.
    os::Print(L"Parameters:\n");
    os::Print(L" -install  to install the service.\n");
    os::Print(L" -remove   to remove the service.\n");

    if (SecurityInitialized == 0 && SUCCEEDED(Utils::InitializeSecurity()))
        SecurityInitialized = 1;

    CServiceBase::SetResumeHandler(&NLMUtils::SystemResumeHandler);

    // Built in zero-filled storage, as the service object always has been;
    // nothing depends on it, since every member has its own initialiser.
    // Static storage: the object must stay valid for a work item that does
    // not end in time (below), for as long as the process still runs.
    alignas(CMainService) static unsigned char storage[sizeof(CMainService)] = {};
    CMainService* service = new (storage) CMainService(kServiceName, true, true, false);
    if (!CServiceBase::Run(*service)) {
        // Logging keeps the last error, so the printed code is the logged one.
        FunctionLog("wmain").LogAndPrint(LevelError, L"Service failed to run w/err 0x%08lx", GetLastError());
    }
    // A work item still running after the bound keeps the object, which the
    // process's end then takes with it: nothing is destroyed under it.
    if (!service->WaitForWorkItems(kWorkItemsBoundMilliseconds)) {
        FunctionLog("wmain").Log(LevelError, L"Work items still running after %u ms: the service object is kept",
                                 kWorkItemsBoundMilliseconds);
        return;
    }
    service->~CMainService();
}

}  // namespace

int RunCommandLine(int argc, wchar_t* argv[])
{
    const FunctionLog log("wmain");
    if (argc > 1 && (argv[1][0] == L'-' || argv[1][0] == L'/')) {
        const wchar_t* option = argv[1] + 1;
        if (EqualsAsciiNoCase(option, L"install")) {
            InstallService(kServiceName, kServiceDisplayName, kServiceDisplayName, SERVICE_AUTO_START,
                           kServiceDependencies, nullptr, nullptr);
            log.Log(LevelInformation, L"  Install Service.");
        } else if (EqualsAsciiNoCase(option, L"remove")) {
            UninstallService(kServiceName);
            log.Log(LevelInformation, L"Uninstall Service.");
        }
        // Any other option: nothing at all, not even the usage text.
        return 0;
    }
    RunAsService();
    return 0;
}
