// SimulatedFirmware: the firmware's WMI provider of the simulated laptop
// inside the simulation's COM server. One fakes::FirmwareWmi, installed into
// this DLL's copy of the platform seam (its CoCreateInstance of
// CLSID_WbemLocator hands out the model's locator), serving
// "ROOT\qx\instrumentedbios" with the two switching settings of class
// QXBIOS_BIOSEnumeration. Their values are read from the simulation state
// ("FirmwareLanWlanSwitching", "FirmwareLanWwanSwitching"; "Enable" when
// missing) before each locator is made (ReadSettings): the service reads the
// firmware only when it starts.
//
// Threads: any thread of the service may make a locator; the model
// serialises the calls of its objects, and the settings' changes, itself.
#pragma once

#include "models/FirmwareWmi.h"

namespace sim {

class SimulatedFirmware {
public:
    static constexpr const wchar_t* kClass = L"QXBIOS_BIOSEnumeration";
    static constexpr const wchar_t* kLanWlanSetting = L"LAN / WLAN Auto Switching";
    static constexpr const wchar_t* kLanWwanSetting = L"LAN / WWAN Auto Switching";
    static constexpr const wchar_t* kDefaultValue = L"Enable";

    // The firmware of the process, made on first use (never under the
    // loader lock) and kept until the process ends.
    static SimulatedFirmware& Get();

    // The settings take their values from the state now.
    void ReadSettings();

    SimulatedFirmware(const SimulatedFirmware&) = delete;
    SimulatedFirmware& operator=(const SimulatedFirmware&) = delete;

private:
    SimulatedFirmware() = default;

    fakes::FirmwareWmi m_wmi;
};

} // namespace sim
