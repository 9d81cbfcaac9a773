// Tail probabilities and quantiles of the F, t and chi-square distributions: what every table of tests and limits asks
// for. Degrees of freedom need not be whole numbers.
//
// Nothing here keeps state or allocates. Failure is a return code, a negative number or the plain missing value, which
// the caller tests for and carries on.
#pragma once

namespace vek {

// zprbf(f, df1, df2): P(F > f) for F with df1 and df2 degrees of freedom.
//   domain    f >= 0, 0 < df1, df2 <= 4294967294
//   result    the probability, 1 at 0; -1 bad argument; -2 no convergence or too many degrees of freedom
//   method    zibeta at df2/(f df1 + df2)
//   accuracy  that of zibeta, and 1e-16 df2 from the rounding of its argument: relative 1e-13 for df2 to 1000,
//             1e-10 at 1e6, 2e-7 at 1e9
//   cost      one zibeta
//   tests     tests/numeric/zprbf.tsv
double zprbf(double f, double df1, double df2);

// zpgt2(x, df): P(T^2 > x), the two-sided probability of t with df degrees of freedom at the root of x.
//   domain    x >= 0, 0 < df <= 4294967294
//   result    the probability; missing on failure
//   method    zibeta at df/(x + df)
//   accuracy  as zprbf with df2 = df
//   cost      one zibeta
//   tests     tests/numeric/zpgt2.tsv
double zpgt2(double x, double df);

// zpgx2(x, df): P(X > x) for chi-square with df degrees of freedom.
//   domain    x >= 0, df >= 0 (0 is a point mass at 0)
//   result    the probability; missing on failure
//   method    Q of zigamma at x/2 and df/2
//   accuracy  that of zigamma: relative 2e-13 for df to 200, 2e-12 to 2000, 3e-11 to 20000 below a half; absolute 4e-11
//             above
//   cost      one zigamma
//   tests     tests/numeric/zpgx2.tsv
double zpgx2(double x, double df);

// zqt(p, df, t): the t that t with df degrees of freedom does not exceed with probability p.
//   domain    0 < p < 1, df > 0
//   result    0 done; 1 bad argument or zprobin failed (t untouched)
//   method    |p - 0.5| < 0.001 and df >= 1: the power series of the probability, inverted by Newton steps; otherwise
//             zprobin for the two-sided probability
//   accuracy  5e-15 relative within 0.001 of a half; outside it 1e-14 relative and, since 1 - b loses digits there,
//             1e-16 df/|t| absolute (2e-8 at df = 2e6 and t = 0.005, 5e-12 at t = 1.6). Found for p from 1e-9 to
//             1 - 1e-9 with df to 1e7; see zprobin for what lies outside
//   cost      a zlbeta and an exponential, or one zprobin
//   tests     tests/numeric/zqt.tsv
int zqt(double p, double df, double& t);

// zqunf(p, df1, df2): the f that F with df1 and df2 degrees of freedom exceeds with probability p.
//   domain    0 < p <= 1, df1 > 0, df2 > 0
//   result    the quantile, 0 at p = 1; the largest double where it is beyond the range; -1 on failure
//   method    zprobin with df2/2 and df1/2
//   accuracy  1e-13 relative for df2 to 10000, 3e-11 to 1e6 (1 - b loses digits); the probability within 1e-7 p
//   cost      one zprobin
//   tests     tests/numeric/zqunf.tsv
double zqunf(double p, double df1, double df2);

// zqf(p, df1, df2, f): the lower-tail quantile, zqunf(1 - p, df1, df2), in f.
//   domain    0 <= p < 1, df1 > 0, df2 > 0
//   result    false done; true failure (f is -1)
//   method    zqunf
//   accuracy  that of zqunf at 1 - p as it is rounded
//   cost      one zprobin
//   tests     tests/numeric/zqunf.tsv, each row twice
bool zqf(double p, double df1, double df2, double& f);

}  // namespace vek
