// The mobile-broadband radio: finding the device, reading and switching its
// software radio state with the polling scheme, and the wired-link
// decisions, against the mobile-broadband model in virtual time.
#include "radio/WwanRadio.h"

#include "fakes/ExpectedLines.h"
#include "models/FakeComTexts.h"
#include "models/Adapters.h"
#include "models/FakeIpHelper.h"
#include "fakes/FakeProcessHeap.h"
#include "fakes/FreshSwitchingState.h"
#include "fakes/MachineState.h"
#include "models/MobileBroadbandModel.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "platform/ComPtr.h"
#include "state/RegistryPaths.h"
#include "state/SwitchingState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using fakes::Line;
using fakes::MobileBroadbandModel;
using testing::ElementsAre;
using testing::IsEmpty;
using Failure = MobileBroadbandModel::Failure;

constexpr wchar_t kInterfaceId[] = L"{5A5A5A5A-0000-1111-2222-333344445555}";

class WwanRadioTest : public testing::Test {
protected:
    WwanRadioTest() : m_manager(m_model.NewManager())
    {
        MbnInterfaceManager = m_manager.Get();
        WwanDeviceAvailable = true;
        ServiceUtils::WwanInterfaceId = kInterfaceId;
        m_airplane.Set(false);
    }
    ~WwanRadioTest() override
    {
        // Completions still on their way find the manager where the
        // switching state points; then it goes.
        m_model.WaitForCompletions();
        m_manager.Reset();
        EXPECT_EQ(m_model.LiveObjects(), 0) << "a mobile-broadband object was not released";
        EXPECT_EQ(m_texts.LiveTexts(), 0u);
        EXPECT_EQ(m_texts.LiveBstrs(), 0u);
    }
    std::vector<std::wstring> Lines(const char* function) const { return m_log.LinesOf(function); }
    bool Switch(bool wanted, bool checkAirplane)
    {
        return ServiceUtils::SwitchWwanStatus(wanted, checkAirplane);
    }
    bool SwitchWithRetry(bool wanted, int retries = 5)
    {
        return ServiceUtils::SwitchWwanStatusWithRetry(wanted, retries);
    }

    fakes::FreshSwitchingState m_switchingState;  // first: fresh again once every other member has gone
    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    fakes::FakeComTexts m_texts;
    fakes::FakeIpHelper m_ipHelper{{fakes::WiredAdapter(false)}};
    fakes::ScopedAirplaneMode m_airplane;
    fakes::ScopedPowerStatus m_powerStatus;
    MobileBroadbandModel m_model;
    os::ComPtr<IMbnInterfaceManager> m_manager;
};

// No device

TEST_F(WwanRadioTest, WithoutADeviceNothingTouchesTheApi)
{
    WwanDeviceAvailable = false;
    EXPECT_EQ(ServiceUtils::CheckWwanStatus(), 0);
    EXPECT_FALSE(Switch(false, false));
    EXPECT_FALSE(SwitchWithRetry(true));
    ServiceUtils::StopWWANService();
    ServiceUtils::StartWWANService();
    EXPECT_THAT(m_model.Calls(), IsEmpty());
    const wchar_t kNotAvailable[] = L"WWAN Device is not available.";
    EXPECT_THAT(Lines("ServiceUtils::CheckWwanStatus"),
                ElementsAre(L"TraceIn|ServiceUtils::CheckWwanStatus|",
                            Line(L"Error", "ServiceUtils::CheckWwanStatus", kNotAvailable)));
    EXPECT_EQ(Lines("ServiceUtils::SwitchWwanStatus").back(),
              Line(L"Error", "ServiceUtils::SwitchWwanStatus", kNotAvailable));
    EXPECT_EQ(Lines("ServiceUtils::SwitchWwanStatusWithRetry").back(),
              Line(L"Error", "ServiceUtils::SwitchWwanStatusWithRetry", kNotAvailable));
    EXPECT_EQ(Lines("ServiceUtils::StopWWANService").back(),
              Line(L"Error", "ServiceUtils::StopWWANService", kNotAvailable));
    EXPECT_EQ(Lines("ServiceUtils::StartWWANService").back(),
              Line(L"Error", "ServiceUtils::StartWWANService", kNotAvailable));
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"<missing>");
}

