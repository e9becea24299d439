// The recogniser's table: the service's log texts that tell its story, each
// under the operation that writes it, as the printf format of the service's
// source (tests/diag/check-texts.sh checks that each is there, spelt the
// same). A line is recognised when its function is the entry's and its
// message is what the format prints.
#pragma once

#include "explain/Signal.h"

#include <cstddef>

namespace diag {

constexpr int kAnyLevel = -1;

struct ServiceText {
    const char* function;
    int level;  // kAnyLevel, or the level the entry's record has (the empty entry and exit records)
    const char* format;
    Signal signal;
};

const ServiceText* ServiceTextsBegin();
const ServiceText* ServiceTextsEnd();

}  // namespace diag
