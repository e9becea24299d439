// The simulation's COM server as COM meets it: loaded by path, its class
// factories asked through DllGetClassObject, the objects used as the service
// uses them, with the simulation state in the registry and the network list
// following the adapters (the real ones, or a hand-built list fed to the
// list when told that a wire change is complete, or by its settled poll).
#include "StateGuard.h"

#include "platform/MbnApi.h"

#include <gtest/gtest.h>

#include <winsock2.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>
#include <netlistmgr.h>
#include <ocidl.h>
#include <oleauto.h>
#include <wbemcli.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace simtests {
namespace {

using sim::Radio;
using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
using CanUnloadNow = HRESULT(WINAPI*)();
using AdapterSource = ULONG(WINAPI*)(ULONG, ULONG, PVOID, PIP_ADAPTER_ADDRESSES, PULONG);
using SetAdapterSource = void(WINAPI*)(AdapterSource);
using SetSettledPoll = void(WINAPI*)(DWORD, DWORD);

constexpr NLM_CONNECTIVITY kNoTraffic =
    static_cast<NLM_CONNECTIVITY>(NLM_CONNECTIVITY_IPV4_NOTRAFFIC | NLM_CONNECTIVITY_IPV6_NOTRAFFIC);
constexpr NLM_CONNECTIVITY kInternet =
    static_cast<NLM_CONNECTIVITY>(NLM_CONNECTIVITY_IPV4_INTERNET | NLM_CONNECTIVITY_IPV6_NOTRAFFIC);

std::wstring DllPath()
{
    std::wstring path = L"Z:";
    for (const char* c = SIM_COMSERVER_PATH; *c; ++c)
        path.push_back(*c == '/' ? L'\\' : static_cast<wchar_t>(*c));
    return path;
}

std::wstring GuidText(const GUID& guid)
{
    wchar_t text[40] = {};
    StringFromGUID2(guid, text, 40);
    return text;
}

template <typename Interface>
struct Released {
    void operator()(Interface* pointer) const
    {
        if (pointer != nullptr)
            pointer->Release();
    }
};
template <typename Interface>
using Owned = std::unique_ptr<Interface, Released<Interface>>;

// The Ethernet adapters IP Helper reports to this process: adapter GUID text
// (as in AdapterName) to nothing.
std::vector<std::wstring> RealEthernetAdapters()
{
    ULONG size = 64 * 1024;
    std::vector<std::uint64_t> buffer(size / sizeof(std::uint64_t));
    auto* first = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
    std::vector<std::wstring> adapters;
    if (GetAdaptersAddresses(AF_UNSPEC, GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST, nullptr, first, &size) !=
        ERROR_SUCCESS)
        return adapters;
    for (IP_ADAPTER_ADDRESSES* adapter = first; adapter != nullptr; adapter = adapter->Next) {
        if (adapter->IfType != IF_TYPE_ETHERNET_CSMACD || adapter->AdapterName == nullptr)
            continue;
        std::wstring name;
        for (const char* c = adapter->AdapterName; *c; ++c)
            name.push_back(static_cast<wchar_t>(*c));
        adapters.push_back(name);
    }
    return adapters;
}

// A hand-built adapter list for the network list: one Ethernet adapter whose
// link and address the test sets, and one wireless adapter that must be left
// out. s_blinkReads reads from now on see the link up whatever s_fakeLinkUp
// says (a change that does not last); s_reads counts the reads.
constexpr GUID kFakeAdapter = {0x0000C0DE, 0x5EED, 0x4000, {0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01}};
constexpr GUID kFakeWireless = {0x0000C0DE, 0x5EED, 0x4000, {0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02}};
std::atomic<bool> s_fakeLinkUp{false};
std::atomic<ULONG> s_fakeAddress{0};  // network order; 0: none
std::atomic<int> s_blinkReads{0};
std::atomic<int> s_reads{0};

std::string NarrowGuid(const GUID& guid)
{
    const std::wstring text = GuidText(guid);
    return std::string(text.begin(), text.end());
}

ULONG WINAPI FakeAdapters(ULONG, ULONG, PVOID, PIP_ADAPTER_ADDRESSES addresses, PULONG size)
{
    struct Layout {
        IP_ADAPTER_ADDRESSES ethernet;
        IP_ADAPTER_ADDRESSES wireless;
        IP_ADAPTER_UNICAST_ADDRESS unicast;
        SOCKADDR_IN socket;
        char ethernetName[40];
        char wirelessName[40];
    };
    if (*size < sizeof(Layout)) {
        *size = sizeof(Layout);
        return ERROR_BUFFER_OVERFLOW;
    }
    ++s_reads;
    bool linkUp = s_fakeLinkUp;
    if (s_blinkReads > 0) {
        --s_blinkReads;
        linkUp = true;
    }
    auto* layout = reinterpret_cast<Layout*>(addresses);
    std::memset(layout, 0, sizeof(Layout));
    std::strcpy(layout->ethernetName, NarrowGuid(kFakeAdapter).c_str());
    std::strcpy(layout->wirelessName, NarrowGuid(kFakeWireless).c_str());
    layout->ethernet.Length = sizeof(IP_ADAPTER_ADDRESSES);
    layout->ethernet.IfIndex = 70;
    layout->ethernet.AdapterName = layout->ethernetName;
    layout->ethernet.IfType = IF_TYPE_ETHERNET_CSMACD;
    layout->ethernet.OperStatus = linkUp ? IfOperStatusUp : IfOperStatusDown;
    layout->ethernet.Next = &layout->wireless;
    layout->socket.sin_family = AF_INET;
    layout->socket.sin_addr.s_addr = s_fakeAddress;
    layout->unicast.Length = sizeof(IP_ADAPTER_UNICAST_ADDRESS);
    layout->unicast.Address.lpSockaddr = reinterpret_cast<SOCKADDR*>(&layout->socket);
    layout->unicast.Address.iSockaddrLength = sizeof(SOCKADDR_IN);
    // As Wine does for an interface without an address: "0.0.0.0".
    layout->ethernet.FirstUnicastAddress = &layout->unicast;
    layout->wireless.Length = sizeof(IP_ADAPTER_ADDRESSES);
    layout->wireless.IfIndex = 71;
    layout->wireless.AdapterName = layout->wirelessName;
    layout->wireless.IfType = IF_TYPE_IEEE80211;
    layout->wireless.OperStatus = IfOperStatusUp;
    return ERROR_SUCCESS;
}

// What a sink saw.
struct Event {
    GUID id;
    ULONG value;  // the connectivity, or the request id
    HRESULT status;
    DWORD thread;
};

class Recorder {
public:
    void Add(const Event& event)
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_events.push_back(event);
    }
    std::vector<Event> Events() const
    {
        std::lock_guard<std::mutex> lock(m_lock);
        return m_events;
    }
    std::vector<Event> EventsOf(const GUID& id) const
    {
        std::vector<Event> of;
        for (const Event& event : Events())
            if (IsEqualGUID(event.id, id))
                of.push_back(event);
        return of;
    }

private:
    mutable std::mutex m_lock;
    std::vector<Event> m_events;
};

