// TessarineDiag status: reads, reasons, prints (text or JSON), and says by
// its exit code whether the service runs.
#include "Verbs.h"

#include "platform/Console.h"
#include "status/JsonReport.h"
#include "status/Readings.h"
#include "status/Reasoning.h"
#include "status/StatusPrinting.h"
#include "status/TextReport.h"

namespace diag {

int PrintStatus(const StatusReport& report, bool json)
{
    const Reasoning reasoning = Reason(report);
    const std::wstring text = json ? StatusJson(report, reasoning) : StatusText(report, reasoning);
    os::Print(L"%s", text.c_str());
    return report.service.Running() ? kExitRan : kExitServiceNotRunning;
}

int RunStatus(const StatusOptions& options) { return PrintStatus(ReadStatus(), options.json); }

}  // namespace diag
