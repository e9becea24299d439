// The per-connection Ethernet test: the adapter looked up by its GUID text
// in the address list, its interface type named, and the connection's
// adapter id asked of the network list manager.
#include "network/NLMUtils.h"

#include "fakes/ExpectedLines.h"
#include "fakes/FakeProcessHeap.h"
#include "fakes/RecordingListener.h"
#include "models/Adapters.h"
#include "models/FakeComTexts.h"
#include "models/FakeIpHelper.h"
#include "models/NetworkListModel.h"
#include "platform/Api.h"
#include "platform/ComPtr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using fakes::FakeIpHelper;
using fakes::Adapter;
using fakes::Ethernet;
using fakes::kEthernetGuidText;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr char kFunction[] = "NLMUtils::PrintAdapterInfo";

const fakes::FunctionLines Line{kFunction};

// The lines of a matching adapter, from "Description" to its type's name.
std::vector<std::wstring> MatchLines(const std::wstring& description, const std::wstring& typeName)
{
    return {Line(L"Information", L"Description   : " + description),
            Line(L"Information", L"Friendly Name : " + description + L" (friendly)"),
            Line(L"Information", L"Interface type: " + typeName)};
}

class AdapterLookupTest : public testing::Test {
protected:
    std::vector<std::wstring> Lines() const { return m_log.LinesOf(kFunction); }
    bool Lookup(const std::wstring& guid = kEthernetGuidText)
    {
        bool isEthernet = false;
        NLMUtils::PrintAdapterInfo(guid, &isEthernet);
        return isEthernet;
    }

    fakes::RecordingLog m_log;
    fakes::FakeProcessHeap m_heap;
    FakeIpHelper m_ipHelper{{Ethernet("Intel(R) Ethernet", "0.0.0.0")}};
};

// PrintAdapterInfo

TEST_F(AdapterLookupTest, AnOrdinaryEthernetAdapterIsEthernetWithoutAnyReallocation)
{
    EXPECT_TRUE(Lookup());
    EXPECT_EQ(m_ipHelper.AddressesCalls(), 1);
    EXPECT_THAT(m_heap.Allocations(), ElementsAre(15000u));
    EXPECT_EQ(m_heap.Live(), 0u);
    std::vector<std::wstring> expected{Line(L"TraceIn", L"GUID Value = " + std::wstring(kEthernetGuidText)),
                                       Line(L"Information", L"Memory allocation success for IP_ADAPTER_ADDRESSES struct")};
    for (const std::wstring& line : MatchLines(L"Intel(R) Ethernet", L"Ethernet"))
        expected.push_back(line);
    expected.push_back(Line(L"TraceOut", L"Ethernet Status = 1"));
    EXPECT_EQ(Lines(), expected);
}

// What each GetAdaptersAddresses call asks for, recorded before the call is
// handed on to the fake IP Helper. Installed after the fake.
class AddressesRequests {
public:
    struct Request {
        ULONG family;
        ULONG flags;
        bool reserved;  // a reserved pointer was passed
    };

    AddressesRequests() : m_next(os::api().GetAdaptersAddresses)
    {
        s_current = this;
        m_seam->GetAdaptersAddresses = &AddressesRequests::Record;
    }
    ~AddressesRequests() { s_current = nullptr; }
    AddressesRequests(const AddressesRequests&) = delete;
    AddressesRequests& operator=(const AddressesRequests&) = delete;

    std::vector<Request> requests;

private:
    static ULONG WINAPI Record(ULONG family, ULONG flags, PVOID reserved, PIP_ADAPTER_ADDRESSES buffer, PULONG length)
    {
        s_current->requests.push_back({family, flags, reserved != nullptr});
        return s_current->m_next(family, flags, reserved, buffer, length);
    }

    static AddressesRequests* s_current;
    decltype(&::GetAdaptersAddresses) m_next;
    os::ScopedApiOverride m_seam;
};
AddressesRequests* AddressesRequests::s_current = nullptr;

TEST_F(AdapterLookupTest, TheListIsAskedForWithEveryFamilyAndThePrefixesOnEveryCall)
{
    // GAA_FLAG_INCLUDE_PREFIX (0x10) and nothing else, the first call and
    // each call after a reallocation alike.
    m_ipHelper.OverflowAddresses(1);
    AddressesRequests requests;
    EXPECT_TRUE(Lookup());
    ASSERT_EQ(requests.requests.size(), 2u);
    for (const AddressesRequests::Request& request : requests.requests) {
        EXPECT_EQ(request.family, static_cast<ULONG>(AF_UNSPEC));
        EXPECT_EQ(request.flags, static_cast<ULONG>(GAA_FLAG_INCLUDE_PREFIX));
        EXPECT_FALSE(request.reserved);
    }
}

