// The error functions, the standard normal distribution function in a full and a tabled form, and its quantile.
//
// Nothing here keeps state or allocates. No number in (a NaN) gives no number out, and a quantile outside of [0, 1] is
// missing.
#pragma once

namespace vek {

// calerf(x, r, flag): r = erf(x) with flag 0, erfc(x) with flag 1.
//   domain    any x
//   result    in r; erfc is 0 from x = 26.6157 on, where e^(-x^2) leaves the normal range
//   method    rational Chebyshev approximations for three ranges of |x| (Cody, Mathematics of Computation 23 (1969));
//             e^(-x^2) with the square in two parts, so that its error does not grow with x
//   accuracy  relative 7e-16
//   cost      a fit of 8 to 18 operations; 2 exponentials from 0.46875 on
//   tests     tests/numeric/zferf.tsv
void calerf(double x, double& r, int flag);

// zferf(x), zferfc(x): erf and erfc as values; everything else as calerf.
double zferf(double x);
double zferfc(double x);

// zprbnrm(x): P(Z <= x), the standard normal distribution function in full accuracy.
//   domain    any x
//   result    the probability; 0 from x = -37.64 down
//   method    erfc of -x/sqrt 2 for x <= 0, erf of x/sqrt 2 above
//   accuracy  relative 4e-14 for x >= -16; 1.2e-16 x^2 below, at most 2e-13 (x = -37.6, p = 1e-308), since the
//             argument of erfc is rounded once
//   cost      that of calerf, 10 to 30 ns
//   tests     tests/numeric/zprbnrm.tsv
double zprbnrm(double x);

// znrm(x): the same by table, for inner loops.
//   domain    any x
//   result    the probability; beyond |x| = 6 that of zprbnrm
//   method    a quartic for each 1/64 of |x|, nrmtable.h
//   accuracy  absolute 2e-14
//   cost      8 operations and one cache line, 2 ns
//   tests     tests/numeric/znrm.tsv; every row against zprbnrm in tests/numeric/test_probability.cpp
double znrm(double x);

// zprobit(p): the x with P(Z <= x) = p.
//   domain    0 <= p <= 1
//   result    the quantile; -37.64 at 0 and 7.94 at 1, which are not symmetric; missing outside of [0, 1]
//   method    min(p, 1 - p) above 0.01: u A(u)/B(u) with u = sqrt(-2 ln q) - sqrt(2 ln 2); below: the same form in 1/u;
//             rational minimax fits of degree 7 and 8. p below 1e-16: szprobit
//   accuracy  relative 2e-15; absolute 3e-16 next to p = 0.5
//   cost      a logarithm, a square root and 30 operations
//   tests     tests/numeric/zprobit.tsv
double zprobit(double p);

// szprobit(p): the quantile of a very small p.
//   domain    0 <= p <= 1, meant for p below 1e-16
//   result    the quantile; -37.64 where the probability is below the range of zprbnrm; missing outside of [0, 1]
//   method    Newton steps on the logarithm of zprbnrm, until the probability is within 1e-12 p
//   accuracy  relative 2e-15
//   cost      3 to 5 steps, each zprbnrm, a logarithm and an exponential
//   tests     tests/numeric/zprobit.tsv, rows with p below 1e-16
double szprobit(double p);

}  // namespace vek
