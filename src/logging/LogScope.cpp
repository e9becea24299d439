#include "logging/LogScope.h"

#include "platform/Api.h"

namespace QX::Shared {

namespace {

// The unbiased interrupt time in `now`; false, `now` untouched, when it
// cannot be read.
bool ReadUnbiasedInterruptTime(uint64_t& now)
{
    ULONGLONG value = 0;
    if (!os::api().QueryUnbiasedInterruptTime(&value))
        return false;
    now = value;
    return true;
}

}  // namespace

CqxLogScope::CqxLogScope(CqxLogger* logger, const char* function) : m_logger(logger), m_function(function)
{
    m_startRead = ReadUnbiasedInterruptTime(m_start);
}

CqxLogScope::~CqxLogScope()
{
    if (!m_ended)
        End();
}

std::unique_ptr<CqxLogScope> CqxLogScope::StartIfTiming(CqxLogger* logger, const char* function)
{
    if (logger == nullptr || !logger->TimingEnabled())
        return nullptr;
    return std::make_unique<CqxLogScope>(logger, function);
}

void CqxLogScope::End()
{
    m_ended = true;
    // A failed read times nothing: the difference to zero would be the time
    // since boot, or wrap round to millennia, and stay in the statistics.
    uint64_t now = 0;
    const bool read = m_startRead && ReadUnbiasedInterruptTime(now);
    const uint64_t elapsed = read ? now - m_start : 0;
    m_elapsedMilliseconds = static_cast<double>(elapsed) / 10000.0;

    if (m_elapsedMilliseconds < 1000000.0)
        Log(m_logger, LevelDiag, m_function, L"Elapsed time = %7.1Lf ms.", m_elapsedMilliseconds);
    else
        Log(m_logger, LevelDiag, m_function, L"Elapsed time = %7.1Lf s.", m_elapsedMilliseconds / 1000.0);

    if (m_logger != nullptr)
        m_logger->AddTiming(m_function, m_elapsedMilliseconds);
}

}  // namespace QX::Shared
