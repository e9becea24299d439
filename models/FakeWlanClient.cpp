#include "models/FakeWlanClient.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace fakes {

const HANDLE FakeWlanClient::kClientHandle = reinterpret_cast<HANDLE>(0x3A1);
FakeWlanClient* FakeWlanClient::s_current = nullptr;

namespace {

// The notification codes the simulated adapter sends (the toolchain's
// headers lack the media-specific module's codes).
constexpr DWORD kAcmNetworkAvailable = 19;  // wlan_notification_acm_network_available
constexpr DWORD kMsmRadioStateChange = 7;   // wlan_notification_msm_radio_state_change

// Each open hands out its own handle, the first one kClientHandle.
constexpr uintptr_t kHandleStep = 0x10;

std::string StateName(DWORD state)
{
    switch (state) {
    case FakeWlanClient::kOn: return "on";
    case FakeWlanClient::kOff: return "off";
    case FakeWlanClient::kUnknown: return "unknown";
    default: return std::to_string(state);
    }
}

// Interface GUIDs {0000xxxx-...} by index, when a test gives none.
GUID GuidOf(size_t index)
{
    GUID guid = {0x5A1D0000u + static_cast<unsigned long>(index), 0x1, 0x2, {0, 0, 0, 0, 0, 0, 0, 0x42}};
    return guid;
}

}  // namespace

FakeWlanClient::FakeWlanClient(Journal* journal) : m_journal(journal)
{
    s_current = this;
    m_seam->WlanOpenHandle = &FakeWlanClient::WlanOpenHandle;
    m_seam->WlanRegisterNotification = &FakeWlanClient::WlanRegisterNotification;
    m_seam->WlanCloseHandle = &FakeWlanClient::WlanCloseHandle;
    m_seam->WlanEnumInterfaces = &FakeWlanClient::WlanEnumInterfaces;
    m_seam->WlanQueryInterface = &FakeWlanClient::WlanQueryInterface;
    m_seam->WlanGetInterfaceCapability = &FakeWlanClient::WlanGetInterfaceCapability;
    m_seam->WlanSetInterface = &FakeWlanClient::WlanSetInterface;
    m_seam->WlanFreeMemory = &FakeWlanClient::WlanFreeMemory;
}

FakeWlanClient::~FakeWlanClient()
{
    // Callbacks still running call back into the model.
    m_notifications.WaitForAll();
    s_current = nullptr;
    // What the code under test leaked is the test's to report; the memory
    // is the model's to give back.
    for (const auto& buffer : m_buffers)
        std::free(buffer.first);
}

void FakeWlanClient::Fail(Failure point, DWORD error, DWORD lastError, int passes, int times)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_failure = point;
    m_error = error;
    m_lastError = lastError;
    m_passes = passes;
    m_times = times;
    m_throw = false;
}

void FakeWlanClient::Throw(Failure point)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_failure = point;
    m_error = ERROR_SUCCESS;
    m_passes = 0;
    m_times = kForEver;
    m_throw = true;
}

size_t FakeWlanClient::AddInterface(const std::wstring& description, size_t phys, DWORD state,
                                    WLAN_INTERFACE_STATE interfaceState)
{
    Interface adapter;
    adapter.description = description;
    adapter.state = interfaceState;
    adapter.phys.resize(phys);
    for (Phy& phy : adapter.phys)
        phy.softwareState = state;
    return AddInterface(adapter);
}

size_t FakeWlanClient::AddInterface(const Interface& adapter)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_interfaces.push_back(adapter);
    Interface& added = m_interfaces.back();
    if (added.guid == GUID{})
        added.guid = GuidOf(m_interfaces.size() - 1);
    return m_interfaces.size() - 1;
}

void FakeWlanClient::ReportEmptyList(bool empty)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_reportEmptyList = empty;
}

void FakeWlanClient::SetInterfaceState(size_t interfaceIndex, WLAN_INTERFACE_STATE state)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_interfaces.at(interfaceIndex).state = state;
}

void FakeWlanClient::SetPhyState(size_t interfaceIndex, size_t phy, DWORD state)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_interfaces.at(interfaceIndex).phys.at(phy).softwareState = state;
}

DWORD FakeWlanClient::PhyState(size_t interfaceIndex, size_t phy) const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_interfaces.at(interfaceIndex).phys.at(phy).softwareState;
}

void FakeWlanClient::RefuseSets(size_t interfaceIndex, size_t phy, int refusals, DWORD error)
{
    std::lock_guard<std::mutex> lock(m_lock);
    Phy& target = m_interfaces.at(interfaceIndex).phys.at(phy);
    target.refusals = refusals;
    target.refusalError = error;
}

