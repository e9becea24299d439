// operator+ on vectors: tests build what they expect (log lines, calls,
// pauses) from named blocks and join them in order. Lookup does not find an
// operator of this namespace for std::vector, so a test file brings it in
// with `using fakes::operator+;`.
#pragma once

#include <vector>

namespace fakes {

template <typename T>
std::vector<T> operator+(std::vector<T> left, const std::vector<T>& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

}  // namespace fakes
