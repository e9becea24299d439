// The start-up worker held at a moment of its own, on the simulated laptop.
// A stop at every moment: a first boot records every platform call the
// worker makes (each pause is one), then one scenario per call holds the
// worker just before that call,
// delivers the stop through the real control handler, lets the worker go
// on, and checks that nothing crashed, OnStop ran its steps, the worker and
// the watcher ended, and everything the worker made is released once (the
// models count their objects, advised sinks and Wi-Fi client handles).
#include "fakes/Laptop.h"
#include "platform/Api.h"
#include "switching/MainService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using Lines = std::vector<std::wstring>;

constexpr auto kBound = 20s;
// The worker's platform calls in a boot with a cable in and a modem present,
// its start counted as the first.
constexpr size_t kWorkerCallsOfABoot = 85;

// Counts the platform calls of the worker thread (0: the worker's start,
// before its first instruction) and holds the worker before call number
// `holdAt` until the test lets it go.
class WorkerSteps {
public:
    explicit WorkerSteps(int holdAt) : m_holdAt(holdAt) { s_current = this; }
    ~WorkerSteps()
    {
        Release();
        s_current = nullptr;
    }

    // On the worker thread, before each of its platform calls.
    static void Step(const char* name)
    {
        if (s_current == nullptr || !t_isWorker)
            return;
        s_current->Reach(name);
    }
    static void WorkerStarts() { t_isWorker = true; }

    bool WaitUntilHeld()
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, kBound, [this] { return m_held; });
    }
    void Release()
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_released = true;
        m_changed.notify_all();
    }
    std::vector<std::string> Names() const
    {
        std::lock_guard<std::mutex> lock(m_lock);
        return m_names;
    }

private:
    void Reach(const char* name)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        const int number = static_cast<int>(m_names.size());
        m_names.push_back(name);
        if (number != m_holdAt)
            return;
        m_held = true;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_released; });
    }

    static inline WorkerSteps* s_current = nullptr;
    static inline thread_local bool t_isWorker = false;
    const int m_holdAt;
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<std::string> m_names;
    bool m_held = false;
    bool m_released = false;
};

// One member of the seam, wrapped: the step first, then what was there.
template <auto Member, typename Function = std::remove_reference_t<decltype(std::declval<os::Api&>().*Member)>>
struct Tap;

template <auto Member, typename Result, typename... Args>
struct Tap<Member, Result (*)(Args...)> {
    static void Install(os::Api& api, const char* name)
    {
        s_name = name;
        s_previous = api.*Member;
        api.*Member = &Call;
    }
    static Result WINAPI Call(Args... args)
    {
        WorkerSteps::Step(s_name);
        return s_previous(args...);
    }
    static inline const char* s_name = nullptr;
    static inline Result (*s_previous)(Args...) = nullptr;
};

// The first work item queued is the worker: it starts through a trampoline
// that marks its thread (and counts the start as step 0).
struct WorkerStart {
    static BOOL WINAPI Queue(LPTHREAD_START_ROUTINE function, PVOID context, ULONG flags)
    {
        if (!s_queued) {
            s_queued = true;
            s_function = function;
            s_context = context;
            return s_previous(&WorkerStart::Run, nullptr, flags);
        }
        return s_previous(function, context, flags);
    }
    static DWORD WINAPI Run(LPVOID)
    {
        WorkerSteps::WorkerStarts();
        WorkerSteps::Step("(the worker starts)");
        return s_function(s_context);
    }
    static inline bool s_queued = false;
    static inline LPTHREAD_START_ROUTINE s_function = nullptr;
    static inline PVOID s_context = nullptr;
    static inline decltype(&::QueueUserWorkItem) s_previous = nullptr;
};