template <typename Interface>
class TestSink : public Interface {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, __uuidof(Interface))) {
            *object = static_cast<Interface*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }  // on the test's stack
    ULONG References() const { return m_references; }

    Recorder recorder;

private:
    std::atomic<ULONG> m_references{1};
};

class ConnectionSink : public TestSink<INetworkConnectionEvents> {
public:
    ConnectionSink() : m_release(CreateEventW(nullptr, TRUE, TRUE, nullptr)) {}
    ~ConnectionSink() { CloseHandle(m_release); }

    HRESULT STDMETHODCALLTYPE NetworkConnectionConnectivityChanged(GUID id, NLM_CONNECTIVITY connectivity) override
    {
        recorder.Add({id, static_cast<ULONG>(connectivity), S_OK, GetCurrentThreadId()});
        // As the service's sink does while it switches the radios.
        WaitForSingleObject(m_release, 20000);
        return S_OK;
    }
    // From now on each call returns only once Let() is called.
    void Hold() { ResetEvent(m_release); }
    void Let() { SetEvent(m_release); }

private:
    HANDLE m_release;
    HRESULT STDMETHODCALLTYPE NetworkConnectionPropertyChanged(GUID, NLM_CONNECTION_PROPERTY_CHANGE) override
    {
        return S_OK;
    }
};

