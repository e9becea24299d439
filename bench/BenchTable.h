// The benchmark's result table: one row per figure with its median over the
// runs, the range of the runs, and its target with the verdict.
#pragma once

#include <string>
#include <vector>

namespace bench {

struct Figure {
    enum class Goal { None, AtMost, AtLeast };

    std::wstring name;
    std::wstring unit;
    std::vector<double> samples;  // one per run
    int decimals = 0;
    Goal goal = Goal::None;
    double target = 0.0;

    double Value() const;
    bool Met() const;
};

// Prints the header, the figures and a closing line with how many targets
// were met.
void PrintTable(const std::vector<Figure>& figures);

}  // namespace bench
