#include "SimulationState.h"

#include <atomic>
#include <cwctype>
#include <utility>

namespace sim {

namespace {

// The state is machine-wide and shared with 64-bit tools (`reg query`).
constexpr REGSAM kView = KEY_WOW64_64KEY;
constexpr const wchar_t* kParentKey = L"SOFTWARE";
// The longest text value read; longer data is nonsense for this key.
constexpr DWORD kMaxTextChars = 256;

// sim_state stays free of the product's libraries (so any DLL or tool of the
// simulation links it without the platform seam): its own small key owner.
class Key {
public:
    Key() = default;
    ~Key()
    {
        if (m_key != nullptr)
            RegCloseKey(m_key);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    HKEY get() const { return m_key; }
    HKEY* put() { return &m_key; }
    explicit operator bool() const { return m_key != nullptr; }
    void reset()
    {
        if (m_key != nullptr)
            RegCloseKey(std::exchange(m_key, nullptr));
    }

private:
    HKEY m_key = nullptr;
};

bool OpenState(REGSAM access, Key& key, const wchar_t* path = kStateKey)
{
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, access | kView, key.put()) == ERROR_SUCCESS;
}

bool CreateState(Key& key, const wchar_t* path = kStateKey)
{
    return RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, REG_OPTION_NON_VOLATILE,
                           KEY_QUERY_VALUE | KEY_SET_VALUE | kView, nullptr, key.put(), nullptr) == ERROR_SUCCESS;
}

std::optional<std::wstring> ReadText(const wchar_t* name)
{
    Key key;
    if (!OpenState(KEY_QUERY_VALUE, key))
        return std::nullopt;
    wchar_t buffer[kMaxTextChars + 1] = {};
    DWORD type = 0;
    DWORD size = kMaxTextChars * sizeof(wchar_t);
    if (RegQueryValueExW(key.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) != ERROR_SUCCESS ||
        type != REG_SZ)
        return std::nullopt;
    std::wstring text(buffer, size / sizeof(wchar_t));
    // The stored terminator, if any, is not part of the text.
    while (!text.empty() && text.back() == L'\0')
        text.pop_back();
    return text;
}

std::optional<DWORD> ReadNumber(const wchar_t* name, const wchar_t* path = kStateKey)
{
    Key key;
    if (!OpenState(KEY_QUERY_VALUE, key, path))
        return std::nullopt;
    DWORD value = 0;
    DWORD type = 0;
    DWORD size = sizeof(value);
    if (RegQueryValueExW(key.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) != ERROR_SUCCESS ||
        type != REG_DWORD || size != sizeof(value))
        return std::nullopt;
    return value;
}

bool WriteText(const wchar_t* name, const std::wstring& text)
{
    if (ReadText(name) == text)
        return true;
    Key key;
    if (!CreateState(key))
        return false;
    const DWORD size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    return RegSetValueExW(key.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), size) ==
           ERROR_SUCCESS;
}

bool WriteNumber(const wchar_t* name, DWORD value, const wchar_t* path = kStateKey)
{
    if (ReadNumber(name, path) == value)
        return true;
    Key key;
    if (!CreateState(key, path))
        return false;
    return RegSetValueExW(key.get(), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value)) ==
           ERROR_SUCCESS;
}

bool SameLetters(const std::wstring& text, const wchar_t* expected)
{
    size_t index = 0;
    for (; expected[index] != L'\0'; ++index) {
        if (index >= text.size() || std::towlower(text[index]) != expected[index])
            return false;
    }
    return index == text.size();
}

Radio ReadRadio(const wchar_t* name)
{
    const std::optional<std::wstring> text = ReadText(name);
    if (!text)
        return Radio::Unknown;
    if (SameLetters(*text, L"on"))
        return Radio::On;
    if (SameLetters(*text, L"off"))
        return Radio::Off;
    return Radio::Unknown;
}

bool WriteRadio(const wchar_t* name, Radio radio)
{
    if (radio == Radio::Unknown)
        return false;
    return WriteText(name, RadioText(radio));
}

const wchar_t* FirmwareValueName(FirmwareSetting setting)
{
    return setting == FirmwareSetting::LanWlanSwitching ? kFirmwareLanWlanValue : kFirmwareLanWwanValue;
}

}  // namespace

