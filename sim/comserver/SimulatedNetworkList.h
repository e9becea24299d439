// SimulatedNetworkList: the network list manager of the simulated laptop
// inside the simulation's COM server. One fakes::NetworkListModel, serving
// its class through this DLL's copy of the platform seam, whose connections
// follow the Ethernet adapters (IfType 6) that IP Helper reports
// (the real GetAdaptersAddresses, or the source a test sets): one connection
// per adapter, its id derived from the adapter's GUID (ConnectionIdOf), the
// adapter's own GUID (its AdapterName "{...}") as adapter id.
//
// The adapters are read when the controller says a change of the wires is
// complete: it raises WireChange in the simulation state, and a StateWatcher
// makes one pass. A pass compares the adapters with the last view: an
// adapter whose link (OperStatus) or first IPv4 address changed, that came
// or that went updates its connection and fires
// NetworkConnectionConnectivityChanged on the advised sinks, each delivery
// on a thread of its own, with ConnectivityOf the new view (an adapter that
// went: disconnected, and its connection is removed). So a plug or a pull is
// one transition, never the half of one the controller is still making
// (under Wine a pull is "flush the address, then link down", and a read
// between the two would see a connection without an address). The pass then
// writes WireChangeSeen.
//
// Changes made without the controller (an interface deleted by hand) are
// found by a slow, settled poll: every kSettledPollInterval the adapters are
// read, and a difference from the view counts only when a second read
// kSettleTime later finds the same adapters.
//
// For whoever must wait until the service is idle, the list counts its
// deliveries in the state (NetworkEventsDelivered, before the deliveries
// start) and the ones whose sinks have returned (NetworkEventsHandled, as
// each returns), with its process id (NetworkListProcess).
//
// Threads: the service's threads call the model's objects; the watcher's
// thread and the poller's thread change the connections, one at a time
// (m_lock); each delivery runs on a thread of its own. The watcher and the
// poller are started by the first object (never under the loader lock) and,
// like the model, live until the process ends.
#pragma once

#include "models/NetworkListModel.h"
#include "sim/SimulationState.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace sim {

// GetAdaptersAddresses' signature: where the list reads the adapters.
using AdapterSource = ULONG(WINAPI*)(ULONG family, ULONG flags, PVOID reserved, PIP_ADAPTER_ADDRESSES addresses,
                                     PULONG size);

// What the list keeps of one Ethernet adapter.
struct AdapterView {
    GUID adapterId = {};
    bool linkUp = false;
    // The first IPv4 unicast address in network order; 0: none.
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
    // Each read costs the service's process about thirty context switches
    // under Wine: slow enough for an idle laptop to stay quiet, and a change
    // by hand is still seen within a quarter of a minute.
    static constexpr std::chrono::milliseconds kSettledPollInterval{10000};
    static constexpr std::chrono::milliseconds kSettleTime{1000};

    // The network list of the process, made (with its first view of the
    // adapters, its watcher and its poller) on first use and kept until the
    // process ends.
    static SimulatedNetworkList& Get();

    // From the next pass on the adapters come from `source` (nullptr: the
    // real GetAdaptersAddresses).
    void SetAdapterSource(AdapterSource source);
    // Tests: the settled poll's pace (takes effect at once).
    void SetSettledPoll(std::chrono::milliseconds interval, std::chrono::milliseconds settle);

    SimulatedNetworkList(const SimulatedNetworkList&) = delete;
    SimulatedNetworkList& operator=(const SimulatedNetworkList&) = delete;

private:
    struct Delivery;

    SimulatedNetworkList();
    // On the watcher's thread.
    void OnStateChanged();
    static DWORD WINAPI PollThread(void* self);
    void Poll();
    static DWORD WINAPI DeliveryThread(void* parameter);
    // Reads the adapters; false when the source failed. Under m_lock.
    bool ReadAdapters(std::vector<AdapterView>& adapters);
    // Makes `now` the view and, when `fire`, delivers what changed. Under
    // m_lock.
    void Apply(std::vector<AdapterView> now, bool fire);
    void Handled();

    std::mutex m_lock;  // m_source, m_view, m_wireChange: one pass at a time
    AdapterSource m_source;
    std::vector<AdapterView> m_view;
    // The WireChange last acted on (empty: none, or the value went away).
    std::optional<DWORD> m_wireChange;
    std::mutex m_countLock;  // the counters and their values in the state
    DWORD m_delivered = 0;
    DWORD m_handled = 0;
    std::atomic<long long> m_pollInterval{kSettledPollInterval.count()};
    std::atomic<long long> m_settle{kSettleTime.count()};
    HANDLE m_pollWake = nullptr;  // auto reset: the poll's pace changed
    fakes::NetworkListModel m_model;
    // Last: it calls back into the members above.
    std::unique_ptr<StateWatcher> m_watcher;
};

} // namespace sim
