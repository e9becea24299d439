// What else works against the service: the connection manager policy, a
// Wi-Fi driver acting on wired links, a logging policy read otherwise.
#include "StatusFixtures.h"

#include "status/Reasoning.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using diagtest::Laptop;
using testing::IsEmpty;

diag::RegistryValue Number(const std::wstring& name, DWORD number)
{
    diag::RegistryValue value;
    value.name = name;
    value.type = REG_DWORD;
    value.isNumber = true;
    value.number = number;
    value.data = std::to_wstring(number);
    return value;
}

TEST(Conflicts, NoneOnAPlainLaptop) { EXPECT_THAT(diag::Reason(Laptop()).conflicts, IsEmpty()); }

TEST(Conflicts, EveryMinimizingModeOfTheConnectionManager)
{
    auto report = Laptop();
    report.connectionPolicy.keyFound = true;
    report.connectionPolicy.values = {Number(L"fMinimizeConnections", 0), Number(L"fSoftDisconnectConnections", 1)};
    EXPECT_THAT(diag::Reason(report).conflicts, IsEmpty()) << "0 allows simultaneous connections";

    const std::vector<std::wstring> texts = {
        L"Windows minimizes simultaneous connections: it disconnects Wi-Fi and mobile broadband from their networks "
        L"itself when a wired network connects, whatever the firmware allows the service.",
        L"Windows minimizes simultaneous connections but stays connected to cellular: it disconnects Wi-Fi itself "
        L"when a wired network connects, whatever the firmware allows the service.",
        L"Windows prevents Wi-Fi while on Ethernet: it blocks Wi-Fi connections itself while a wire is connected, "
        L"whatever the firmware allows the service.",
        L"Windows' connection manager has an unknown minimizing mode, which may disconnect radios on its own."};
    for (DWORD mode = 1; mode <= 4; ++mode) {
        report.connectionPolicy.values = {Number(L"fminimizeconnections", mode)};
        const auto conflicts = diag::Reason(report).conflicts;
        ASSERT_EQ(conflicts.size(), 1u) << mode;
        EXPECT_EQ(conflicts[0].kind, L"connection-manager-policy");
        EXPECT_EQ(conflicts[0].source, L"HKLM\\Software\\Policies\\Microsoft\\Windows\\WcmSvc\\GroupPolicy");
        EXPECT_EQ(conflicts[0].value, std::to_wstring(mode));
        EXPECT_EQ(conflicts[0].text, texts[mode - 1]);
    }
}

TEST(Conflicts, BlockingNonDomainNetworks)
{
    auto report = Laptop();
    report.connectionPolicy.values = {Number(L"fBlockNonDomain", 1)};
    const auto conflicts = diag::Reason(report).conflicts;
    ASSERT_EQ(conflicts.size(), 1u);
    EXPECT_EQ(conflicts[0].name, L"fBlockNonDomain");
    EXPECT_EQ(conflicts[0].text, L"Windows blocks connections to non-domain networks while on a domain network: Wi-Fi "
                                 L"may stay disconnected although its radio is on.");
}

TEST(Conflicts, AnActiveDriverSettingOnWiredLinks)
{
    auto report = Laptop();
    diag::DriverSetting setting;
    setting.adapterKey = L"0007";
    setting.adapter = L"Wireless-AC 9560";
    setting.keyword = L"WiredDisable";
    setting.label = L"Disable Upon Wired Connect";
    setting.value = L"0";
    report.driverSettings = {setting};
    EXPECT_THAT(diag::Reason(report).conflicts, IsEmpty()) << "an inactive setting";

    report.driverSettings[0].value = L"1";
    report.driverSettings[0].valueLabel = L"Enabled";
    report.driverSettings[0].active = true;
    const auto conflicts = diag::Reason(report).conflicts;
    ASSERT_EQ(conflicts.size(), 1u);
    EXPECT_EQ(conflicts[0].kind, L"wifi-driver-setting");
    EXPECT_EQ(conflicts[0].source, L"adapter 0007 (Wireless-AC 9560)");
    EXPECT_EQ(conflicts[0].name, L"WiredDisable");
    EXPECT_EQ(conflicts[0].value, L"1");
    EXPECT_EQ(conflicts[0].text, L"The Wi-Fi driver's \"Disable Upon Wired Connect\" is Enabled: the driver itself may "
                                 L"switch Wi-Fi off when a wire comes, whatever the firmware allows the service.");
}

TEST(Conflicts, EveryLoggingPolicyFinding)
{
    auto report = Laptop();
    report.loggingFindings = {{L"MinLogLevel", L"HKLM\\Software\\Policies\\QX\\Tessarine", L"Verbos",
                               L"not a level name: read as Never, so no listener logs anything"}};
    const auto conflicts = diag::Reason(report).conflicts;
    ASSERT_EQ(conflicts.size(), 1u);
    EXPECT_EQ(conflicts[0].kind, L"logging-policy");
    EXPECT_EQ(conflicts[0].source, L"HKLM\\Software\\Policies\\QX\\Tessarine");
    EXPECT_EQ(conflicts[0].text, L"The service reads the logging policy's MinLogLevel \"Verbos\" otherwise than it "
                                 L"looks: not a level name: read as Never, so no listener logs anything.");
}

}  // namespace
