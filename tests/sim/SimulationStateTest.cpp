#include "StateGuard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>

namespace simtests {

bool Eventually(const std::function<bool()>& condition, std::chrono::milliseconds bound)
{
    const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(bound.count());
    for (;;) {
        if (condition())
            return true;
        if (GetTickCount64() >= end)
            return false;
        ::Sleep(10);
    }
}

namespace {

using sim::FirmwareSetting;
using sim::Radio;

HKEY CreateKey()
{
    HKEY key = nullptr;
    EXPECT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_LOCAL_MACHINE, sim::kStateKey, 0, nullptr, 0,
                                             KEY_SET_VALUE | KEY_WOW64_64KEY, nullptr, &key, nullptr));
    return key;
}

void SetText(const wchar_t* name, const wchar_t* text, DWORD type = REG_SZ)
{
    HKEY key = CreateKey();
    RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(text),
                   static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

void SetNumber(const wchar_t* name, DWORD value)
{
    HKEY key = CreateKey();
    RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
    RegCloseKey(key);
}

bool KeyExists()
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, sim::kStateKey, 0, KEY_READ | KEY_WOW64_64KEY, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

TEST(SimulationState, AMissingKeyReadsAsUnknown)
{
    StateGuard guard;
    EXPECT_EQ(Radio::Unknown, sim::ReadWifiRadio());
    EXPECT_EQ(Radio::Unknown, sim::ReadMobileBroadbandRadio());
    EXPECT_FALSE(sim::ReadModemPresent().has_value());
    EXPECT_FALSE(sim::ReadFirmwareSetting(FirmwareSetting::LanWlanSwitching).has_value());
    EXPECT_FALSE(sim::ReadFirmwareSetting(FirmwareSetting::LanWwanSwitching).has_value());
    EXPECT_FALSE(KeyExists());
}

TEST(SimulationState, MissingValuesReadAsUnknown)
{
    StateGuard guard;
    SetText(L"Other", L"on");
    EXPECT_EQ(Radio::Unknown, sim::ReadWifiRadio());
    EXPECT_EQ(Radio::Unknown, sim::ReadMobileBroadbandRadio());
    EXPECT_FALSE(sim::ReadModemPresent().has_value());
    EXPECT_FALSE(sim::ReadFirmwareSetting(FirmwareSetting::LanWlanSwitching).has_value());
}

TEST(SimulationState, RadioTextsInAnyLetterCase)
{
    StateGuard guard;
    SetText(sim::kWifiRadioValue, L"ON");
    SetText(sim::kMobileBroadbandRadioValue, L"Off");
    EXPECT_EQ(Radio::On, sim::ReadWifiRadio());
    EXPECT_EQ(Radio::Off, sim::ReadMobileBroadbandRadio());
}

TEST(SimulationState, NonsenseRadioValuesReadAsUnknown)
{
    StateGuard guard;
    for (const wchar_t* text : {L"", L"maybe", L"onn", L"of", L" on", L"1"}) {
        SetText(sim::kWifiRadioValue, text);
        EXPECT_EQ(Radio::Unknown, sim::ReadWifiRadio()) << "\"" << testing::PrintToString(std::wstring(text)) << "\"";
    }
    SetNumber(sim::kMobileBroadbandRadioValue, 1);
    EXPECT_EQ(Radio::Unknown, sim::ReadMobileBroadbandRadio());
    SetText(sim::kMobileBroadbandRadioValue, L"on", REG_EXPAND_SZ);
    EXPECT_EQ(Radio::Unknown, sim::ReadMobileBroadbandRadio());
}

TEST(SimulationState, ModemPresentIsOneOrZero)
{
    StateGuard guard;
    SetNumber(sim::kModemPresentValue, 1);
    EXPECT_EQ(std::optional<bool>(true), sim::ReadModemPresent());
    SetNumber(sim::kModemPresentValue, 0);
    EXPECT_EQ(std::optional<bool>(false), sim::ReadModemPresent());
    SetNumber(sim::kModemPresentValue, 2);
    EXPECT_FALSE(sim::ReadModemPresent().has_value());
    SetText(sim::kModemPresentValue, L"1");
    EXPECT_FALSE(sim::ReadModemPresent().has_value());
}

TEST(SimulationState, FirmwareSettingsReadAsStored)
{
    StateGuard guard;
    SetText(sim::kFirmwareLanWlanValue, L"*Disable");
    SetText(sim::kFirmwareLanWwanValue, L"Enable");
    EXPECT_EQ(std::optional<std::wstring>(L"*Disable"), sim::ReadFirmwareSetting(FirmwareSetting::LanWlanSwitching));
    EXPECT_EQ(std::optional<std::wstring>(L"Enable"), sim::ReadFirmwareSetting(FirmwareSetting::LanWwanSwitching));
    SetNumber(sim::kFirmwareLanWwanValue, 1);
    EXPECT_FALSE(sim::ReadFirmwareSetting(FirmwareSetting::LanWwanSwitching).has_value());
}

TEST(SimulationState, FirmwareForbidsWithAStar)
{
    EXPECT_TRUE(sim::FirmwareAllows(L"Enable"));
    EXPECT_TRUE(sim::FirmwareAllows(L""));
    EXPECT_FALSE(sim::FirmwareAllows(L"*Disable"));
    EXPECT_FALSE(sim::FirmwareAllows(L"*Enable"));
}

TEST(SimulationState, WritesCreateTheKeyAndReadBack)
{
    StateGuard guard;
    EXPECT_TRUE(sim::WriteWifiRadio(Radio::Off));
    EXPECT_TRUE(sim::WriteMobileBroadbandRadio(Radio::On));
    EXPECT_TRUE(sim::WriteModemPresent(true));
    EXPECT_TRUE(sim::WriteFirmwareSetting(FirmwareSetting::LanWlanSwitching, L"Enable"));
    EXPECT_TRUE(sim::WriteFirmwareSetting(FirmwareSetting::LanWwanSwitching, L"*Disable"));
    EXPECT_EQ(Radio::Off, sim::ReadWifiRadio());
    EXPECT_EQ(Radio::On, sim::ReadMobileBroadbandRadio());
    EXPECT_EQ(std::optional<bool>(true), sim::ReadModemPresent());
    EXPECT_EQ(std::optional<std::wstring>(L"Enable"), sim::ReadFirmwareSetting(FirmwareSetting::LanWlanSwitching));
    EXPECT_EQ(std::optional<std::wstring>(L"*Disable"), sim::ReadFirmwareSetting(FirmwareSetting::LanWwanSwitching));
    EXPECT_TRUE(sim::WriteModemPresent(false));
    EXPECT_EQ(std::optional<bool>(false), sim::ReadModemPresent());
}

TEST(SimulationState, AnUnknownRadioIsNotWritten)
{
    StateGuard guard;
    EXPECT_FALSE(sim::WriteWifiRadio(Radio::Unknown));
    EXPECT_FALSE(KeyExists());
}

TEST(SimulationState, DeleteStateRemovesTheKeyAndAcceptsNone)
{
    StateGuard guard;
    sim::WriteWifiRadio(Radio::On);
    EXPECT_TRUE(sim::DeleteState());
    EXPECT_FALSE(KeyExists());
    EXPECT_TRUE(sim::DeleteState());
}

TEST(SimulationState, CountersAreNumbersAndReadBack)
{
    StateGuard guard;
    EXPECT_FALSE(sim::ReadCounter(sim::kWireChangeValue).has_value());
    EXPECT_TRUE(sim::WriteCounter(sim::kWireChangeValue, 7));
    EXPECT_EQ(std::optional<DWORD>(7), sim::ReadCounter(sim::kWireChangeValue));
    // The network list's subkey, made by the write.
    EXPECT_TRUE(sim::WriteCounter(sim::kNetworkEventsHandledValue, 0, sim::kNetworkListKey));
    EXPECT_EQ(std::optional<DWORD>(0), sim::ReadCounter(sim::kNetworkEventsHandledValue, sim::kNetworkListKey));
    EXPECT_FALSE(sim::ReadCounter(sim::kNetworkEventsHandledValue).has_value());
    // Another type is no counter.
    SetText(sim::kWireChangeValue, L"7");
    EXPECT_FALSE(sim::ReadCounter(sim::kWireChangeValue).has_value());
    // The subkey goes with the key.
    ASSERT_TRUE(sim::DeleteState());
    EXPECT_FALSE(sim::ReadCounter(sim::kNetworkEventsHandledValue, sim::kNetworkListKey).has_value());
}

TEST(SimulationState, WaitForStateReturnsOnceTheConditionHolds)
{
    StateGuard guard;
    sim::WriteCounter(sim::kWireChangeValue, 1);
    HANDLE writer = CreateThread(
        nullptr, 0,
        [](void*) -> DWORD {
            ::Sleep(150);
            sim::WriteCounter(sim::kWireChangeValue, 2);
            return 0;
        },
        nullptr, 0, nullptr);
    ASSERT_NE(nullptr, writer);
    const ULONGLONG start = GetTickCount64();
    // The condition reads the writer's value: true means it came. (The
    // writer may not have returned yet when the wait sees it.)
    EXPECT_TRUE(sim::WaitForState([] { return sim::ReadCounter(sim::kWireChangeValue) == DWORD{2}; },
                                  std::chrono::milliseconds(5000)));
    EXPECT_LT(GetTickCount64() - start, 5000u);
    EXPECT_EQ(WaitForSingleObject(writer, 5000), WAIT_OBJECT_0);
    CloseHandle(writer);
}

TEST(SimulationState, WaitForStateFollowsAKeyThatComesLater)
{
    StateGuard guard;
    HANDLE writer = CreateThread(
        nullptr, 0,
        [](void*) -> DWORD {
            ::Sleep(150);
            sim::WriteCounter(sim::kWireChangeSeenValue, 3, sim::kNetworkListKey);
            return 0;
        },
        nullptr, 0, nullptr);
    ASSERT_NE(nullptr, writer);
    EXPECT_TRUE(
        sim::WaitForState([] { return sim::ReadCounter(sim::kWireChangeSeenValue, sim::kNetworkListKey) == DWORD{3}; },
                          std::chrono::milliseconds(5000), sim::kNetworkListKey));
    WaitForSingleObject(writer, 5000);
    CloseHandle(writer);
}

TEST(SimulationState, WaitForStateGivesUpAtTheBound)
{
    StateGuard guard;
    int looks = 0;
    const ULONGLONG start = GetTickCount64();
    EXPECT_FALSE(sim::WaitForState(
        [&looks] {
            ++looks;
            return false;
        },
        std::chrono::milliseconds(300)));
    const ULONGLONG took = GetTickCount64() - start;
    EXPECT_GE(took, 290u);
    EXPECT_LT(took, 3000u);
    // Asked at once and at least every kWaitLook meanwhile, not in a busy loop.
    EXPECT_GE(looks, 3);
    EXPECT_LE(looks, 300 / static_cast<int>(sim::kWaitLook.count()) * 3 + 3);
}

TEST(SimulationState, RadioTexts)
{
    EXPECT_STREQ(L"on", sim::RadioText(Radio::On));
    EXPECT_STREQ(L"off", sim::RadioText(Radio::Off));
    EXPECT_STREQ(L"unknown", sim::RadioText(Radio::Unknown));
}

// What a watcher's callbacks saw.
struct Seen {
    std::mutex lock;
    std::set<DWORD> threads;
    std::vector<Radio> wifi;
    std::vector<sim::StateWatcher::Change> changes;

    void Pass(sim::StateWatcher::Change change)
    {
        std::lock_guard<std::mutex> hold(lock);
        threads.insert(GetCurrentThreadId());
        wifi.push_back(sim::ReadWifiRadio());
        changes.push_back(change);
    }
    size_t Passes()
    {
        std::lock_guard<std::mutex> hold(lock);
        return changes.size();
    }
    // Some pass after the first `from` reported `change`.
    bool ReportedSince(size_t from, sim::StateWatcher::Change change)
    {
        std::lock_guard<std::mutex> hold(lock);
        for (size_t pass = from; pass < changes.size(); ++pass)
            if (changes[pass] == change)
                return true;
        return false;
    }
    bool SawWifi(Radio radio)
    {
        std::lock_guard<std::mutex> hold(lock);
        return !wifi.empty() && wifi.back() == radio;
    }
};

TEST(StateWatcher, RunsTheCallbackOnItsOwnThreadForEachChange)
{
    StateGuard guard;
    sim::WriteWifiRadio(Radio::On);
    Seen seen;
    sim::StateWatcher watcher([&](sim::StateWatcher::Change change) { seen.Pass(change); });
    ASSERT_TRUE(watcher.Armed());
    EXPECT_EQ(0u, watcher.Passes());

    sim::WriteWifiRadio(Radio::Off);
    ASSERT_TRUE(Eventually([&] { return seen.SawWifi(Radio::Off); }));
    sim::WriteWifiRadio(Radio::On);
    ASSERT_TRUE(Eventually([&] { return seen.SawWifi(Radio::On); }));
    sim::WriteModemPresent(true);
    ASSERT_TRUE(Eventually([&] { return watcher.Passes() >= 3; }));

    EXPECT_TRUE(watcher.Stop());
    std::lock_guard<std::mutex> hold(seen.lock);
    ASSERT_EQ(1u, seen.threads.size());
    EXPECT_NE(GetCurrentThreadId(), *seen.threads.begin());
}

TEST(StateWatcher, AWriteOfTheStoredValueChangesNothing)
{
    StateGuard guard;
    sim::WriteWifiRadio(Radio::Off);
    std::atomic<int> passes{0};
    sim::StateWatcher watcher([&](sim::StateWatcher::Change) { ++passes; });
    ASSERT_TRUE(watcher.Armed());
    sim::WriteWifiRadio(Radio::Off);
    sim::WriteModemPresent(false);  // a real change after it, to wait for
    ASSERT_TRUE(Eventually([&] { return passes >= 1; }));
    ::Sleep(200);
    EXPECT_EQ(1, passes.load());
}

TEST(StateWatcher, FollowsTheKeyThroughDeletionAndCreation)
{
    StateGuard guard;
    Seen seen;
    // Started without the key: it waits for it to appear.
    sim::StateWatcher watcher([&](sim::StateWatcher::Change change) { seen.Pass(change); });
    ASSERT_TRUE(watcher.Armed());
    EXPECT_FALSE(KeyExists());

    // The key's creation is reported as Key. The value written with it may
    // be read in that pass or, when the watcher opened the key between the
    // creation and the write, in a Values pass of its own.
    using Change = sim::StateWatcher::Change;
    sim::WriteWifiRadio(Radio::Off);
    ASSERT_TRUE(Eventually([&] { return seen.SawWifi(Radio::Off); }));
    EXPECT_TRUE(seen.ReportedSince(0, Change::Key));
    sim::WriteWifiRadio(Radio::On);
    ASSERT_TRUE(Eventually([&] { return seen.SawWifi(Radio::On); }));

    const size_t beforeDeletion = seen.Passes();
    ASSERT_TRUE(sim::DeleteState());
    ASSERT_TRUE(Eventually([&] { return seen.SawWifi(Radio::Unknown); }));
    EXPECT_TRUE(seen.ReportedSince(beforeDeletion, Change::Key));

    // The key made again: the watcher follows it to the new key (the value's
    // own pass may come after the creation's, so the last change may be
    // either kind).
    sim::WriteWifiRadio(Radio::Off);
    ASSERT_TRUE(Eventually([&] { return seen.SawWifi(Radio::Off); }));
    sim::WriteWifiRadio(Radio::On);
    ASSERT_TRUE(Eventually([&] { return seen.SawWifi(Radio::On); }));
    EXPECT_TRUE(watcher.Stop());
}

TEST(StateWatcher, TheNetworkListsSubkeyWakesNoWatcher)
{
    StateGuard guard;
    sim::WriteWifiRadio(Radio::On);
    std::atomic<int> passes{0};
    sim::StateWatcher watcher([&](sim::StateWatcher::Change) { ++passes; });
    ASSERT_TRUE(watcher.Armed());
    for (DWORD count = 1; count <= 3; ++count)
        ASSERT_TRUE(sim::WriteCounter(sim::kNetworkEventsHandledValue, count, sim::kNetworkListKey));
    sim::WriteModemPresent(false);  // a change of the key itself, to wait for
    ASSERT_TRUE(Eventually([&] { return passes >= 1; }));
    ::Sleep(200);
    EXPECT_EQ(1, passes.load());
}

TEST(StateWatcher, StopsWithinTheBound)
{
    StateGuard guard;
    sim::WriteWifiRadio(Radio::On);
    sim::StateWatcher watcher([] {});  // a callback without the change
    ASSERT_TRUE(watcher.Armed());
    const ULONGLONG start = GetTickCount64();
    EXPECT_TRUE(watcher.Stop());
    EXPECT_LT(GetTickCount64() - start, static_cast<ULONGLONG>(sim::StateWatcher::kStopBound.count()));
    EXPECT_TRUE(watcher.Stop());  // a second stop is a no-op
}

TEST(StateWatcher, AHungCallbackIsLeftAfterTheBound)
{
    StateGuard guard;
    sim::WriteWifiRadio(Radio::On);
    HANDLE release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::atomic<bool> entered{false};
    {
        sim::StateWatcher watcher([&](sim::StateWatcher::Change) {
            entered = true;
            WaitForSingleObject(release, 20000);
        });
        sim::WriteWifiRadio(Radio::Off);
        ASSERT_TRUE(Eventually([&] { return entered.load(); }));
        const ULONGLONG start = GetTickCount64();
        EXPECT_FALSE(watcher.Stop());
        EXPECT_GE(GetTickCount64() - start, static_cast<ULONGLONG>(sim::StateWatcher::kStopBound.count()) - 100);
    }
    // The left thread still ends on its own once its callback returns.
    SetEvent(release);
    ::Sleep(100);
    CloseHandle(release);
}

}  // namespace
}  // namespace simtests