// EnumerateWwanInterfaces

TEST_F(WwanRadioTest, EnumerationStoresTheLastInterface)
{
    m_model.SetInterfaces({L"{00000001-0000-0000-0000-000000000000}", L"{00000002-0000-0000-0000-000000000000}"});
    ServiceUtils::WwanInterfaceId.clear();
    EXPECT_TRUE(ServiceUtils::EnumerateWwanInterfaces());
    EXPECT_EQ(ServiceUtils::WwanInterfaceId, L"{00000002-0000-0000-0000-000000000000}");
    EXPECT_THAT(m_clock.Pauses(), IsEmpty());
    EXPECT_THAT(Lines("ServiceUtils::EnumerateWwanInterfaces"),
                ElementsAre(L"TraceIn|ServiceUtils::EnumerateWwanInterfaces|",
                            Line(L"Information", "ServiceUtils::EnumerateWwanInterfaces",
                                 L"WWAN Interface = {00000001-0000-0000-0000-000000000000}"),
                            Line(L"Information", "ServiceUtils::EnumerateWwanInterfaces",
                                 L"WWAN Interface = {00000002-0000-0000-0000-000000000000}"),
                            L"TraceOut|ServiceUtils::EnumerateWwanInterfaces|Return = 1"));
}

TEST_F(WwanRadioTest, EnumerationWithSwitchingAllowedTriesTenTimesWithPausesOf1500)
{
    LanWwanSwitchingEnabled = true;
    m_model.Fail(Failure::GetInterfaces, E_FAIL);
    EXPECT_FALSE(ServiceUtils::EnumerateWwanInterfaces());
    EXPECT_EQ(m_clock.Pauses(), std::vector<DWORD>(10, 1500));
    std::vector<std::wstring> expected{L"TraceIn|ServiceUtils::EnumerateWwanInterfaces|"};
    for (int i = 0; i < 10; ++i)
        expected.push_back(Line(L"Warning", "ServiceUtils::EnumerateWwanInterfaces",
                                L"GetInterfaces failed in try " + std::to_wstring(i) + L" with !err is 0x80004005"));
    expected.push_back(Line(L"Error", "ServiceUtils::EnumerateWwanInterfaces",
                            L"GetInterfaces failed with error: HRESULT : 0x80004005"));
    EXPECT_EQ(Lines("ServiceUtils::EnumerateWwanInterfaces"), expected);
}

TEST_F(WwanRadioTest, EnumerationWithoutSwitchingTriesFiveTimesWithPausesOf750)
{
    m_model.Fail(Failure::GetInterfaces, E_FAIL);
    EXPECT_FALSE(ServiceUtils::EnumerateWwanInterfaces());
    EXPECT_EQ(m_clock.Pauses(), std::vector<DWORD>(5, 750));
}

TEST_F(WwanRadioTest, EnumerationSucceedingAtTheThirdTryPausedTwice)
{
    m_model.Fail(Failure::GetInterfaces, E_FAIL, 2);
    EXPECT_TRUE(ServiceUtils::EnumerateWwanInterfaces());
    EXPECT_EQ(m_clock.Pauses(), std::vector<DWORD>(2, 750));
}

TEST_F(WwanRadioTest, AnEmptyInterfaceArrayIsNoDevice)
{
    m_model.SetInterfaces({});
    ServiceUtils::WwanInterfaceId.clear();
    EXPECT_FALSE(ServiceUtils::EnumerateWwanInterfaces());
    EXPECT_EQ(ServiceUtils::WwanInterfaceId, L"");
    EXPECT_THAT(Lines("ServiceUtils::EnumerateWwanInterfaces"),
                ElementsAre(L"TraceIn|ServiceUtils::EnumerateWwanInterfaces|",
                            L"TraceOut|ServiceUtils::EnumerateWwanInterfaces|Return = 0"));
}

