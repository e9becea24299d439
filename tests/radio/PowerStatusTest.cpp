// The persisted power status and the airplane-mode reading, against the
// real Wine registry.
#include "radio/PowerStatus.h"

#include "fakes/RecordingListener.h"
#include "logging/LoggerSlot.h"
#include "service/Registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace {

using testing::ElementsAre;

constexpr wchar_t kProductKey[] = L"SOFTWARE\\QX\\QX Brisa UWP";

class PowerStatusTest : public testing::Test {
protected:
    PowerStatusTest() : logger_(fakes::LoggerWithRecorder(recorder_)) { Clean(); }
    ~PowerStatusTest() override { Clean(); }
    static void Clean()
    {
        Registry::DeleteKey(HKEY_LOCAL_MACHINE, kProductKey, 0);
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QX");  // only when nothing else is in it
    }
    // The stored data of PowerOnOff, with its type and byte size.
    static std::wstring Stored(const wchar_t* key, DWORD* type = nullptr, DWORD* size = nullptr)
    {
        wchar_t data[32] = {};
        DWORD storedType = 0;
        DWORD storedSize = sizeof(data);
        if (RegGetValueW(HKEY_LOCAL_MACHINE, key, L"PowerOnOff", RRF_RT_ANY | RRF_NOEXPAND, &storedType, data,
                         &storedSize) != ERROR_SUCCESS)
            return L"<missing>";
        if (type)
            *type = storedType;
        if (size)
            *size = storedSize;
        return data;
    }

    fakes::RecordingListener* recorder_ = nullptr;
    QX::Shared::ScopedLoggerForTesting logger_;
};

TEST_F(PowerStatusTest, TrueWritesTrueWithItsNulAndCreatesTheKey)
{
    EXPECT_EQ(ServiceUtils::SetWlanPowerStatusInRegistry(true), 0);
    DWORD type = 0;
    DWORD size = 0;
    EXPECT_EQ(Stored(ServiceUtils::kWlanPowerStatusKey, &type, &size), L"True");
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(size, 10u);
}

TEST_F(PowerStatusTest, WlanLogLinesInOrder)
{
    ServiceUtils::SetWlanPowerStatusInRegistry(true);
    EXPECT_THAT(recorder_->Tails(),
                ElementsAre(L"ServiceUtils::SetWlanPowerStatusInRegistry|WLAN status to write = 1",
                            L"ServiceUtils::SetWlanPowerStatusInRegistry|SetWlanPowerStatusInRegistry. Value = True",
                            L"ServiceUtils::SetPowerStatusInRegistry|Setting = SOFTWARE\\QX\\QX Brisa "
                            L"UWP\\WlanPowerStatus,  Status = 1",
                            L"ServiceUtils::SetPowerStatusInRegistry|Writing Power Status in registry. Value = True",
                            L"ServiceUtils::SetPowerStatusInRegistry|Return Status = 0",
                            L"ServiceUtils::SetWlanPowerStatusInRegistry|Return Status = 0"));
}

TEST_F(PowerStatusTest, FalseWritesFalse)
{
    EXPECT_EQ(ServiceUtils::SetWlanPowerStatusInRegistry(false), 0);
    DWORD size = 0;
    EXPECT_EQ(Stored(ServiceUtils::kWlanPowerStatusKey, nullptr, &size), L"False");
    EXPECT_EQ(size, 12u);
}

TEST_F(PowerStatusTest, AnyOtherStatusByteWritesFalse)
{
    bool odd;
    const unsigned char two = 2;
    std::memcpy(&odd, &two, 1);
    EXPECT_EQ(ServiceUtils::SetPowerStatusInRegistry(ServiceUtils::kWwanPowerStatusKey, odd), 0);
    EXPECT_EQ(Stored(ServiceUtils::kWwanPowerStatusKey), L"False");
    EXPECT_THAT(recorder_->Tails()[1],
                L"ServiceUtils::SetPowerStatusInRegistry|Writing Power Status in registry. Value = False");
}

TEST_F(PowerStatusTest, WwanWritesItsOwnKey)
{
    EXPECT_EQ(ServiceUtils::SetWwanPowerStatusInRegistry(false), 0);
    EXPECT_EQ(Stored(ServiceUtils::kWwanPowerStatusKey), L"False");
    EXPECT_EQ(Stored(ServiceUtils::kWlanPowerStatusKey), L"<missing>");
    EXPECT_EQ(recorder_->Tails().front(), L"ServiceUtils::SetWwanPowerStatusInRegistry|WWAN status to write = 0");
    EXPECT_EQ(recorder_->Tails()[1],
              L"ServiceUtils::SetWwanPowerStatusInRegistry|SetWwanPowerStatusInRegistry. Value = False");
}

TEST_F(PowerStatusTest, AFailedWriteLogsTheThreadsLastErrorAndReturnsTheCode)
{
    // A key name longer than 255 characters cannot be created.
    const std::wstring tooLong = L"SOFTWARE\\QX\\" + std::wstring(300, L'k');
    SetLastError(1234);
    const LSTATUS result = ServiceUtils::SetPowerStatusInRegistry(tooLong.c_str(), true);
    EXPECT_NE(result, 0);
    const std::vector<std::wstring> tails = recorder_->Tails();
    ASSERT_EQ(tails.size(), 4u);
    EXPECT_EQ(tails[2], L"ServiceUtils::SetPowerStatusInRegistry|Registry::SetValue failed with error " +
                            std::to_wstring(GetLastError()));
    EXPECT_EQ(tails[3], L"ServiceUtils::SetPowerStatusInRegistry|Return Status = " + std::to_wstring(result));
}