void FakeWlanClient::SetReportedPhys(size_t interfaceIndex, int phys)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_interfaces.at(interfaceIndex).reportedPhys = phys;
}

void FakeWlanClient::SwitchByHand(size_t interfaceIndex, bool on)
{
    std::lock_guard<std::mutex> lock(m_lock);
    Interface& adapter = m_interfaces.at(interfaceIndex);
    for (size_t index = 0; index < adapter.phys.size(); ++index) {
        Phy& phy = adapter.phys[index];
        const DWORD state = on ? kOn : kOff;
        if (phy.softwareState == state)
            continue;
        phy.softwareState = state;
        WLAN_PHY_RADIO_STATE radioState = {};
        radioState.dwPhyIndex = static_cast<DWORD>(index);
        radioState.dot11SoftwareRadioState = static_cast<DOT11_RADIO_STATE>(state);
        radioState.dot11HardwareRadioState = dot11_radio_state_on;
        NotifyLocked(adapter, WLAN_NOTIFICATION_SOURCE_MSM, kMsmRadioStateChange, &radioState);
    }
}

void FakeWlanClient::NetworkAvailable(size_t interfaceIndex)
{
    std::lock_guard<std::mutex> lock(m_lock);
    NotifyLocked(m_interfaces.at(interfaceIndex), WLAN_NOTIFICATION_SOURCE_ACM, kAcmNetworkAvailable, nullptr);
}

bool FakeWlanClient::WaitForNotifications(std::chrono::milliseconds bound)
{
    return m_notifications.WaitForAll(bound);
}

void FakeWlanClient::NotifyLocked(const Interface& adapter, DWORD source, DWORD code,
                                  const WLAN_PHY_RADIO_STATE* radioState)
{
    if (!m_notify || registeredCallback == nullptr)
        return;
    // The notification owns its data: the callback runs after the lock is
    // given back, as the Native Wi-Fi service's thread does.
    struct Notification {
        WLAN_NOTIFICATION_DATA data = {};
        WLAN_PHY_RADIO_STATE radioState = {};
    };
    auto notification = std::make_shared<Notification>();
    notification->data.NotificationSource = source;
    notification->data.NotificationCode = code;
    notification->data.InterfaceGuid = adapter.guid;
    if (radioState != nullptr) {
        notification->radioState = *radioState;
        notification->data.dwDataSize = sizeof(WLAN_PHY_RADIO_STATE);
        notification->data.pData = &notification->radioState;
    }
    const WLAN_NOTIFICATION_CALLBACK callback = registeredCallback;
    m_notifications.Start([this, callback, notification] {
        {
            // A callback unregistered meanwhile gets nothing more.
            std::lock_guard<std::mutex> lock(m_lock);
            if (registeredCallback != callback)
                return;
        }
        callback(&notification->data, nullptr);
    });
}

bool FakeWlanClient::RadioOn(size_t interfaceIndex) const
{
    std::lock_guard<std::mutex> lock(m_lock);
    for (const Phy& phy : m_interfaces.at(interfaceIndex).phys) {
        if (phy.softwareState != kOn)
            return false;
    }
    return true;
}

size_t FakeWlanClient::OutstandingBuffers() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_buffers.size();
}

size_t FakeWlanClient::StrayFrees() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_strayFrees;
}

size_t FakeWlanClient::OpenClientHandles() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_openHandles.size();
}

size_t FakeWlanClient::StrayCloses() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_strayCloses;
}

size_t FakeWlanClient::SetCalls() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_setCalls;
}

std::vector<FakeWlanClient::Call> FakeWlanClient::Calls() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_calls;
}

void FakeWlanClient::NoteLocked(std::string call)
{
    m_calls.push_back({GetCurrentThreadId(), call});
    Note(m_journal, std::move(call));
}

bool FakeWlanClient::StrikesLocked(Failure point)
{
    if (m_failure != point || m_times == 0)
        return false;
    if (m_passes > 0) {
        --m_passes;
        return false;
    }
    if (m_times > 0)
        --m_times;
    if (m_throw)
        throw std::runtime_error("FakeWlanClient: thrown as the test asked");
    return true;
}

DWORD FakeWlanClient::FailureLocked(Failure point) { return StrikesLocked(point) ? m_error : ERROR_SUCCESS; }

void* FakeWlanClient::AllocateLocked(size_t size, const char* kind)
{
    void* buffer = std::calloc(1, size);
    m_buffers[buffer] = kind;
    return buffer;
}

FakeWlanClient::Interface* FakeWlanClient::FindLocked(const GUID* guid)
{
    if (guid == nullptr)
        return nullptr;
    for (Interface& adapter : m_interfaces) {
        if (adapter.guid == *guid)
            return &adapter;
    }
    return nullptr;
}