TEST_F(WwanRadioTest, EnumerationWithoutAManagerFails)
{
    MbnInterfaceManager = nullptr;
    EXPECT_FALSE(ServiceUtils::EnumerateWwanInterfaces());
    EXPECT_THAT(Lines("ServiceUtils::EnumerateWwanInterfaces"),
                ElementsAre(L"TraceIn|ServiceUtils::EnumerateWwanInterfaces|",
                            Line(L"Error", "ServiceUtils::EnumerateWwanInterfaces", L"IMbnInterfaceManager is NULL")));
}

TEST_F(WwanRadioTest, EnumerationWhoseCopyFailsFreesTheArray)
{
    fakes::FakeProcessHeap heap;
    heap.FailAllocation(1);
    EXPECT_FALSE(ServiceUtils::EnumerateWwanInterfaces());
    EXPECT_EQ(Lines("ServiceUtils::EnumerateWwanInterfaces").back(),
              Line(L"Error", "ServiceUtils::EnumerateWwanInterfaces",
                   L"CopyArrayOfInterfaces Failed with error 0x8007000E"));
    EXPECT_EQ(heap.Live(), 0u);
}

TEST_F(WwanRadioTest, EnumerationWhoseTextFailsIsFalseAndFreesTheList)
{
    fakes::FakeProcessHeap heap;
    m_texts.Fail(fakes::FakeComTexts::Failure::StringFromIID, E_OUTOFMEMORY);
    EXPECT_FALSE(ServiceUtils::EnumerateWwanInterfaces());
    EXPECT_THAT(Lines("ServiceUtils::EnumerateWwanInterfaces"),
                ElementsAre(L"TraceIn|ServiceUtils::EnumerateWwanInterfaces|",
                            Line(L"Error", "ServiceUtils::EnumerateWwanInterfaces",
                                 L"StringFromIID failed with error 0x8007000E"),
                            L"TraceOut|ServiceUtils::EnumerateWwanInterfaces|Return = 0"));
    EXPECT_EQ(heap.Live(), 0u);
}

// GetRadioInterface

TEST_F(WwanRadioTest, TheRadioIsHadAfterOneCallAndItsPause)
{
    IMbnRadio* radio = nullptr;
    EXPECT_TRUE(ServiceUtils::GetRadioInterface(radio));
    ASSERT_NE(radio, nullptr);
    radio->Release();
    EXPECT_THAT(m_clock.Pauses(), ElementsAre(50u));
    EXPECT_THAT(m_model.Calls(), ElementsAre("GetInterface {5A5A5A5A-0000-1111-2222-333344445555}",
                                             "QueryInterface IMbnRadio"));
}

TEST_F(WwanRadioTest, FiveFailingGetInterfaceCallsPauseFiveTimes)
{
    m_model.Fail(Failure::GetInterface, E_ACCESSDENIED);
    IMbnRadio* radio = nullptr;
    EXPECT_FALSE(ServiceUtils::GetRadioInterface(radio));
    EXPECT_EQ(m_clock.Pauses(), std::vector<DWORD>(5, 50));
    std::vector<std::wstring> expected{L"TraceIn|ServiceUtils::GetRadioInterface|"};
    for (int i = 0; i < 5; ++i)
        expected.push_back(Line(L"Warning", "ServiceUtils::GetRadioInterface",
                                L"GetInterface failed in try " + std::to_wstring(i) + L" with !err is 0x80070005"));
    expected.push_back(Line(L"Error", "ServiceUtils::GetRadioInterface",
                            L"GetInterface failed with error: HRESULT : 0x80070005"));
    EXPECT_EQ(Lines("ServiceUtils::GetRadioInterface"), expected);
}

TEST_F(WwanRadioTest, ARadioThatCannotBeQueriedIsFalseAndTheInterfaceReleased)
{
    m_model.Fail(Failure::QueryRadio, E_NOINTERFACE);
    IMbnRadio* radio = nullptr;
    EXPECT_FALSE(ServiceUtils::GetRadioInterface(radio));
    EXPECT_EQ(Lines("ServiceUtils::GetRadioInterface").back(),
              Line(L"Error", "ServiceUtils::GetRadioInterface", L"QueryInterface failed with error: HRESULT : 0x80004002"));
}

