// NLMUtils::SystemResumeHandler on the simulated laptop in virtual time: the
// address wait, the two directions after sleep, the radio service waits, the
// restores where the firmware forbids switching, and on_resumeflag cleared
// on every path. The persisted power status and airplane mode live in the
// real registry of the Wine prefix (kept and put back by the fixture).
#include "switching/ResumeHandler.h"

#include "fakes/ExpectedLines.h"
#include "fakes/FakeScm.h"
#include "fakes/FreshSwitchingState.h"
#include "fakes/MachineState.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "models/Adapters.h"
#include "models/FakeIpHelper.h"
#include "models/FakeWlanClient.h"
#include "models/MobileBroadbandModel.h"
#include "platform/Api.h"
#include "platform/ComPtr.h"
#include "radio/WlanRadio.h"
#include "radio/WwanRadio.h"
#include "state/RegistryPaths.h"
#include "state/SwitchingState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::Not;
using Lines = std::vector<std::wstring>;

constexpr char kHandler[] = "NLMUtils::SystemResumeHandler";
constexpr wchar_t kInterfaceId[] = L"{5A5A5A5A-0000-1111-2222-333344445555}";

const fakes::FunctionLines Line{kHandler};

class ResumeHandlerTest : public testing::Test {
protected:
    ResumeHandlerTest() : m_manager(m_model.NewManager())
    {
        m_airplane.Set(false);
        m_wlan.AddInterface(L"Simulated Wireless-AC 9560", 2, fakes::FakeWlanClient::kOn,
                            wlan_interface_state_connected);
        m_scm.AddService(L"WlanSvc", SERVICE_RUNNING);
        m_scm.AddService(L"WwanSvc", SERVICE_RUNNING);
        MbnInterfaceManager = m_manager.Get();
        ServiceUtils::WwanInterfaceId = kInterfaceId;
        WwanDeviceAvailable = true;
        LanWlanSwitchingEnabled = true;
        LanWwanSwitchingEnabled = true;
        // As the control handler leaves it at suspend.
        on_resumeflag = true;
    }
    ~ResumeHandlerTest() override
    {
        // Completions still on their way find the manager where the
        // switching state points; then it goes.
        m_model.WaitForCompletions();
        m_manager.Reset();
        EXPECT_EQ(m_model.LiveObjects(), 0);
        EXPECT_EQ(m_wlan.OpenClientHandles(), 0u);
        EXPECT_EQ(m_scm.OpenHandles(), 0);
    }

    bool Resume()
    {
        const bool result = NLMUtils::SystemResumeHandler();
        m_model.WaitForCompletions();
        return result;
    }
    // DHCP in virtual time: the wired adapter's address arrives `milliseconds`
    // of the virtual clock from now.
    void WiredAddressAfter(uint64_t milliseconds)
    {
        fakes::AdapterDescription wired = fakes::WiredAdapter();
        wired.addressFromMilliseconds = m_clock.NowMilliseconds() + milliseconds;
        m_ipHelper.SetClock([this] { return m_clock.NowMilliseconds(); });
        m_ipHelper.SetAdapters({wired});
    }
    Lines HandlerLines() const { return m_log.LinesOf(kHandler); }
    // The entry lines of the operations the handler reached, in order.
    Lines Reached() const
    {
        return m_log.Entered({
            "Utils::WaitforServiceToStartRunning", "ServiceUtils::SwitchWwanStatusWithRetry",
            "ServiceUtils::SwitchWlanStatusWithRetry", "ServiceUtils::StartWLANService",
            "ServiceUtils::StartWWANService", "CMainService::UpdateWlanPowerStatus",
            "CMainService::UpdateWwanPowerStatus"});
    }
    // The names of the services the handler waited for, from the SCM's opens.
    std::vector<std::wstring> ServicesOpened() const
    {
        std::vector<std::wstring> names;
        for (const std::wstring& call : m_scm.calls)
            if (call.rfind(L"OpenServiceW ", 0) == 0)
                names.push_back(call.substr(13, 7));
        return names;
    }
    std::vector<DWORD> SecondPauses() const
    {
        std::vector<DWORD> pauses = m_clock.Pauses();
        pauses.erase(std::remove_if(pauses.begin(), pauses.end(), [](DWORD pause) { return pause != 1000; }),
                     pauses.end());
        return pauses;
    }

