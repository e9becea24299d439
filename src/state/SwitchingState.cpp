#include "state/SwitchingState.h"

volatile bool on_resumeflag = false;
volatile bool msm_Notification_flag = false;
volatile bool my_service_turnonoff_wifi = false;
volatile bool LanWlanSwitchingEnabled = false;
volatile bool LanWwanSwitchingEnabled = false;
volatile bool WwanDeviceAvailable = false;
IMbnInterfaceManager* MbnInterfaceManager = nullptr;
