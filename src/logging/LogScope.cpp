#include "logging/LogScope.h"

#include "platform/Api.h"

namespace QX::Shared {

namespace {

uint64_t UnbiasedInterruptTime()
{
    ULONGLONG now = 0;
    os::api().QueryUnbiasedInterruptTime(&now);
    return now;
}

} // namespace

CqxLogScope::CqxLogScope(CqxLogger* logger, const char* function)
    : m_logger(logger), m_start(UnbiasedInterruptTime()), m_function(function)
{
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
    const uint64_t elapsed = UnbiasedInterruptTime() - m_start;
    m_elapsedMilliseconds = static_cast<double>(elapsed) / 10000.0;

    if (m_elapsedMilliseconds < 1000000.0)
        Log(m_logger, LevelDiag, m_function, L"Elapsed time = %7.1Lf ms.", m_elapsedMilliseconds);
    else
        Log(m_logger, LevelDiag, m_function, L"Elapsed time = %7.1Lf s.", m_elapsedMilliseconds / 1000.0);

    if (m_logger != nullptr)
        m_logger->AddTiming(m_function, m_elapsedMilliseconds);
}

} // namespace QX::Shared
