// StateGuard: a test's own simulation state. The key is deleted when the
// guard starts (nothing left from elsewhere) and when it ends, pass or fail.
#pragma once

#include "sim/SimulationState.h"

#include <chrono>
#include <functional>

namespace simtests {

class StateGuard {
public:
    StateGuard() { sim::DeleteState(); }
    ~StateGuard() { sim::DeleteState(); }
    StateGuard(const StateGuard&) = delete;
    StateGuard& operator=(const StateGuard&) = delete;
};

// Whether `condition` holds within `bound`, asked every 10 ms.
bool Eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds bound = std::chrono::milliseconds(10000));

}  // namespace simtests
