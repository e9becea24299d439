// The Ethernet tests of the network library against real Linux interfaces
// as Wine's IP Helper reports them: no seam overrides, the real
// GetAdaptersInfo and GetAdaptersAddresses.
//
// Each test is one scenario and holds only inside the network namespace
// that scripts/netns-test.sh has set up for it; the script selects the test
// with --gtest_filter after building the scenario's interfaces. It hands in,
// through the environment:
//   TESSARINE_NETNS               1 (the tests refuse to run without it)
//   TESSARINE_NETNS_ETHERNET      the ordinary interface's name
//   TESSARINE_NETNS_VPN           the VPN-looking interface's name
//   TESSARINE_NETNS_ETHERNET_GUID the ordinary interface's adapter name
//   TESSARINE_NETNS_VPN_GUID      the VPN-looking interface's adapter name
// An adapter name is "{0000000N-0000-0000-0000-4E6574446576}" with N the
// Linux interface index in upper-case hexadecimal; the description and the
// friendly name are the Linux interface name.
//
// NetnsDump.Adapters is no scenario: it prints both adapter lists, which the
// script shows when a scenario failed.
#include "network/EthernetCheck.h"
#include "network/NLMUtils.h"

#include "fakes/RecordingListener.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cwctype>
#include <string>
#include <vector>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

constexpr char kCheck[] = "NLMEventHandler::CheckEthernetConnectionStatus";
constexpr char kCheckEx[] = "NLMEventHandler::CheckEthernetConnectionStatusEx";
constexpr char kInitialise[] = "NLMEventHandler::InitialiseAdapter";
constexpr char kLookup[] = "NLMUtils::PrintAdapterInfo";

constexpr wchar_t kOverflow[] = L"Information|NLMEventHandler::InitialiseAdapter|GetAdaptersInfo() returns "
                                L"ERROR_BUFFER_OVERFLOW: Re-allocating with new buffer size = ";
constexpr wchar_t kSuccess[] = L"Information|NLMEventHandler::InitialiseAdapter|GetAdaptersInfo() success: "
                               L"ulOutBufLen = ";

// Out-values start here, so that one left untouched shows.
constexpr int kUntouched = -1;

std::wstring Environment(const wchar_t* name)
{
    wchar_t value[256] = {};
    const DWORD length = GetEnvironmentVariableW(name, value, 256);
    return length > 0 && length < 256 ? std::wstring(value, length) : std::wstring();
}

struct CheckResult {
    int result = 0;
    int ethernetStatus = kUntouched;
    int ipNotAssigned = kUntouched;
};

class NetnsProbe : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(Environment(L"TESSARINE_NETNS"), L"1")
            << "netns_probe only holds in the namespace scripts/netns-test.sh builds; run that script";
        m_ethernet = Environment(L"TESSARINE_NETNS_ETHERNET");
        m_vpn = Environment(L"TESSARINE_NETNS_VPN");
        ASSERT_FALSE(m_ethernet.empty());
        ASSERT_FALSE(m_vpn.empty());
    }

    CheckResult Check()
    {
        CheckResult check;
        check.result = EthernetCheck::CheckEthernetConnectionStatusEx(&check.ethernetStatus, &check.ipNotAssigned);
        return check;
    }

    // Runs the lookup of `guid` with isEthernet starting false.
    bool Lookup(const std::wstring& guid)
    {
        bool isEthernet = false;
        NLMUtils::PrintAdapterInfo(guid, &isEthernet);
        return isEthernet;
    }

    fakes::RecordingLog m_log;
    std::wstring m_ethernet;
    std::wstring m_vpn;
};

// a. Only the loopback interface. Measured under Wine 8: GetAdaptersInfo
// leaves loopback out of the legacy list and, with nothing else to list,
// answers ERROR_NO_DATA (232) to both calls; the check therefore fails with
// 0 and leaves both out-values untouched, rather than examining an empty
// list. (The failure line shows the thread's last error, which
// GetAdaptersInfo does not set: 0 here.)
TEST_F(NetnsProbe, NoEthernet)
{
    const CheckResult check = Check();
    EXPECT_EQ(check.result, 0);
    EXPECT_EQ(check.ethernetStatus, kUntouched);
    EXPECT_EQ(check.ipNotAssigned, kUntouched);
    EXPECT_THAT(m_log.LinesOf(kInitialise),
                ElementsAre(L"TraceIn|NLMEventHandler::InitialiseAdapter|",
                            StartsWith(L"Error|NLMEventHandler::InitialiseAdapter|GetAdaptersInfo() failed.Error = 0x"),
                            L"TraceOut|NLMEventHandler::InitialiseAdapter|Return = 232"));
    EXPECT_THAT(m_log.LinesOf(kCheck), ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatus|",
                                                   L"Error|NLMEventHandler::CheckEthernetConnectionStatus|"
                                                   L"InitialiseAdapter failed"));
    EXPECT_THAT(m_log.LinesOf(kCheckEx), ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatusEx|",
                                                     L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatusEx|"
                                                     L"Return Value = 0"));
}

