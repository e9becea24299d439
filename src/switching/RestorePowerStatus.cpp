// Putting a radio back into the state that its persisted power status
// remembers: used by the airplane-mode watcher, the start-up worker and the
// resume handling, on their threads. No state of the object and no lock of
// their own: the radio operations serialise the switching.
#include "switching/MainService.h"

#include "logging/OperationLog.h"
#include "radio/WlanRadio.h"
#include "radio/WwanRadio.h"
#include "service/Registry.h"
#include "state/RegistryPaths.h"

#include <string>

using namespace QX::Shared;

namespace {

// The stored status of a radio as the wanted state: a missing or empty value
// counts as "True" (the radio was on), and only the exact text "True" is on.
bool StoredWantedState(const FunctionLog& log, const wchar_t* keyPath, const wchar_t* emptyMessage)
{
    std::wstring stored = Registry::GetValue(HKEY_LOCAL_MACHINE, keyPath, kPowerStatusValue, Registry::kDefaultView);
    if (stored.empty()) {
        log.Log(LevelInformation, emptyMessage);
        stored = L"True";
    }
    return stored == L"True";
}

} // namespace

void CMainService::UpdateWlanPowerStatus()
{
    OperationLog op("CMainService::UpdateWlanPowerStatus");
    try {
        const bool wanted = StoredWantedState(op, kWlanPowerStatusKey,
                                              L"Registry read is empty : WLAN. Setting Default Value as TRUE");
        op.Log(LevelInformation, L"Registry read is %d, WLAN Switch = %d", wanted, wanted);
        const bool checkAirplaneMode = true;
        ServiceUtils::SwitchWlanStatus(wanted, checkAirplaneMode);
        op.Exit();
    } catch (...) {
        op.Log(LevelError, L"Exception in UpdateWlanPowerStatus()");
    }
}

void CMainService::UpdateWwanPowerStatus()
{
    OperationLog op("CMainService::UpdateWwanPowerStatus");
    try {
        bool wanted = StoredWantedState(op, kWwanPowerStatusKey,
                                        L"Registry read is empty : WWAN. Setting Default Value as TRUE");
        op.Log(LevelInformation, L"Registry read is %d, WWAN Switch = %d", wanted, wanted);
        bool checkAirplaneMode = true;
        ServiceUtils::SwitchWwanStatus(wanted, checkAirplaneMode);
        op.Exit();
    } catch (...) {
        op.Log(LevelError, L"Exception in UpdateWwanPowerStatus()");
    }
}