class RadioSink : public TestSink<IMbnRadioEvents> {
public:
    HRESULT STDMETHODCALLTYPE OnRadioStateChange(IMbnRadio*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnSetSoftwareRadioStateComplete(IMbnRadio* radio, ULONG requestId,
                                                              HRESULT status) override
    {
        MBN_RADIO state = MBN_RADIO_ON;
        if (radio != nullptr)
            radio->get_SoftwareRadioState(&state);
        recorder.Add({GUID{static_cast<unsigned long>(state), 0, 0, {}}, requestId, status, GetCurrentThreadId()});
        return S_OK;
    }
};

// Advises `sink` on the point of `iid` of `object` for the life of the
// advice.
class Advice {
public:
    Advice(IUnknown* object, REFIID iid, IUnknown* sink)
    {
        IConnectionPointContainer* container = nullptr;
        if (FAILED(object->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(&container))))
            return;
        Owned<IConnectionPointContainer> owned(container);
        IConnectionPoint* point = nullptr;
        if (FAILED(container->FindConnectionPoint(iid, &point)))
            return;
        m_point.reset(point);
        m_result = point->Advise(sink, &m_cookie);
    }
    ~Advice()
    {
        if (m_point && SUCCEEDED(m_result))
            m_point->Unadvise(m_cookie);
    }
    HRESULT Result() const { return m_result; }

private:
    Owned<IConnectionPoint> m_point;
    DWORD m_cookie = 0;
    HRESULT m_result = E_FAIL;
};

class ComServer : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        s_module = LoadLibraryW(DllPath().c_str());
        if (s_module == nullptr)
            return;
        s_getClassObject =
            reinterpret_cast<GetClassObject>(reinterpret_cast<void*>(GetProcAddress(s_module, "DllGetClassObject")));
        s_canUnloadNow =
            reinterpret_cast<CanUnloadNow>(reinterpret_cast<void*>(GetProcAddress(s_module, "DllCanUnloadNow")));
        s_setAdapterSource = reinterpret_cast<SetAdapterSource>(
            reinterpret_cast<void*>(GetProcAddress(s_module, "SetAdapterSourceForTesting")));
        s_setSettledPoll = reinterpret_cast<SetSettledPoll>(
            reinterpret_cast<void*>(GetProcAddress(s_module, "SetSettledPollForTesting")));
    }

    void SetUp() override
    {
        ASSERT_NE(nullptr, s_module) << "LoadLibraryW failed w/err " << GetLastError();
        ASSERT_NE(nullptr, s_getClassObject);
        ASSERT_NE(nullptr, s_canUnloadNow);
        ASSERT_NE(nullptr, s_setAdapterSource);
        ASSERT_NE(nullptr, s_setSettledPoll);
    }

    // The controller's word that a change of the wires is complete; true
    // once the network list has acted on it.
    static bool WireChanged()
    {
        const DWORD next = sim::ReadCounter(sim::kWireChangeValue).value_or(0) + 1;
        return sim::WriteCounter(sim::kWireChangeValue, next) &&
               Eventually([next] { return sim::ReadCounter(sim::kWireChangeSeenValue, sim::kNetworkListKey) == next; });
    }
    // A value of the network list's subkey.
    static DWORD Counter(const wchar_t* name)
    {
        return sim::ReadCounter(name, sim::kNetworkListKey).value_or(0xFFFFFFFF);
    }

    template <typename Interface>
    static Owned<Interface> Create(REFCLSID clsid, REFIID iid)
    {
        IClassFactory* factory = nullptr;
        if (FAILED(s_getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory))))
            return nullptr;
        Owned<IClassFactory> ownedFactory(factory);
        Interface* object = nullptr;
        if (FAILED(factory->CreateInstance(nullptr, iid, reinterpret_cast<void**>(&object))))
            return nullptr;
        return Owned<Interface>(object);
    }

    // Every connection of the manager: connection id to adapter id.
    static std::map<std::wstring, GUID> ConnectionsOf(INetworkListManager* manager)
    {
        std::map<std::wstring, GUID> connections;
        IEnumNetworkConnections* enumerator = nullptr;
        if (FAILED(manager->GetNetworkConnections(&enumerator)))
            return connections;
        Owned<IEnumNetworkConnections> owned(enumerator);
        for (;;) {
            INetworkConnection* connection = nullptr;
            ULONG fetched = 0;
            if (enumerator->Next(1, &connection, &fetched) != S_OK || fetched != 1)
                break;
            Owned<INetworkConnection> ownedConnection(connection);
            GUID id = {};
            GUID adapter = {};
            connection->GetConnectionId(&id);
            connection->GetAdapterId(&adapter);
            connections[GuidText(id)] = adapter;
        }
        return connections;
    }

    static MBN_RADIO RadioOf(IMbnInterfaceManager* manager)
    {
        SAFEARRAY* interfaces = nullptr;
        if (FAILED(manager->GetInterfaces(&interfaces)) || interfaces == nullptr)
            return static_cast<MBN_RADIO>(-1);
        LONG lower = 0;
        LONG upper = -1;
        SafeArrayGetLBound(interfaces, 1, &lower);
        SafeArrayGetUBound(interfaces, 1, &upper);
        MBN_RADIO state = static_cast<MBN_RADIO>(-1);
        if (upper >= lower) {
            IUnknown* element = nullptr;
            SafeArrayGetElement(interfaces, &lower, &element);
            IMbnRadio* radio = nullptr;
            if (element != nullptr &&
                SUCCEEDED(element->QueryInterface(IID_IMbnRadio, reinterpret_cast<void**>(&radio)))) {
                radio->get_SoftwareRadioState(&state);
                radio->Release();
            }
            if (element != nullptr)
                element->Release();
        }
        SafeArrayDestroy(interfaces);
        return state;
    }

    static LONG InterfaceCount(IMbnInterfaceManager* manager)
    {
        SAFEARRAY* interfaces = nullptr;
        if (FAILED(manager->GetInterfaces(&interfaces)) || interfaces == nullptr)
            return -1;
        LONG lower = 0;
        LONG upper = -1;
        SafeArrayGetLBound(interfaces, 1, &lower);
        SafeArrayGetUBound(interfaces, 1, &upper);
        SafeArrayDestroy(interfaces);
        return upper - lower + 1;
    }

    static Owned<IMbnRadio> FirstRadio(IMbnInterfaceManager* manager)
    {
        SAFEARRAY* interfaces = nullptr;
        if (FAILED(manager->GetInterfaces(&interfaces)) || interfaces == nullptr)
            return nullptr;
        LONG lower = 0;
        SafeArrayGetLBound(interfaces, 1, &lower);
        IUnknown* element = nullptr;
        IMbnRadio* radio = nullptr;
        if (SUCCEEDED(SafeArrayGetElement(interfaces, &lower, &element)) && element != nullptr) {
            element->QueryInterface(IID_IMbnRadio, reinterpret_cast<void**>(&radio));
            element->Release();
        }
        SafeArrayDestroy(interfaces);
        return Owned<IMbnRadio>(radio);
    }

    static HMODULE s_module;
    static GetClassObject s_getClassObject;
    static CanUnloadNow s_canUnloadNow;
    static SetAdapterSource s_setAdapterSource;
    static SetSettledPoll s_setSettledPoll;
};

