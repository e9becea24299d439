#include "service/ServiceBase.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "platform/Format.h"
#include "platform/UniqueHandle.h"
#include "state/SwitchingState.h"

#include <cstdint>

CServiceBase* CServiceBase::s_service = nullptr;
DWORD CServiceBase::CheckPointCounter = 1;
CServiceBase::ResumeHandler CServiceBase::s_resumeHandler = nullptr;

namespace {

constexpr size_t kErrorEntryCapacity = 260;

}  // namespace

CServiceBase::CServiceBase(const wchar_t* serviceName, bool canStop, bool canShutdown, bool canPauseContinue)
    : m_name(serviceName ? serviceName : L""), m_status()
{
    m_status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    m_status.dwCurrentState = SERVICE_START_PENDING;
    // Power events always: suspend and resume drive the resume handling.
    DWORD accepted = SERVICE_ACCEPT_POWEREVENT;
    if (canStop)
        accepted |= SERVICE_ACCEPT_STOP;
    if (canShutdown)
        accepted |= SERVICE_ACCEPT_SHUTDOWN | SERVICE_ACCEPT_PRESHUTDOWN;
    if (canPauseContinue)
        accepted |= SERVICE_ACCEPT_PAUSE_CONTINUE;
    m_status.dwControlsAccepted = accepted;
}

bool CServiceBase::Run(CServiceBase& service)
{
    s_service = &service;
    SERVICE_TABLE_ENTRYW table[] = {
        {const_cast<LPWSTR>(service.m_name), &CServiceBase::ServiceMain},
        {nullptr, nullptr},
    };
    return os::api().StartServiceCtrlDispatcherW(table) != FALSE;
}

void WINAPI CServiceBase::ServiceMain(DWORD argc, LPWSTR* argv)
{
    s_service->m_statusHandle =
        os::api().RegisterServiceCtrlHandlerExW(s_service->m_name, &CServiceBase::HandlerEx, nullptr);
    if (s_service->m_statusHandle == nullptr)
        throw static_cast<DWORD>(GetLastError());  // nothing catches it: the process ends
    s_service->Start(argc, argv);
}

DWORD WINAPI CServiceBase::HandlerEx(DWORD control, DWORD eventType, LPVOID, LPVOID)
{
    switch (control) {
    case SERVICE_CONTROL_STOP: s_service->Stop(); break;
    case SERVICE_CONTROL_PAUSE: s_service->Pause(); break;
    case SERVICE_CONTROL_CONTINUE: s_service->Continue(); break;
    case SERVICE_CONTROL_SHUTDOWN:
    case SERVICE_CONTROL_PRESHUTDOWN: s_service->Shutdown(); break;
    case SERVICE_CONTROL_POWEREVENT:
        if (eventType == PBT_APMSUSPEND || eventType == PBT_APMSTANDBY) {
            const QX::Shared::FunctionLog log("CServiceBase::HandlerEx");
            log.Log(QX::Shared::LevelInformation, L"PBT_APMSTANDBY or PBT_APMSUSPEND");
            log.Log(QX::Shared::LevelInformation, L"Setting on_resumeflag to TRUE");
            on_resumeflag = 1;
            // Paused although pause-continue is not accepted: the SCM sees
            // the sleep as PAUSED and the resume as CONTINUE_PENDING, RUNNING.
            s_service->Pause();
        } else if (eventType == PBT_APMRESUMEAUTOMATIC) {
            s_service->Continue();
        }
        break;
    default: break;
    }
    return NO_ERROR;
}

void CServiceBase::Start(DWORD argc, LPWSTR* argv)
{
    try {
        SetServiceStatus(SERVICE_START_PENDING);
        OnStart(argc, argv);
        SetServiceStatus(SERVICE_RUNNING);
    } catch (DWORD error) {
        WriteErrorLogEntry(L"Service Start", error);
        SetServiceStatus(SERVICE_STOPPED, error);
    } catch (...) {
        WriteEventLogEntry(L"Service failed to start.", EVENTLOG_ERROR_TYPE);
        SetServiceStatus(SERVICE_STOPPED);
    }
}

