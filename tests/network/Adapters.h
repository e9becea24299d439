// Adapter descriptions for the network tests, one line each.
#pragma once

#include "fakes/FakeIpHelper.h"

#include <string>

namespace nettest {

inline fakes::AdapterDescription Adapter(UINT type, std::string name, std::string description, std::string address)
{
    fakes::AdapterDescription adapter;
    adapter.type = type;
    adapter.name = std::move(name);
    adapter.description = std::move(description);
    adapter.friendlyName = std::wstring(adapter.description.begin(), adapter.description.end()) + L" (friendly)";
    adapter.address = std::move(address);
    return adapter;
}

inline fakes::AdapterDescription Ethernet(std::string description, std::string address,
                                          std::string name = "{11111111-2222-3333-4444-555555555555}")
{
    return Adapter(MIB_IF_TYPE_ETHERNET, std::move(name), std::move(description), std::move(address));
}

constexpr char kEthernetGuid[] = "{11111111-2222-3333-4444-555555555555}";
constexpr wchar_t kEthernetGuidText[] = L"{11111111-2222-3333-4444-555555555555}";
constexpr char kWirelessGuid[] = "{AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE}";

} // namespace nettest
