// The Wi-Fi notifications the service follows: the dispatch of the
// callback and the two handlers' deliberate differences, against the Wi-Fi
// adapter model, the adapter list and the real registry.
#include "switching/MainService.h"

#include "fakes/ExpectedLines.h"
#include "fakes/FreshSwitchingState.h"
#include "fakes/MachineState.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "models/Adapters.h"
#include "models/FakeIpHelper.h"
#include "models/FakeWlanClient.h"
#include "radio/WlanRadio.h"
#include "state/RegistryPaths.h"
#include "state/SwitchingState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kAcm[] = "CMainService::HandleWlanNotificationAcmNetworkAvailable";
constexpr char kMsm[] = "CMainService::HandleWlanNotificationMsmRadioStateChange";

const fakes::FunctionLines Acm{kAcm};
const fakes::FunctionLines Msm{kMsm};

class WlanNotificationsTest : public testing::Test {
protected:
    WlanNotificationsTest()
    {
        LanWlanSwitchingEnabled = true;
        m_wlan.AddInterface(L"Wireless-AC 9560", 2);
        m_airplane.Set(false);
    }
    ~WlanNotificationsTest() override
    {
        EXPECT_EQ(m_wlan.OutstandingBuffers(), 0u);
        EXPECT_EQ(m_wlan.OpenClientHandles(), 0u);
    }
    void EthernetUp(bool up) { m_ipHelper.SetAdapters({up ? fakes::WiredAdapter() : fakes::WirelessAdapter()}); }
    static std::wstring StoredWlan() { return fakes::ScopedPowerStatus::Stored(kWlanPowerStatusKey); }
    static void Notify(DWORD source, DWORD code)
    {
        WLAN_NOTIFICATION_DATA data = {};
        data.NotificationSource = source;
        data.NotificationCode = code;
        CMainService::WlanNotificationCallback(&data, nullptr);
    }

    fakes::FreshSwitchingState m_switchingState;  // first: fresh again once every other member has gone
    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    fakes::FakeIpHelper m_ipHelper{{fakes::WirelessAdapter()}};
    fakes::FakeWlanClient m_wlan;
    fakes::ScopedAirplaneMode m_airplane;
    fakes::ScopedPowerStatus m_powerStatus;
};

// The callback

TEST_F(WlanNotificationsTest, NetworkAvailableIsDispatchedWithItsLine)
{
    Notify(WLAN_NOTIFICATION_SOURCE_ACM, 19);
    EXPECT_EQ(m_log.Lines().front(),
              L"Information|CMainService::WlanNotificationCallback|NotificationSource = WLAN_NOTIFICATION_SOURCE_ACM, "
              L"NotificationCode = wlan_notification_acm_network_available. Processing Callback");
    EXPECT_EQ(m_log.LinesOf(kAcm).front(), L"TraceIn|CMainService::HandleWlanNotificationAcmNetworkAvailable|");
}

TEST_F(WlanNotificationsTest, RadioStateChangeIsDispatchedWithItsLine)
{
    Notify(WLAN_NOTIFICATION_SOURCE_MSM, 7);
    EXPECT_EQ(m_log.Lines().front(),
              L"Information|CMainService::WlanNotificationCallback|NotificationSource = WLAN_NOTIFICATION_SOURCE_MSM, "
              L"NotificationCode= wlan_notification_msm_radio_state_change. Processing Callback");
    EXPECT_EQ(m_log.LinesOf(kMsm).front(), L"TraceIn|CMainService::HandleWlanNotificationMsmRadioStateChange|");
}

TEST_F(WlanNotificationsTest, AnUnknownSourceOrCodeIsIgnoredWithoutALine)
{
    Notify(WLAN_NOTIFICATION_SOURCE_ACM, 7);
    Notify(WLAN_NOTIFICATION_SOURCE_MSM, 19);
    Notify(WLAN_NOTIFICATION_SOURCE_ONEX, 19);
    CMainService::WlanNotificationCallback(nullptr, nullptr);
    EXPECT_THAT(m_log.Lines(), IsEmpty());
    EXPECT_TRUE(m_wlan.Calls().empty());
}