// CheckWwanStatus

TEST_F(WwanRadioTest, AnOnRadioIsOne)
{
    m_model.SetRadioState(MBN_RADIO_ON);
    EXPECT_EQ(ServiceUtils::CheckWwanStatus(), 1);
    EXPECT_THAT(Lines("ServiceUtils::CheckWwanStatus"),
                ElementsAre(L"TraceIn|ServiceUtils::CheckWwanStatus|",
                            Line(L"Information", "ServiceUtils::CheckWwanStatus", L"Current WWAN status : ON"),
                            L"TraceOut|ServiceUtils::CheckWwanStatus|WWAN Status = 1"));
}

TEST_F(WwanRadioTest, AnOffRadioIsZero)
{
    m_model.SetRadioState(MBN_RADIO_OFF);
    EXPECT_EQ(ServiceUtils::CheckWwanStatus(), 0);
    EXPECT_EQ(Lines("ServiceUtils::CheckWwanStatus")[1],
              Line(L"Information", "ServiceUtils::CheckWwanStatus", L"Current WWAN status : OFF"));
}

TEST_F(WwanRadioTest, AStateThatCannotBeReadIsZero)
{
    m_model.Fail(Failure::GetSoftwareRadioState, E_FAIL);
    EXPECT_EQ(ServiceUtils::CheckWwanStatus(), 0);
    EXPECT_EQ(Lines("ServiceUtils::CheckWwanStatus").back(),
              Line(L"Error", "ServiceUtils::CheckWwanStatus", L"get_SoftwareRadioState failed! err is -2147467259"));
}

TEST_F(WwanRadioTest, ARadioThatCannotBeHadIsZero)
{
    m_model.Fail(Failure::GetInterface, E_FAIL);
    EXPECT_EQ(ServiceUtils::CheckWwanStatus(), 0);
    EXPECT_EQ(Lines("ServiceUtils::CheckWwanStatus").back(),
              Line(L"Error", "ServiceUtils::CheckWwanStatus", L"GetRadioInterface Failed"));
}

// SwitchWwanStatus

TEST_F(WwanRadioTest, ARadioAlreadyInTheWantedStateIsLeftAlone)
{
    m_model.SetRadioState(MBN_RADIO_OFF);
    EXPECT_TRUE(Switch(false, false));
    EXPECT_THAT(Lines("ServiceUtils::SwitchWwanStatus"),
                ElementsAre(L"TraceIn|ServiceUtils::SwitchWwanStatus|OnOffValue = 0, bCheckAirplaneStatus = 0",
                            Line(L"Information", "ServiceUtils::SwitchWwanStatus",
                                 L"Current Status : 0, To Change Status = 0"),
                            Line(L"Information", "ServiceUtils::SwitchWwanStatus", L"No change in WWAN Status Needed.")));
    for (const std::string& call : m_model.Calls())
        EXPECT_EQ(call.find("SetSoftwareRadioState"), std::string::npos);
}

TEST_F(WwanRadioTest, ASwitchThatTakesAtOnceSetsOnceAndLeavesTheLoop)
{
    m_model.SetRadioState(MBN_RADIO_ON);
    EXPECT_TRUE(Switch(false, false));
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_FALSE(ServiceUtils::NetworkChangedForSetRadio);
    EXPECT_THAT(Lines("ServiceUtils::SwitchWwanStatus"),
                ElementsAre(L"TraceIn|ServiceUtils::SwitchWwanStatus|OnOffValue = 0, bCheckAirplaneStatus = 0",
                            Line(L"Information", "ServiceUtils::SwitchWwanStatus",
                                 L"Current Status : 1, To Change Status = 0"),
                            Line(L"Information", "ServiceUtils::SwitchWwanStatus", L"Change to softwareRadioState : 0"),
                            Line(L"Information", "ServiceUtils::SwitchWwanStatus",
                                 L"SetSoftwareRadioState Radio State = 0, Request ID = 1"),
                            Line(L"Information", "ServiceUtils::SwitchWwanStatus",
                                 L"Got new WWAN Status = 0 , bOnOffStatus = 0"),
                            Line(L"Information", "ServiceUtils::SwitchWwanStatus",
                                 L"New Radio State is Set. So exiting from loop"),
                            L"TraceOut|ServiceUtils::SwitchWwanStatus|WWAN switching Status = 1"));
    // The radio check (50), the radio (50), one set (100), the check (50).
    EXPECT_THAT(m_clock.Pauses(), ElementsAre(50u, 50u, 100u, 50u));
}