void CServiceBase::Stop()
{
    const DWORD previousState = m_status.dwCurrentState;
    try {
        SetServiceStatus(SERVICE_STOP_PENDING);
        OnStop();
        SetServiceStatus(SERVICE_STOPPED);
    } catch (DWORD error) {
        WriteErrorLogEntry(L"Service Stop", error);
        SetServiceStatus(previousState);
    } catch (...) {
        WriteEventLogEntry(L"Service failed to stop.", EVENTLOG_ERROR_TYPE);
        SetServiceStatus(previousState);
    }
}

void CServiceBase::Pause()
{
    try {
        SetServiceStatus(SERVICE_PAUSE_PENDING);
        OnPause();
        SetServiceStatus(SERVICE_PAUSED);
    } catch (DWORD error) {
        WriteErrorLogEntry(L"Service Pause", error);
        SetServiceStatus(SERVICE_RUNNING);
    } catch (...) {
        WriteEventLogEntry(L"Service failed to pause.", EVENTLOG_ERROR_TYPE);
        SetServiceStatus(SERVICE_RUNNING);
    }
}

void CServiceBase::Continue()
{
    try {
        SetServiceStatus(SERVICE_CONTINUE_PENDING);
        OnContinue();
        SetServiceStatus(SERVICE_RUNNING);
    } catch (DWORD error) {
        WriteErrorLogEntry(L"Service Continue", error);
        SetServiceStatus(SERVICE_PAUSED);
    } catch (...) {
        WriteEventLogEntry(L"Service failed to resume.", EVENTLOG_ERROR_TYPE);
        SetServiceStatus(SERVICE_PAUSED);
    }
}

void CServiceBase::Shutdown()
{
    try {
        SetServiceStatus(SERVICE_STOP_PENDING);
        OnShutdown();
        SetServiceStatus(SERVICE_STOPPED);
    } catch (DWORD error) {
        WriteErrorLogEntry(L"Service Shutdown", error);
    } catch (...) {
        WriteEventLogEntry(L"Service failed to shut down.", EVENTLOG_ERROR_TYPE);
    }
}

void CServiceBase::SetServiceStatus(DWORD currentState, DWORD win32ExitCode, DWORD waitHint)
{
    m_status.dwCurrentState = currentState;
    m_status.dwWin32ExitCode = win32ExitCode;
    m_status.dwWaitHint = waitHint;
    m_status.dwCheckPoint =
        (currentState == SERVICE_RUNNING || currentState == SERVICE_STOPPED) ? 0 : CheckPointCounter++;
    os::api().SetServiceStatus(m_statusHandle, &m_status);
}

void CServiceBase::WriteEventLogEntry(const wchar_t* message, WORD type)
{
    os::UniqueEventSource source(os::api().RegisterEventSourceW(nullptr, m_name));
    if (!source)
        return;
    const wchar_t* strings[] = {m_name, message};
    os::api().ReportEventW(source.get(), type, 0, 0, nullptr, 2, 0, strings, nullptr);
}

void CServiceBase::WriteErrorLogEntry(const wchar_t* function, DWORD error)
{
    wchar_t message[kErrorEntryCapacity];
    os::Format(message, kErrorEntryCapacity, L"%s failed w/err 0x%08lx", function, error);
    WriteEventLogEntry(message, EVENTLOG_ERROR_TYPE);
}

void CServiceBase::OnStart(DWORD, LPWSTR*) {}

void CServiceBase::OnStop() {}

void CServiceBase::OnPause() {}

void CServiceBase::OnContinue()
{
    QX::Shared::OperationLog op("CServiceBase::OnContinue");
    // The handler always succeeds; its result says nothing to act on.
    if (s_resumeHandler != nullptr)
        s_resumeHandler();
    op.Exit();
}

void CServiceBase::OnShutdown() {}
