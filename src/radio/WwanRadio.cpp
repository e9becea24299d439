#include "radio/WwanRadio.h"

#include "logging/OperationLog.h"
#include "network/EthernetCheck.h"
#include "network/NLMUtils.h"
#include "platform/Api.h"
#include "platform/ComPtr.h"
#include "platform/UniqueHandle.h"
#include "radio/PowerStatus.h"
#include "state/SwitchingState.h"

using namespace QX::Shared;

namespace ServiceUtils {

namespace {

// Serialises SwitchWwanStatus: whole switching sequences, across every
// thread of the process.
std::mutex WwanSwitchMutex;

constexpr wchar_t kDeviceNotAvailable[] = L"WWAN Device is not available.";

// GetInterfaces: with the firmware's switching allowed the device gets
// longer to appear, as it has to be there for the switching to work.
constexpr int kEnumerateTriesSwitching = 10;
constexpr DWORD kEnumeratePauseSwitching = 1500;
constexpr int kEnumerateTries = 5;
constexpr DWORD kEnumeratePause = 750;

constexpr int kGetInterfaceTries = 5;
constexpr DWORD kGetInterfacePause = 50;

constexpr int kSetAttempts = 10;
constexpr int kSetTries = 5;
constexpr DWORD kSetPause = 100;
constexpr DWORD kAttemptPause = 500;

constexpr DWORD kRetryCheckPause = 100;
constexpr DWORD kRetryPause = 400;

void DestroyArray(SAFEARRAY* array)
{
    if (array != nullptr)
        SafeArrayDestroy(array);
}
using UniqueSafeArray = os::UniqueAny<SAFEARRAY*, DestroyArray>;

}  // namespace

bool EnumerateWwanInterfaces()
{
    OperationLog op("ServiceUtils::EnumerateWwanInterfaces");
    bool result = false;
    try {
        if (MbnInterfaceManager == nullptr) {
            op.Log(LevelError, L"IMbnInterfaceManager is NULL");
            return false;
        }
        const bool switching = LanWwanSwitchingEnabled;
        const int tries = switching ? kEnumerateTriesSwitching : kEnumerateTries;
        const DWORD pause = switching ? kEnumeratePauseSwitching : kEnumeratePause;
        UniqueSafeArray interfaces;
        HRESULT hr = S_OK;
        for (int attempt = 0;; ++attempt) {
            SAFEARRAY* array = nullptr;
            hr = MbnInterfaceManager->GetInterfaces(&array);
            if (SUCCEEDED(hr)) {
                interfaces.reset(array);
                break;
            }
            op.Log(LevelWarning, L"GetInterfaces failed in try %d with !err is 0x%08X", attempt, hr);
            os::api().Sleep(pause);  // also after the last failing try
            if (attempt + 1 >= tries) {
                op.Log(LevelError, L"GetInterfaces failed with error: HRESULT : 0x%08X", hr);
                return false;
            }
        }
        ULONG count = 0;
        GUID* guids = nullptr;
        hr = NLMUtils::CopyArrayOfInterfaces(interfaces.get(), &count, &guids);
        os::UniqueProcessHeapBlock guidBlock(guids);
        if (FAILED(hr)) {
            op.Log(LevelError, L"CopyArrayOfInterfaces Failed with error 0x%08X", hr);
            return false;
        }
        // An empty array is no device.
        result = count > 0;
        for (ULONG i = 0; i < count; ++i) {
            os::UniqueCoTaskString text;
            hr = os::api().StringFromIID(guids[i], text.put());
            if (FAILED(hr)) {
                op.Log(LevelError, L"StringFromIID failed with error 0x%08X", hr);
                result = false;
                break;
            }
            op.Log(LevelInformation, L"WWAN Interface = %s", text.get());
            WwanInterfaceId = text.get();
        }
        interfaces.reset();
        guidBlock.reset();
        op.Exit(L"Return = %d", result);
        return result;
    } catch (...) {
        op.Log(LevelError, L"Exception in EnumerateWwanInterfaces()");
        return false;
    }
}

bool GetRadioInterface(IMbnRadio*& radio)
{
    OperationLog op("ServiceUtils::GetRadioInterface");
    try {
        os::ComPtr<IMbnInterface> mbnInterface;
        HRESULT hr = E_FAIL;
        for (int attempt = 0; attempt < kGetInterfaceTries; ++attempt) {
            hr = MbnInterfaceManager != nullptr
                     ? MbnInterfaceManager->GetInterface(WwanInterfaceId.c_str(), mbnInterface.Put())
                     : E_POINTER;
            if (FAILED(hr))
                op.Log(LevelWarning, L"GetInterface failed in try %d with !err is 0x%08X", attempt, hr);
            // After every call, a success too.
            os::api().Sleep(kGetInterfacePause);
            if (SUCCEEDED(hr))
                break;
        }
        if (FAILED(hr)) {
            op.Log(LevelError, L"GetInterface failed with error: HRESULT : 0x%08X", hr);
            return false;
        }
        hr = mbnInterface->QueryInterface(IID_IMbnRadio, reinterpret_cast<void**>(&radio));
        if (FAILED(hr)) {
            op.Log(LevelError, L"QueryInterface failed with error: HRESULT : 0x%08X", hr);
            return false;
        }
        op.Exit(L"Return = %d", 1);
        return true;
    } catch (...) {
        op.Log(LevelError, L"Exception in GetRadioInterface()");
        return false;
    }
}

int CheckWwanStatus()
{
    OperationLog op("ServiceUtils::CheckWwanStatus");
    try {
        if (!WwanDeviceAvailable) {
            op.Log(LevelError, kDeviceNotAvailable);
            return 0;
        }
        IMbnRadio* raw = nullptr;
        if (!GetRadioInterface(raw)) {
            op.Log(LevelError, L"GetRadioInterface Failed");
            return 0;
        }
        os::ComPtr<IMbnRadio> radio(raw);
        MBN_RADIO state = MBN_RADIO_OFF;
        const HRESULT hr = radio->get_SoftwareRadioState(&state);
        if (FAILED(hr)) {
            op.Log(LevelError, L"get_SoftwareRadioState failed! err is %d", hr);
            return 0;
        }
        op.Log(LevelInformation, L"Current WWAN status : %ls", state == MBN_RADIO_ON ? L"ON" : L"OFF");
        radio.Reset();
        op.Exit(L"WWAN Status = %d", state);
        return state;
    } catch (...) {
        op.Log(LevelError, L"Exception in CheckWwanStatus()");
        return 0;
    }
}

bool SwitchWwanStatus(bool& newStatus, bool& checkAirplaneMode)
{
    OperationLog op("ServiceUtils::SwitchWwanStatus", L"OnOffValue = %d, bCheckAirplaneStatus = %d", newStatus,
                    checkAirplaneMode);
    try {
        std::lock_guard<std::mutex> lock(WwanSwitchMutex);
        if (!WwanDeviceAvailable) {
            op.Log(LevelError, kDeviceNotAvailable);
            return false;
        }
        if (CheckAirplaneMode() && newStatus && checkAirplaneMode) {
            op.Log(LevelInformation, L"SwitchWwanStatus not needed for New status = %d", newStatus);
            return false;
        }
        const int current = CheckWwanStatus();
        op.Log(LevelInformation, L"Current Status : %d, To Change Status = %d", current, newStatus);
        if (current == static_cast<int>(newStatus)) {
            op.Log(LevelInformation, L"No change in WWAN Status Needed.");
            return true;
        }
        int ethernetStatus = 0;
        EthernetCheck::CheckEthernetConnectionStatusEx(&ethernetStatus, nullptr);
        if (!newStatus && ethernetStatus == 0)
            WwanServiceTurnOff = true;
        op.Log(LevelInformation, L"Change to softwareRadioState : %d", newStatus);
        const MBN_RADIO requested = newStatus ? MBN_RADIO_ON : MBN_RADIO_OFF;

        IMbnRadio* raw = nullptr;
        if (!GetRadioInterface(raw)) {
            op.Log(LevelError, L"GetRadioInterface Failed");
            return false;
        }
        os::ComPtr<IMbnRadio> radio(raw);
        NetworkChangedForSetRadio = true;
        for (int attempt = 0; attempt < kSetAttempts; ++attempt) {
            ULONG requestId = 0;
            HRESULT hr = E_FAIL;
            for (int retry = 0; retry < kSetTries; ++retry) {
                hr = radio->SetSoftwareRadioState(requested, &requestId);
                if (FAILED(hr))
                    op.Log(LevelWarning, L"SetSoftwareRadioState failed with error in retry %d: HRESULT : 0x%08X",
                           retry, hr);
                os::api().Sleep(kSetPause);
                if (SUCCEEDED(hr))
                    break;
            }
            // The loop goes on after five failures: the state check decides.
            if (FAILED(hr))
                op.Log(LevelError, L"SetSoftwareRadioState failed with error : HRESULT : 0x%08X", hr);
            op.Log(LevelInformation, L"SetSoftwareRadioState Radio State = %d, Request ID = %d", requested, requestId);
            const int state = CheckWwanStatus();
            op.Log(LevelInformation, L"Got new WWAN Status = %d , bOnOffStatus = %d", state, newStatus);
            if (state == static_cast<int>(newStatus)) {
                op.Log(LevelInformation, L"New Radio State is Set. So exiting from loop");
                break;
            }
            op.Log(LevelInformation, L"Retrying SetSoftwareRadioState = %d as new wwan status is not set", attempt);
            os::api().Sleep(kAttemptPause);
        }
        NetworkChangedForSetRadio = false;
        radio.Reset();
        // True once the radio was had, whatever the attempts reached:
        // callers that need certainty check the state again.
        op.Exit(L"WWAN switching Status = %d", 1);
        return true;
    } catch (...) {
        NetworkChangedForSetRadio = false;
        op.Log(LevelError, L"Exception in SwitchWwanStatus()");
        return false;
    }
}

bool SwitchWwanStatusWithRetry(bool& newStatus, int& retryCount)
{
    OperationLog op("ServiceUtils::SwitchWwanStatusWithRetry", L"NewStatus = %d, Retry Count = %d", newStatus,
                    retryCount);
    try {
        if (!WwanDeviceAvailable) {
            op.Log(LevelError, kDeviceNotAvailable);
            return false;
        }
        if (newStatus && CheckAirplaneMode()) {
            op.Log(LevelInformation, L"SwitchWwanStatus not needed for New status = %d", newStatus);
            return true;
        }
        bool result = false;
        bool checkAirplaneMode = true;
        for (int attempt = 0;;) {
            SwitchWwanStatus(newStatus, checkAirplaneMode);
            os::api().Sleep(kRetryCheckPause);
            if (CheckWwanStatus() == static_cast<int>(newStatus)) {
                op.Log(LevelInformation, L"SwitchWwanStatus Success");
                result = true;
                break;
            }
            op.Log(LevelWarning, L"SwitchWwanStatus not Succeeded. Retrying to %d", attempt);
            os::api().Sleep(kRetryPause);
            if (attempt++ >= retryCount)
                break;
        }
        op.Exit(L"WWAN switching Status = %d", result);
        return result;
    } catch (...) {
        op.Log(LevelError, L"Exception in SwitchWwanStatusWithRetry()");
        return false;
    }
}

void StopWWANService()
{
    OperationLog op("ServiceUtils::StopWWANService");
    try {
        if (!WwanDeviceAvailable) {
            op.Log(LevelError, kDeviceNotAvailable);
            return;
        }
        op.Log(LevelInformation, L"StopWWANService - Entry");
        const int current = CheckWwanStatus();
        op.Log(LevelInformation, L"WWAN Current Status = %d", current);
        if (current == 1) {
            bool off = false;
            bool checkAirplaneMode = false;
            if (SwitchWwanStatus(off, checkAirplaneMode))
                SetWwanPowerStatusInRegistry(true);  // it was on
            else
                op.Log(LevelError, L"SwitchWwanStatus (StopWWANService) failed");
        }
        op.Exit();
    } catch (...) {
        op.Log(LevelError, L"Exception in StopWWANService()");
    }
}

void StartWWANService()
{
    OperationLog op("ServiceUtils::StartWWANService");
    try {
        if (!WwanDeviceAvailable) {
            op.Log(LevelError, kDeviceNotAvailable);
            return;
        }
        const StoredPowerStatus stored = ReadWwanPowerStatus();
        op.Log(LevelInformation, L"WWAN Registry Status = %s", stored.text.c_str());
        if (stored.IsOn()) {
            bool on = true;
            int retryCount = 5;
            if (!SwitchWwanStatusWithRetry(on, retryCount))
                op.Log(LevelError, L"SwitchWwanStatusWithRetry (StartWWANService) failed");
        }
        op.Exit();
    } catch (...) {
        op.Log(LevelError, L"Exception in StartWWANService()");
    }
}

std::mutex& WwanSwitchMutexForTesting() { return WwanSwitchMutex; }

}  // namespace ServiceUtils