TEST_F(WwanRadioTest, ARadioThatNeverReachesTheStateIsStillTrueAfterTenAttempts)
{
    m_model.SetRadioState(MBN_RADIO_ON);
    m_model.SetNeverTakesEffect();
    EXPECT_TRUE(Switch(false, false));
    std::vector<DWORD> expected{50, 50};
    for (int attempt = 0; attempt < 10; ++attempt) {
        expected.push_back(100);  // the set
        expected.push_back(50);   // the check's radio
        expected.push_back(500);  // before the next attempt
    }
    EXPECT_EQ(m_clock.Pauses(), expected);
    const std::vector<std::wstring> lines = Lines("ServiceUtils::SwitchWwanStatus");
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         Line(L"Information", "ServiceUtils::SwitchWwanStatus",
                              L"Retrying SetSoftwareRadioState = 9 as new wwan status is not set")),
              1);
    EXPECT_EQ(lines.back(), L"TraceOut|ServiceUtils::SwitchWwanStatus|WWAN switching Status = 1");
}

TEST_F(WwanRadioTest, FiveFailingSetsAreLoggedAndTheStateCheckedAnyway)
{
    m_model.SetRadioState(MBN_RADIO_ON);
    m_model.Fail(Failure::SetSoftwareRadioState, E_HANDLE, 5);
    EXPECT_TRUE(Switch(false, false));
    const std::vector<std::wstring> lines = Lines("ServiceUtils::SwitchWwanStatus");
    for (int retry = 0; retry < 5; ++retry)
        EXPECT_EQ(lines[3 + retry], Line(L"Warning", "ServiceUtils::SwitchWwanStatus",
                                         L"SetSoftwareRadioState failed with error in retry " + std::to_wstring(retry) +
                                             L": HRESULT : 0x80070006"));
    EXPECT_EQ(lines[8], Line(L"Error", "ServiceUtils::SwitchWwanStatus",
                             L"SetSoftwareRadioState failed with error : HRESULT : 0x80070006"));
    EXPECT_EQ(lines[9], Line(L"Information", "ServiceUtils::SwitchWwanStatus",
                             L"SetSoftwareRadioState Radio State = 0, Request ID = 0"));
    // The next attempt's set takes effect.
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
}

TEST_F(WwanRadioTest, OnIsRefusedInAirplaneModeWhenAskedToCheck)
{
    m_model.SetRadioState(MBN_RADIO_OFF);
    m_airplane.Set(true);
    EXPECT_FALSE(Switch(true, true));
    EXPECT_EQ(Lines("ServiceUtils::SwitchWwanStatus").back(),
              Line(L"Information", "ServiceUtils::SwitchWwanStatus", L"SwitchWwanStatus not needed for New status = 1"));
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
}

TEST_F(WwanRadioTest, OffGoesAheadInAirplaneMode)
{
    m_model.SetRadioState(MBN_RADIO_ON);
    m_airplane.Set(true);
    EXPECT_TRUE(Switch(false, true));
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
}

TEST_F(WwanRadioTest, OffWithoutEthernetMarksTheServiceTurnOff)
{
    m_model.SetRadioState(MBN_RADIO_ON);
    Switch(false, false);
    EXPECT_TRUE(ServiceUtils::WwanServiceTurnOff);
}

