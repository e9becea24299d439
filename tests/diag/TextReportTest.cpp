// The status report as text, and what the verb prints and returns.
#include "StatusFixtures.h"

#include "Verbs.h"
#include "fakes/ConsoleCapture.h"
#include "status/Reasoning.h"
#include "status/StatusPrinting.h"
#include "status/TextReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace diagtest;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::wstring Text(const diag::StatusReport& report) { return diag::StatusText(report, diag::Reason(report)); }

TEST(StatusText, TheReadingsThenWhyThenTheConflicts)
{
    auto report = Laptop();
    Plug(report, "TAP-Win1", "192.168.78.2");
    Plug(report);
    SetWifi(report, false);
    SetMobileBroadband(report, false);
    const std::wstring text = Text(report);
    EXPECT_THAT(text, StartsWith(L"TessarineDiag status\n"
                                 L"\n"
                                 L"Service           Tessarine: running, automatic start\n"
                                 L"                  C:\\TessarineLaptop\\Tessarine.exe, version 1.0.0.0\n"
                                 L"Firmware          read from QXBIOS_BIOSEnumeration in 12 ms (its own retry pauses: "
                                 L"0 ms)\n"
                                 L"                  LAN / WLAN Auto Switching = \"Enable\"\n"
                                 L"                  LAN / WWAN Auto Switching = \"Enable\"\n"
                                 L"                  Wi-Fi switching allowed (by \"LAN / WLAN Auto Switching\"); "
                                 L"mobile-broadband switching allowed (by \"LAN / WWAN Auto Switching\")\n"
                                 L"Stored choices    Wi-Fi \"True\", mobile broadband \"True\"\n"
                                 L"Airplane mode     off\n"
                                 L"Adapters          Ethernet is up: eth0 decides\n"
                                 L"  TAP-Win1        192.168.78.2    link up      does not count: its description "
                                 L"holds \"TAP-Win\", so it is taken for a VPN or virtual adapter\n"
                                 L"  eth0            192.168.77.2    link up      counts as Ethernet (decides)\n"
                                 L"Wi-Fi radio       off (Simulated Wireless-AC 9560; PHY 0 off (hardware on); PHY 1 "
                                 L"off (hardware on))\n"
                                 L"Mobile radio      off (interface {5A5A5A5A-0000-1111-2222-333344445555}; hardware "
                                 L"on)\n"
                                 L"\n"
                                 L"Why\n"
                                 L"  Wi-Fi is off because the wired adapter eth0 has an address and the firmware "
                                 L"allows LAN/WLAN switching.\n"
                                 L"  It comes back on when the wire goes, since the stored choice is True.\n"
                                 L"  Mobile broadband is off because"));
    EXPECT_THAT(text, EndsWith(L"\nConflicts\n"
                               L"  none seen\n"
                               L"  Connection manager policy "
                               L"(HKLM\\Software\\Policies\\Microsoft\\Windows\\WcmSvc\\GroupPolicy): not set\n"
                               L"  Wi-Fi driver settings on wired links: 0 found, 0 active\n"
                               L"\n"
                               L"status took 40 ms\n"));
}

TEST(StatusText, WhatCouldNotBeRead)
{
    auto report = Laptop();
    report.service = {};
    report.service.name = L"Tessarine";
    report.service.scmOpened = true;
    report.firmware.read = {};
    report.firmware.read.firstResult = static_cast<HRESULT>(0x8004100E);
    report.firmware.read.fallbackRead = true;
    report.firmware.read.fallbackResult = static_cast<HRESULT>(0x8004100E);
    report.firmware.decision = {};
    StoreWifiChoice(report, L"");
    report.ethernet.listRead = false;
    report.ethernet.error = 232;
    report.wlan = {};
    report.wlan.failure = L"no Wi-Fi interface";
    NoModem(report);
    const std::wstring text = Text(report);
    EXPECT_THAT(text, HasSubstr(L"Service           Tessarine: not installed\n"
                                L"Firmware          nothing read (0x8004100E, fallback 0x8004100E) in 12 ms (its own "
                                L"retry pauses: 0 ms)\n"
                                L"                  Wi-Fi switching not allowed (no setting); mobile-broadband "
                                L"switching not allowed (no setting)\n"
                                L"Stored choices    Wi-Fi missing (counts as True), mobile broadband \"True\"\n"));
    EXPECT_THAT(text, HasSubstr(L"Adapters          the list could not be read (error 232): the service's Ethernet "
                                L"test fails too\n"
                                L"Wi-Fi radio       no Wi-Fi interface\n"
                                L"Mobile radio      no mobile-broadband interface\n"));
}

TEST(StatusText, TheConflictsAndWhatWasLookedAt)
{
    auto report = Laptop();
    report.connectionPolicy.keyFound = true;
    diag::RegistryValue soft;
    soft.name = L"fSoftDisconnectConnections";
    soft.isNumber = true;
    soft.number = 1;
    soft.data = L"1";
    diag::RegistryValue minimize = soft;
    minimize.name = L"fMinimizeConnections";
    report.connectionPolicy.values = {minimize, soft};
    EXPECT_THAT(Text(report), HasSubstr(L"\nConflicts\n"
                                        L"  Windows minimizes simultaneous connections: it disconnects Wi-Fi and "
                                        L"mobile broadband from their networks itself when a wired network connects, "
                                        L"whatever the firmware allows the service. "
                                        L"[HKLM\\Software\\Policies\\Microsoft\\Windows\\WcmSvc\\GroupPolicy: "
                                        L"fMinimizeConnections = 1]\n"
                                        L"  Connection manager policy "
                                        L"(HKLM\\Software\\Policies\\Microsoft\\Windows\\WcmSvc\\GroupPolicy): "
                                        L"fMinimizeConnections = 1, fSoftDisconnectConnections = 1\n"));
}

TEST(PrintStatus, PrintsTheReportAndSaysWhetherTheServiceRuns)
{
    auto report = Laptop();
    {
        fakes::ConsoleCapture console;
        EXPECT_EQ(diag::PrintStatus(report, false), diag::kExitRan);
        EXPECT_THAT(console.Text(), StartsWith(L"TessarineDiag status\n"));
    }
    {
        fakes::ConsoleCapture console;
        EXPECT_EQ(diag::PrintStatus(report, true), diag::kExitRan);
        EXPECT_THAT(console.Text(), StartsWith(L"{\n  \"schema\": \"tessarine-diag\",\n"));
        EXPECT_THAT(console.Text(), EndsWith(L"}\n"));
    }
    StopService(report);
    {
        fakes::ConsoleCapture console;
        EXPECT_EQ(diag::PrintStatus(report, true), diag::kExitServiceNotRunning);
        EXPECT_THAT(console.Text(), HasSubstr(L"\"state\": \"stopped\""));
    }
    report.service.registered = false;
    {
        fakes::ConsoleCapture console;
        EXPECT_EQ(diag::PrintStatus(report, false), diag::kExitServiceNotRunning);
        EXPECT_THAT(console.Text(), HasSubstr(L"Service           Tessarine: not installed\n"));
    }
}

}  // namespace
