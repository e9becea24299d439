#include "network/AdapterWalks.h"

#include "network/NLMUtils.h"

#include <cstring>
#include <cwchar>
#include <locale>

using namespace QX::Shared;

namespace NLMUtils {
namespace {

constexpr const char* kVpnWords[] = {"VPN", "Virtual", "TAP-Win"};
constexpr const wchar_t* kWideVpnWords[] = {L"VPN", L"Virtual", L"TAP-Win"};

// The one message for each legacy adapter type other than Ethernet.
const wchar_t* TypeMessage(UINT type)
{
    switch (type) {
    case MIB_IF_TYPE_OTHER: return L"Some other type of network interface.";
    case IF_TYPE_IEEE80211: return L"An IEEE 802.11 wireless network interface.";
    case 237:  // IF_TYPE_IEEE80216_WMAN
        return L"A mobile broadband interface for WiMax devices.";
    case 243:  // IF_TYPE_WWANPP
        return L"A mobile broadband interface for GSM - based devices.";
    case 244:  // IF_TYPE_WWANPP2
        return L"A mobile broadband interface for CDMA-based devices.";
    default: return nullptr;
    }
}

// AdapterName widened one character at a time, as the classic locale does.
std::wstring Widen(const char* text)
{
    const auto& facet = std::use_facet<std::ctype<wchar_t>>(std::locale::classic());
    std::wstring wide;
    for (; *text != '\0'; ++text)
        wide.push_back(facet.widen(*text));
    return wide;
}

}  // namespace

const char* VpnWordIn(const char* description)
{
    for (const char* word : kVpnWords)
        if (std::strstr(description, word) != nullptr)
            return word;
    return nullptr;
}

bool HasVpnWord(const char* description) { return VpnWordIn(description) != nullptr; }

bool HasVpnWord(const wchar_t* description)
{
    if (description == nullptr)
        return false;
    for (const wchar_t* word : kWideVpnWords)
        if (std::wcsstr(description, word) != nullptr)
            return true;
    return false;
}

AdapterVerdict ClassifyAdapterInfo(const IP_ADAPTER_INFO& adapter)
{
    if (adapter.Type != MIB_IF_TYPE_ETHERNET)
        return AdapterVerdict::NotEthernetType;
    // The whole text: an address that only begins with these seven
    // characters is an assigned one.
    if (std::strcmp(adapter.IpAddressList.IpAddress.String, "0.0.0.0") == 0)
        return AdapterVerdict::NoAddress;
    if (HasVpnWord(adapter.Description))
        return AdapterVerdict::VpnDescription;
    return AdapterVerdict::Ethernet;
}

void WalkAdapterInfo(const IP_ADAPTER_INFO* head, int* ethernetStatus, int* ipNotAssigned, const FunctionLog& log)
{
    for (const IP_ADAPTER_INFO* adapter = head; adapter != nullptr; adapter = adapter->Next) {
        switch (ClassifyAdapterInfo(*adapter)) {
        case AdapterVerdict::NotEthernetType:
            if (const wchar_t* message = TypeMessage(adapter->Type))
                log.Log(LevelInformation, message);
            else
                log.Log(LevelInformation, L"Unknown type %d", adapter->Type);
            continue;
        case AdapterVerdict::NoAddress:
            // Nothing is logged for it.
            if (ipNotAssigned != nullptr)
                *ipNotAssigned = 1;
            continue;
        case AdapterVerdict::VpnDescription:
            log.Log(LevelInformation, L"An Ethernet network interface.");
            log.Log(LevelInformation, L"Ethernet is VPN and IP is valid");
            continue;
        case AdapterVerdict::Ethernet:
            log.Log(LevelInformation, L"An Ethernet network interface.");
            log.Log(LevelInformation, L"Ethernet is not VPN and IP is valid");
            *ethernetStatus = 1;
            return;
        }
    }
    *ethernetStatus = 0;
}

bool WalkAdapterAddresses(const IP_ADAPTER_ADDRESSES* head, const std::wstring& adapterGuid, bool* isEthernet,
                          const FunctionLog& log)
{
    bool matched = false;
    // The walk goes on past a match: every adapter of that name counts.
    for (const IP_ADAPTER_ADDRESSES* adapter = head; adapter != nullptr; adapter = adapter->Next) {
        if (Widen(adapter->AdapterName) != adapterGuid)
            continue;
        matched = true;
        IFTYPE type = adapter->IfType;
        log.Log(LevelInformation, L"Description   : %s", adapter->Description);
        log.Log(LevelInformation, L"Friendly Name : %s", adapter->FriendlyName);
        log.Log(LevelInformation, L"Interface type: %s", GetInterfaceTypeString(type).c_str());
        const bool vpn = HasVpnWord(adapter->Description);
        if (vpn)
            log.Log(LevelInformation, L"Ethernet is VPN connection");
        if (adapter->IfType == IF_TYPE_ETHERNET_CSMACD && !vpn)
            *isEthernet = true;
    }
    return matched;
}

}  // namespace NLMUtils
