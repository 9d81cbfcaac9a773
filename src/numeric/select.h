// Order statistics of an array by partial sorting.
#pragma once

#include <cstddef>

namespace vek {

/// zqpsort(n, x, wanted, positions, values, companion, width): moves the elements of x that a full ascending sort would
/// put at the given positions (counted from 0) to these places, and copies them to `values`. Smaller elements come
/// before, larger ones behind; their order is not told. The companion array, elements of `width` bytes, goes through
/// every exchange with x; null for none.
///   domain    n >= 1; at least one position, ascending (repeats allowed), from 0 to n - 1; x without NaN (with one the
///             call ends, but the order is not told)
///   result    0; -1 for bad arguments, and then nothing is changed
///   method    quick sort partitions (Hoare 1961) about the median of three, only where a wanted position lies; a part
///             that has been split too often is sorted by a heap, so the cost is bounded
///   accuracy  exact
///   cost      about 3n comparisons for one position; at most n ln n by the heap
///   tests     tests/numeric/test_random.cpp
int zqpsort(std::ptrdiff_t n, double* x, std::ptrdiff_t wanted, const std::ptrdiff_t* positions, double* values,
            void* companion = nullptr, std::size_t width = 0);

}  // namespace vek