TEST_F(WwanRadioTest, OffWithEthernetLeavesTheMarkAlone)
{
    m_ipHelper.SetAdapters({fakes::WiredAdapter(true)});
    m_model.SetRadioState(MBN_RADIO_ON);
    Switch(false, false);
    EXPECT_FALSE(ServiceUtils::WwanServiceTurnOff);
}

TEST_F(WwanRadioTest, ASwitchWhoseRadioCannotBeHadIsFalse)
{
    m_model.SetRadioState(MBN_RADIO_OFF);
    // The state check's five tries (it then counts as off) and the switch's five.
    m_model.Fail(Failure::GetInterface, E_FAIL, 10);
    EXPECT_FALSE(Switch(true, false));
    EXPECT_EQ(Lines("ServiceUtils::SwitchWwanStatus").back(),
              Line(L"Error", "ServiceUtils::SwitchWwanStatus", L"GetRadioInterface Failed"));
}

// SwitchWwanStatusWithRetry

TEST_F(WwanRadioTest, RetryingSucceedsAtTheFirstAttempt)
{
    m_model.SetRadioState(MBN_RADIO_OFF);
    EXPECT_TRUE(SwitchWithRetry(true));
    EXPECT_THAT(Lines("ServiceUtils::SwitchWwanStatusWithRetry"),
                ElementsAre(L"TraceIn|ServiceUtils::SwitchWwanStatusWithRetry|NewStatus = 1, Retry Count = 5",
                            Line(L"Information", "ServiceUtils::SwitchWwanStatusWithRetry", L"SwitchWwanStatus Success"),
                            L"TraceOut|ServiceUtils::SwitchWwanStatusWithRetry|WWAN switching Status = 1"));
}

TEST_F(WwanRadioTest, RetryingARadioThatNeverReachesTheStateMakesSixAttempts)
{
    m_model.SetRadioState(MBN_RADIO_ON);
    m_model.SetNeverTakesEffect();
    EXPECT_FALSE(SwitchWithRetry(false));
    std::vector<std::wstring> expected{L"TraceIn|ServiceUtils::SwitchWwanStatusWithRetry|NewStatus = 0, Retry Count = 5"};
    for (int attempt = 0; attempt < 6; ++attempt)
        expected.push_back(Line(L"Warning", "ServiceUtils::SwitchWwanStatusWithRetry",
                                L"SwitchWwanStatus not Succeeded. Retrying to " + std::to_wstring(attempt)));
    expected.push_back(L"TraceOut|ServiceUtils::SwitchWwanStatusWithRetry|WWAN switching Status = 0");
    EXPECT_EQ(Lines("ServiceUtils::SwitchWwanStatusWithRetry"), expected);
    const std::vector<DWORD> pauses = m_clock.Pauses();
    EXPECT_EQ(std::count(pauses.begin(), pauses.end(), 400u), 6);
    EXPECT_EQ(std::count(pauses.begin(), pauses.end(), 500u), 60);
}

TEST_F(WwanRadioTest, RetryingOnInAirplaneModeIsTreatedAsDone)
{
    m_model.SetRadioState(MBN_RADIO_OFF);
    m_airplane.Set(true);
    EXPECT_TRUE(SwitchWithRetry(true));
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_THAT(m_model.Calls(), IsEmpty());
}

// StopWWANService and StartWWANService

TEST_F(WwanRadioTest, StoppingAnOnRadioSwitchesItOffAndStoresTrue)
{
    m_model.SetRadioState(MBN_RADIO_ON);
    ServiceUtils::StopWWANService();
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"True");
    EXPECT_EQ(Lines("ServiceUtils::StopWWANService"),
              (std::vector<std::wstring>{L"TraceIn|ServiceUtils::StopWWANService|",
                                         Line(L"Information", "ServiceUtils::StopWWANService", L"StopWWANService - Entry"),
                                         Line(L"Information", "ServiceUtils::StopWWANService", L"WWAN Current Status = 1"),
                                         L"TraceOut|ServiceUtils::StopWWANService|"}));
}

