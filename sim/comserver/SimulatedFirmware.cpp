#include "SimulatedFirmware.h"

#include "sim/SimulationState.h"

namespace sim {

SimulatedFirmware& SimulatedFirmware::Get()
{
    // Never deleted: the objects it hands out must not outlive it.
    static SimulatedFirmware* const firmware = new SimulatedFirmware();
    return *firmware;
}

void SimulatedFirmware::ReadSettings()
{
    m_wmi.SetValue(kClass, kLanWlanSetting,
                   ReadFirmwareSetting(FirmwareSetting::LanWlanSwitching).value_or(kDefaultValue));
    m_wmi.SetValue(kClass, kLanWwanSetting,
                   ReadFirmwareSetting(FirmwareSetting::LanWwanSwitching).value_or(kDefaultValue));
}

} // namespace sim
