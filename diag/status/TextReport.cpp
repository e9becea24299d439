#include "status/TextReport.h"

#include "platform/Format.h"
#include "platform/MbnApi.h"
#include "status/Phrases.h"
#include "status/RegistryValues.h"

#include <algorithm>

namespace diag {
namespace {

// Labels in a column of their own, so the readings line up.
std::wstring Line(const wchar_t* label, const std::wstring& text)
{
    return os::FormatString(L"%-18s%s\n", label, text.c_str());
}

std::wstring Service(const ServiceReading& service)
{
    // What the registration says, once it is there.
    const bool configured = service.registered && service.configRead;
    std::wstring state = service.name + L": " + ServiceStatePhrase(service);
    if (configured)
        state += std::wstring(L", ") + StartTypeName(service.startType) + L" start";
    std::wstring text = Line(L"Service", state);
    if (configured)
        text += Line(L"", service.programPath + L", version " +
                              (service.versionFound ? service.version : std::wstring(L"unreadable")));
    return text;
}

std::wstring Switching(const wchar_t* what, const NLMUtils::SwitchingDecision& decision)
{
    return std::wstring(what) + (decision.Allowed() ? L" allowed" : L" not allowed") +
           (decision.setting != nullptr ? L" (by \"" + std::wstring(decision.setting) + L"\")" : L" (no setting)");
}

std::wstring Firmware(const FirmwareReading& firmware)
{
    const NLMUtils::AutoSwitchingRead& read = firmware.read;
    std::wstring source;
    if (read.settings.empty())
        source = os::FormatString(
            L"nothing read (0x%08X%s)", static_cast<unsigned>(read.firstResult),
            read.fallbackRead
                ? os::FormatString(L", fallback 0x%08X", static_cast<unsigned>(read.fallbackResult)).c_str()
                : L"");
    else
        source = std::wstring(L"read from ") + (read.fallbackRead ? L"QX_BIOSSetting" : L"QXBIOS_BIOSEnumeration");
    std::wstring text = Line(L"Firmware", source + os::FormatString(L" in %u ms (its own retry pauses: %u ms)",
                                                                    static_cast<unsigned>(firmware.elapsedMilliseconds),
                                                                    static_cast<unsigned>(read.pausedMilliseconds)));
    for (const auto& [name, value] : read.settings)
        text += Line(L"", name + L" = \"" + value + L"\"");
    text += Line(L"", Switching(L"Wi-Fi switching", firmware.decision.wlan) + L"; " +
                          Switching(L"mobile-broadband switching", firmware.decision.wwan));
    return text;
}

std::wstring Choice(const StoredChoice& choice)
{
    return choice.wasEmpty ? L"missing (counts as True)" : L"\"" + choice.text + L"\"" + (choice.on ? L"" : L" (off)");
}

std::wstring Adapters(const EthernetReading& ethernet)
{
    if (!ethernet.listRead)
        return Line(L"Adapters", os::FormatString(L"the list could not be read (error %u): the service's Ethernet "
                                                  L"test fails too",
                                                  ethernet.error));
    const AdapterReading* deciding = ethernet.Deciding();
    std::wstring text =
        Line(L"Adapters", deciding != nullptr ? L"Ethernet is up: " + Widen(deciding->description) + L" decides"
                                              : std::wstring(L"no adapter counts as Ethernet"));
    for (const AdapterReading& adapter : ethernet.adapters)
        text += os::FormatString(L"  %-16s%-16slink %-8s%s%s\n", Widen(adapter.description).c_str(),
                                 Widen(adapter.address).c_str(), LinkName(adapter.link), AdapterReason(adapter).c_str(),
                                 adapter.decides ? L" (decides)" : L"");
    return text;
}

std::wstring Wlan(const WlanReading& wlan)
{
    if (!wlan.read)
        return Line(L"Wi-Fi radio", wlan.failure);
    std::wstring phys;
    for (const WlanPhyReading& phy : wlan.phys)
        phys += os::FormatString(L"; PHY %u %s (hardware %s)", phy.index, PhyStateName(phy.software),
                                 PhyStateName(phy.hardware));
    return Line(L"Wi-Fi radio", std::wstring(wlan.on ? L"on" : L"off") + L" (" + wlan.description + phys + L")");
}

std::wstring Wwan(const WwanReading& wwan)
{
    if (!wwan.read)
        return Line(L"Mobile radio", wwan.failure);
    return Line(L"Mobile radio", std::wstring(wwan.on ? L"on" : L"off") + L" (interface " + wwan.interfaceId +
                                     L"; hardware " + (wwan.hardware == MBN_RADIO_ON ? L"on" : L"off") + L")");
}

std::wstring Why(const Reasoning& reasoning)
{
    std::wstring text = L"\nWhy\n";
    for (const std::wstring& sentence : reasoning.wifi.sentences)
        text += L"  " + sentence + L"\n";
    for (const std::wstring& sentence : reasoning.mobileBroadband.sentences)
        text += L"  " + sentence + L"\n";
    return text;
}

std::wstring Conflicts(const StatusReport& report, const Reasoning& reasoning)
{
    std::wstring text = L"\nConflicts\n";
    for (const Conflict& conflict : reasoning.conflicts)
        text +=
            L"  " + conflict.text + L" [" + conflict.source + L": " + conflict.name + L" = " + conflict.value + L"]\n";
    if (reasoning.conflicts.empty())
        text += L"  none seen\n";
    // What was looked at, conflict or not.
    std::wstring policy = L"  Connection manager policy (HKLM\\" + report.connectionPolicy.key + L"): ";
    if (!report.connectionPolicy.keyFound)
        policy += L"not set";
    for (size_t i = 0; i < report.connectionPolicy.values.size(); ++i) {
        const RegistryValue& value = report.connectionPolicy.values[i];
        policy += (i == 0 ? L"" : L", ") + value.name + L" = " + value.data;
    }
    if (report.connectionPolicy.keyFound && report.connectionPolicy.values.empty())
        policy += L"no values";
    text += policy + L"\n";
    text +=
        os::FormatString(L"  Wi-Fi driver settings on wired links: %u found, %u active\n",
                         static_cast<unsigned>(report.driverSettings.size()),
                         static_cast<unsigned>(std::count_if(report.driverSettings.begin(), report.driverSettings.end(),
                                                             [](const DriverSetting& s) { return s.active; })));
    return text;
}

}  // namespace

std::wstring StatusText(const StatusReport& report, const Reasoning& reasoning)
{
    std::wstring text = L"TessarineDiag status\n\n";
    text += Service(report.service);
    text += Firmware(report.firmware);
    text += Line(L"Stored choices",
                 L"Wi-Fi " + Choice(report.wlanChoice) + L", mobile broadband " + Choice(report.wwanChoice));
    text += Line(L"Airplane mode", report.airplaneMode ? L"on" : L"off");
    text += Adapters(report.ethernet);
    text += Wlan(report.wlan);
    text += Wwan(report.wwan);
    text += Why(reasoning);
    text += Conflicts(report, reasoning);
    text += os::FormatString(L"\nstatus took %u ms\n", static_cast<unsigned>(report.elapsedMilliseconds));
    return text;
}

}  // namespace diag