TEST_F(AdapterLookupTest, TheInterfaceTypeIsNamedBetweenTheFriendlyNameAndItsLine)
{
    Lookup();
    const std::vector<std::wstring> all = m_log.Lines();
    const auto friendly = std::find(all.begin(), all.end(),
                                    Line(L"Information", L"Friendly Name : Intel(R) Ethernet (friendly)"));
    ASSERT_NE(friendly, all.end());
    EXPECT_EQ(*(friendly + 1), L"TraceIn|NLMUtils::GetInterfaceTypeString|IFTYPE Value = 6");
    EXPECT_EQ(*(friendly + 2), L"TraceOut|NLMUtils::GetInterfaceTypeString|InterfaceType = Ethernet");
    EXPECT_EQ(*(friendly + 3), Line(L"Information", L"Interface type: Ethernet"));
}

// The lines of a lookup that needed `times` re-allocations, up to the loop's end.
std::vector<std::wstring> OverflowLines(const std::vector<ULONG>& lengths, size_t times)
{
    std::vector<std::wstring> lines{Line(L"TraceIn", L"GUID Value = " + std::wstring(kEthernetGuidText)),
                                    Line(L"Information", L"GetAdaptersAddresses failed with an Error code : 111")};
    for (size_t i = 0; i < times && i < 4; ++i)
        lines.push_back(Line(L"Information",
                             L"The buffer size is not enough,trying to allocate more memory...Required Memory is " +
                                 std::to_wstring(lengths[i + 1]) + L" Bytes"));
    return lines;
}

TEST_F(AdapterLookupTest, OneReallocationIsUsed)
{
    m_ipHelper.OverflowAddresses(1);
    EXPECT_TRUE(Lookup());
    const std::vector<ULONG> lengths = m_ipHelper.AddressesLengths();
    ASSERT_EQ(lengths.size(), 2u);
    std::vector<std::wstring> expected = OverflowLines(lengths, 1);
    expected.push_back(Line(L"Information", L"Memory allocation success for IP_ADAPTER_ADDRESSES struct"));
    for (const std::wstring& line : MatchLines(L"Intel(R) Ethernet", L"Ethernet"))
        expected.push_back(line);
    expected.push_back(Line(L"TraceOut", L"Ethernet Status = 1"));
    EXPECT_EQ(Lines(), expected);
    EXPECT_THAT(m_heap.Allocations(), ElementsAre(15000u, lengths[1]));
    EXPECT_EQ(m_heap.Live(), 0u);
}

TEST_F(AdapterLookupTest, TwoReallocationsAreUsed)
{
    m_ipHelper.OverflowAddresses(2);
    EXPECT_TRUE(Lookup());
    EXPECT_EQ(m_ipHelper.AddressesCalls(), 3);
    EXPECT_EQ(m_heap.Allocations().size(), 3u);
    EXPECT_EQ(Lines().back(), Line(L"TraceOut", L"Ethernet Status = 1"));
    EXPECT_EQ(m_heap.Live(), 0u);
}

TEST_F(AdapterLookupTest, AResultWonAtTheThirdReallocationIsDiscarded)
{
    m_ipHelper.OverflowAddresses(3);
    EXPECT_FALSE(Lookup());
    const std::vector<ULONG> lengths = m_ipHelper.AddressesLengths();
    ASSERT_EQ(lengths.size(), 4u);
    std::vector<std::wstring> expected = OverflowLines(lengths, 3);
    expected.push_back(Line(L"Error", L"Memory allocation retry limit exceeded "));
    EXPECT_EQ(Lines(), expected);
    EXPECT_EQ(m_heap.Live(), 0u);
}

TEST_F(AdapterLookupTest, AResultWonAtTheFourthReallocationIsDiscarded)
{
    m_ipHelper.OverflowAddresses(4);
    EXPECT_FALSE(Lookup());
    const std::vector<ULONG> lengths = m_ipHelper.AddressesLengths();
    ASSERT_EQ(lengths.size(), 5u);
    std::vector<std::wstring> expected = OverflowLines(lengths, 4);
    expected.push_back(Line(L"Error", L"Memory allocation retry limit exceeded "));
    EXPECT_EQ(Lines(), expected);
}

