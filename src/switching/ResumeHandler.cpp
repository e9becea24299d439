#include "switching/ResumeHandler.h"

#include "logging/OperationLog.h"

namespace NLMUtils {

bool SystemResumeHandler()
{
    QX::Shared::OperationLog op("NLMUtils::SystemResumeHandler");
    // The re-decision of both radios after sleep is not built yet; until it
    // is, a resume only passes through here.
    op.Exit(L"Return = %d", 1);
    return true;
}

} // namespace NLMUtils