// b. One Ethernet interface, up, without an IPv4 address. Wine wants room
// for more than one IP_ADAPTER_INFO even for one adapter, so the list is
// fetched again at the size it asks for.
TEST_F(NetnsProbe, EthernetWithoutAddress)
{
    const CheckResult check = Check();
    EXPECT_EQ(check.result, 1);
    EXPECT_EQ(check.ethernetStatus, 0);
    EXPECT_EQ(check.ipNotAssigned, 1);
    EXPECT_THAT(m_log.LinesOf(kInitialise),
                ElementsAre(L"TraceIn|NLMEventHandler::InitialiseAdapter|", StartsWith(kOverflow), StartsWith(kSuccess),
                            L"TraceOut|NLMEventHandler::InitialiseAdapter|Return = 0"));
    EXPECT_THAT(m_log.LinesOf(kCheck), ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatus|",
                                                   L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatus|"
                                                   L"Ethernet Status = 0"));
    EXPECT_THAT(m_log.LinesOf(kCheckEx), ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatusEx|",
                                                     L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatusEx|"
                                                     L"Return Value = 1"));
}

// c. The same interface with an IPv4 address.
TEST_F(NetnsProbe, EthernetWithAddress)
{
    const CheckResult check = Check();
    EXPECT_EQ(check.result, 1);
    EXPECT_EQ(check.ethernetStatus, 1);
    EXPECT_EQ(check.ipNotAssigned, kUntouched);
    EXPECT_THAT(
        m_log.LinesOf(kCheck),
        ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatus|",
                    L"Information|NLMEventHandler::CheckEthernetConnectionStatus|An Ethernet network interface.",
                    L"Information|NLMEventHandler::CheckEthernetConnectionStatus|"
                    L"Ethernet is not VPN and IP is valid",
                    L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatus|Ethernet Status = 1"));
    EXPECT_THAT(m_log.LinesOf(kCheckEx), ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatusEx|",
                                                     L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatusEx|"
                                                     L"Return Value = 1"));
}

