// The diagnostic dumps: connectivity bits, the listing of the current
// connections with the seeding of the Ethernet set, and the interface GUIDs
// of a safe array of mobile-broadband interfaces.
#include "network/NLMUtils.h"

#include "fakes/ExpectedLines.h"
#include "fakes/FakeProcessHeap.h"
#include "fakes/RecordingListener.h"
#include "models/Adapters.h"
#include "models/FakeComTexts.h"
#include "models/FakeIpHelper.h"
#include "models/FakeMbnInterface.h"
#include "models/NetworkListModel.h"
#include "platform/ComPtr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

using fakes::ConnectionDescription;
using fakes::Adapter;
using fakes::Ethernet;
using testing::ElementsAre;
using testing::IsEmpty;

// PrintConnectivityState

std::vector<std::wstring> ConnectivityLines(DWORD bits)
{
    fakes::RecordingLog log;
    NLM_CONNECTIVITY connectivity = static_cast<NLM_CONNECTIVITY>(bits);
    NLMUtils::PrintConnectivityState(connectivity);
    return log.Lines();
}

std::wstring Connectivity(const wchar_t* text)
{
    return fakes::Line(L"Information", "NLMUtils::PrintConnectivityState", text);
}

TEST(PrintConnectivityState, NoTrafficAndInternetOnIpv4PrintBoth)
{
    EXPECT_THAT(ConnectivityLines(0x41), ElementsAre(L"TraceIn|NLMUtils::PrintConnectivityState|NLM_CONNECTIVITY - 0x41",
                                                     Connectivity(L"IPV4 - No Traffic"),
                                                     Connectivity(L"IPV4 - Internet Connectivity"),
                                                     L"TraceOut|NLMUtils::PrintConnectivityState|"));
}

TEST(PrintConnectivityState, ZeroIsDisconnected)
{
    EXPECT_THAT(ConnectivityLines(0), ElementsAre(L"TraceIn|NLMUtils::PrintConnectivityState|NLM_CONNECTIVITY - 0x0",
                                                  Connectivity(L"Network Disconnected"),
                                                  L"TraceOut|NLMUtils::PrintConnectivityState|"));
}

TEST(PrintConnectivityState, EachNibbleValueHasItsText)
{
    const std::pair<DWORD, std::vector<std::wstring>> cases[] = {
        {0x2, {L"IPV6 - No Traffic"}},
        {0x11, {L"IPV4 - No Traffic", L"IPV4 - Subnet"}},
        {0x21, {L"IPV4 - No Traffic", L"IPV4 - Local Connectivity"}},
        {0x101, {L"IPV4 - No Traffic", L"IPV6 - Subnet"}},
        {0x201, {L"IPV4 - No Traffic", L"IPV6 - Local Connectivity"}},
        {0x441, {L"IPV4 - No Traffic", L"IPV4 - Internet Connectivity", L"IPV6 - Internet Connectivity"}},
        {0x10, {L"Network Disconnected", L"IPV4 - Subnet"}},
    };
    for (const auto& [bits, texts] : cases) {
        std::vector<std::wstring> lines = ConnectivityLines(bits);
        std::vector<std::wstring> expected;
        for (const std::wstring& text : texts)
            expected.push_back(Connectivity(text.c_str()));
        EXPECT_EQ(std::vector<std::wstring>(lines.begin() + 1, lines.end() - 1), expected) << bits;
    }
}

TEST(PrintConnectivityState, NibblesWithTwoBitsPrintNothing)
{
    EXPECT_THAT(ConnectivityLines(0x663), ElementsAre(L"TraceIn|NLMUtils::PrintConnectivityState|NLM_CONNECTIVITY - 0x663",
                                                      L"TraceOut|NLMUtils::PrintConnectivityState|"));
}

// PrintNetworkConnections

GUID Guid(DWORD first)
{
    GUID guid = {first, 0x1111, 0x2222, {0x33, 0x33, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44}};
    return guid;
}

std::wstring GuidText(DWORD first)
{
    wchar_t text[64];
    StringFromGUID2(Guid(first), text, 64);
    return text;
}

std::string NarrowGuidText(DWORD first)
{
    const std::wstring wide = GuidText(first);
    return std::string(wide.begin(), wide.end());
}

