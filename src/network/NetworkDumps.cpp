// The diagnostic dumps: connectivity bits, the current connections (which
// seed the set of Ethernet connections), and the interface GUIDs of the
// mobile-broadband devices.
#include "network/NLMUtils.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "platform/ComPtr.h"
#include "platform/UniqueHandle.h"

#include <array>

using namespace QX::Shared;

namespace NLMUtils {
namespace {

constexpr ULONG kConnectionBatch = 20;

struct ConnectivityText {
    DWORD mask;
    DWORD value;
    const wchar_t* text;
};

// Each nibble is compared for exact values: a nibble with two bits set
// (both no-traffic bits, say) prints nothing.
constexpr ConnectivityText kConnectivityTexts[] = {
    {0xF, 0x0, L"Network Disconnected"},
    {0xF, 0x1, L"IPV4 - No Traffic"},
    {0xF, 0x2, L"IPV6 - No Traffic"},
    {0xF0, 0x10, L"IPV4 - Subnet"},
    {0xF0, 0x20, L"IPV4 - Local Connectivity"},
    {0xF0, 0x40, L"IPV4 - Internet Connectivity"},
    {0xF00, 0x100, L"IPV6 - Subnet"},
    {0xF00, 0x200, L"IPV6 - Local Connectivity"},
    {0xF00, 0x400, L"IPV6 - Internet Connectivity"},
};

void PrintConnection(const FunctionLog& log, INetworkConnection* connection, ULONG number,
                     std::set<std::wstring>* ethernetConnections)
{
    log.Log(LevelInformation, L"Connection : %u", number);
    GUID id = {};
    os::UniqueCoTaskString connectionText;
    if (SUCCEEDED(connection->GetConnectionId(&id)) && SUCCEEDED(os::api().StringFromCLSID(id, connectionText.put())))
        log.Log(LevelInformation, L"Connection Id : %s", connectionText.get());
    os::UniqueCoTaskString adapterText;
    if (SUCCEEDED(connection->GetAdapterId(&id)) && SUCCEEDED(os::api().StringFromCLSID(id, adapterText.put())))
        log.Log(LevelInformation, L"Adapter Id : %s", adapterText.get());
    log.Log(LevelInformation, L"Adapter Info: ");
    bool isEthernet = false;
    PrintAdapterInfo(adapterText ? adapterText.get() : L"", &isEthernet);
    if (isEthernet && ethernetConnections != nullptr) {
        log.Log(LevelInformation, L"Ethernet Connection - adding to set...");
        ethernetConnections->insert(connectionText ? connectionText.get() : L"");
    }
    connectionText.reset();
    adapterText.reset();

    os::ComPtr<INetwork> network;
    os::UniqueBstr name;
    if (SUCCEEDED(connection->GetNetwork(network.Put())) && network && SUCCEEDED(network->GetName(name.put())))
        log.Log(LevelInformation, L"Connected to Network (Name): %s", name.get());
    name.reset();
    VARIANT_BOOL connected = VARIANT_FALSE;
    if (SUCCEEDED(connection->get_IsConnected(&connected)))
        log.Log(LevelInformation, L"Is Connected to Network: %d", connected == VARIANT_TRUE ? 1 : 0);
    VARIANT_BOOL internet = VARIANT_FALSE;
    // The line prints the IsConnected answer again, as it always has.
    if (SUCCEEDED(connection->get_IsConnectedToInternet(&internet)))
        log.Log(LevelInformation, L"Is Connected to Internet: %d", connected == VARIANT_TRUE ? 1 : 0);
    log.Log(LevelInformation, L"Detailed connectivity states:");
    NLM_CONNECTIVITY connectivity = NLM_CONNECTIVITY_DISCONNECTED;
    if (SUCCEEDED(connection->GetConnectivity(&connectivity)))
        PrintConnectivityState(connectivity);
}

}  // namespace

void PrintConnectivityState(NLM_CONNECTIVITY& connectivity)
{
    OperationLog op("NLMUtils::PrintConnectivityState", L"NLM_CONNECTIVITY - 0x%x", connectivity);
    const DWORD bits = static_cast<DWORD>(connectivity);
    for (const ConnectivityText& entry : kConnectivityTexts)
        if ((bits & entry.mask) == entry.value)
            op.Log(LevelInformation, entry.text);
    op.Exit();
}

void PrintNetworkConnections(INetworkListManager* networkListManager, std::set<std::wstring>* ethernetConnections)
{
    OperationLog op("NLMUtils::PrintNetworkConnections");
    try {
        if (networkListManager == nullptr) {
            op.Log(LevelError, L"INetworkListManager is NULL");
            return;
        }
        os::ComPtr<IEnumNetworkConnections> enumerator;
        const HRESULT hr = networkListManager->GetNetworkConnections(enumerator.Put());
        if (FAILED(hr)) {
            op.Log(LevelError, L"GetNetworkConnections Failed with error 0x%08X", hr);
            return;
        }
        op.Log(LevelInformation, L"Current Connections:");
        ULONG number = 0;
        for (;;) {
            std::array<INetworkConnection*, kConnectionBatch> batch = {};
            ULONG fetched = 0;
            if (FAILED(enumerator->Next(kConnectionBatch, batch.data(), &fetched)) || fetched == 0)
                break;
            for (ULONG i = 0; i < fetched && i < kConnectionBatch; ++i) {
                os::ComPtr<INetworkConnection> connection(batch[i]);  // takes over Next's reference
                if (connection)
                    PrintConnection(op, connection.Get(), ++number, ethernetConnections);
            }
        }
        enumerator.Reset();
        op.Exit();
    } catch (...) {
        op.Log(LevelError, L"Exception in PrintNetworkConnections()");
    }
}

HRESULT CopyArrayOfInterfaces(SAFEARRAY* interfaces, ULONG* count, GUID** guids)
{
    OperationLog op("NLMUtils::CopyArrayOfInterfaces", L"SAFEARRAY = 0x%x, Count Point = 0x%x,  GuidList = 0x%x",
                    static_cast<unsigned>(reinterpret_cast<uintptr_t>(interfaces)),
                    static_cast<unsigned>(reinterpret_cast<uintptr_t>(count)),
                    static_cast<unsigned>(reinterpret_cast<uintptr_t>(guids)));
    if (interfaces == nullptr || count == nullptr || guids == nullptr)
        return E_POINTER;
    try {
        *guids = nullptr;
        *count = 0;
        LONG lower = 0;
        LONG upper = 0;
        HRESULT hr = SafeArrayGetLBound(interfaces, 1, &lower);
        if (FAILED(hr)) {
            op.Log(LevelError, L"SafeArrayGetLBound failed with error: 0x%08X", hr);
            return hr;
        }
        hr = SafeArrayGetUBound(interfaces, 1, &upper);
        if (FAILED(hr)) {
            op.Log(LevelError, L"SafeArrayGetUBound failed with error: 0x%08X", hr);
            return hr;
        }
        const LONG elements = upper - lower + 1;
        if (elements > 0) {
            // Twice the size of the GUIDs, as the block has always been.
            *guids = static_cast<GUID*>(
                os::api().HeapAlloc(GetProcessHeap(), 0, static_cast<SIZE_T>(elements) * 2 * sizeof(GUID)));
            if (*guids == nullptr) {
                op.Log(LevelError, L"CopyArrayOfInterfaces malloc failed!!");
                return E_OUTOFMEMORY;
            }
        }
        for (LONG index = lower; index <= upper; ++index) {
            IMbnInterface* element = nullptr;
            hr = SafeArrayGetElement(interfaces, &index, &element);
            if (FAILED(hr))
                continue;
            os::ComPtr<IMbnInterface> mbnInterface(element);  // takes over the element's reference
            os::UniqueBstr text;
            hr = mbnInterface->get_InterfaceID(text.put());
            if (SUCCEEDED(hr)) {
                hr = os::api().IIDFromString(text.get(), &(*guids)[*count]);
                if (SUCCEEDED(hr))
                    ++*count;
            }
        }
        op.Exit(L"Return Value = 0x%x, Interface Count = %d", hr, *count);
        return hr;
    } catch (...) {
        op.Log(LevelError, L"Exception in CopyArrayOfInterfaces()");
        return E_FAIL;
    }
}

}  // namespace NLMUtils
