// The Wi-Fi radio: reading and switching the software radio state of the
// first Wi-Fi interface through the Native Wi-Fi client calls, and the two
// decisions taken when the wired link comes and goes.
//
// Called from the worker thread, the network event sink's COM threads, the
// Native Wi-Fi notification thread, the airplane-mode watcher and the resume
// handling. WlanSwitchMutex serialises SwitchWlanStatus (its check and its
// sets); CheckWlanStatus takes no lock. The time-out latch
// my_setwifitimeout lives with the process state (state/SwitchingState.h). Every operation opens and closes its
// own client handle and frees every buffer it is handed.
#pragma once

#include "logging/OperationLog.h"
#include "state/SwitchingState.h"  // the state the operations share

#include <windows.h>
#include <wlanapi.h>

#include <mutex>

namespace ServiceUtils {

// Whether the radio is on (every PHY on; no PHY at all counts as on). False
// when the query failed or the time-out latch is set; `on` is then untouched.
bool CheckWlanStatus(bool& on);

// One switching attempt over every PHY of the first interface, with up to 81
// set passes. True when every PHY took the wanted state, or none needed to.
bool SwitchWlanStatus(const bool& wanted, const bool& checkAirplaneMode);

// Repeats SwitchWlanStatus until the radio reports the wanted state:
// retryCount + 1 attempts at most.
bool SwitchWlanStatusWithRetry(const bool& wanted, const int& retryCount);

// Wired link up: turns a radio that is on off and records that it was on.
void StopWLANService();
// Wired link gone: turns the radio on when the record says it was on.
void StartWLANService();

// The PHY walk of CheckWlanStatus over a radio state as the platform returns
// it, with its lines logged under `log`: true when every PHY is on.
bool PhysAreOn(const WLAN_RADIO_STATE& radioState, const QX::Shared::FunctionLog& log);

// The mutex that serialises SwitchWlanStatus (tests hold it to show that).
std::mutex& WlanSwitchMutexForTesting();

}  // namespace ServiceUtils
