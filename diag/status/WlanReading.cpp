// The Wi-Fi radio, read only: the first interface's software and hardware
// state per PHY, and whether the service counts it on (every PHY on, by the
// service's own walk).
#include "status/Readings.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "platform/Format.h"
#include "platform/UniqueHandle.h"
#include "radio/WlanRadio.h"

using namespace QX::Shared;

namespace diag {
namespace {

constexpr DWORD kClientVersion = 2;

}  // namespace

WlanReading ReadWlanRadio()
{
    OperationLog op("TessarineDiag::ReadWlanRadio");
    WlanReading reading;
    const auto fail = [&](const wchar_t* call, DWORD error) {
        reading.failure = os::FormatString(L"%s failed with error %u", call, error);
        op.Log(LevelError, L"%s", reading.failure.c_str());
        return reading;
    };

    os::UniqueWlanClient client;
    DWORD negotiated = 0;
    DWORD error = os::api().WlanOpenHandle(kClientVersion, nullptr, &negotiated, client.put());
    if (error != ERROR_SUCCESS)
        return fail(L"WlanOpenHandle", error);
    os::UniqueWlanMemory<WLAN_INTERFACE_INFO_LIST> interfaces;
    error = os::api().WlanEnumInterfaces(client.get(), nullptr, interfaces.put());
    if (error != ERROR_SUCCESS)
        return fail(L"WlanEnumInterfaces", error);
    reading.listed = true;
    if (!interfaces || interfaces.get()->dwNumberOfItems == 0) {
        reading.failure = L"no Wi-Fi interface";
        op.Log(LevelInformation, L"Interface list is empty");
        return reading;
    }
    reading.interfaces = interfaces.get()->dwNumberOfItems;
    const WLAN_INTERFACE_INFO& first = interfaces.get()->InterfaceInfo[0];
    reading.description = first.strInterfaceDescription;

    os::UniqueWlanMemory<WLAN_RADIO_STATE> radio;
    DWORD size = 0;
    error = os::api().WlanQueryInterface(client.get(), &first.InterfaceGuid, wlan_intf_opcode_radio_state, nullptr,
                                         &size, reinterpret_cast<void**>(radio.put()), nullptr);
    if (error != ERROR_SUCCESS || !radio)
        return fail(L"WlanQueryInterface", error);
    const DWORD phys =
        radio.get()->dwNumberOfPhys < WLAN_MAX_PHY_INDEX ? radio.get()->dwNumberOfPhys : WLAN_MAX_PHY_INDEX;
    for (DWORD index = 0; index < phys; ++index) {
        const WLAN_PHY_RADIO_STATE& phy = radio.get()->PhyRadioState[index];
        reading.phys.push_back({phy.dwPhyIndex, static_cast<DWORD>(phy.dot11SoftwareRadioState),
                                static_cast<DWORD>(phy.dot11HardwareRadioState)});
    }
    reading.on = ServiceUtils::PhysAreOn(*radio.get(), op);
    reading.read = true;
    op.Exit(L"WLAN Status = %d", reading.on);
    return reading;
}

}  // namespace diag