// Every member of the seam that the worker's operations may call, tapped
// over what the laptop installed, for the life of the object.
class TappedSeam {
public:
    TappedSeam()
    {
        os::Api& api = os::api();
        WorkerStart::s_queued = false;
        WorkerStart::s_previous = api.QueueUserWorkItem;
        api.QueueUserWorkItem = &WorkerStart::Queue;
#define TESSARINE_TAP(name) Tap<&os::Api::name>::Install(api, #name)
        TESSARINE_TAP(Sleep);
        TESSARINE_TAP(WaitForSingleObject);
        TESSARINE_TAP(OpenSCManagerW);
        TESSARINE_TAP(OpenServiceW);
        TESSARINE_TAP(QueryServiceStatus);
        TESSARINE_TAP(QueryServiceStatusEx);
        TESSARINE_TAP(QueryServiceConfigW);
        TESSARINE_TAP(CloseServiceHandle);
        TESSARINE_TAP(CreateEventW);
        TESSARINE_TAP(SetEvent);
        TESSARINE_TAP(RegOpenKeyExW);
        TESSARINE_TAP(RegCreateKeyExW);
        TESSARINE_TAP(GetAdaptersInfo);
        TESSARINE_TAP(GetAdaptersAddresses);
        TESSARINE_TAP(HeapAlloc);
        TESSARINE_TAP(HeapFree);
        TESSARINE_TAP(StringFromCLSID);
        TESSARINE_TAP(IIDFromString);
        TESSARINE_TAP(StringFromIID);
        TESSARINE_TAP(CoTaskMemFree);
        TESSARINE_TAP(SysFreeString);
        TESSARINE_TAP(SysAllocString);
        TESSARINE_TAP(SysAllocStringLen);
        TESSARINE_TAP(CoInitializeEx);
        TESSARINE_TAP(CoUninitialize);
        TESSARINE_TAP(WlanOpenHandle);
        TESSARINE_TAP(WlanCloseHandle);
        TESSARINE_TAP(WlanRegisterNotification);
        TESSARINE_TAP(WlanEnumInterfaces);
        TESSARINE_TAP(WlanQueryInterface);
        TESSARINE_TAP(WlanGetInterfaceCapability);
        TESSARINE_TAP(WlanSetInterface);
        TESSARINE_TAP(WlanFreeMemory);
        TESSARINE_TAP(CoCreateInstance);
        TESSARINE_TAP(CoSetProxyBlanket);
        TESSARINE_TAP(IsNetworkAlive);
#undef TESSARINE_TAP
    }

private:
    os::ScopedApiOverride m_seam;  // puts the laptop's table back
};

