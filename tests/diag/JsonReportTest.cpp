// The status report as JSON: the versioned schema's members, over fixed
// reports.
#include "StatusFixtures.h"

#include "status/JsonReport.h"
#include "status/Reasoning.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace diagtest;
using testing::HasSubstr;
using testing::StartsWith;

std::wstring Json(const diag::StatusReport& report) { return diag::StatusJson(report, diag::Reason(report)); }

TEST(StatusJson, OpensWithTheSchemaItsVersionAndTheVerb)
{
    EXPECT_THAT(Json(Laptop()), StartsWith(L"{\n"
                                           L"  \"schema\": \"tessarine-diag\",\n"
                                           L"  \"version\": 1,\n"
                                           L"  \"verb\": \"status\",\n"
                                           L"  \"elapsedMilliseconds\": 40,\n"
                                           L"  \"service\": {\n"
                                           L"    \"name\": \"Tessarine\",\n"
                                           L"    \"registered\": true,\n"
                                           L"    \"running\": true,\n"
                                           L"    \"state\": \"running\",\n"
                                           L"    \"startType\": \"automatic\",\n"
                                           L"    \"path\": \"C:\\\\TessarineLaptop\\\\Tessarine.exe\",\n"
                                           L"    \"version\": \"1.0.0.0\",\n"
                                           L"    \"error\": 0\n"
                                           L"  },\n"));
    EXPECT_EQ(diag::kJsonSchemaVersion, 1);
}

TEST(StatusJson, TheMembersInTheirOrder)
{
    const std::wstring json = Json(Laptop());
    size_t at = 0;
    for (const wchar_t* member :
         {L"\n  \"firmware\": {", L"\n  \"storedChoices\": {", L"\n  \"airplaneMode\": false,", L"\n  \"ethernet\": {",
          L"\n  \"radios\": {", L"\n  \"explanations\": {", L"\n  \"connectionManagerPolicy\": {",
          L"\n  \"wifiDriverSettings\": [],", L"\n  \"conflicts\": []\n}\n"}) {
        const size_t found = json.find(member, at);
        ASSERT_NE(found, std::wstring::npos) << member;
        at = found;
    }
}

TEST(StatusJson, AServiceNotInstalled)
{
    auto report = Laptop();
    report.service = {};
    report.service.name = L"Tessarine";
    report.service.scmOpened = true;
    EXPECT_THAT(Json(report), HasSubstr(L"    \"registered\": false,\n"
                                        L"    \"running\": false,\n"
                                        L"    \"state\": \"not-installed\",\n"
                                        L"    \"startType\": null,\n"
                                        L"    \"path\": null,\n"
                                        L"    \"version\": null,\n"));
}

TEST(StatusJson, TheFirmwareWithItsRawValuesAndFlags)
{
    auto report = Laptop();
    SetFirmware(report, L"LAN / WWAN Auto Switching", L"*Disable");
    report.firmware.read.pausedMilliseconds = 3000;
    EXPECT_THAT(Json(report), HasSubstr(L"  \"firmware\": {\n"
                                        L"    \"class\": \"QXBIOS_BIOSEnumeration\",\n"
                                        L"    \"firstClassResult\": \"0x00000000\",\n"
                                        L"    \"fallbackClassResult\": null,\n"
                                        L"    \"settings\": {\n"
                                        L"      \"LAN / WLAN Auto Switching\": \"Enable\",\n"
                                        L"      \"LAN / WWAN Auto Switching\": \"*Disable\"\n"
                                        L"    },\n"
                                        L"    \"wifiSwitching\": {\n"
                                        L"      \"allowed\": true,\n"
                                        L"      \"setting\": \"LAN / WLAN Auto Switching\",\n"
                                        L"      \"verdict\": \"allows\"\n"
                                        L"    },\n"
                                        L"    \"mobileBroadbandSwitching\": {\n"
                                        L"      \"allowed\": false,\n"
                                        L"      \"setting\": \"LAN / WWAN Auto Switching\",\n"
                                        L"      \"verdict\": \"starred\"\n"
                                        L"    },\n"
                                        L"    \"readMilliseconds\": 12,\n"
                                        L"    \"retryPauseMilliseconds\": 3000\n"
                                        L"  },\n"));
}

TEST(StatusJson, ANothingReadFirmwareFromBothClasses)
{
    auto report = Laptop();
    report.firmware.read = {};
    report.firmware.read.firstResult = static_cast<HRESULT>(0x8004100E);
    report.firmware.read.fallbackRead = true;
    report.firmware.read.fallbackResult = static_cast<HRESULT>(0x8004100E);
    report.firmware.decision = {};
    EXPECT_THAT(Json(report), HasSubstr(L"    \"class\": null,\n"
                                        L"    \"firstClassResult\": \"0x8004100E\",\n"
                                        L"    \"fallbackClassResult\": \"0x8004100E\",\n"
                                        L"    \"settings\": {},\n"
                                        L"    \"wifiSwitching\": {\n"
                                        L"      \"allowed\": false,\n"
                                        L"      \"setting\": null,\n"
                                        L"      \"verdict\": \"missing\"\n"));
}

