// The resume handling after sleep, run synchronously on the control-handler
// thread through CServiceBase::OnContinue (the executable hands it to the
// service base). Network events that came and went during sleep were
// ignored, so it waits for the wired link to settle (up to 8 x 1 s while an
// Ethernet adapter still has no address), waits for the radio services,
// switches the managed radios off with the wire up or starts them from the
// stored state without it, restores the stored state of the radios the
// firmware does not let the service manage, and clears on_resumeflag, which
// nothing else clears, on every path. It may take tens of seconds.
#pragma once

namespace NLMUtils {

// Always true.
bool SystemResumeHandler();

}  // namespace NLMUtils
