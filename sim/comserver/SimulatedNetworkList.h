// SimulatedNetworkList: the network list manager of the simulated laptop
// inside the simulation's COM server. One fakes::NetworkListModel whose
// connections follow the Ethernet adapters (IfType 6) that IP Helper reports
// (the real GetAdaptersAddresses, or the source a test sets): one connection
// per adapter, its id derived from the adapter's GUID (ConnectionIdOf), the
// adapter's own GUID (its AdapterName "{...}") as adapter id.
//
// A poller thread of its own reads the adapters every kPollInterval and
// compares them with its last view. An adapter whose link (OperStatus) or
// first IPv4 address changed, that came or that went updates its connection
// and fires NetworkConnectionConnectivityChanged on the advised sinks, each
// delivery on a thread of its own, with ConnectivityOf the new view (an
// adapter that went: disconnected, and its connection is removed). Under
// Wine OperStatus follows the administrative state and a pulled cable is
// "flush the address, then link down": the address change alone is a
// connect event with "no traffic", the link change then the disconnect.
//
// Threads: the service's threads call the model's objects; the poller's
// thread is the only one that changes the connections. The poller is
// started by the first object (never under the loader lock) and, like the
// model, lives until the process ends.
#pragma once

#include "fakes/NetworkListModel.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

namespace sim {

// GetAdaptersAddresses' signature: where the poller reads the adapters.
using AdapterSource = ULONG(WINAPI*)(ULONG family, ULONG flags, PVOID reserved, PIP_ADAPTER_ADDRESSES addresses,
                                     PULONG size);

// What the poller keeps of one Ethernet adapter.
struct AdapterView {
    GUID adapterId = {};
    bool linkUp = false;
    // The first IPv4 unicast address in network order; 0: none (Wine
    // reports "0.0.0.0" for an interface without one).
    ULONG ipv4 = 0;

    bool operator==(const AdapterView& other) const
    {
        return IsEqualGUID(adapterId, other.adapterId) && linkUp == other.linkUp && ipv4 == other.ipv4;
    }
    bool operator!=(const AdapterView& other) const { return !(*this == other); }
};

// The Ethernet adapters of an IP Helper list, in its order; adapters whose
// name is no GUID text are left out.
std::vector<AdapterView> EthernetAdapters(const IP_ADAPTER_ADDRESSES* first);
// The adapter's GUID with Data2 and Data3 flipped: stable, distinct from the
// adapter id, and the same for the same adapter in every process.
GUID ConnectionIdOf(const GUID& adapterId);
// The connectivity Windows reports for a wired connection in that state:
//   no link                 NLM_CONNECTIVITY_DISCONNECTED
//   link, no IPv4 address   IPV4_NOTRAFFIC | IPV6_NOTRAFFIC (media present,
//                           DHCP still running: the service waits for it)
//   link and an address     IPV4_INTERNET | IPV6_NOTRAFFIC
NLM_CONNECTIVITY ConnectivityOf(const AdapterView& adapter);
fakes::ConnectionDescription ConnectionOf(const AdapterView& adapter);

class SimulatedNetworkList {
public:
    static constexpr std::chrono::milliseconds kPollInterval{150};

    // The network list of the process, made (with its first view of the
    // adapters and its poller) on first use and kept until the process ends.
    static SimulatedNetworkList& Get();

    // A new manager over the model; the caller owns the reference.
    INetworkListManager* NewManager() { return m_model.NewManager(); }
    // From the next pass on the adapters come from `source` (nullptr: the
    // real GetAdaptersAddresses).
    void SetAdapterSource(AdapterSource source);

    SimulatedNetworkList(const SimulatedNetworkList&) = delete;
    SimulatedNetworkList& operator=(const SimulatedNetworkList&) = delete;

private:
    SimulatedNetworkList();
    static DWORD WINAPI PollThread(void* self);
    // Reads the adapters; false when the source failed (the view is kept).
    bool ReadAdapters(std::vector<AdapterView>& adapters);
    // One comparison with the last view; `fire`: deliver the changes.
    void Pass(bool fire);

    std::mutex m_lock;  // m_source and m_view: a pass against SetAdapterSource
    AdapterSource m_source;
    std::vector<AdapterView> m_view;
    fakes::NetworkListModel m_model;
};

} // namespace sim