Radio ReadWifiRadio() { return ReadRadio(kWifiRadioValue); }
Radio ReadMobileBroadbandRadio() { return ReadRadio(kMobileBroadbandRadioValue); }
bool WriteWifiRadio(Radio radio) { return WriteRadio(kWifiRadioValue, radio); }
bool WriteMobileBroadbandRadio(Radio radio) { return WriteRadio(kMobileBroadbandRadioValue, radio); }

std::optional<bool> ReadModemPresent()
{
    const std::optional<DWORD> value = ReadNumber(kModemPresentValue);
    if (!value || *value > 1)
        return std::nullopt;
    return *value == 1;
}

bool WriteModemPresent(bool present) { return WriteNumber(kModemPresentValue, present ? 1 : 0); }

std::optional<std::wstring> ReadFirmwareSetting(FirmwareSetting setting)
{
    return ReadText(FirmwareValueName(setting));
}

bool WriteFirmwareSetting(FirmwareSetting setting, const std::wstring& value)
{
    return WriteText(FirmwareValueName(setting), value);
}

bool FirmwareAllows(const std::wstring& value) { return value.empty() || value[0] != L'*'; }

const wchar_t* RadioText(Radio radio)
{
    switch (radio) {
    case Radio::On: return L"on";
    case Radio::Off: return L"off";
    default: return L"unknown";
    }
}

std::optional<DWORD> ReadCounter(const wchar_t* name, const wchar_t* key) { return ReadNumber(name, key); }

bool WriteCounter(const wchar_t* name, DWORD value, const wchar_t* key) { return WriteNumber(name, value, key); }

bool DeleteState()
{
    // The key goes with everything in it.
    const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, kStateKey);
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

// What the watching thread uses: it may outlive a StateWatcher whose Stop()
// timed out, so it holds its own reference.
struct StateWatcher::Shared {
    std::function<void(StateWatcher::Change)> onChange;
    HANDLE stop = nullptr;   // manual reset, set by Stop()
    HANDLE ready = nullptr;  // set once the first watch is armed or failed
    std::atomic<bool> armed{false};
    std::atomic<unsigned> passes{0};

    ~Shared()
    {
        if (stop != nullptr)
            CloseHandle(stop);
        if (ready != nullptr)
            CloseHandle(ready);
    }

    void Run();
};

namespace {

DWORD WINAPI WatchThread(void* parameter)
{
    std::shared_ptr<StateWatcher::Shared> shared(
        std::move(*static_cast<std::shared_ptr<StateWatcher::Shared>*>(parameter)));
    delete static_cast<std::shared_ptr<StateWatcher::Shared>*>(parameter);
    shared->Run();
    return 0;
}

// Arms `event` for the next change of `key`'s values (the state key) or of
// its subkeys (the parent).
bool Arm(HKEY key, HANDLE event, DWORD filter)
{
    return RegNotifyChangeKeyValue(key, FALSE, filter, event, TRUE) == ERROR_SUCCESS;
}

constexpr DWORD kValuesChange = REG_NOTIFY_CHANGE_LAST_SET;
constexpr DWORD kSubkeysChange = REG_NOTIFY_CHANGE_NAME;

bool ArmState(Key& state, HANDLE event)
{
    state.reset();
    if (!OpenState(KEY_NOTIFY, state))
        return false;
    if (Arm(state.get(), event, kValuesChange))
        return true;
    state.reset();
    return false;
}

}  // namespace