    fakes::FreshSwitchingState m_switchingState;  // first: fresh again once every other member has gone
    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    fakes::FakeIpHelper m_ipHelper{{fakes::WirelessAdapter()}};
    fakes::FakeWlanClient m_wlan;
    fakes::FakeScm m_scm;
    fakes::ScopedAirplaneMode m_airplane;
    fakes::ScopedPowerStatus m_powerStatus;
    fakes::MobileBroadbandModel m_model;
    os::ComPtr<IMbnInterfaceManager> m_manager;
};

// "Address after two seconds": the call at 2 s finds the address, but
// ipNotAssigned, set by the earlier calls, is never cleared, so that call
// still counts as a failed try and pauses once more. The handler's steps
// decide the count: three "failed in try" lines and three pauses.
TEST_F(ResumeHandlerTest, CableWithTheAddressFoundAtTwoSecondsGivesThreeFailedTriesThenSwitchesBothOff)
{
    WiredAddressAfter(2000);
    EXPECT_TRUE(Resume());

    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_FALSE(on_resumeflag);
    EXPECT_EQ(m_ipHelper.InfoCalls() >= 3, true);
    EXPECT_THAT(HandlerLines(),
                ElementsAre(L"TraceIn|NLMUtils::SystemResumeHandler|",
                            Line(L"Warning", L"CheckEthernetConnectionStatus failed in try 0"),
                            Line(L"Warning", L"CheckEthernetConnectionStatus failed in try 1"),
                            Line(L"Warning", L"CheckEthernetConnectionStatus failed in try 2"),
                            Line(L"Information", L"Ethernet Status = 1"),
                            Line(L"Information", L"ServiceUtils::on_resumeflag = 1"),
                            Line(L"Information", L"Ethernet is connected"),
                            Line(L"Information", L"LanWwanSwitchingEnabled - SystemResumeHandler()"),
                            Line(L"Information", L"Wait for (WWAN AutoConfig) to start"),
                            Line(L"Information", L"WWAN AutoConfig wait completed."),
                            Line(L"Information", L"Wait for (WLAN AutoConfig) to start"),
                            Line(L"Information", L"WLAN AutoConfig wait completed."),
                            Line(L"Information", L"Resetting on_resumeflag to False"),
                            L"TraceOut|NLMUtils::SystemResumeHandler|Return = 1"));
    // Mobile broadband first, each off with five retries.
    EXPECT_THAT(Reached(), ElementsAre(L"Utils::WaitforServiceToStartRunning",
                                       L"ServiceUtils::SwitchWwanStatusWithRetry",
                                       L"Utils::WaitforServiceToStartRunning",
                                       L"ServiceUtils::SwitchWlanStatusWithRetry"));
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::SwitchWwanStatusWithRetry").front(),
              L"TraceIn|ServiceUtils::SwitchWwanStatusWithRetry|NewStatus = 0, Retry Count = 5");
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::SwitchWlanStatusWithRetry").front(),
              L"TraceIn|ServiceUtils::SwitchWlanStatusWithRetry|NewStatus = 0, Retry Count = 5");
    EXPECT_THAT(ServicesOpened(), ElementsAre(L"WwanSvc", L"WlanSvc"));
    // The address wait is all of the one-second pauses; it comes first.
    const std::vector<DWORD> pauses = m_clock.Pauses();
    ASSERT_GE(pauses.size(), 3u);
    EXPECT_THAT(std::vector<DWORD>(pauses.begin(), pauses.begin() + 3), ElementsAre(1000u, 1000u, 1000u));
    EXPECT_THAT(SecondPauses(), ElementsAre(1000u, 1000u, 1000u));
}

