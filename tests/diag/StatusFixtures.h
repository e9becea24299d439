// Fixed status reports for the reasoning and the renderings: the simulated
// laptop as TessarineDiag would read it (the service running, both
// switchings allowed by the firmware, both stored choices "True", a Wi-Fi
// adapter with two PHYs and a modem, both radios on, no wire), and the
// steps that change it as a person's day does.
#pragma once

#include "status/StatusReport.h"

#include <string>

namespace diagtest {

diag::StatusReport Laptop();

// A wire: an Ethernet adapter with an address (it counts), without one
// (DHCP still working), or described as a VPN; pulled, every wire stays
// listed without an address and with its link down. The rule's result is
// made again over the adapters.
void Plug(diag::StatusReport& report, const std::string& name = "eth0", const std::string& address = "192.168.77.2");
void PlugWithoutAddress(diag::StatusReport& report, const std::string& name = "eth0");
void Pull(diag::StatusReport& report);

void SetWifi(diag::StatusReport& report, bool on);
void SetMobileBroadband(diag::StatusReport& report, bool on);
void StoreWifiChoice(diag::StatusReport& report, const std::wstring& text);
void StoreMobileBroadbandChoice(diag::StatusReport& report, const std::wstring& text);
// A firmware setting's value ("*Disable" forbids).
void SetFirmware(diag::StatusReport& report, const std::wstring& setting, const std::wstring& value);
void NoModem(diag::StatusReport& report);
void StopService(diag::StatusReport& report);

}  // namespace diagtest
