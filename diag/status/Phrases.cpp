#include "status/Phrases.h"

#include "platform/Format.h"

#include <winsvc.h>
#include <wlanapi.h>

namespace diag {

std::wstring WirePhrase(const EthernetReading& ethernet)
{
    const AdapterReading* deciding = ethernet.Deciding();
    return L"the wired adapter " + (deciding != nullptr ? Widen(deciding->description) : std::wstring(L"?")) +
           L" has an address";
}

std::wstring NoAddressPhrase(const AdapterReading& adapter)
{
    switch (adapter.link) {
    case AdapterReading::Link::Up: return L" has its link up but no address yet";
    case AdapterReading::Link::Down: return L" has no address and its link is down";
    case AdapterReading::Link::Unknown: break;
    }
    return L" has no address";
}

const wchar_t* LinkName(AdapterReading::Link link)
{
    switch (link) {
    case AdapterReading::Link::Up: return L"up";
    case AdapterReading::Link::Down: return L"down";
    case AdapterReading::Link::Unknown: break;
    }
    return L"unknown";
}

std::wstring NoWirePhrase(const EthernetReading& ethernet)
{
    std::wstring phrase = L"no wired adapter counts as Ethernet";
    if (!ethernet.listRead)
        return phrase + os::FormatString(L" (the adapter list could not be read: error %u)", ethernet.error);
    std::wstring details;
    for (const AdapterReading& adapter : ethernet.adapters) {
        std::wstring detail;
        if (adapter.verdict == NLMUtils::AdapterVerdict::NoAddress)
            detail = Widen(adapter.description) + NoAddressPhrase(adapter);
        else if (adapter.verdict == NLMUtils::AdapterVerdict::VpnDescription)
            detail = Widen(adapter.description) + L" is described as a VPN or virtual adapter";
        else
            continue;
        details += (details.empty() ? L"" : L"; ") + detail;
    }
    return details.empty() ? phrase : phrase + L" (" + details + L")";
}

std::wstring FirmwarePhrase(const NLMUtils::SwitchingDecision& decision, const FirmwareReading& firmware,
                            const wchar_t* switching)
{
    const std::wstring what = switching;
    if (decision.Allowed())
        return L"the firmware allows " + what;
    if (decision.setting == nullptr) {
        if (firmware.read.settings.empty())
            return L"the firmware settings could not be read, which the service takes as forbidding " + what;
        return L"the firmware has no " + what + L" setting, which the service takes as forbidding it";
    }
    const auto found = firmware.read.settings.find(decision.setting);
    const std::wstring value = found != firmware.read.settings.end() ? found->second : std::wstring();
    if (decision.verdict == NLMUtils::SettingVerdict::Empty)
        return L"the firmware's \"" + std::wstring(decision.setting) +
               L"\" is empty, which the service takes as forbidding " + what;
    return L"the firmware forbids " + what + L" (\"" + decision.setting + L"\" is \"" + value + L"\")";
}

std::wstring StoredPhrase(const StoredChoice& choice)
{
    if (choice.wasEmpty)
        return L"the stored choice is True (nothing is stored, which counts as True)";
    if (choice.on || choice.text == L"False")
        return L"the stored choice is " + choice.text;
    return L"the stored choice is \"" + choice.text + L"\", which counts as False";
}

const wchar_t* VerdictName(NLMUtils::AdapterVerdict verdict)
{
    switch (verdict) {
    case NLMUtils::AdapterVerdict::NotEthernetType: return L"not-ethernet-type";
    case NLMUtils::AdapterVerdict::NoAddress: return L"no-address";
    case NLMUtils::AdapterVerdict::VpnDescription: return L"vpn-description";
    case NLMUtils::AdapterVerdict::Ethernet: return L"ethernet";
    }
    return L"not-ethernet-type";
}

std::wstring AdapterReason(const AdapterReading& adapter)
{
    switch (adapter.verdict) {
    case NLMUtils::AdapterVerdict::NotEthernetType:
        return os::FormatString(L"does not count: not an Ethernet type (type %u, %s)", adapter.type,
                                adapter.typeName.c_str());
    case NLMUtils::AdapterVerdict::NoAddress: return L"does not count: no address (0.0.0.0)";
    case NLMUtils::AdapterVerdict::VpnDescription:
        return L"does not count: its description holds \"" + Widen(adapter.vpnWord) +
               L"\", so it is taken for a VPN or virtual adapter";
    case NLMUtils::AdapterVerdict::Ethernet: return L"counts as Ethernet";
    }
    return std::wstring();
}

const wchar_t* StartTypeName(DWORD startType)
{
    switch (startType) {
    case SERVICE_BOOT_START: return L"boot";
    case SERVICE_SYSTEM_START: return L"system";
    case SERVICE_AUTO_START: return L"automatic";
    case SERVICE_DEMAND_START: return L"manual";
    case SERVICE_DISABLED: return L"disabled";
    default: return L"unknown";
    }
}

const wchar_t* PhyStateName(DWORD state)
{
    switch (state) {
    case dot11_radio_state_on: return L"on";
    case dot11_radio_state_off: return L"off";
    default: return L"unknown";
    }
}

const wchar_t* ServiceStateName(DWORD state)
{
    switch (state) {
    case SERVICE_STOPPED: return L"stopped";
    case SERVICE_START_PENDING: return L"starting";
    case SERVICE_STOP_PENDING: return L"stopping";
    case SERVICE_RUNNING: return L"running";
    case SERVICE_CONTINUE_PENDING: return L"continuing";
    case SERVICE_PAUSE_PENDING: return L"pausing";
    case SERVICE_PAUSED: return L"paused";
    default: return L"in an unknown state";
    }
}

std::wstring ServiceStatePhrase(const ServiceReading& service)
{
    if (!service.scmOpened)
        return os::FormatString(L"not known (the Service Control Manager did not open: error %u)", service.error);
    if (!service.registered)
        return service.error == 0 ? L"not installed"
                                  : os::FormatString(L"not known (the service did not open: error %u)", service.error);
    return ServiceStateName(service.state);
}

}  // namespace diag
