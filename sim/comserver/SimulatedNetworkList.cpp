#include "SimulatedNetworkList.h"

#include <cstdint>
#include <cstring>
#include <memory>

namespace sim {

namespace {

constexpr ULONG kFlags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
constexpr ULONG kFirstBufferSize = 16 * 1024;
// The list can grow between the sizing call and the next one.
constexpr int kReadTries = 4;

bool ParseGuid(const char* text, GUID& guid)
{
    if (text == nullptr)
        return false;
    wchar_t wide[40] = {};
    const size_t length = std::strlen(text);
    if (length != 38)
        return false;
    for (size_t i = 0; i < length; ++i)
        wide[i] = static_cast<wchar_t>(static_cast<unsigned char>(text[i]));
    return SUCCEEDED(IIDFromString(wide, &guid));
}

ULONG FirstIpv4(const IP_ADAPTER_ADDRESSES& adapter)
{
    for (const IP_ADAPTER_UNICAST_ADDRESS* address = adapter.FirstUnicastAddress; address != nullptr;
         address = address->Next) {
        const SOCKADDR* socket = address->Address.lpSockaddr;
        if (socket != nullptr && socket->sa_family == AF_INET)
            return reinterpret_cast<const SOCKADDR_IN*>(socket)->sin_addr.s_addr;
    }
    return 0;
}

}  // namespace

std::vector<AdapterView> EthernetAdapters(const IP_ADAPTER_ADDRESSES* first)
{
    std::vector<AdapterView> adapters;
    for (const IP_ADAPTER_ADDRESSES* adapter = first; adapter != nullptr; adapter = adapter->Next) {
        if (adapter->IfType != IF_TYPE_ETHERNET_CSMACD)
            continue;
        AdapterView view;
        if (!ParseGuid(adapter->AdapterName, view.adapterId))
            continue;
        view.linkUp = adapter->OperStatus == IfOperStatusUp;
        view.ipv4 = FirstIpv4(*adapter);
        adapters.push_back(view);
    }
    return adapters;
}

GUID ConnectionIdOf(const GUID& adapterId)
{
    GUID id = adapterId;
    id.Data2 = static_cast<unsigned short>(~adapterId.Data2);
    id.Data3 = static_cast<unsigned short>(~adapterId.Data3);
    return id;
}

NLM_CONNECTIVITY ConnectivityOf(const AdapterView& adapter)
{
    if (!adapter.linkUp)
        return NLM_CONNECTIVITY_DISCONNECTED;
    if (adapter.ipv4 == 0)
        return static_cast<NLM_CONNECTIVITY>(NLM_CONNECTIVITY_IPV4_NOTRAFFIC | NLM_CONNECTIVITY_IPV6_NOTRAFFIC);
    return static_cast<NLM_CONNECTIVITY>(NLM_CONNECTIVITY_IPV4_INTERNET | NLM_CONNECTIVITY_IPV6_NOTRAFFIC);
}

fakes::ConnectionDescription ConnectionOf(const AdapterView& adapter)
{
    fakes::ConnectionDescription connection;
    connection.connectionId = ConnectionIdOf(adapter.adapterId);
    connection.adapterId = adapter.adapterId;
    connection.networkName = L"Network";
    connection.connected = adapter.linkUp;
    connection.connectedToInternet = adapter.linkUp && adapter.ipv4 != 0;
    connection.connectivity = ConnectivityOf(adapter);
    return connection;
}

// One delivery: the event, and the list that counts it when the sinks
// return.
struct SimulatedNetworkList::Delivery {
    SimulatedNetworkList* list;
    GUID connectionId;
    NLM_CONNECTIVITY connectivity;
};

SimulatedNetworkList& SimulatedNetworkList::Get()
{
    static SimulatedNetworkList* const list = [] {
        // The watcher, the poller and the deliveries run this DLL's code
        // until the process ends: pin it, so that a FreeLibrary cannot unmap
        // it under them. Never deleted, so nothing waits at
        // DLL_PROCESS_DETACH.
        HMODULE self = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                           reinterpret_cast<LPCWSTR>(&SimulatedNetworkList::Get), &self);
        auto* created = new SimulatedNetworkList();
        // The thread is never joined: it polls until the process ends.
        HANDLE thread = CreateThread(nullptr, 0, &SimulatedNetworkList::PollThread, created, 0, nullptr);
        if (thread != nullptr)
            CloseHandle(thread);
        return created;
    }();
    return *list;
}

