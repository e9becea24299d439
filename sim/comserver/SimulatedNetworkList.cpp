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

} // namespace

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

SimulatedNetworkList& SimulatedNetworkList::Get()
{
    static SimulatedNetworkList* const list = [] {
        // The poller and the deliveries run this DLL's code until the
        // process ends: pin it, so that a FreeLibrary cannot unmap it under
        // them. Never deleted, so nothing waits at DLL_PROCESS_DETACH.
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
    m_model.DeliverOnOwnThreads();
    // The first view makes the connections the first manager lists; it
    // fires nothing, as the platform's list is just there.
    Pass(false);
}

void SimulatedNetworkList::SetAdapterSource(AdapterSource source)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_source = source != nullptr ? source : &::GetAdaptersAddresses;
}

DWORD WINAPI SimulatedNetworkList::PollThread(void* self)
{
    auto* list = static_cast<SimulatedNetworkList*>(self);
    for (;;) {
        Sleep(static_cast<DWORD>(kPollInterval.count()));
        list->Pass(true);
    }
}

bool SimulatedNetworkList::ReadAdapters(std::vector<AdapterView>& adapters)
{
    ULONG size = kFirstBufferSize;
    for (int tries = 0; tries < kReadTries; ++tries) {
        // 8-byte aligned, as the structures need.
        std::unique_ptr<std::uint64_t[]> buffer(new std::uint64_t[size / sizeof(std::uint64_t) + 1]);
        auto* first = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.get());
        const ULONG result = m_source(AF_UNSPEC, kFlags, nullptr, first, &size);
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

void SimulatedNetworkList::Pass(bool fire)
{
    std::lock_guard<std::mutex> lock(m_lock);
    std::vector<AdapterView> now;
    if (!ReadAdapters(now))
        return;
    // Adapters that went: their connections disconnect and go.
    for (const AdapterView& before : m_view) {
        bool kept = false;
        for (const AdapterView& adapter : now)
            kept = kept || IsEqualGUID(adapter.adapterId, before.adapterId);
        if (kept)
            continue;
        const GUID id = ConnectionIdOf(before.adapterId);
        m_model.RemoveConnection(id);
        if (fire && before.linkUp)
            m_model.DeliverConnectionConnectivityChanged(id, NLM_CONNECTIVITY_DISCONNECTED);
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
        if (fire && (before != nullptr || adapter.linkUp))
            m_model.DeliverConnectionConnectivityChanged(ConnectionIdOf(adapter.adapterId), ConnectivityOf(adapter));
    }
    m_view = std::move(now);
}

} // namespace sim
