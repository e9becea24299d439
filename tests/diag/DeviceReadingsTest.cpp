// The readings of the service, the adapters, the radios and the firmware,
// against the device models and the scripted SCM. They read only: no set
// reaches a radio, no service is opened for more than queries.
#include "status/Readings.h"

#include "fakes/FakeComRuntime.h"
#include "fakes/FakeScm.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "models/Adapters.h"
#include "models/FakeComTexts.h"
#include "models/FakeIpHelper.h"
#include "models/FakeWlanClient.h"
#include "models/FirmwareWmi.h"
#include "models/MobileBroadbandModel.h"
#include "platform/MbnApi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using fakes::FakeWlanClient;
using fakes::MobileBroadbandModel;
using NLMUtils::AdapterVerdict;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

std::wstring OwnPath()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

// ---- the service -------------------------------------------------------------

TEST(ReadService, ARunningServiceWithItsProgramsVersion)
{
    fakes::RecordingLog log;
    fakes::FakeScm scm;
    auto& service = scm.AddService(L"Tessarine", SERVICE_RUNNING);
    service.binaryPath = L"\"" + OwnPath() + L"\"";
    service.startType = SERVICE_DEMAND_START;
    const diag::ServiceReading reading = diag::ReadService(L"Tessarine");
    EXPECT_TRUE(reading.scmOpened);
    EXPECT_TRUE(reading.registered);
    EXPECT_TRUE(reading.Running());
    EXPECT_TRUE(reading.configRead);
    EXPECT_EQ(reading.startType, static_cast<DWORD>(SERVICE_DEMAND_START));
    EXPECT_EQ(reading.registeredPath, service.binaryPath);
    EXPECT_EQ(reading.programPath, OwnPath());
    EXPECT_TRUE(reading.versionFound);
    EXPECT_EQ(reading.version, L"1.0.0.0");
    EXPECT_EQ(reading.error, 0u);
    // Connect and query rights only; every handle closed.
    EXPECT_THAT(scm.calls, Contains(L"OpenSCManagerW local active 0x00000001"));
    EXPECT_THAT(scm.calls, Contains(L"OpenServiceW Tessarine 0x00000005"));
    EXPECT_EQ(scm.OpenHandles(), 0);
}

TEST(ReadService, AnUnquotedPathAndAStoppedService)
{
    fakes::RecordingLog log;
    fakes::FakeScm scm;
    scm.AddService(L"Tessarine", SERVICE_STOPPED).binaryPath = L"C:\\Nowhere\\Tessarine.exe";
    const diag::ServiceReading reading = diag::ReadService(L"Tessarine");
    EXPECT_TRUE(reading.registered);
    EXPECT_FALSE(reading.Running());
    EXPECT_EQ(reading.state, static_cast<DWORD>(SERVICE_STOPPED));
    EXPECT_EQ(reading.programPath, L"C:\\Nowhere\\Tessarine.exe");
    EXPECT_FALSE(reading.versionFound);
}

TEST(ReadService, NotInstalledIsAnAnswerNotAnError)
{
    fakes::RecordingLog log;
    fakes::FakeScm scm;
    const diag::ServiceReading reading = diag::ReadService(L"Tessarine");
    EXPECT_TRUE(reading.scmOpened);
    EXPECT_FALSE(reading.registered);
    EXPECT_EQ(reading.error, 0u);
    EXPECT_EQ(scm.OpenHandles(), 0);
}