TEST_F(WwanRadioTest, StoppingAnOffRadioSwitchesAndWritesNothing)
{
    m_model.SetRadioState(MBN_RADIO_OFF);
    ServiceUtils::StopWWANService();
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"<missing>");
    EXPECT_THAT(Lines("ServiceUtils::SwitchWwanStatus"), IsEmpty());
}

TEST_F(WwanRadioTest, AFailedStopSwitchIsLoggedAndNothingWritten)
{
    m_model.SetRadioState(MBN_RADIO_ON);
    m_model.Fail(Failure::GetInterface, E_FAIL);
    // The state reads fail, so the radio counts as off: nothing to stop.
    ServiceUtils::StopWWANService();
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"<missing>");
}

TEST_F(WwanRadioTest, StartingWithoutAStoredValueSwitchesOn)
{
    m_model.SetRadioState(MBN_RADIO_OFF);
    ServiceUtils::StartWWANService();
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_ON);
    EXPECT_EQ(Lines("ServiceUtils::StartWWANService")[1],
              Line(L"Information", "ServiceUtils::StartWWANService", L"WWAN Registry Status = True"));
}

TEST_F(WwanRadioTest, StartingWithFalseStoredLeavesTheRadioOff)
{
    fakes::ScopedPowerStatus::Store(kWwanPowerStatusKey, L"False");
    m_model.SetRadioState(MBN_RADIO_OFF);
    ServiceUtils::StartWWANService();
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_THAT(Lines("ServiceUtils::SwitchWwanStatusWithRetry"), IsEmpty());
}

TEST_F(WwanRadioTest, StartingWithAnyOtherTextLeavesTheRadioOff)
{
    fakes::ScopedPowerStatus::Store(kWwanPowerStatusKey, L"true");
    m_model.SetRadioState(MBN_RADIO_OFF);
    ServiceUtils::StartWWANService();
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
}

TEST_F(WwanRadioTest, AStartThatCannotSwitchOnIsLogged)
{
    m_model.SetRadioState(MBN_RADIO_OFF);
    m_model.SetNeverTakesEffect();
    ServiceUtils::StartWWANService();
    EXPECT_EQ(Lines("ServiceUtils::StartWWANService").back(), L"TraceOut|ServiceUtils::StartWWANService|");
    const std::vector<std::wstring> lines = Lines("ServiceUtils::StartWWANService");
    EXPECT_EQ(lines[lines.size() - 2], Line(L"Error", "ServiceUtils::StartWWANService",
                                            L"SwitchWwanStatusWithRetry (StartWWANService) failed"));
}

// Four threads switch the radio on and off: each switch's state check and
// its sets stay together, as the switch mutex keeps other switches out.
TEST_F(WwanRadioTest, ConcurrentSwitchesDoNotInterleave)
{
    constexpr int kThreads = 4;
    constexpr int kSwitches = 200;
    fakes::RecordingLog quiet(QX::Shared::LevelError, QX::Shared::LevelError);
    m_model.SetDeliverCompletions(false);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kSwitches; ++i) {
                bool wanted = (i + t) % 2 == 0;
                bool check = false;
                ServiceUtils::SwitchWwanStatus(wanted, check);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    // Every set is followed by the state read of its own attempt before any
    // other set: with sets taking effect at once, each set is answered by
    // the state it asked for.
    const fakes::Journal calls = m_model.Calls();
    int sets = 0;
    for (size_t i = 0; i < calls.size(); ++i) {
        if (calls[i].rfind("SetSoftwareRadioState ", 0) != 0)
            continue;
        ++sets;
        size_t next = i + 1;
        while (next < calls.size() && calls[next] != "get_SoftwareRadioState")
            ++next;
        ASSERT_LT(next, calls.size());
        for (size_t between = i + 1; between < next; ++between)
            EXPECT_EQ(calls[between].rfind("SetSoftwareRadioState", 0), std::string::npos)
                << "another set came between set " << i << " and its check";
    }
    EXPECT_GT(sets, 0);
    EXPECT_TRUE(quiet.Lines().empty());
}

} // namespace