bool WaitUntil(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + kBound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

bool Logged(const fakes::Laptop& laptop, const char* function, const std::wstring& line)
{
    for (const std::wstring& logged : laptop.LinesOf(function))
        if (logged == line)
            return true;
    return false;
}

const std::wstring kStopInfo = L"Information|CMainService::OnStop|LAN/WLAN - LAN/WWAN Switching Service in OnStop";
const std::wstring kStopEnd = L"TraceOut|CMainService::OnStop|";
const std::wstring kWorkerExit = L"TraceOut|CMainService::ServiceWorkerThread|ServiceWorkerThread - Exit";
const std::wstring kWorkerStopping =
    L"Information|CMainService::ServiceWorkerThread|ServiceWorkerThread - The service is stopping: start-up ends "
    L"here";

// The calls of an undisturbed boot with a cable in and a modem present.
std::vector<std::string> WorkerCallsOfABoot()
{
    fakes::Laptop laptop;
    if (!laptop.Plug())
        return {};
    TappedSeam seam;
    WorkerSteps steps(-1);
    if (!laptop.Boot())
        return {};
    EXPECT_EQ(laptop.LinesOf("CMainService::ServiceWorkerThread").back(), kWorkerExit);
    std::vector<std::string> names = steps.Names();
    EXPECT_TRUE(laptop.PowerOff());
    return names;
}

std::vector<std::string>& BootCalls()
{
    static std::vector<std::string> calls = WorkerCallsOfABoot();
    return calls;
}

class StopDuringStartUpTest : public testing::TestWithParam<int> {};

TEST_P(StopDuringStartUpTest, AStopHereEndsEverythingAndReleasesWhatTheWorkerMade)
{
    const int step = GetParam();
    const std::vector<std::string>& calls = BootCalls();
    ASSERT_EQ(calls.size(), kWorkerCallsOfABoot) << "the undisturbed boot failed or changed";
    // The last step comes after the worker's last call: the stop finds the
    // start-up done.
    SCOPED_TRACE("stop before worker call " + std::to_string(step) + " of " + std::to_string(calls.size()) + ": " +
                 (static_cast<size_t>(step) < calls.size() ? calls[static_cast<size_t>(step)] : "none"));

    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Plug());
    {
        TappedSeam seam;
        const bool held = static_cast<size_t>(step) < calls.size();
        WorkerSteps steps(held ? step : -1);
        laptop.StartService();
        bool workerHoldsStopLock = false;
        if (held) {
            ASSERT_TRUE(steps.WaitUntilHeld()) << "the worker never reached the step";
            // Whether the held worker is inside a step that holds the stop lock.
            std::mutex& stopLock = laptop.Service().ForTesting().stopLock;
            workerHoldsStopLock = !stopLock.try_lock();
            if (!workerHoldsStopLock)
                stopLock.unlock();
        } else {
            ASSERT_TRUE(laptop.WaitForWorker());
        }

        auto stopped = std::async(std::launch::async, [&] { return laptop.Stop(); });
        // A worker inside a step that holds the stop lock makes OnStop wait
        // for the step; otherwise the whole stop runs before the worker goes on.
        ASSERT_TRUE(WaitUntil([&] {
            return Logged(laptop, "CMainService::OnStop", workerHoldsStopLock ? kStopInfo : kStopEnd);
        })) << "OnStop did not get that far: "
            << testing::PrintToString(laptop.Lines());
        steps.Release();
        ASSERT_EQ(stopped.wait_for(kBound), std::future_status::ready) << "the stop did not end";
        EXPECT_TRUE(stopped.get());
    }
    ASSERT_TRUE(laptop.PowerOff());

    ASSERT_FALSE(laptop.LinesOf("CMainService::ServiceWorkerThread").empty());
    // OnStop ran its steps, once, with nothing failing.
    EXPECT_THAT(laptop.LinesOf("CMainService::OnStop"),
                ElementsAre(L"TraceIn|CMainService::OnStop|", kStopInfo, kStopEnd));
    // The worker ended with its exit line; the watcher, when it started, ended.
    EXPECT_EQ(laptop.LinesOf("CMainService::ServiceWorkerThread").back(), kWorkerExit);
    const Lines watcher = laptop.LinesOf("CMainService::AirplaneModeWatcher");
    if (!watcher.empty()) {
        EXPECT_EQ(watcher.back(), L"TraceOut|CMainService::AirplaneModeWatcher|AirplaneModeWatcher - Exit");
    }
    // Released once: the models' objects, their advised sinks, the Wi-Fi
    // client handles and registration; the sinks themselves live on.
    EXPECT_EQ(laptop.LiveComObjects(), 0);
    EXPECT_EQ(laptop.NetworkList().AdvisedCount(IID_INetworkListManagerEvents), 0u);
    EXPECT_EQ(laptop.NetworkList().AdvisedCount(IID_INetworkConnectionEvents), 0u);
    EXPECT_EQ(laptop.NetworkList().AdvisedCount(IID_INetworkEvents), 0u);
    EXPECT_EQ(laptop.Broadband().AdvisedCount(), 0u);
    EXPECT_EQ(laptop.Wlan().OpenClientHandles(), 0u);
    EXPECT_THAT(laptop.LinesOf("CMbnSinks::~CMbnSinks"), IsEmpty());
    EXPECT_THAT(laptop.LinesOf("NLMEventHandler::~NLMEventHandler"), IsEmpty());
}

// Every call of the worker's boot, and one step past its last.
INSTANTIATE_TEST_SUITE_P(EveryWorkerCall, StopDuringStartUpTest,
                         testing::Range(0, static_cast<int>(kWorkerCallsOfABoot) + 1));

TEST(StopDuringStartUpSweep, CoversEveryCallOfTheWorkersBoot)
{
    const std::vector<std::string>& calls = BootCalls();
    // When the worker's calls change, the sweep follows by this number.
    ASSERT_EQ(calls.size(), kWorkerCallsOfABoot) << testing::PrintToString(calls);
    EXPECT_EQ(calls.front(), "(the worker starts)");
    EXPECT_EQ(calls[1], "CoInitializeEx");
    EXPECT_EQ(calls[2], "CoCreateInstance");
    EXPECT_EQ(calls.back(), "CoUninitialize");
}