ConnectionDescription Connection(DWORD connection, DWORD adapter, std::wstring network = L"Office")
{
    ConnectionDescription description;
    description.connectionId = Guid(connection);
    description.adapterId = Guid(adapter);
    description.networkName = std::move(network);
    description.connected = true;
    description.connectedToInternet = false;
    description.connectivity = static_cast<NLM_CONNECTIVITY>(0x20);
    return description;
}

std::wstring Listing(const std::wstring& message)
{
    return fakes::Line(L"Information", "NLMUtils::PrintNetworkConnections", message);
}

class PrintNetworkConnectionsTest : public testing::Test {
protected:
    PrintNetworkConnectionsTest()
    {
        m_ipHelper.SetAdapters({Ethernet("Intel(R) Ethernet", "10.0.0.2", NarrowGuidText(0xE0)),
                                Adapter(IF_TYPE_IEEE80211, NarrowGuidText(0xF0), "Wireless-AC", "10.0.1.2")});
    }
    ~PrintNetworkConnectionsTest() override
    {
        EXPECT_EQ(m_model.LiveObjects(), 0);
        EXPECT_EQ(m_texts.LiveTexts(), 0u);
        EXPECT_EQ(m_texts.LiveBstrs(), 0u);
        EXPECT_EQ(m_heap.Live(), 0u);
    }
    void Print(std::set<std::wstring>* set)
    {
        os::ComPtr<INetworkListManager> manager(m_model.NewManager());
        NLMUtils::PrintNetworkConnections(manager.Get(), set);
    }
    std::vector<std::wstring> Lines() const { return m_log.LinesOf("NLMUtils::PrintNetworkConnections"); }

    fakes::RecordingLog m_log;
    fakes::FakeProcessHeap m_heap;
    fakes::FakeComTexts m_texts;
    fakes::FakeIpHelper m_ipHelper;
    fakes::NetworkListModel m_model;
    std::set<std::wstring> m_ethernet;
};

TEST_F(PrintNetworkConnectionsTest, OneWiredAndOneWirelessConnectionSeedOnlyTheWiredOne)
{
    m_model.AddConnection(Connection(0xC1, 0xE0, L"Office LAN"));
    m_model.AddConnection(Connection(0xC2, 0xF0, L"Office Wi-Fi"));
    Print(&m_ethernet);
    EXPECT_THAT(m_ethernet, ElementsAre(GuidText(0xC1)));
    EXPECT_THAT(Lines(),
                ElementsAre(L"TraceIn|NLMUtils::PrintNetworkConnections|", Listing(L"Current Connections:"),
                            Listing(L"Connection : 1"), Listing(L"Connection Id : " + GuidText(0xC1)),
                            Listing(L"Adapter Id : " + GuidText(0xE0)), Listing(L"Adapter Info: "),
                            Listing(L"Ethernet Connection - adding to set..."),
                            Listing(L"Connected to Network (Name): Office LAN"), Listing(L"Is Connected to Network: 1"),
                            Listing(L"Is Connected to Internet: 1"), Listing(L"Detailed connectivity states:"),
                            Listing(L"Connection : 2"), Listing(L"Connection Id : " + GuidText(0xC2)),
                            Listing(L"Adapter Id : " + GuidText(0xF0)), Listing(L"Adapter Info: "),
                            Listing(L"Connected to Network (Name): Office Wi-Fi"),
                            Listing(L"Is Connected to Network: 1"), Listing(L"Is Connected to Internet: 1"),
                            Listing(L"Detailed connectivity states:"), L"TraceOut|NLMUtils::PrintNetworkConnections|"));
}

TEST_F(PrintNetworkConnectionsTest, EachConnectionIsLookedUpAndItsConnectivitySpelledOut)
{
    m_model.AddConnection(Connection(0xC1, 0xE0));
    Print(&m_ethernet);
    const std::vector<std::wstring> all = m_log.Lines();
    EXPECT_EQ(std::count(all.begin(), all.end(),
                         L"TraceIn|NLMUtils::PrintAdapterInfo|GUID Value = " + GuidText(0xE0)),
              1);
    EXPECT_EQ(std::count(all.begin(), all.end(), Connectivity(L"IPV4 - Local Connectivity")), 1);
}

TEST_F(PrintNetworkConnectionsTest, TheInternetLineRepeatsTheConnectedAnswer)
{
    ConnectionDescription offline = Connection(0xC1, 0xE0);
    offline.connected = false;
    offline.connectedToInternet = true;
    m_model.AddConnection(offline);
    Print(&m_ethernet);
    const std::vector<std::wstring> lines = Lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), Listing(L"Is Connected to Network: 0")), 1);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), Listing(L"Is Connected to Internet: 0")), 1);
}

