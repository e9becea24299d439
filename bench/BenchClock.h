// The benchmark's clock (the performance counter) and the statistics of its
// samples.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace bench {

// Performance counter ticks per second.
inline int64_t TicksPerSecond()
{
    static const int64_t frequency = [] {
        LARGE_INTEGER f;
        QueryPerformanceFrequency(&f);
        return static_cast<int64_t>(f.QuadPart);
    }();
    return frequency;
}

inline int64_t Ticks()
{
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<int64_t>(now.QuadPart);
}

inline double TicksToSeconds(int64_t ticks)
{
    return static_cast<double>(ticks) / static_cast<double>(TicksPerSecond());
}
inline double TicksToNanoseconds(int64_t ticks) { return TicksToSeconds(ticks) * 1e9; }

// The value at `fraction` (0.5: the median) of the sorted samples; 0 for none.
inline double Quantile(std::vector<double> samples, double fraction)
{
    if (samples.empty())
        return 0.0;
    std::sort(samples.begin(), samples.end());
    const size_t last = samples.size() - 1;
    const size_t index = std::min(last, static_cast<size_t>(fraction * static_cast<double>(last) + 0.5));
    return samples[index];
}

inline double Median(const std::vector<double>& samples) { return Quantile(samples, 0.5); }

inline double Smallest(const std::vector<double>& samples)
{
    return samples.empty() ? 0.0 : *std::min_element(samples.begin(), samples.end());
}

inline double Largest(const std::vector<double>& samples)
{
    return samples.empty() ? 0.0 : *std::max_element(samples.begin(), samples.end());
}

}  // namespace bench
