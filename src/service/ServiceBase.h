// CServiceBase: connects one service object to the Service Control Manager,
// keeps and reports its status, turns control codes and power events into
// calls of its virtual operations, and writes event-log entries.
//
// Threads: Run and HandlerEx on the main (dispatcher) thread, ServiceMain and
// Start on the dispatcher's service thread. The status fields and the check
// point counter are plain variables without a lock.
#pragma once

#include <windows.h>
#include <winsvc.h>

#include <cstdint>

class CServiceBase {
public:
    CServiceBase(const wchar_t* serviceName, bool canStop = true, bool canShutdown = true,
                 bool canPauseContinue = false);
    virtual ~CServiceBase() = default;
    CServiceBase(const CServiceBase&) = delete;
    CServiceBase& operator=(const CServiceBase&) = delete;

    // Hands the main thread to the dispatcher; returns when the service has
    // stopped, or false when the dispatcher could not start.
    static bool Run(CServiceBase& service);

    // Called by the dispatcher on its service thread. Operations report a
    // Win32 error by throwing it as a DWORD; the wrappers below map it.
    static void WINAPI ServiceMain(DWORD argc, LPWSTR* argv);
    // The control handler; always returns NO_ERROR.
    static DWORD WINAPI HandlerEx(DWORD control, DWORD eventType, LPVOID eventData, LPVOID context);

    void Start(DWORD argc, LPWSTR* argv);
    void Stop();
    void Pause();
    void Continue();
    void Shutdown();

    // The resume handling that OnContinue runs after sleep. The executable
    // hands it over before Run: it lives in a layer above this one.
    using ResumeHandler = bool (*)();
    static void SetResumeHandler(ResumeHandler handler) { s_resumeHandler = handler; }
    static ResumeHandler ResumeHandlerForTesting() { return s_resumeHandler; }

    // Writes the state, exit code and wait hint and reports the status; pending
    // states and PAUSED take the next check point, RUNNING and STOPPED 0.
    void SetServiceStatus(DWORD currentState, DWORD win32ExitCode = NO_ERROR, DWORD waitHint = 0);
    void WriteEventLogEntry(const wchar_t* message, WORD type);
    void WriteErrorLogEntry(const wchar_t* function, DWORD error = GetLastError());

    const wchar_t* ServiceName() const { return m_name; }
    const SERVICE_STATUS& Status() const { return m_status; }

    // The service in the dispatcher's hands (set by Run).
    static CServiceBase* s_service;
    // Shared by every pending report of every state; never reset.
    static DWORD CheckPointCounter;

protected:
    virtual void OnStart(DWORD argc, LPWSTR* argv);
    virtual void OnStop();
    virtual void OnPause();
    // Runs the resume handler, if one was handed over; its result is ignored.
    virtual void OnContinue();
    virtual void OnShutdown();

private:
    static ResumeHandler s_resumeHandler;

    const wchar_t* m_name;
    SERVICE_STATUS m_status;
    SERVICE_STATUS_HANDLE m_statusHandle = nullptr;
};
