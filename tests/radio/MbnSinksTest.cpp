// CMbnSinks: what a completed software radio set leads to (switching the
// radio off again, or recording the user's choice), its COM identity, and
// the lock order with the radio switching.
#include "radio/MbnSinks.h"

#include "radio/WwanRadio.h"

#include "fakes/FakeComObjects.h"
#include "models/FakeComTexts.h"
#include "models/Adapters.h"
#include "fakes/ExpectedLines.h"
#include "models/FakeIpHelper.h"
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

#include <chrono>
#include <future>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using fakes::MobileBroadbandModel;
using testing::ElementsAre;

constexpr char kFunction[] = "CMbnSinks::OnSetSoftwareRadioStateComplete";

const fakes::FunctionLines Line{kFunction};

class MbnSinksTest : public testing::Test {
protected:
    MbnSinksTest() : m_manager(m_model.NewManager())
    {
        MbnInterfaceManager = m_manager.Get();
        WwanDeviceAvailable = true;
        LanWwanSwitchingEnabled = true;
        ServiceUtils::WwanInterfaceId = L"{5A5A5A5A-0000-1111-2222-333344445555}";
        m_airplane.Set(false);
        m_sink = new CMbnSinks();
        m_sink->AddRef();
        m_model.Advise(m_sink);
    }
    ~MbnSinksTest() override
    {
        m_model.WaitForCompletions();
        m_sink->Release();
        ReleaseMbnRadioCompletedForTesting();
        m_manager.Reset();
    }
    // The user switches the radio; the completion is handled before this returns.
    void UserSwitches(MBN_RADIO state, ULONG requestId = 77)
    {
        m_model.SwitchByUser(state, requestId);
        m_model.WaitForCompletions();
    }
    std::vector<std::wstring> Lines() const { return m_log.LinesOf(kFunction); }

    fakes::FreshSwitchingState m_switchingState;  // first: fresh again once every other member has gone
    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    fakes::FakeComTexts m_texts;
    fakes::FakeIpHelper m_ipHelper{{fakes::WirelessAdapter()}};
    fakes::ScopedAirplaneMode m_airplane;
    fakes::ScopedPowerStatus m_powerStatus;
    MobileBroadbandModel m_model;
    os::ComPtr<IMbnInterfaceManager> m_manager;
    CMbnSinks* m_sink = nullptr;
};

TEST_F(MbnSinksTest, TheUserTurningTheRadioOnWithoutEthernetIsRecorded)
{
    UserSwitches(MBN_RADIO_ON);
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"True");
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_ON);
    EXPECT_THAT(Lines(), ElementsAre(L"TraceIn|CMbnSinks::OnSetSoftwareRadioStateComplete|RequestID = 77, Status = 0x0",
                                     Line(L"Information", L"NetworkChangedForSetRadio Status = 0"),
                                     Line(L"Information", L"LAN-WWAN Auto Switching Status = 1"),
                                     Line(L"Information", L"Ethernet Connection Status = 0"),
                                     Line(L"Information", L"WWAN Status = 1"),
                                     Line(L"Information", L"Writing WWAN status 1 to registry"),
                                     Line(L"Information", L"Received OnSetSoftwareRadioStateComplete Event for "
                                                          L"requestID = 77")));
}

TEST_F(MbnSinksTest, TheUserTurningTheRadioOffWithoutEthernetIsRecorded)
{
    UserSwitches(MBN_RADIO_OFF);
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"False");
}

TEST_F(MbnSinksTest, TheUserTurningTheRadioOnWithEthernetIsSwitchedOffAgainAndNothingWritten)
{
    m_ipHelper.SetAdapters({fakes::WiredAdapter()});
    m_model.SetDeliverCompletions(true);
    UserSwitches(MBN_RADIO_ON);
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_TRUE(ServiceUtils::WwanServiceTurnOff);
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"<missing>");
    const std::vector<std::wstring> lines = Lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), Line(L"Information", L"Ethernet is present, switching OFF WWAN")),
              1);
    // The service's own set completes too; its handler waits for the sink
    // lock, then finds the radio off with Ethernet present: nothing to do.
    EXPECT_EQ(lines.back(), Line(L"Information", L"Received OnSetSoftwareRadioStateComplete Event for requestID = 1"));
}

TEST_F(MbnSinksTest, WithSwitchingDisallowedTheUsersChoiceIsWrittenEvenWithEthernet)
{
    LanWwanSwitchingEnabled = false;
    m_ipHelper.SetAdapters({fakes::WiredAdapter()});
    UserSwitches(MBN_RADIO_ON);
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_ON);
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"True");
}

TEST_F(MbnSinksTest, TheUserTurningTheRadioOffWithEthernetNeedsNothing)
{
    m_ipHelper.SetAdapters({fakes::WiredAdapter()});
    UserSwitches(MBN_RADIO_OFF);
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"<missing>");
    EXPECT_EQ(Lines().back(),
              Line(L"Information", L"Received OnSetSoftwareRadioStateComplete Event for requestID = 77"));
}

TEST_F(MbnSinksTest, ACompletionDuringResumeOnlyLogsTheTwoLines)
{
    on_resumeflag = true;
    UserSwitches(MBN_RADIO_ON);
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"<missing>");
    EXPECT_THAT(Lines(), ElementsAre(L"TraceIn|CMbnSinks::OnSetSoftwareRadioStateComplete|RequestID = 77, Status = 0x0",
                                     Line(L"Information", L"NetworkChangedForSetRadio Status = 0"),
                                     Line(L"Information", L"LAN-WWAN Auto Switching Status = 1"),
                                     Line(L"Information", L"Resume Flag : 1"),
                                     Line(L"Error", L"CheckEthernetConnectionStatusEx failed or system in Hibernate")));
}