SimulatedNetworkList::SimulatedNetworkList() : m_source(&::GetAdaptersAddresses)
{
    m_pollWake = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    {
        std::lock_guard<std::mutex> lock(m_lock);
        // The first view makes the connections the first manager lists; it
        // fires nothing, as the platform's list is just there. A wire change
        // the controller finished before is part of it.
        m_wireChange = ReadCounter(kWireChangeValue);
        std::vector<AdapterView> now;
        if (ReadAdapters(now))
            Apply(std::move(now), false);
    }
    // A new process's list: nothing delivered yet, whatever an earlier
    // process's list left.
    {
        std::lock_guard<std::mutex> lock(m_countLock);
        WriteCounter(kNetworkEventsDeliveredValue, 0, kNetworkListKey);
        WriteCounter(kNetworkEventsHandledValue, 0, kNetworkListKey);
        WriteCounter(kNetworkListProcessValue, GetCurrentProcessId(), kNetworkListKey);
    }
    WriteCounter(kWireChangeSeenValue, m_wireChange.value_or(0), kNetworkListKey);
    m_watcher = std::make_unique<StateWatcher>([this] { OnStateChanged(); });
    // A word of the controller's between the first read and the watch.
    OnStateChanged();
}

void SimulatedNetworkList::SetAdapterSource(AdapterSource source)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_source = source != nullptr ? source : &::GetAdaptersAddresses;
}

void SimulatedNetworkList::SetSettledPoll(std::chrono::milliseconds interval, std::chrono::milliseconds settle)
{
    m_pollInterval = interval.count();
    m_settle = settle.count();
    if (m_pollWake != nullptr)
        SetEvent(m_pollWake);
}

void SimulatedNetworkList::OnStateChanged()
{
    // Every change of the key comes here (the radios too): only a new
    // WireChange is the controller's word.
    const std::optional<DWORD> wireChange = ReadCounter(kWireChangeValue);
    std::lock_guard<std::mutex> lock(m_lock);
    if (wireChange == m_wireChange)
        return;
    m_wireChange = wireChange;
    if (!wireChange)
        return;  // the value went (the key deleted): the next one is news
    std::vector<AdapterView> now;
    if (ReadAdapters(now))
        Apply(std::move(now), true);
    // After the deliveries are counted: whoever sees this value sees them.
    // The process id again first: the key may have been deleted by hand.
    WriteCounter(kNetworkListProcessValue, GetCurrentProcessId(), kNetworkListKey);
    WriteCounter(kWireChangeSeenValue, *wireChange, kNetworkListKey);
}

DWORD WINAPI SimulatedNetworkList::PollThread(void* self)
{
    static_cast<SimulatedNetworkList*>(self)->Poll();
    return 0;
}

void SimulatedNetworkList::Poll()
{
    const auto pause = [this](const std::atomic<long long>& length) {
        const DWORD milliseconds = static_cast<DWORD>(length.load());
        if (m_pollWake != nullptr)
            WaitForSingleObject(m_pollWake, milliseconds);
        else
            Sleep(milliseconds);
    };
    for (;;) {
        pause(m_pollInterval);
        std::vector<AdapterView> first;
        {
            std::lock_guard<std::mutex> lock(m_lock);
            if (!ReadAdapters(first) || first == m_view)
                continue;
        }
        // A difference counts once it has lasted: a change still being made
        // (by hand, or by the controller before its word) is not announced
        // half done.
        pause(m_settle);
        std::lock_guard<std::mutex> lock(m_lock);
        std::vector<AdapterView> second;
        if (!ReadAdapters(second) || second != first || second == m_view)
            continue;
        Apply(std::move(second), true);
    }
}

