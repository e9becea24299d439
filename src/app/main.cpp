#include "app/CommandLine.h"

int wmain(int argc, wchar_t* argv[]) { return RunCommandLine(argc, argv); }
