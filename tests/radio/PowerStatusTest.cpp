// The persisted power status and the airplane-mode reading, against the
// real Wine registry. The power-status tests start and end without
// HKLM\SOFTWARE\QX\QX Brisa UWP; the airplane-mode tests keep the prefix's
// SystemRadioState key and put it back after each test.
#include "radio/PowerStatus.h"

#include "fakes/MachineState.h"
#include "fakes/RecordingListener.h"
#include "fakes/RegistryKeys.h"
#include "platform/Api.h"
#include "logging/LoggerSlot.h"
#include "service/Registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using QX::Shared::LevelError;
using QX::Shared::LevelInformation;
using QX::Shared::LevelTraceIn;
using QX::Shared::LevelTraceOut;
using testing::ElementsAre;

constexpr wchar_t kProductKey[] = L"SOFTWARE\\QX\\QX Brisa UWP";
constexpr wchar_t kWlanKeyText[] = L"SOFTWARE\\QX\\QX Brisa UWP\\WlanPowerStatus";
constexpr wchar_t kWwanKeyText[] = L"SOFTWARE\\QX\\QX Brisa UWP\\WwanPowerStatus";

using fakes::MachineKeyExists;

class PowerStatusTest : public testing::Test {
protected:
    PowerStatusTest() { Clean(); }
    ~PowerStatusTest() override { Clean(); }
    static void Clean()
    {
        Registry::DeleteKey(HKEY_LOCAL_MACHINE, kProductKey, Registry::kDefaultView);
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QX");  // only when nothing else is in it
    }
    // PowerOnOff as stored, with its type and byte size; "<missing>" when
    // it cannot be read.
    static std::wstring Stored(const wchar_t* key, DWORD* type = nullptr, DWORD* size = nullptr)
    {
        HKEY handle = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key, 0, KEY_READ, &handle) != ERROR_SUCCESS)
            return L"<missing>";
        wchar_t data[32] = {};
        DWORD storedType = REG_NONE;
        DWORD storedSize = sizeof(data);
        const LSTATUS status =
            RegQueryValueExW(handle, L"PowerOnOff", nullptr, &storedType, reinterpret_cast<BYTE*>(data), &storedSize);
        RegCloseKey(handle);
        if (status != ERROR_SUCCESS)
            return L"<missing>";
        if (type)
            *type = storedType;
        if (size)
            *size = storedSize;
        return data;
    }
    std::vector<int32_t> Levels() const
    {
        std::vector<int32_t> levels;
        for (const auto& record : m_log.Records())
            levels.push_back(record.Level());
        return levels;
    }

    fakes::RecordingLog m_log;
};

TEST_F(PowerStatusTest, WlanTrueWritesTrueAsRegSzWithItsNul)
{
    EXPECT_EQ(ServiceUtils::SetWlanPowerStatusInRegistry(true), ERROR_SUCCESS);
    DWORD type = REG_NONE;
    DWORD size = 0;
    EXPECT_EQ(Stored(kWlanKeyText, &type, &size), L"True");
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(size, (4u + 1u) * 2u);
}

TEST_F(PowerStatusTest, WlanTrueLogsItsLinesInOrder)
{
    ServiceUtils::SetWlanPowerStatusInRegistry(true);
    EXPECT_THAT(
        m_log.Lines(),
        ElementsAre(
            L"TraceIn|ServiceUtils::SetWlanPowerStatusInRegistry|WLAN status to write = 1",
            L"Information|ServiceUtils::SetWlanPowerStatusInRegistry|SetWlanPowerStatusInRegistry. Value = True",
            L"TraceIn|ServiceUtils::SetPowerStatusInRegistry|Setting = SOFTWARE\\QX\\QX Brisa "
            L"UWP\\WlanPowerStatus,  Status = 1",
            L"Information|ServiceUtils::SetPowerStatusInRegistry|Writing Power Status in registry. Value = True",
            L"TraceOut|ServiceUtils::SetPowerStatusInRegistry|Return Status = 0",
            L"TraceOut|ServiceUtils::SetWlanPowerStatusInRegistry|Return Status = 0"));
}

TEST_F(PowerStatusTest, WlanLinesHaveTheirLevels)
{
    ServiceUtils::SetWlanPowerStatusInRegistry(true);
    EXPECT_THAT(Levels(), ElementsAre(LevelTraceIn, LevelInformation, LevelTraceIn, LevelInformation, LevelTraceOut,
                                      LevelTraceOut));
}