bool SimulatedNetworkList::ReadAdapters(std::vector<AdapterView>& adapters)
{
    ULONG size = kFirstBufferSize;
    for (int tries = 0; tries < kReadTries; ++tries) {
        // 8-byte aligned, as the structures need.
        std::unique_ptr<std::uint64_t[]> buffer(new std::uint64_t[size / sizeof(std::uint64_t) + 1]);
        auto* first = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.get());
        // IPv4 only: the view keeps no IPv6 address, and under Wine the
        // IPv6 half costs more than the rest.
        const ULONG result = m_source(AF_INET, kFlags, nullptr, first, &size);
        if (result == ERROR_BUFFER_OVERFLOW)
            continue;
        if (result == ERROR_NO_DATA) {
            adapters.clear();
            return true;
        }
        if (result != ERROR_SUCCESS)
            return false;
        adapters = EthernetAdapters(first);
        return true;
    }
    return false;
}

void SimulatedNetworkList::Apply(std::vector<AdapterView> now, bool fire)
{
    std::vector<std::pair<GUID, NLM_CONNECTIVITY>> events;
    // Adapters that went: their connections disconnect and go.
    for (const AdapterView& before : m_view) {
        bool kept = false;
        for (const AdapterView& adapter : now)
            kept = kept || IsEqualGUID(adapter.adapterId, before.adapterId);
        if (kept)
            continue;
        const GUID id = ConnectionIdOf(before.adapterId);
        m_model.RemoveConnection(id);
        if (before.linkUp)
            events.emplace_back(id, NLM_CONNECTIVITY_DISCONNECTED);
    }
    // Adapters that came or changed: the connection first, then the event,
    // so a sink that looks the connection up finds it as announced.
    for (const AdapterView& adapter : now) {
        const AdapterView* before = nullptr;
        for (const AdapterView& old : m_view)
            if (IsEqualGUID(old.adapterId, adapter.adapterId))
                before = &old;
        if (before != nullptr && *before == adapter)
            continue;
        m_model.SetConnection(ConnectionOf(adapter));
        // A new adapter without link has nothing to announce.
        if (before != nullptr || adapter.linkUp)
            events.emplace_back(ConnectionIdOf(adapter.adapterId), ConnectivityOf(adapter));
    }
    m_view = std::move(now);
    if (!fire || events.empty())
        return;
    {
        // Counted before any delivery starts, so the handled count never
        // passes the delivered one in the state.
        std::lock_guard<std::mutex> lock(m_countLock);
        m_delivered += static_cast<DWORD>(events.size());
        WriteCounter(kNetworkEventsDeliveredValue, m_delivered, kNetworkListKey);
    }
    for (const auto& [id, connectivity] : events) {
        auto* delivery = new Delivery{this, id, connectivity};
        HANDLE thread = CreateThread(nullptr, 0, &SimulatedNetworkList::DeliveryThread, delivery, 0, nullptr);
        if (thread != nullptr) {
            CloseHandle(thread);
        } else {
            delete delivery;
            Handled();  // nobody will handle it
        }
    }
}

DWORD WINAPI SimulatedNetworkList::DeliveryThread(void* parameter)
{
    std::unique_ptr<Delivery> delivery(static_cast<Delivery*>(parameter));
    // The model delivers on the caller's thread: this one, of its own.
    delivery->list->m_model.DeliverConnectionConnectivityChanged(delivery->connectionId, delivery->connectivity);
    delivery->list->Handled();
    return 0;
}

void SimulatedNetworkList::Handled()
{
    // Written under the lock: the last write is always the latest count.
    std::lock_guard<std::mutex> lock(m_countLock);
    ++m_handled;
    WriteCounter(kNetworkEventsHandledValue, m_handled, kNetworkListKey);
}

}  // namespace sim