// The timing of the edge-case sentence's two lines: the address arrives at
// 1 s, so the second call finds it and is the second failed try.
TEST_F(ResumeHandlerTest, CableWithTheAddressFoundAtOneSecondGivesTwoFailedTriesThenSwitchesBothOff)
{
    WiredAddressAfter(1000);
    EXPECT_TRUE(Resume());

    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_FALSE(on_resumeflag);
    const Lines lines = HandlerLines();
    ASSERT_GE(lines.size(), 5u);
    EXPECT_THAT(Lines(lines.begin(), lines.begin() + 5),
                ElementsAre(L"TraceIn|NLMUtils::SystemResumeHandler|",
                            Line(L"Warning", L"CheckEthernetConnectionStatus failed in try 0"),
                            Line(L"Warning", L"CheckEthernetConnectionStatus failed in try 1"),
                            Line(L"Information", L"Ethernet Status = 1"),
                            Line(L"Information", L"ServiceUtils::on_resumeflag = 1")));
    EXPECT_THAT(SecondPauses(), ElementsAre(1000u, 1000u));
}

TEST_F(ResumeHandlerTest, CableWithItsAddressAlreadyThereWaitsForNothing)
{
    m_ipHelper.SetAdapters({fakes::WiredAdapter(true)});
    EXPECT_TRUE(Resume());
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_THAT(HandlerLines(), Not(Contains(HasSubstr(L"failed in try"))));
    EXPECT_THAT(SecondPauses(), testing::IsEmpty());
    EXPECT_FALSE(on_resumeflag);
}

TEST_F(ResumeHandlerTest, AnAdapterThatNeverGetsAnAddressIsTriedEightTimesAndCountsAsNoEthernet)
{
    m_ipHelper.SetAdapters({fakes::WiredAdapter(false)});
    m_wlan.SwitchByHand(0, false);
    m_model.SetRadioState(MBN_RADIO_OFF);
    EXPECT_TRUE(Resume());

    Lines expected = {L"TraceIn|NLMUtils::SystemResumeHandler|"};
    for (int attempt = 0; attempt < 8; ++attempt)
        expected.push_back(Line(L"Warning", L"CheckEthernetConnectionStatus failed in try " + std::to_wstring(attempt)));
    expected.push_back(Line(L"Information", L"Ethernet Status = 0"));
    const Lines lines = HandlerLines();
    ASSERT_GE(lines.size(), expected.size());
    EXPECT_THAT(Lines(lines.begin(), lines.begin() + expected.size()), ElementsAreArray(expected));
    EXPECT_THAT(SecondPauses(), ElementsAreArray(std::vector<DWORD>(8, 1000)));
    // No Ethernet: the managed radios are started from the stored state.
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_ON);
    EXPECT_FALSE(on_resumeflag);
}

TEST_F(ResumeHandlerTest, NoCableStartsWiFiThenMobileBroadbandFromTheStoredState)
{
    m_wlan.SwitchByHand(0, false);
    m_model.SetRadioState(MBN_RADIO_OFF);
    EXPECT_TRUE(Resume());

    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_ON);
    EXPECT_FALSE(on_resumeflag);
    // The adapter list holds no Ethernet adapter without an address, so the
    // one failed try is not repeated.
    EXPECT_THAT(HandlerLines(),
                ElementsAre(L"TraceIn|NLMUtils::SystemResumeHandler|",
                            Line(L"Warning", L"CheckEthernetConnectionStatus failed in try 0"),
                            Line(L"Information", L"Ethernet Status = 0"),
                            Line(L"Information", L"ServiceUtils::on_resumeflag = 1"),
                            Line(L"Information", L"Service resume handler starting WLAN service.."),
                            Line(L"Information", L"Wait for (WLAN AutoConfig) to start"),
                            Line(L"Information", L"WLAN AutoConfig wait completed"),
                            Line(L"Information", L"Wait for (WWAN AutoConfig) to start"),
                            Line(L"Information", L"WWAN AutoConfig wait completed."),
                            Line(L"Information", L"Obtained Signal Service resume handler starting WWAN service.."),
                            Line(L"Information", L"Resetting on_resumeflag to False"),
                            L"TraceOut|NLMUtils::SystemResumeHandler|Return = 1"));
    EXPECT_THAT(Reached(), ElementsAre(L"Utils::WaitforServiceToStartRunning", L"ServiceUtils::StartWLANService",
                                       L"ServiceUtils::SwitchWlanStatusWithRetry",
                                       L"Utils::WaitforServiceToStartRunning", L"ServiceUtils::StartWWANService",
                                       L"ServiceUtils::SwitchWwanStatusWithRetry"));
    EXPECT_THAT(ServicesOpened(), ElementsAre(L"WlanSvc", L"WwanSvc"));
    EXPECT_THAT(SecondPauses(), ElementsAre(1000u));
}

