// The waits for the operating system's Wi-Fi and mobile-broadband services
// (WLAN and WWAN AutoConfig), which the start-up worker and resume handling
// make before they touch a radio: up to 15 one-second polls, and a line
// under the caller's log when the service did not come up. The caller goes
// on either way.
#pragma once

#include "logging/OperationLog.h"

void WaitForWlanAutoConfig(const QX::Shared::FunctionLog& log);
void WaitForWwanAutoConfig(const QX::Shared::FunctionLog& log);
