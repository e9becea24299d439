// The decisions over IP Helper's adapter chains, apart from the calls that
// fetch them, so that tests hand-build chains. Each logs under the operation
// that walks (the function log it is given).
#pragma once

#include "logging/OperationLog.h"

#include <winsock2.h>
#include <iphlpapi.h>

#include <string>

namespace NLMUtils {

// What the machine-wide Ethernet rule makes of one adapter of the legacy
// list, in the order it asks: its type, then its address, then its
// description.
enum class AdapterVerdict {
    NotEthernetType,  // the legacy Type is not 6 (Ethernet)
    NoAddress,        // Ethernet, but the first address is exactly "0.0.0.0"
    VpnDescription,   // Ethernet with an address, but the description holds "VPN", "Virtual" or "TAP-Win"
    Ethernet,         // counts: a wired, non-VPN Ethernet adapter with an address
};
AdapterVerdict ClassifyAdapterInfo(const IP_ADAPTER_INFO& adapter);

// The machine-wide Ethernet rule over an IP_ADAPTER_INFO chain: the first
// adapter whose verdict is Ethernet sets ethernetStatus to 1 and ends the
// walk; without one, ethernetStatus is 0. An adapter whose verdict is
// NoAddress sets ipNotAssigned (when not null) to 1.
void WalkAdapterInfo(const IP_ADAPTER_INFO* head, int* ethernetStatus, int* ipNotAssigned,
                     const QX::Shared::FunctionLog& log);

// The per-connection rule over an IP_ADAPTER_ADDRESSES chain: every adapter
// whose AdapterName is exactly `adapterGuid` is logged, and isEthernet set
// to true for one of type 6 that is not VPN. The whole chain is walked.
// False when no adapter matched.
bool WalkAdapterAddresses(const IP_ADAPTER_ADDRESSES* head, const std::wstring& adapterGuid, bool* isEthernet,
                          const QX::Shared::FunctionLog& log);

// True when the text holds "VPN", "Virtual" or "TAP-Win" (case-sensitive).
bool HasVpnWord(const char* description);
bool HasVpnWord(const wchar_t* description);
// The first of those words the text holds, or null.
const char* VpnWordIn(const char* description);

}  // namespace NLMUtils
