// The whole status read on the laptop's device models: every reading in
// place, COM left as it was found, and the time taken.
#include "status/Readings.h"

#include "fakes/FakeComRuntime.h"
#include "fakes/FakeScm.h"
#include "fakes/MachineState.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "models/Adapters.h"
#include "models/FakeComTexts.h"
#include "models/FakeIpHelper.h"
#include "models/FakeWlanClient.h"
#include "models/FirmwareWmi.h"
#include "models/MobileBroadbandModel.h"
#include "state/RegistryPaths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using fakes::FakeWlanClient;
using testing::ElementsAre;

TEST(ReadStatus, EveryReadingOfThePluggedLaptop)
{
    fakes::RecordingLog log;
    fakes::VirtualClock clock;
    fakes::FakeComRuntime com;
    fakes::FakeComTexts texts;
    fakes::FakeScm scm;
    scm.AddService(L"Tessarine", SERVICE_RUNNING).binaryPath = L"\"C:\\TessarineLaptop\\Tessarine.exe\"";
    fakes::FirmwareWmi wmi({{L"QXBIOS_BIOSEnumeration", L"LAN / WLAN Auto Switching", L"Enable"},
                            {L"QXBIOS_BIOSEnumeration", L"LAN / WWAN Auto Switching", L"*Disable"}});
    fakes::FakeIpHelper ipHelper({fakes::Ethernet("eth0", "192.168.77.2")});
    FakeWlanClient wlan;
    wlan.AddInterface(L"Simulated Wireless-AC 9560", 2, FakeWlanClient::kOff);
    fakes::MobileBroadbandModel modem;
    fakes::ScopedPowerStatus power;
    fakes::ScopedPowerStatus::Store(kWwanPowerStatusKey, L"False");
    fakes::ScopedAirplaneMode airplane;
    airplane.Set(true);

    const diag::StatusReport report = diag::ReadStatus();
    EXPECT_TRUE(report.service.Running());
    EXPECT_EQ(report.service.programPath, L"C:\\TessarineLaptop\\Tessarine.exe");
    EXPECT_TRUE(report.firmware.decision.wlan.Allowed());
    EXPECT_FALSE(report.firmware.decision.wwan.Allowed());
    EXPECT_TRUE(report.wlanChoice.wasEmpty);
    EXPECT_EQ(report.wwanChoice.text, L"False");
    EXPECT_TRUE(report.airplaneMode);
    EXPECT_TRUE(report.ethernet.up);
    EXPECT_TRUE(report.wlan.read);
    EXPECT_FALSE(report.wlan.on);
    EXPECT_TRUE(report.wwan.read);
    EXPECT_TRUE(report.wwan.on);
    EXPECT_EQ(report.connectionPolicy.key, diag::kConnectionManagerPolicyKey);
    EXPECT_EQ(report.elapsedMilliseconds, 0u);  // virtual time: no pause
    // COM as it was: every initialisation undone.
    EXPECT_EQ(com.initializations, com.uninitializations);
    EXPECT_EQ(modem.LiveObjects(), 0);
    EXPECT_EQ(scm.OpenHandles(), 0);
    EXPECT_EQ(wlan.SetCalls(), 0u);
}

}  // namespace
