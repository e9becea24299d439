// Putting a radio back into the state that its persisted power status
// remembers: used by the airplane-mode watcher, the start-up worker and the
// resume handling, on their threads. No state of the object and no lock of
// their own: the radio operations serialise the switching.
#include "switching/MainService.h"

#include "logging/OperationLog.h"
#include "radio/PowerStatus.h"
#include "radio/WlanRadio.h"
#include "radio/WwanRadio.h"

using namespace QX::Shared;

namespace {

// The stored status as the wanted state, with a line when it was empty.
bool StoredWantedState(const FunctionLog& log, const ServiceUtils::StoredPowerStatus& stored,
                       const wchar_t* emptyMessage)
{
    if (stored.wasEmpty)
        log.Log(LevelInformation, emptyMessage);
    return stored.IsOn();
}

}  // namespace

void CMainService::UpdateWlanPowerStatus()
{
    OperationLog op("CMainService::UpdateWlanPowerStatus");
    try {
        const bool wanted = StoredWantedState(op, ServiceUtils::ReadWlanPowerStatus(),
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
        bool wanted = StoredWantedState(op, ServiceUtils::ReadWwanPowerStatus(),
                                        L"Registry read is empty : WWAN. Setting Default Value as TRUE");
        op.Log(LevelInformation, L"Registry read is %d, WWAN Switch = %d", wanted, wanted);
        bool checkAirplaneMode = true;
        ServiceUtils::SwitchWwanStatus(wanted, checkAirplaneMode);
        op.Exit();
    } catch (...) {
        op.Log(LevelError, L"Exception in UpdateWwanPowerStatus()");
    }
}
