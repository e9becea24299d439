#include "state/SwitchingState.h"

RelaxedFlag on_resumeflag;
RelaxedFlag msm_Notification_flag;
RelaxedFlag my_service_turnonoff_wifi;
RelaxedFlag LanWlanSwitchingEnabled;
RelaxedFlag LanWwanSwitchingEnabled;
RelaxedFlag WwanDeviceAvailable;
IMbnInterfaceManager* MbnInterfaceManager = nullptr;
RelaxedFlag my_setwifitimeout;
std::mutex connectivityCallbackMutex;

namespace ServiceUtils {

std::wstring WwanInterfaceId;
RelaxedFlag NetworkChangedForSetRadio;
RelaxedFlag WwanServiceTurnOff;

}  // namespace ServiceUtils

void ResetSwitchingStateForTesting()
{
    on_resumeflag = false;
    msm_Notification_flag = false;
    my_service_turnonoff_wifi = false;
    LanWlanSwitchingEnabled = false;
    LanWwanSwitchingEnabled = false;
    WwanDeviceAvailable = false;
    MbnInterfaceManager = nullptr;
    my_setwifitimeout = false;
    ServiceUtils::WwanInterfaceId.clear();
    ServiceUtils::NetworkChangedForSetRadio = false;
    ServiceUtils::WwanServiceTurnOff = false;
}
