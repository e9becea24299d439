#include "fakes/NetworkListModel.h"

#include "fakes/FakeComTexts.h"

#include <algorithm>

namespace fakes {
namespace {

using ConnectionFailure = ConnectionDescription::Failure;

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

INetworkListManager* NetworkListModel::NewManager() { return new ModelManager(*this); }

} // namespace fakes
