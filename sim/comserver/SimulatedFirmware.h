// SimulatedFirmware: the firmware's WMI provider of the simulated laptop
// inside the simulation's COM server. One fakes::FirmwareWmi, installed into
// this DLL's copy of the platform seam (its CoCreateInstance of
// CLSID_WbemLocator hands out the model's locator), serving
// "ROOT\qx\instrumentedbios" with the two switching settings of class
// QXBIOS_BIOSEnumeration. Their values are read from the simulation state
// ("FirmwareLanWlanSwitching", "FirmwareLanWwanSwitching"; "Enable" when
// missing) each time a locator is made: the service reads the firmware only
// when it starts.
//
// Threads: any thread of the service may make a locator; the model
// serialises the calls of its objects itself.
#pragma once

#include "models/FirmwareWmi.h"

#include <mutex>

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

    // A locator of the model, the settings taken from the state now.
    HRESULT CreateLocator(REFIID iid, void** object);

    SimulatedFirmware(const SimulatedFirmware&) = delete;
    SimulatedFirmware& operator=(const SimulatedFirmware&) = delete;

private:
    SimulatedFirmware() = default;

    std::mutex m_lock;  // one locator made at a time
    fakes::FirmwareWmi m_wmi;
};

} // namespace sim
