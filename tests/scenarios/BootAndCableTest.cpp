// The simulated laptop boots, and cables come and go: the radios go off
// while a wired link is up and come back as the user had them.
#include "fakes/ExpectedLines.h"
#include "fakes/Laptop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using fakes::Matching;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Eq;
using testing::HasSubstr;
using testing::Not;
using Lines = std::vector<std::wstring>;

const fakes::FunctionLines SinkLine{"NLMEventHandler::NetworkConnectionConnectivityChanged"};
const fakes::FunctionLines WorkerLine{"CMainService::ServiceWorkerThread"};

TEST(BootAndCableTest, BootingWithTheCableInSwitchesBothRadiosOffAndLeavesThePersistedValuesAlone)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Plug());
    ASSERT_TRUE(laptop.Boot());

    EXPECT_FALSE(laptop.WifiOn());
    EXPECT_FALSE(laptop.MobileBroadbandOn());
    EXPECT_EQ(laptop.StoredWifi(), L"<missing>");
    EXPECT_EQ(laptop.StoredMobileBroadband(), L"<missing>");
    const Lines lines = laptop.Lines();
    EXPECT_THAT(lines, Contains(WorkerLine(L"Information", L"LAN connection available when service start. Stopping "
                                                           L"WLAN service...")));
    EXPECT_THAT(lines, Contains(WorkerLine(L"Information", L"LAN connection available when service start. Stopping "
                                                           L"WWAN service...")));
    EXPECT_THAT(lines, Contains(WorkerLine(L"TraceOut", L"ServiceWorkerThread - Exit")));
}

// The service's own switch-on notifies the Wi-Fi handler too; whether that
// notification still finds the sink at work (and stands aside) or finds it
// done (and stores the state the user had, "True") is the platform's timing,
// so either stored value is right.
TEST(BootAndCableTest, PullingTheCableSwitchesBothRadiosOnAgain)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Plug());
    ASSERT_TRUE(laptop.Boot());
    laptop.ClearLog();

    ASSERT_TRUE(laptop.Pull());

    EXPECT_TRUE(laptop.WifiOn());
    EXPECT_TRUE(laptop.MobileBroadbandOn());
    EXPECT_THAT(laptop.StoredWifi(), AnyOf(Eq(L"<missing>"), Eq(L"True")));
    const Lines lines = laptop.Lines();
    EXPECT_THAT(lines, Contains(SinkLine(L"Information", L"The disconnecting connection was Ethernet. Start WLAN "
                                                         L"service...")));
    EXPECT_THAT(lines, Contains(SinkLine(L"Information", L"The disconnecting connection was Ethernet. Start WWAN "
                                                         L"service...")));
    EXPECT_THAT(lines, Contains(L"Information|ServiceUtils::StartWLANService|WLAN Registry Status = True"));
}

TEST(BootAndCableTest, WiFiTheUserTurnedOffStaysOffAfterAPlugAndAPull)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Boot());
    ASSERT_TRUE(laptop.SwitchWifi(false));
    EXPECT_EQ(laptop.StoredWifi(), L"False");

    ASSERT_TRUE(laptop.Plug());
    EXPECT_FALSE(laptop.WifiOn());
    EXPECT_FALSE(laptop.MobileBroadbandOn());
    laptop.ClearLog();
    ASSERT_TRUE(laptop.Pull());

    EXPECT_FALSE(laptop.WifiOn());
    EXPECT_TRUE(laptop.MobileBroadbandOn());
    EXPECT_EQ(laptop.StoredWifi(), L"False");
    EXPECT_THAT(laptop.Lines(), Contains(L"Information|ServiceUtils::StartWLANService|WLAN Registry Status = False"));
}

// DHCP answers 3 s after the link: the calls at 0, 1 and 2 s see
// "0.0.0.0"; the call at 3 s finds the address, but ipNotAssigned, set by
// the earlier calls, is never cleared, so it still logs try 3 and pauses
// once more: the radios go off 4 s after the event (the sink's own steps
// decide the count).
TEST(BootAndCableTest, ADhcpDelayOfThreeSecondsGivesFourFailedTriesAndTheRadiosGoOffFourSecondsAfterTheEvent)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Boot());
    const uint64_t pluggedAt = laptop.Clock().NowMilliseconds();
    const size_t pausesBefore = laptop.Clock().Pauses().size();
    laptop.ClearLog();

    fakes::Laptop::Cable cable;
    cable.dhcpMilliseconds = 3000;
    ASSERT_TRUE(laptop.Plug(cable));

    EXPECT_FALSE(laptop.WifiOn());
    EXPECT_FALSE(laptop.MobileBroadbandOn());
    const Lines lines = laptop.Lines();
    EXPECT_THAT(Matching(lines, L"failed in try"),
                ElementsAre(SinkLine(L"Warning", L"CheckEthernetConnectionStatus failed in try 0"),
                            SinkLine(L"Warning", L"CheckEthernetConnectionStatus failed in try 1"),
                            SinkLine(L"Warning", L"CheckEthernetConnectionStatus failed in try 2"),
                            SinkLine(L"Warning", L"CheckEthernetConnectionStatus failed in try 3")));
    const std::vector<DWORD> pauses = laptop.Clock().Pauses();
    const std::vector<DWORD> duringPlug(pauses.begin() + static_cast<ptrdiff_t>(pausesBefore), pauses.end());
    EXPECT_EQ(std::count(duringPlug.begin(), duringPlug.end(), 1000u), 4);
    // The switch came after the fourth pause: 4 s after the event.
    const auto connected = std::find(lines.begin(), lines.end(), SinkLine(L"Information", L"Ethernet is connected"));
    ASSERT_NE(connected, lines.end());
    EXPECT_GE(laptop.Clock().NowMilliseconds() - pluggedAt, 4000u);
    EXPECT_THAT(lines, Contains(SinkLine(L"Information", L"Connecting to Ethernet. Stop WLAN service...")));
    EXPECT_THAT(lines, Contains(SinkLine(L"Information", L"Connecting to Ethernet. Stop WWAN service...")));
}

