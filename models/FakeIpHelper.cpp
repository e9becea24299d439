#include "models/FakeIpHelper.h"

#include <cstring>

namespace fakes {
namespace {

// The room one adapter's texts take after its record in an address list.
size_t TextRoom(const AdapterDescription& adapter)
{
    return adapter.name.size() + 1 + (adapter.description.size() + 1) * sizeof(wchar_t) +
           (adapter.friendlyName.size() + 1) * sizeof(wchar_t);
}

void CopyText(char* field, size_t capacity, const std::string& text)
{
    std::strncpy(field, text.c_str(), capacity - 1);
    field[capacity - 1] = '\0';
}

// Takes `bytes` from the free part of the buffer, aligned for wide texts.
char* Take(char*& free, size_t bytes)
{
    char* taken = free;
    free += (bytes + 1) & ~size_t(1);
    return taken;
}

}  // namespace

FakeIpHelper* FakeIpHelper::s_current = nullptr;

FakeIpHelper::FakeIpHelper(std::vector<AdapterDescription> adapters) : m_adapters(std::move(adapters))
{
    s_current = this;
    m_seam->GetAdaptersInfo = &FakeIpHelper::GetAdaptersInfo;
    m_seam->GetAdaptersAddresses = &FakeIpHelper::GetAdaptersAddresses;
}

FakeIpHelper::~FakeIpHelper() { s_current = nullptr; }

void FakeIpHelper::SetAdapters(std::vector<AdapterDescription> adapters)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_adapters = std::move(adapters);
}

void FakeIpHelper::Fail(Failure point, ULONG code)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_failure = point;
    m_failureCode = code;
}

void FakeIpHelper::OverflowAddresses(int times)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_overflows = times;
}

int FakeIpHelper::InfoCalls() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_infoCalls;
}

int FakeIpHelper::AddressesCalls() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_addressesCalls;
}

std::vector<ULONG> FakeIpHelper::AddressesLengths() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_addressesLengths;
}

ULONG FakeIpHelper::InfoLength(size_t count) { return static_cast<ULONG>(count * sizeof(IP_ADAPTER_INFO)); }

std::vector<AdapterDescription> FakeIpHelper::Adapters() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_adapters;
}

void FakeIpHelper::SetClock(std::function<uint64_t()> nowMilliseconds)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_nowMilliseconds = std::move(nowMilliseconds);
}

ULONG FakeIpHelper::AddressesLength() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return AddressesLengthOf(m_adapters);
}

ULONG FakeIpHelper::AddressesLengthOf(const std::vector<AdapterDescription>& adapters)
{
    size_t length = 0;
    for (const AdapterDescription& adapter : adapters)
        length += sizeof(IP_ADAPTER_ADDRESSES) + TextRoom(adapter) + 8;
    return static_cast<ULONG>(length);
}

ULONG WINAPI FakeIpHelper::GetAdaptersInfo(PIP_ADAPTER_INFO buffer, PULONG length)
{
    FakeIpHelper& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    ++self.m_infoCalls;
    if (self.m_failure == Failure::AdaptersInfo) {
        SetLastError(self.m_failureCode);
        return self.m_failureCode;
    }
    // As the platform: no adapter at all is "no data".
    if (self.m_adapters.empty()) {
        SetLastError(ERROR_NO_DATA);
        return ERROR_NO_DATA;
    }
    const ULONG needed = InfoLength(self.m_adapters.size());
    if (buffer == nullptr || *length < needed) {
        *length = needed;
        return ERROR_BUFFER_OVERFLOW;
    }
    std::memset(buffer, 0, needed);
    for (size_t i = 0; i < self.m_adapters.size(); ++i) {
        const AdapterDescription& adapter = self.m_adapters[i];
        IP_ADAPTER_INFO& record = buffer[i];
        record.Next = i + 1 < self.m_adapters.size() ? &buffer[i + 1] : nullptr;
        record.Index = static_cast<DWORD>(i + 1);
        record.Type = adapter.type;
        CopyText(record.AdapterName, sizeof(record.AdapterName), adapter.name);
        CopyText(record.Description, sizeof(record.Description), adapter.description);
        const bool addressArrived =
            !self.m_nowMilliseconds || self.m_nowMilliseconds() >= adapter.addressFromMilliseconds;
        CopyText(record.IpAddressList.IpAddress.String, sizeof(record.IpAddressList.IpAddress.String),
                 addressArrived ? adapter.address : std::string("0.0.0.0"));
    }
    return ERROR_SUCCESS;
}

ULONG WINAPI FakeIpHelper::GetAdaptersAddresses(ULONG, ULONG, PVOID, PIP_ADAPTER_ADDRESSES buffer, PULONG length)
{
    FakeIpHelper& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    ++self.m_addressesCalls;
    self.m_addressesLengths.push_back(*length);
    if (self.m_failure == Failure::AdaptersAddresses) {
        SetLastError(self.m_failureCode);
        return self.m_failureCode;
    }
    if (self.m_adapters.empty())
        return ERROR_NO_DATA;
    const ULONG needed = AddressesLengthOf(self.m_adapters);
    if (self.m_overflows > 0) {
        --self.m_overflows;
        *length = (*length > needed ? *length : needed) + 1024;
        return ERROR_BUFFER_OVERFLOW;
    }
    if (buffer == nullptr || *length < needed) {
        *length = needed;
        return ERROR_BUFFER_OVERFLOW;
    }
    std::memset(buffer, 0, needed);
    char* free = reinterpret_cast<char*>(buffer) + self.m_adapters.size() * sizeof(IP_ADAPTER_ADDRESSES);
    for (size_t i = 0; i < self.m_adapters.size(); ++i) {
        const AdapterDescription& adapter = self.m_adapters[i];
        IP_ADAPTER_ADDRESSES& record = buffer[i];
        record.Length = sizeof(IP_ADAPTER_ADDRESSES);
        record.IfIndex = static_cast<DWORD>(i + 1);
        record.Next = i + 1 < self.m_adapters.size() ? &buffer[i + 1] : nullptr;
        record.IfType = adapter.type;
        record.OperStatus = adapter.linkUp ? IfOperStatusUp : IfOperStatusDown;

        char* name = Take(free, adapter.name.size() + 1);
        std::memcpy(name, adapter.name.c_str(), adapter.name.size() + 1);
        record.AdapterName = name;

        const std::wstring wideDescription(adapter.description.begin(), adapter.description.end());
        auto* description = reinterpret_cast<wchar_t*>(Take(free, (wideDescription.size() + 1) * sizeof(wchar_t)));
        std::memcpy(description, wideDescription.c_str(), (wideDescription.size() + 1) * sizeof(wchar_t));
        record.Description = description;

        auto* friendly = reinterpret_cast<wchar_t*>(Take(free, (adapter.friendlyName.size() + 1) * sizeof(wchar_t)));
        std::memcpy(friendly, adapter.friendlyName.c_str(), (adapter.friendlyName.size() + 1) * sizeof(wchar_t));
        record.FriendlyName = friendly;
    }
    return ERROR_SUCCESS;
}

}  // namespace fakes
