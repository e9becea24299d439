// Placeholder until the explain verb lands: says so and reports misuse.
#include "Verbs.h"

#include <cstdio>

namespace diag {

int RunExplain(const ExplainOptions&)
{
    std::fputws(L"TessarineDiag: explain is not in this build\n", stderr);
    return kExitMisuse;
}

}  // namespace diag
