// The beta function's logarithm, the incomplete beta ratio and its inverse, on which the F and t distributions rest.
//
// Nothing here keeps state or allocates. Failure is a return code or a value that no result can have.
#pragma once

namespace vek {

// zlbeta(a, b): ln B(a, b).
//   domain    a > 0, b > 0, a + b finite
//   result    the logarithm; 99 for a or b <= 0 and for what is no number; minus infinity when a + b overflows
//   method    both below 15: three values of zlgamma; otherwise Stirling's formula for the larger argument and the sum,
//             with the large terms cancelled by hand (DLMF 5.11.1)
//   accuracy  absolute 6e-15 (1 + |ln B|)
//   cost      3 logarithms
//   tests     tests/numeric/zlbeta.tsv
double zlbeta(double a, double b);

// zibeta(x, a, b, p, d): incomplete beta ratio p = I_x(a, b) and its density d at x.
//   domain    0 <= x <= 1, 0 < a, b <= 2147483647
//   result    0 done; -1 bad argument or no convergence (p = -1, d = 0); 1 a or b above 2147483647 (p, d untouched).
//             The density is 0 at both ends, and where it is below 3e-308, p is then 0 below the mean and 1 above it
//   method    Gauss's continued fraction in x/(1 - x) for 2F1(1, 1 - b; a + 1; x/(x - 1)) (DLMF 8.17.7
//   with 15.8.1, 15.7.1),
//             two quotients a step, for 1 - x with a and b exchanged when x is well above the mean, for a + 1 when a is
//             below 1. Where 199 steps do not end it: the cube root of the F ratio as nearly normal (Paulson, Annals of
//             Mathematical Statistics 13 (1942)) when one parameter is above 5000 and the other above 100. Else -1,
//             which was only met with the smaller parameter below 0.03, in a narrow band of x
//   accuracy  by the smaller and the larger of a and b, relative in p (in d too), p being 1 less the computed tail when
//             x is well above the mean:
//               0.5 to 100, to 100          3e-13 (1e-13 for p above 1e-30)
//               0.5 to 100, to 2147483647   1e-12
//               to 1000, to 1000            3e-12
//               to 1000, any                1e-11
//               to 10000, any               7e-11
//               above                       5e-7, absolute 2e-7 (normal branch)
//               below 0.5                   absolute 4e-14 in p, relative 2e-13 in d
//             The logarithm of the density is a difference of numbers as large as its parameters times their
//             logarithms: this limits all rows but the normal branch
//   cost      3 values of zlgamma, 3 logarithms and 5 to 30 steps where one parameter is below 100; up to 199 steps
//             near the mean when both are large. No allocation, no recursion: it is called within integrals
//   tests     tests/numeric/zibeta.tsv; the exchange of a and b in tests/numeric/test_probability.cpp
int zibeta(double x, double a, double b, double& p, double& d);

// zprobin(p, a, b, x): the x at which I_x(a, b) = p.
//   domain    0 <= p <= 1, a > 0, b > 0
//   result    0 done; 1 bad argument, zibeta failed, or 30 steps do not reach p (x untouched). p of 0 and 1 give 0 and
//             1 for any a and b
//   method    normal start (Abramowitz and Stegun 26.5.22) and Halley steps when a and b are above 1, otherwise a
//             start from mean and variance, or from e^(ln p / a), and Newton steps; a step out of (0, 1) is halved
//   accuracy  stops when the probability is within 1e-7 p, and takes the last step: relative 2e-15 in x while a and b
//             are moderate. With a and b from 0.25 to 5e6 and p from 1e-9 to 1 - 1e-9 all but 1 in 15,000 random cases
//             end: one parameter within 1 % above 1 and p near 1e-9 starts too far off, and with both above 15000 the
//             steps may straddle the jump between the two branches of zibeta. Farther out, 30 steps may be too few
//   cost      2 to 8 calls of zibeta, at most 30
//   tests     tests/numeric/zprobin.tsv; the stopping rule in tests/numeric/test_probability.cpp
int zprobin(double p, double a, double b, double& x);

}  // namespace vek