// The worker lists the connections that exist at start-up, adding the wired
// ones to the set, after the network sink has been advised: a connection
// that changes meanwhile is handled on its own thread, and waits for the
// listing, so that the set is never touched by both at once.
TEST(WorkerMomentsTest, AConnectionChangeDuringTheStartUpListingWaitsForTheListing)
{
    const std::vector<std::string>& calls = BootCalls();
    ASSERT_EQ(calls.size(), kWorkerCallsOfABoot);
    // The listing turns each connection's identifier into text first.
    const auto listing = std::find(calls.begin(), calls.end(), "StringFromCLSID");
    ASSERT_NE(listing, calls.end());

    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Plug());
    TappedSeam seam;
    WorkerSteps steps(static_cast<int>(listing - calls.begin()));
    laptop.SettleAfterEachVerb(false);
    laptop.StartService();
    ASSERT_TRUE(steps.WaitUntilHeld());
    ASSERT_THAT(laptop.LinesOf("NLMUtils::PrintNetworkConnections"),
                testing::AllOf(Contains(L"TraceIn|NLMUtils::PrintNetworkConnections|"),
                               Not(Contains(L"TraceOut|NLMUtils::PrintNetworkConnections|"))));

    fakes::Laptop::Cable dock;
    dock.name = "Dock";
    ASSERT_TRUE(laptop.Plug(dock));
    const char* const kSink = "NLMEventHandler::NetworkConnectionConnectivityChanged";
    ASSERT_TRUE(WaitUntil([&] { return !laptop.LinesOf(kSink).empty(); })) << "the dock's change never came";
    // The callback has come, and waits: the lines it writes under the lock
    // do not come while the listing is held (half a second to show it).
    const auto handling = [&] {
        return Logged(laptop, kSink,
                      L"Information|NLMEventHandler::NetworkConnectionConnectivityChanged|"
                      L"------------------start----------------------");
    };
    const auto end = std::chrono::steady_clock::now() + 500ms;
    while (std::chrono::steady_clock::now() < end && !handling())
        std::this_thread::sleep_for(5ms);
    EXPECT_FALSE(handling()) << "the callback worked on the set during the start-up listing";

    steps.Release();
    ASSERT_TRUE(laptop.WaitForWorker());
    ASSERT_TRUE(laptop.Settle());
    // The callback's handling came after the listing had ended.
    const Lines lines = laptop.Lines();
    const auto listed = std::find(lines.begin(), lines.end(), L"TraceOut|NLMUtils::PrintNetworkConnections|");
    const auto started = std::find_if(lines.begin(), lines.end(), [](const std::wstring& line) {
        return line.find(L"|------------------start----------------------") != std::wstring::npos;
    });
    ASSERT_NE(listed, lines.end());
    ASSERT_NE(started, lines.end());
    EXPECT_LT(listed - lines.begin(), started - lines.begin());
    EXPECT_FALSE(laptop.WifiOn());
    ASSERT_TRUE(laptop.PowerOff());
}

// The radio sink is kept by its subscription for the life of the process:
// OnStop's release (with the unadvise, which gives back the modem's own
// reference) does not destroy it, so a completion on its way finds it.
TEST(WorkerMomentsTest, TheRadioSinkOutlivesTheStop)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Boot());
    ASSERT_EQ(laptop.Broadband().AdvisedCount(), 1u);
    ASSERT_TRUE(laptop.Stop());
    EXPECT_EQ(laptop.Broadband().AdvisedCount(), 0u);
    EXPECT_THAT(laptop.LinesOf("CMbnSinks::~CMbnSinks"), IsEmpty());
    ASSERT_TRUE(laptop.PowerOff());
}

// The owner destroys the service only once its work items have ended: the
// watcher runs until the stop, and ends with it.
TEST(WorkerMomentsTest, TheWatcherKeepsTheServiceUntilTheStopEndsIt)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Boot());
    EXPECT_FALSE(laptop.Service().WaitForWorkItems(0));
    ASSERT_TRUE(laptop.Stop());
    EXPECT_TRUE(laptop.Service().WaitForWorkItems(0));
    ASSERT_TRUE(laptop.PowerOff());
}

}  // namespace