TEST(BootAndCableTest, ACableThatNeverGetsAnAddressSwitchesNothingAndStaysInTheSet)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Boot());
    laptop.ClearLog();

    fakes::Laptop::Cable cable;
    cable.getsAddress = false;
    ASSERT_TRUE(laptop.Plug(cable));

    EXPECT_TRUE(laptop.WifiOn());
    EXPECT_TRUE(laptop.MobileBroadbandOn());
    const Lines lines = laptop.Lines();
    EXPECT_EQ(Matching(lines, L"failed in try").size(), 8u);
    EXPECT_THAT(lines, Contains(SinkLine(L"Warning", L"CheckEthernetConnectionStatus failed in try 7")));
    EXPECT_THAT(lines, Not(Contains(SinkLine(L"Information", L"Ethernet is connected"))));
    EXPECT_THAT(lines, Contains(SinkLine(L"Information", L"Ethernet Connection - adding to set...")));
    EXPECT_THAT(lines, Contains(HasSubstr(L"Current ethernetConnection element: {C0C0C0C0-0001-0002-0304-"
                                          L"000000000000}")));
}

TEST(BootAndCableTest, WithTwoCablesOnlyPullingTheLastSwitchesTheRadiosOn)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Boot());
    fakes::Laptop::Cable dock;
    dock.name = "Dock";
    dock.description = "USB-C Dock Ethernet";
    ASSERT_TRUE(laptop.Plug());
    ASSERT_TRUE(laptop.Plug(dock));
    laptop.ClearLog();

    ASSERT_TRUE(laptop.Pull("Dock"));
    EXPECT_FALSE(laptop.WifiOn());
    EXPECT_FALSE(laptop.MobileBroadbandOn());
    EXPECT_THAT(laptop.Lines(), Contains(SinkLine(L"Information", L"Ethernet connection status = 1")));
    EXPECT_THAT(laptop.Lines(), Not(Contains(HasSubstr(L"Start WLAN service"))));

    ASSERT_TRUE(laptop.Pull());
    EXPECT_TRUE(laptop.WifiOn());
    EXPECT_TRUE(laptop.MobileBroadbandOn());
}

class VirtualAdapterTest : public testing::TestWithParam<const char*> {};

TEST_P(VirtualAdapterTest, OnlyAVirtualAdapterSwitchesNothing)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Boot());
    laptop.ClearLog();
    fakes::Laptop::Cable tunnel;
    tunnel.name = "Tunnel";
    tunnel.description = GetParam();
    ASSERT_TRUE(laptop.Plug(tunnel));

    EXPECT_TRUE(laptop.WifiOn());
    EXPECT_TRUE(laptop.MobileBroadbandOn());
    EXPECT_THAT(laptop.Lines(), Not(Contains(HasSubstr(L"Stop WLAN service"))));
    EXPECT_THAT(laptop.Lines(), Not(Contains(HasSubstr(L"Stop WWAN service"))));
}

INSTANTIATE_TEST_SUITE_P(NamedVpnVirtualOrTap, VirtualAdapterTest,
                         testing::Values("Contoso VPN Client Adapter", "Hyper-V Virtual Ethernet Adapter",
                                         "TAP-Windows Adapter V9"));

TEST(BootAndCableTest, WithoutAMobileBroadbandDeviceTheWiFiSideWorksAndTheWorkerEndsAtTheDeviceCheck)
{
    fakes::Laptop::Options options;
    options.modemPresent = false;
    fakes::Laptop laptop(options);
    ASSERT_TRUE(laptop.Boot());
    const Lines worker = laptop.LinesOf("CMainService::ServiceWorkerThread");
    ASSERT_FALSE(worker.empty());
    EXPECT_EQ(worker.back(),
              WorkerLine(L"Error", L"WWAN Device enumeration failed / No supporting WWAN device found "));
    EXPECT_TRUE(laptop.WifiOn());

    ASSERT_TRUE(laptop.Plug());
    EXPECT_FALSE(laptop.WifiOn());
    ASSERT_TRUE(laptop.Pull());
    EXPECT_TRUE(laptop.WifiOn());
}

}  // namespace
