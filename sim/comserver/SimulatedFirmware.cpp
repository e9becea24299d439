#include "SimulatedFirmware.h"

#include "sim/SimulationState.h"

namespace sim {

SimulatedFirmware& SimulatedFirmware::Get()
{
    // Never deleted: the objects it hands out must not outlive it.
    static SimulatedFirmware* const firmware = new SimulatedFirmware();
    return *firmware;
}

HRESULT SimulatedFirmware::CreateLocator(REFIID iid, void** object)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_wmi.SetValue(kClass, kLanWlanSetting,
                   ReadFirmwareSetting(FirmwareSetting::LanWlanSwitching).value_or(kDefaultValue));
    m_wmi.SetValue(kClass, kLanWwanSetting,
                   ReadFirmwareSetting(FirmwareSetting::LanWwanSwitching).value_or(kDefaultValue));
    return os::api().CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, iid, object);
}

} // namespace sim
