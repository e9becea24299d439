// The readings from the registry: the connection manager policy, the Wi-Fi
// drivers' settings on wired links, the logging policy as a program of the
// product reads it, and the stored choices. Against the real registry, under
// keys the tests make and remove.
#include "status/Readings.h"

#include "fakes/LoggingPolicy.h"
#include "fakes/MachineState.h"
#include "platform/UniqueHandle.h"
#include "state/RegistryPaths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

namespace {

using fakes::LoggingPolicy;
using testing::ElementsAre;
using testing::IsEmpty;
using Key = LoggingPolicy::Key;

constexpr wchar_t kTestRoot[] = L"Software\\TessarineDiagTests";

// A tree of the test's own under HKCU, removed at the end.
class TestKeys {
public:
    TestKeys() { RegDeleteTreeW(HKEY_CURRENT_USER, kTestRoot); }
    ~TestKeys() { RegDeleteTreeW(HKEY_CURRENT_USER, kTestRoot); }

    static std::wstring Path(const std::wstring& below) { return std::wstring(kTestRoot) + L"\\" + below; }

    void Text(const std::wstring& key, const wchar_t* name, const std::wstring& text, DWORD type = REG_SZ)
    {
        Set(key, name, type, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
    void Number(const std::wstring& key, const wchar_t* name, DWORD number)
    {
        Set(key, name, REG_DWORD, &number, sizeof(number));
    }
    void Set(const std::wstring& key, const wchar_t* name, DWORD type, const void* data, DWORD size)
    {
        if (RegSetKeyValueW(HKEY_CURRENT_USER, Path(key).c_str(), name, type, data, size) != ERROR_SUCCESS)
            throw std::runtime_error("cannot write the test key");
    }
};

// ---- the connection manager policy -------------------------------------------

TEST(ReadConnectionManagerPolicy, NotSet)
{
    TestKeys keys;
    const auto policy = diag::ReadConnectionManagerPolicy(HKEY_CURRENT_USER, TestKeys::Path(L"WcmSvc"));
    EXPECT_EQ(policy.key, TestKeys::Path(L"WcmSvc"));
    EXPECT_FALSE(policy.keyFound);
    EXPECT_THAT(policy.values, IsEmpty());
}

TEST(ReadConnectionManagerPolicy, EveryValueWithItsTypeAndData)
{
    TestKeys keys;
    keys.Number(L"WcmSvc", L"fMinimizeConnections", 3);
    keys.Text(L"WcmSvc", L"Comment", L"set by IT");
    const BYTE bytes[] = {0x01, 0xab};
    keys.Set(L"WcmSvc", L"Odd", REG_BINARY, bytes, sizeof(bytes));
    const auto policy = diag::ReadConnectionManagerPolicy(HKEY_CURRENT_USER, TestKeys::Path(L"WcmSvc"));
    EXPECT_TRUE(policy.keyFound);
    ASSERT_EQ(policy.values.size(), 3u);
    std::map<std::wstring, diag::RegistryValue> byName;
    for (const diag::RegistryValue& value : policy.values)
        byName[value.name] = value;
    const diag::RegistryValue& minimize = byName[L"fMinimizeConnections"];
    EXPECT_EQ(minimize.type, static_cast<DWORD>(REG_DWORD));
    EXPECT_TRUE(minimize.isNumber);
    EXPECT_EQ(minimize.number, 3u);
    EXPECT_EQ(minimize.data, L"3");
    EXPECT_EQ(byName[L"Comment"].data, L"set by IT");
    EXPECT_FALSE(byName[L"Comment"].isNumber);
    EXPECT_EQ(byName[L"Odd"].type, static_cast<DWORD>(REG_BINARY));
    EXPECT_EQ(byName[L"Odd"].data, L"01 ab");
}

TEST(ReadConnectionManagerPolicy, TheMachineKeyIsTheGroupPolicyOne)
{
    EXPECT_STREQ(diag::kConnectionManagerPolicyKey, L"Software\\Policies\\Microsoft\\Windows\\WcmSvc\\GroupPolicy");
}

// ---- the Wi-Fi drivers' settings ---------------------------------------------

// One adapter under the class key: its type, name and one setting.
void Adapter(TestKeys& keys, const std::wstring& subkey, DWORD ifType, const std::wstring& keyword,
             const std::wstring& label, const wchar_t* own, const std::wstring& fallback)
{
    const std::wstring adapter = L"Class\\" + subkey;
    keys.Number(adapter, L"*IfType", ifType);
    keys.Text(adapter, L"DriverDesc", L"Adapter " + subkey);
    if (own != nullptr)
        keys.Text(adapter, keyword.c_str(), own);
    const std::wstring param = adapter + L"\\Ndi\\Params\\" + keyword;
    keys.Text(param, L"ParamDesc", label);
    keys.Text(param, L"default", fallback);
    keys.Text(param + L"\\enum", L"0", L"Disabled");
    keys.Text(param + L"\\enum", L"1", L"Enabled");
}

TEST(ReadWifiDriverSettings, OnlyWiFiAdaptersSettingsThatSpeakOfAWire)
{
    TestKeys keys;
    Adapter(keys, L"0000", 71, L"WiredDisable", L"Disable Upon Wired Connect", L"1", L"0");
    Adapter(keys, L"0001", 6, L"WiredDisable", L"Disable Upon Wired Connect", L"1", L"0");  // an Ethernet card
    Adapter(keys, L"0002", 71, L"RoamAggressiveness", L"Roaming Aggressiveness", L"3", L"2");
    Adapter(keys, L"0003", 71, L"LanSwitch", L"Turn off on ETHERNET link", nullptr, L"0");
    keys.Text(L"Class\\Properties", L"Any", L"not an adapter");
    const auto settings = diag::ReadWifiDriverSettings(HKEY_CURRENT_USER, TestKeys::Path(L"Class"));
    ASSERT_EQ(settings.size(), 2u);
    EXPECT_EQ(settings[0].adapterKey, L"0000");
    EXPECT_EQ(settings[0].adapter, L"Adapter 0000");
    EXPECT_EQ(settings[0].keyword, L"WiredDisable");
    EXPECT_EQ(settings[0].label, L"Disable Upon Wired Connect");
    EXPECT_EQ(settings[0].value, L"1");
    EXPECT_EQ(settings[0].valueLabel, L"Enabled");
    EXPECT_TRUE(settings[0].active);
    // Without a value of its own the setting's default is in force.
    EXPECT_EQ(settings[1].adapterKey, L"0003");
    EXPECT_EQ(settings[1].value, L"0");
    EXPECT_EQ(settings[1].valueLabel, L"Disabled");
    EXPECT_FALSE(settings[1].active);
}

TEST(ReadWifiDriverSettings, ANative80211MediumIsAWiFiAdapterToo)
{
    TestKeys keys;
    keys.Number(L"Class\\0000", L"*PhysicalMediaType", 9);
    keys.Text(L"Class\\0000\\Ndi\\Params\\Wired", L"ParamDesc", L"Wired priority");
    keys.Text(L"Class\\0000\\Ndi\\Params\\Wired", L"default", L"");
    const auto settings = diag::ReadWifiDriverSettings(HKEY_CURRENT_USER, TestKeys::Path(L"Class"));
    ASSERT_EQ(settings.size(), 1u);
    EXPECT_EQ(settings[0].value, L"");
    EXPECT_EQ(settings[0].valueLabel, L"");
    EXPECT_FALSE(settings[0].active);
}

TEST(ReadWifiDriverSettings, NoClassKey)
{
    TestKeys keys;
    EXPECT_THAT(diag::ReadWifiDriverSettings(HKEY_CURRENT_USER, TestKeys::Path(L"Class")), IsEmpty());
}

// ---- the logging policy ---------------------------------------------------------

constexpr wchar_t kProduct[] = L"HKLM\\Software\\Policies\\QX\\Tessarine";
constexpr wchar_t kModule[] = L"HKLM\\Software\\Policies\\QX\\Tessarine\\Tessarine";

TEST(CheckLoggingPolicy, NothingSetNothingFound)
{
    LoggingPolicy policy(L"Tessarine");
    EXPECT_THAT(diag::CheckLoggingPolicy(L"Tessarine"), IsEmpty());
}

TEST(CheckLoggingPolicy, GoodValuesAreNoFinding)
{
    LoggingPolicy policy(L"Tessarine");
    policy.SetText(Key::Product, L"MinLogLevel", L"verbose");
    policy.SetText(Key::Product, L"MaxLogLevel", L"Never");
    policy.SetText(Key::Product, L"LoggingType", L"file;event");
    policy.SetNumber(Key::Product, L"MaxLogSize", 4194303);
    EXPECT_THAT(diag::CheckLoggingPolicy(L"Tessarine"), IsEmpty());
}

TEST(CheckLoggingPolicy, UnknownLevelNamesAndWhereTheyAreRead)
{
    LoggingPolicy policy(L"Tessarine");
    policy.SetText(Key::Product, L"MinLogLevel", L"Verbos");
    policy.SetText(Key::Module, L"MaxLogLevel", L"Warnings");
    policy.SetText(Key::Product, L"MaxLogLevel", L"Error");  // the module key's value is read
    const auto findings = diag::CheckLoggingPolicy(L"Tessarine");
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(findings[0].value, L"MinLogLevel");
    EXPECT_EQ(findings[0].key, kProduct);
    EXPECT_EQ(findings[0].data, L"Verbos");
    EXPECT_EQ(findings[0].problem, L"not a level name: read as Never, so no listener logs anything");
    EXPECT_EQ(findings[1].value, L"MaxLogLevel");
    EXPECT_EQ(findings[1].key, kModule);
    EXPECT_EQ(findings[1].data, L"Warnings");
    EXPECT_EQ(findings[1].problem, L"not a level name: read as Never, so every level from the minimum up is logged, "
                                   L"the timing records (Diag) included");
}

TEST(CheckLoggingPolicy, AnotherProgramsModuleKeyIsNotRead)
{
    LoggingPolicy policy(L"TessarineDiag");
    policy.SetText(Key::Module, L"MinLogLevel", L"Verbos");
    EXPECT_THAT(diag::CheckLoggingPolicy(L"Tessarine"), IsEmpty());
}

TEST(CheckLoggingPolicy, ALoggingTypeWithoutAnyKeyword)
{
    LoggingPolicy policy(L"Tessarine");
    policy.SetText(Key::Module, L"LoggingType", L"NONE");
    const auto findings = diag::CheckLoggingPolicy(L"Tessarine");
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].value, L"LoggingType");
    EXPECT_EQ(findings[0].key, kModule);
    EXPECT_EQ(findings[0].data, L"NONE");
    EXPECT_EQ(findings[0].problem, L"holds none of the keywords EVENT, FILE, CONSOLE, DEBUG: the default stands, a log "
                                   L"file written through the background writer");
}

TEST(CheckLoggingPolicy, AMaxLogSizeBeyondTheRotationCheck)
{
    LoggingPolicy policy(L"Tessarine");
    policy.SetNumber(Key::Product, L"MaxLogSize", 4194304);
    auto findings = diag::CheckLoggingPolicy(L"Tessarine");
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].value, L"MaxLogSize");
    EXPECT_EQ(findings[0].key, kProduct);
    EXPECT_EQ(findings[0].data, L"4194304");
    EXPECT_EQ(findings[0].problem, L"4194304 KB x 1024 does not fit in 32 bits: the rotation check compares the file "
                                   L"with 0 bytes, so every non-empty file is rotated at each check (the largest size "
                                   L"that fits is 4194303 KB)");

    policy.SetNumber(Key::Module, L"MaxLogSize", 5000000);
    findings = diag::CheckLoggingPolicy(L"Tessarine");
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].key, kModule);
    EXPECT_EQ(findings[0].problem, L"5000000 KB x 1024 does not fit in 32 bits: the rotation check compares the file "
                                   L"with 825032704 bytes (the largest size that fits is 4194303 KB)");

    policy.SetNumber(Key::Module, L"MaxLogSize", 0x80000000u);
    findings = diag::CheckLoggingPolicy(L"Tessarine");
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].problem,
              L"2147483648 KB is a negative limit to the service, which then never rotates the file by size");
}

// ---- the stored choices ------------------------------------------------------------

TEST(ReadStoredChoices, AsTheServiceReadsThem)
{
    fakes::ScopedPowerStatus power;
    diag::StoredChoice wlan = diag::ReadStoredWlanChoice();
    EXPECT_EQ(wlan.text, L"True");
    EXPECT_TRUE(wlan.wasEmpty);
    EXPECT_TRUE(wlan.on);
    fakes::ScopedPowerStatus::Store(kWlanPowerStatusKey, L"False");
    fakes::ScopedPowerStatus::Store(kWwanPowerStatusKey, L"true");
    wlan = diag::ReadStoredWlanChoice();
    EXPECT_EQ(wlan.text, L"False");
    EXPECT_FALSE(wlan.wasEmpty);
    EXPECT_FALSE(wlan.on);
    const diag::StoredChoice wwan = diag::ReadStoredWwanChoice();
    EXPECT_EQ(wwan.text, L"true");
    EXPECT_FALSE(wwan.on);  // only the exact text is on
}

}  // namespace
