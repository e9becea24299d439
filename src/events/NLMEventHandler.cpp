// The COM side of the network event sink: identity and reference count, the
// callbacks that only log, and the connectivity callback that switches the
// radios when a wired Ethernet connection comes and goes.
#include "events/NLMEventHandler.h"

#include "logging/OperationLog.h"
#include "network/NLMUtils.h"
#include "platform/Api.h"
#include "platform/UniqueHandle.h"
#include "radio/WlanRadio.h"
#include "radio/WwanRadio.h"
#include "state/SwitchingState.h"

using namespace QX::Shared;

namespace {

constexpr wchar_t kSleepingText[] = L"System in sleep/Hibernate, not processing the callback";

}  // namespace

NLMEventHandler::NLMEventHandler(INetworkListManager* networkListManager, std::set<std::wstring>* ethernetConnections)
    : m_networkListManager(networkListManager), m_ethernetConnections(ethernetConnections)
{
}

NLMEventHandler::~NLMEventHandler()
{
    // The shared adapter list of the machine-wide test is released at the
    // latest here.
    EthernetCheck::ReleaseAdapterList();
}

HRESULT STDMETHODCALLTYPE NLMEventHandler::QueryInterface(REFIID iid, void** object)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, __uuidof(INetworkListManagerEvents)))
        *object = static_cast<INetworkListManagerEvents*>(this);
    else if (IsEqualIID(iid, __uuidof(INetworkConnectionEvents)))
        *object = static_cast<INetworkConnectionEvents*>(this);
    else if (IsEqualIID(iid, __uuidof(INetworkEvents)))
        *object = static_cast<INetworkEvents*>(this);
    else
        return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

// Plain increments and decrements, not interlocked, as the service has
// always had them: the count moves only when the subscription code, its
// teardown and the connection points take or drop references.
ULONG STDMETHODCALLTYPE NLMEventHandler::AddRef() { return ++m_refCount; }

ULONG STDMETHODCALLTYPE NLMEventHandler::Release()
{
    const ULONG count = --m_refCount;
    if (count == 0)
        delete this;
    return count;
}

