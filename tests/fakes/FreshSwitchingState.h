// The process-wide switching state (the flags, the mobile-broadband manager
// and the modem's interface id that the radio utilities keep) as a fresh
// process has it. Every test that drives switching code starts from it and
// leaves it so, whatever it set on the way. Header only: the state belongs
// to the product's libraries, which the tests that use it link.
#pragma once

#include "radio/WlanRadio.h"
#include "radio/WwanRadio.h"
#include "state/SwitchingState.h"

namespace fakes {

inline void ResetSwitchingState()
{
    on_resumeflag = false;
    msm_Notification_flag = false;
    my_service_turnonoff_wifi = false;
    my_setwifitimeout = false;
    LanWlanSwitchingEnabled = false;
    LanWwanSwitchingEnabled = false;
    WwanDeviceAvailable = false;
    MbnInterfaceManager = nullptr;
    ServiceUtils::WwanInterfaceId.clear();
    ServiceUtils::NetworkChangedForSetRadio = false;
    ServiceUtils::WwanServiceTurnOff = false;
}

// Fresh at construction and again at destruction. A manager set in between
// is not released here: its owner releases it.
class FreshSwitchingState {
public:
    FreshSwitchingState() { ResetSwitchingState(); }
    ~FreshSwitchingState() { ResetSwitchingState(); }
    FreshSwitchingState(const FreshSwitchingState&) = delete;
    FreshSwitchingState& operator=(const FreshSwitchingState&) = delete;
};

} // namespace fakes