HMODULE ComServer::s_module = nullptr;
GetClassObject ComServer::s_getClassObject = nullptr;
CanUnloadNow ComServer::s_canUnloadNow = nullptr;
SetAdapterSource ComServer::s_setAdapterSource = nullptr;
SetSettledPoll ComServer::s_setSettledPoll = nullptr;

// The network list's poll at a test's pace for the guard's life, then at the
// slow pace of the laptop again.
class FastSettledPoll {
public:
    FastSettledPoll(SetSettledPoll set, DWORD interval, DWORD settle) : m_set(set) { m_set(interval, settle); }
    ~FastSettledPoll() { m_set(10000, 1000); }
    FastSettledPoll(const FastSettledPoll&) = delete;
    FastSettledPoll& operator=(const FastSettledPoll&) = delete;

private:
    SetSettledPoll m_set;
};

TEST_F(ComServer, ServesItsThreeClassesAndStaysLoaded)
{
    const CLSID classes[] = {CLSID_NetworkListManager, CLSID_MbnInterfaceManager, CLSID_WbemLocator};
    for (const CLSID& clsid : classes) {
        IClassFactory* factory = nullptr;
        ASSERT_EQ(S_OK, s_getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory)));
        Owned<IClassFactory> owned(factory);
        IUnknown* object = nullptr;
        RadioSink outer;  // never called: aggregation is refused first
        EXPECT_EQ(CLASS_E_NOAGGREGATION,
                  factory->CreateInstance(&outer, IID_IUnknown, reinterpret_cast<void**>(&object)));
        EXPECT_EQ(nullptr, object);
    }
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, s_getClassObject(CLSID_StdGlobalInterfaceTable, IID_IClassFactory, &object));
    EXPECT_EQ(nullptr, object);
    EXPECT_EQ(S_FALSE, s_canUnloadNow());
}