TEST_F(PrintNetworkConnectionsTest, AWiredConnectionIsAddedWhateverItsConnectivity)
{
    ConnectionDescription disconnected = Connection(0xC1, 0xE0);
    disconnected.connected = false;
    disconnected.connectivity = NLM_CONNECTIVITY_DISCONNECTED;
    m_model.AddConnection(disconnected);
    Print(&m_ethernet);
    EXPECT_THAT(m_ethernet, ElementsAre(GuidText(0xC1)));
}

TEST_F(PrintNetworkConnectionsTest, WithoutASetNothingIsAddedAndNothingSaysSo)
{
    m_model.AddConnection(Connection(0xC1, 0xE0));
    Print(nullptr);
    const std::vector<std::wstring> lines = Lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), Listing(L"Ethernet Connection - adding to set...")), 0);
}

// The "Connection : n" lines and the batch sizes asked for with `count` connections.
void ExpectNumbered(PrintNetworkConnectionsTest& test, fakes::NetworkListModel& model, const std::vector<std::wstring>& lines,
                    size_t count)
{
    std::vector<std::wstring> expected;
    for (size_t i = 1; i <= count; ++i)
        expected.push_back(Listing(L"Connection : " + std::to_wstring(i)));
    EXPECT_EQ(fakes::Matching(lines, L"|Connection : "), expected);
    // Batches of 20 until one fetches none.
    EXPECT_EQ(model.NextRequests(), std::vector<ULONG>((count + 19) / 20 + 1, 20u));
    (void)test;
}

class ConnectionCountTest : public PrintNetworkConnectionsTest, public testing::WithParamInterface<size_t> {};

TEST_P(ConnectionCountTest, AllAreListedAndNumberedAcrossBatches)
{
    for (size_t i = 0; i < GetParam(); ++i)
        m_model.AddConnection(Connection(0xC000 + static_cast<DWORD>(i), 0xE0));
    Print(&m_ethernet);
    ExpectNumbered(*this, m_model, Lines(), GetParam());
    EXPECT_EQ(m_ethernet.size(), GetParam());
    EXPECT_EQ(Lines().back(), L"TraceOut|NLMUtils::PrintNetworkConnections|");
}

INSTANTIATE_TEST_SUITE_P(Counts, ConnectionCountTest, testing::Values(0u, 1u, 20u, 21u, 45u));

struct FailingCall {
    ConnectionDescription::Failure failure;
    std::vector<std::wstring> missing;  // the lines that the failure takes away
    std::wstring internetLine = L"Is Connected to Internet: 1";
};

class FailingConnectionCallTest : public PrintNetworkConnectionsTest, public testing::WithParamInterface<FailingCall> {};

TEST_P(FailingConnectionCallTest, OnlyTheLinesOfTheFailingCallAreMissing)
{
    ConnectionDescription connection = Connection(0xC1, 0xE0, L"Office LAN");
    connection.failure = GetParam().failure;
    m_model.AddConnection(connection);
    Print(&m_ethernet);
    std::vector<std::wstring> expected{L"TraceIn|NLMUtils::PrintNetworkConnections|",
                                       Listing(L"Current Connections:"),
                                       Listing(L"Connection : 1"),
                                       Listing(L"Connection Id : " + GuidText(0xC1)),
                                       Listing(L"Adapter Id : " + GuidText(0xE0)),
                                       Listing(L"Adapter Info: "),
                                       Listing(L"Ethernet Connection - adding to set..."),
                                       Listing(L"Connected to Network (Name): Office LAN"),
                                       Listing(L"Is Connected to Network: 1"),
                                       Listing(GetParam().internetLine),
                                       Listing(L"Detailed connectivity states:"),
                                       L"TraceOut|NLMUtils::PrintNetworkConnections|"};
    for (const std::wstring& missing : GetParam().missing)
        expected.erase(std::remove(expected.begin(), expected.end(), Listing(missing)), expected.end());
    EXPECT_EQ(Lines(), expected);
    const std::vector<std::wstring> all = m_log.Lines();
    const bool connectivityPrinted =
        std::count(all.begin(), all.end(), Connectivity(L"IPV4 - Local Connectivity")) == 1;
    EXPECT_EQ(connectivityPrinted, GetParam().failure != ConnectionDescription::Failure::GetConnectivity);
}

