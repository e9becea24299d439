// The process's command line: "-install" or "-remove" (hyphen or slash, any
// ASCII case, first argument only) register or remove the service; no
// option runs the service under the Service Control Manager; any other
// option does nothing. Always returns 0, the process exit code.
#pragma once

// 1 once the service path has set the process-wide COM security, which it
// does at most once per process; 0 before.
extern int SecurityInitialized;

int RunCommandLine(int argc, wchar_t* argv[]);
