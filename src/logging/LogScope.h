// CqxLogScope: the timer of one timed operation. Ending it writes a level-6
// "Elapsed time" record and adds the call to the logger's statistics.
// Scopes exist only when the logger's timing flag is set (StartIfTiming).
#pragma once

#include "logging/Logger.h"

#include <cstdint>
#include <memory>

namespace QX::Shared {

class CqxLogScope {
public:
    // Starts the timer. `function` is the caller's string and must outlive
    // the scope.
    CqxLogScope(CqxLogger* logger, const char* function);
    // Ends the scope if End was not called.
    ~CqxLogScope();
    CqxLogScope(const CqxLogScope&) = delete;
    CqxLogScope& operator=(const CqxLogScope&) = delete;

    // A scope when the logger times operations, else null.
    static std::unique_ptr<CqxLogScope> StartIfTiming(CqxLogger* logger, const char* function);

    void End();
    double ElapsedMilliseconds() const { return m_elapsedMilliseconds; }

private:
    CqxLogger* m_logger;
    uint64_t m_start = 0;  // 100-ns units of the unbiased interrupt time
    bool m_startRead = false;
    double m_elapsedMilliseconds = 0.0;
    const char* m_function;
    bool m_ended = false;
};

}  // namespace QX::Shared