TEST_F(PowerStatusTest, WlanFalseWritesFalseWithItsNul)
{
    EXPECT_EQ(ServiceUtils::SetWlanPowerStatusInRegistry(false), ERROR_SUCCESS);
    DWORD type = REG_NONE;
    DWORD size = 0;
    EXPECT_EQ(Stored(kWlanKeyText, &type, &size), L"False");
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(size, (5u + 1u) * 2u);
}

TEST_F(PowerStatusTest, WlanFalseLogsItsLinesInOrder)
{
    ServiceUtils::SetWlanPowerStatusInRegistry(false);
    EXPECT_THAT(
        m_log.Lines(),
        ElementsAre(
            L"TraceIn|ServiceUtils::SetWlanPowerStatusInRegistry|WLAN status to write = 0",
            L"Information|ServiceUtils::SetWlanPowerStatusInRegistry|SetWlanPowerStatusInRegistry. Value = False",
            L"TraceIn|ServiceUtils::SetPowerStatusInRegistry|Setting = SOFTWARE\\QX\\QX Brisa "
            L"UWP\\WlanPowerStatus,  Status = 0",
            L"Information|ServiceUtils::SetPowerStatusInRegistry|Writing Power Status in registry. Value = False",
            L"TraceOut|ServiceUtils::SetPowerStatusInRegistry|Return Status = 0",
            L"TraceOut|ServiceUtils::SetWlanPowerStatusInRegistry|Return Status = 0"));
}

TEST(PowerStatusText, TheByteOneIsTrueAndEveryOtherByteFalse)
{
    EXPECT_STREQ(ServiceUtils::PowerStatusText(1), L"True");
    for (unsigned char byte : {0, 2, 0x80, 0xFF})
        EXPECT_STREQ(ServiceUtils::PowerStatusText(byte), L"False") << int(byte);
}

TEST(PowerStatusText, TheStatusByteOfABoolIsItsValue)
{
    EXPECT_EQ(ServiceUtils::StatusByte(true), 1);
    EXPECT_EQ(ServiceUtils::StatusByte(false), 0);
}

TEST_F(PowerStatusTest, AMissingKeyIsCreated)
{
    ASSERT_FALSE(MachineKeyExists(kProductKey));
    ServiceUtils::SetWlanPowerStatusInRegistry(true);
    EXPECT_TRUE(MachineKeyExists(kWlanKeyText));
}

TEST_F(PowerStatusTest, AStoredValueIsOverwritten)
{
    ServiceUtils::SetWlanPowerStatusInRegistry(false);
    ServiceUtils::SetWlanPowerStatusInRegistry(true);
    EXPECT_EQ(Stored(kWlanKeyText), L"True");
}

TEST_F(PowerStatusTest, WlanWritesOnlyItsOwnKey)
{
    ServiceUtils::SetWlanPowerStatusInRegistry(true);
    EXPECT_FALSE(MachineKeyExists(kWwanKeyText));
}

TEST_F(PowerStatusTest, WwanTrueWritesTrueAsRegSzWithItsNul)
{
    EXPECT_EQ(ServiceUtils::SetWwanPowerStatusInRegistry(true), ERROR_SUCCESS);
    DWORD type = REG_NONE;
    DWORD size = 0;
    EXPECT_EQ(Stored(kWwanKeyText, &type, &size), L"True");
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(size, (4u + 1u) * 2u);
}

TEST_F(PowerStatusTest, WwanFalseWritesFalse)
{
    EXPECT_EQ(ServiceUtils::SetWwanPowerStatusInRegistry(false), ERROR_SUCCESS);
    EXPECT_EQ(Stored(kWwanKeyText), L"False");
}

TEST_F(PowerStatusTest, WwanLogsItsLinesInOrder)
{
    ServiceUtils::SetWwanPowerStatusInRegistry(true);
    EXPECT_THAT(
        m_log.Lines(),
        ElementsAre(
            L"TraceIn|ServiceUtils::SetWwanPowerStatusInRegistry|WWAN status to write = 1",
            L"Information|ServiceUtils::SetWwanPowerStatusInRegistry|SetWwanPowerStatusInRegistry. Value = True",
            L"TraceIn|ServiceUtils::SetPowerStatusInRegistry|Setting = SOFTWARE\\QX\\QX Brisa "
            L"UWP\\WwanPowerStatus,  Status = 1",
            L"Information|ServiceUtils::SetPowerStatusInRegistry|Writing Power Status in registry. Value = True",
            L"TraceOut|ServiceUtils::SetPowerStatusInRegistry|Return Status = 0",
            L"TraceOut|ServiceUtils::SetWwanPowerStatusInRegistry|Return Status = 0"));
}