TEST_F(AdapterLookupTest, TheLoopEndsAfterFourReallocations)
{
    m_ipHelper.OverflowAddresses(10);
    EXPECT_FALSE(Lookup());
    EXPECT_EQ(m_ipHelper.AddressesCalls(), 5);
    EXPECT_EQ(m_heap.Allocations().size(), 5u);
    EXPECT_EQ(Lines().back(), Line(L"Error", L"Memory allocation retry limit exceeded "));
    EXPECT_EQ(m_heap.Live(), 0u);
}

TEST_F(AdapterLookupTest, AFailedAllocationInTheLoopCountsAsAnAttempt)
{
    m_ipHelper.OverflowAddresses(1);
    m_heap.FailAllocation(2);
    EXPECT_TRUE(Lookup());
    // The failed allocation is one attempt; the next pass allocates again
    // and its call succeeds: two attempts, so the result is used.
    EXPECT_EQ(m_ipHelper.AddressesCalls(), 2);
    std::vector<std::wstring> lines = Lines();
    ASSERT_GE(lines.size(), 5u);
    EXPECT_EQ(lines[3], Line(L"Error", L"Memory allocation failed for IP_ADAPTER_ADDRESSES struct"));
    EXPECT_EQ(lines.back(), Line(L"TraceOut", L"Ethernet Status = 1"));
}

TEST_F(AdapterLookupTest, AllocationsFailingThroughoutTheLoopEndAtTheLimit)
{
    m_ipHelper.OverflowAddresses(1);
    m_heap.FailAllocation(2, /*andAfter=*/true);
    EXPECT_FALSE(Lookup());
    EXPECT_EQ(m_ipHelper.AddressesCalls(), 1);
    EXPECT_EQ(m_heap.Allocations().size(), 5u);
    EXPECT_EQ(Lines().back(), Line(L"Error", L"Memory allocation retry limit exceeded "));
}

TEST_F(AdapterLookupTest, AFailedFirstAllocationEndsTheLookup)
{
    m_heap.FailAllocation(1);
    EXPECT_FALSE(Lookup());
    EXPECT_EQ(m_ipHelper.AddressesCalls(), 0);
    EXPECT_THAT(Lines(), ElementsAre(Line(L"TraceIn", L"GUID Value = " + std::wstring(kEthernetGuidText)),
                                     Line(L"Error", L"Memory allocation failed for IP_ADAPTER_ADDRESSES struct")));
}

TEST_F(AdapterLookupTest, AnotherErrorEndsTheLookup)
{
    m_ipHelper.Fail(FakeIpHelper::Failure::AdaptersAddresses, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_FALSE(Lookup());
    EXPECT_THAT(Lines(), ElementsAre(Line(L"TraceIn", L"GUID Value = " + std::wstring(kEthernetGuidText)),
                                     Line(L"Information", L"GetAdaptersAddresses failed with an Error code : 8"),
                                     Line(L"Error", L"ERROR with GetAdaptersAddresses")));
    EXPECT_EQ(m_heap.Live(), 0u);
}

TEST_F(AdapterLookupTest, AWirelessAdapterIsNotEthernet)
{
    m_ipHelper.SetAdapters({Adapter(IF_TYPE_IEEE80211, fakes::kEthernetGuid, "Wireless-AC 9560", "10.0.0.2")});
    EXPECT_FALSE(Lookup());
    const std::vector<std::wstring> lines = Lines();
    EXPECT_EQ(lines[lines.size() - 2], Line(L"Information", L"Interface type: IEEE 802.11 Wireless"));
    EXPECT_EQ(lines.back(), Line(L"TraceOut", L"Ethernet Status = 0"));
}

TEST_F(AdapterLookupTest, AVirtualSwitchAdapterOfTypeEthernetIsNotEthernet)
{
    m_ipHelper.SetAdapters({Ethernet("Hyper-V Virtual Ethernet Adapter", "10.0.0.2")});
    EXPECT_FALSE(Lookup());
    const std::vector<std::wstring> lines = Lines();
    EXPECT_EQ(lines[lines.size() - 2], Line(L"Information", L"Ethernet is VPN connection"));
    EXPECT_EQ(lines.back(), Line(L"TraceOut", L"Ethernet Status = 0"));
}

TEST_F(AdapterLookupTest, OnlyTheExactGuidTextMatches)
{
    m_ipHelper.SetAdapters({Ethernet("lower case twin", "10.0.0.1", "{11111111-2222-3333-4444-555555555555}"),
                            Ethernet("upper case twin", "10.0.0.2", "{AAAAAAAA-2222-3333-4444-555555555555}"),
                            Ethernet("lower", "10.0.0.3", "{aaaaaaaa-2222-3333-4444-555555555555}")});
    EXPECT_TRUE(Lookup(L"{AAAAAAAA-2222-3333-4444-555555555555}"));
    const std::vector<std::wstring> lines = Lines();
    EXPECT_THAT(std::count(lines.begin(), lines.end(), Line(L"Information", L"Description   : upper case twin")), 1);
    EXPECT_THAT(std::count(lines.begin(), lines.end(), Line(L"Information", L"Description   : lower")), 0);
}

TEST_F(AdapterLookupTest, TheWalkGoesOnPastAMatch)
{
    m_ipHelper.SetAdapters({Ethernet("Contoso VPN", "10.0.0.1"), Ethernet("Intel(R) Ethernet", "10.0.0.2")});
    EXPECT_TRUE(Lookup());
    const std::vector<std::wstring> lines = Lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), Line(L"Information", L"Interface type: Ethernet")), 2);
}

