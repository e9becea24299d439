// The start-up sequence and the airplane-mode watcher, both on thread-pool
// threads queued by OnStart.
#include "switching/MainService.h"

#include "logging/OperationLog.h"

void CMainService::ServiceWorkerThread()
{
    // The start-up decision is not built yet: the worker only reports that
    // it ran.
    QX::Shared::OperationLog op("CMainService::ServiceWorkerThread", L"ServiceWorkerThread - Entry");
    op.Exit(L"ServiceWorkerThread - Exit");
}

void CMainService::AirplaneModeWatcher()
{
    QX::Shared::OperationLog op("CMainService::AirplaneModeWatcher");
    op.Exit();
}