// d. Only the VPN-looking interface, with an address: examined, not counted.
TEST_F(NetnsProbe, VpnOnly)
{
    const CheckResult check = Check();
    EXPECT_EQ(check.result, 1);
    EXPECT_EQ(check.ethernetStatus, 0);
    EXPECT_EQ(check.ipNotAssigned, kUntouched);
    EXPECT_THAT(
        m_log.LinesOf(kCheck),
        ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatus|",
                    L"Information|NLMEventHandler::CheckEthernetConnectionStatus|An Ethernet network interface.",
                    L"Information|NLMEventHandler::CheckEthernetConnectionStatus|"
                    L"Ethernet is VPN and IP is valid",
                    L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatus|Ethernet Status = 0"));
}

// e. The VPN-looking interface (lower index, so listed first) and the
// ordinary one, both with addresses: the walk passes over the first and
// ends at the second.
TEST_F(NetnsProbe, VpnThenEthernet)
{
    const CheckResult check = Check();
    EXPECT_EQ(check.result, 1);
    EXPECT_EQ(check.ethernetStatus, 1);
    EXPECT_EQ(check.ipNotAssigned, kUntouched);
    EXPECT_THAT(m_log.LinesOf(kInitialise),
                ElementsAre(L"TraceIn|NLMEventHandler::InitialiseAdapter|", StartsWith(kOverflow), StartsWith(kSuccess),
                            L"TraceOut|NLMEventHandler::InitialiseAdapter|Return = 0"));
    EXPECT_THAT(
        m_log.LinesOf(kCheck),
        ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatus|",
                    L"Information|NLMEventHandler::CheckEthernetConnectionStatus|An Ethernet network interface.",
                    L"Information|NLMEventHandler::CheckEthernetConnectionStatus|"
                    L"Ethernet is VPN and IP is valid",
                    L"Information|NLMEventHandler::CheckEthernetConnectionStatus|An Ethernet network interface.",
                    L"Information|NLMEventHandler::CheckEthernetConnectionStatus|"
                    L"Ethernet is not VPN and IP is valid",
                    L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatus|Ethernet Status = 1"));
}

// f. The per-connection lookup, in the namespace of e.
TEST_F(NetnsProbe, LookupFindsEthernetByGuid)
{
    const std::wstring guid = Environment(L"TESSARINE_NETNS_ETHERNET_GUID");
    ASSERT_FALSE(guid.empty());
    EXPECT_TRUE(Lookup(guid));
    const std::wstring lookup = L"Information|NLMUtils::PrintAdapterInfo|";
    EXPECT_THAT(m_log.LinesOf(kLookup),
                ElementsAre(L"TraceIn|NLMUtils::PrintAdapterInfo|GUID Value = " + guid,
                            lookup + L"Memory allocation success for IP_ADAPTER_ADDRESSES struct",
                            lookup + L"Description   : " + m_ethernet, lookup + L"Friendly Name : " + m_ethernet,
                            lookup + L"Interface type: Ethernet",
                            L"TraceOut|NLMUtils::PrintAdapterInfo|Ethernet Status = 1"));
}

TEST_F(NetnsProbe, LookupOfVpnLeavesFalse)
{
    const std::wstring guid = Environment(L"TESSARINE_NETNS_VPN_GUID");
    ASSERT_FALSE(guid.empty());
    EXPECT_FALSE(Lookup(guid));
    const std::wstring lookup = L"Information|NLMUtils::PrintAdapterInfo|";
    EXPECT_THAT(m_log.LinesOf(kLookup),
                ElementsAre(L"TraceIn|NLMUtils::PrintAdapterInfo|GUID Value = " + guid,
                            lookup + L"Memory allocation success for IP_ADAPTER_ADDRESSES struct",
                            lookup + L"Description   : " + m_vpn, lookup + L"Friendly Name : " + m_vpn,
                            lookup + L"Interface type: Ethernet", lookup + L"Ethernet is VPN connection",
                            L"TraceOut|NLMUtils::PrintAdapterInfo|Ethernet Status = 0"));
}

// The adapter name is matched as exact text: the ordinary interface's
// adapter name in lower case finds nothing.
TEST_F(NetnsProbe, LookupIsCaseSensitive)
{
    std::wstring guid = Environment(L"TESSARINE_NETNS_ETHERNET_GUID");
    ASSERT_FALSE(guid.empty());
    std::transform(guid.begin(), guid.end(), guid.begin(), [](wchar_t c) { return wchar_t(std::towlower(c)); });
    EXPECT_FALSE(Lookup(guid));
    EXPECT_THAT(m_log.LinesOf(kLookup),
                Contains(L"Warning|NLMUtils::PrintAdapterInfo|Could not find matching adapter"));
    EXPECT_THAT(m_log.LinesOf(kLookup),
                Not(Contains(L"Information|NLMUtils::PrintAdapterInfo|Description   : " + m_ethernet)));
}

// Not a scenario: prints both of IP Helper's adapter lists as this process
// sees them, for the script to show when a scenario failed.
TEST(NetnsDump, Adapters)
{
    ULONG length = 0;
    std::vector<unsigned char> buffer;
    DWORD status = GetAdaptersInfo(nullptr, &length);
    if (status == ERROR_BUFFER_OVERFLOW) {
        buffer.resize(length);
        status = GetAdaptersInfo(reinterpret_cast<IP_ADAPTER_INFO*>(buffer.data()), &length);
    }
    std::printf("GetAdaptersInfo: %lu (buffer %lu)\n", status, length);
    if (status == ERROR_SUCCESS)
        for (auto* a = reinterpret_cast<IP_ADAPTER_INFO*>(buffer.data()); a != nullptr; a = a->Next)
            std::printf("  index %lu type %u name %s description \"%s\" address %s\n", a->Index, a->Type,
                        a->AdapterName, a->Description, a->IpAddressList.IpAddress.String);
    length = 0;
    status = GetAdaptersAddresses(AF_UNSPEC, GAA_FLAG_INCLUDE_PREFIX, nullptr, nullptr, &length);
    if (status == ERROR_BUFFER_OVERFLOW) {
        buffer.assign(length, 0);
        status = GetAdaptersAddresses(AF_UNSPEC, GAA_FLAG_INCLUDE_PREFIX, nullptr,
                                      reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()), &length);
    }
    std::printf("GetAdaptersAddresses: %lu\n", status);
    if (status == ERROR_SUCCESS)
        for (auto* a = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()); a != nullptr; a = a->Next)
            std::printf("  index %lu type %lu name %s description \"%ls\" friendly \"%ls\" oper %d\n", a->IfIndex,
                        a->IfType, a->AdapterName, a->Description, a->FriendlyName, int(a->OperStatus));
}

}  // namespace
