#include "status/StatusReport.h"

namespace diag {

std::wstring Widen(const std::string& text)
{
    if (text.empty())
        return std::wstring();
    const int length = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    if (length <= 0)
        return std::wstring();
    std::wstring wide(static_cast<size_t>(length), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), wide.data(), length);
    return wide;
}

const AdapterReading* EthernetReading::Deciding() const
{
    for (const AdapterReading& adapter : adapters)
        if (adapter.decides)
            return &adapter;
    return nullptr;
}

const AdapterReading* EthernetReading::Pending() const
{
    for (const AdapterReading& adapter : adapters)
        if (adapter.verdict == NLMUtils::AdapterVerdict::NoAddress && adapter.link != AdapterReading::Link::Down)
            return &adapter;
    return nullptr;
}

}  // namespace diag