TEST(ReadService, TheFailuresAreKept)
{
    fakes::RecordingLog log;
    fakes::FakeScm scm;
    scm.openScmError = ERROR_ACCESS_DENIED;
    diag::ServiceReading reading = diag::ReadService(L"Tessarine");
    EXPECT_FALSE(reading.scmOpened);
    EXPECT_EQ(reading.error, static_cast<DWORD>(ERROR_ACCESS_DENIED));

    scm.openScmError = 0;
    scm.AddService(L"Tessarine", SERVICE_RUNNING).openError = ERROR_ACCESS_DENIED;
    reading = diag::ReadService(L"Tessarine");
    EXPECT_TRUE(reading.scmOpened);
    EXPECT_FALSE(reading.registered);
    EXPECT_EQ(reading.error, static_cast<DWORD>(ERROR_ACCESS_DENIED));

    scm.Find(L"Tessarine")->openError = 0;
    scm.Find(L"Tessarine")->configError = ERROR_ACCESS_DENIED;
    reading = diag::ReadService(L"Tessarine");
    EXPECT_TRUE(reading.Running());
    EXPECT_FALSE(reading.configRead);
    EXPECT_EQ(reading.error, static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(scm.OpenHandles(), 0);
}

// ---- the adapters --------------------------------------------------------------

TEST(ReadAdapters, EachAdapterWithTheRulesVerdictAndTheOneThatDecides)
{
    fakes::RecordingLog log;
    fakes::FakeIpHelper ipHelper({fakes::WirelessAdapter(), fakes::Ethernet("eth1", "0.0.0.0"),
                                  fakes::Ethernet("TAP-Win1", "192.168.78.2"), fakes::Ethernet("eth0", "192.168.77.2"),
                                  fakes::Ethernet("eth2", "192.168.79.2")});
    const diag::EthernetReading reading = diag::ReadAdapters();
    ASSERT_TRUE(reading.listRead);
    EXPECT_TRUE(reading.up);
    EXPECT_TRUE(reading.addressPending);
    ASSERT_EQ(reading.adapters.size(), 5u);
    EXPECT_EQ(reading.adapters[0].verdict, AdapterVerdict::NotEthernetType);
    EXPECT_EQ(reading.adapters[0].type, 71u);
    EXPECT_EQ(reading.adapters[0].typeName, L"IEEE 802.11 Wireless");
    EXPECT_EQ(reading.adapters[1].verdict, AdapterVerdict::NoAddress);
    EXPECT_EQ(reading.adapters[2].verdict, AdapterVerdict::VpnDescription);
    EXPECT_EQ(reading.adapters[2].vpnWord, "TAP-Win");
    EXPECT_EQ(reading.adapters[3].verdict, AdapterVerdict::Ethernet);
    EXPECT_EQ(reading.adapters[3].address, "192.168.77.2");
    EXPECT_TRUE(reading.adapters[3].decides);
    // The walk ends at the first adapter that counts.
    EXPECT_EQ(reading.adapters[4].verdict, AdapterVerdict::Ethernet);
    EXPECT_FALSE(reading.adapters[4].decides);
    EXPECT_EQ(reading.Deciding()->description, "eth0");
    EXPECT_EQ(reading.Pending()->description, "eth1");
}

TEST(ReadAdapters, EachAdaptersLinkFromTheAddressList)
{
    fakes::RecordingLog log;
    auto pulled = fakes::Ethernet("eth0", "0.0.0.0", "{00000001-0000-0000-0000-4E6574446576}");
    pulled.linkUp = false;
    const auto waiting = fakes::Ethernet("eth1", "0.0.0.0", "{00000002-0000-0000-0000-4E6574446576}");
    fakes::FakeIpHelper ipHelper({pulled, waiting});
    diag::EthernetReading reading = diag::ReadAdapters();
    ASSERT_EQ(reading.adapters.size(), 2u);
    EXPECT_EQ(reading.adapters[0].link, diag::AdapterReading::Link::Down);
    EXPECT_EQ(reading.adapters[1].link, diag::AdapterReading::Link::Up);
    // The wire that may still get its address is the one whose link is up.
    EXPECT_EQ(reading.Pending()->description, "eth1");

    ipHelper.Fail(fakes::FakeIpHelper::Failure::AdaptersAddresses, ERROR_NOT_ENOUGH_MEMORY);
    reading = diag::ReadAdapters();
    ASSERT_EQ(reading.adapters.size(), 2u);
    EXPECT_EQ(reading.adapters[0].link, diag::AdapterReading::Link::Unknown);
    EXPECT_EQ(reading.Pending()->description, "eth0");
}

TEST(ReadAdapters, NoAdapterCountsWithoutAnAddressOrBehindAVpnName)
{
    fakes::RecordingLog log;
    fakes::FakeIpHelper ipHelper({fakes::Ethernet("VPN0", "10.8.0.2")});
    const diag::EthernetReading reading = diag::ReadAdapters();
    EXPECT_FALSE(reading.up);
    EXPECT_FALSE(reading.addressPending);
    EXPECT_EQ(reading.Deciding(), nullptr);
    EXPECT_EQ(reading.Pending(), nullptr);
}

TEST(ReadAdapters, AListThatCannotBeRead)
{
    fakes::RecordingLog log;
    fakes::FakeIpHelper ipHelper;
    ipHelper.Fail(fakes::FakeIpHelper::Failure::AdaptersInfo, ERROR_NO_DATA);
    const diag::EthernetReading reading = diag::ReadAdapters();
    EXPECT_FALSE(reading.listRead);
    EXPECT_EQ(reading.error, static_cast<DWORD>(ERROR_NO_DATA));
    EXPECT_FALSE(reading.up);
}

// ---- the Wi-Fi radio -----------------------------------------------------------

TEST(ReadWlanRadio, EveryPhyOfTheFirstInterface)
{
    fakes::RecordingLog log;
    FakeWlanClient wlan;
    wlan.AddInterface(L"Simulated Wireless-AC 9560", 2, FakeWlanClient::kOn);
    wlan.AddInterface(L"Second adapter", 1, FakeWlanClient::kOff);
    wlan.SetPhyState(0, 1, FakeWlanClient::kOff);
    const diag::WlanReading reading = diag::ReadWlanRadio();
    ASSERT_TRUE(reading.read);
    EXPECT_EQ(reading.interfaces, 2u);
    EXPECT_EQ(reading.description, L"Simulated Wireless-AC 9560");
    ASSERT_EQ(reading.phys.size(), 2u);
    EXPECT_EQ(reading.phys[0].software, static_cast<DWORD>(dot11_radio_state_on));
    EXPECT_EQ(reading.phys[1].software, static_cast<DWORD>(dot11_radio_state_off));
    EXPECT_EQ(reading.phys[1].hardware, static_cast<DWORD>(dot11_radio_state_on));
    EXPECT_FALSE(reading.on);  // one PHY off: off, as the service counts it
    EXPECT_EQ(wlan.SetCalls(), 0u);
    EXPECT_EQ(wlan.OutstandingBuffers(), 0u);
    EXPECT_EQ(wlan.OpenClientHandles(), 0u);
}

TEST(ReadWlanRadio, EveryPhyOnIsOn)
{
    fakes::RecordingLog log;
    FakeWlanClient wlan;
    wlan.AddInterface(L"Wi-Fi", 2, FakeWlanClient::kOn);
    EXPECT_TRUE(diag::ReadWlanRadio().on);
}

TEST(ReadWlanRadio, NoInterfaceOrAFailingCall)
{
    fakes::RecordingLog log;
    FakeWlanClient wlan;
    diag::WlanReading reading = diag::ReadWlanRadio();
    EXPECT_FALSE(reading.read);
    EXPECT_TRUE(reading.listed);
    EXPECT_EQ(reading.interfaces, 0u);
    EXPECT_EQ(reading.failure, L"no Wi-Fi interface");

    wlan.AddInterface(L"Wi-Fi", 2);
    wlan.Fail(FakeWlanClient::Failure::QueryInterface, ERROR_ACCESS_DENIED);
    reading = diag::ReadWlanRadio();
    EXPECT_FALSE(reading.read);
    EXPECT_EQ(reading.failure, L"WlanQueryInterface failed with error 5");

    wlan.Fail(FakeWlanClient::Failure::OpenHandle, ERROR_SERVICE_NOT_ACTIVE);
    reading = diag::ReadWlanRadio();
    EXPECT_FALSE(reading.listed);
    EXPECT_EQ(reading.failure, L"WlanOpenHandle failed with error 1062");
    wlan.Heal();
    EXPECT_EQ(wlan.OutstandingBuffers(), 0u);
    EXPECT_EQ(wlan.OpenClientHandles(), 0u);
}

// ---- the mobile-broadband radio ------------------------------------------------

class ReadWwanRadioTest : public testing::Test {
protected:
    ~ReadWwanRadioTest() override { EXPECT_EQ(m_model.LiveObjects(), 0) << "an object was not released"; }

    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    fakes::FakeComRuntime m_com;
    fakes::FakeComTexts m_texts;
    MobileBroadbandModel m_model;
};

TEST_F(ReadWwanRadioTest, TheLastInterfaceListedAndItsRadio)
{
    m_model.SetInterfaces({L"{11111111-0000-1111-2222-333344445555}", L"{5A5A5A5A-0000-1111-2222-333344445555}"});
    m_model.SetRadioState(MBN_RADIO_OFF);
    const diag::WwanReading reading = diag::ReadWwanRadio();
    EXPECT_TRUE(reading.managerCreated);
    EXPECT_TRUE(reading.deviceFound);
    ASSERT_TRUE(reading.read);
    EXPECT_EQ(reading.interfaceId, L"{5A5A5A5A-0000-1111-2222-333344445555}");
    EXPECT_EQ(reading.software, MBN_RADIO_OFF);
    EXPECT_EQ(reading.hardware, MBN_RADIO_ON);
    EXPECT_FALSE(reading.on);
    // One look, no pause: the service's start-up tries are not the reading's.
    EXPECT_TRUE(m_clock.Pauses().empty());
    EXPECT_EQ(m_texts.LiveTexts(), 0u);
    EXPECT_THAT(m_model.Calls(), testing::Not(Contains(testing::StartsWith("SetSoftwareRadioState"))));
}

TEST_F(ReadWwanRadioTest, NoDevice)
{
    m_model.SetInterfaces({});
    const diag::WwanReading reading = diag::ReadWwanRadio();
    EXPECT_TRUE(reading.managerCreated);
    EXPECT_FALSE(reading.deviceFound);
    EXPECT_EQ(reading.failure, L"no mobile-broadband interface");
}

TEST_F(ReadWwanRadioTest, TheFailuresAreSaid)
{
    m_model.SetInterfaces({L"{5A5A5A5A-0000-1111-2222-333344445555}"});
    m_model.Fail(MobileBroadbandModel::Failure::GetInterfaces, E_FAIL, 1);
    diag::WwanReading reading = diag::ReadWwanRadio();
    EXPECT_FALSE(reading.deviceFound);
    EXPECT_EQ(reading.failure, L"GetInterfaces failed with 0x80004005");

    m_model.Fail(MobileBroadbandModel::Failure::GetSoftwareRadioState, E_ACCESSDENIED, 1);
    reading = diag::ReadWwanRadio();
    EXPECT_TRUE(reading.deviceFound);
    EXPECT_FALSE(reading.read);
    EXPECT_EQ(reading.failure, L"the radio could not be read (0x80070005)");

    m_model.Fail(MobileBroadbandModel::Failure::CreateManager, REGDB_E_CLASSNOTREG, 1);
    reading = diag::ReadWwanRadio();
    EXPECT_FALSE(reading.managerCreated);
    EXPECT_EQ(reading.failure, L"no mobile-broadband interface manager (0x80040154)");
}

// ---- the firmware ------------------------------------------------------------------

TEST(ReadFirmware, TheRawValuesTheDecisionAndTheTimeTaken)
{
    fakes::RecordingLog log;
    fakes::VirtualClock clock;
    fakes::FakeComRuntime com;
    fakes::FirmwareWmi wmi({{L"QXBIOS_BIOSEnumeration", L"LAN / WLAN Auto Switching", L"*Disable"},
                            {L"QXBIOS_BIOSEnumeration", L"LAN / WWAN Auto Switching", L"Enable"}});
    wmi.Script(L"QXBIOS_BIOSEnumeration", {fakes::NextStep::TimedOut()});
    const diag::FirmwareReading reading = diag::ReadFirmware();
    EXPECT_FALSE(reading.failed);
    EXPECT_EQ(reading.read.settings.size(), 2u);
    EXPECT_FALSE(reading.decision.wlan.Allowed());
    EXPECT_EQ(reading.decision.wlan.verdict, NLMUtils::SettingVerdict::Starred);
    EXPECT_TRUE(reading.decision.wwan.Allowed());
    EXPECT_EQ(reading.read.pausedMilliseconds, 1000u);
    EXPECT_EQ(reading.elapsedMilliseconds, 1000u);  // virtual time: the pause alone
    EXPECT_EQ(com.initializations, com.uninitializations);
}

TEST(ReadFirmware, NoFirmwareNamespaceAllowsNothing)
{
    fakes::RecordingLog log;
    fakes::VirtualClock clock;
    fakes::FakeComRuntime com;
    fakes::FirmwareWmi wmi;
    wmi.Fail(fakes::FirmwareWmi::Failure::ConnectServer, WBEM_E_INVALID_NAMESPACE);
    const diag::FirmwareReading reading = diag::ReadFirmware();
    EXPECT_TRUE(reading.read.settings.empty());
    EXPECT_TRUE(reading.read.fallbackRead);
    EXPECT_EQ(reading.read.firstResult, WBEM_E_INVALID_NAMESPACE);
    EXPECT_FALSE(reading.decision.wlan.Allowed());
    EXPECT_FALSE(reading.decision.wwan.Allowed());
}

}  // namespace
