// Quantiles of the range, Dunnett's statistic and the maximum modulus, with known variance and studentised: critical
// values of the comparisons of many means. Arguments are those of range_probability.h with the probability p in place
// of q; Dunnett's statistic takes its correlation parameters lambda (0 < lambda < 1) and makes alpha and beta itself.
//
// All six:
//   result    q with |P(q) - p| <= 1e-05 p, P the matching probability as it is computed; missing when p is outside its
//             bounds, the means are too few (sum of w > 1 for the range, > 0 for the maximum modulus, n >= 1 for
//             Dunnett), df < 1, a probability on the way is missing, or 70 steps do not suffice
//   method    secant iteration on P: on log q and log P for p below 0.2, plain to 0.5, on log(1 - P) above; it starts
//             at the quantile of the largest of as many independent moduli
//   accuracy  what 1e-05 of p implies for q, and the accuracy of P
#pragma once

namespace vek {

// zqunrng(n, p, v, w, work), zqunsrg(n, p, df, v, w, work): quantiles of the range and the studentised range.
//   domain    1e-07 < p < 0.9999999; work n doubles; df above 2147483647 counts as infinite
//   cost      4 to 8 probabilities; 60 means and 660 degrees of freedom 0.1 ms
//   tests     tests/numeric/zqunsrg.tsv
double zqunrng(int n, double p, const double* v, const double* w, double* work);
double zqunsrg(int n, double p, double df, const double* v, const double* w, double* work);

// zqundnt(two_sided, n, p, lambda, w, work), zqunsdt(two_sided, n, p, df, lambda, w, work): quantiles of Dunnett's
// statistic. One-sided p below 0.2 is missing: the iteration there is on log q, and it starts from 0.
//   domain    0 < p < 1; work 2n doubles, studentised 3n
//   cost      4 to 8 probabilities
//   tests     tests/numeric/zqunsdt.tsv
double zqundnt(bool two_sided, int n, double p, const double* lambda, const double* w, double* work);
double zqunsdt(bool two_sided, int n, double p, double df, const double* lambda, const double* w, double* work);

// zqunmmm(n, p, v, w), zqunsmm(n, p, df, v, w, work): quantiles of the maximum modulus.
//   domain    1e-07 < p < 0.9999999; work is not used
//   cost      4 to 8 probabilities
//   tests     tests/numeric/zqunsmm.tsv
double zqunmmm(int n, double p, const double* v, const double* w);
double zqunsmm(int n, double p, double df, const double* v, const double* w, double* work);

}  // namespace vek
