// Owning wrapper of Service Control Manager handles. They are closed through
// the seam, like every other SCM call, so scripted handles never reach the
// real CloseServiceHandle.
#pragma once

#include "platform/Api.h"
#include "platform/UniqueHandle.h"

namespace os {

inline BOOL WINAPI CloseServiceHandleThroughSeam(SC_HANDLE handle) { return api().CloseServiceHandle(handle); }

using UniqueServiceHandle = UniqueAny<SC_HANDLE, BOOL, CloseServiceHandleThroughSeam>;

} // namespace os
