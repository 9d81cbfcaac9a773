// Places in packed triangles. A symmetric matrix of order n lies in n(n + 1)/2 doubles, lower triangle by rows: element
// (i, j), i >= j, at i(i + 1)/2 + j. Counts and places are 64 bits wide, so that no order can overflow them.
#pragma once

#include <cstddef>

namespace vek {

/// Number of elements of a packed triangle of order n: n(n + 1)/2.
constexpr std::ptrdiff_t triangle_size(std::ptrdiff_t n) { return n * (n + 1) / 2; }

/// Place of element (i, j) of a packed symmetric matrix; the arguments may come in either order.
constexpr std::ptrdiff_t zisub(std::ptrdiff_t i, std::ptrdiff_t j) {
    return i >= j ? triangle_size(i) + j : triangle_size(j) + i;
}

/// Repacks an upper triangle of order n, its rows one after the other (row i has elements i to n - 1), as packed lower
/// triangle by rows: element j of row i goes to (j, i). Source and target must not overlap. Cost: one pass.
inline void zcmprss(const double* source, double* target, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        double* column = target + triangle_size(i) + i;
        for (std::ptrdiff_t j = i; j < n; ++j) {
            *column = *source++;
            column += j + 1;
        }
    }
}

}  // namespace vek