INSTANTIATE_TEST_SUITE_P(
    EachCall, FailingConnectionCallTest,
    testing::Values(
        // Without a connection id the adapter is still looked up; the empty
        // identifier enters the set.
        FailingCall{ConnectionDescription::Failure::GetConnectionId, {L"Connection Id : " + GuidText(0xC1)}},
        // Without an adapter id the lookup finds nothing, so nothing is added.
        FailingCall{ConnectionDescription::Failure::GetAdapterId,
                    {L"Adapter Id : " + GuidText(0xE0), L"Ethernet Connection - adding to set..."}},
        FailingCall{ConnectionDescription::Failure::GetNetwork, {L"Connected to Network (Name): Office LAN"}},
        FailingCall{ConnectionDescription::Failure::GetName, {L"Connected to Network (Name): Office LAN"}},
        // The internet line prints the connected answer, which is then
        // unknown: it stays at its initial false.
        FailingCall{ConnectionDescription::Failure::IsConnected,
                    {L"Is Connected to Network: 1"},
                    L"Is Connected to Internet: 0"},
        FailingCall{ConnectionDescription::Failure::IsConnectedToInternet, {L"Is Connected to Internet: 1"}},
        FailingCall{ConnectionDescription::Failure::GetConnectivity, {}}));

TEST_F(PrintNetworkConnectionsTest, AConnectionIdWithoutItsTextIsLeftOutAndAnEmptyNameEntersTheSet)
{
    m_model.AddConnection(Connection(0xC1, 0xE0, L"Office LAN"));
    m_texts.Fail(fakes::FakeComTexts::Failure::StringFromCLSID, E_OUTOFMEMORY, 1);
    Print(&m_ethernet);
    // The adapter is still looked up; the set gets the text there is: none.
    EXPECT_THAT(Lines(),
                ElementsAre(L"TraceIn|NLMUtils::PrintNetworkConnections|", Listing(L"Current Connections:"),
                            Listing(L"Connection : 1"), Listing(L"Adapter Id : " + GuidText(0xE0)),
                            Listing(L"Adapter Info: "), Listing(L"Ethernet Connection - adding to set..."),
                            Listing(L"Connected to Network (Name): Office LAN"), Listing(L"Is Connected to Network: 1"),
                            Listing(L"Is Connected to Internet: 1"), Listing(L"Detailed connectivity states:"),
                            L"TraceOut|NLMUtils::PrintNetworkConnections|"));
    EXPECT_THAT(m_ethernet, ElementsAre(L""));
    EXPECT_EQ(m_ipHelper.AddressesCalls(), 1);
}

TEST_F(PrintNetworkConnectionsTest, AnAdapterIdWithoutItsTextFindsNoAdapterAndAddsNothing)
{
    m_model.AddConnection(Connection(0xC1, 0xE0, L"Office LAN"));
    m_texts.Fail(fakes::FakeComTexts::Failure::StringFromCLSID, E_OUTOFMEMORY, 2);
    Print(&m_ethernet);
    EXPECT_THAT(Lines(),
                ElementsAre(L"TraceIn|NLMUtils::PrintNetworkConnections|", Listing(L"Current Connections:"),
                            Listing(L"Connection : 1"), Listing(L"Connection Id : " + GuidText(0xC1)),
                            Listing(L"Adapter Info: "), Listing(L"Connected to Network (Name): Office LAN"),
                            Listing(L"Is Connected to Network: 1"), Listing(L"Is Connected to Internet: 1"),
                            Listing(L"Detailed connectivity states:"), L"TraceOut|NLMUtils::PrintNetworkConnections|"));
    // The lookup runs with an empty text, which no adapter has.
    EXPECT_THAT(m_log.LinesOf("NLMUtils::PrintAdapterInfo"),
                ElementsAre(L"TraceIn|NLMUtils::PrintAdapterInfo|GUID Value = ",
                            L"Information|NLMUtils::PrintAdapterInfo|Memory allocation success for "
                            L"IP_ADAPTER_ADDRESSES struct",
                            L"Warning|NLMUtils::PrintAdapterInfo|Could not find matching adapter",
                            L"TraceOut|NLMUtils::PrintAdapterInfo|Ethernet Status = 0"));
    EXPECT_TRUE(m_ethernet.empty());
}

