#include "radio/WlanRadio.h"

#include "platform/Api.h"
#include "platform/UniqueHandle.h"
#include "radio/PowerStatus.h"
#include "state/SwitchingState.h"

#include <string>

using namespace QX::Shared;

namespace ServiceUtils {

namespace {

// Serialises SwitchWlanStatus across every thread of the process.
std::mutex WlanSwitchMutex;

constexpr DWORD kClientVersion = 2;
// Set passes 0 to kLastSetPass, each failing one followed by its pause.
constexpr int kLastSetPass = 80;
constexpr DWORD kSetPassPause = 100;
// SwitchWlanStatusWithRetry: a short settle before the check, a longer
// pause before the next attempt.
constexpr DWORD kSettlePause = 100;
constexpr DWORD kRetryPause = 400;

static_assert(sizeof(WLAN_PHY_RADIO_STATE) == 12, "the set request is the platform's 12-byte record");

// The platform's count of the PHYs in a radio state may exceed the array it
// comes with; only the entries that exist are read.
DWORD PhysInRadioState(const WLAN_RADIO_STATE& radioState)
{
    return radioState.dwNumberOfPhys < WLAN_MAX_PHY_INDEX ? radioState.dwNumberOfPhys : WLAN_MAX_PHY_INDEX;
}

// The same bound for the capability's count: a driver that reports more PHYs
// than the structure can describe (four billion, say) gets one set per PHY
// the structure holds, not a set call per count under WlanSwitchMutex.
DWORD PhysInCapability(const WLAN_INTERFACE_CAPABILITY& capability)
{
    return capability.dwNumberOfSupportedPhys < WLAN_MAX_PHY_INDEX ? capability.dwNumberOfSupportedPhys
                                                                   : WLAN_MAX_PHY_INDEX;
}

void LogInterfaceState(const FunctionLog& log, WLAN_INTERFACE_STATE state)
{
    log.Log(LevelInformation, L"Interface State :  ");
    switch (state) {
    case wlan_interface_state_not_ready: log.Log(LevelInformation, L"Not ready"); break;
    case wlan_interface_state_connected: log.Log(LevelInformation, L"Connected"); break;
    case wlan_interface_state_ad_hoc_network_formed:
        log.Log(LevelInformation, L"First node in a ad hoc network");
        break;
    case wlan_interface_state_disconnecting: log.Log(LevelInformation, L"Disconnecting"); break;
    case wlan_interface_state_disconnected: log.Log(LevelInformation, L"Not connected"); break;
    case wlan_interface_state_associating: log.Log(LevelInformation, L"Attempting to associate with a network"); break;
    case wlan_interface_state_discovering:
        log.Log(LevelInformation, L"Auto configuration is discovering settings for the network");
        break;
    case wlan_interface_state_authenticating: log.Log(LevelInformation, L"In process of authenticating"); break;
    default: log.Log(LevelInformation, L"Unknown state %ld", static_cast<long>(state)); break;
    }
}

// Opens a client handle and enumerates the interfaces, logging a failure
// under `log`. A list without an entry counts as no list: there is no first
// interface to work on.
bool OpenFirstInterface(const FunctionLog& log, os::UniqueWlanClient& client,
                        os::UniqueWlanMemory<WLAN_INTERFACE_INFO_LIST>& interfaces)
{
    DWORD negotiated = 0;
    DWORD error = os::api().WlanOpenHandle(kClientVersion, nullptr, &negotiated, client.put());
    if (error != ERROR_SUCCESS) {
        log.Log(LevelError, L"WlanOpenHandle failed with error: %u", error);
        return false;
    }
    error = os::api().WlanEnumInterfaces(client.get(), nullptr, interfaces.put());
    if (error != ERROR_SUCCESS) {
        log.Log(LevelError, L"WlanEnumInterfaces failed with error: %u", error);
        return false;
    }
    if (!interfaces || interfaces.get()->dwNumberOfItems == 0) {
        log.Log(LevelWarning, L"Interface list is empty");
        return false;
    }
    return true;
}

// The set passes: up to kLastSetPass + 1 passes of one set per PHY, each
// failing pass followed by its pause. True when a pass set every PHY. A
// success that came only in the last pass sets the time-out latch as well
// (the adapter needed all the time there was); an earlier one clears it.
bool SetEveryPhy(const FunctionLog& log, HANDLE client, const GUID& interfaceGuid, WLAN_PHY_RADIO_STATE& request,
                 DWORD phys, bool wanted)
{
    bool success = false;
    int lastPass = 0;
    for (int pass = 0; pass <= kLastSetPass; ++pass) {
        lastPass = pass;
        DWORD setPhys = 0;
        for (DWORD phy = 0; phy < phys; ++phy) {
            request.dwPhyIndex = phy;
            const DWORD setError = os::api().WlanSetInterface(client, &interfaceGuid, wlan_intf_opcode_radio_state,
                                                              sizeof(request), &request, nullptr);
            if (setError != ERROR_SUCCESS) {
                log.Log(LevelError, L"Set WLAN state failed!err is %d", setError);
            } else {
                log.Log(LevelInformation, L"Set WLAN state %d for PHY %d success",
                        static_cast<int>(request.dot11SoftwareRadioState), static_cast<int>(phy));
                ++setPhys;
            }
        }
        if (setPhys == phys) {
            my_service_turnonoff_wifi = wanted;
            success = true;
            break;
        }
        log.Log(LevelWarning, L"Could not Set WLAN state in all PHYs. So retrying in count = %d", pass);
        os::api().Sleep(kSetPassPause);
    }
    // Success that came only in the last pass sets the latch as well:
    // the adapter needed all the time there was.
    if (lastPass < kLastSetPass) {
        my_setwifitimeout = false;
    } else {
        log.Log(LevelError, L"WlanSetInterface failed");
        my_setwifitimeout = true;
    }
    return success;
}

}  // namespace

bool PhysAreOn(const WLAN_RADIO_STATE& radioState, const FunctionLog& log)
{
    bool on = true;
    const DWORD phys = PhysInRadioState(radioState);
    for (DWORD index = 0; index < phys; ++index) {
        const int phy = static_cast<int>(index);
        const DOT11_RADIO_STATE state = radioState.PhyRadioState[index].dot11SoftwareRadioState;
        switch (state) {
        case dot11_radio_state_on: log.Log(LevelInformation, L"Phy: %d On", phy); break;
        case dot11_radio_state_off:
            log.Log(LevelInformation, L"Phy: %d Off", phy);
            on = false;
            break;
        case dot11_radio_state_unknown:
            log.Log(LevelInformation, L"Phy: %d Unknown", phy);
            on = false;
            break;
        default:
            log.Log(LevelInformation, L"Phy: %d Other Unknown state %ld", phy, static_cast<long>(state));
            on = false;
            break;
        }
    }
    return on;
}

bool CheckWlanStatus(bool& on)
{
    OperationLog op("ServiceUtils::CheckWlanStatus");
    try {
        if (my_setwifitimeout) {
            op.Log(LevelError, L"My WIFI Query timeout, my_setwifitimeout : %d", my_setwifitimeout ? 1 : 0);
            return false;
        }
        os::UniqueWlanClient client;
        os::UniqueWlanMemory<WLAN_INTERFACE_INFO_LIST> interfaces;
        if (!OpenFirstInterface(op, client, interfaces))
            return false;

        const WLAN_INTERFACE_INFO_LIST& list = *interfaces.get();
        const WLAN_INTERFACE_INFO& first = list.InterfaceInfo[0];
        op.Log(LevelInformation, L"WLAN Interface Count : %lu", list.dwNumberOfItems);
        op.Log(LevelInformation, L"Current Index: %lu", list.dwIndex);
        op.Log(LevelInformation, L"Interface Description: %ws", first.strInterfaceDescription);
        LogInterfaceState(op, first.isState);

        DWORD dataSize = 0;
        os::UniqueWlanMemory<void> data;
        const DWORD error = os::api().WlanQueryInterface(
            client.get(), &first.InterfaceGuid, wlan_intf_opcode_radio_state, nullptr, &dataSize, data.put(), nullptr);
        if (error != ERROR_SUCCESS || !data) {
            op.Log(LevelError, L"WlanQueryInterface failed! err is %d", error);
            return false;
        }
        const bool radioOn = PhysAreOn(*static_cast<const WLAN_RADIO_STATE*>(data.get()), op);
        op.Log(LevelInformation, L"Phy state : %d", radioOn ? 1 : 0);
        on = radioOn;
        data.reset();
        interfaces.reset();
        client.reset();
        op.Exit(L"WLAN Status = %d", 1);
        return true;
    } catch (...) {
        op.Log(LevelError, L"Exception in CheckWlanStatus()");
        return false;
    }
}

bool SwitchWlanStatus(const bool& wanted, const bool& checkAirplaneMode)
{
    OperationLog op("ServiceUtils::SwitchWlanStatus", L"OnOffValue = %d, bCheckAirplaneStatus = %d", wanted ? 1 : 0,
                    checkAirplaneMode ? 1 : 0);
    try {
        std::unique_lock<std::mutex> lock(WlanSwitchMutex);

        const bool airplaneMode = CheckAirplaneMode();
        if (wanted && airplaneMode && checkAirplaneMode) {
            op.Log(LevelInformation, L"SwitchWlanStatus not needed for New status = %d", wanted ? 1 : 0);
            return false;
        }
        bool current = false;
        if (!CheckWlanStatus(current)) {
            op.Log(LevelWarning, L"CheckWlanStatus Failed, no switching");
            return false;
        }
        op.Log(LevelInformation, L"Current WLAN Status : %d, To Change Status = %d", current ? 1 : 0, wanted ? 1 : 0);
        if (current == wanted) {
            op.Log(LevelInformation, L"No change in WLAN Status Needed.");
            return true;
        }

        os::UniqueWlanClient client;
        os::UniqueWlanMemory<WLAN_INTERFACE_INFO_LIST> interfaces;
        if (!OpenFirstInterface(op, client, interfaces))
            return false;
        const GUID& interfaceGuid = interfaces.get()->InterfaceInfo[0].InterfaceGuid;

        WLAN_PHY_RADIO_STATE request = {};
        if (wanted) {
            request.dot11SoftwareRadioState = dot11_radio_state_on;
            op.Log(LevelVerbose, L"LanWlanSwitch set WIFI radio to dot11_radi_state_on");
        } else {
            request.dot11SoftwareRadioState = dot11_radio_state_off;
            op.Log(LevelVerbose, L"LanWlanSwitch set WIFI radio to dot11_radio_state_off");
        }
        // The hardware state is the switch's to say, not ours.
        request.dot11HardwareRadioState = dot11_radio_state_unknown;

        bool success = false;
        os::UniqueWlanMemory<WLAN_INTERFACE_CAPABILITY> capability;
        const DWORD error =
            os::api().WlanGetInterfaceCapability(client.get(), &interfaceGuid, nullptr, capability.put());
        if (error != ERROR_SUCCESS || !capability) {
            op.Log(LevelError, L"WlanGetInterfaceCapability failed !err is %d", error);
        } else {
            op.Log(LevelInformation, L"The number of supported PHY types : %u",
                   capability.get()->dwNumberOfSupportedPhys);
            success =
                SetEveryPhy(op, client.get(), interfaceGuid, request, PhysInCapability(*capability.get()), wanted);
        }

        if (success) {
            bool newState = false;
            CheckWlanStatus(newState);
            op.Log(LevelInformation, L"New WIFI state : %d", newState ? 1 : 0);
        }
        capability.reset();
        interfaces.reset();
        client.reset();
        lock.unlock();
        op.Exit(L"WLAN switching Status = %d", success ? 1 : 0);
        return success;
    } catch (...) {
        op.Log(LevelError, L"Exception in SwitchWlanStatus()");
        return false;
    }
}

bool SwitchWlanStatusWithRetry(const bool& wanted, const int& retryCount)
{
    OperationLog op("ServiceUtils::SwitchWlanStatusWithRetry", L"NewStatus = %d, Retry Count = %d", wanted ? 1 : 0,
                    retryCount);
    try {
        if (wanted && CheckAirplaneMode()) {
            // Nothing to do while airplane mode holds the radio off; the
            // caller takes it as done.
            op.Log(LevelInformation, L"SwitchWlanStatus not needed for New status = %d", wanted ? 1 : 0);
            return true;
        }
        const bool checkAirplaneMode = true;
        bool result = false;
        int attempt = 0;
        do {
            SwitchWlanStatus(wanted, checkAirplaneMode);
            os::api().Sleep(kSettlePause);
            bool on = false;
            if (CheckWlanStatus(on) && on == wanted) {
                op.Log(LevelInformation, L"SwitchWlanStatus Success");
                result = true;
                break;
            }
            op.Log(LevelWarning, L"SwitchWlanStatus not Succeeded. Retrying to %d", attempt);
            os::api().Sleep(kRetryPause);
        } while (attempt++ < retryCount);
        op.Exit(L"WLAN switching Status = %d", result ? 1 : 0);
        return result;
    } catch (...) {
        op.Log(LevelError, L"Exception in SwitchWlanStatusWithRetry()");
        return false;
    }
}

void StopWLANService()
{
    OperationLog op("ServiceUtils::StopWLANService");
    try {
        bool on = false;
        const bool queried = CheckWlanStatus(on);
        op.Log(LevelInformation, L"WLAN Current Status = %d", on ? 1 : 0);
        if (queried && on) {
            const bool wanted = false;
            const bool checkAirplaneMode = false;
            if (SwitchWlanStatus(wanted, checkAirplaneMode)) {
                op.Log(LevelInformation, L"Setting WlanPowerStatus in registry.");
                SetWlanPowerStatusInRegistry(true);
            } else {
                // The text names the retrying variant, as it always has.
                op.Log(LevelError, L"SwitchWlanStatusWithRetry (StopWLANService) failed");
            }
        }
        op.Exit();
    } catch (...) {
        op.Log(LevelError, L"Exception in StopWLANService()");
    }
}

void StartWLANService()
{
    OperationLog op("ServiceUtils::StartWLANService");
    try {
        const StoredPowerStatus status = ReadWlanPowerStatus();
        op.Log(LevelInformation, L"WLAN Registry Status = %s", status.text.c_str());
        if (status.IsOn()) {
            op.Log(LevelInformation, L"Switching ON Wifi");
            const bool wanted = true;
            const int retryCount = 5;
            if (!SwitchWlanStatusWithRetry(wanted, retryCount))
                op.Log(LevelError, L"SwitchWlanStatusWithRetry (StartWLANService) failed");
        } else {
            op.Log(LevelInformation, L"WlanPowerStatus value read from registry = %s", status.text.c_str());
        }
        op.Exit();
    } catch (...) {
        op.Log(LevelError, L"Exception in StartWLANService()");
    }
}

std::mutex& WlanSwitchMutexForTesting() { return WlanSwitchMutex; }

}  // namespace ServiceUtils