HRESULT STDMETHODCALLTYPE NLMEventHandler::ConnectivityChanged(NLM_CONNECTIVITY connectivity)
{
    OperationLog op("NLMEventHandler::ConnectivityChanged", L"NLM_CONNECTIVITY = %d", connectivity);
    op.Exit();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE NLMEventHandler::NetworkAdded(GUID)
{
    OperationLog op("NLMEventHandler::NetworkAdded");
    op.Exit();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE NLMEventHandler::NetworkDeleted(GUID networkId)
{
    OperationLog op("NLMEventHandler::NetworkDeleted");
    op.Log(LevelInformation, L"*************NetworkDeleted start***********");
    // The text is deliberately not freed (a raw pointer, not a
    // UniqueCoTaskString): this callback has always leaked it, and the
    // behaviour is kept as it stands.
    LPOLESTR text = nullptr;
    const HRESULT hr = os::api().StringFromCLSID(networkId, &text);
    if (FAILED(hr)) {
        op.Log(LevelError, L"StringFromCLSID failed w/err 0x%08lx", GetLastError());
        return hr;
    }
    op.Log(LevelInformation, L"Network ID deleted: %s", text);
    op.Log(LevelInformation, L"*************NetworkDeleted End***********");
    op.Exit();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE NLMEventHandler::NetworkConnectivityChanged(GUID, NLM_CONNECTIVITY)
{
    OperationLog op("NLMEventHandler::NetworkConnectivityChanged");
    op.Exit();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE NLMEventHandler::NetworkPropertyChanged(GUID, NLM_NETWORK_PROPERTY_CHANGE change)
{
    OperationLog op("NLMEventHandler::NetworkPropertyChanged", L"NLM_NETWORK_PROPERTY_CHANGE = %d", change);
    op.Exit();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE NLMEventHandler::NetworkConnectionPropertyChanged(GUID, NLM_CONNECTION_PROPERTY_CHANGE change)
{
    OperationLog op("NLMEventHandler::NetworkConnectionPropertyChanged", L"NLM_CONNECTION_PROPERTY_CHANGE = %d",
                    change);
    op.Exit();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE NLMEventHandler::NetworkConnectionConnectivityChanged(GUID connectionId,
                                                                                NLM_CONNECTIVITY connectivity)
{
    OperationLog op("NLMEventHandler::NetworkConnectionConnectivityChanged", L"NLM_CONNECTIVITY = %d", connectivity);
    // Mutes the Wi-Fi notification handlers while this callback works; set
    // before the lock, so that they are muted while a callback waits too.
    msm_Notification_flag = true;
    try {
        std::unique_lock<std::mutex> lock(connectivityCallbackMutex);
        op.Log(LevelInformation, L"------------------start----------------------");
        os::UniqueCoTaskString text;
        const HRESULT hr = os::api().StringFromCLSID(connectionId, text.put());
        if (FAILED(hr)) {
            // msm_Notification_flag deliberately stays set: only a callback
            // that gets past this point clears it, so the Wi-Fi handlers stay
            // muted until the next one completes.
            op.Log(LevelError, L"StringFromCLSID failed w/err 0x%08lx", GetLastError());
            return hr;
        }
        const std::wstring identifier(text.get());
        op.Log(LevelInformation, L"Connection ID : %s", text.get());
        op.Log(LevelInformation, L"New connectivity state : ");
        NLMUtils::PrintConnectivityState(connectivity);

        // Exactly 0 is a disconnect; any other value, even a bare "no
        // traffic" bit, counts as a connect.
        if (connectivity == NLM_CONNECTIVITY_DISCONNECTED)
            OnDisconnected(identifier, op);
        else
            OnConnected(connectionId, identifier, connectivity, op);

        if (m_ethernetConnections != nullptr)
            for (const std::wstring& element : *m_ethernetConnections)
                op.Log(LevelInformation, L"Current ethernetConnection element: %s", element.c_str());
        msm_Notification_flag = false;
        text.reset();
        lock.unlock();
        op.Log(LevelInformation, L"-------------------end-----------------------");
        op.Exit();
        return S_OK;
    } catch (...) {
        // The lock is already released; msm_Notification_flag stays as it is.
        op.Log(LevelError, L"Exception in NetworkConnectionConnectivityChanged()");
        return E_FAIL;
    }
}

void NLMEventHandler::OnDisconnected(const std::wstring& identifier, const FunctionLog& log)
{
    if (on_resumeflag) {
        log.Log(LevelInformation, kSleepingText);
        return;
    }
    log.Log(LevelInformation, L"Disconnecting connection, check list to see if it was Ethernet.");
    if (m_ethernetConnections == nullptr || m_ethernetConnections->count(identifier) == 0) {
        log.Log(LevelInformation, L"Connection ID is not in the list, DO nothing");
        return;
    }
    int ethernetStatus = 0;
    if (CheckEthernetConnectionStatusEx(&ethernetStatus, nullptr) == 0) {
        log.Log(LevelError, L"CheckEthernetConnectionStatusEx failed");
        return;
    }
    log.Log(LevelInformation, L"Ethernet connection status = %d", ethernetStatus);
    if (ethernetStatus != 0)
        return;  // another Ethernet connection is still up
    if (LanWlanSwitchingEnabled) {
        log.Log(LevelInformation, L"The disconnecting connection was Ethernet. Start WLAN service...");
        ServiceUtils::StartWLANService();
    }
    if (LanWwanSwitchingEnabled) {
        log.Log(LevelInformation, L"The disconnecting connection was Ethernet. Start WWAN service...");
        ServiceUtils::StartWWANService();
    }
    // The identifier stays in the set: entries are only ever added.
}

void NLMEventHandler::OnConnected(GUID connectionId, const std::wstring& identifier, NLM_CONNECTIVITY connectivity,
                                  const FunctionLog& log)
{
    log.Log(LevelInformation, L"Connectivity state : %d ", connectivity);
    if (on_resumeflag) {
        log.Log(LevelInformation, kSleepingText);
        return;
    }
    bool isEthernet = false;
    if (!NLMUtils::IsEthernetConnection(m_networkListManager, connectionId, &isEthernet)) {
        log.Log(LevelInformation, L"Could not determine connection type. Doing nothing.");
        return;
    }
    log.Log(LevelInformation, L"Ethernet state : %d ", isEthernet);
    if (!isEthernet || m_ethernetConnections == nullptr)
        return;
    log.Log(LevelInformation, L"Ethernet Connection - adding to set...");
    m_ethernetConnections->insert(identifier);

    // DHCP may still be working on the adapter.
    if (EthernetCheck::WaitForEthernetAddress(log) == 0)
        return;
    // A suspend that began during the wait stops the switch.
    if (on_resumeflag)
        return;
    log.Log(LevelInformation, L"Ethernet is connected");
    if (LanWlanSwitchingEnabled) {
        log.Log(LevelInformation, L"Connecting to Ethernet. Stop WLAN service...");
        ServiceUtils::StopWLANService();
    }
    if (LanWwanSwitchingEnabled) {
        log.Log(LevelInformation, L"Connecting to Ethernet. Stop WWAN service...");
        ServiceUtils::StopWWANService();
    }
}