TEST_F(AdapterLookupTest, NoMatchingAdapterIsAWarning)
{
    EXPECT_FALSE(Lookup(L"{00000000-0000-0000-0000-000000000000}"));
    EXPECT_THAT(Lines(), ElementsAre(Line(L"TraceIn", L"GUID Value = {00000000-0000-0000-0000-000000000000}"),
                                     Line(L"Information", L"Memory allocation success for IP_ADAPTER_ADDRESSES struct"),
                                     Line(L"Warning", L"Could not find matching adapter"),
                                     Line(L"TraceOut", L"Ethernet Status = 0")));
}

TEST_F(AdapterLookupTest, IsEthernetIsOnlyEverSetToTrue)
{
    m_ipHelper.SetAdapters({Adapter(IF_TYPE_IEEE80211, fakes::kEthernetGuid, "wifi", "10.0.0.2")});
    bool isEthernet = true;
    NLMUtils::PrintAdapterInfo(kEthernetGuidText, &isEthernet);
    EXPECT_TRUE(isEthernet);
}

// GetInterfaceTypeString

struct TypeName {
    IFTYPE type;
    const wchar_t* name;
};

class InterfaceTypeStringTest : public testing::TestWithParam<TypeName> {};

TEST_P(InterfaceTypeStringTest, NamesTheTypeAndLogsIt)
{
    fakes::RecordingLog log;
    IFTYPE type = GetParam().type;
    EXPECT_EQ(NLMUtils::GetInterfaceTypeString(type), GetParam().name);
    EXPECT_THAT(log.Lines(),
                ElementsAre(L"TraceIn|NLMUtils::GetInterfaceTypeString|IFTYPE Value = " + std::to_wstring(type),
                            L"TraceOut|NLMUtils::GetInterfaceTypeString|InterfaceType = " +
                                std::wstring(GetParam().name)));
}

INSTANTIATE_TEST_SUITE_P(EveryRow, InterfaceTypeStringTest,
                         testing::Values(TypeName{1, L"Other"}, TypeName{6, L"Ethernet"}, TypeName{9, L"Token Ring"},
                                         TypeName{23, L"PPP"}, TypeName{24, L"Software Loopback"},
                                         TypeName{37, L"ATM"}, TypeName{71, L"IEEE 802.11 Wireless"},
                                         TypeName{131, L"Tunnel"}, TypeName{144, L"IEEE 1394 (Firewire)"},
                                         TypeName{243, L"Unrecognized interface type"},
                                         TypeName{0, L"Unrecognized interface type"}));

// IsEthernetConnection

const GUID kConnectionId = {0x0C0C0C0C, 0x1111, 0x2222, {1, 2, 3, 4, 5, 6, 7, 8}};
const GUID kAdapterId = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};

class IsEthernetConnectionTest : public AdapterLookupTest {
protected:
    IsEthernetConnectionTest()
    {
        fakes::ConnectionDescription connection;
        connection.connectionId = kConnectionId;
        connection.adapterId = kAdapterId;
        m_model.AddConnection(connection);
        m_manager.Reset(m_model.NewManager());
    }
    ~IsEthernetConnectionTest() override
    {
        m_manager.Reset();
        EXPECT_EQ(m_model.LiveObjects(), 0);
        EXPECT_EQ(m_texts.LiveTexts(), 0u);
    }
    std::vector<std::wstring> ConnectionLines() const { return m_log.LinesOf("NLMUtils::IsEthernetConnection"); }

