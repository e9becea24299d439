// FakeIpHelper: IP Helper's two adapter lists through the seam, for the life
// of the object, served from one description of the machine's adapters.
// GetAdaptersInfo and GetAdaptersAddresses fill the caller's buffer as the
// platform does (a chain of records, their texts inside the same buffer),
// answer ERROR_BUFFER_OVERFLOW with the size they need, and can be told to
// ask for more k times, or to fail. The adapters may be changed from any
// thread while others read them; each call sees one whole list.
#pragma once

#include "platform/Api.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace fakes {

struct AdapterDescription {
    std::string name;  // AdapterName: the adapter's GUID text, "{...}"
    std::string description;
    std::wstring friendlyName;
    UINT type = MIB_IF_TYPE_ETHERNET;  // the legacy Type and the IfType
    std::string address = "0.0.0.0";   // the first IPv4 address; "0.0.0.0" while none is assigned
    bool linkUp = true;                // the OperStatus of the address list: up, or down (a pulled cable)
    // DHCP in virtual time: before this moment of the clock the adapter has
    // no address yet ("0.0.0.0"); needs the helper's clock.
    uint64_t addressFromMilliseconds = 0;
};

class FakeIpHelper {
public:
    enum class Failure { None, AdaptersInfo, AdaptersAddresses };

    explicit FakeIpHelper(std::vector<AdapterDescription> adapters = {});
    ~FakeIpHelper();
    FakeIpHelper(const FakeIpHelper&) = delete;
    FakeIpHelper& operator=(const FakeIpHelper&) = delete;

    void SetAdapters(std::vector<AdapterDescription> adapters);
    std::vector<AdapterDescription> Adapters() const;
    // The clock that decides when an adapter's address arrives (milliseconds).
    void SetClock(std::function<uint64_t()> nowMilliseconds);
    // The call fails with `code` (and that code as the last error) from now on.
    void Fail(Failure point, ULONG code);
    // The next `times` calls of GetAdaptersAddresses answer
    // ERROR_BUFFER_OVERFLOW, each asking for more than the caller gave.
    void OverflowAddresses(int times);

    int InfoCalls() const;
    int AddressesCalls() const;
    // The buffer length each GetAdaptersAddresses call was given, in order.
    std::vector<ULONG> AddressesLengths() const;

    // What each list needs for `count` adapters.
    static ULONG InfoLength(size_t count);
    ULONG AddressesLength() const;

private:
    static ULONG WINAPI GetAdaptersInfo(PIP_ADAPTER_INFO buffer, PULONG length);
    static ULONG WINAPI GetAdaptersAddresses(ULONG family, ULONG flags, PVOID reserved, PIP_ADAPTER_ADDRESSES buffer,
                                             PULONG length);
    static ULONG AddressesLengthOf(const std::vector<AdapterDescription>& adapters);

    static FakeIpHelper* s_current;
    os::ScopedApiOverride m_seam;
    mutable std::mutex m_lock;
    std::vector<AdapterDescription> m_adapters;
    Failure m_failure = Failure::None;
    ULONG m_failureCode = 0;
    int m_overflows = 0;
    std::function<uint64_t()> m_nowMilliseconds;
    int m_infoCalls = 0;
    int m_addressesCalls = 0;
    std::vector<ULONG> m_addressesLengths;
};

}  // namespace fakes