TEST_F(ResumeHandlerTest, NoCableLeavesARadioOffThatTheUserHadOff)
{
    m_wlan.SwitchByHand(0, false);
    m_model.SetRadioState(MBN_RADIO_OFF);
    fakes::ScopedPowerStatus::Store(kWlanPowerStatusKey, L"False");
    fakes::ScopedPowerStatus::Store(kWwanPowerStatusKey, L"False");
    EXPECT_TRUE(Resume());
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_FALSE(on_resumeflag);
}

TEST_F(ResumeHandlerTest, WiFiSwitchingForbiddenWithoutCableStartsMobileBroadbandAndRestoresTheStoredWiFiState)
{
    LanWlanSwitchingEnabled = false;
    m_model.SetRadioState(MBN_RADIO_OFF);
    // The user had Wi-Fi off before; it came back on during sleep.
    fakes::ScopedPowerStatus::Store(kWlanPowerStatusKey, L"False");
    EXPECT_TRUE(Resume());

    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_ON);
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_FALSE(on_resumeflag);
    EXPECT_THAT(HandlerLines(),
                ElementsAre(L"TraceIn|NLMUtils::SystemResumeHandler|",
                            Line(L"Warning", L"CheckEthernetConnectionStatus failed in try 0"),
                            Line(L"Information", L"Ethernet Status = 0"),
                            Line(L"Information", L"ServiceUtils::on_resumeflag = 1"),
                            Line(L"Information", L"Wait for (WWAN AutoConfig) to start"),
                            Line(L"Information", L"WWAN AutoConfig wait completed."),
                            Line(L"Information", L"Obtained Signal Service resume handler starting WWAN service.."),
                            Line(L"Information",
                                 L"LAN WLAN Auto Switching is disabled in BIOS.Restoring previous WLAN Status."),
                            Line(L"Information", L"Resetting on_resumeflag to False"),
                            L"TraceOut|NLMUtils::SystemResumeHandler|Return = 1"));
    EXPECT_THAT(Reached(), ElementsAre(L"Utils::WaitforServiceToStartRunning", L"ServiceUtils::StartWWANService",
                                       L"ServiceUtils::SwitchWwanStatusWithRetry",
                                       L"CMainService::UpdateWlanPowerStatus"));
    // No wait for the Wi-Fi service on this path.
    EXPECT_THAT(ServicesOpened(), ElementsAre(L"WwanSvc"));
    EXPECT_THAT(m_log.LinesOf("CMainService::UpdateWlanPowerStatus"),
                ElementsAre(L"TraceIn|CMainService::UpdateWlanPowerStatus|",
                            L"Information|CMainService::UpdateWlanPowerStatus|Registry read is 0, WLAN Switch = 0",
                            L"TraceOut|CMainService::UpdateWlanPowerStatus|"));
}

