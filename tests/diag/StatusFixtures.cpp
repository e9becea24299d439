#include "StatusFixtures.h"

#include "network/AdapterWalks.h"
#include "platform/MbnApi.h"

#include <wlanapi.h>

namespace diagtest {
namespace {

using diag::AdapterReading;
using NLMUtils::AdapterVerdict;

void Rejudge(diag::EthernetReading& ethernet)
{
    ethernet.up = false;
    ethernet.addressPending = false;
    for (AdapterReading& adapter : ethernet.adapters) {
        adapter.decides = !ethernet.up && adapter.verdict == AdapterVerdict::Ethernet;
        ethernet.up = ethernet.up || adapter.decides;
        ethernet.addressPending = ethernet.addressPending || adapter.verdict == AdapterVerdict::NoAddress;
    }
}

AdapterReading Adapter(const std::string& name, const std::string& address)
{
    AdapterReading adapter;
    adapter.name = "{00000007-0000-0000-0000-4E6574446576}";
    adapter.description = name;
    adapter.type = MIB_IF_TYPE_ETHERNET;
    adapter.typeName = L"Ethernet";
    adapter.address = address;
    adapter.link = AdapterReading::Link::Up;
    return adapter;
}

void Decide(diag::StatusReport& report)
{
    report.firmware.decision = NLMUtils::DecideAutoSwitching(report.firmware.read.settings);
}

void Store(diag::StoredChoice& choice, const std::wstring& text)
{
    choice.wasEmpty = text.empty();
    choice.text = text.empty() ? L"True" : text;
    choice.on = choice.text == L"True";
}

}  // namespace

diag::StatusReport Laptop()
{
    diag::StatusReport report;
    report.service.name = L"Tessarine";
    report.service.scmOpened = true;
    report.service.registered = true;
    report.service.state = SERVICE_RUNNING;
    report.service.startType = SERVICE_AUTO_START;
    report.service.configRead = true;
    report.service.registeredPath = L"\"C:\\TessarineLaptop\\Tessarine.exe\"";
    report.service.programPath = L"C:\\TessarineLaptop\\Tessarine.exe";
    report.service.versionFound = true;
    report.service.version = L"1.0.0.0";

    report.firmware.read.settings = {{L"LAN / WLAN Auto Switching", L"Enable"},
                                     {L"LAN / WWAN Auto Switching", L"Enable"}};
    report.firmware.elapsedMilliseconds = 12;
    Decide(report);

    Store(report.wlanChoice, L"True");
    Store(report.wwanChoice, L"True");

    report.ethernet.listRead = true;

    report.wlan.read = true;
    report.wlan.listed = true;
    report.wlan.interfaces = 1;
    report.wlan.description = L"Simulated Wireless-AC 9560";
    report.wwan.managerCreated = true;
    report.wwan.deviceFound = true;
    report.wwan.read = true;
    report.wwan.interfaceId = L"{5A5A5A5A-0000-1111-2222-333344445555}";
    report.wwan.hardware = MBN_RADIO_ON;
    SetWifi(report, true);
    SetMobileBroadband(report, true);

    report.connectionPolicy.key = L"Software\\Policies\\Microsoft\\Windows\\WcmSvc\\GroupPolicy";
    report.elapsedMilliseconds = 40;
    return report;
}

void Plug(diag::StatusReport& report, const std::string& name, const std::string& address)
{
    AdapterReading adapter = Adapter(name, address);
    adapter.verdict = AdapterVerdict::Ethernet;
    if (const char* word = NLMUtils::VpnWordIn(name.c_str())) {
        adapter.verdict = AdapterVerdict::VpnDescription;
        adapter.vpnWord = word;
    }
    report.ethernet.adapters.push_back(adapter);
    Rejudge(report.ethernet);
}

void PlugWithoutAddress(diag::StatusReport& report, const std::string& name)
{
    AdapterReading adapter = Adapter(name, "0.0.0.0");
    adapter.verdict = AdapterVerdict::NoAddress;
    report.ethernet.adapters.push_back(adapter);
    Rejudge(report.ethernet);
}

void Pull(diag::StatusReport& report)
{
    // As IP Helper lists a pulled wire: still there, without an address,
    // its link down.
    for (AdapterReading& adapter : report.ethernet.adapters) {
        adapter.address = "0.0.0.0";
        adapter.verdict = AdapterVerdict::NoAddress;
        adapter.vpnWord.clear();
        adapter.link = AdapterReading::Link::Down;
    }
    Rejudge(report.ethernet);
}

void SetWifi(diag::StatusReport& report, bool on)
{
    const DWORD state = on ? dot11_radio_state_on : dot11_radio_state_off;
    report.wlan.phys = {{0, state, dot11_radio_state_on}, {1, state, dot11_radio_state_on}};
    report.wlan.on = on;
}

void SetMobileBroadband(diag::StatusReport& report, bool on)
{
    report.wwan.software = on ? MBN_RADIO_ON : MBN_RADIO_OFF;
    report.wwan.on = on;
}

void StoreWifiChoice(diag::StatusReport& report, const std::wstring& text) { Store(report.wlanChoice, text); }

void StoreMobileBroadbandChoice(diag::StatusReport& report, const std::wstring& text)
{
    Store(report.wwanChoice, text);
}

void SetFirmware(diag::StatusReport& report, const std::wstring& setting, const std::wstring& value)
{
    report.firmware.read.settings[setting] = value;
    Decide(report);
}

void NoModem(diag::StatusReport& report)
{
    report.wwan = {};
    report.wwan.managerCreated = true;
    report.wwan.failure = L"no mobile-broadband interface";
}

void StopService(diag::StatusReport& report) { report.service.state = SERVICE_STOPPED; }

}  // namespace diagtest