TEST(StatusJson, StoredChoicesWithAMissingValue)
{
    auto report = Laptop();
    StoreMobileBroadbandChoice(report, L"");
    EXPECT_THAT(Json(report), HasSubstr(L"  \"storedChoices\": {\n"
                                        L"    \"wifi\": {\n"
                                        L"      \"value\": \"True\",\n"
                                        L"      \"missing\": false,\n"
                                        L"      \"on\": true\n"
                                        L"    },\n"
                                        L"    \"mobileBroadband\": {\n"
                                        L"      \"value\": \"True\",\n"
                                        L"      \"missing\": true,\n"
                                        L"      \"on\": true\n"
                                        L"    }\n"
                                        L"  },\n"));
}

TEST(StatusJson, EveryAdapterWithItsVerdictAndTheOneThatDecides)
{
    auto report = Laptop();
    Plug(report, "TAP-Win1", "192.168.78.2");
    PlugWithoutAddress(report, "eth1");
    Plug(report, "eth0");
    const std::wstring json = Json(report);
    EXPECT_THAT(json, HasSubstr(L"  \"ethernet\": {\n"
                                L"    \"listRead\": true,\n"
                                L"    \"error\": 0,\n"
                                L"    \"up\": true,\n"
                                L"    \"addressPending\": true,\n"
                                L"    \"decidingAdapter\": \"eth0\",\n"
                                L"    \"adapters\": [\n"
                                L"      {\n"
                                L"        \"name\": \"{00000007-0000-0000-0000-4E6574446576}\",\n"
                                L"        \"description\": \"TAP-Win1\",\n"
                                L"        \"type\": 6,\n"
                                L"        \"typeName\": \"Ethernet\",\n"
                                L"        \"address\": \"192.168.78.2\",\n"
                                L"        \"link\": \"up\",\n"
                                L"        \"verdict\": \"vpn-description\",\n"
                                L"        \"counts\": false,\n"
                                L"        \"decides\": false,\n"
                                L"        \"reason\": \"does not count: its description holds \\\"TAP-Win\\\", so it "
                                L"is taken for a VPN or virtual adapter\"\n"
                                L"      },\n"));
    EXPECT_THAT(json, HasSubstr(L"        \"verdict\": \"no-address\",\n"
                                L"        \"counts\": false,\n"
                                L"        \"decides\": false,\n"
                                L"        \"reason\": \"does not count: no address (0.0.0.0)\"\n"));
    EXPECT_THAT(json, HasSubstr(L"        \"verdict\": \"ethernet\",\n"
                                L"        \"counts\": true,\n"
                                L"        \"decides\": true,\n"
                                L"        \"reason\": \"counts as Ethernet\"\n"));
}

TEST(StatusJson, APulledWireIsListedWithItsLinkDown)
{
    auto report = Laptop();
    Plug(report);
    Pull(report);
    EXPECT_THAT(Json(report), HasSubstr(L"        \"address\": \"0.0.0.0\",\n"
                                        L"        \"link\": \"down\",\n"
                                        L"        \"verdict\": \"no-address\",\n"));
}

TEST(StatusJson, NotAnEthernetTypeSaysItsType)
{
    auto report = Laptop();
    diag::AdapterReading wireless;
    wireless.description = "Wi-Fi";
    wireless.type = 71;
    wireless.typeName = L"IEEE 802.11 Wireless";
    report.ethernet.adapters.push_back(wireless);
    EXPECT_THAT(Json(report), HasSubstr(L"        \"verdict\": \"not-ethernet-type\",\n"
                                        L"        \"counts\": false,\n"
                                        L"        \"decides\": false,\n"
                                        L"        \"reason\": \"does not count: not an Ethernet type (type 71, IEEE "
                                        L"802.11 Wireless)\"\n"));
}

TEST(StatusJson, TheRadiosPerPhyAndTheModem)
{
    auto report = Laptop();
    SetWifi(report, false);
    EXPECT_THAT(Json(report), HasSubstr(L"  \"radios\": {\n"
                                        L"    \"wifi\": {\n"
                                        L"      \"state\": \"off\",\n"
                                        L"      \"interfaces\": 1,\n"
                                        L"      \"interface\": \"Simulated Wireless-AC 9560\",\n"
                                        L"      \"phys\": [\n"
                                        L"        {\n"
                                        L"          \"index\": 0,\n"
                                        L"          \"software\": \"off\",\n"
                                        L"          \"hardware\": \"on\"\n"
                                        L"        },\n"
                                        L"        {\n"
                                        L"          \"index\": 1,\n"
                                        L"          \"software\": \"off\",\n"
                                        L"          \"hardware\": \"on\"\n"
                                        L"        }\n"
                                        L"      ],\n"
                                        L"      \"error\": null\n"
                                        L"    },\n"
                                        L"    \"mobileBroadband\": {\n"
                                        L"      \"state\": \"on\",\n"
                                        L"      \"interface\": \"{5A5A5A5A-0000-1111-2222-333344445555}\",\n"
                                        L"      \"software\": \"on\",\n"
                                        L"      \"hardware\": \"on\",\n"
                                        L"      \"error\": null\n"
                                        L"    }\n"
                                        L"  },\n"));
}

