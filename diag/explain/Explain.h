// The explain verb: reads the service's log (or the files given) as a
// stream, recognises the service's meaningful lines, builds the story and
// writes it as text or JSON to `out`, and as an HTML page to a file if asked.
// Misuse (a file that cannot be opened, an HTML file that cannot be made) is
// one line on `err` and kExitMisuse, before anything else is written.
#pragma once

#include "Verbs.h"
#include "explain/Output.h"

namespace diag {

int RunExplain(const ExplainOptions& options, Output& out, Output& err);

}  // namespace diag