TEST_F(PrintNetworkConnectionsTest, AFailedTextOfTheFirstConnectionLeavesTheSecondWhole)
{
    m_model.AddConnection(Connection(0xC1, 0xE0, L"Office LAN"));
    m_model.AddConnection(Connection(0xC2, 0xE0, L"Lab LAN"));
    m_texts.Fail(fakes::FakeComTexts::Failure::StringFromCLSID, E_OUTOFMEMORY, 2);
    Print(&m_ethernet);
    EXPECT_THAT(m_ethernet, ElementsAre(GuidText(0xC2)));
    const std::vector<std::wstring> lines = Lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), Listing(L"Adapter Id : " + GuidText(0xE0))), 1);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), Listing(L"Connection Id : " + GuidText(0xC2))), 1);
}

TEST_F(PrintNetworkConnectionsTest, ANullManagerIsAnError)
{
    NLMUtils::PrintNetworkConnections(nullptr, &m_ethernet);
    EXPECT_THAT(Lines(), ElementsAre(L"TraceIn|NLMUtils::PrintNetworkConnections|",
                                     L"Error|NLMUtils::PrintNetworkConnections|INetworkListManager is NULL"));
}

TEST_F(PrintNetworkConnectionsTest, AnEnumeratorThatCannotBeHadIsAnError)
{
    m_model.Fail(fakes::NetworkListModel::Failure::GetNetworkConnections, E_ACCESSDENIED);
    Print(&m_ethernet);
    EXPECT_THAT(Lines(), ElementsAre(L"TraceIn|NLMUtils::PrintNetworkConnections|",
                                     L"Error|NLMUtils::PrintNetworkConnections|GetNetworkConnections Failed with "
                                     L"error 0x80070005"));
}

TEST_F(PrintNetworkConnectionsTest, AFailingNextEndsTheListing)
{
    m_model.AddConnection(Connection(0xC1, 0xE0));
    m_model.Fail(fakes::NetworkListModel::Failure::Next, E_FAIL);
    Print(&m_ethernet);
    EXPECT_THAT(Lines(), ElementsAre(L"TraceIn|NLMUtils::PrintNetworkConnections|", Listing(L"Current Connections:"),
                                     L"TraceOut|NLMUtils::PrintNetworkConnections|"));
    EXPECT_THAT(m_ethernet, IsEmpty());
}

// CopyArrayOfInterfaces

class CopyArrayOfInterfacesTest : public testing::Test {
protected:
    ~CopyArrayOfInterfacesTest() override
    {
        for (IMbnInterface* mbnInterface : m_interfaces)
            mbnInterface->Release();
        EXPECT_EQ(m_ledger.Live(), 0);
        EXPECT_EQ(m_texts.LiveBstrs(), 0u);
        EXPECT_EQ(m_heap.Live(), 0u);
    }
    void Add(const std::wstring& id, HRESULT failure = S_OK)
    {
        m_interfaces.push_back(new fakes::FakeMbnInterface(m_ledger, id, failure));
    }
    HRESULT Copy(LONG lowerBound = 0)
    {
        SAFEARRAY* array = fakes::MakeInterfaceArray(m_interfaces, lowerBound);
        const HRESULT hr = NLMUtils::CopyArrayOfInterfaces(array, &m_count, &m_guids);
        SafeArrayDestroy(array);
        return hr;
    }
    void FreeGuids()
    {
        if (m_guids != nullptr)
            os::api().HeapFree(GetProcessHeap(), 0, m_guids);
        m_guids = nullptr;
    }

    fakes::RecordingLog m_log;
    fakes::FakeProcessHeap m_heap;
    fakes::FakeComTexts m_texts;
    fakes::ComLedger m_ledger;
    std::vector<IMbnInterface*> m_interfaces;
    ULONG m_count = 99;
    GUID* m_guids = nullptr;
};

TEST_F(CopyArrayOfInterfacesTest, TheGuidsArePackedAndTheBlockHoldsTwiceTheirSize)
{
    Add(GuidText(0xA1));
    Add(GuidText(0xA2));
    EXPECT_EQ(Copy(), S_OK);
    ASSERT_EQ(m_count, 2u);
    EXPECT_TRUE(IsEqualGUID(m_guids[0], Guid(0xA1)));
    EXPECT_TRUE(IsEqualGUID(m_guids[1], Guid(0xA2)));
    EXPECT_THAT(m_heap.Allocations(), ElementsAre(2 * 32u));
    EXPECT_EQ(m_log.Lines().back(), L"TraceOut|NLMUtils::CopyArrayOfInterfaces|Return Value = 0x0, Interface Count = 2");
    FreeGuids();
}