TEST_F(PowerStatusTest, WwanWritesOnlyItsOwnKey)
{
    ServiceUtils::SetWwanPowerStatusInRegistry(true);
    EXPECT_FALSE(MachineKeyExists(kWlanKeyText));
}

// A key name longer than 255 characters cannot be created: Wine's
// RegCreateKeyExW returns ERROR_INVALID_PARAMETER and leaves the thread's
// last error alone.
const std::wstring kUncreatableKey = L"SOFTWARE\\QX\\" + std::wstring(300, L'k');

TEST_F(PowerStatusTest, AFailedWriteReturnsTheRegistryCode)
{
    EXPECT_EQ(ServiceUtils::SetPowerStatusInRegistry(kUncreatableKey.c_str(), true), ERROR_INVALID_PARAMETER);
}

TEST_F(PowerStatusTest, AFailedWriteLogsTheThreadsLastErrorNotTheCode)
{
    SetLastError(ERROR_ACCESS_DENIED);
    ServiceUtils::SetPowerStatusInRegistry(kUncreatableKey.c_str(), true);
    EXPECT_THAT(
        m_log.Lines(),
        ElementsAre(
            L"TraceIn|ServiceUtils::SetPowerStatusInRegistry|Setting = " + kUncreatableKey + L",  Status = 1",
            L"Information|ServiceUtils::SetPowerStatusInRegistry|Writing Power Status in registry. Value = True",
            L"Error|ServiceUtils::SetPowerStatusInRegistry|Registry::SetValue failed with error 5",
            L"TraceOut|ServiceUtils::SetPowerStatusInRegistry|Return Status = 87"));
}

TEST_F(PowerStatusTest, AThrowingRegistryWriteIsLoggedAsAnExceptionAndReturnsSuccess)
{
    os::ScopedApiOverride seam;
    seam->RegCreateKeyExW = [](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, LPSECURITY_ATTRIBUTES, PHKEY,
                               LPDWORD) -> LSTATUS { throw std::runtime_error("registry"); };
    EXPECT_EQ(ServiceUtils::SetPowerStatusInRegistry(kWlanKeyText, true), ERROR_SUCCESS);
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"TraceIn|ServiceUtils::SetPowerStatusInRegistry|Setting = " + std::wstring(kWlanKeyText) +
                                L",  Status = 1",
                            L"Information|ServiceUtils::SetPowerStatusInRegistry|Writing Power Status in registry. "
                            L"Value = True",
                            L"Error|ServiceUtils::SetPowerStatusInRegistry|Exception in SetPowerStatusInRegistry()"));
}

// The airplane-mode tests keep the prefix's SystemRadioState key and put it
// back afterwards; each starts without it.
class AirplaneModeTest : public PowerStatusTest {
protected:
    AirplaneModeTest() { RemoveKey(); }
    static void RemoveKey() { Registry::DeleteKey(HKEY_LOCAL_MACHINE, kAirplaneModeKey, 0); }

    // Creates the key; with data, sets its default value.
    void SetState(DWORD type, const void* data, DWORD size)
    {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kAirplaneModeKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                  nullptr),
                  ERROR_SUCCESS);
        if (data) {
            EXPECT_EQ(RegSetValueExW(key, nullptr, 0, type, static_cast<const BYTE*>(data), size), ERROR_SUCCESS);
        }
        RegCloseKey(key);
    }
    void SetNumber(DWORD value) { SetState(REG_DWORD, &value, sizeof(value)); }

    fakes::ScopedAirplaneMode m_airplane;
};

TEST_F(AirplaneModeTest, OneIsOn)
{
    SetNumber(1);
    EXPECT_TRUE(ServiceUtils::CheckAirplaneMode());
}

TEST_F(AirplaneModeTest, OnLogsEntryAndStatusWithItsTrailingBlank)
{
    SetNumber(1);
    ServiceUtils::CheckAirplaneMode();
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|ServiceUtils::CheckAirplaneMode|",
                                           L"TraceOut|ServiceUtils::CheckAirplaneMode|Airplane Mode Status: 1 "));
    EXPECT_THAT(Levels(), ElementsAre(LevelTraceIn, LevelTraceOut));
}

TEST_F(AirplaneModeTest, ZeroIsOff)
{
    SetNumber(0);
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|ServiceUtils::CheckAirplaneMode|",
                                           L"TraceOut|ServiceUtils::CheckAirplaneMode|Airplane Mode Status: 0 "));
}