TEST_F(ComServer, NetworkListHasOneConnectionPerEthernetAdapter)
{
    const std::vector<std::wstring> before = RealEthernetAdapters();
    Owned<INetworkListManager> manager = Create<INetworkListManager>(CLSID_NetworkListManager, IID_INetworkListManager);
    ASSERT_TRUE(manager);
    // A pass sees the adapters as they are now.
    ASSERT_TRUE(WireChanged());
    const std::map<std::wstring, GUID> connections = ConnectionsOf(manager.get());
    const std::vector<std::wstring> after = RealEthernetAdapters();
    for (const auto& [id, adapter] : connections) {
        const std::wstring adapterText = GuidText(adapter);
        EXPECT_NE(after.end(), std::find(after.begin(), after.end(), adapterText))
            << "connection " << std::string(id.begin(), id.end()) << " of no Ethernet adapter";
        EXPECT_NE(id, adapterText);
    }
    // Adapters there all along have their connection.
    size_t stable = 0;
    for (const std::wstring& adapter : before) {
        if (std::find(after.begin(), after.end(), adapter) == after.end())
            continue;
        ++stable;
        bool found = false;
        for (const auto& [id, adapterId] : connections)
            found = found || GuidText(adapterId) == adapter;
        EXPECT_TRUE(found) << std::string(adapter.begin(), adapter.end());
    }
    EXPECT_LE(stable, connections.size());
}

// The connection id of the hand-built adapter, once the manager lists it.
GUID FakeConnectionId(const std::map<std::wstring, GUID>& connections)
{
    GUID id = {};
    for (const auto& [text, adapter] : connections)
        if (IsEqualGUID(adapter, kFakeAdapter))
            IIDFromString(text.c_str(), &id);
    return id;
}

TEST_F(ComServer, NetworkListAnnouncesEachCompleteWireChangeOnceOnAnotherThread)
{
    Owned<INetworkListManager> manager = Create<INetworkListManager>(CLSID_NetworkListManager, IID_INetworkListManager);
    ASSERT_TRUE(manager);
    ConnectionSink sink;
    {
        Advice advice(manager.get(), IID_INetworkConnectionEvents, &sink);
        ASSERT_EQ(S_OK, advice.Result());
        s_fakeLinkUp = false;
        s_fakeAddress = 0;
        s_setAdapterSource(&FakeAdapters);

        // The adapter appears without link: listed, nothing announced.
        ASSERT_TRUE(WireChanged());
        const auto connections = ConnectionsOf(manager.get());
        ASSERT_EQ(1u, connections.size());
        const GUID connectionId = FakeConnectionId(connections);
        EXPECT_TRUE(IsEqualGUID(kFakeAdapter, connections.begin()->second));
        EXPECT_FALSE(IsEqualGUID(kFakeAdapter, connectionId));
        EXPECT_TRUE(sink.recorder.EventsOf(connectionId).empty());

        auto expectNext = [&](size_t count, ULONG connectivity) {
            EXPECT_TRUE(Eventually([&] { return sink.recorder.EventsOf(connectionId).size() >= count; }))
                << "event " << count;
            const std::vector<Event> events = sink.recorder.EventsOf(connectionId);
            ASSERT_EQ(count, events.size());
            EXPECT_EQ(connectivity, events.back().value) << "event " << count;
            EXPECT_NE(GetCurrentThreadId(), events.back().thread);
        };
        // Plugged with a DHCP that takes its time: the link is one change,
        // the address another.
        s_fakeLinkUp = true;
        ASSERT_TRUE(WireChanged());
        expectNext(1, kNoTraffic);
        s_fakeAddress = 0x020AA8C0;  // 192.168.10.2 in network order
        ASSERT_TRUE(WireChanged());
        expectNext(2, kInternet);
        // Pulled: the address flushed, then link down, and only then the
        // word: one transition, never the connection without its address.
        s_fakeAddress = 0;
        s_fakeLinkUp = false;
        ASSERT_TRUE(WireChanged());
        expectNext(3, NLM_CONNECTIVITY_DISCONNECTED);
        // Plugged with its address at once: one transition too.
        s_fakeLinkUp = true;
        s_fakeAddress = 0x020AA8C0;
        ASSERT_TRUE(WireChanged());
        expectNext(4, kInternet);
        // A word with nothing changed announces nothing.
        ASSERT_TRUE(WireChanged());
        s_fakeLinkUp = false;
        s_fakeAddress = 0;
        ASSERT_TRUE(WireChanged());
        expectNext(5, NLM_CONNECTIVITY_DISCONNECTED);

        INetworkConnection* connection = nullptr;
        ASSERT_EQ(S_OK, manager->GetNetworkConnection(connectionId, &connection));
        Owned<INetworkConnection> owned(connection);
        NLM_CONNECTIVITY connectivity = kInternet;
        EXPECT_EQ(S_OK, connection->GetConnectivity(&connectivity));
        EXPECT_EQ(NLM_CONNECTIVITY_DISCONNECTED, connectivity);
        s_setAdapterSource(nullptr);
        // Back to the real adapters: the hand-built one goes.
        ASSERT_TRUE(WireChanged());
        EXPECT_EQ(0u, ConnectionsOf(manager.get()).count(GuidText(connectionId)));
        // Nothing more was said of it (it went without link).
        EXPECT_EQ(5u, sink.recorder.EventsOf(connectionId).size());
    }
    // The advice ended: the point let the sink go (deliveries still running
    // hold it only while they call).
    EXPECT_TRUE(Eventually([&] { return sink.References() == 1; }));
}

