// The machine-wide test from many threads while the adapters change: every
// answer is one that some whole adapter list gives, and nothing leaks.
#include "network/EthernetCheck.h"

#include "fakes/FakeProcessHeap.h"
#include "fakes/RecordingListener.h"
#include "models/Adapters.h"
#include "models/FakeIpHelper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using fakes::Ethernet;

TEST(EthernetConcurrency, EightThreadsSeeOnlyWholeListsWhileTheAdaptersChange)
{
    constexpr int kThreads = 8;
    constexpr int kCalls = 1000;
    fakes::RecordingLog errors(QX::Shared::LevelWarning, QX::Shared::LevelError);
    fakes::FakeProcessHeap heap;
    // Three machines, each with its own answer:
    //   wired with an address: (1, 1, 0); wired waiting for DHCP: (1, 0, 1);
    //   a VPN and a Wi-Fi card with addresses: (1, 0, 0).
    const std::vector<std::vector<fakes::AdapterDescription>> machines = {
        {Ethernet("TAP-Windows Adapter", "10.8.0.2"), Ethernet("Intel(R) Ethernet", "192.168.1.2")},
        {Ethernet("Intel(R) Ethernet", "0.0.0.0")},
        {Ethernet("Contoso VPN", "10.1.0.2"),
         fakes::Adapter(IF_TYPE_IEEE80211, fakes::kWirelessGuid, "Wireless-AC", "192.168.1.3"),
         Ethernet("Hyper-V Virtual Ethernet", "172.16.0.1")},
    };
    fakes::FakeIpHelper ipHelper(machines[0]);

    std::atomic<bool> done{false};
    std::thread changer([&] {
        for (size_t i = 1; !done; ++i)
            ipHelper.SetAdapters(machines[i % machines.size()]);
    });
    std::vector<std::set<std::tuple<int, int, int>>> answers(kThreads);
    std::vector<std::thread> callers;
    for (int t = 0; t < kThreads; ++t) {
        callers.emplace_back([&answers, t] {
            for (int call = 0; call < kCalls; ++call) {
                int status = -1;
                int notAssigned = 0;
                const int result = EthernetCheck::CheckEthernetConnectionStatusEx(&status, &notAssigned);
                answers[t].insert({result, status, notAssigned});
            }
        });
    }
    for (std::thread& caller : callers)
        caller.join();
    done = true;
    changer.join();

    // A list that grows between the two GetAdaptersInfo calls of one test
    // fails that test, which then leaves both out-values as they were:
    // (0, -1, 0) is "unknown", never a torn walk.
    const std::set<std::tuple<int, int, int>> whole = {{1, 1, 0}, {1, 0, 1}, {1, 0, 0}, {0, -1, 0}};
    std::set<std::tuple<int, int, int>> seen;
    for (const auto& threadAnswers : answers)
        seen.insert(threadAnswers.begin(), threadAnswers.end());
    for (const auto& answer : seen)
        EXPECT_EQ(whole.count(answer), 1u) << std::get<0>(answer) << " " << std::get<1>(answer) << " "
                                          << std::get<2>(answer);
    EXPECT_EQ(ipHelper.InfoCalls(), 2 * kThreads * kCalls);
    for (const std::wstring& line : errors.Lines())
        EXPECT_TRUE(line.rfind(L"Error|NLMEventHandler::InitialiseAdapter|GetAdaptersInfo() failed.Error = ", 0) == 0 ||
                    line == L"Error|NLMEventHandler::CheckEthernetConnectionStatus|InitialiseAdapter failed")
            << std::string(line.begin(), line.end());
    // Only the last list is left, and it goes with the sink.
    EXPECT_EQ(heap.Live(), 1u);
    EthernetCheck::ReleaseAdapterList();
    EXPECT_EQ(heap.Live(), 0u);
}

} // namespace
