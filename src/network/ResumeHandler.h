// The resume handling after sleep: brings the radios into line with the
// wired connection found on wake and clears on_resumeflag. Runs on the
// control-handler thread through CServiceBase::OnContinue.
#pragma once

namespace NLMUtils {

// Always true.
bool SystemResumeHandler();

} // namespace NLMUtils
