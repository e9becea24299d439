// OperationLog: the calling convention of every operation in one object.
// Construction logs the entry record (level 0) and starts the timed scope
// when the logger times operations; Exit logs the exit record (level 1).
// The timed scope ends when the object goes away, after the exit record.
// An operation that returns early without an exit record simply does not
// call Exit.
//
//   OperationLog op("Utils::GetService", L"Service Name = %s", name);
//   ...
//   op.Exit(L"Return Value = %d", result);
#pragma once

#include "logging/LogScope.h"

#include <memory>

namespace QX::Shared {

class OperationLog {
public:
    explicit OperationLog(const char* function, const wchar_t* entryFormat = nullptr, ...);
    OperationLog(const OperationLog&) = delete;
    OperationLog& operator=(const OperationLog&) = delete;

    void Exit(const wchar_t* format = nullptr, ...);
    const char* Function() const { return m_function; }

private:
    const char* m_function;
    std::unique_ptr<CqxLogScope> m_scope;
};

} // namespace QX::Shared
