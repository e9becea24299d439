// Machine state the radio tests change in the real registry, kept and put
// back for the life of an object:
// ScopedAirplaneMode saves the system's radio-state key (its values; it has
// no subkeys) and restores it, or removes it and its parent if they were not
// there; Set writes airplane mode on or off as the system does (the default
// value, a DWORD).
// ScopedPowerStatus removes the persisted radio power status before and
// after, so each test starts without a stored value.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace fakes {

class ScopedAirplaneMode {
public:
    ScopedAirplaneMode();
    ~ScopedAirplaneMode();
    ScopedAirplaneMode(const ScopedAirplaneMode&) = delete;
    ScopedAirplaneMode& operator=(const ScopedAirplaneMode&) = delete;

    void Set(bool on);
    // The key without any value, or not there at all.
    void Remove();

private:
    struct SavedValue {
        std::wstring name;
        DWORD type;
        std::vector<BYTE> data;
    };
    bool m_existed = false;
    bool m_parentExisted = false;
    std::vector<SavedValue> m_saved;
};

class ScopedPowerStatus {
public:
    ScopedPowerStatus() { Clean(); }
    ~ScopedPowerStatus() { Clean(); }
    ScopedPowerStatus(const ScopedPowerStatus&) = delete;
    ScopedPowerStatus& operator=(const ScopedPowerStatus&) = delete;

    // "PowerOnOff" of the key, or "<missing>".
    static std::wstring Stored(const wchar_t* key);
    static void Store(const wchar_t* key, const wchar_t* text);

private:
    static void Clean();
};

}  // namespace fakes
