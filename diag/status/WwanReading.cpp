// The mobile-broadband radio, read only: the device the service would take
// (the last interface the manager lists) and its software and hardware
// radio states. One look, without the service's start-up tries: a device
// that is not there now is reported so.
#include "status/Readings.h"

#include "logging/OperationLog.h"
#include "network/NLMUtils.h"
#include "platform/Api.h"
#include "platform/ComPtr.h"
#include "platform/Format.h"
#include "platform/MbnApi.h"
#include "platform/UniqueHandle.h"

using namespace QX::Shared;

namespace diag {
namespace {

void DestroyArray(SAFEARRAY* array)
{
    if (array != nullptr)
        SafeArrayDestroy(array);
}
using UniqueSafeArray = os::UniqueAny<SAFEARRAY*, DestroyArray>;

// The identifier of the device the service would take, or empty.
std::wstring DeviceId(IMbnInterfaceManager* manager, WwanReading& reading, const FunctionLog& log)
{
    UniqueSafeArray interfaces;
    HRESULT hr = manager->GetInterfaces(interfaces.put());
    if (FAILED(hr)) {
        reading.failure = os::FormatString(L"GetInterfaces failed with 0x%08X", hr);
        log.Log(LevelError, L"%s", reading.failure.c_str());
        return std::wstring();
    }
    ULONG count = 0;
    GUID* guids = nullptr;
    hr = NLMUtils::CopyArrayOfInterfaces(interfaces.get(), &count, &guids);
    os::UniqueProcessHeapBlock guidBlock(guids);
    if (FAILED(hr)) {
        reading.failure = os::FormatString(L"CopyArrayOfInterfaces failed with 0x%08X", hr);
        log.Log(LevelError, L"%s", reading.failure.c_str());
        return std::wstring();
    }
    if (count == 0) {
        reading.failure = L"no mobile-broadband interface";
        return std::wstring();
    }
    os::UniqueCoTaskString text;
    hr = os::api().StringFromIID(guids[count - 1], text.put());
    if (FAILED(hr)) {
        reading.failure = os::FormatString(L"StringFromIID failed with 0x%08X", hr);
        return std::wstring();
    }
    return text.get();
}

}  // namespace

WwanReading ReadWwanRadio()
{
    OperationLog op("TessarineDiag::ReadWwanRadio");
    WwanReading reading;
    os::ComPtr<IMbnInterfaceManager> manager;
    HRESULT hr = os::api().CoCreateInstance(CLSID_MbnInterfaceManager, nullptr, CLSCTX_ALL, IID_IMbnInterfaceManager,
                                            reinterpret_cast<void**>(manager.Put()));
    if (FAILED(hr)) {
        reading.failure = os::FormatString(L"no mobile-broadband interface manager (0x%08X)", hr);
        op.Log(LevelError, L"%s", reading.failure.c_str());
        return reading;
    }
    reading.managerCreated = true;
    reading.interfaceId = DeviceId(manager.Get(), reading, op);
    if (reading.interfaceId.empty())
        return reading;
    reading.deviceFound = true;

    os::ComPtr<IMbnInterface> device;
    hr = manager->GetInterface(reading.interfaceId.c_str(), device.Put());
    os::ComPtr<IMbnRadio> radio;
    if (SUCCEEDED(hr))
        hr = device->QueryInterface(IID_IMbnRadio, reinterpret_cast<void**>(radio.Put()));
    MBN_RADIO software = MBN_RADIO_OFF;
    MBN_RADIO hardware = MBN_RADIO_OFF;
    if (SUCCEEDED(hr))
        hr = radio->get_SoftwareRadioState(&software);
    if (SUCCEEDED(hr))
        hr = radio->get_HardwareRadioState(&hardware);
    if (FAILED(hr)) {
        reading.failure = os::FormatString(L"the radio could not be read (0x%08X)", hr);
        op.Log(LevelError, L"%s", reading.failure.c_str());
        return reading;
    }
    reading.read = true;
    reading.software = software;
    reading.hardware = hardware;
    // The service reads the software state alone.
    reading.on = software == MBN_RADIO_ON;
    op.Exit(L"WWAN Status = %d", reading.on);
    return reading;
}

}  // namespace diag