class AirplaneModeTest : public PowerStatusTest {
protected:
    AirplaneModeTest()
    {
        // Keep whatever the prefix has, and restore it afterwards.
        savedExists_ = RegOpenKeyExW(HKEY_LOCAL_MACHINE, ServiceUtils::kAirplaneModeKey, 0, KEY_READ, &saved_) ==
                       ERROR_SUCCESS;
        if (savedExists_) {
            savedSize_ = sizeof(savedData_);
            savedValue_ = RegQueryValueExW(saved_, nullptr, nullptr, &savedType_, savedData_, &savedSize_) ==
                          ERROR_SUCCESS;
            RegCloseKey(saved_);
        }
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, ServiceUtils::kAirplaneModeKey);
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, ServiceUtils::kAirplaneModeKey);
    }
    ~AirplaneModeTest() override
    {
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, ServiceUtils::kAirplaneModeKey);
        if (savedExists_) {
            HKEY key = nullptr;
            RegCreateKeyExW(HKEY_LOCAL_MACHINE, ServiceUtils::kAirplaneModeKey, 0, nullptr, 0, KEY_ALL_ACCESS,
                            nullptr, &key, nullptr);
            if (savedValue_)
                RegSetValueExW(key, nullptr, 0, savedType_, savedData_, savedSize_);
            RegCloseKey(key);
        }
    }
    void SetState(DWORD type, const void* data, DWORD size)
    {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, ServiceUtils::kAirplaneModeKey, 0, nullptr, 0, KEY_ALL_ACCESS,
                                  nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        if (data)
            RegSetValueExW(key, nullptr, 0, type, static_cast<const BYTE*>(data), size);
        RegCloseKey(key);
    }
    void SetNumber(DWORD value) { SetState(REG_DWORD, &value, sizeof(value)); }

    HKEY saved_ = nullptr;
    bool savedExists_ = false;
    bool savedValue_ = false;
    DWORD savedType_ = 0;
    BYTE savedData_[64] = {};
    DWORD savedSize_ = 0;
};

TEST_F(AirplaneModeTest, OneIsOn)
{
    SetNumber(1);
    EXPECT_TRUE(ServiceUtils::CheckAirplaneMode());
    EXPECT_THAT(recorder_->Tails(), ElementsAre(L"ServiceUtils::CheckAirplaneMode|",
                                                L"ServiceUtils::CheckAirplaneMode|Airplane Mode Status: 1 "));
}

TEST_F(AirplaneModeTest, ZeroIsOff)
{
    SetNumber(0);
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
    EXPECT_EQ(recorder_->Tails().back(), L"ServiceUtils::CheckAirplaneMode|Airplane Mode Status: 0 ");
}

TEST_F(AirplaneModeTest, TwoIsOff)
{
    SetNumber(2);
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
}

TEST_F(AirplaneModeTest, AnAbsentKeyIsOffWithTheOpenError)
{
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
    EXPECT_THAT(recorder_->Tails(),
                ElementsAre(L"ServiceUtils::CheckAirplaneMode|",
                            L"ServiceUtils::CheckAirplaneMode|RegOpenKeyEx (BrisaAirplaneModeRegistry) failed with "
                            L"error: 2"));
}

TEST_F(AirplaneModeTest, AnAbsentValueIsOffWithTheQueryError)
{
    SetState(REG_NONE, nullptr, 0);
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
    EXPECT_THAT(recorder_->Tails(),
                ElementsAre(L"ServiceUtils::CheckAirplaneMode|",
                            L"ServiceUtils::CheckAirplaneMode|RegQueryValueEx (BrisaAirplaneModeRegistry) failed with "
                            L"error: 2",
                            L"ServiceUtils::CheckAirplaneMode|Airplane Mode Status: 0 "));
}

TEST_F(AirplaneModeTest, TheTypeIsNotCheckedOnlyTheFirstFourBytes)
{
    const BYTE on[4] = {1, 0, 0, 0};
    SetState(REG_BINARY, on, sizeof(on));
    EXPECT_TRUE(ServiceUtils::CheckAirplaneMode());
}

TEST_F(AirplaneModeTest, AValueLongerThanFourBytesIsOffWithTheQueryError)
{
    const BYTE longer[8] = {1, 0, 0, 0, 0, 0, 0, 0};
    SetState(REG_BINARY, longer, sizeof(longer));
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
    EXPECT_EQ(recorder_->Tails()[1],
              L"ServiceUtils::CheckAirplaneMode|RegQueryValueEx (BrisaAirplaneModeRegistry) failed with error: 234");
}

TEST_F(AirplaneModeTest, AStringValueIsReadAsItsBytes)
{
    SetState(REG_SZ, L"1", 4);  // bytes 31 00 00 00: the number 0x31
    EXPECT_FALSE(ServiceUtils::CheckAirplaneMode());
    EXPECT_EQ(recorder_->Tails().back(), L"ServiceUtils::CheckAirplaneMode|Airplane Mode Status: 0 ");
}

} // namespace
