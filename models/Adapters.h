// Adapter descriptions for the tests, one line each: any adapter, an
// Ethernet card, and the simulated laptop's wired and wireless adapters.
#pragma once

#include "models/FakeIpHelper.h"

#include <string>

namespace fakes {

inline AdapterDescription Adapter(UINT type, std::string name, std::string description, std::string address)
{
    AdapterDescription adapter;
    adapter.type = type;
    adapter.name = std::move(name);
    adapter.description = std::move(description);
    adapter.friendlyName = std::wstring(adapter.description.begin(), adapter.description.end()) + L" (friendly)";
    adapter.address = std::move(address);
    return adapter;
}

inline AdapterDescription Ethernet(std::string description, std::string address,
                                          std::string name = "{11111111-2222-3333-4444-555555555555}")
{
    return Adapter(MIB_IF_TYPE_ETHERNET, std::move(name), std::move(description), std::move(address));
}

constexpr char kEthernetGuid[] = "{11111111-2222-3333-4444-555555555555}";
constexpr wchar_t kEthernetGuidText[] = L"{11111111-2222-3333-4444-555555555555}";
constexpr char kWirelessGuid[] = "{AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE}";

// The laptop's wired adapter, with its address or still waiting for DHCP.
inline AdapterDescription WiredAdapter(bool withAddress = true)
{
    return Ethernet("Intel(R) Ethernet Connection", withAddress ? "192.168.1.2" : "0.0.0.0");
}

// The laptop's Wi-Fi adapter, which is no Ethernet whatever its address.
inline AdapterDescription WirelessAdapter()
{
    return Adapter(IF_TYPE_IEEE80211, "{22222222-2222-3333-4444-555555555555}", "Simulated Wireless-AC 9560",
                   "10.0.0.7");
}

} // namespace fakes
