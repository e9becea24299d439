// Placeholder until the status verb lands: says so and reports misuse.
#include "Verbs.h"

#include <cstdio>

namespace diag {

int RunStatus(const StatusOptions&)
{
    std::fputws(L"TessarineDiag: status is not in this build\n", stderr);
    return kExitMisuse;
}

}  // namespace diag