    fakes::FakeComTexts m_texts;
    fakes::NetworkListModel m_model;
    os::ComPtr<INetworkListManager> m_manager;
    bool m_isEthernet = false;
};

TEST_F(IsEthernetConnectionTest, AnEthernetConnectionIsLookedUpByItsAdapterId)
{
    EXPECT_TRUE(NLMUtils::IsEthernetConnection(m_manager.Get(), kConnectionId, &m_isEthernet));
    EXPECT_TRUE(m_isEthernet);
    EXPECT_THAT(ConnectionLines(),
                ElementsAre(L"TraceIn|NLMUtils::IsEthernetConnection|",
                            L"Information|NLMUtils::IsEthernetConnection|Matching Adapter Id: " +
                                std::wstring(kEthernetGuidText),
                            L"TraceOut|NLMUtils::IsEthernetConnection|Return Value = 1"));
    EXPECT_EQ(Lines().front(), Line(L"TraceIn", L"GUID Value = " + std::wstring(kEthernetGuidText)));
}

TEST_F(IsEthernetConnectionTest, ANullManagerIsFalse)
{
    EXPECT_FALSE(NLMUtils::IsEthernetConnection(nullptr, kConnectionId, &m_isEthernet));
    EXPECT_FALSE(m_isEthernet);
    EXPECT_THAT(ConnectionLines(), ElementsAre(L"TraceIn|NLMUtils::IsEthernetConnection|",
                                               L"Error|NLMUtils::IsEthernetConnection|INetworkListManager is NULL"));
}

TEST_F(IsEthernetConnectionTest, AConnectionThatCannotBeHadIsFalse)
{
    m_model.Fail(fakes::NetworkListModel::Failure::GetNetworkConnection, E_ACCESSDENIED);
    EXPECT_FALSE(NLMUtils::IsEthernetConnection(m_manager.Get(), kConnectionId, &m_isEthernet));
    EXPECT_THAT(ConnectionLines(),
                ElementsAre(L"TraceIn|NLMUtils::IsEthernetConnection|",
                            L"Error|NLMUtils::IsEthernetConnection|GetNetworkConnection Failed with error 0x80070005"));
}

TEST_F(IsEthernetConnectionTest, AnAdapterIdThatCannotBeHadIsFalseAndTheConnectionIsReleased)
{
    m_model.Fail(fakes::NetworkListModel::Failure::None, S_OK);
    fakes::NetworkListModel model;
    fakes::ConnectionDescription connection;
    connection.connectionId = kConnectionId;
    connection.failure = fakes::ConnectionDescription::Failure::GetAdapterId;
    model.AddConnection(connection);
    {
        os::ComPtr<INetworkListManager> manager(model.NewManager());
        EXPECT_FALSE(NLMUtils::IsEthernetConnection(manager.Get(), kConnectionId, &m_isEthernet));
    }
    EXPECT_EQ(model.LiveObjects(), 0);
    EXPECT_THAT(ConnectionLines(), ElementsAre(L"TraceIn|NLMUtils::IsEthernetConnection|",
                                               L"Error|NLMUtils::IsEthernetConnection|GetAdapterId Failed with error "
                                               L"0x80004005"));
}

TEST_F(IsEthernetConnectionTest, AGuidTextThatCannotBeMadeIsFalse)
{
    m_texts.Fail(fakes::FakeComTexts::Failure::StringFromCLSID, E_OUTOFMEMORY);
    EXPECT_FALSE(NLMUtils::IsEthernetConnection(m_manager.Get(), kConnectionId, &m_isEthernet));
    EXPECT_THAT(ConnectionLines(), ElementsAre(L"TraceIn|NLMUtils::IsEthernetConnection|",
                                               L"Error|NLMUtils::IsEthernetConnection|StringFromCLSID Failed with "
                                               L"error 0x8007000E"));
}

TEST_F(IsEthernetConnectionTest, ALookupThatGivesUpIsStillTrueWithIsEthernetFalse)
{
    m_ipHelper.OverflowAddresses(3);
    EXPECT_TRUE(NLMUtils::IsEthernetConnection(m_manager.Get(), kConnectionId, &m_isEthernet));
    EXPECT_FALSE(m_isEthernet);
    EXPECT_EQ(Lines().back(), Line(L"Error", L"Memory allocation retry limit exceeded "));
}

} // namespace
