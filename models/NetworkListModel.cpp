#include "models/NetworkListModel.h"

#include "models/FakeComTexts.h"

#include <algorithm>

namespace fakes {
namespace {

using ConnectionFailure = ConnectionDescription::Failure;
using EventFailure = NetworkListModel::EventFailure;

// The name of an event interface of the manager, or "" for another.
std::string EventInterfaceName(REFIID iid)
{
    if (IsEqualIID(iid, IID_INetworkListManagerEvents))
        return "INetworkListManagerEvents";
    if (IsEqualIID(iid, IID_INetworkConnectionEvents))
        return "INetworkConnectionEvents";
    if (IsEqualIID(iid, IID_INetworkEvents))
        return "INetworkEvents";
    return "";
}

class ModelConnectionPoint : public CountedObject<IConnectionPoint> {
public:
    ModelConnectionPoint(NetworkListModel& model, IID iid)
        : CountedObject(model.Ledger()), m_model(model), m_iid(iid)
    {
    }
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override
    {
        *iid = m_iid;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override
    {
        return m_model.AdviseSink(m_iid, sink, cookie);
    }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override { return m_model.UnadviseSink(m_iid, cookie); }
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

private:
    NetworkListModel& m_model;
    IID m_iid;
};

class ModelContainer : public CountedObject<IConnectionPointContainer> {
public:
    explicit ModelContainer(NetworkListModel& model) : CountedObject(model.Ledger()), m_model(model) {}
    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override
    {
        *point = nullptr;
        const std::string name = EventInterfaceName(iid);
        if (const HRESULT failure = m_model.EventCall(EventFailure::FindConnectionPoint,
                                                      "FindConnectionPoint " + (name.empty() ? "?" : name)))
            return failure;
        if (name.empty())
            return CONNECT_E_NOCONNECTION;
        *point = new ModelConnectionPoint(m_model, iid);
        return S_OK;
    }

private:
    NetworkListModel& m_model;
};

class ModelNetwork : public CountedDispatch<INetwork> {
public:
    ModelNetwork(ComLedger& ledger, const ConnectionDescription& connection)
        : CountedDispatch(ledger), m_connection(connection)
    {
    }
    HRESULT STDMETHODCALLTYPE GetName(BSTR* name) override
    {
        if (m_connection.failure == ConnectionFailure::GetName)
            return E_FAIL;
        *name = FakeComTexts::MakeBstr(m_connection.networkName);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetName(BSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetDescription(BSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNetworkId(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDomainType(NLM_DOMAIN_TYPE*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNetworkConnections(IEnumNetworkConnections**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTimeCreatedAndConnected(DWORD*, DWORD*, DWORD*, DWORD*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE get_IsConnectedToInternet(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_IsConnected(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetConnectivity(NLM_CONNECTIVITY*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCategory(NLM_NETWORK_CATEGORY*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetCategory(NLM_NETWORK_CATEGORY) override { return E_NOTIMPL; }

private:
    ConnectionDescription m_connection;
};

class ModelConnection : public CountedDispatch<INetworkConnection> {
public:
    ModelConnection(ComLedger& ledger, const ConnectionDescription& connection)
        : CountedDispatch(ledger), m_connection(connection)
    {
    }
    HRESULT STDMETHODCALLTYPE GetNetwork(INetwork** network) override
    {
        if (Fails(ConnectionFailure::GetNetwork)) {
            *network = nullptr;
            return E_FAIL;
        }
        *network = new ModelNetwork(m_ledger, m_connection);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_IsConnectedToInternet(VARIANT_BOOL* connected) override
    {
        if (Fails(ConnectionFailure::IsConnectedToInternet))
            return E_FAIL;
        *connected = m_connection.connectedToInternet ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_IsConnected(VARIANT_BOOL* connected) override
    {
        if (Fails(ConnectionFailure::IsConnected))
            return E_FAIL;
        *connected = m_connection.connected ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetConnectivity(NLM_CONNECTIVITY* connectivity) override
    {
        if (Fails(ConnectionFailure::GetConnectivity))
            return E_FAIL;
        *connectivity = m_connection.connectivity;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetConnectionId(GUID* id) override
    {
        if (Fails(ConnectionFailure::GetConnectionId))
            return E_FAIL;
        *id = m_connection.connectionId;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetAdapterId(GUID* id) override
    {
        if (Fails(ConnectionFailure::GetAdapterId))
            return E_FAIL;
        *id = m_connection.adapterId;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetDomainType(NLM_DOMAIN_TYPE*) override { return E_NOTIMPL; }

private:
    bool Fails(ConnectionFailure call) const { return m_connection.failure == call; }
    ConnectionDescription m_connection;
};

class ModelEnumerator : public CountedDispatch<IEnumNetworkConnections> {
public:
    ModelEnumerator(NetworkListModel& model) : CountedDispatch(model.Ledger()), m_model(model) {}
    HRESULT STDMETHODCALLTYPE get__NewEnum(IEnumVARIANT**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Next(ULONG requested, INetworkConnection** connections, ULONG* fetched) override
    {
        m_model.NoteNext(requested);
        if (const HRESULT failure = m_model.FailureOf(NetworkListModel::Failure::Next)) {
            *fetched = 0;
            return failure;
        }
        const std::vector<ConnectionDescription> all = m_model.Connections();
        ULONG count = 0;
        for (; count < requested && m_position < all.size(); ++count, ++m_position)
            connections[count] = new ModelConnection(m_ledger, all[m_position]);
        *fetched = count;
        return count == requested ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reset() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IEnumNetworkConnections**) override { return E_NOTIMPL; }

private:
    NetworkListModel& m_model;
    size_t m_position = 0;
};

class ModelManager : public CountedDispatch<INetworkListManager> {
public:
    ModelManager(NetworkListModel& model) : CountedDispatch(model.Ledger()), m_model(model) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (IsEqualIID(iid, IID_IConnectionPointContainer)) {
            *object = nullptr;
            if (const HRESULT failure =
                    m_model.EventCall(EventFailure::QueryContainer, "QueryInterface IConnectionPointContainer"))
                return failure;
            *object = static_cast<IConnectionPointContainer*>(new ModelContainer(m_model));
            return S_OK;
        }
        return CountedDispatch::QueryInterface(iid, object);
    }
    HRESULT STDMETHODCALLTYPE GetNetworks(NLM_ENUM_NETWORK, IEnumNetworks**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNetwork(GUID, INetwork**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNetworkConnections(IEnumNetworkConnections** enumerator) override
    {
        if (const HRESULT failure = m_model.FailureOf(NetworkListModel::Failure::GetNetworkConnections)) {
            *enumerator = nullptr;
            return failure;
        }
        *enumerator = new ModelEnumerator(m_model);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetNetworkConnection(GUID id, INetworkConnection** connection) override
    {
        *connection = nullptr;
        if (const HRESULT failure = m_model.FailureOf(NetworkListModel::Failure::GetNetworkConnection))
            return failure;
        for (const ConnectionDescription& description : m_model.Connections()) {
            if (description.connectionId == id) {
                *connection = new ModelConnection(m_ledger, description);
                return S_OK;
            }
        }
        return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    }
    HRESULT STDMETHODCALLTYPE IsConnectedToInternet(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsConnected(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetConnectivity(NLM_CONNECTIVITY*) override { return E_NOTIMPL; }

private:
    NetworkListModel& m_model;
};

} // namespace

void NetworkListModel::AddConnection(ConnectionDescription connection)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_connections.push_back(std::move(connection));
}

void NetworkListModel::SetConnection(ConnectionDescription connection)
{
    std::lock_guard<std::mutex> lock(m_lock);
    for (ConnectionDescription& existing : m_connections) {
        if (existing.connectionId == connection.connectionId) {
            existing = std::move(connection);
            return;
        }
    }
    m_connections.push_back(std::move(connection));
}

void NetworkListModel::RemoveConnection(GUID connectionId)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_connections.erase(std::remove_if(m_connections.begin(), m_connections.end(),
                                       [&](const ConnectionDescription& connection) {
                                           return connection.connectionId == connectionId;
                                       }),
                        m_connections.end());
}

std::vector<ConnectionDescription> NetworkListModel::Connections() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_connections;
}

void NetworkListModel::Fail(Failure point, HRESULT result)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_failure = point;
    m_failureResult = result;
}

HRESULT NetworkListModel::FailureOf(Failure point) const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_failure == point ? m_failureResult : S_OK;
}

void NetworkListModel::NoteNext(ULONG requested)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_nextRequests.push_back(requested);
}

std::vector<ULONG> NetworkListModel::NextRequests() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_nextRequests;
}

NetworkListModel::NetworkListModel(Journal* journal)
    : m_journal(journal),
      m_class(CLSID_NetworkListManager, [this](IUnknown** created) {
          fakes::Note(m_journal, "CoCreateInstance NetworkListManager");
          *created = NewManager();
          return S_OK;
      })
{
}

INetworkListManager* NetworkListModel::NewManager() { return new ModelManager(*this); }

NetworkListModel::~NetworkListModel()
{
    m_deliveries.WaitForAll();
    for (auto& [name, sinks] : m_advised)
        for (auto& [cookie, sink] : sinks)
            sink->Release();
}

void NetworkListModel::FailEvents(EventFailure point, HRESULT result, int occurrence)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_eventFailures[point] = {result, occurrence == 0 ? 0 : m_eventCalls[point] + occurrence};
}

HRESULT NetworkListModel::EventCall(EventFailure point, const std::string& call)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_eventJournal.push_back(call);
    const int number = ++m_eventCalls[point];
    auto found = m_eventFailures.find(point);
    if (found == m_eventFailures.end())
        return S_OK;
    if (found->second.second == 0 || found->second.second == number)
        return found->second.first;
    return S_OK;
}

HRESULT NetworkListModel::AdviseSink(REFIID iid, IUnknown* sink, DWORD* cookie)
{
    const std::string name = EventInterfaceName(iid);
    *cookie = 0;
    DWORD next = 0;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        next = m_nextCookie;
    }
    if (const HRESULT failure = EventCall(EventFailure::Advise, "Advise " + name + " " + std::to_string(next)))
        return failure;
    if (sink == nullptr)
        return E_POINTER;
    IUnknown* events = nullptr;
    if (FAILED(sink->QueryInterface(iid, reinterpret_cast<void**>(&events))))
        return CONNECT_E_CANNOTCONNECT;
    std::lock_guard<std::mutex> lock(m_lock);
    *cookie = m_nextCookie++;
    m_advised[name][*cookie] = events;
    return S_OK;
}

HRESULT NetworkListModel::UnadviseSink(REFIID iid, DWORD cookie)
{
    const std::string name = EventInterfaceName(iid);
    if (const HRESULT failure = EventCall(EventFailure::Unadvise, "Unadvise " + name + " " + std::to_string(cookie)))
        return failure;
    IUnknown* sink = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        auto& sinks = m_advised[name];
        auto found = sinks.find(cookie);
        if (found == sinks.end())
            return CONNECT_E_NOCONNECTION;
        sink = found->second;
        sinks.erase(found);
    }
    sink->Release();
    return S_OK;
}

Journal NetworkListModel::EventCalls() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_eventJournal;
}

size_t NetworkListModel::AdvisedCount(REFIID iid) const
{
    std::lock_guard<std::mutex> lock(m_lock);
    auto found = m_advised.find(EventInterfaceName(iid));
    return found == m_advised.end() ? 0 : found->second.size();
}

namespace {

// The sinks advised for `name`, each with a reference of the caller's.
template <typename Interface>
std::vector<Interface*> TakeSinks(std::mutex& lock, std::map<std::string, std::map<DWORD, IUnknown*>>& advised,
                                  const std::string& name)
{
    std::lock_guard<std::mutex> guard(lock);
    std::vector<Interface*> sinks;
    for (auto& [cookie, sink] : advised[name]) {
        sink->AddRef();
        sinks.push_back(static_cast<Interface*>(sink));
    }
    return sinks;
}

} // namespace

void NetworkListModel::DeliverConnectivityChanged(NLM_CONNECTIVITY connectivity)
{
    Deliver([this, connectivity] {
        for (INetworkListManagerEvents* sink :
             TakeSinks<INetworkListManagerEvents>(m_lock, m_advised, "INetworkListManagerEvents")) {
            sink->ConnectivityChanged(connectivity);
            sink->Release();
        }
    });
}

void NetworkListModel::DeliverConnectionConnectivityChanged(GUID connectionId, NLM_CONNECTIVITY connectivity)
{
    Deliver([this, connectionId, connectivity] {
        for (INetworkConnectionEvents* sink :
             TakeSinks<INetworkConnectionEvents>(m_lock, m_advised, "INetworkConnectionEvents")) {
            sink->NetworkConnectionConnectivityChanged(connectionId, connectivity);
            sink->Release();
        }
    });
}

void NetworkListModel::DeliverNetworkDeleted(GUID networkId)
{
    Deliver([this, networkId] {
        for (INetworkEvents* sink : TakeSinks<INetworkEvents>(m_lock, m_advised, "INetworkEvents")) {
            sink->NetworkDeleted(networkId);
            sink->Release();
        }
    });
}

void NetworkListModel::Deliver(std::function<void()> delivery)
{
    auto timed = [this, delivery = std::move(delivery)] {
        const auto start = std::chrono::steady_clock::now();
        delivery();
        m_lastDeliveryTime = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                 std::chrono::steady_clock::now() - start)
                                 .count();
    };
    if (m_ownThreads)
        m_deliveries.Start(std::move(timed));
    else
        timed();
}

bool NetworkListModel::WaitForDeliveries(std::chrono::milliseconds bound)
{
    return m_deliveries.WaitForAll(bound);
}

} // namespace fakes
