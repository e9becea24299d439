// The recogniser of the service's meaningful lines: looks a record's
// function up in the table of ServiceTexts.cpp and matches its message
// against that function's texts. Lines of every other function, and texts
// the table does not hold, are not meaningful (most of a log).
#pragma once

#include "explain/LogLine.h"
#include "explain/Signal.h"
#include "explain/TextPattern.h"

namespace diag {

struct Recognised {
    Signal signal;
    PatternCaptures captures;
};

// False when the record says nothing the story needs.
bool Recognise(const LogRecord& record, Recognised& recognised);

}  // namespace diag
