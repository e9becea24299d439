// The resume handling after sleep, run on the control-handler thread through
// CServiceBase::OnContinue (the executable hands it to the service base).
// So far it only logs its scope and returns: re-deciding the radios and
// clearing on_resumeflag come with the switching engine.
#pragma once

namespace NLMUtils {

// Always true.
bool SystemResumeHandler();

} // namespace NLMUtils
