// The per-connection Ethernet test: a connection's adapter looked up in
// GetAdaptersAddresses' list.
#include "network/AdapterWalks.h"
#include "network/NLMUtils.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "platform/ComPtr.h"
#include "platform/UniqueHandle.h"

using namespace QX::Shared;

namespace NLMUtils {
namespace {

// Big enough for a typical machine's list without a sizing call.
constexpr ULONG kFirstAdapterAddressesLength = 15000;
// Attempts of the re-allocation loop: a result won at the third attempt or
// later is discarded.
constexpr int kAttemptLimit = 3;

struct InterfaceTypeName {
    IFTYPE type;
    const wchar_t* name;
};

constexpr InterfaceTypeName kInterfaceTypeNames[] = {
    {IF_TYPE_OTHER, L"Other"},
    {IF_TYPE_ETHERNET_CSMACD, L"Ethernet"},
    {IF_TYPE_ISO88025_TOKENRING, L"Token Ring"},
    {IF_TYPE_PPP, L"PPP"},
    {IF_TYPE_SOFTWARE_LOOPBACK, L"Software Loopback"},
    {IF_TYPE_ATM, L"ATM"},
    {IF_TYPE_IEEE80211, L"IEEE 802.11 Wireless"},
    {IF_TYPE_TUNNEL, L"Tunnel"},
    {IF_TYPE_IEEE1394, L"IEEE 1394 (Firewire)"},
};

}  // namespace

std::wstring GetInterfaceTypeString(IFTYPE& type)
{
    OperationLog op("NLMUtils::GetInterfaceTypeString", L"IFTYPE Value = %d", type);
    std::wstring name = L"Unrecognized interface type";
    for (const InterfaceTypeName& entry : kInterfaceTypeNames)
        if (entry.type == type)
            name = entry.name;
    op.Exit(L"InterfaceType = %s", name.c_str());
    return name;
}

void PrintAdapterInfo(const std::wstring& adapterGuid, bool* isEthernet)
{
    OperationLog op("NLMUtils::PrintAdapterInfo", L"GUID Value = %s", adapterGuid.c_str());
    try {
        ULONG length = kFirstAdapterAddressesLength;
        os::UniqueProcessHeapBlock buffer(os::AllocateFromProcessHeap(length));
        if (!buffer) {
            op.Log(LevelError, L"Memory allocation failed for IP_ADAPTER_ADDRESSES struct");
            return;
        }
        const auto getAddresses = [&] {
            return os::api().GetAdaptersAddresses(AF_UNSPEC, GAA_FLAG_INCLUDE_PREFIX, nullptr,
                                                  static_cast<IP_ADAPTER_ADDRESSES*>(buffer.get()), &length);
        };
        ULONG status = getAddresses();
        if (status != ERROR_SUCCESS) {
            op.Log(LevelInformation, L"GetAdaptersAddresses failed with an Error code : %d", status);
            if (status == ERROR_BUFFER_OVERFLOW) {
                int attempts = 0;
                do {
                    op.Log(LevelInformation,
                           L"The buffer size is not enough,trying to allocate more memory...Required Memory is %d "
                           L"Bytes",
                           length);
                    buffer.reset();
                    buffer.reset(os::AllocateFromProcessHeap(length));
                    if (!buffer) {
                        op.Log(LevelError, L"Memory allocation failed for IP_ADAPTER_ADDRESSES struct");
                        ++attempts;
                    } else {
                        status = getAddresses();
                        ++attempts;
                        if (status != ERROR_BUFFER_OVERFLOW)
                            break;
                    }
                } while (attempts <= kAttemptLimit);
                if (attempts >= kAttemptLimit) {
                    op.Log(LevelError, L"Memory allocation retry limit exceeded ");
                    return;
                }
            }
        }
        if (status != ERROR_SUCCESS) {
            op.Log(LevelError, L"ERROR with GetAdaptersAddresses");
            return;
        }
        op.Log(LevelInformation, L"Memory allocation success for IP_ADAPTER_ADDRESSES struct");
        if (!WalkAdapterAddresses(static_cast<const IP_ADAPTER_ADDRESSES*>(buffer.get()), adapterGuid, isEthernet, op))
            op.Log(LevelWarning, L"Could not find matching adapter");
        buffer.reset();
        op.Exit(L"Ethernet Status = %d", *isEthernet);
    } catch (...) {
        op.Log(LevelError, L"Exception in PrintAdapterInfo()");
    }
}

bool IsEthernetConnection(INetworkListManager* networkListManager, GUID connectionId, bool* isEthernet)
{
    OperationLog op("NLMUtils::IsEthernetConnection");
    try {
        if (networkListManager == nullptr) {
            op.Log(LevelError, L"INetworkListManager is NULL");
            return false;
        }
        os::ComPtr<INetworkConnection> connection;
        HRESULT hr = networkListManager->GetNetworkConnection(connectionId, connection.Put());
        if (FAILED(hr)) {
            op.Log(LevelError, L"GetNetworkConnection Failed with error 0x%08X", hr);
            return false;
        }
        GUID adapterId = {};
        hr = connection->GetAdapterId(&adapterId);
        if (FAILED(hr)) {
            op.Log(LevelError, L"GetAdapterId Failed with error 0x%08X", hr);
            return false;
        }
        os::UniqueCoTaskString adapterText;
        hr = os::api().StringFromCLSID(adapterId, adapterText.put());
        if (FAILED(hr)) {
            op.Log(LevelError, L"StringFromCLSID Failed with error 0x%08X", hr);
            return false;
        }
        op.Log(LevelInformation, L"Matching Adapter Id: %s", adapterText.get());
        PrintAdapterInfo(adapterText.get(), isEthernet);
        adapterText.reset();
        op.Exit(L"Return Value = %d", 1);
        return true;
    } catch (...) {
        op.Log(LevelError, L"Exception in IsEthernetConnection()");
        return false;
    }
}

}  // namespace NLMUtils