DWORD FakeWlanClient::ReportedPhysLocked(const Interface& adapter) const
{
    return adapter.reportedPhys >= 0 ? static_cast<DWORD>(adapter.reportedPhys)
                                     : static_cast<DWORD>(adapter.phys.size());
}

DWORD WINAPI FakeWlanClient::WlanOpenHandle(DWORD version, PVOID, PDWORD negotiated, PHANDLE client)
{
    FakeWlanClient& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    self.NoteLocked("WlanOpenHandle " + std::to_string(version));
    if (const DWORD error = self.FailureLocked(Failure::OpenHandle))
        return error;
    *negotiated = 2;
    const HANDLE handle = reinterpret_cast<HANDLE>(reinterpret_cast<uintptr_t>(kClientHandle)
                                                   + kHandleStep * self.m_opens++);
    self.m_openHandles[handle] = 1;
    *client = handle;
    return ERROR_SUCCESS;
}

DWORD WINAPI FakeWlanClient::WlanRegisterNotification(HANDLE client, DWORD sources, BOOL ignoreDuplicate,
                                                      WLAN_NOTIFICATION_CALLBACK callback, PVOID context,
                                                      PVOID reserved, PDWORD previous)
{
    FakeWlanClient& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    self.NoteLocked("WlanRegisterNotification " + std::to_string(sources) + " " + std::to_string(ignoreDuplicate)
                    + (callback ? " callback" : " none") + (context ? " context" : "") + (reserved ? " reserved" : "")
                    + (previous ? " previous" : ""));
    self.registeredCallback = callback;
    self.registeredHandle = client;
    const DWORD error = self.FailureLocked(Failure::RegisterNotification);
    if (error != ERROR_SUCCESS)
        SetLastError(self.m_lastError);
    return error;
}

DWORD WINAPI FakeWlanClient::WlanCloseHandle(HANDLE client, PVOID)
{
    FakeWlanClient& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    self.NoteLocked("WlanCloseHandle");
    if (const DWORD error = self.FailureLocked(Failure::CloseHandle))
        return error;
    if (self.m_openHandles.erase(client) == 0)
        ++self.m_strayCloses;
    return ERROR_SUCCESS;
}

DWORD WINAPI FakeWlanClient::WlanEnumInterfaces(HANDLE, PVOID, PWLAN_INTERFACE_INFO_LIST* list)
{
    FakeWlanClient& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    self.NoteLocked("WlanEnumInterfaces");
    *list = nullptr;
    if (const DWORD error = self.FailureLocked(Failure::EnumInterfaces))
        return error;
    if (self.StrikesLocked(Failure::NullInterfaceList))
        return ERROR_SUCCESS;
    const size_t count = self.m_reportEmptyList ? 0 : self.m_interfaces.size();
    const size_t size = offsetof(WLAN_INTERFACE_INFO_LIST, InterfaceInfo) + count * sizeof(WLAN_INTERFACE_INFO);
    auto* result = static_cast<PWLAN_INTERFACE_INFO_LIST>(self.AllocateLocked(size, "interface-list"));
    result->dwNumberOfItems = static_cast<DWORD>(count);
    result->dwIndex = 0;
    for (size_t index = 0; index < count; ++index) {
        const Interface& adapter = self.m_interfaces[index];
        WLAN_INTERFACE_INFO& info = result->InterfaceInfo[index];
        info.InterfaceGuid = adapter.guid;
        wcsncpy(info.strInterfaceDescription, adapter.description.c_str(), WLAN_MAX_NAME_LENGTH - 1);
        info.isState = adapter.state;
    }
    *list = result;
    return ERROR_SUCCESS;
}

DWORD WINAPI FakeWlanClient::WlanQueryInterface(HANDLE, const GUID* guid, WLAN_INTF_OPCODE opcode, PVOID,
                                                PDWORD dataSize, PVOID* data, PWLAN_OPCODE_VALUE_TYPE valueType)
{
    FakeWlanClient& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    self.NoteLocked("WlanQueryInterface " + std::to_string(opcode));
    *data = nullptr;
    if (const DWORD error = self.FailureLocked(Failure::QueryInterface))
        return error;
    if (self.StrikesLocked(Failure::QueryNoData))
        return ERROR_SUCCESS;
    if (opcode != wlan_intf_opcode_radio_state)
        return ERROR_NOT_SUPPORTED;
    const Interface* adapter = self.FindLocked(guid);
    if (adapter == nullptr)
        return ERROR_NOT_FOUND;
    auto* state = static_cast<PWLAN_RADIO_STATE>(self.AllocateLocked(sizeof(WLAN_RADIO_STATE), "radio-state"));
    state->dwNumberOfPhys = self.ReportedPhysLocked(*adapter);
    for (size_t index = 0; index < adapter->phys.size() && index < WLAN_MAX_PHY_INDEX; ++index) {
        state->PhyRadioState[index].dwPhyIndex = static_cast<DWORD>(index);
        state->PhyRadioState[index].dot11SoftwareRadioState
            = static_cast<DOT11_RADIO_STATE>(adapter->phys[index].softwareState);
        state->PhyRadioState[index].dot11HardwareRadioState = dot11_radio_state_on;
    }
    *dataSize = sizeof(WLAN_RADIO_STATE);
    if (valueType != nullptr)
        *valueType = wlan_opcode_value_type_set_by_user;
    *data = state;
    return ERROR_SUCCESS;
}

