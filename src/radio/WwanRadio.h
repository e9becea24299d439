// The mobile-broadband radio: finding the device's interface at start-up,
// reading and switching its software radio state with the polling and
// retry scheme the modems need, and the wired-link decisions. Free
// functions of any thread; WwanSwitchMutex serialises whole switching
// sequences (the radio event sink takes its own lock first, never after).
// The state its operations share with the sink (interface identifier, the
// set-loop and turn-off flags) lives in state/SwitchingState.h.
#pragma once

#include "platform/MbnApi.h"
#include "state/SwitchingState.h"  // the state the operations share

#include <mutex>

namespace ServiceUtils {

bool EnumerateWwanInterfaces();
// The radio of the device's interface; the caller releases it.
bool GetRadioInterface(IMbnRadio*& radio);
// 1 when the software radio state is on, else 0 (also on any failure).
int CheckWwanStatus();
bool SwitchWwanStatus(bool& newStatus, bool& checkAirplaneMode);
bool SwitchWwanStatusWithRetry(bool& newStatus, int& retryCount);
void StopWWANService();
void StartWWANService();

// The mutex that serialises SwitchWwanStatus (tests hold it to show that).
std::mutex& WwanSwitchMutexForTesting();

}  // namespace ServiceUtils
