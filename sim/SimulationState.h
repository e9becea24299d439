// SimulationState: the simulated laptop's state as the controller script and
// the simulation's DLLs share it, under one registry key of the Wine prefix
// (HKLM\SOFTWARE\Tessarine Simulation, 64-bit view), so that `reg query`
// shows it:
//
//   WifiRadio                 REG_SZ     "on" | "off"  the Wi-Fi adapter's software radio (all PHYs)
//   MobileBroadbandRadio      REG_SZ     "on" | "off"  the modem's software radio
//   ModemPresent              REG_DWORD  1 | 0
//   FirmwareLanWlanSwitching  REG_SZ     the firmware setting's value as its WMI provider
//   FirmwareLanWwanSwitching  REG_SZ     gives it: "Enable" allows, "*Disable" forbids
//
//   WireChange                REG_DWORD  raised by the controller each time it
//                                        has finished a change of the wires (a
//                                        plug with its address, a pull): the
//                                        simulated network list then reads the
//                                        adapters once and announces what changed
//
// and, in its subkey "Network List", what the simulated network list tells
// whoever waits for it (REG_DWORD; a key of its own, so that these writes
// wake none of the watchers of the state key in the service's process):
//
//   Process                   the id of the process whose network list wrote
//                             the values below
//   WireChangeSeen            the last WireChange it acted on
//   EventsDelivered           connectivity events it has given to the
//                             service since it was made
//   EventsHandled             of those, the ones whose sinks have returned
//                             (equal: the service is not handling any)
//
// Reads never fail: what is missing or makes no sense reads as "unknown"
// (Radio::Unknown, an empty optional), and the caller decides what that
// means. Writes create the key when needed and leave data that is already
// stored untouched, so a write of the same value changes nothing and wakes
// no watcher (Wine notifies only changed data anyway).
//
// Plain C++ without a test framework: the DLLs, the tests and any tool link
// it. The free functions are safe from any thread; StateWatcher runs its
// callback on a thread of its own.
#pragma once

#include <windows.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <memory>

namespace sim {

// The key, under HKEY_LOCAL_MACHINE, always in the 64-bit view.
inline constexpr const wchar_t* kStateKey = L"SOFTWARE\\Tessarine Simulation";

inline constexpr const wchar_t* kWifiRadioValue = L"WifiRadio";
inline constexpr const wchar_t* kMobileBroadbandRadioValue = L"MobileBroadbandRadio";
inline constexpr const wchar_t* kModemPresentValue = L"ModemPresent";
inline constexpr const wchar_t* kFirmwareLanWlanValue = L"FirmwareLanWlanSwitching";
inline constexpr const wchar_t* kFirmwareLanWwanValue = L"FirmwareLanWwanSwitching";
inline constexpr const wchar_t* kWireChangeValue = L"WireChange";

inline constexpr const wchar_t* kNetworkListKey = L"SOFTWARE\\Tessarine Simulation\\Network List";
inline constexpr const wchar_t* kNetworkListProcessValue = L"Process";
inline constexpr const wchar_t* kWireChangeSeenValue = L"WireChangeSeen";
inline constexpr const wchar_t* kNetworkEventsDeliveredValue = L"EventsDelivered";
inline constexpr const wchar_t* kNetworkEventsHandledValue = L"EventsHandled";

enum class Radio { Unknown, On, Off };

enum class FirmwareSetting { LanWlanSwitching, LanWwanSwitching };

// "on" / "off" in any letter case; anything else (another text, another
// type, a missing value or key) is Unknown.
Radio ReadWifiRadio();
Radio ReadMobileBroadbandRadio();
// Writes "on" or "off"; Unknown is refused (false).
bool WriteWifiRadio(Radio radio);
bool WriteMobileBroadbandRadio(Radio radio);

// A DWORD 1 is present, 0 absent; any other number, another type or a
// missing value is unknown (empty).
std::optional<bool> ReadModemPresent();
bool WriteModemPresent(bool present);

// The stored text as it is (empty optional: missing, or not a REG_SZ).
std::optional<std::wstring> ReadFirmwareSetting(FirmwareSetting setting);
bool WriteFirmwareSetting(FirmwareSetting setting, const std::wstring& value);
// The firmware's own rule: a value starting with '*' forbids, any other
// value allows.
bool FirmwareAllows(const std::wstring& value);

const wchar_t* RadioText(Radio radio);  // "on", "off", "unknown"

// A counter (one of the k...Value names above) of the state key or of the
// network list's subkey: a REG_DWORD; anything else, or a missing value, is
// unknown (empty). A write creates the key when needed.
std::optional<DWORD> ReadCounter(const wchar_t* name, const wchar_t* key = kStateKey);
bool WriteCounter(const wchar_t* name, DWORD value, const wchar_t* key = kStateKey);

// Whether `condition` holds within `bound`: asked at once, again whenever a
// value of `key` changes, and at least every kWaitLook meanwhile (a key that
// is created or deleted notifies no watch of its own).
inline constexpr std::chrono::milliseconds kWaitLook{100};
bool WaitForState(const std::function<bool()>& condition, std::chrono::milliseconds bound,
                  const wchar_t* key = kStateKey);

// Deletes the whole key (true also when there was none).
bool DeleteState();

// Runs `onChange` on a thread of its own whenever a value of the key
// changes, the key is created or the key is deleted (it watches the key's
// values and SOFTWARE's subkeys; it never creates the key itself). Each
// watch is re-armed before the callback it causes, so a change made while
// the callback runs starts one more pass: the callback should read the state
// it needs rather than count passes.
class StateWatcher {
public:
    // What a pass is for: a value of the key changed, or the key itself came,
    // went or was replaced (all its values may be new, even ones equal to
    // what was read before).
    enum class Change { Values, Key };

    // How long Stop() waits for the thread at most.
    static constexpr std::chrono::milliseconds kStopBound{5000};

    explicit StateWatcher(std::function<void(Change)> onChange);
    // For a callback that reads everything it needs on every pass.
    explicit StateWatcher(std::function<void()> onChange)
        : StateWatcher(std::function<void(Change)>([onChange = std::move(onChange)](Change) { onChange(); }))
    {
    }
    // Stops the watch (Stop()).
    ~StateWatcher();
    StateWatcher(const StateWatcher&) = delete;
    StateWatcher& operator=(const StateWatcher&) = delete;

    // Whether the first watch was armed (false: the thread could not start
    // or could not watch the registry).
    bool Armed() const;
    // Ends the thread; a callback still running is waited for within
    // kStopBound, after which the thread is left to end on its own (it
    // keeps what it uses alive). Returns whether the thread ended in time.
    bool Stop();
    // The number of callbacks run so far.
    unsigned Passes() const;

    // What the watching thread shares with the watcher (it may outlive it).
    struct Shared;

private:
    std::shared_ptr<Shared> m_shared;
    // Kept raw: closed by Stop(), whether the thread ended or not.
    HANDLE m_thread = nullptr;
};

}  // namespace sim
