// The process-wide switching state (state/SwitchingState.h) as a fresh
// process has it, for the life of a test: every test that drives switching
// code starts from it and leaves it so, whatever it set on the way.
#pragma once

#include "state/SwitchingState.h"

namespace fakes {

// Fresh at construction and again at destruction. A manager set in between
// is not released here: its owner releases it.
class FreshSwitchingState {
public:
    FreshSwitchingState() { ResetSwitchingStateForTesting(); }
    ~FreshSwitchingState() { ResetSwitchingStateForTesting(); }
    FreshSwitchingState(const FreshSwitchingState&) = delete;
    FreshSwitchingState& operator=(const FreshSwitchingState&) = delete;
};

}  // namespace fakes
