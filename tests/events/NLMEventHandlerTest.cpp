// The network event sink: its COM identity and count, the callbacks that
// only log, and the connectivity callback against the simulated laptop (the
// adapter lists, the network list manager, the Wi-Fi adapter and the modem)
// in virtual time, with the persisted power status and airplane mode in the
// real Wine registry.
#include "events/NLMEventHandler.h"

#include "fakes/ExpectedLines.h"
#include "models/FakeComTexts.h"
#include "models/FakeIpHelper.h"
#include "fakes/FakeProcessHeap.h"
#include "models/FakeWlanClient.h"
#include "fakes/FreshSwitchingState.h"
#include "fakes/JoinedVectors.h"
#include "fakes/MachineState.h"
#include "models/MobileBroadbandModel.h"
#include "models/NetworkListModel.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "models/Adapters.h"
#include "platform/Api.h"
#include "platform/ComPtr.h"
#include "radio/WlanRadio.h"
#include "radio/WwanRadio.h"
#include "state/RegistryPaths.h"
#include "state/SwitchingState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Lines = std::vector<std::wstring>;
using Pauses = std::vector<DWORD>;
using fakes::Adapter;
using fakes::Ethernet;
using fakes::operator+;
using testing::ElementsAre;
using testing::IsEmpty;