TEST_F(AirplaneModeTest, TwoIsOff)
{
    SetNumber(2);
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
    EXPECT_EQ(m_log.Lines().back(), L"TraceOut|ServiceUtils::CheckAirplaneMode|Airplane Mode Status: 0 ");
}

TEST_F(AirplaneModeTest, OnlyExactlyOneIsOn)
{
    SetNumber(0x101);
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
}

TEST_F(AirplaneModeTest, AnAbsentKeyIsOffWithTheOpenError)
{
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
    // The open failure returns at once: no status line.
    EXPECT_THAT(
        m_log.Lines(),
        ElementsAre(L"TraceIn|ServiceUtils::CheckAirplaneMode|",
                    L"Error|ServiceUtils::CheckAirplaneMode|RegOpenKeyEx (BrisaAirplaneModeRegistry) failed with "
                    L"error: 2"));
    EXPECT_THAT(Levels(), ElementsAre(LevelTraceIn, LevelError));
}

TEST_F(AirplaneModeTest, AnAbsentValueIsOffWithTheQueryError)
{
    SetState(REG_NONE, nullptr, 0);
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
    EXPECT_THAT(
        m_log.Lines(),
        ElementsAre(L"TraceIn|ServiceUtils::CheckAirplaneMode|",
                    L"Error|ServiceUtils::CheckAirplaneMode|RegQueryValueEx (BrisaAirplaneModeRegistry) failed with "
                    L"error: 2",
                    L"TraceOut|ServiceUtils::CheckAirplaneMode|Airplane Mode Status: 0 "));
    EXPECT_THAT(Levels(), ElementsAre(LevelTraceIn, LevelError, LevelTraceOut));
}

TEST_F(AirplaneModeTest, TheTypeIsNotCheckedABinaryOneIsOn)
{
    const BYTE on[4] = {1, 0, 0, 0};
    SetState(REG_BINARY, on, sizeof(on));
    EXPECT_TRUE(ServiceUtils::CheckAirplaneMode());
    EXPECT_EQ(m_log.Lines().back(), L"TraceOut|ServiceUtils::CheckAirplaneMode|Airplane Mode Status: 1 ");
}

TEST_F(AirplaneModeTest, TheTypeIsNotCheckedAStringOfTheBytesOfOneIsOn)
{
    // REG_SZ data 01 00 00 00: the text "\x0001" with its NUL.
    const wchar_t text[] = {1, 0};
    SetState(REG_SZ, text, sizeof(text));
    EXPECT_TRUE(ServiceUtils::CheckAirplaneMode());
}

TEST_F(AirplaneModeTest, TheTextOneIsReadAsItsBytesAndIsOff)
{
    SetState(REG_SZ, L"1", 4);  // bytes 31 00 00 00: the number 0x31
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
    EXPECT_EQ(m_log.Lines().back(), L"TraceOut|ServiceUtils::CheckAirplaneMode|Airplane Mode Status: 0 ");
}

TEST_F(AirplaneModeTest, AValueLongerThanFourBytesIsOffWithTheQueryError)
{
    const BYTE longer[8] = {1, 0, 0, 0, 0, 0, 0, 0};
    SetState(REG_BINARY, longer, sizeof(longer));
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
    // ERROR_MORE_DATA.
    EXPECT_THAT(
        m_log.Lines(),
        ElementsAre(L"TraceIn|ServiceUtils::CheckAirplaneMode|",
                    L"Error|ServiceUtils::CheckAirplaneMode|RegQueryValueEx (BrisaAirplaneModeRegistry) failed with "
                    L"error: 234",
                    L"TraceOut|ServiceUtils::CheckAirplaneMode|Airplane Mode Status: 0 "));
}

TEST_F(AirplaneModeTest, AQwordOfOneIsTooLongAndOff)
{
    const ULONGLONG one = 1;
    SetState(REG_QWORD, &one, sizeof(one));
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
}

TEST_F(AirplaneModeTest, AThrowingKeyOpenIsLoggedAsAnExceptionAndIsOff)
{
    SetNumber(1);
    os::ScopedApiOverride seam;
    seam->RegOpenKeyExW = [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS { throw std::runtime_error("registry"); };
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|ServiceUtils::CheckAirplaneMode|",
                                           L"Error|ServiceUtils::CheckAirplaneMode|Exception in CheckAirplaneMode()"));
}

}  // namespace