// The guard

TEST_F(WlanNotificationsTest, EitherFlagMakesBothHandlersStandAside)
{
    msm_Notification_flag = true;
    CMainService::HandleWlanNotificationAcmNetworkAvailable();
    msm_Notification_flag = false;
    on_resumeflag = true;
    CMainService::HandleWlanNotificationMsmRadioStateChange();
    EXPECT_THAT(m_log.LinesOf(kAcm),
                ElementsAre(Acm(L"TraceIn", L""),
                            Acm(L"Information", L"Not processing the callback, msm_Notification_flag = 1, ResumeFlag = 0")));
    EXPECT_THAT(m_log.LinesOf(kMsm),
                ElementsAre(Msm(L"TraceIn", L""),
                            Msm(L"Information", L"Not processing the callback, msm_Notification_flag = 0, ResumeFlag = 1")));
    EXPECT_TRUE(m_wlan.Calls().empty());
}

// Network available

TEST_F(WlanNotificationsTest, NetworkAvailableWithoutEthernetStoresAnOnRadio)
{
    EthernetUp(false);
    CMainService::HandleWlanNotificationAcmNetworkAvailable();
    EXPECT_EQ(StoredWlan(), L"True");
    EXPECT_THAT(m_log.LinesOf(kAcm),
                ElementsAre(Acm(L"TraceIn", L""), Acm(L"Information", L"Current WLAN status = 1"),
                            Acm(L"Information", L"Ethernet connection status = 0"),
                            Acm(L"Information",
                                L"wlan_notification_acm_network_available ServiceUtils::my_service_turnonoff_wifi : 0"),
                            Acm(L"Information", L"wlan_notification_acm_network_available Registry set to True. Setting "
                                                L"WlanPowerStatus 1 in registry."),
                            Acm(L"TraceOut", L"")));
}

TEST_F(WlanNotificationsTest, NetworkAvailableWithoutEthernetAndWifiOffStoresNothing)
{
    EthernetUp(false);
    m_wlan.SwitchByHand(0, false);
    CMainService::HandleWlanNotificationAcmNetworkAvailable();
    EXPECT_EQ(StoredWlan(), L"<missing>");
}

TEST_F(WlanNotificationsTest, NetworkAvailableWithEthernetSwitchesWifiOffCheckingAirplaneMode)
{
    EthernetUp(true);
    CMainService::HandleWlanNotificationAcmNetworkAvailable();
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(StoredWlan(), L"<missing>");
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::SwitchWlanStatus").front(),
              L"TraceIn|ServiceUtils::SwitchWlanStatus|OnOffValue = 0, bCheckAirplaneStatus = 1");
    EXPECT_EQ(m_log.LinesOf(kAcm)[3], Acm(L"Information", L"Ethernet is connected"));
    EXPECT_EQ(m_log.LinesOf(kAcm)[4], Acm(L"Information", L"LAN-WLAN Auto Switching Status = 1"));
}

TEST_F(WlanNotificationsTest, NetworkAvailableWithEthernetAndSwitchingDisabledStoresTheState)
{
    EthernetUp(true);
    LanWlanSwitchingEnabled = false;
    m_wlan.SwitchByHand(0, false);
    CMainService::HandleWlanNotificationAcmNetworkAvailable();
    EXPECT_EQ(StoredWlan(), L"False");
    EXPECT_EQ(m_log.LinesOf(kAcm)[5],
              Acm(L"Information", L"wlan_notification_acm_network_available[LanWlanSwitchingEnabled disabled].Setting "
                                  L"WlanPowerStatus 0 in registry."));
}

TEST_F(WlanNotificationsTest, AFailedWifiReadEndsWithoutTheExitLine)
{
    m_wlan.Fail(fakes::FakeWlanClient::Failure::EnumInterfaces, ERROR_NOT_ENOUGH_MEMORY);
    CMainService::HandleWlanNotificationAcmNetworkAvailable();
    CMainService::HandleWlanNotificationMsmRadioStateChange();
    EXPECT_THAT(m_log.LinesOf(kAcm), ElementsAre(Acm(L"TraceIn", L""), Acm(L"Warning", L"CheckWlanStatus failed")));
    EXPECT_THAT(m_log.LinesOf(kMsm), ElementsAre(Msm(L"TraceIn", L""), Msm(L"Warning", L"CheckWlanStatus failed")));
}

