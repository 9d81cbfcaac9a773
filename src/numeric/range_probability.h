// Probabilities of the three statistics behind the comparisons of many means: the range, Dunnett's statistic and the
// maximum modulus of normal variables, each with known variance and studentised (divided by the root of an independent
// mean square of df degrees of freedom).
//
// Variables come in n groups: group i has scale v[i] and multiplicity w[i], which need not be a whole number. One group
// {1.0}, {k} is the classic distribution of k means. Failure is the plain missing value. Work space is the caller's;
// nothing is allocated and nothing kept.
//
// All integrals by zhardy and zhrdys share a weakness of the stopping test: two sums can agree by chance while the step
// is still too wide. The test is kept as it is, since the last digits of every critical value depend on it; how often
// it is met by chance stands below as it was measured.
#pragma once

namespace vek {

// zprbrng(n, q, v, w, work): P(range <= q), the range of independent normal variables of mean 0 and scales v.
//   domain    q >= 0, v > 0 in ascending order (the integrand is cut off at 6.8 times the last scale), sum of w > 1;
//             work n doubles
//   result    the probability; 0 at q = 0; missing for n < 1, q < 0 or not a number, where the integrand vanishes at 0
//             (200 means with q below 0.065), or when the integral does not settle
//   method    integral over the smallest variable, by zhardy with tolerance 1e-07 from 0, znrm for the normal
//             distribution (Hartley, Biometrika 32 (1942))
//   accuracy  absolute 1e-7 up to 150 means, 3e-7 to 200 means. By chance worse at 53 of 127,000 (means, q) with 2 to
//             200 means and q to 10: mostly below 1e-5; 6e-5 for 28 means and q from 4.8 to 4.92; 7e-4 for 100 means
//             and q = 5; 2e-3 for 130 means and q = 4.8125; at most 6e-3 (190 means, q = 4.6875)
//   cost      15 to 70 points, each 2n normal values, n + 1 exponentials and n logarithms: 1 to 3 us for one group
//   tests     tests/numeric/zprbsrg.tsv (rows of infinite df), tests/numeric/test_range.cpp
double zprbrng(int n, double q, const double* v, const double* w, double* work);

// zprbsrg(n, q, df, v, w, work): P(studentised range <= q).
//   domain    as zprbrng, df >= 1; df above 2147483647 counts as infinite
//   result    the probability; 0 at q = 0; missing for n < 1, q < 0, df < 1, a probability below 1e-10, or when the
//             mean over the variance fails
//   method    zfstchi of zprbrng: adaptive below 102 degrees of freedom, 7 Gauss nodes from there on
//   accuracy  absolute 1e-7 up to 150 means, 3e-7 to 200. The 7 nodes are coarser just above their limit: 102 degrees
//             of freedom give 3e-7 for 60 means, 9e-7 for 100, 5e-6 for 200; 200 of them give 1e-7 again. By chance up
//             to 1e-4 for 1 and 2 degrees of freedom in the far tail; the inner integral's chance errors come through
//             divided by 2 to 100 (28 means: 1e-5 to 6e-5 with q from 4 to 5.5; 100 means, df = 1e5, q = 5: 3e-4), and
//             can keep the outer one from settling where the probability is below 1e-3 (60 means, df = 20, q = 2.25
//             is missing), seen for 7 of 300 combinations of means and degrees of freedom
//   cost      7 calls of zprbrng from 102 degrees of freedom on (10 to 20 us); 30 to 120 below (50 to 300 us)
//   tests     tests/numeric/zprbsrg.tsv
double zprbsrg(int n, double q, double df, const double* v, const double* w, double* work);

// zprbdnt(two_sided, n, q, alpha, beta, w): P(all |T_i| <= q), one-sided P(all T_i <= q), for Dunnett's T_i, the
// differences of group i from a common control: given the control at u, P(T_i <= q) is Phi(alpha_i u + beta_i q).
// Parameters lambda_i with correlations lambda_i lambda_j give alpha = lambda / sqrt(1 - lambda^2) and
// beta = 1 / sqrt(1 - lambda^2).
//   domain    alpha, beta > 0, alpha[0] from about 0.02 on; one-sided q may be negative
//   result    the probability; missing for n < 1, q not a number, two-sided q < 0, where the integrand vanishes at 0
//             (two-sided q = 0) or when the integral does not settle
//   method    integral over the control, by zhardy with tolerance 1e-07 from 0 (Dunnett, JASA 50 (1955))
//   accuracy  absolute 3e-7 for up to 20 comparisons; by chance to 5e-6 for 100 to 200 with lambda from 0.7 on
//   cost      15 to 130 points of n to 2n normal values
//   tests     tests/numeric/zprbsdt.tsv (rows of infinite df)
double zprbdnt(bool two_sided, int n, double q, const double* alpha, const double* beta, const double* w);

// zprbsdt(two_sided, n, q, df, alpha, beta, w, work): the studentised form of zprbdnt.
//   domain    as zprbdnt, df >= 1; work n doubles
//   result    the probability; two-sided 0 at q = 0; missing for n < 1, df < 1, two-sided q < 0, a probability below
//             1e-10, or when an integral fails. One-sided with many means and negative q the integrand underflows at
//             the centre long before the probability does: 200 means of lambda 0.9 are missing below 0.05
//   method    zfstchi of zprbdnt
//   accuracy  absolute 3e-7 for up to 20 comparisons (1e-7 for all but 17 of 27,000 values). For 28 to 200: 1e-6 with 1
//             value in 100 above by chance, mostly below 1e-5, to 1e-4 for df below 7, and 1e-3 once (200 comparisons,
//             lambda 0.2, df 6.9, q = 3.75). Seldom missing by chance, below 2e-3
//   cost      7 calls of zprbdnt from 102 degrees of freedom on, 30 to 120 below
//   tests     tests/numeric/zprbsdt.tsv
double zprbsdt(bool two_sided, int n, double q, double df, const double* alpha, const double* beta, const double* w,
               double* work);

// zprbmmm(n, q, v, w): P(max |X_i| <= q), the maximum modulus of independent normal variables of scales v.
//   domain    q >= 0, v > 0
//   result    the probability; 0 at q = 0; missing for n < 1, q < 0 or not a number
//   method    product of error functions
//   accuracy  absolute 3e-14 for 1,770 means, 1e-15 for few
//   cost      n error functions, n powers
//   tests     tests/numeric/zprbsmm.tsv (rows of infinite df)
double zprbmmm(int n, double q, const double* v, const double* w);

// zprbsmm(n, q, df, v, w, work): the studentised form of zprbmmm. It needs no work space and takes it to be called like
// the other two.
//   domain    as zprbmmm, df >= 1
//   result    the probability; 0 at q = 0; missing for n < 1, q < 0, df < 1, or when the mean over the variance fails
//   method    zfstchi of zprbmmm
//   accuracy  absolute 1e-7; 2e-6 at 102 degrees of freedom for 200 means; by chance 1e-5 to 1e-4 for df below 3
//   cost      7 calls of zprbmmm from 102 degrees of freedom on, 30 to 120 below
//   tests     tests/numeric/zprbsmm.tsv
double zprbsmm(int n, double q, double df, const double* v, const double* w, double* work);

}  // namespace vek