TEST_F(ResumeHandlerTest, BothFirmwareFlagsOffWithTheCableRestoresMobileBroadbandThenWiFiWithoutWaits)
{
    LanWlanSwitchingEnabled = false;
    LanWwanSwitchingEnabled = false;
    m_ipHelper.SetAdapters({fakes::WiredAdapter(true)});
    m_wlan.SwitchByHand(0, false);
    m_model.SetRadioState(MBN_RADIO_OFF);
    EXPECT_TRUE(Resume());

    // Nothing persisted counts as "True": both back on, the cable
    // notwithstanding, as the firmware does not let the service manage them.
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_ON);
    EXPECT_FALSE(on_resumeflag);
    EXPECT_THAT(HandlerLines(),
                ElementsAre(L"TraceIn|NLMUtils::SystemResumeHandler|",
                            Line(L"Information", L"Ethernet Status = 1"),
                            Line(L"Information", L"ServiceUtils::on_resumeflag = 1"),
                            Line(L"Information", L"Ethernet is connected"),
                            Line(L"Information",
                                 L"LAN WWAN Auto Switching is disabled in BIOS.Restoring previous WWAN Status."),
                            Line(L"Information",
                                 L"LAN WLAN Auto Switching is disabled in BIOS.Restoring previous WLAN Status."),
                            Line(L"Information", L"Resetting on_resumeflag to False"),
                            L"TraceOut|NLMUtils::SystemResumeHandler|Return = 1"));
    EXPECT_THAT(Reached(),
                ElementsAre(L"CMainService::UpdateWwanPowerStatus", L"CMainService::UpdateWlanPowerStatus"));
    EXPECT_THAT(m_scm.calls, testing::IsEmpty());
    EXPECT_THAT(m_log.LinesOf("CMainService::UpdateWwanPowerStatus"),
                ElementsAre(L"TraceIn|CMainService::UpdateWwanPowerStatus|",
                            L"Information|CMainService::UpdateWwanPowerStatus|Registry read is empty : WWAN. Setting "
                            L"Default Value as TRUE",
                            L"Information|CMainService::UpdateWwanPowerStatus|Registry read is 1, WWAN Switch = 1",
                            L"TraceOut|CMainService::UpdateWwanPowerStatus|"));
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::SwitchWwanStatus").front(),
              L"TraceIn|ServiceUtils::SwitchWwanStatus|OnOffValue = 1, bCheckAirplaneStatus = 1");
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::SwitchWlanStatus").front(),
              L"TraceIn|ServiceUtils::SwitchWlanStatus|OnOffValue = 1, bCheckAirplaneStatus = 1");
}

TEST_F(ResumeHandlerTest, WithoutAMobileBroadbandDeviceThereIsNoWwanWaitButItsOperationsAreStillCalled)
{
    WwanDeviceAvailable = false;
    EXPECT_TRUE(Resume());

    EXPECT_THAT(ServicesOpened(), ElementsAre(L"WlanSvc"));
    EXPECT_THAT(HandlerLines(), Not(Contains(HasSubstr(L"WWAN AutoConfig"))));
    EXPECT_THAT(Reached(), ElementsAre(L"Utils::WaitforServiceToStartRunning", L"ServiceUtils::StartWLANService",
                                       L"ServiceUtils::SwitchWlanStatusWithRetry", L"ServiceUtils::StartWWANService"));
    EXPECT_THAT(m_log.LinesOf("ServiceUtils::StartWWANService"),
                ElementsAre(L"TraceIn|ServiceUtils::StartWWANService|",
                            L"Error|ServiceUtils::StartWWANService|WWAN Device is not available."));
    EXPECT_THAT(m_model.Calls(), testing::IsEmpty());
    EXPECT_FALSE(on_resumeflag);
}

TEST_F(ResumeHandlerTest, WithoutAMobileBroadbandDeviceAndWithTheCableTheFailedWwanSwitchIsLogged)
{
    WwanDeviceAvailable = false;
    m_ipHelper.SetAdapters({fakes::WiredAdapter(true)});
    EXPECT_TRUE(Resume());

    EXPECT_THAT(ServicesOpened(), ElementsAre(L"WlanSvc"));
    EXPECT_THAT(HandlerLines(),
                ElementsAre(L"TraceIn|NLMUtils::SystemResumeHandler|",
                            Line(L"Information", L"Ethernet Status = 1"),
                            Line(L"Information", L"ServiceUtils::on_resumeflag = 1"),
                            Line(L"Information", L"Ethernet is connected"),
                            Line(L"Information", L"LanWwanSwitchingEnabled - SystemResumeHandler()"),
                            Line(L"Error", L"SwitchWwanStatusWithRetry failed"),
                            Line(L"Information", L"Wait for (WLAN AutoConfig) to start"),
                            Line(L"Information", L"WLAN AutoConfig wait completed."),
                            Line(L"Information", L"Resetting on_resumeflag to False"),
                            L"TraceOut|NLMUtils::SystemResumeHandler|Return = 1"));
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_FALSE(on_resumeflag);
}

