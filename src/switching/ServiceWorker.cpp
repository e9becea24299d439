// The start-up sequence, on a thread-pool thread queued by OnStart (the
// airplane-mode watcher it queues lives in AirplaneModeWatcher.cpp).
#include "switching/MainService.h"

#include "logging/OperationLog.h"

void CMainService::ServiceWorkerThread()
{
    // The start-up decision is not built yet: the worker only reports that
    // it ran.
    QX::Shared::OperationLog op("CMainService::ServiceWorkerThread", L"ServiceWorkerThread - Entry");
    op.Exit(L"ServiceWorkerThread - Exit");
}
