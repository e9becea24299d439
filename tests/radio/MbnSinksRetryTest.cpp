// CMbnSinks switching the mobile-broadband radio off again when the user
// turns it on while a wired link is up, against a modem that refuses every
// set: how many tries and pauses the sink's switch-off makes before it gives
// up, and what it leaves behind. In virtual time.
#include "radio/MbnSinks.h"

#include "radio/WwanRadio.h"

#include "fakes/FreshSwitchingState.h"
#include "fakes/MachineState.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "models/Adapters.h"
#include "models/FakeComTexts.h"
#include "models/FakeIpHelper.h"
#include "models/MobileBroadbandModel.h"
#include "platform/ComPtr.h"
#include "state/RegistryPaths.h"
#include "state/SwitchingState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using fakes::MobileBroadbandModel;

constexpr char kRetry[] = "ServiceUtils::SwitchWwanStatusWithRetry";

// Rounds of the sink's switch-off: its retry count is 5, and the count is
// of retries after the first round.
constexpr int kRounds = 6;
constexpr int kAttempts = 10;
constexpr int kTries = 5;

// Every pause of the completion, in order. Each state read first gets the
// radio, which pauses 50 ms. The sink reads the state once; then each round
// switches (a read, the radio got, then 10 attempts of 5 refused sets, each
// set followed by 100 ms, each attempt by a read and 500 ms), pauses 100 ms,
// reads, and pauses 400 ms.
std::vector<DWORD> CompletionPauses(int rounds)
{
    constexpr DWORD kRead = 50;
    std::vector<DWORD> pauses{kRead};
    for (int round = 0; round < rounds; ++round) {
        pauses.insert(pauses.end(), {kRead, kRead});
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            pauses.insert(pauses.end(), kTries, 100);
            pauses.insert(pauses.end(), {kRead, 500});
        }
        pauses.insert(pauses.end(), {100, kRead, 400});
    }
    return pauses;
}

class MbnSinksRetryTest : public testing::Test {
protected:
    MbnSinksRetryTest() : m_manager(m_model.NewManager())
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
    ~MbnSinksRetryTest() override
    {
        m_model.WaitForCompletions();
        m_sink->Release();
        ReleaseMbnRadioCompletedForTesting();
        m_manager.Reset();
    }

    fakes::FreshSwitchingState m_switchingState;  // first: fresh again once every other member has gone
    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    fakes::FakeComTexts m_texts;
    fakes::FakeIpHelper m_ipHelper{{fakes::WiredAdapter()}};
    fakes::ScopedAirplaneMode m_airplane;
    fakes::ScopedPowerStatus m_powerStatus;
    MobileBroadbandModel m_model;
    os::ComPtr<IMbnInterfaceManager> m_manager;
    CMbnSinks* m_sink = nullptr;
};

TEST_F(MbnSinksRetryTest, AModemRefusingEverySetGetsSixRoundsOfFiftySetsThenTheSinkGivesUp)
{
    m_model.Fail(MobileBroadbandModel::Failure::SetSoftwareRadioState, E_FAIL);
    m_model.SwitchByUser(MBN_RADIO_ON, 77);
    ASSERT_TRUE(m_model.WaitForCompletions()) << "the completion was not handled within the bound";

    const fakes::Journal calls = m_model.Calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "SetSoftwareRadioState 0"), kRounds * kAttempts * kTries);
    EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                            [](const std::string& call) { return call.rfind("SetSoftwareRadioState", 0) == 0; }),
              kRounds * kAttempts * kTries);

    EXPECT_EQ(m_clock.Pauses(), CompletionPauses(kRounds));
    const std::vector<DWORD> pauses = m_clock.Pauses();
    EXPECT_EQ(std::count(pauses.begin(), pauses.end(), 400u), kRounds);

    std::vector<std::wstring> expected{L"TraceIn|ServiceUtils::SwitchWwanStatusWithRetry|NewStatus = 0, Retry Count = 5"};
    for (int index = 0; index < kRounds; ++index)
        expected.push_back(L"Warning|ServiceUtils::SwitchWwanStatusWithRetry|SwitchWwanStatus not Succeeded. Retrying to "
                           + std::to_wstring(index));
    expected.push_back(L"TraceOut|ServiceUtils::SwitchWwanStatusWithRetry|WWAN switching Status = 0");
    EXPECT_EQ(m_log.LinesOf(kRetry), expected);
    EXPECT_EQ(m_log.Entered({"ServiceUtils::SwitchWwanStatus"}),
              std::vector<std::wstring>(kRounds, L"ServiceUtils::SwitchWwanStatus"));

    // Given up: the radio stays on, the user's choice is not recorded, and
    // the service's own-set flag is down again.
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_ON);
    EXPECT_TRUE(ServiceUtils::WwanServiceTurnOff);
    EXPECT_FALSE(ServiceUtils::NetworkChangedForSetRadio);
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWwanPowerStatusKey), L"<missing>");
}

} // namespace
