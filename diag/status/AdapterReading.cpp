// IP Helper's legacy adapter list, judged by the service's own rule
// (network/AdapterWalks.h): each adapter's verdict, and the walk's result
// over the whole list, which ends at the adapter that decides. Beside the
// rule, each adapter's link from the address list, so that a wire without
// an address can be told from a port without a cable.
#include "status/Readings.h"

#include "logging/OperationLog.h"
#include "network/NLMUtils.h"
#include "platform/Api.h"

#include <map>
#include <string>
#include <vector>

using namespace QX::Shared;

namespace diag {
namespace {

// A few tries: the list may grow between the sizing call and the next.
constexpr int kListTries = 3;

// The list into whole records (so it is aligned as the call expects);
// the call's code.
DWORD FetchList(std::vector<IP_ADAPTER_INFO>& buffer)
{
    ULONG length = sizeof(IP_ADAPTER_INFO);
    DWORD result = ERROR_BUFFER_OVERFLOW;
    for (int attempt = 0; attempt < kListTries && result == ERROR_BUFFER_OVERFLOW; ++attempt) {
        buffer.assign(length / sizeof(IP_ADAPTER_INFO) + 1, IP_ADAPTER_INFO{});
        length = static_cast<ULONG>(buffer.size() * sizeof(IP_ADAPTER_INFO));
        result = os::api().GetAdaptersInfo(buffer.data(), &length);
    }
    return result;
}

// Each adapter's link by its name, from the address list; empty when the
// list cannot be read.
std::map<std::string, AdapterReading::Link> ReadLinks()
{
    constexpr ULONG kFlags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    std::vector<IP_ADAPTER_ADDRESSES> buffer;
    ULONG length = 16 * sizeof(IP_ADAPTER_ADDRESSES);
    DWORD result = ERROR_BUFFER_OVERFLOW;
    for (int attempt = 0; attempt < kListTries && result == ERROR_BUFFER_OVERFLOW; ++attempt) {
        buffer.assign(length / sizeof(IP_ADAPTER_ADDRESSES) + 1, IP_ADAPTER_ADDRESSES{});
        length = static_cast<ULONG>(buffer.size() * sizeof(IP_ADAPTER_ADDRESSES));
        result = os::api().GetAdaptersAddresses(AF_UNSPEC, kFlags, nullptr, buffer.data(), &length);
    }
    std::map<std::string, AdapterReading::Link> links;
    if (result != ERROR_SUCCESS)
        return links;
    for (const IP_ADAPTER_ADDRESSES* adapter = buffer.data(); adapter != nullptr; adapter = adapter->Next)
        links[adapter->AdapterName] =
            adapter->OperStatus == IfOperStatusUp ? AdapterReading::Link::Up : AdapterReading::Link::Down;
    return links;
}

}  // namespace

EthernetReading ReadAdapters()
{
    OperationLog op("TessarineDiag::ReadAdapters");
    EthernetReading reading;
    std::vector<IP_ADAPTER_INFO> buffer;
    const DWORD result = FetchList(buffer);
    if (result != ERROR_SUCCESS) {
        // The service's test fails too (no adapter gives ERROR_NO_DATA).
        reading.error = result;
        op.Log(LevelError, L"GetAdaptersInfo() failed.Error = 0x%08lx", result);
        return reading;
    }
    reading.listRead = true;
    const IP_ADAPTER_INFO* head = buffer.data();

    int ethernetStatus = 0;
    int ipNotAssigned = 0;
    NLMUtils::WalkAdapterInfo(head, &ethernetStatus, &ipNotAssigned, op);
    reading.up = ethernetStatus == 1;
    reading.addressPending = ipNotAssigned == 1;

    const std::map<std::string, AdapterReading::Link> links = ReadLinks();
    bool decided = false;
    for (const IP_ADAPTER_INFO* adapter = head; adapter != nullptr; adapter = adapter->Next) {
        AdapterReading entry;
        entry.name = adapter->AdapterName;
        entry.description = adapter->Description;
        entry.type = adapter->Type;
        IFTYPE type = adapter->Type;
        entry.typeName = NLMUtils::GetInterfaceTypeString(type);
        entry.address = adapter->IpAddressList.IpAddress.String;
        const auto link = links.find(entry.name);
        if (link != links.end())
            entry.link = link->second;
        entry.verdict = NLMUtils::ClassifyAdapterInfo(*adapter);
        if (entry.verdict == NLMUtils::AdapterVerdict::VpnDescription)
            entry.vpnWord = NLMUtils::VpnWordIn(adapter->Description);
        // The walk ends at the first adapter that counts.
        entry.decides = !decided && entry.verdict == NLMUtils::AdapterVerdict::Ethernet;
        decided = decided || entry.decides;
        reading.adapters.push_back(entry);
    }
    op.Exit(L"Ethernet Status = %d, Adapters = %d", ethernetStatus, static_cast<int>(reading.adapters.size()));
    return reading;
}

}  // namespace diag
