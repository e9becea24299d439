// TessarineDiag.exe: the command line. Verbs and options as the usage text
// says; misuse is one line on standard error and exit code 2.
#include "Verbs.h"

#include "platform/Console.h"

#include <cstdio>
#include <string>

namespace {

constexpr wchar_t kUsage[] = L"Usage: TessarineDiag status [--json]\n"
                             L"       TessarineDiag explain [--json] [--html FILE] [LOGFILE...]\n"
                             L"       TessarineDiag --help\n"
                             L"\n"
                             L"status   the service, the firmware settings, the stored radio choices, airplane mode,\n"
                             L"         the adapters and the radios, and why each radio is in its state\n"
                             L"explain  the story of the service's decisions, read from its log (by default the\n"
                             L"         service's own log and its rotated files, oldest first)\n"
                             L"\n"
                             L"Exit codes: 0 the verb ran; 1 the service is not installed or not running;\n"
                             L"            2 misuse (an unknown verb or option, a missing argument, a LOGFILE that\n"
                             L"              cannot be opened, an HTML file that cannot be written).\n";

int Misuse(const std::wstring& message)
{
    std::fputws((L"TessarineDiag: " + message + L" (TessarineDiag --help says more)\n").c_str(), stderr);
    return diag::kExitMisuse;
}

}  // namespace

int wmain(int argc, wchar_t* argv[])
{
    if (argc < 2)
        return Misuse(L"a verb is missing");
    const std::wstring verb = argv[1];
    if (verb == L"--help" || verb == L"-h" || verb == L"help") {
        os::Print(L"%s", kUsage);
        return diag::kExitRan;
    }
    if (verb == L"status") {
        diag::StatusOptions options;
        for (int i = 2; i < argc; ++i) {
            const std::wstring argument = argv[i];
            if (argument == L"--json")
                options.json = true;
            else
                return Misuse(L"status does not take " + argument);
        }
        return diag::RunStatus(options);
    }
    if (verb == L"explain") {
        diag::ExplainOptions options;
        for (int i = 2; i < argc; ++i) {
            const std::wstring argument = argv[i];
            if (argument == L"--json") {
                options.json = true;
            } else if (argument == L"--html") {
                if (++i == argc)
                    return Misuse(L"--html needs a file name");
                options.htmlPath = argv[i];
            } else if (argument.rfind(L"--", 0) == 0) {
                return Misuse(L"explain does not take " + argument);
            } else {
                options.files.push_back(argument);
            }
        }
        return diag::RunExplain(options);
    }
    return Misuse(L"unknown verb " + verb);
}