TEST(StatusJson, NoModem)
{
    auto report = Laptop();
    NoModem(report);
    EXPECT_THAT(Json(report), HasSubstr(L"    \"mobileBroadband\": {\n"
                                        L"      \"state\": \"absent\",\n"
                                        L"      \"interface\": null,\n"
                                        L"      \"software\": null,\n"
                                        L"      \"hardware\": null,\n"
                                        L"      \"error\": \"no mobile-broadband interface\"\n"
                                        L"    }\n"));
}

TEST(StatusJson, TheExplanationsWithTheirCauseAndNextStep)
{
    auto report = Laptop();
    Plug(report);
    SetWifi(report, false);
    SetMobileBroadband(report, false);
    EXPECT_THAT(Json(report), HasSubstr(L"  \"explanations\": {\n"
                                        L"    \"wifi\": {\n"
                                        L"      \"state\": \"off\",\n"
                                        L"      \"cause\": \"wired-link\",\n"
                                        L"      \"next\": {\n"
                                        L"        \"when\": \"wire-goes\",\n"
                                        L"        \"action\": \"switch-on\"\n"
                                        L"      },\n"
                                        L"      \"sentences\": [\n"
                                        L"        \"Wi-Fi is off because the wired adapter eth0 has an address and "
                                        L"the firmware allows LAN/WLAN switching.\",\n"
                                        L"        \"It comes back on when the wire goes, since the stored choice is "
                                        L"True.\"\n"
                                        L"      ]\n"
                                        L"    },\n"
                                        L"    \"mobileBroadband\": {\n"
                                        L"      \"state\": \"off\",\n"
                                        L"      \"cause\": \"wired-link\",\n"));
}

TEST(StatusJson, ThePolicyTheDriverSettingsAndTheConflicts)
{
    auto report = Laptop();
    report.connectionPolicy.keyFound = true;
    diag::RegistryValue minimize;
    minimize.name = L"fMinimizeConnections";
    minimize.type = REG_DWORD;
    minimize.isNumber = true;
    minimize.number = 3;
    minimize.data = L"3";
    report.connectionPolicy.values = {minimize};
    diag::DriverSetting setting;
    setting.adapterKey = L"0001";
    setting.adapter = L"Wireless";
    setting.keyword = L"WiredDisable";
    setting.label = L"Disable Upon Wired Connect";
    setting.value = L"0";
    report.driverSettings = {setting};
    const std::wstring json = Json(report);
    EXPECT_THAT(json,
                HasSubstr(L"  \"connectionManagerPolicy\": {\n"
                          L"    \"key\": \"HKLM\\\\Software\\\\Policies\\\\Microsoft\\\\Windows\\\\WcmSvc\\\\"
                          L"GroupPolicy\",\n"
                          L"    \"present\": true,\n"
                          L"    \"values\": [\n"
                          L"      {\n"
                          L"        \"name\": \"fMinimizeConnections\",\n"
                          L"        \"type\": \"REG_DWORD\",\n"
                          L"        \"data\": \"3\"\n"
                          L"      }\n"
                          L"    ]\n"
                          L"  },\n"
                          L"  \"wifiDriverSettings\": [\n"
                          L"    {\n"
                          L"      \"adapterKey\": \"0001\",\n"
                          L"      \"adapter\": \"Wireless\",\n"
                          L"      \"keyword\": \"WiredDisable\",\n"
                          L"      \"label\": \"Disable Upon Wired Connect\",\n"
                          L"      \"value\": \"0\",\n"
                          L"      \"valueLabel\": null,\n"
                          L"      \"active\": false\n"
                          L"    }\n"
                          L"  ],\n"
                          L"  \"conflicts\": [\n"
                          L"    {\n"
                          L"      \"kind\": \"connection-manager-policy\",\n"
                          L"      \"source\": \"HKLM\\\\Software\\\\Policies\\\\Microsoft\\\\Windows\\\\WcmSvc\\\\"
                          L"GroupPolicy\",\n"
                          L"      \"name\": \"fMinimizeConnections\",\n"
                          L"      \"value\": \"3\",\n"
                          L"      \"text\": \"Windows prevents Wi-Fi while on Ethernet"));
}

}  // namespace
