// The connection manager policy's values that work against the service
// ("Minimize the number of simultaneous connections" and "Prohibit
// connection to non-domain networks"); its other values are shown, not
// judged. Active Wi-Fi driver settings on wired links, and every logging
// policy finding.
#include "status/Conflicts.h"

#include <cwchar>

namespace diag {
namespace {

constexpr wchar_t kMinimizeConnections[] = L"fMinimizeConnections";
constexpr wchar_t kBlockNonDomain[] = L"fBlockNonDomain";

std::wstring MinimizeText(DWORD value)
{
    switch (value) {
    case 1:
        return L"Windows minimizes simultaneous connections: it disconnects Wi-Fi and mobile broadband from their "
               L"networks itself when a wired network connects, whatever the firmware allows the service.";
    case 2:
        return L"Windows minimizes simultaneous connections but stays connected to cellular: it disconnects Wi-Fi "
               L"itself when a wired network connects, whatever the firmware allows the service.";
    case 3:
        return L"Windows prevents Wi-Fi while on Ethernet: it blocks Wi-Fi connections itself while a wire is "
               L"connected, whatever the firmware allows the service.";
    default:
        return L"Windows' connection manager has an unknown minimizing mode, which may disconnect radios on its own.";
    }
}

void ConnectionPolicyConflicts(const ConnectionManagerPolicy& policy, std::vector<Conflict>& conflicts)
{
    const std::wstring source = L"HKLM\\" + policy.key;
    for (const RegistryValue& value : policy.values) {
        if (!value.isNumber || value.number == 0)
            continue;
        if (_wcsicmp(value.name.c_str(), kMinimizeConnections) == 0)
            conflicts.push_back(
                {L"connection-manager-policy", source, value.name, value.data, MinimizeText(value.number)});
        else if (_wcsicmp(value.name.c_str(), kBlockNonDomain) == 0)
            conflicts.push_back({L"connection-manager-policy", source, value.name, value.data,
                                 L"Windows blocks connections to non-domain networks while on a domain network: "
                                 L"Wi-Fi may stay disconnected although its radio is on."});
    }
}

void DriverConflicts(const std::vector<DriverSetting>& settings, std::vector<Conflict>& conflicts)
{
    for (const DriverSetting& setting : settings) {
        if (!setting.active)
            continue;
        const std::wstring shown = setting.valueLabel.empty() ? setting.value : setting.valueLabel;
        conflicts.push_back({L"wifi-driver-setting", L"adapter " + setting.adapterKey + L" (" + setting.adapter + L")",
                             setting.keyword, setting.value,
                             L"The Wi-Fi driver's \"" + setting.label + L"\" is " + shown +
                                 L": the driver itself may switch Wi-Fi off when a wire comes, whatever the firmware "
                                 L"allows the service."});
    }
}

void LoggingConflicts(const std::vector<LoggingFinding>& findings, std::vector<Conflict>& conflicts)
{
    for (const LoggingFinding& finding : findings)
        conflicts.push_back({L"logging-policy", finding.key, finding.value, finding.data,
                             L"The service reads the logging policy's " + finding.value + L" \"" + finding.data +
                                 L"\" otherwise than it looks: " + finding.problem + L"."});
}

}  // namespace

std::vector<Conflict> FindConflicts(const StatusReport& report)
{
    std::vector<Conflict> conflicts;
    ConnectionPolicyConflicts(report.connectionPolicy, conflicts);
    DriverConflicts(report.driverSettings, conflicts);
    LoggingConflicts(report.loggingFindings, conflicts);
    return conflicts;
}

}  // namespace diag
