// The verdict of the machine-wide Ethernet rule on one adapter, which the
// walk and TessarineDiag both take from ClassifyAdapterInfo.
#include "network/AdapterWalks.h"

#include "fakes/RecordingListener.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace {

using NLMUtils::AdapterVerdict;
using NLMUtils::ClassifyAdapterInfo;
using testing::ElementsAre;

IP_ADAPTER_INFO Adapter(UINT type, const char* description, const char* address)
{
    IP_ADAPTER_INFO adapter = {};
    adapter.Type = type;
    std::strcpy(adapter.Description, description);
    std::strcpy(adapter.IpAddressList.IpAddress.String, address);
    return adapter;
}

TEST(ClassifyAdapterInfo, AnEthernetCardWithAnAddressCounts)
{
    EXPECT_EQ(ClassifyAdapterInfo(Adapter(MIB_IF_TYPE_ETHERNET, "eth0", "192.168.1.2")), AdapterVerdict::Ethernet);
}

TEST(ClassifyAdapterInfo, TheTypeIsAskedFirst)
{
    // Neither the missing address nor the VPN word matters for another type.
    EXPECT_EQ(ClassifyAdapterInfo(Adapter(IF_TYPE_IEEE80211, "Wi-Fi", "10.0.0.2")), AdapterVerdict::NotEthernetType);
    EXPECT_EQ(ClassifyAdapterInfo(Adapter(MIB_IF_TYPE_PPP, "TAP-Win32", "0.0.0.0")), AdapterVerdict::NotEthernetType);
}

TEST(ClassifyAdapterInfo, TheAddressIsAskedBeforeTheDescription)
{
    EXPECT_EQ(ClassifyAdapterInfo(Adapter(MIB_IF_TYPE_ETHERNET, "TAP-Win32", "0.0.0.0")), AdapterVerdict::NoAddress);
    // Only the whole text "0.0.0.0" is no address.
    EXPECT_EQ(ClassifyAdapterInfo(Adapter(MIB_IF_TYPE_ETHERNET, "eth0", "0.0.0.01")), AdapterVerdict::Ethernet);
}

TEST(ClassifyAdapterInfo, EachVpnWordMakesAVpnAdapterCaseSensitively)
{
    for (const char* description : {"Cisco VPN Adapter", "Hyper-V Virtual Ethernet", "TAP-Windows Adapter V9"})
        EXPECT_EQ(ClassifyAdapterInfo(Adapter(MIB_IF_TYPE_ETHERNET, description, "10.0.0.2")),
                  AdapterVerdict::VpnDescription)
            << description;
    EXPECT_EQ(ClassifyAdapterInfo(Adapter(MIB_IF_TYPE_ETHERNET, "my vpn card", "10.0.0.2")), AdapterVerdict::Ethernet);
}

TEST(VpnWordIn, GivesTheFirstWordOfTheListFound)
{
    EXPECT_STREQ(NLMUtils::VpnWordIn("TAP-Win1"), "TAP-Win");
    EXPECT_STREQ(NLMUtils::VpnWordIn("Virtual VPN"), "VPN");
    EXPECT_STREQ(NLMUtils::VpnWordIn("Virtual switch"), "Virtual");
    EXPECT_EQ(NLMUtils::VpnWordIn("eth0"), nullptr);
}

TEST(WalkAdapterInfo, LogsEachVerdictAsItAlwaysHas)
{
    IP_ADAPTER_INFO chain[4] = {
        Adapter(IF_TYPE_IEEE80211, "Wi-Fi", "10.0.0.3"), Adapter(MIB_IF_TYPE_ETHERNET, "eth1", "0.0.0.0"),
        Adapter(MIB_IF_TYPE_ETHERNET, "TAP-Win1", "10.0.0.4"), Adapter(MIB_IF_TYPE_ETHERNET, "eth0", "10.0.0.5")};
    for (int i = 0; i < 3; ++i)
        chain[i].Next = &chain[i + 1];
    fakes::RecordingLog log;
    int status = -1;
    int notAssigned = 0;
    NLMUtils::WalkAdapterInfo(chain, &status, &notAssigned, QX::Shared::FunctionLog("Walk"));
    EXPECT_EQ(status, 1);
    EXPECT_EQ(notAssigned, 1);
    EXPECT_THAT(log.Lines(), ElementsAre(L"Information|Walk|An IEEE 802.11 wireless network interface.",
                                         L"Information|Walk|An Ethernet network interface.",
                                         L"Information|Walk|Ethernet is VPN and IP is valid",
                                         L"Information|Walk|An Ethernet network interface.",
                                         L"Information|Walk|Ethernet is not VPN and IP is valid"));
}

}  // namespace
