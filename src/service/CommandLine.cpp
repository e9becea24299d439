#include "service/CommandLine.h"

#include "logging/Logger.h"
#include "platform/Console.h"
#include "service/ServiceInstaller.h"
#include "service/ServiceNames.h"
#include "service/Utils.h"
#include "switching/MainService.h"

#include <new>

using namespace QX::Shared;

namespace {

int SecurityInitialized = 0;

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
    constexpr char kFunction[] = "wmain";
    // Printed on every service start too, where no console is attached.
    os::Print(L"Parameters:\n");
    os::Print(L" -install  to install the service.\n");
    os::Print(L" -remove   to remove the service.\n");

    if (SecurityInitialized == 0 && SUCCEEDED(Utils::InitializeSecurity()))
        SecurityInitialized = 1;

    // Zero-filled storage first, then the object, as the service expects of
    // every member it does not set itself.
    alignas(CMainService) unsigned char storage[sizeof(CMainService)] = {};
    CMainService* service = new (storage) CMainService(kServiceName, true, true, false);
    if (!CServiceBase::Run(*service)) {
        Log(GetLogger(), LevelError, kFunction, L"Service failed to run w/err 0x%08lx", GetLastError());
        os::Print(L"Service failed to run w/err 0x%08lx\n", GetLastError());
    }
    service->~CMainService();
}

} // namespace

int RunCommandLine(int argc, wchar_t* argv[])
{
    constexpr char kFunction[] = "wmain";
    if (argc > 1 && (argv[1][0] == L'-' || argv[1][0] == L'/')) {
        const wchar_t* option = argv[1] + 1;
        if (EqualsAsciiNoCase(option, L"install")) {
            InstallService(kServiceName, kServiceDisplayName, kServiceDisplayName, SERVICE_AUTO_START,
                           kServiceDependencies, nullptr, nullptr);
            Log(GetLogger(), LevelInformation, kFunction, L"  Install Service.");
        } else if (EqualsAsciiNoCase(option, L"remove")) {
            UninstallService(kServiceName);
            Log(GetLogger(), LevelInformation, kFunction, L"Uninstall Service.");
        }
        // Any other option: nothing at all, not even the usage text.
        return 0;
    }
    RunAsService();
    return 0;
}
