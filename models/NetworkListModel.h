// NetworkListModel: the network list manager of the simulated laptop, with
// its connections (connection id, adapter id, network name, connected,
// connected to the internet, connectivity). NewManager hands out an
// INetworkListManager whose connections come from the model: one by id, or
// all through an IEnumNetworkConnections that gives them in the batches
// asked for. Every object counts in the model's ledger until released, and
// each call can be made to fail.
//
// The model serves CLSID_NetworkListManager through CoCreateInstance of the
// seam for its life (ComClass); each request is journalled ("CoCreateInstance
// NetworkListManager") in the journal given, if any.
//
// The manager is also an IConnectionPointContainer (a separate counted
// object, as the service only asks for it and releases it): its connection
// points for the manager, connection and network events hold the sinks
// advised on them (each advise queries the sink for the point's interface
// and keeps that reference until the unadvise). Events go to the advised
// sinks on the caller's thread, or, on the simulated laptop
// (DeliverOnOwnThreads), each on a thread of its own as the platform does. The query, the n-th FindConnectionPoint
// and the n-th Advise can be made to fail.
#pragma once

#include "models/ComClass.h"
#include "models/CountedCom.h"
#include "models/Journal.h"
#include "models/OwnThreads.h"

#include <netlistmgr.h>
#include <ocidl.h>
#include <olectl.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace fakes {

struct ConnectionDescription {
    enum class Failure {
        None,
        GetConnectionId,
        GetAdapterId,
        GetNetwork,
        GetName,
        IsConnected,
        IsConnectedToInternet,
        GetConnectivity
    };

    GUID connectionId = {};
    GUID adapterId = {};
    std::wstring networkName;
    bool connected = true;
    bool connectedToInternet = false;
    NLM_CONNECTIVITY connectivity = NLM_CONNECTIVITY_IPV4_INTERNET;
    Failure failure = Failure::None;  // this call of this connection fails with E_FAIL
};

class NetworkListModel {
public:
    enum class Failure { None, GetNetworkConnections, GetNetworkConnection, Next };

    void AddConnection(ConnectionDescription connection);
    // Replaces the connection with the same id, or adds it.
    void SetConnection(ConnectionDescription connection);
    void RemoveConnection(GUID connectionId);
    std::vector<ConnectionDescription> Connections() const;
    // The call fails with `result` from now on.
    void Fail(Failure point, HRESULT result);

    // A new manager; the caller owns the reference.
    INetworkListManager* NewManager();

    // The events side. Occurrence counts the calls of that kind (1: the
    // first); 0 fails every call from now on.
    enum class EventFailure { QueryContainer, FindConnectionPoint, Advise, Unadvise };
    void FailEvents(EventFailure point, HRESULT result, int occurrence = 0);
    // Calls of the events side, in order: "QueryInterface
    // IConnectionPointContainer", "FindConnectionPoint <interface>",
    // "Advise <interface> <cookie>", "Unadvise <interface> <cookie>".
    Journal EventCalls() const;
    // How many sinks are advised on the point of `iid`.
    size_t AdvisedCount(REFIID iid) const;
    // From now on every delivery runs on a thread of its own.
    void DeliverOnOwnThreads() { m_ownThreads = true; }
    // Whether every delivery started so far has returned within the bound.
    bool WaitForDeliveries(std::chrono::milliseconds bound = OwnThreads::kBound);
    size_t Deliveries() const { return m_deliveries.Started(); }
    // Wall time of the last delivery, from its start to the sinks' return.
    std::chrono::nanoseconds LastDeliveryTime() const { return std::chrono::nanoseconds(m_lastDeliveryTime.load()); }
    // Deliver to every sink advised for the interface.
    void DeliverConnectivityChanged(NLM_CONNECTIVITY connectivity);
    void DeliverConnectionConnectivityChanged(GUID connectionId, NLM_CONNECTIVITY connectivity);
    void DeliverNetworkDeleted(GUID networkId);
    explicit NetworkListModel(Journal* journal = nullptr);
    // Releases the sinks still advised.
    ~NetworkListModel();
    NetworkListModel(const NetworkListModel&) = delete;
    NetworkListModel& operator=(const NetworkListModel&) = delete;

    // For the model's objects.
    HRESULT EventCall(EventFailure point, const std::string& call);
    HRESULT AdviseSink(REFIID iid, IUnknown* sink, DWORD* cookie);
    HRESULT UnadviseSink(REFIID iid, DWORD cookie);

    // The batch size of every IEnumNetworkConnections::Next, in order.
    std::vector<ULONG> NextRequests() const;
    // Objects of this model not yet released.
    int LiveObjects() const { return m_ledger.Live(); }

    // For the model's objects.
    HRESULT FailureOf(Failure point) const;
    void NoteNext(ULONG requested);
    ComLedger& Ledger() { return m_ledger; }

private:
    void Deliver(std::function<void()> delivery);

    Journal* m_journal;
    mutable std::mutex m_lock;
    std::vector<ConnectionDescription> m_connections;
    Failure m_failure = Failure::None;
    HRESULT m_failureResult = S_OK;
    std::vector<ULONG> m_nextRequests;
    std::map<EventFailure, std::pair<HRESULT, int>> m_eventFailures;
    std::map<EventFailure, int> m_eventCalls;
    Journal m_eventJournal;
    // Per interface, the advised sinks by cookie (each holds one reference).
    std::map<std::string, std::map<DWORD, IUnknown*>> m_advised;
    DWORD m_nextCookie = 1;
    ComLedger m_ledger;
    bool m_ownThreads = false;
    std::atomic<int64_t> m_lastDeliveryTime{0};
    // Deliveries end before the sinks are released.
    OwnThreads m_deliveries;
    // Last: the class is served once the model is whole, and ends first.
    ComClass m_class;
};

} // namespace fakes
