// The one way an operation logs: FunctionLog writes records under one
// function's name, and OperationLog adds the calling convention of a whole
// operation (the entry record, the timed scope, the exit record).
//
// Each record fetches the process logger anew, after its arguments have been
// evaluated, so a GetLastError() passed as an argument reads the caller's
// error, not one the logger may leave while it is being created.
//
//   OperationLog op("Utils::GetService", L"Service Name = %s", name);  // TraceIn
//   op.Log(LevelError, L"OpenService failed w/err 0x%08lx", GetLastError());
//   op.Exit(L"Return Value = %d", result);                             // TraceOut
//
// The timed scope, started only when the logger times operations, ends when
// the OperationLog goes away, after the exit record. An operation that
// returns early without an exit record simply does not call Exit.
#pragma once

#include "logging/LogScope.h"

#include <cstdint>
#include <memory>

namespace QX::Shared {

class FunctionLog {
public:
    explicit FunctionLog(const char* function) : m_function(function) {}

    // One record at `level` (wide printf format of the Windows runtime).
    void Log(int32_t level, const wchar_t* format, ...) const;
    // The same text as a record at `level` and, followed by a line end, on
    // standard output (the command-line modes print what they log).
    void LogAndPrint(int32_t level, const wchar_t* format, ...) const;

    const char* Function() const { return m_function; }

private:
    const char* m_function;
};

class OperationLog : public FunctionLog {
public:
    explicit OperationLog(const char* function, const wchar_t* entryFormat = nullptr, ...);
    OperationLog(const OperationLog&) = delete;
    OperationLog& operator=(const OperationLog&) = delete;

    void Exit(const wchar_t* format = nullptr, ...) const;

private:
    std::unique_ptr<CqxLogScope> m_scope;
};

}  // namespace QX::Shared
