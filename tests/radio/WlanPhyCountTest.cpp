// The Wi-Fi set against a driver whose capability reports more PHYs than the
// capability structure can describe: the set asks each PHY the structure
// holds, never a call per reported count (four billion, for a driver that
// reports 0xFFFFFFFF), in virtual time.
#include "radio/WlanRadio.h"

#include "fakes/MachineState.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "models/FakeWlanClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using testing::Contains;

TEST(WlanPhyCountTest, ACapabilityBeyondTheStructureSetsOnlyThePhysItCanDescribe)
{
    fakes::RecordingLog log;
    fakes::VirtualClock clock;
    fakes::ScopedAirplaneMode airplane;
    fakes::ScopedPowerStatus powerStatus;
    airplane.Set(false);
    my_setwifitimeout = false;
    fakes::FakeWlanClient wlan;
    wlan.AddInterface(L"Simulated Wireless-AC 9560", 2, fakes::FakeWlanClient::kOff, wlan_interface_state_connected);
    wlan.SetReportedPhys(0, 1000);

    const bool on = true;
    const bool checkAirplaneMode = false;
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatus(on, checkAirplaneMode));

    // The count is logged as the driver gave it.
    EXPECT_THAT(log.Lines(), Contains(L"Information|ServiceUtils::SwitchWlanStatus|The number of supported PHY types : "
                                      L"1000"));
    // 81 passes of 64 sets: the two real PHYs go on, the 62 others are
    // unknown to the adapter, so every pass fails and the set gives up.
    EXPECT_EQ(wlan.SetCalls(), 81u * 64u);
    const std::vector<DWORD> pauses = clock.Pauses();
    EXPECT_EQ(std::count(pauses.begin(), pauses.end(), 100u), 81);
    EXPECT_TRUE(wlan.RadioOn(0));
    my_setwifitimeout = false;
}

} // namespace