const GUID kConnectionId = {0x0C0C0C0C, 0x1111, 0x2222, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr wchar_t kConnectionText[] = L"{0C0C0C0C-1111-2222-0102-030405060708}";
const GUID kSecondConnectionId = {0x0D0D0D0D, 0x1111, 0x2222, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr wchar_t kSecondConnectionText[] = L"{0D0D0D0D-1111-2222-0102-030405060708}";
const GUID kWirelessConnectionId = {0x0E0E0E0E, 0x1111, 0x2222, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr wchar_t kWirelessConnectionText[] = L"{0E0E0E0E-1111-2222-0102-030405060708}";

// The adapters behind them (the Ethernet and wireless names of models/Adapters.h).
const GUID kEthernetAdapterId = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};
const GUID kSecondAdapterId = {0x22222222, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};
constexpr char kSecondAdapterName[] = "{22222222-2222-3333-4444-555555555555}";
const GUID kWirelessAdapterId = {0xAAAAAAAA, 0xBBBB, 0xCCCC, {0xDD, 0xDD, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}};

constexpr char kCallback[] = "NLMEventHandler::NetworkConnectionConnectivityChanged";
constexpr char kCheck[] = "NLMEventHandler::CheckEthernetConnectionStatus";
const fakes::FunctionLines Sink{kCallback};
const fakes::FunctionLines Check{kCheck};

// The callback's lines up to the branch.
Lines Head(int connectivity, const wchar_t* connectionText = kConnectionText)
{
    return {Sink(L"TraceIn", L"NLM_CONNECTIVITY = " + std::to_wstring(connectivity)),
            Sink(L"Information", L"------------------start----------------------"),
            Sink(L"Information", std::wstring(L"Connection ID : ") + connectionText),
            Sink(L"Information", L"New connectivity state : ")};
}

// The set listing and the end.
Lines Tail(const std::vector<const wchar_t*>& elements)
{
    Lines lines;
    for (const wchar_t* element : elements)
        lines.push_back(Sink(L"Information", std::wstring(L"Current ethernetConnection element: ") + element));
    lines.push_back(Sink(L"Information", L"-------------------end-----------------------"));
    lines.push_back(Sink(L"TraceOut", L""));
    return lines;
}

Lines ConnectHead(int connectivity, int isEthernet)
{
    return Head(connectivity)
           + Lines{Sink(L"Information", L"Connectivity state : " + std::to_wstring(connectivity) + L" "),
                   Sink(L"Information", L"Ethernet state : " + std::to_wstring(isEthernet) + L" ")};
}

std::wstring FailedTry(int tryNumber)
{
    return Sink(L"Warning", L"CheckEthernetConnectionStatus failed in try " + std::to_wstring(tryNumber));
}

Pauses Seconds(size_t count) { return Pauses(count, 1000); }

fakes::ConnectionDescription Connection(const GUID& connectionId, const GUID& adapterId)
{
    fakes::ConnectionDescription connection;
    connection.connectionId = connectionId;
    connection.adapterId = adapterId;
    return connection;
}

// Everything a test of the sink changes: the process-wide bytes, the
// adapter list, the seam (through the fakes), the registry (through the
// scoped machine state). The sink holds one reference, dropped at the end.
class SinkTest : public testing::Test {
protected:
    SinkTest()
    {
        ResetSwitchingStateForTesting();
        m_network.AddConnection(Connection(kConnectionId, kEthernetAdapterId));
        m_network.AddConnection(Connection(kSecondConnectionId, kSecondAdapterId));
        m_network.AddConnection(Connection(kWirelessConnectionId, kWirelessAdapterId));
        m_manager.Reset(m_network.NewManager());
        m_wlan.AddInterface(L"Simulated Wireless-AC 9560", 2, fakes::FakeWlanClient::kOn,
                            wlan_interface_state_connected);
        m_mbnManager.Reset(m_mbn.NewManager());
        MbnInterfaceManager = m_mbnManager.Get();
        WwanDeviceAvailable = true;
        ServiceUtils::WwanInterfaceId = L"{5A5A5A5A-0000-1111-2222-333344445555}";
        m_mbn.SetRadioState(MBN_RADIO_ON);
        m_airplane.Set(false);
        m_sink = new NLMEventHandler(m_manager.Get(), &m_connections);
        m_sink->AddRef();
    }
    ~SinkTest() override
    {
        if (m_sink != nullptr)
            m_sink->Release();
        ResetSwitchingStateForTesting();
        m_mbnManager.Reset();
        m_mbn.WaitForCompletions();
        m_manager.Reset();
        EXPECT_EQ(m_network.LiveObjects(), 0) << "a network list object was not released";
        EXPECT_EQ(m_mbn.LiveObjects(), 0) << "a mobile-broadband object was not released";
        EXPECT_EQ(m_texts.LiveTexts(), m_leakedTexts) << "a GUID text was not freed";
        EXPECT_EQ(m_wlan.OutstandingBuffers(), 0u);
        EXPECT_EQ(m_wlan.OpenClientHandles(), 0u);
        EXPECT_EQ(EthernetCheck::AdapterListForTesting(), nullptr) << "the sink's end frees the adapter list";
    }
    void BothSwitchingFlags()
    {
        LanWlanSwitchingEnabled = true;
        LanWwanSwitchingEnabled = true;
    }
    HRESULT Changed(const GUID& connectionId, int connectivity)
    {
        return m_sink->NetworkConnectionConnectivityChanged(connectionId, static_cast<NLM_CONNECTIVITY>(connectivity));
    }
    Lines SinkLines() const { return m_log.LinesOf(kCallback); }
    // The machine-wide tests the sink (and the radios) ran.
    int MachineWideTests() const { return m_ipHelper.InfoCalls() / 2; }
    bool WwanOn() const { return m_mbn.RadioState() == MBN_RADIO_ON; }
    static std::wstring StoredWlan() { return fakes::ScopedPowerStatus::Stored(kWlanPowerStatusKey); }
    static std::wstring StoredWwan() { return fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey); }

    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    fakes::FakeComTexts m_texts;
    fakes::FakeProcessHeap m_heap;
    fakes::FakeIpHelper m_ipHelper{{Ethernet("Simulated Ethernet Controller", "192.168.1.20")}};
    fakes::NetworkListModel m_network;
    os::ComPtr<INetworkListManager> m_manager;
    fakes::FakeWlanClient m_wlan;
    fakes::ScopedAirplaneMode m_airplane;
    fakes::ScopedPowerStatus m_powerStatus;
    fakes::MobileBroadbandModel m_mbn;
    os::ComPtr<IMbnInterfaceManager> m_mbnManager;
    std::set<std::wstring> m_connections;
    NLMEventHandler* m_sink = nullptr;
    size_t m_leakedTexts = 0;
};

// --- Identity and count ----------------------------------------------------

TEST_F(SinkTest, QueryInterfaceForIUnknownAndTheListManagerEventsGivesThePrimaryInterface)
{
    void* unknown = nullptr;
    void* listEvents = nullptr;
    EXPECT_EQ(m_sink->QueryInterface(IID_IUnknown, &unknown), S_OK);
    EXPECT_EQ(m_sink->QueryInterface(__uuidof(INetworkListManagerEvents), &listEvents), S_OK);
    EXPECT_EQ(unknown, static_cast<INetworkListManagerEvents*>(m_sink));
    EXPECT_EQ(listEvents, unknown);
    EXPECT_EQ(static_cast<void*>(static_cast<INetworkListManagerEvents*>(m_sink)), static_cast<void*>(m_sink))
        << "the primary interface sits at the object's start";
    EXPECT_EQ(m_sink->Release(), 2u);
    EXPECT_EQ(m_sink->Release(), 1u);
}

TEST_F(SinkTest, QueryInterfaceForTheNetworkEventsGivesTheSecondTable)
{
    void* object = nullptr;
    EXPECT_EQ(m_sink->QueryInterface(__uuidof(INetworkEvents), &object), S_OK);
    EXPECT_EQ(object, static_cast<INetworkEvents*>(m_sink));
    EXPECT_NE(object, static_cast<void*>(m_sink));
    EXPECT_EQ(m_sink->Release(), 1u);
}

TEST_F(SinkTest, QueryInterfaceForTheConnectionEventsGivesTheThirdTable)
{
    void* object = nullptr;
    EXPECT_EQ(m_sink->QueryInterface(__uuidof(INetworkConnectionEvents), &object), S_OK);
    EXPECT_EQ(object, static_cast<INetworkConnectionEvents*>(m_sink));
    EXPECT_NE(object, static_cast<void*>(m_sink));
    EXPECT_NE(object, static_cast<void*>(static_cast<INetworkEvents*>(m_sink)));
    EXPECT_EQ(m_sink->Release(), 1u);
}

TEST_F(SinkTest, EveryInterfaceAnswersIUnknownWithTheOneIdentity)
{
    IUnknown* const interfaces[] = {static_cast<INetworkListManagerEvents*>(m_sink),
                                    static_cast<INetworkEvents*>(m_sink),
                                    static_cast<INetworkConnectionEvents*>(m_sink)};
    for (IUnknown* each : interfaces) {
        void* identity = nullptr;
        ASSERT_EQ(each->QueryInterface(IID_IUnknown, &identity), S_OK);
        EXPECT_EQ(identity, static_cast<void*>(m_sink));
        // And each interface reaches the others through its own table.
        void* connectionEvents = nullptr;
        ASSERT_EQ(each->QueryInterface(__uuidof(INetworkConnectionEvents), &connectionEvents), S_OK);
        EXPECT_EQ(connectionEvents, static_cast<INetworkConnectionEvents*>(m_sink));
        EXPECT_EQ(each->Release(), 2u);
        EXPECT_EQ(each->Release(), 1u);
    }
}

TEST_F(SinkTest, QueryInterfaceWithoutAnOutPointerIsEPointer)
{
    EXPECT_EQ(m_sink->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(m_sink->AddRef(), 2u) << "no reference was taken";
    m_sink->Release();
}

TEST_F(SinkTest, QueryInterfaceForAnotherIdIsENoInterfaceWithANullOut)
{
    void* object = reinterpret_cast<void*>(0x1234);
    EXPECT_EQ(m_sink->QueryInterface(__uuidof(INetworkListManager), &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(m_sink->QueryInterface(IID_IDispatch, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(m_sink->AddRef(), 2u) << "no reference was taken";
    m_sink->Release();
}

TEST_F(SinkTest, TheThreeTablesShareOneCount)
{
    INetworkEvents* networkEvents = m_sink;
    INetworkConnectionEvents* connectionEvents = m_sink;
    INetworkListManagerEvents* listEvents = m_sink;
    EXPECT_EQ(networkEvents->AddRef(), 2u);
    EXPECT_EQ(connectionEvents->AddRef(), 3u);
    EXPECT_EQ(listEvents->AddRef(), 4u);
    EXPECT_EQ(connectionEvents->Release(), 3u);
    EXPECT_EQ(networkEvents->Release(), 2u);
    EXPECT_EQ(listEvents->Release(), 1u);
}

TEST_F(SinkTest, ConstructionTakesNoReferenceAndTheLastReleaseDestroysTheObject)
{
    // A second object, from a count of 0.
    auto* sink = new NLMEventHandler(m_manager.Get(), nullptr);
    EXPECT_EQ(sink->AddRef(), 1u);
    int ethernetStatus = 0;
    ASSERT_EQ(NLMEventHandler::CheckEthernetConnectionStatusEx(&ethernetStatus, nullptr), 1);
    ASSERT_NE(EthernetCheck::AdapterListForTesting(), nullptr);
    EXPECT_EQ(m_heap.Live(), 1u);
    EXPECT_EQ(sink->Release(), 0u);
    // Its destructor freed the adapter list once more.
    EXPECT_EQ(EthernetCheck::AdapterListForTesting(), nullptr);
    EXPECT_EQ(m_heap.Live(), 0u);
}

// The slots of the three tables, called as a connection point would.
template <typename Function>
Function Slot(void* interfacePointer, size_t index)
{
    return reinterpret_cast<Function>((*static_cast<void***>(interfacePointer))[index]);
}

TEST_F(SinkTest, ThePrimaryTableHasConnectivityChangedInItsFourthSlot)
{
    using ConnectivityChanged = HRESULT(STDMETHODCALLTYPE*)(void*, NLM_CONNECTIVITY);
    void* primary = static_cast<INetworkListManagerEvents*>(m_sink);
    EXPECT_EQ(Slot<ConnectivityChanged>(primary, 3)(primary, NLM_CONNECTIVITY_IPV4_INTERNET), S_OK);
    EXPECT_EQ(m_log.Lines(), (Lines{L"TraceIn|NLMEventHandler::ConnectivityChanged|NLM_CONNECTIVITY = 64",
                                    L"TraceOut|NLMEventHandler::ConnectivityChanged|"}));
}

TEST_F(SinkTest, TheSecondTableIsTheNetworkEventsInOrder)
{
    using AddRef = ULONG(STDMETHODCALLTYPE*)(void*);
    using NetworkAdded = HRESULT(STDMETHODCALLTYPE*)(void*, GUID);
    using NetworkPropertyChanged = HRESULT(STDMETHODCALLTYPE*)(void*, GUID, NLM_NETWORK_PROPERTY_CHANGE);
    void* second = static_cast<INetworkEvents*>(m_sink);
    // Its IUnknown entries adjust to the object's start: the one count moves.
    EXPECT_EQ(Slot<AddRef>(second, 1)(second), 2u);
    EXPECT_EQ(Slot<AddRef>(second, 2)(second), 1u);
    EXPECT_EQ(Slot<NetworkAdded>(second, 3)(second, kConnectionId), S_OK);
    EXPECT_EQ(Slot<NetworkPropertyChanged>(second, 6)(second, kConnectionId, NLM_NETWORK_PROPERTY_CHANGE_CATEGORY_VALUE), S_OK);
    EXPECT_EQ(m_log.Lines(),
              (Lines{L"TraceIn|NLMEventHandler::NetworkAdded|", L"TraceOut|NLMEventHandler::NetworkAdded|",
                     L"TraceIn|NLMEventHandler::NetworkPropertyChanged|NLM_NETWORK_PROPERTY_CHANGE = 16",
                     L"TraceOut|NLMEventHandler::NetworkPropertyChanged|"}));
}

TEST_F(SinkTest, TheThirdTableIsTheConnectionEventsInOrder)
{
    using AddRef = ULONG(STDMETHODCALLTYPE*)(void*);
    using PropertyChanged = HRESULT(STDMETHODCALLTYPE*)(void*, GUID, NLM_CONNECTION_PROPERTY_CHANGE);
    void* third = static_cast<INetworkConnectionEvents*>(m_sink);
    EXPECT_EQ(Slot<AddRef>(third, 1)(third), 2u);
    EXPECT_EQ(Slot<AddRef>(third, 2)(third), 1u);
    EXPECT_EQ(Slot<PropertyChanged>(third, 4)(third, kConnectionId, NLM_CONNECTION_PROPERTY_CHANGE_AUTHENTICATION),
              S_OK);
    EXPECT_EQ(m_log.Lines(),
              (Lines{L"TraceIn|NLMEventHandler::NetworkConnectionPropertyChanged|NLM_CONNECTION_PROPERTY_CHANGE = 1",
                     L"TraceOut|NLMEventHandler::NetworkConnectionPropertyChanged|"}));
}

// --- The callbacks that only log -------------------------------------------

TEST_F(SinkTest, TheLoggingCallbacksLogTheirValuesAndSucceed)
{
    EXPECT_EQ(m_sink->ConnectivityChanged(NLM_CONNECTIVITY_DISCONNECTED), S_OK);
    EXPECT_EQ(m_sink->NetworkAdded(kConnectionId), S_OK);
    EXPECT_EQ(m_sink->NetworkConnectivityChanged(kConnectionId, NLM_CONNECTIVITY_IPV6_INTERNET), S_OK);
    EXPECT_EQ(m_sink->NetworkPropertyChanged(kConnectionId, NLM_NETWORK_PROPERTY_CHANGE_DESCRIPTION), S_OK);
    EXPECT_EQ(m_sink->NetworkConnectionPropertyChanged(kConnectionId, NLM_CONNECTION_PROPERTY_CHANGE_AUTHENTICATION),
              S_OK);
    EXPECT_EQ(m_log.Lines(),
              (Lines{L"TraceIn|NLMEventHandler::ConnectivityChanged|NLM_CONNECTIVITY = 0",
                     L"TraceOut|NLMEventHandler::ConnectivityChanged|",
                     L"TraceIn|NLMEventHandler::NetworkAdded|",
                     L"TraceOut|NLMEventHandler::NetworkAdded|",
                     L"TraceIn|NLMEventHandler::NetworkConnectivityChanged|",
                     L"TraceOut|NLMEventHandler::NetworkConnectivityChanged|",
                     L"TraceIn|NLMEventHandler::NetworkPropertyChanged|NLM_NETWORK_PROPERTY_CHANGE = 2",
                     L"TraceOut|NLMEventHandler::NetworkPropertyChanged|",
                     L"TraceIn|NLMEventHandler::NetworkConnectionPropertyChanged|NLM_CONNECTION_PROPERTY_CHANGE = 1",
                     L"TraceOut|NLMEventHandler::NetworkConnectionPropertyChanged|"}));
    EXPECT_EQ(m_ipHelper.InfoCalls(), 0);
    EXPECT_FALSE(msm_Notification_flag);
}

TEST_F(SinkTest, NetworkDeletedLogsTheIdAndKeepsItsTextAsItAlwaysHas)
{
    EXPECT_EQ(m_sink->NetworkDeleted(kConnectionId), S_OK);
    EXPECT_EQ(m_log.Lines(),
              (Lines{L"TraceIn|NLMEventHandler::NetworkDeleted|",
                     L"Information|NLMEventHandler::NetworkDeleted|*************NetworkDeleted start***********",
                     L"Information|NLMEventHandler::NetworkDeleted|Network ID deleted: " + std::wstring(kConnectionText),
                     L"Information|NLMEventHandler::NetworkDeleted|*************NetworkDeleted End***********",
                     L"TraceOut|NLMEventHandler::NetworkDeleted|"}));
    // The GUID text is not freed: a kept leak of this callback.
    EXPECT_EQ(m_texts.LiveTexts(), 1u);
    m_leakedTexts = 1;
}

TEST_F(SinkTest, NetworkDeletedWithAFailedConversionReturnsItsCodeWithoutTheEndLine)
{
    m_texts.Fail(fakes::FakeComTexts::Failure::StringFromCLSID, E_OUTOFMEMORY, 1);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(m_sink->NetworkDeleted(kConnectionId), E_OUTOFMEMORY);
    EXPECT_EQ(m_log.Lines(),
              (Lines{L"TraceIn|NLMEventHandler::NetworkDeleted|",
                     L"Information|NLMEventHandler::NetworkDeleted|*************NetworkDeleted start***********",
                     L"Error|NLMEventHandler::NetworkDeleted|StringFromCLSID failed w/err 0x00000008"}));
}

// --- NetworkConnectionConnectivityChanged: connect --------------------------

TEST_F(SinkTest, AWifiConnectionGainingConnectivityIsNotEthernetAndChangesNothing)
{
    BothSwitchingFlags();
    m_ipHelper.SetAdapters({Adapter(IF_TYPE_IEEE80211, fakes::kWirelessGuid, "Simulated Wireless", "192.168.1.30")});
    EXPECT_EQ(Changed(kWirelessConnectionId, 0x40), S_OK);
    EXPECT_EQ(SinkLines(),
              (Head(0x40, kWirelessConnectionText)
               + Lines{Sink(L"Information", L"Connectivity state : 64 "), Sink(L"Information", L"Ethernet state : 0 ")}
               + Tail({})));
    EXPECT_THAT(m_connections, IsEmpty());
    EXPECT_EQ(MachineWideTests(), 0);
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_TRUE(WwanOn());
    EXPECT_THAT(m_mbn.Calls(), IsEmpty());
    EXPECT_THAT(m_clock.Pauses(), IsEmpty());
    EXPECT_FALSE(msm_Notification_flag);
}

TEST_F(SinkTest, AnEthernetConnectionWithItsAddressIsAddedAndBothRadiosAreStopped)
{
    BothSwitchingFlags();
    EXPECT_EQ(Changed(kConnectionId, 0x40), S_OK);
    EXPECT_EQ(SinkLines(),
              (ConnectHead(0x40, 1)
               + Lines{Sink(L"Information", L"Ethernet Connection - adding to set..."),
                       Sink(L"Information", L"Ethernet is connected"),
                       Sink(L"Information", L"Connecting to Ethernet. Stop WLAN service..."),
                       Sink(L"Information", L"Connecting to Ethernet. Stop WWAN service...")}
               + Tail({kConnectionText})));
    EXPECT_THAT(m_connections, ElementsAre(kConnectionText));
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_FALSE(WwanOn());
    EXPECT_EQ(StoredWlan(), L"True");
    EXPECT_EQ(StoredWwan(), L"True");
    // The radio operations ran, in this order, inside the callback.
    EXPECT_THAT(m_log.Lines(), testing::Contains(L"TraceOut|ServiceUtils::StopWLANService|"));
    EXPECT_THAT(m_log.Lines(), testing::Contains(L"TraceOut|ServiceUtils::StopWWANService|"));
    EXPECT_FALSE(msm_Notification_flag);
}

TEST_F(SinkTest, AConnectWithTheFirmwareForbiddingBothSwitchesTouchesNoRadio)
{
    EXPECT_EQ(Changed(kConnectionId, 0x40), S_OK);
    EXPECT_EQ(SinkLines(), (ConnectHead(0x40, 1)
                            + Lines{Sink(L"Information", L"Ethernet Connection - adding to set..."),
                                    Sink(L"Information", L"Ethernet is connected")}
                            + Tail({kConnectionText})));
    EXPECT_EQ(MachineWideTests(), 1);
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_TRUE(WwanOn());
    EXPECT_EQ(m_wlan.Calls().size(), 0u);
    EXPECT_THAT(m_mbn.Calls(), IsEmpty());
    EXPECT_THAT(m_clock.Pauses(), IsEmpty());
}

// Tries 0, 1 and 2 see "0.0.0.0"; the address arrives 3 s after the event,
// so the fourth call finds it. Timing of the numbered steps: ipNotAssigned
// is never cleared, so that call still logs "failed in try 3" and pauses
// once more (four pauses) before the radios are stopped.
class DhcpSinkTest : public SinkTest {
protected:
    DhcpSinkTest()
    {
        s_current = this;
        m_startMilliseconds = m_clock.NowMilliseconds();
        m_clockSleep = os::api().Sleep;
        m_seam->Sleep = &DhcpSleep;
        m_ipHelper.SetAdapters({Ethernet("Simulated Ethernet Controller", "0.0.0.0")});
    }
    ~DhcpSinkTest() override { s_current = nullptr; }

    // The virtual clock's pause; the address is assigned once the DHCP
    // delay has passed (a negative delay: never).
    static void WINAPI DhcpSleep(DWORD milliseconds)
    {
        s_current->m_clockSleep(milliseconds);
        const uint64_t elapsed = s_current->m_clock.NowMilliseconds() - s_current->m_startMilliseconds;
        if (s_current->m_dhcpMilliseconds >= 0 && elapsed >= static_cast<uint64_t>(s_current->m_dhcpMilliseconds))
            s_current->m_ipHelper.SetAdapters({Ethernet("Simulated Ethernet Controller", "192.168.1.20")});
    }

    static DhcpSinkTest* s_current;
    decltype(&::Sleep) m_clockSleep = nullptr;
    int m_dhcpMilliseconds = -1;
    uint64_t m_startMilliseconds = 0;
    os::ScopedApiOverride m_seam;
};

DhcpSinkTest* DhcpSinkTest::s_current = nullptr;

TEST_F(DhcpSinkTest, AnAddressAfterThreeSecondsIsWaitedForInFourTriesThenTheRadiosStop)
{
    BothSwitchingFlags();
    m_dhcpMilliseconds = 3000;
    EXPECT_EQ(Changed(kConnectionId, 0x40), S_OK);
    EXPECT_EQ(SinkLines(),
              (ConnectHead(0x40, 1)
               + Lines{Sink(L"Information", L"Ethernet Connection - adding to set..."), FailedTry(0), FailedTry(1),
                       FailedTry(2), FailedTry(3), Sink(L"Information", L"Ethernet is connected"),
                       Sink(L"Information", L"Connecting to Ethernet. Stop WLAN service..."),
                       Sink(L"Information", L"Connecting to Ethernet. Stop WWAN service...")}
               + Tail({kConnectionText})));
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_FALSE(WwanOn());
    // The wait's four seconds come first; what follows belongs to the radios.
    const Pauses pauses = m_clock.Pauses();
    ASSERT_GE(pauses.size(), 4u);
    EXPECT_EQ(Pauses(pauses.begin(), pauses.begin() + 4), Seconds(4));
    // The sink's own four tests come first (the modem's switch runs one of
    // its own afterwards).
    const Lines tests = m_log.LinesOf(kCheck);
    ASSERT_GE(tests.size(), 10u);
    EXPECT_EQ(Lines(tests.begin(), tests.begin() + 10),
              (Lines{Check(L"TraceIn", L""), Check(L"TraceOut", L"Ethernet Status = 0"),
                     Check(L"TraceIn", L""), Check(L"TraceOut", L"Ethernet Status = 0"),
                     Check(L"TraceIn", L""), Check(L"TraceOut", L"Ethernet Status = 0"),
                     Check(L"TraceIn", L""), Check(L"Information", L"An Ethernet network interface."),
                     Check(L"Information", L"Ethernet is not VPN and IP is valid"),
                     Check(L"TraceOut", L"Ethernet Status = 1")}));
}

TEST_F(DhcpSinkTest, NoAddressWithinEightTriesSwitchesNothingAndKeepsTheConnection)
{
    BothSwitchingFlags();
    EXPECT_EQ(Changed(kConnectionId, 0x40), S_OK);
    Lines waits;
    for (int tryNumber = 0; tryNumber < 8; ++tryNumber)
        waits.push_back(FailedTry(tryNumber));
    EXPECT_EQ(SinkLines(), (ConnectHead(0x40, 1) + Lines{Sink(L"Information", L"Ethernet Connection - adding to set...")}
                            + waits + Tail({kConnectionText})));
    EXPECT_EQ(m_clock.Pauses(), Seconds(8));
    EXPECT_EQ(MachineWideTests(), 8);
    EXPECT_THAT(m_connections, ElementsAre(kConnectionText));
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_TRUE(WwanOn());
    EXPECT_EQ(m_wlan.Calls().size(), 0u);
    EXPECT_THAT(m_mbn.Calls(), IsEmpty());
    EXPECT_FALSE(msm_Notification_flag);
}

TEST_F(SinkTest, AFailedTestWithoutAnAdapterAwaitingItsAddressCostsOnePauseAndEndsTheAttempt)
{
    BothSwitchingFlags();
    m_ipHelper.Fail(fakes::FakeIpHelper::Failure::AdaptersInfo, ERROR_NO_DATA);
    EXPECT_EQ(Changed(kConnectionId, 0x40), S_OK);
    EXPECT_EQ(SinkLines(), (ConnectHead(0x40, 1)
                            + Lines{Sink(L"Information", L"Ethernet Connection - adding to set..."), FailedTry(0)}
                            + Tail({kConnectionText})));
    EXPECT_EQ(m_clock.Pauses(), Seconds(1));
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_TRUE(WwanOn());
}

TEST_F(SinkTest, ANoTrafficValueOfOneCountsAsAConnect)
{
    LanWlanSwitchingEnabled = true;
    EXPECT_EQ(Changed(kConnectionId, 1), S_OK);
    EXPECT_EQ(SinkLines(), (ConnectHead(1, 1)
                            + Lines{Sink(L"Information", L"Ethernet Connection - adding to set..."),
                                    Sink(L"Information", L"Ethernet is connected"),
                                    Sink(L"Information", L"Connecting to Ethernet. Stop WLAN service...")}
                            + Tail({kConnectionText})));
    EXPECT_THAT(m_connections, ElementsAre(kConnectionText));
    EXPECT_FALSE(m_wlan.RadioOn());
}

TEST_F(SinkTest, AConnectionWhoseTypeCannotBeDeterminedIsDropped)
{
    BothSwitchingFlags();
    m_network.Fail(fakes::NetworkListModel::Failure::GetNetworkConnection, E_ACCESSDENIED);
    EXPECT_EQ(Changed(kConnectionId, 0x40), S_OK);
    EXPECT_EQ(SinkLines(),
              (Head(0x40)
               + Lines{Sink(L"Information", L"Connectivity state : 64 "),
                       Sink(L"Information", L"Could not determine connection type. Doing nothing.")}
               + Tail({})));
    EXPECT_THAT(m_connections, IsEmpty());
    EXPECT_EQ(MachineWideTests(), 0);
    EXPECT_TRUE(m_wlan.RadioOn());
}

TEST_F(SinkTest, WithoutASetAnEthernetConnectTouchesNoRadio)
{
    BothSwitchingFlags();
    m_sink->Release();
    m_sink = new NLMEventHandler(m_manager.Get(), nullptr);
    m_sink->AddRef();
    EXPECT_EQ(Changed(kConnectionId, 0x40), S_OK);
    EXPECT_EQ(SinkLines(), ConnectHead(0x40, 1) + Tail({}));
    EXPECT_EQ(MachineWideTests(), 0);
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_TRUE(WwanOn());
}

// --- NetworkConnectionConnectivityChanged: disconnect ------------------------

Lines DisconnectHead(const wchar_t* connectionText = kConnectionText)
{
    return Head(0, connectionText)
           + Lines{Sink(L"Information", L"Disconnecting connection, check list to see if it was Ethernet.")};
}

TEST_F(SinkTest, AKnownConnectionGoingWithNoEthernetLeftStartsBothRadios)
{
    BothSwitchingFlags();
    m_connections.insert(kConnectionText);
    m_wlan.SwitchByHand(0, false);
    m_mbn.SetRadioState(MBN_RADIO_OFF);
    m_ipHelper.SetAdapters({Ethernet("Simulated Ethernet Controller", "0.0.0.0")});
    EXPECT_EQ(Changed(kConnectionId, 0), S_OK);
    EXPECT_EQ(SinkLines(),
              (DisconnectHead()
               + Lines{Sink(L"Information", L"Ethernet connection status = 0"),
                       Sink(L"Information", L"The disconnecting connection was Ethernet. Start WLAN service..."),
                       Sink(L"Information", L"The disconnecting connection was Ethernet. Start WWAN service...")}
               + Tail({kConnectionText})));
    // Nothing stored counts as "True": both come on.
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_TRUE(WwanOn());
    EXPECT_THAT(m_connections, ElementsAre(kConnectionText)) << "the identifier stays in the set";
    EXPECT_FALSE(msm_Notification_flag);
}

TEST_F(SinkTest, AConnectionNotInTheSetDoesNothing)
{
    BothSwitchingFlags();
    m_connections.insert(kSecondConnectionText);
    m_wlan.SwitchByHand(0, false);
    m_ipHelper.SetAdapters({});
    EXPECT_EQ(Changed(kConnectionId, 0), S_OK);
    EXPECT_EQ(SinkLines(), (DisconnectHead()
                            + Lines{Sink(L"Information", L"Connection ID is not in the list, DO nothing")}
                            + Tail({kSecondConnectionText})));
    EXPECT_EQ(MachineWideTests(), 0);
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_THAT(m_clock.Pauses(), IsEmpty());
}

TEST_F(SinkTest, AnEthernetGoingWhileASecondStillHasAnAddressSwitchesNothing)
{
    BothSwitchingFlags();
    m_connections = {kConnectionText, kSecondConnectionText};
    m_wlan.SwitchByHand(0, false);
    m_mbn.SetRadioState(MBN_RADIO_OFF);
    m_ipHelper.SetAdapters({Ethernet("Simulated Ethernet Controller", "0.0.0.0"),
                            Ethernet("Simulated Ethernet Dock", "192.168.1.21", kSecondAdapterName)});
    EXPECT_EQ(Changed(kConnectionId, 0), S_OK);
    EXPECT_EQ(SinkLines(), (DisconnectHead() + Lines{Sink(L"Information", L"Ethernet connection status = 1")}
                            + Tail({kConnectionText, kSecondConnectionText})));
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_FALSE(WwanOn());
    EXPECT_EQ(m_wlan.Calls().size(), 0u);
    EXPECT_THAT(m_mbn.Calls(), IsEmpty());
}

TEST_F(SinkTest, AFailedMachineWideTestOnDisconnectSwitchesNothing)
{
    BothSwitchingFlags();
    m_connections.insert(kConnectionText);
    m_wlan.SwitchByHand(0, false);
    m_ipHelper.Fail(fakes::FakeIpHelper::Failure::AdaptersInfo, ERROR_NO_DATA);
    EXPECT_EQ(Changed(kConnectionId, 0), S_OK);
    EXPECT_EQ(SinkLines(), (DisconnectHead() + Lines{Sink(L"Error", L"CheckEthernetConnectionStatusEx failed")}
                            + Tail({kConnectionText})));
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_THAT(m_clock.Pauses(), IsEmpty()) << "not retried";
}

TEST_F(SinkTest, TheSameEthernetDisconnectingAndReconnectingIsFoundThenInsertedAgainAsANoOp)
{
    BothSwitchingFlags();
    ASSERT_EQ(Changed(kConnectionId, 0x40), S_OK);
    ASSERT_FALSE(m_wlan.RadioOn());
    m_ipHelper.SetAdapters({Ethernet("Simulated Ethernet Controller", "0.0.0.0")});
    m_log.Clear();
    EXPECT_EQ(Changed(kConnectionId, 0), S_OK);
    EXPECT_EQ(SinkLines(),
              (DisconnectHead()
               + Lines{Sink(L"Information", L"Ethernet connection status = 0"),
                       Sink(L"Information", L"The disconnecting connection was Ethernet. Start WLAN service..."),
                       Sink(L"Information", L"The disconnecting connection was Ethernet. Start WWAN service...")}
               + Tail({kConnectionText})));
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_TRUE(WwanOn());
    m_ipHelper.SetAdapters({Ethernet("Simulated Ethernet Controller", "192.168.1.20")});
    m_log.Clear();
    EXPECT_EQ(Changed(kConnectionId, 0x40), S_OK);
    EXPECT_EQ(SinkLines(),
              (ConnectHead(0x40, 1)
               + Lines{Sink(L"Information", L"Ethernet Connection - adding to set..."),
                       Sink(L"Information", L"Ethernet is connected"),
                       Sink(L"Information", L"Connecting to Ethernet. Stop WLAN service..."),
                       Sink(L"Information", L"Connecting to Ethernet. Stop WWAN service...")}
               + Tail({kConnectionText})));
    EXPECT_THAT(m_connections, ElementsAre(kConnectionText)) << "one element: the insert changed nothing";
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_FALSE(WwanOn());
}

TEST_F(SinkTest, OnlyTheWifiRadioIsSwitchedWhenOnlyItsFirmwareFlagIsSet)
{
    LanWlanSwitchingEnabled = true;
    LanWwanSwitchingEnabled = false;
    ASSERT_EQ(Changed(kConnectionId, 0x40), S_OK);
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_TRUE(WwanOn());
    EXPECT_THAT(SinkLines(), testing::Not(testing::Contains(
                                 Sink(L"Information", L"Connecting to Ethernet. Stop WWAN service..."))));
    m_ipHelper.SetAdapters({Ethernet("Simulated Ethernet Controller", "0.0.0.0")});
    m_mbn.SetRadioState(MBN_RADIO_OFF);
    m_log.Clear();
    ASSERT_EQ(Changed(kConnectionId, 0), S_OK);
    EXPECT_EQ(SinkLines(),
              (DisconnectHead()
               + Lines{Sink(L"Information", L"Ethernet connection status = 0"),
                       Sink(L"Information", L"The disconnecting connection was Ethernet. Start WLAN service...")}
               + Tail({kConnectionText})));
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_FALSE(WwanOn());
    EXPECT_THAT(m_mbn.Calls(), IsEmpty()) << "the modem was never asked";
    EXPECT_EQ(StoredWwan(), L"<missing>");
}

// --- Resume, the flag, failures --------------------------------------------

TEST_F(SinkTest, AConnectDuringResumeIsNotProcessedButTheSetIsListedAndTheFlagCleared)
{
    BothSwitchingFlags();
    on_resumeflag = true;
    m_connections.insert(kSecondConnectionText);
    EXPECT_EQ(Changed(kConnectionId, 0x40), S_OK);
    EXPECT_EQ(SinkLines(),
              (Head(0x40)
               + Lines{Sink(L"Information", L"Connectivity state : 64 "),
                       Sink(L"Information", L"System in sleep/Hibernate, not processing the callback")}
               + Tail({kSecondConnectionText})));
    EXPECT_EQ(m_ipHelper.InfoCalls(), 0);
    EXPECT_EQ(m_ipHelper.AddressesCalls(), 0);
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_TRUE(WwanOn());
    EXPECT_FALSE(msm_Notification_flag);
    EXPECT_TRUE(on_resumeflag) << "only the resume handling clears it";
}

TEST_F(SinkTest, ADisconnectDuringResumeIsNotProcessedButTheSetIsListedAndTheFlagCleared)
{
    BothSwitchingFlags();
    on_resumeflag = true;
    m_connections.insert(kConnectionText);
    m_wlan.SwitchByHand(0, false);
    m_ipHelper.SetAdapters({});
    EXPECT_EQ(Changed(kConnectionId, 0), S_OK);
    EXPECT_EQ(SinkLines(),
              (Head(0) + Lines{Sink(L"Information", L"System in sleep/Hibernate, not processing the callback")}
               + Tail({kConnectionText})));
    EXPECT_EQ(m_ipHelper.InfoCalls(), 0);
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_FALSE(msm_Notification_flag);
}

TEST_F(DhcpSinkTest, ASuspendThatBeginsDuringTheAddressWaitStopsTheSwitch)
{
    BothSwitchingFlags();
    m_dhcpMilliseconds = 1000;
    // The pause itself is where the machine goes to sleep.
    m_seam->Sleep = [](DWORD milliseconds) {
        DhcpSleep(milliseconds);
        on_resumeflag = true;
    };
    EXPECT_EQ(Changed(kConnectionId, 0x40), S_OK);
    EXPECT_EQ(SinkLines(), (ConnectHead(0x40, 1)
                            + Lines{Sink(L"Information", L"Ethernet Connection - adding to set..."), FailedTry(0),
                                    FailedTry(1)}
                            + Tail({kConnectionText})));
    EXPECT_EQ(m_clock.Pauses(), Seconds(2));
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_TRUE(WwanOn());
}

TEST_F(SinkTest, TheFlagIsSetBeforeTheLockAndClearedAfterTheCallback)
{
    std::unique_lock<std::mutex> held(connectivityCallbackMutex);
    auto callback = std::async(std::launch::async, [this] { return Changed(kWirelessConnectionId, 0x40); });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!msm_Notification_flag && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(msm_Notification_flag) << "set while the callback still waits for the lock";
    EXPECT_EQ(callback.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_EQ(SinkLines(), (Lines{Sink(L"TraceIn", L"NLM_CONNECTIVITY = 64")}));
    held.unlock();
    ASSERT_EQ(callback.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    EXPECT_EQ(callback.get(), S_OK);
    EXPECT_FALSE(msm_Notification_flag);
}

TEST_F(SinkTest, AFailedConversionOfTheConnectionIdReturnsItsCodeAndLeavesTheFlagSet)
{
    BothSwitchingFlags();
    m_texts.Fail(fakes::FakeComTexts::Failure::StringFromCLSID, E_OUTOFMEMORY, 1);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Changed(kConnectionId, 0x40), E_OUTOFMEMORY);
    EXPECT_EQ(SinkLines(), (Lines{Sink(L"TraceIn", L"NLM_CONNECTIVITY = 64"),
                                  Sink(L"Information", L"------------------start----------------------"),
                                  Sink(L"Error", L"StringFromCLSID failed w/err 0x00000008")}));
    EXPECT_TRUE(msm_Notification_flag) << "kept set until a callback completes";
    EXPECT_THAT(m_connections, IsEmpty());
    EXPECT_TRUE(m_wlan.RadioOn());
    // The lock was released: the next callback runs, and it clears the flag.
    std::unique_lock<std::mutex> free(connectivityCallbackMutex, std::try_to_lock);
    EXPECT_TRUE(free.owns_lock());
    free.unlock();
    EXPECT_EQ(Changed(kWirelessConnectionId, 0x40), S_OK);
    EXPECT_FALSE(msm_Notification_flag);
}

void WINAPI ThrowingSleep(DWORD) { throw std::runtime_error("pause failed"); }

TEST_F(SinkTest, AnExceptionGivesEFailReleasesTheLockAndLeavesTheFlag)
{
    BothSwitchingFlags();
    m_ipHelper.SetAdapters({Ethernet("Simulated Ethernet Controller", "0.0.0.0")});
    os::ScopedApiOverride seam;
    seam->Sleep = &ThrowingSleep;
    EXPECT_EQ(Changed(kConnectionId, 0x40), E_FAIL);
    EXPECT_EQ(SinkLines(), (ConnectHead(0x40, 1)
                            + Lines{Sink(L"Information", L"Ethernet Connection - adding to set..."), FailedTry(0),
                                    Sink(L"Error", L"Exception in NetworkConnectionConnectivityChanged()")}));
    EXPECT_TRUE(msm_Notification_flag) << "stays as it was";
    std::unique_lock<std::mutex> free(connectivityCallbackMutex, std::try_to_lock);
    EXPECT_TRUE(free.owns_lock());
    EXPECT_TRUE(m_wlan.RadioOn());
}

// --- Lock order --------------------------------------------------------------

// One thread sits in the connectivity callback's address wait (holding
// connectivityCallbackMutex and taking EthernetCheck::EthernetCheckMutexForTesting() in each try);
// another runs the machine-wide test directly. Both finish within a bound.
TEST_F(DhcpSinkTest, TheCallbackAndADirectMachineWideTestDoNotDeadlock)
{
    std::atomic<int> direct{0};
    auto callback = std::async(std::launch::async, [this] { return Changed(kConnectionId, 0x40); });
    auto tester = std::async(std::launch::async, [&direct] {
        for (int pass = 0; pass < 50; ++pass) {
            int ethernetStatus = 0;
            int ipNotAssigned = 0;
            if (NLMEventHandler::CheckEthernetConnectionStatusEx(&ethernetStatus, &ipNotAssigned) == 1)
                ++direct;
        }
    });
    ASSERT_EQ(callback.wait_for(std::chrono::seconds(60)), std::future_status::ready) << "callback hung";
    ASSERT_EQ(tester.wait_for(std::chrono::seconds(60)), std::future_status::ready) << "direct test hung";
    EXPECT_EQ(callback.get(), S_OK);
    EXPECT_EQ(direct.load(), 50);
    EXPECT_EQ(m_clock.Pauses(), Seconds(8));
    EXPECT_FALSE(msm_Notification_flag);
}

} // namespace
