// The process-wide switching state: one-byte flags that every thread of the
// service reads and writes without a lock, on purpose (plain loads and
// stores of single bytes), and the interface manager of mobile broadband.
// All zero at process start.
#pragma once

#include "platform/MbnApi.h"

// A sleep has happened and the resume handling has not finished; the event
// handlers ignore their events while it is set.
extern volatile bool on_resumeflag;
// The network event sink is itself switching the Wi-Fi radio.
extern volatile bool msm_Notification_flag;
// The last Wi-Fi radio change was made by the service.
extern volatile bool my_service_turnonoff_wifi;
// Firmware settings "LAN / WLAN Auto Switching" and "LAN / WWAN Auto Switching".
extern volatile bool LanWlanSwitchingEnabled;
extern volatile bool LanWwanSwitchingEnabled;
// A supported mobile-broadband device exists.
extern volatile bool WwanDeviceAvailable;
// The worker's interface manager, shared with the radio utilities. Its
// reference is deliberately kept until process end: nothing releases it.
extern IMbnInterfaceManager* MbnInterfaceManager;