TEST_F(ResumeHandlerTest, AnEthernetTestThatFailsOutrightCountsAsNoEthernetAndStillClearsTheFlag)
{
    m_ipHelper.Fail(fakes::FakeIpHelper::Failure::AdaptersInfo, ERROR_NOT_SUPPORTED);
    m_wlan.SwitchByHand(0, false);
    m_model.SetRadioState(MBN_RADIO_OFF);
    EXPECT_TRUE(Resume());

    const Lines lines = HandlerLines();
    ASSERT_GE(lines.size(), 5u);
    EXPECT_THAT(Lines(lines.begin(), lines.begin() + 5),
                ElementsAre(L"TraceIn|NLMUtils::SystemResumeHandler|",
                            Line(L"Warning", L"CheckEthernetConnectionStatus failed in try 0"),
                            Line(L"Information", L"Ethernet Status = 0"),
                            Line(L"Information", L"ServiceUtils::on_resumeflag = 1"),
                            Line(L"Information", L"Service resume handler starting WLAN service..")));
    EXPECT_EQ(lines.back(), L"TraceOut|NLMUtils::SystemResumeHandler|Return = 1");
    EXPECT_EQ(lines[lines.size() - 2], Line(L"Information", L"Resetting on_resumeflag to False"));
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_ON);
    EXPECT_FALSE(on_resumeflag);
}

TEST_F(ResumeHandlerTest, RadioServicesThatNeverRunAreWaitedFor15SecondsEachAndTheHandlerGoesOn)
{
    m_ipHelper.SetAdapters({fakes::WiredAdapter(true)});
    m_scm.Find(L"WlanSvc")->state = SERVICE_STOPPED;
    m_scm.Find(L"WwanSvc")->state = SERVICE_START_PENDING;
    EXPECT_TRUE(Resume());

    EXPECT_THAT(HandlerLines(),
                ElementsAre(L"TraceIn|NLMUtils::SystemResumeHandler|",
                            Line(L"Information", L"Ethernet Status = 1"),
                            Line(L"Information", L"ServiceUtils::on_resumeflag = 1"),
                            Line(L"Information", L"Ethernet is connected"),
                            Line(L"Information", L"LanWwanSwitchingEnabled - SystemResumeHandler()"),
                            Line(L"Information", L"Wait for (WWAN AutoConfig) to start"),
                            Line(L"Error", L"WaitforServiceToStartRunning (WWAN AutoConfig) failed with running "
                                           L"status = 1"),
                            Line(L"Information", L"WWAN AutoConfig wait completed."),
                            Line(L"Information", L"Wait for (WLAN AutoConfig) to start"),
                            Line(L"Error", L"WaitforServiceToStartRunning (WLAN AutoConfig) failed with running "
                                           L"status = 1"),
                            Line(L"Information", L"WLAN AutoConfig wait completed."),
                            Line(L"Information", L"Resetting on_resumeflag to False"),
                            L"TraceOut|NLMUtils::SystemResumeHandler|Return = 1"));
    // Fifteen one-second polls per service, the radios switched all the same.
    EXPECT_THAT(SecondPauses(), ElementsAreArray(std::vector<DWORD>(30, 1000)));
    EXPECT_EQ(m_scm.Find(L"WwanSvc")->statusQueries, 15);
    EXPECT_EQ(m_scm.Find(L"WlanSvc")->statusQueries, 15);
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_FALSE(on_resumeflag);
}

TEST_F(ResumeHandlerTest, AFailedWiFiSwitchIsLoggedAndTheFlagIsStillCleared)
{
    m_ipHelper.SetAdapters({fakes::WiredAdapter(true)});
    m_wlan.RefuseSets(0, 0, fakes::FakeWlanClient::kForEver);
    EXPECT_TRUE(Resume());
    const Lines lines = HandlerLines();
    EXPECT_THAT(lines, Contains(Line(L"Error", L"SwitchWlanStatusWithRetry failed")));
    EXPECT_EQ(lines[lines.size() - 2], Line(L"Information", L"Resetting on_resumeflag to False"));
    EXPECT_FALSE(on_resumeflag);
}

} // namespace