TEST_F(CopyArrayOfInterfacesTest, AFailingSecondOfThreeIsSkippedAndTheLastCodeReturned)
{
    Add(GuidText(0xA1));
    Add(GuidText(0xA2), E_FAIL);
    Add(GuidText(0xA3));
    EXPECT_EQ(Copy(), S_OK);
    ASSERT_EQ(m_count, 2u);
    EXPECT_TRUE(IsEqualGUID(m_guids[0], Guid(0xA1)));
    EXPECT_TRUE(IsEqualGUID(m_guids[1], Guid(0xA3)));
    FreeGuids();
}

TEST_F(CopyArrayOfInterfacesTest, AFailingLastElementGivesItsCode)
{
    Add(GuidText(0xA1));
    Add(GuidText(0xA2), E_ACCESSDENIED);
    EXPECT_EQ(Copy(), E_ACCESSDENIED);
    EXPECT_EQ(m_count, 1u);
    EXPECT_EQ(m_log.Lines().back(),
              L"TraceOut|NLMUtils::CopyArrayOfInterfaces|Return Value = 0x80070005, Interface Count = 1");
    FreeGuids();
}

TEST_F(CopyArrayOfInterfacesTest, AnUnreadableInterfaceTextIsSkipped)
{
    Add(GuidText(0xA1));
    Add(GuidText(0xA2));
    m_texts.Fail(fakes::FakeComTexts::Failure::IIDFromString, E_INVALIDARG, 1);
    EXPECT_EQ(Copy(), S_OK);
    ASSERT_EQ(m_count, 1u);
    EXPECT_TRUE(IsEqualGUID(m_guids[0], Guid(0xA2)));
    FreeGuids();
}

TEST_F(CopyArrayOfInterfacesTest, TheBoundsAreReadNotAssumed)
{
    Add(GuidText(0xA1));
    EXPECT_EQ(Copy(/*lowerBound=*/5), S_OK);
    ASSERT_EQ(m_count, 1u);
    EXPECT_TRUE(IsEqualGUID(m_guids[0], Guid(0xA1)));
    FreeGuids();
}

TEST_F(CopyArrayOfInterfacesTest, AnEmptyArrayAllocatesNothing)
{
    EXPECT_EQ(Copy(), S_OK);
    EXPECT_EQ(m_count, 0u);
    EXPECT_EQ(m_guids, nullptr);
    EXPECT_THAT(m_heap.Allocations(), IsEmpty());
}

TEST_F(CopyArrayOfInterfacesTest, AFailedAllocationIsOutOfMemory)
{
    Add(GuidText(0xA1));
    m_heap.FailAllocation(1);
    EXPECT_EQ(Copy(), E_OUTOFMEMORY);
    EXPECT_EQ(m_guids, nullptr);
    EXPECT_EQ(m_log.Lines().back(), L"Error|NLMUtils::CopyArrayOfInterfaces|CopyArrayOfInterfaces malloc failed!!");
}

TEST_F(CopyArrayOfInterfacesTest, NullPointersArePointerErrors)
{
    SAFEARRAY* array = fakes::MakeInterfaceArray(m_interfaces);
    EXPECT_EQ(NLMUtils::CopyArrayOfInterfaces(nullptr, &m_count, &m_guids), E_POINTER);
    EXPECT_EQ(NLMUtils::CopyArrayOfInterfaces(array, nullptr, &m_guids), E_POINTER);
    EXPECT_EQ(NLMUtils::CopyArrayOfInterfaces(array, &m_count, nullptr), E_POINTER);
    SafeArrayDestroy(array);
    EXPECT_EQ(m_count, 99u);
}

TEST_F(CopyArrayOfInterfacesTest, ABoundQueryOfAnArrayWithoutDimensionsFails)
{
    SAFEARRAY* array = SafeArrayCreateVector(VT_UNKNOWN, 0, 0);
    array->cDims = 0;  // a malformed array: no dimension 1
    const HRESULT hr = NLMUtils::CopyArrayOfInterfaces(array, &m_count, &m_guids);
    array->cDims = 1;
    SafeArrayDestroy(array);
    EXPECT_EQ(hr, DISP_E_BADINDEX);
    EXPECT_EQ(m_log.Lines().back(),
              L"Error|NLMUtils::CopyArrayOfInterfaces|SafeArrayGetLBound failed with error: 0x8002000B");
}

} // namespace