// Two watches: the state key's values, and SOFTWARE's subkeys for the key
// coming and going. Wine (8.0) does not signal a watched key's own watch
// when the key is deleted, and a deleted key's handle refuses a new watch
// and queries with ERROR_KEY_DELETED; the parent's watch is signalled when
// a subkey is created or deleted.
void StateWatcher::Shared::Run()
{
    // Auto-reset: one signal, one pass.
    HANDLE stateChanged = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE parentChanged = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    Key parent;
    Key state;
    const bool parentArmed =
        stateChanged != nullptr && parentChanged != nullptr &&
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, kParentKey, 0, KEY_NOTIFY | kView, parent.put()) == ERROR_SUCCESS &&
        Arm(parent.get(), parentChanged, kSubkeysChange);
    if (parentArmed)
        ArmState(state, stateChanged);
    armed = parentArmed;
    SetEvent(ready);

    // Every watch is re-armed before the pass it causes, so a change made
    // while the callback runs starts another pass.
    HANDLE waits[] = {stop, stateChanged, parentChanged};
    while (parentArmed) {
        const DWORD which = WaitForMultipleObjects(3, waits, FALSE, INFINITE);
        Change change = Change::Values;
        if (which == WAIT_OBJECT_0 + 1) {
            // A value changed, or the key's watch ended with the key.
            if (!state || !Arm(state.get(), stateChanged, kValuesChange)) {
                state.reset();
                change = Change::Key;
            }
        } else if (which == WAIT_OBJECT_0 + 2) {
            if (!Arm(parent.get(), parentChanged, kSubkeysChange))
                break;
            Key probe;
            const bool exists = OpenState(KEY_QUERY_VALUE, probe);
            DWORD values = 0;
            const bool live =
                state && RegQueryInfoKeyW(state.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values,
                                          nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
            const bool had = static_cast<bool>(state);
            if (exists == had && exists == live)
                continue;  // another subkey of SOFTWARE
            // The key came, went, or went and came again.
            if (exists)
                ArmState(state, stateChanged);
            else
                state.reset();
            change = Change::Key;
        } else {
            break;
        }
        ++passes;
        onChange(change);
    }
    if (stateChanged != nullptr)
        CloseHandle(stateChanged);
    if (parentChanged != nullptr)
        CloseHandle(parentChanged);
}

bool WaitForState(const std::function<bool()>& condition, std::chrono::milliseconds bound, const wchar_t* path)
{
    HANDLE changed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const ULONGLONG deadline = GetTickCount64() + static_cast<ULONGLONG>(bound.count());
    Key key;
    bool armed = false;
    bool held = false;
    for (;;) {
        // Armed before the look, so a change made right after the look ends
        // the wait. A watch fires once; a key deleted meanwhile fires none
        // (the regular looks cover it, and the next arm opens the new key).
        if (!armed && changed != nullptr) {
            key.reset();
            armed = OpenState(KEY_NOTIFY, key, path) && Arm(key.get(), changed, kValuesChange);
        }
        held = condition();
        const ULONGLONG now = GetTickCount64();
        if (held || now >= deadline)
            break;
        const ULONGLONG left = deadline - now;
        const auto look = static_cast<ULONGLONG>(kWaitLook.count());
        const DWORD pause = static_cast<DWORD>(left < look ? left : look);
        if (changed == nullptr)
            Sleep(pause);
        else if (WaitForSingleObject(changed, pause) == WAIT_OBJECT_0)
            armed = false;
    }
    key.reset();
    if (changed != nullptr)
        CloseHandle(changed);
    return held;
}

StateWatcher::StateWatcher(std::function<void(Change)> onChange) : m_shared(std::make_shared<Shared>())
{
    m_shared->onChange = std::move(onChange);
    m_shared->stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    m_shared->ready = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (m_shared->stop == nullptr || m_shared->ready == nullptr)
        return;
    auto* parameter = new std::shared_ptr<Shared>(m_shared);
    m_thread = CreateThread(nullptr, 0, &WatchThread, parameter, 0, nullptr);
    if (m_thread == nullptr) {
        delete parameter;
        return;
    }
    // The watch is armed before the constructor returns, so a change made
    // right after it is seen.
    WaitForSingleObject(m_shared->ready, static_cast<DWORD>(kStopBound.count()));
}

StateWatcher::~StateWatcher() { Stop(); }

bool StateWatcher::Armed() const { return m_shared->armed; }

unsigned StateWatcher::Passes() const { return m_shared->passes; }

bool StateWatcher::Stop()
{
    if (m_thread == nullptr)
        return true;
    SetEvent(m_shared->stop);
    const bool ended = WaitForSingleObject(m_thread, static_cast<DWORD>(kStopBound.count())) == WAIT_OBJECT_0;
    CloseHandle(std::exchange(m_thread, nullptr));
    return ended;
}

}  // namespace sim
