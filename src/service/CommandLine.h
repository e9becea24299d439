// The process's command line: "-install" or "-remove" (hyphen or slash, any
// ASCII case, first argument only) register or remove the service; no
// option runs the service under the Service Control Manager; any other
// option does nothing. Always returns 0, the process exit code.
#pragma once

int RunCommandLine(int argc, wchar_t* argv[]);
