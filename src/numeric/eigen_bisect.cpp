// Eigenvalues of a tridiagonal matrix by bisection with Sturm sequences: slower than QL, but it cannot fail to
// converge.
#include <algorithm>
#include <cmath>

#include "numeric/eigen.h"
#include "numeric/eigen_constants.h"

namespace vek {

using namespace eigen;

void gersch(const TridiagonalBlock& block, double& low, double& high) {
    const int end = block.first + block.size;
    low = block.d[block.first];
    high = low;
    for (int i = block.first; i < end; ++i) {
        const double radius = std::fabs(block.e[i]) + (i + 1 < block.order ? std::fabs(block.e[i + 1]) : 0.0);
        low = std::min(low, block.d[i] - radius);
        high = std::max(high, block.d[i] + radius);
    }
}

int sturm(const TridiagonalBlock& block, double x) {
    int count = block.first;
    double q = 1;
    for (int i = block.first; i < block.first + block.size; ++i) {
        q = q == 0 ? std::fabs(block.e[i]) / eps : block.e2[i] / q;
        q = block.d[i] - x - q;
        if (q < 0) ++count;
    }
    return count;
}

double cut(TridiagonalBlock& block, int target, double low, double high) {
    if (target == -1) return low;
    for (;;) {
        const double middle = low + 0.5 * (high - low);
        block.count = sturm(block, middle);
        if (block.count == target || !(low < middle && middle < high)) return middle;
        (block.count < target ? low : high) = middle;
    }
}

namespace {

// The values of rank first to last (counted from 1) of one block, all between low and high, to upper[first - 1] and on.
void bisect_block(const TridiagonalBlock& block, int first, int last, double low, double high, double slack,
                  double* lower, double* upper) {
    for (int k = first; k <= last; ++k) {
        lower[k - 1] = low;
        upper[k - 1] = high;
    }
    double above = high;
    for (int k = last; k >= first; --k) {
        double below = low;
        for (int i = k; i >= first; --i) below = std::max(below, lower[i - 1]);
        above = std::min(above, upper[k - 1]);
        double middle = below + 0.5 * (above - below);
        while (above - below > 2.220446049250314e-16 * (std::fabs(below) + std::fabs(above)) + std::fabs(slack) &&
               below < middle && middle < above) {
            const int count = sturm(block, middle);
            if (count >= k) {
                above = middle;
            } else {
                // What lies above the middle for this rank may settle lower ranks too.
                below = middle;
                if (count < first) {
                    lower[first - 1] = middle;
                } else {
                    lower[count] = middle;
                    upper[count - 1] = std::min(upper[count - 1], middle);
                }
            }
            middle = below + 0.5 * (above - below);
        }
        upper[k - 1] = below <= 0 && above >= 0 ? 0 : middle;
    }
}

// Merges `added` ascending values of one block into the `held` values of the blocks before it.
void merge(const double* block_values, int added, int tag, double* values, int* tags, int held) {
    int from = added - 1, old = held - 1;
    for (int place = held + added - 1; from >= 0; --place) {
        if (old >= 0 && values[old] > block_values[from]) {
            values[place] = values[old];
            tags[place] = tags[old--];
        } else {
            values[place] = block_values[from--];
            tags[place] = tag;
        }
    }
}

}  // namespace

int zbisect(int n, int m, double tolerance, double* tridiagonal, double* values, int* tags, double* scratch) {
    const double* d = tridiagonal;
    const double* e = d + n;
    double* e2 = tridiagonal + 2 * static_cast<std::ptrdiff_t>(n);
    double* lower = scratch;
    double* upper = scratch + n;
    int low_rank = m > 0 ? n - m + 1 : 1;
    int high_rank = low_rank + std::abs(m) - 1;
    e2[0] = 0;
    for (int i = 1; i < n; ++i)
        if (std::fabs(e[i]) <= eps * (std::fabs(d[i - 1]) + std::fabs(d[i]))) e2[i] = 0;

    TridiagonalBlock whole{d, e, e2, 0, n, n};
    double low = 0, high = 0;
    gersch(whole, low, high);
    const double margin = std::max(std::fabs(low), std::fabs(high)) * eps * n;
    low -= margin;
    high += margin;
    if (low_rank > 1) {
        low = cut(whole, low_rank - 1, low, high);
        if (whole.count != low_rank - 1) {
            low -= margin;
            low_rank = sturm(whole, low) + 1;
        }
    }
    if (high_rank < n) {
        high = cut(whole, high_rank, low, high);
        if (whole.count != high_rank) {
            high += margin;
            high_rank = sturm(whole, high);
        }
    }
    const int count = high_rank - low_rank + 1;
    if (count < 1) return 0;

    int held = 0;
    int tag = 0;
    for (int first = 0; first < n && held < count;) {
        int end = first + 1;
        while (end < n && e2[end] != 0) ++end;
        const TridiagonalBlock block{d, e, e2, first, end - first, n};
        ++tag;
        if (block.size == 1) {
            if (low <= d[first] && d[first] <= high) {
                merge(d + first, 1, tag, values, tags, held);
                ++held;
            }
        } else {
            double block_low = 0, block_high = 0;
            gersch(block, block_low, block_high);
            const double unit = std::max(std::fabs(block_low), std::fabs(block_high)) * eps;
            const double from = std::max(low, block_low - unit * block.size);
            const double to = std::min(high, block_high + unit * block.size);
            const int first_rank = sturm(block, from) + 1, last_rank = sturm(block, to);
            if (first_rank <= last_rank) {
                bisect_block(block, first_rank, last_rank, from, to, tolerance > 0 ? tolerance : unit, lower, upper);
                const int added = last_rank - first_rank + 1;
                merge(upper + first_rank - 1, added, tag, values, tags, held);
                held += added;
            }
        }
        first = end;
    }
    if (m > 0) {
        std::reverse(values, values + held);
        std::reverse(tags, tags + held);
        e2[0] = 2;
    }
    return held;
}

}  // namespace vek
