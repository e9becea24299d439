// NLMUtils: the network-state operations that belong to no object: the
// per-connection Ethernet test, the adapter lookup behind it, and the
// diagnostic dumps of connections and connectivity (which also seed the set
// of Ethernet connections). Free functions; any thread; no shared state.
#pragma once

#include "platform/MbnApi.h"

#include <winsock2.h>
#include <iphlpapi.h>
#include <netlistmgr.h>

#include <set>
#include <string>

namespace NLMUtils {

// True when the connection's adapter id was obtained and the adapter list
// searched (found or not); isEthernet is only ever set to true.
bool IsEthernetConnection(INetworkListManager* networkListManager, GUID connectionId, bool* isEthernet);

// Finds the adapter whose GUID text is `adapterGuid` (braces, upper case)
// in GetAdaptersAddresses' list, logs it and sets isEthernet to true when it
// is a non-VPN Ethernet adapter.
void PrintAdapterInfo(const std::wstring& adapterGuid, bool* isEthernet);

// The name of an interface type ("Ethernet", "PPP", ...).
std::wstring GetInterfaceTypeString(IFTYPE& type);

// Spells out the three nibbles of a connectivity bit set.
void PrintConnectivityState(NLM_CONNECTIVITY& connectivity);

// Lists every current connection and adds the Ethernet ones' identifiers to
// `ethernetConnections` (when not null).
void PrintNetworkConnections(INetworkListManager* networkListManager, std::set<std::wstring>* ethernetConnections);

// The interface GUIDs of a safe array of IMbnInterface pointers, packed into
// a process-heap block of 32 bytes per element that the caller frees with
// HeapFree. Returns the last element's code.
HRESULT CopyArrayOfInterfaces(SAFEARRAY* interfaces, ULONG* count, GUID** guids);

}  // namespace NLMUtils