TEST_F(ComServer, NetworkListCountsTheEventsTheSinksHaveHandled)
{
    Owned<INetworkListManager> manager = Create<INetworkListManager>(CLSID_NetworkListManager, IID_INetworkListManager);
    ASSERT_TRUE(manager);
    ConnectionSink sink;
    Advice advice(manager.get(), IID_INetworkConnectionEvents, &sink);
    ASSERT_EQ(S_OK, advice.Result());
    s_fakeLinkUp = false;
    s_fakeAddress = 0;
    s_setAdapterSource(&FakeAdapters);
    ASSERT_TRUE(WireChanged());
    EXPECT_EQ(GetCurrentProcessId(), Counter(sim::kNetworkListProcessValue));
    const DWORD delivered = Counter(sim::kNetworkEventsDeliveredValue);
    EXPECT_TRUE(Eventually([&] { return Counter(sim::kNetworkEventsHandledValue) == delivered; }));

    // A sink at work: delivered, not yet handled, when the word is seen.
    sink.Hold();
    s_fakeLinkUp = true;
    s_fakeAddress = 0x020AA8C0;
    ASSERT_TRUE(WireChanged());
    EXPECT_EQ(delivered + 1, Counter(sim::kNetworkEventsDeliveredValue));
    ::Sleep(100);
    EXPECT_EQ(delivered, Counter(sim::kNetworkEventsHandledValue));
    sink.Let();
    EXPECT_TRUE(Eventually([&] { return Counter(sim::kNetworkEventsHandledValue) == delivered + 1; }));

    s_fakeLinkUp = false;
    s_fakeAddress = 0;
    ASSERT_TRUE(WireChanged());
    EXPECT_TRUE(Eventually([&] { return Counter(sim::kNetworkEventsHandledValue) == delivered + 2; }));
    EXPECT_EQ(delivered + 2, Counter(sim::kNetworkEventsDeliveredValue));
    s_setAdapterSource(nullptr);
    ASSERT_TRUE(WireChanged());
}

TEST_F(ComServer, SettledPollAnnouncesAChangeByHandOnlyOnceItLasted)
{
    Owned<INetworkListManager> manager = Create<INetworkListManager>(CLSID_NetworkListManager, IID_INetworkListManager);
    ASSERT_TRUE(manager);
    ConnectionSink sink;
    Advice advice(manager.get(), IID_INetworkConnectionEvents, &sink);
    ASSERT_EQ(S_OK, advice.Result());
    s_fakeLinkUp = false;
    s_fakeAddress = 0;
    s_setAdapterSource(&FakeAdapters);
    ASSERT_TRUE(WireChanged());
    const GUID connectionId = FakeConnectionId(ConnectionsOf(manager.get()));
    {
        FastSettledPoll fast(s_setSettledPoll, 50, 100);
        // A link that comes for one read only: seen once, gone at the
        // second look, never announced.
        s_blinkReads = 1;
        ASSERT_TRUE(Eventually([] { return s_blinkReads == 0; }));
        const int reads = s_reads;
        ASSERT_TRUE(Eventually([&] { return s_reads >= reads + 4; }));
        EXPECT_TRUE(sink.recorder.EventsOf(connectionId).empty());

        // A change by hand that lasts: announced once, without any word.
        s_fakeLinkUp = true;
        s_fakeAddress = 0x020AA8C0;
        ASSERT_TRUE(Eventually([&] { return sink.recorder.EventsOf(connectionId).size() == 1; }));
        EXPECT_EQ(static_cast<ULONG>(kInternet), sink.recorder.EventsOf(connectionId).back().value);
        const int later = s_reads;
        ASSERT_TRUE(Eventually([&] { return s_reads >= later + 4; }));
        EXPECT_EQ(1u, sink.recorder.EventsOf(connectionId).size());

        s_fakeLinkUp = false;
        s_fakeAddress = 0;
        ASSERT_TRUE(Eventually([&] { return sink.recorder.EventsOf(connectionId).size() == 2; }));
        EXPECT_EQ(static_cast<ULONG>(NLM_CONNECTIVITY_DISCONNECTED), sink.recorder.EventsOf(connectionId).back().value);
    }
    // At the laptop's pace the poll reads no more than once in its interval.
    const int slow = s_reads;
    ::Sleep(500);
    EXPECT_LE(s_reads, slow + 2);
    s_setAdapterSource(nullptr);
    ASSERT_TRUE(WireChanged());
}

