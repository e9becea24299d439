// The whole status, read in the order the report shows it.
#include "status/Readings.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "radio/PowerStatus.h"
#include "state/ServiceNames.h"
#include "status/Clock.h"

using namespace QX::Shared;

namespace diag {
namespace {

// The logging policy's module key is named after the service's program.
std::wstring ModuleName(const ServiceReading& service)
{
    std::wstring name = service.programPath;
    const size_t slash = name.find_last_of(L"\\/");
    if (slash != std::wstring::npos)
        name.erase(0, slash + 1);
    const size_t dot = name.rfind(L'.');
    if (dot != std::wstring::npos)
        name.resize(dot);
    return name.empty() ? std::wstring(kServiceName) : name;
}

}  // namespace

StatusReport ReadStatus()
{
    OperationLog op("TessarineDiag::ReadStatus");
    const uint64_t start = NowMilliseconds();
    StatusReport report;
    // The mobile-broadband manager wants COM on this thread; a thread
    // already in another apartment goes on as it is.
    const HRESULT initialized = os::api().CoInitializeEx(nullptr, COINIT_MULTITHREADED);

    report.service = ReadService(kServiceName);
    report.firmware = ReadFirmware();
    report.wlanChoice = ReadStoredWlanChoice();
    report.wwanChoice = ReadStoredWwanChoice();
    report.airplaneMode = ServiceUtils::CheckAirplaneMode();
    report.ethernet = ReadAdapters();
    report.wlan = ReadWlanRadio();
    report.wwan = ReadWwanRadio();
    report.connectionPolicy = ReadConnectionManagerPolicy(HKEY_LOCAL_MACHINE, kConnectionManagerPolicyKey);
    report.driverSettings = ReadWifiDriverSettings(HKEY_LOCAL_MACHINE, kNetworkAdapterClassKey);
    report.loggingFindings = CheckLoggingPolicy(ModuleName(report.service));

    if (SUCCEEDED(initialized))
        os::api().CoUninitialize();
    report.elapsedMilliseconds = NowMilliseconds() - start;
    op.Exit(L"Elapsed = %u ms", static_cast<unsigned>(report.elapsedMilliseconds));
    return report;
}

}  // namespace diag
