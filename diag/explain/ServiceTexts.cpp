#include "explain/ServiceTexts.h"

#include <iterator>

namespace diag {

namespace {

constexpr int kTraceIn = 0;
constexpr int kTraceOut = 1;

constexpr char kWorker[] = "CMainService::ServiceWorkerThread";
constexpr char kNlm[] = "NLMEventHandler::NetworkConnectionConnectivityChanged";
constexpr char kMsmHandler[] = "CMainService::HandleWlanNotificationMsmRadioStateChange";
constexpr char kAcmHandler[] = "CMainService::HandleWlanNotificationAcmNetworkAvailable";
constexpr char kWatcher[] = "CMainService::AirplaneModeWatcher";
constexpr char kMbn[] = "CMbnSinks::OnSetSoftwareRadioStateComplete";
constexpr char kResume[] = "NLMUtils::SystemResumeHandler";
constexpr char kCheckWlan[] = "ServiceUtils::CheckWlanStatus";
constexpr char kSwitchWlan[] = "ServiceUtils::SwitchWlanStatus";
constexpr char kSwitchWlanRetry[] = "ServiceUtils::SwitchWlanStatusWithRetry";
constexpr char kStopWlan[] = "ServiceUtils::StopWLANService";
constexpr char kStartWlan[] = "ServiceUtils::StartWLANService";
constexpr char kCheckWwan[] = "ServiceUtils::CheckWwanStatus";
constexpr char kSwitchWwan[] = "ServiceUtils::SwitchWwanStatus";
constexpr char kSwitchWwanRetry[] = "ServiceUtils::SwitchWwanStatusWithRetry";
constexpr char kStopWwan[] = "ServiceUtils::StopWWANService";
constexpr char kStartWwan[] = "ServiceUtils::StartWWANService";
constexpr char kAutoSwitching[] = "NLMUtils::GetAutoSwitchingStatus";
constexpr char kReadSwitching[] = "NLMUtils::ReadNetworkSwitchingStatus";
constexpr char kInitWmi[] = "NLMUtils::InitWMIRead";
constexpr char kProcessEnum[] = "NLMUtils::ProcessEnum";
constexpr char kProcessObjects[] = "NLMUtils::ProcessObjects";

constexpr ServiceText kTexts[] = {
    {"CMainService::OnStart", kAnyLevel, "LAN/WLAN | LAN/WWAN Switching Service (%s) in OnStart", Signal::ServiceStart},
    {"CMainService::OnStop", kAnyLevel, "LAN/WLAN - LAN/WWAN Switching Service in OnStop", Signal::ServiceStop},

    {kWorker, kTraceIn, "ServiceWorkerThread - Entry", Signal::WorkerEntry},
    {kWorker, kTraceOut, "ServiceWorkerThread - Exit", Signal::WorkerExit},
    {kWorker, kAnyLevel, "ServiceWorkerThread - The service is stopping: start-up ends here", Signal::WorkerStopping},
    {kWorker, kAnyLevel, "Finished reading LanWlanWan Switching status from BIOS. Wait for (WLAN AutoConfig) to start",
     Signal::FirmwareDone},
    {kWorker, kAnyLevel, "Checking Ethernet connection status...", Signal::CheckingEthernet},
    {kWorker, kAnyLevel, "LAN connection available when service start. Stopping WLAN service...",
     Signal::WireAtStartWlan},
    {kWorker, kAnyLevel, "LAN connection available when service start. Stopping WWAN service...",
     Signal::WireAtStartWwan},
    {kWorker, kAnyLevel, "LAN connection not available when service start. starting WWAN service...",
     Signal::NoWireAtStartWwan},
    {kWorker, kAnyLevel, "Wait for (WWAN AutoConfig) to start", Signal::WwanStep},
    {kWorker, kAnyLevel, "WWAN AutoConfig wait completed and WWAN Device Available. So Listening for WWAN events..",
     Signal::WwanDeviceFound},
    {kWorker, kAnyLevel, "WWAN Device enumeration failed / No supporting WWAN device found ", Signal::NoWwanDevice},
    {kWorker, kAnyLevel, "CoInitialize failed with error: 0x%08X", Signal::WorkerEndedEarly},
    {kWorker, kAnyLevel, "CoCreateInstance(CLSID_NetworkListManager) failed with error: 0x%08X",
     Signal::WorkerEndedEarly},
    {kWorker, kAnyLevel, "Exception in ServiceWorkerThread. %S", Signal::WorkerEndedEarly},
    {kWorker, kAnyLevel, "CoCreateInstance(CLSID_MbnInterfaceManager) failed with error: 0x%08X",
     Signal::WorkerNoMbnManager},
    {kWorker, kAnyLevel, "LAN WLAN Auto Switching is disabled in BIOS. Restoring previous WLAN Status.",
     Signal::WlanFirmwareOff},
    {kWorker, kAnyLevel, "LAN WWAN Auto Switching is disabled in BIOS.Restoring previous WWAN Status.",
     Signal::WwanFirmwareOff},
    {kWorker, kAnyLevel, "CheckEthernetConnectionStatusEx failed", Signal::EthernetTestFailed},

    {kAutoSwitching, kAnyLevel, "Displaying the WMI Read Data - Start", Signal::FirmwareDisplayStart},
    {kAutoSwitching, kAnyLevel, "Setting = %s  ==>  Value = %s", Signal::FirmwareSetting},
    {kAutoSwitching, kTraceOut, "LanWlanSwitchingEnabled Value = %d, LanWwanSwitchingEnabled = %d",
     Signal::FirmwareFlags},
    {kAutoSwitching, kAnyLevel, "Exception in GetAutoSwitchingStatus()", Signal::FirmwareProblem},
    {kReadSwitching, kAnyLevel, "Failed to initialize WMI Read [hr:0x%08X]", Signal::FirmwareProblem},
    {kReadSwitching, kAnyLevel, "Failed to initialize WMI Query. Error = 0x%08lx", Signal::FirmwareProblem},
    {kReadSwitching, kAnyLevel, "Query for %ws from  %ws failed. [hr:0x%08X]", Signal::FirmwareProblem},
    {kReadSwitching, kAnyLevel, "WMI Read Timeout. [hr:0x%08X]", Signal::FirmwareProblem},
    {kReadSwitching, kAnyLevel, "Exception while getting BIOS with error 0x%08X", Signal::FirmwareProblem},
    {kInitWmi, kAnyLevel, "Failed to initialize COM library [hr:0x%08X]", Signal::FirmwareProblem},
    {kInitWmi, kAnyLevel, "Failed to create IWbemLocator object. [hr:0x%08X]", Signal::FirmwareProblem},
    {kInitWmi, kAnyLevel, "Could not connect to ROOT\\qx\\instrumentedbios. [hr:0x%08X]", Signal::FirmwareProblem},
    {kInitWmi, kAnyLevel, "Could not set proxy blanket . [hr:0x%08X]", Signal::FirmwareProblem},
    {kProcessEnum, kAnyLevel, "IEnumWbemClassObject is NULL", Signal::FirmwareProblem},
    {kProcessEnum, kAnyLevel, "Failed to enumerate WMI Objects. [hr:0x%08X]", Signal::FirmwareProblem},
    {kProcessEnum, kAnyLevel, "Exception while Processing BIOS Enumeration with error 0x%08X", Signal::FirmwareProblem},
    {kProcessObjects, kAnyLevel, "Failed to Get WMI Objects (Name). [hr:0x%08X] [CIMTYPE = %d]",
     Signal::FirmwareProblem},
    {kProcessObjects, kAnyLevel, "Failed to Get WMI Objects (Value). [hr:0x%08X] [CIMTYPE = %d]",
     Signal::FirmwareProblem},
    {kProcessObjects, kAnyLevel, "Exception while Processing BIOS Objects with error 0x%08X", Signal::FirmwareProblem},

    {"NLMUtils::PrintNetworkConnections", kAnyLevel, "Connection Id : %s", Signal::PrintedConnectionId},
    {"NLMUtils::PrintNetworkConnections", kAnyLevel, "Ethernet Connection - adding to set...", Signal::PrintedEthernet},
    {"NLMUtils::PrintAdapterInfo", kAnyLevel, "Description   : %s", Signal::AdapterDescription},

    {kNlm, kAnyLevel, "------------------start----------------------", Signal::NlmStart},
    {kNlm, kAnyLevel, "Connection ID : %s", Signal::NlmConnectionId},
    {kNlm, kAnyLevel, "Connectivity state : %d ", Signal::NlmConnecting},
    {kNlm, kAnyLevel, "Disconnecting connection, check list to see if it was Ethernet.", Signal::NlmDisconnecting},
    {kNlm, kAnyLevel, "System in sleep/Hibernate, not processing the callback", Signal::NlmSleeping},
    {kNlm, kAnyLevel, "Could not determine connection type. Doing nothing.", Signal::NlmTypeUnknown},
    {kNlm, kAnyLevel, "Ethernet state : %d ", Signal::NlmEthernetState},
    {kNlm, kAnyLevel, "Ethernet Connection - adding to set...", Signal::NlmAddingToSet},
    {kNlm, kAnyLevel, "CheckEthernetConnectionStatus failed in try %d", Signal::AddressTry},
    {kNlm, kAnyLevel, "Ethernet is connected", Signal::EthernetConnected},
    {kNlm, kAnyLevel, "Connecting to Ethernet. Stop WLAN service...", Signal::NlmStopWlan},
    {kNlm, kAnyLevel, "Connecting to Ethernet. Stop WWAN service...", Signal::NlmStopWwan},
    {kNlm, kAnyLevel, "Connection ID is not in the list, DO nothing", Signal::NlmNotInList},
    {kNlm, kAnyLevel, "CheckEthernetConnectionStatusEx failed", Signal::EthernetTestFailed},
    {kNlm, kAnyLevel, "Ethernet connection status = %d", Signal::EthernetStatus},
    {kNlm, kAnyLevel, "The disconnecting connection was Ethernet. Start WLAN service...", Signal::NlmStartWlan},
    {kNlm, kAnyLevel, "The disconnecting connection was Ethernet. Start WWAN service...", Signal::NlmStartWwan},
    {kNlm, kAnyLevel, "-------------------end-----------------------", Signal::NlmEnd},
    {kNlm, kAnyLevel, "StringFromCLSID failed w/err 0x%08lx", Signal::NlmFailure},
    {kNlm, kAnyLevel, "Exception in NetworkConnectionConnectivityChanged()", Signal::NlmFailure},

    {kCheckWlan, kAnyLevel, "Phy state : %d", Signal::WlanObserved},
    {kCheckWlan, kAnyLevel, "My WIFI Query timeout, my_setwifitimeout : %d", Signal::WlanQueryTimeout},
    {kCheckWlan, kAnyLevel, "Interface list is empty", Signal::WlanNoInterface},
    {kCheckWlan, kAnyLevel, "Exception in CheckWlanStatus()", Signal::WlanFailure},
    {kSwitchWlan, kAnyLevel, "SwitchWlanStatus not needed for New status = %d", Signal::WlanAirplaneRefused},
    {kSwitchWlan, kAnyLevel, "CheckWlanStatus Failed, no switching", Signal::WlanCheckFailed},
    {kSwitchWlan, kAnyLevel, "Current WLAN Status : %d, To Change Status = %d", Signal::WlanSwitchBegin},
    {kSwitchWlan, kAnyLevel, "No change in WLAN Status Needed.", Signal::WlanNoChange},
    {kSwitchWlan, kAnyLevel, "WlanGetInterfaceCapability failed !err is %d", Signal::WlanSetFailed},
    {kSwitchWlan, kAnyLevel, "WlanSetInterface failed", Signal::WlanSetFailed},
    {kSwitchWlan, kAnyLevel, "New WIFI state : %d", Signal::WlanNewState},
    {kSwitchWlan, kTraceOut, "WLAN switching Status = %d", Signal::WlanSwitchEnd},
    {kSwitchWlan, kAnyLevel, "Exception in SwitchWlanStatus()", Signal::WlanFailure},
    {kSwitchWlanRetry, kAnyLevel, "SwitchWlanStatus not needed for New status = %d", Signal::WlanAirplaneRefused},
    {kSwitchWlanRetry, kAnyLevel, "Exception in SwitchWlanStatusWithRetry()", Signal::WlanFailure},
    {kStopWlan, kAnyLevel, "WLAN Current Status = %d", Signal::StopWlanCurrent},
    {kStopWlan, kAnyLevel, "Setting WlanPowerStatus in registry.", Signal::StopWlanStoring},
    {kStopWlan, kAnyLevel, "SwitchWlanStatusWithRetry (StopWLANService) failed", Signal::WlanFailure},
    {kStopWlan, kAnyLevel, "Exception in StopWLANService()", Signal::WlanFailure},
    {kStartWlan, kAnyLevel, "WLAN Registry Status = %s", Signal::StartWlanStored},
    {kStartWlan, kAnyLevel, "WlanPowerStatus value read from registry = %s", Signal::StartWlanKept},
    {kStartWlan, kAnyLevel, "SwitchWlanStatusWithRetry (StartWLANService) failed", Signal::WlanFailure},
    {kStartWlan, kAnyLevel, "Exception in StartWLANService()", Signal::WlanFailure},
    {"ServiceUtils::SetWlanPowerStatusInRegistry", kAnyLevel, "SetWlanPowerStatusInRegistry. Value = %s",
     Signal::WlanStored},
    {"CMainService::UpdateWlanPowerStatus", kAnyLevel, "Registry read is empty : WLAN. Setting Default Value as TRUE",
     Signal::WlanRestoreDefault},
    {"CMainService::UpdateWlanPowerStatus", kAnyLevel, "Registry read is %d, WLAN Switch = %d", Signal::WlanRestore},

    {kCheckWwan, kAnyLevel, "Current WWAN status : %ls", Signal::WwanObserved},
    {kCheckWwan, kAnyLevel, "WWAN Device is not available.", Signal::WwanNoDevice},
    {kCheckWwan, kAnyLevel, "Exception in CheckWwanStatus()", Signal::WwanFailure},
    {kSwitchWwan, kAnyLevel, "WWAN Device is not available.", Signal::WwanNoDevice},
    {kSwitchWwan, kAnyLevel, "SwitchWwanStatus not needed for New status = %d", Signal::WwanAirplaneRefused},
    {kSwitchWwan, kAnyLevel, "Current Status : %d, To Change Status = %d", Signal::WwanSwitchBegin},
    {kSwitchWwan, kAnyLevel, "No change in WWAN Status Needed.", Signal::WwanNoChange},
    {kSwitchWwan, kAnyLevel, "GetRadioInterface Failed", Signal::WwanFailure},
    {kSwitchWwan, kAnyLevel, "Got new WWAN Status = %d , bOnOffStatus = %d", Signal::WwanGot},
    {kSwitchWwan, kAnyLevel, "New Radio State is Set. So exiting from loop", Signal::WwanSet},
    {kSwitchWwan, kAnyLevel, "Retrying SetSoftwareRadioState = %d as new wwan status is not set", Signal::WwanRetry},
    {kSwitchWwan, kTraceOut, "WWAN switching Status = %d", Signal::WwanSwitchEnd},
    {kSwitchWwan, kAnyLevel, "Exception in SwitchWwanStatus()", Signal::WwanFailure},
    {kSwitchWwanRetry, kAnyLevel, "WWAN Device is not available.", Signal::WwanNoDevice},
    {kSwitchWwanRetry, kAnyLevel, "SwitchWwanStatus not needed for New status = %d", Signal::WwanAirplaneRefused},
    {kSwitchWwanRetry, kAnyLevel, "Exception in SwitchWwanStatusWithRetry()", Signal::WwanFailure},
    {kStopWwan, kAnyLevel, "WWAN Device is not available.", Signal::WwanNoDevice},
    {kStopWwan, kAnyLevel, "WWAN Current Status = %d", Signal::StopWwanCurrent},
    {kStopWwan, kAnyLevel, "SwitchWwanStatus (StopWWANService) failed", Signal::WwanFailure},
    {kStopWwan, kAnyLevel, "Exception in StopWWANService()", Signal::WwanFailure},
    {kStartWwan, kAnyLevel, "WWAN Device is not available.", Signal::WwanNoDevice},
    {kStartWwan, kAnyLevel, "WWAN Registry Status = %s", Signal::StartWwanStored},
    {kStartWwan, kAnyLevel, "SwitchWwanStatusWithRetry (StartWWANService) failed", Signal::WwanFailure},
    {kStartWwan, kAnyLevel, "Exception in StartWWANService()", Signal::WwanFailure},
    {"ServiceUtils::SetWwanPowerStatusInRegistry", kAnyLevel, "SetWwanPowerStatusInRegistry. Value = %s",
     Signal::WwanStored},
    {"CMainService::UpdateWwanPowerStatus", kAnyLevel, "Registry read is empty : WWAN. Setting Default Value as TRUE",
     Signal::WwanRestoreDefault},
    {"CMainService::UpdateWwanPowerStatus", kAnyLevel, "Registry read is %d, WWAN Switch = %d", Signal::WwanRestore},
    {"ServiceUtils::SetPowerStatusInRegistry", kAnyLevel, "Registry::SetValue failed with error %d",
     Signal::StoreFailed},

    {"CMainService::WlanNotificationCallback", kAnyLevel,
     "NotificationSource = WLAN_NOTIFICATION_SOURCE_MSM, NotificationCode= wlan_notification_msm_radio_state_change. "
     "Processing Callback",
     Signal::MsmNotification},
    {"CMainService::WlanNotificationCallback", kAnyLevel,
     "NotificationSource = WLAN_NOTIFICATION_SOURCE_ACM, NotificationCode = wlan_notification_acm_network_available. "
     "Processing Callback",
     Signal::AcmNotification},
    {kMsmHandler, kAnyLevel, "Not processing the callback, msm_Notification_flag = %d, ResumeFlag = %d",
     Signal::HandlerSkipped},
    {kMsmHandler, kAnyLevel, "CheckWlanStatus failed", Signal::HandlerCheckFailed},
    {kMsmHandler, kAnyLevel, "Current WLAN status = %d", Signal::HandlerWlanStatus},
    {kMsmHandler, kAnyLevel, "CheckEthernetConnectionStatusEx failed", Signal::EthernetTestFailed},
    {kMsmHandler, kAnyLevel, "Ethernet connection status = %d", Signal::EthernetStatus},
    {kMsmHandler, kAnyLevel,
     "Airplane mode if OFF. Ethernet not connected. Setting WLAN registry status with WiFi Status = %d",
     Signal::HandlerStoring},
    {kMsmHandler, kAnyLevel, "Ethernet connected and LanWlanSwitching Disabled. Update registry",
     Signal::HandlerStoring},
    {kMsmHandler, kAnyLevel, "SwitchWlanStatus(false) failed", Signal::HandlerSwitchFailed},
    {kMsmHandler, kTraceOut, "", Signal::HandlerEnd},
    {kAcmHandler, kAnyLevel, "Not processing the callback, msm_Notification_flag = %d, ResumeFlag = %d",
     Signal::HandlerSkipped},
    {kAcmHandler, kAnyLevel, "CheckWlanStatus failed", Signal::HandlerCheckFailed},
    {kAcmHandler, kAnyLevel, "Current WLAN status = %d", Signal::HandlerWlanStatus},
    {kAcmHandler, kAnyLevel, "CheckEthernetConnectionStatusEx failed", Signal::EthernetTestFailed},
    {kAcmHandler, kAnyLevel, "Ethernet connection status = %d", Signal::EthernetStatus},
    {kAcmHandler, kAnyLevel, "Ethernet is connected", Signal::EthernetConnected},
    {kAcmHandler, kAnyLevel,
     "wlan_notification_acm_network_available Registry set to True. Setting WlanPowerStatus %d in registry.",
     Signal::HandlerStoring},
    {kAcmHandler, kAnyLevel,
     "wlan_notification_acm_network_available[LanWlanSwitchingEnabled disabled].Setting WlanPowerStatus %d in "
     "registry.",
     Signal::HandlerStoring},
    {kAcmHandler, kAnyLevel, "SwitchWlanStatus(false) failed", Signal::HandlerSwitchFailed},
    {kAcmHandler, kTraceOut, "", Signal::HandlerEnd},

    {kWatcher, kAnyLevel, "AirplaneModeWatcher - Registry Change Event Triggered", Signal::AirplaneKeyChanged},
    {kWatcher, kAnyLevel, "Airplane Mode ON , setting default", Signal::AirplaneOnSwitching},
    {kWatcher, kAnyLevel, "CheckEthernetConnectionStatusEx failed", Signal::EthernetTestFailed},
    {kWatcher, kAnyLevel, "Airplane mode is OFF, ethernet not connected", Signal::AirplaneOffNoWire},
    {kWatcher, kAnyLevel, "CheckWlanStatus failed", Signal::HandlerCheckFailed},
    {kWatcher, kAnyLevel, "WiFi already ON in Airplanemode, updating registry", Signal::WatcherWifiOn},
    {kWatcher, kAnyLevel, "Previous WLAN Power Status in registry = %s", Signal::WatcherStored},
    {kWatcher, kAnyLevel, "Setting SetWlanPowerStatusInRegistry with value = %d", Signal::WatcherRestoring},
    {kWatcher, kAnyLevel, "AirplaneModeWatcher - Service Stop event Triggered. Exiting", Signal::WatcherStop},
    {kWatcher, kAnyLevel, "An unknown error occurred", Signal::WatcherError},
    {"ServiceUtils::CheckAirplaneMode", kTraceOut, "Airplane Mode Status: %u ", Signal::AirplaneStatus},

    {kMbn, kTraceIn, "RequestID = %d, Status = 0x%x", Signal::MbnEntry},
    {kMbn, kAnyLevel, "NetworkChangedForSetRadio Status = %d", Signal::MbnOwnFlag},
    {kMbn, kAnyLevel, "Resume Flag : %d", Signal::MbnResumeFlag},
    {kMbn, kAnyLevel, "CheckEthernetConnectionStatusEx failed or system in Hibernate", Signal::MbnSleepOrFailed},
    {kMbn, kAnyLevel, "Ethernet Connection Status = %d", Signal::MbnEthernet},
    {kMbn, kAnyLevel, "Not Processing OnSetSoftwareRadioStateComplete", Signal::MbnNotProcessing},
    {kMbn, kAnyLevel, "WWAN Status = %d", Signal::MbnWwanStatus},
    {kMbn, kAnyLevel, "Ethernet is present, switching OFF WWAN", Signal::MbnSwitchOff},
    {kMbn, kAnyLevel, "Writing WWAN status %d to registry", Signal::MbnStoring},
    {kMbn, kAnyLevel, "Received OnSetSoftwareRadioStateComplete Event for requestID = %d", Signal::MbnReceived},
    {kMbn, kAnyLevel, "Exception in OnSetSoftwareRadioStateComplete()", Signal::MbnFailure},
    {kMbn, kTraceOut, "", Signal::MbnEnd},

    {"CServiceBase::HandlerEx", kAnyLevel, "PBT_APMSTANDBY or PBT_APMSUSPEND", Signal::Suspending},
    {kResume, kTraceIn, "", Signal::ResumeEntry},
    {kResume, kAnyLevel, "CheckEthernetConnectionStatus failed in try %d", Signal::ResumeAddressTry},
    {kResume, kAnyLevel, "Ethernet Status = %d", Signal::ResumeEthernet},
    {kResume, kAnyLevel, "Ethernet is connected", Signal::EthernetConnected},
    {kResume, kAnyLevel, "LanWwanSwitchingEnabled - SystemResumeHandler()", Signal::ResumeWwanStep},
    {kResume, kAnyLevel, "Wait for (WWAN AutoConfig) to start", Signal::ResumeWwanStep},
    {kResume, kAnyLevel, "Obtained Signal Service resume handler starting WWAN service..", Signal::ResumeWwanStep},
    {kResume, kAnyLevel, "Wait for (WLAN AutoConfig) to start", Signal::ResumeWlanStep},
    {kResume, kAnyLevel, "Service resume handler starting WLAN service..", Signal::ResumeWlanStep},
    {kResume, kAnyLevel, "SwitchWwanStatusWithRetry failed", Signal::ResumeWwanFailed},
    {kResume, kAnyLevel, "SwitchWlanStatusWithRetry failed", Signal::ResumeWlanFailed},
    {kResume, kAnyLevel, "LAN WWAN Auto Switching is disabled in BIOS.Restoring previous WWAN Status.",
     Signal::WwanFirmwareOff},
    {kResume, kAnyLevel, "LAN WLAN Auto Switching is disabled in BIOS.Restoring previous WLAN Status.",
     Signal::WlanFirmwareOff},
    {kResume, kAnyLevel, "Resetting on_resumeflag to False", Signal::ResumeDone},
    {kResume, kAnyLevel, "Exception in SystemResumeHandler()", Signal::ResumeFailure},
};

}  // namespace

const ServiceText* ServiceTextsBegin() { return std::begin(kTexts); }
const ServiceText* ServiceTextsEnd() { return std::end(kTexts); }

}  // namespace diag