TEST_F(ComServer, ModemRadioFollowsTheStateAndTheUsersSwitch)
{
    StateGuard guard;
    ASSERT_TRUE(sim::WriteModemPresent(true));
    ASSERT_TRUE(sim::WriteMobileBroadbandRadio(Radio::Off));
    Owned<IMbnInterfaceManager> manager =
        Create<IMbnInterfaceManager>(CLSID_MbnInterfaceManager, IID_IMbnInterfaceManager);
    ASSERT_TRUE(manager);
    EXPECT_TRUE(Eventually([&] { return InterfaceCount(manager.get()) == 1; }));
    EXPECT_TRUE(Eventually([&] { return RadioOf(manager.get()) == MBN_RADIO_OFF; }));
    // The watcher's passes for the key's deletion and new values are over.
    ::Sleep(300);

    RadioSink sink;
    {
        Advice advice(manager.get(), IID_IMbnRadioEvents, &sink);
        ASSERT_EQ(S_OK, advice.Result());
        // The controller's `wwan on`: the user's switch, announced.
        ASSERT_TRUE(sim::WriteMobileBroadbandRadio(Radio::On));
        EXPECT_TRUE(Eventually([&] { return RadioOf(manager.get()) == MBN_RADIO_ON; }));
        ASSERT_TRUE(Eventually([&] { return sink.recorder.Events().size() == 1; }));
        const Event completion = sink.recorder.Events().front();
        EXPECT_GE(completion.value, 0x10000u);
        EXPECT_EQ(S_OK, completion.status);
        EXPECT_EQ(static_cast<unsigned long>(MBN_RADIO_ON), completion.id.Data1);
        EXPECT_NE(GetCurrentThreadId(), completion.thread);
        // No echo: the state is not switched again.
        ::Sleep(300);
        EXPECT_EQ(1u, sink.recorder.Events().size());
    }
}

TEST_F(ComServer, ModemSetWritesTheStateAndCompletes)
{
    StateGuard guard;
    ASSERT_TRUE(sim::WriteModemPresent(true));
    ASSERT_TRUE(sim::WriteMobileBroadbandRadio(Radio::On));
    Owned<IMbnInterfaceManager> manager =
        Create<IMbnInterfaceManager>(CLSID_MbnInterfaceManager, IID_IMbnInterfaceManager);
    ASSERT_TRUE(manager);
    ASSERT_TRUE(Eventually([&] { return RadioOf(manager.get()) == MBN_RADIO_ON; }));
    Owned<IMbnRadio> radio = FirstRadio(manager.get());
    ASSERT_TRUE(radio);
    // The watcher's passes for the key's deletion and new values are over.
    ::Sleep(300);

    RadioSink sink;
    {
        Advice advice(manager.get(), IID_IMbnRadioEvents, &sink);
        ASSERT_EQ(S_OK, advice.Result());
        ULONG request = 0;
        ASSERT_EQ(S_OK, radio->SetSoftwareRadioState(MBN_RADIO_OFF, &request));
        // Written before the completion goes out.
        EXPECT_EQ(Radio::Off, sim::ReadMobileBroadbandRadio());
        ASSERT_TRUE(Eventually([&] { return !sink.recorder.Events().empty(); }));
        ASSERT_EQ(1u, sink.recorder.Events().size());
        const Event completion = sink.recorder.Events().front();
        EXPECT_EQ(request, completion.value);
        EXPECT_EQ(S_OK, completion.status);
        EXPECT_NE(GetCurrentThreadId(), completion.thread);
        MBN_RADIO state = MBN_RADIO_ON;
        EXPECT_EQ(S_OK, radio->get_SoftwareRadioState(&state));
        EXPECT_EQ(MBN_RADIO_OFF, state);
        // The echo of the write is no user's switch.
        ::Sleep(300);
        EXPECT_EQ(1u, sink.recorder.Events().size());
        EXPECT_EQ(Radio::Off, sim::ReadMobileBroadbandRadio());
    }
}