TEST_F(MbnSinksTest, AFailedEthernetCheckOnlyLogsTheTwoLines)
{
    m_ipHelper.SetAdapters({});
    UserSwitches(MBN_RADIO_ON);
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"<missing>");
    EXPECT_EQ(Lines()[4], Line(L"Error", L"CheckEthernetConnectionStatusEx failed or system in Hibernate"));
}

TEST_F(MbnSinksTest, AirplaneModeIsNotProcessed)
{
    m_airplane.Set(true);
    UserSwitches(MBN_RADIO_ON);
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"<missing>");
    EXPECT_EQ(Lines().back(), Line(L"Information", L"Not Processing OnSetSoftwareRadioStateComplete"));
}

TEST_F(MbnSinksTest, ACompletionOfTheServicesOwnSwitchIsNotProcessed)
{
    m_model.SetRadioState(MBN_RADIO_OFF);
    m_model.SetWaitForDelivery(true);
    bool on = true;
    bool check = false;
    ServiceUtils::SwitchWwanStatus(on, check);
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_ON);
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"<missing>");
    EXPECT_EQ(Lines()[1], Line(L"Information", L"NetworkChangedForSetRadio Status = 1"));
    EXPECT_EQ(Lines().back(), Line(L"Information", L"Not Processing OnSetSoftwareRadioStateComplete"));
}

// Kept for the life of the process and never released by a static
// destructor, which would run after COM has been uninitialised.
static_assert(std::is_pointer_v<decltype(MbnRadioCompletedForTesting())>);

TEST_F(MbnSinksTest, TheLastCompletedRadioIsKeptWithAReferenceOfItsOwnAndTheOneBeforeReleased)
{
    UserSwitches(MBN_RADIO_ON, 1);
    // The modem has given back its own references once the completion is
    // handled: the radio lives on the sink's reference alone.
    ASSERT_EQ(m_model.LiveObjects(), 2);  // the manager and the kept radio
    ASSERT_NE(MbnRadioCompletedForTesting(), nullptr);
    EXPECT_EQ(fakes::ReferencesOf(MbnRadioCompletedForTesting()), 1u);
    IMbnRadio* first = MbnRadioCompletedForTesting();
    UserSwitches(MBN_RADIO_OFF, 2);
    EXPECT_NE(MbnRadioCompletedForTesting(), first);
    EXPECT_EQ(m_model.LiveObjects(), 2);  // the first one went
    EXPECT_EQ(fakes::ReferencesOf(MbnRadioCompletedForTesting()), 1u);
    ReleaseMbnRadioCompletedForTesting();
    EXPECT_EQ(MbnRadioCompletedForTesting(), nullptr);
    EXPECT_EQ(m_model.LiveObjects(), 1);  // the manager
}

TEST_F(MbnSinksTest, ARadioStateChangeOnlyLogsItsScope)
{
    EXPECT_EQ(m_sink->OnRadioStateChange(nullptr), S_OK);
    EXPECT_THAT(m_log.LinesOf("CMbnSinks::OnRadioStateChange"),
                ElementsAre(L"TraceIn|CMbnSinks::OnRadioStateChange|", L"TraceOut|CMbnSinks::OnRadioStateChange|"));
}

TEST_F(MbnSinksTest, QueryInterfaceGivesItselfForItsTwoInterfacesOnly)
{
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(m_sink->QueryInterface(IID_IMbnRadioEvents, &object), S_OK);
    EXPECT_EQ(object, static_cast<IMbnRadioEvents*>(m_sink));
    static_cast<IUnknown*>(object)->Release();
    EXPECT_EQ(m_sink->QueryInterface(IID_IUnknown, &object), S_OK);
    static_cast<IUnknown*>(object)->Release();
    EXPECT_EQ(m_sink->QueryInterface(IID_IMbnRadio, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(m_sink->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(MbnSinksTest, AddRefAndReleaseCountFromZero)
{
    CMbnSinks* sink = new CMbnSinks();
    EXPECT_EQ(sink->AddRef(), 1u);
    EXPECT_EQ(sink->AddRef(), 2u);
    EXPECT_EQ(sink->Release(), 1u);
    EXPECT_EQ(sink->Release(), 0u);
    EXPECT_THAT(m_log.LinesOf("CMbnSinks::~CMbnSinks"),
                ElementsAre(L"TraceIn|CMbnSinks::~CMbnSinks|", L"TraceOut|CMbnSinks::~CMbnSinks|"));
}

TEST_F(MbnSinksTest, ACompletionWhileTheSwitchMutexIsHeldWaitsForItWithoutDeadlock)
{
    m_ipHelper.SetAdapters({fakes::WiredAdapter()});
    std::future<void> completion;
    {
        std::lock_guard<std::mutex> held(ServiceUtils::WwanSwitchMutexForTesting());
        completion = std::async(std::launch::async, [this] { UserSwitches(MBN_RADIO_ON); });
        // The sink takes its own lock, then waits for the switch mutex.
        EXPECT_EQ(completion.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
    }
    ASSERT_EQ(completion.wait_for(std::chrono::seconds(30)), std::future_status::ready)
        << "the completion did not end after the switch mutex was released";
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
}

} // namespace