TEST_F(WlanNotificationsTest, AFailedEthernetCheckIsAnErrorAndEndsTheHandling)
{
    m_ipHelper.SetAdapters({});
    CMainService::HandleWlanNotificationAcmNetworkAvailable();
    CMainService::HandleWlanNotificationMsmRadioStateChange();
    EXPECT_THAT(m_log.LinesOf(kAcm),
                ElementsAre(Acm(L"TraceIn", L""), Acm(L"Information", L"Current WLAN status = 1"),
                            Acm(L"Error", L"CheckEthernetConnectionStatusEx failed"), Acm(L"TraceOut", L"")));
    EXPECT_THAT(m_log.LinesOf(kMsm),
                ElementsAre(Msm(L"TraceIn", L""), Msm(L"Information", L"Current WLAN status = 1"),
                            Msm(L"Error", L"CheckEthernetConnectionStatusEx failed"), Msm(L"TraceOut", L"")));
    EXPECT_EQ(StoredWlan(), L"<missing>");
}

// Radio state change

TEST_F(WlanNotificationsTest, TheUserSwitchingWifiOffWithoutEthernetStoresOff)
{
    EthernetUp(false);
    m_wlan.SwitchByHand(0, false);
    CMainService::HandleWlanNotificationMsmRadioStateChange();
    EXPECT_EQ(StoredWlan(), L"False");
    EXPECT_THAT(m_log.LinesOf(kMsm),
                ElementsAre(Msm(L"TraceIn", L""), Msm(L"Information", L"Current WLAN status = 0"),
                            Msm(L"Information", L"Ethernet connection status = 0"),
                            Msm(L"Information", L"LAN-WLAN_Switching Status = 1"),
                            Msm(L"Information", L"Airplane mode if OFF. Ethernet not connected. Setting WLAN registry "
                                                L"status with WiFi Status = 0"),
                            Msm(L"TraceOut", L"")));
}

TEST_F(WlanNotificationsTest, TheUserSwitchingWifiOnWithEthernetIsSwitchedOffWithoutTheAirplaneCheck)
{
    EthernetUp(true);
    CMainService::HandleWlanNotificationMsmRadioStateChange();
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::SwitchWlanStatus").front(),
              L"TraceIn|ServiceUtils::SwitchWlanStatus|OnOffValue = 0, bCheckAirplaneStatus = 0");
    EXPECT_EQ(StoredWlan(), L"<missing>");
}

TEST_F(WlanNotificationsTest, AnOffRadioWithEthernetIsLeftAlone)
{
    EthernetUp(true);
    m_wlan.SwitchByHand(0, false);
    CMainService::HandleWlanNotificationMsmRadioStateChange();
    EXPECT_THAT(m_log.LinesOf("ServiceUtils::SwitchWlanStatus"), IsEmpty());
    EXPECT_EQ(StoredWlan(), L"<missing>");
}

TEST_F(WlanNotificationsTest, WithEthernetAndSwitchingDisabledTheStateIsStoredOutsideAirplaneMode)
{
    EthernetUp(true);
    LanWlanSwitchingEnabled = false;
    CMainService::HandleWlanNotificationMsmRadioStateChange();
    EXPECT_EQ(StoredWlan(), L"True");
    EXPECT_EQ(m_log.LinesOf(kMsm)[4],
              Msm(L"Information", L"Ethernet connected and LanWlanSwitching Disabled. Update registry"));
}

TEST_F(WlanNotificationsTest, InAirplaneModeNothingIsStored)
{
    m_airplane.Set(true);
    EthernetUp(false);
    CMainService::HandleWlanNotificationMsmRadioStateChange();
    EthernetUp(true);
    LanWlanSwitchingEnabled = false;
    CMainService::HandleWlanNotificationMsmRadioStateChange();
    EXPECT_EQ(StoredWlan(), L"<missing>");
}

} // namespace
