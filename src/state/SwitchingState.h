// The process-wide state of the switching engine: every flag, pointer and
// mutex that more than one operation of the service uses, declared here and
// nowhere else. State that one operation keeps to itself (a radio's switch
// mutex, the adapter list of the Ethernet test, the Wi-Fi notification lock,
// the last completed mobile-broadband radio) is private to the file of that
// operation.
//
// The flags are single bytes that every thread writes and reads without a
// lock, on purpose (RelaxedFlag). All zero at process start.
#pragma once

#include "platform/MbnApi.h"
#include "state/RelaxedFlag.h"

#include <mutex>
#include <string>

// A sleep has happened and the resume handling has not finished. Set by the
// service base's power event (control-handler thread), cleared by the resume
// handling only; read by the network event sink, the Wi-Fi notification
// handlers, the radio event sink and the resume handling, which ignore their
// events while it is set.
extern RelaxedFlag on_resumeflag;
// The network event sink is itself switching the Wi-Fi radio. Written by the
// sink's connectivity callback; read by the Wi-Fi notification handlers,
// which stand aside while it is set.
extern RelaxedFlag msm_Notification_flag;
// The last Wi-Fi radio change was made by the service. Written by the Wi-Fi
// switch; read (logged) by the Wi-Fi notification handler.
extern RelaxedFlag my_service_turnonoff_wifi;
// Firmware settings "LAN / WLAN Auto Switching" and "LAN / WWAN Auto
// Switching". Written by the firmware reading at start-up; read by every
// decision that switches a radio.
extern RelaxedFlag LanWlanSwitchingEnabled;
extern RelaxedFlag LanWwanSwitchingEnabled;
// A supported mobile-broadband device exists. Written by the start-up
// worker; read by the mobile-broadband radio control and resume handling.
extern RelaxedFlag WwanDeviceAvailable;
// The worker's interface manager, shared with the mobile-broadband radio
// control. Written once by the start-up worker. Its reference is
// deliberately kept until process end: nothing releases it.
extern IMbnInterfaceManager* MbnInterfaceManager;

// Set when a Wi-Fi switch needed all of its set passes. From then on
// CheckWlanStatus fails at once, for the rest of the process: nothing in the
// product clears it once a later switch cannot get past that check. Written
// by SwitchWlanStatus under its switch mutex; read by CheckWlanStatus
// without it.
extern RelaxedFlag my_setwifitimeout;

// Serialises the network event sink's connectivity callbacks, and the
// worker's listing of the start-up connections against them; always taken
// before the Ethernet test's own lock, and after CMainService's stop lock.
extern std::mutex connectivityCallbackMutex;

namespace ServiceUtils {

// The mobile-broadband radio control's own state, shared by its operations
// and the radio event sink.
//
// The mobile-broadband device's interface identifier (registry form, as
// StringFromIID gives it). Written by the interface enumeration (the last of
// several wins; start-up worker, or a switch that found none yet); read by
// the radio lookup. Kept for the process.
extern std::wstring WwanInterfaceId;
// Set while SwitchWwanStatus is inside its set loop (written under its
// switch mutex); read by the radio event sink, which ignores the
// completions of the service's own requests.
extern RelaxedFlag NetworkChangedForSetRadio;
// Set when the service switches the mobile-broadband radio off (the switch,
// and the radio event sink); nothing reads it.
extern RelaxedFlag WwanServiceTurnOff;

}  // namespace ServiceUtils

// Puts every variable above back to its process-start value; tests start
// from it and end with it. A manager set in between is not released here:
// its owner releases it.
void ResetSwitchingStateForTesting();
