// A storm on the simulated laptop: thousands of randomized events from
// several threads at once. Nothing may crash or hang, no COM object may be
// lost or leaked, and once the storm is over the service still does its job.
#include "fakes/ExpectedLines.h"
#include "fakes/Laptop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using fakes::Matching;

constexpr int kThreads = 4;
constexpr int kEventsPerThread = 2500;  // 10,000 in all

const char* const kCables[] = {"Ethernet", "Dock"};

// One person's (or the system's) random doing; a sleep always ends with a
// resume, and events may come in between. False when something it waited
// for (the airplane watcher's pass, a control) did not end within the bound.
bool RandomEvent(fakes::Laptop& laptop, std::mt19937& random)
{
    const auto pick = [&](int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); };
    fakes::Laptop::Cable cable;
    cable.name = kCables[pick(2)];
    switch (pick(7)) {
    case 0: return laptop.Plug(cable);
    case 1: return laptop.Pull(cable.name);
    case 2: return laptop.SwitchWifi(pick(2) == 0);
    case 3: return laptop.SwitchMobileBroadband(pick(2) == 0);
    case 4: return laptop.SetAirplaneMode(pick(2) == 0);
    case 5: {
        bool ended = laptop.Suspend();
        ended = (pick(2) == 0 ? laptop.Plug(cable) : laptop.Pull(cable.name)) && ended;
        return laptop.Resume() && ended;
    }
    default:
        // A network comes into range.
        laptop.Wlan().NetworkAvailable();
        return true;
    }
}

TEST(StormTest, TenThousandEventsFromFourThreadsLeaveAServiceThatStillSwitches)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Boot());
    laptop.SettleAfterEachVerb(false);

    std::atomic<int> unended{0};
    std::vector<std::thread> people;
    for (int person = 0; person < kThreads; ++person) {
        people.emplace_back([&laptop, &unended, person] {
            std::mt19937 random(0x5EED0000u + static_cast<unsigned>(person));
            for (int event = 0; event < kEventsPerThread; ++event)
                if (!RandomEvent(laptop, random))
                    ++unended;
        });
    }
    for (std::thread& person : people)
        person.join();

    // Every callback returned within the bound.
    EXPECT_EQ(unended.load(), 0);
    ASSERT_TRUE(laptop.Settle());
    // The storm reached every part of the service.
    const std::vector<std::wstring> lines = laptop.Lines();
    EXPECT_GT(Matching(lines, L"Connecting to Ethernet. Stop WLAN service...").size(), 0u);
    EXPECT_GT(Matching(lines, L"The disconnecting connection was Ethernet. Start WLAN service...").size(), 0u);
    EXPECT_GT(Matching(lines, L"System in sleep/Hibernate, not processing the callback").size(), 0u);
    EXPECT_GT(Matching(lines, L"Airplane Mode ON , setting default").size(), 0u);
    EXPECT_GT(Matching(lines, L"wlan_notification_acm_network_available. Processing Callback").size(), 0u);
    EXPECT_GT(Matching(lines, L"TraceIn|NLMUtils::SystemResumeHandler|").size(), 0u);
    laptop.SettleAfterEachVerb(true);
    ASSERT_TRUE(laptop.SetAirplaneMode(false));

    // A quiet pull of every cable, then a quiet plug: both radios off.
    for (const char* name : kCables)
        ASSERT_TRUE(laptop.Pull(name));
    ASSERT_TRUE(laptop.Plug());
    EXPECT_FALSE(laptop.WifiOn());
    EXPECT_FALSE(laptop.MobileBroadbandOn());

    // Nothing lost or leaked: once the service stopped and the process let
    // go of what it keeps for ever, no model object is alive.
    ASSERT_TRUE(laptop.PowerOff());
    EXPECT_EQ(laptop.LiveComObjects(), 0);
}

}  // namespace