TEST_F(ComServer, ModemHasNoInterfaceWhileNotPresent)
{
    StateGuard guard;
    ASSERT_TRUE(sim::WriteModemPresent(false));
    Owned<IMbnInterfaceManager> manager =
        Create<IMbnInterfaceManager>(CLSID_MbnInterfaceManager, IID_IMbnInterfaceManager);
    ASSERT_TRUE(manager);
    EXPECT_TRUE(Eventually([&] { return InterfaceCount(manager.get()) == 0; }));
    ASSERT_TRUE(sim::WriteModemPresent(true));
    EXPECT_TRUE(Eventually([&] { return InterfaceCount(manager.get()) == 1; }));
}

TEST_F(ComServer, WmiLocatorServesTheFirmwareSettingsOfTheState)
{
    StateGuard guard;
    ASSERT_TRUE(sim::WriteFirmwareSetting(sim::FirmwareSetting::LanWlanSwitching, L"Enable"));
    ASSERT_TRUE(sim::WriteFirmwareSetting(sim::FirmwareSetting::LanWwanSwitching, L"*Disable"));
    Owned<IWbemLocator> locator = Create<IWbemLocator>(CLSID_WbemLocator, IID_IWbemLocator);
    ASSERT_TRUE(locator);
    BSTR resource = SysAllocString(L"ROOT\\qx\\instrumentedbios");
    IWbemServices* services = nullptr;
    const HRESULT connected =
        locator->ConnectServer(resource, nullptr, nullptr, nullptr, 0, nullptr, nullptr, &services);
    SysFreeString(resource);
    ASSERT_EQ(WBEM_S_NO_ERROR, connected);
    Owned<IWbemServices> ownedServices(services);

    BSTR language = SysAllocString(L"WQL");
    BSTR query = SysAllocString(L"SELECT * FROM QXBIOS_BIOSEnumeration WHERE Name='LAN / WLAN Auto Switching' OR "
                                L"Name='LAN / WWAN Auto Switching'");
    IEnumWbemClassObject* enumerator = nullptr;
    const HRESULT executed = services->ExecQuery(language, query, WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY,
                                                 nullptr, &enumerator);
    SysFreeString(language);
    SysFreeString(query);
    ASSERT_EQ(WBEM_S_NO_ERROR, executed);
    Owned<IEnumWbemClassObject> ownedEnumerator(enumerator);

    std::map<std::wstring, std::wstring> settings;
    for (int guardCount = 0; guardCount < 10; ++guardCount) {
        IWbemClassObject* object = nullptr;
        ULONG returned = 0;
        const HRESULT next = enumerator->Next(WBEM_INFINITE, 1, &object, &returned);
        if (returned == 0)
            break;
        Owned<IWbemClassObject> ownedObject(object);
        VARIANT name;
        VARIANT value;
        VariantInit(&name);
        VariantInit(&value);
        ASSERT_EQ(WBEM_S_NO_ERROR, object->Get(L"Name", 0, &name, nullptr, nullptr));
        ASSERT_EQ(WBEM_S_NO_ERROR, object->Get(L"Value", 0, &value, nullptr, nullptr));
        ASSERT_EQ(VT_BSTR, name.vt);
        ASSERT_EQ(VT_BSTR, value.vt);
        settings[name.bstrVal] = value.bstrVal;
        VariantClear(&name);
        VariantClear(&value);
        if (next != WBEM_S_NO_ERROR)
            break;
    }
    const std::map<std::wstring, std::wstring> expected = {{L"LAN / WLAN Auto Switching", L"Enable"},
                                                           {L"LAN / WWAN Auto Switching", L"*Disable"}};
    EXPECT_EQ(expected, settings);
}

}  // namespace
}  // namespace simtests
