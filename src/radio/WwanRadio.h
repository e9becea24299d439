// The mobile-broadband radio: finding the device's interface at start-up,
// reading and switching its software radio state with the polling and
// retry scheme the modems need, and the wired-link decisions. Free
// functions of any thread; WwanSwitchMutex serialises whole switching
// sequences (the radio event sink takes its own lock first, never after).
#pragma once

#include "platform/MbnApi.h"

#include <mutex>
#include <string>

namespace ServiceUtils {

// The device's interface identifier (registry form, as StringFromIID gives
// it), found at start-up; the last of several wins. Kept for the process.
extern std::wstring WwanInterfaceId;
// Set while SwitchWwanStatus is inside its set loop: the event sink ignores
// the completions of the service's own requests.
extern volatile bool NetworkChangedForSetRadio;
// Set when the service switches the radio off; nothing reads it.
extern volatile bool WwanServiceTurnOff;
// Serialises SwitchWwanStatus.
extern std::mutex WwanSwitchMutex;

bool EnumerateWwanInterfaces();
// The radio of the device's interface; the caller releases it.
bool GetRadioInterface(IMbnRadio*& radio);
// 1 when the software radio state is on, else 0 (also on any failure).
int CheckWwanStatus();
bool SwitchWwanStatus(bool& newStatus, bool& checkAirplaneMode);
bool SwitchWwanStatusWithRetry(bool& newStatus, int& retryCount);
void StopWWANService();
void StartWWANService();

} // namespace ServiceUtils
