// Shared texts and the environment of the firmware-settings tests: a
// recording log, virtual time, counted COM initialisation and the firmware's
// WMI provider, all writing into one journal of calls.
#pragma once

#include "bios/BiosSettings.h"
#include "fakes/ExpectedLines.h"
#include "fakes/FakeComRuntime.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "models/FirmwareWmi.h"
#include "models/Journal.h"
#include "state/SwitchingState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace biostest {

inline constexpr wchar_t kFirstClass[] = L"QXBIOS_BIOSEnumeration";
inline constexpr wchar_t kFallbackClass[] = L"QX_BIOSSetting";
inline constexpr wchar_t kWlan[] = L"LAN / WLAN Auto Switching";
inline constexpr wchar_t kWlanOlder[] = L"LAN/WLAN Switching";
inline constexpr wchar_t kWwan[] = L"LAN / WWAN Auto Switching";
inline constexpr wchar_t kFirstQuery[]
    = L"SELECT * FROM QXBIOS_BIOSEnumeration WHERE Name='LAN / WLAN Auto Switching' OR Name='LAN / WWAN Auto "
      L"Switching' OR Name='LAN/WLAN Switching'";
inline constexpr wchar_t kFallbackQuery[]
    = L"SELECT * FROM QX_BIOSSetting WHERE Name='LAN / WLAN Auto Switching' OR Name='LAN / WWAN Auto Switching' OR "
      L"Name='LAN/WLAN Switching'";
// The read that both the read's tests and the settings' tests look into.
inline constexpr char kRead[] = "NLMUtils::ReadNetworkSwitchingStatus";
inline constexpr fakes::FunctionLines ReadLine{kRead};

class BiosTest : public testing::Test {
protected:
    BiosTest()
    {
        // Stale values from an earlier read must not survive a new one.
        LanWlanSwitchingEnabled = true;
        LanWwanSwitchingEnabled = true;
    }
    ~BiosTest() override
    {
        LanWlanSwitchingEnabled = false;
        LanWwanSwitchingEnabled = false;
    }

    void Add(const std::wstring& className, const std::wstring& name, const std::wstring& value)
    {
        m_wmi.AddSetting({className, name, value});
    }
    std::vector<std::wstring> Lines(const char* function) const { return m_log.LinesOf(function); }

    fakes::Journal m_journal;
    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    fakes::FakeComRuntime m_com{&m_journal};
    fakes::FirmwareWmi m_wmi{{}, &m_journal};
    NLMUtils::SettingMap m_settings;
};

} // namespace biostest
