// The univariate report: overall analysis, fit statistics, tests of the hypothesis types, contrasts, tests with another
// error term, estimates, for one dependent variable after the other.
#pragma once

namespace vek {

constexpr int pending_model = 0x40, pending_contrasts = 0x20, pending_estimates = 0x10, pending_tests = 0x08;

/// First and last index, from 1, into a list of statements; 0 when there is none.
struct IndexRange {
    int first = 0, last = 0;
};
struct TableRanges {
    IndexRange contrasts, estimates, tests;
};

/// Prints what is pending (a sum of the flags above) for every dependent variable of the pass.
void vektabl(int pending, const TableRanges& ranges);

}  // namespace vek