DWORD WINAPI FakeWlanClient::WlanGetInterfaceCapability(HANDLE, const GUID* guid, PVOID,
                                                        PWLAN_INTERFACE_CAPABILITY* capability)
{
    FakeWlanClient& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    self.NoteLocked("WlanGetInterfaceCapability");
    *capability = nullptr;
    if (const DWORD error = self.FailureLocked(Failure::GetInterfaceCapability))
        return error;
    if (self.StrikesLocked(Failure::CapabilityNoData))
        return ERROR_SUCCESS;
    const Interface* adapter = self.FindLocked(guid);
    if (adapter == nullptr)
        return ERROR_NOT_FOUND;
    auto* result = static_cast<PWLAN_INTERFACE_CAPABILITY>(
        self.AllocateLocked(sizeof(WLAN_INTERFACE_CAPABILITY), "capability"));
    result->interfaceType = wlan_interface_type_native_802_11;
    result->bDot11DSupported = FALSE;
    result->dwMaxDesiredSsidListSize = 1;
    result->dwMaxDesiredBssidListSize = 1;
    result->dwNumberOfSupportedPhys = self.ReportedPhysLocked(*adapter);
    for (size_t index = 0; index < adapter->phys.size() && index < WLAN_MAX_PHY_INDEX; ++index)
        result->dot11PhyTypes[index] = dot11_phy_type_ofdm;
    *capability = result;
    return ERROR_SUCCESS;
}

DWORD WINAPI FakeWlanClient::WlanSetInterface(HANDLE, const GUID* guid, WLAN_INTF_OPCODE opcode, DWORD dataSize,
                                              const PVOID data, PVOID)
{
    FakeWlanClient& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    ++self.m_setCalls;
    std::string call = "WlanSetInterface " + std::to_string(opcode) + " " + std::to_string(dataSize);
    if (opcode != wlan_intf_opcode_radio_state || dataSize != sizeof(WLAN_PHY_RADIO_STATE) || data == nullptr) {
        self.NoteLocked(call + " invalid");
        return ERROR_INVALID_PARAMETER;
    }
    const auto& request = *static_cast<const WLAN_PHY_RADIO_STATE*>(data);
    call += " PHY " + std::to_string(request.dwPhyIndex) + " " + StateName(request.dot11SoftwareRadioState);
    Interface* adapter = self.FindLocked(guid);
    if (adapter == nullptr || request.dwPhyIndex >= adapter->phys.size()) {
        self.NoteLocked(call + " unknown");
        return ERROR_INVALID_PARAMETER;
    }
    Phy& phy = adapter->phys[request.dwPhyIndex];
    if (phy.refusals != 0) {
        if (phy.refusals > 0)
            --phy.refusals;
        self.NoteLocked(call + " refused");
        return phy.refusalError;
    }
    self.NoteLocked(call);
    if (const DWORD error = self.FailureLocked(Failure::SetInterface))
        return error;
    const bool changed = phy.softwareState != static_cast<DWORD>(request.dot11SoftwareRadioState);
    phy.softwareState = request.dot11SoftwareRadioState;
    if (changed) {
        WLAN_PHY_RADIO_STATE radioState = request;
        radioState.dot11HardwareRadioState = dot11_radio_state_on;
        self.NotifyLocked(*adapter, WLAN_NOTIFICATION_SOURCE_MSM, kMsmRadioStateChange, &radioState);
    }
    return ERROR_SUCCESS;
}

VOID WINAPI FakeWlanClient::WlanFreeMemory(PVOID memory)
{
    FakeWlanClient& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    const auto buffer = self.m_buffers.find(memory);
    if (buffer == self.m_buffers.end()) {
        self.NoteLocked("WlanFreeMemory unknown");
        ++self.m_strayFrees;
        return;
    }
    self.NoteLocked(std::string("WlanFreeMemory ") + buffer->second);
    std::free(memory);
    self.m_buffers.erase(buffer);
}

}  // namespace fakes
