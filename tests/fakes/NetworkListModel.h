// NetworkListModel: the network list manager of the simulated laptop, with
// its connections (connection id, adapter id, network name, connected,
// connected to the internet, connectivity). NewManager hands out an
// INetworkListManager whose connections come from the model: one by id, or
// all through an IEnumNetworkConnections that gives them in the batches
// asked for. Every object counts in the model's ledger until released, and
// each call can be made to fail.
#pragma once

#include "fakes/CountedCom.h"

#include <netlistmgr.h>

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
    std::vector<ConnectionDescription> Connections() const;
    // The call fails with `result` from now on.
    void Fail(Failure point, HRESULT result);

    // A new manager; the caller owns the reference.
    INetworkListManager* NewManager();

    // The batch size of every IEnumNetworkConnections::Next, in order.
    std::vector<ULONG> NextRequests() const;
    // Objects of this model not yet released.
    int LiveObjects() const { return m_ledger.Live(); }

    // For the model's objects.
    HRESULT FailureOf(Failure point) const;
    void NoteNext(ULONG requested);
    ComLedger& Ledger() { return m_ledger; }

private:
    mutable std::mutex m_lock;
    std::vector<ConnectionDescription> m_connections;
    Failure m_failure = Failure::None;
    HRESULT m_failureResult = S_OK;
    std::vector<ULONG> m_nextRequests;
    ComLedger m_ledger;
};

} // namespace fakes
