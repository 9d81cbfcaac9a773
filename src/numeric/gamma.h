// The gamma function's logarithm and the incomplete gamma ratio, on which the chi-square distribution rests.
//
// Nothing here keeps state or allocates. Failure is a return code or a value that no result can have.
#pragma once

namespace vek {

// zln1px(x): ln(1 + x) without losing the digits of a small x.
//   domain    x > -1
//   result    the logarithm; minus infinity at -1, no number below
//   method    |x| <= 0.03125: 2 artanh(x/(2 + x)) by a rational minimax fit; otherwise the library's logarithm of 1 + x
//   accuracy  relative 4e-15 (just outside the fit, where 1 + x is rounded; 3e-16 inside)
//   cost      6 multiplications and 2 divisions, or a logarithm
//   tests     tests/numeric/zln1px.tsv
double zln1px(double x);

// zlgbern(x): the Stirling remainder ln gamma(x) - ((x - 1/2) ln x - x + ln(2 pi)/2).
//   domain    x >= 10
//   result    the remainder, near 1/(12 x)
//   method    six terms of the series in Bernoulli numbers (DLMF 5.11.1)
//   accuracy  relative 1e-15 from 15 on, 1e-14 from 12, 1e-13 at 10
//   cost      8 multiplications and a division
//   tests     tests/numeric/zlgbern.tsv
double zlgbern(double x);

// zlgamma(x): ln gamma(x).
//   domain    x > 0
//   result    the logarithm, exactly 0 at 1 and 2, infinite where it overflows (x above 2.5e305); -99 for x <= 0 and
//             for what is no number
//   method    x >= 15: Stirling's formula with zlgbern; below: the recurrence down or up to [1, 2], then the
//             logarithm of gamma(1.5) for half-integers or a rational minimax fit around 1 or 2
//   accuracy  relative 4e-15; absolute 2e-16 within 1/16 of the zeros at 1 and 2, where the relative error grows
//   cost      1 logarithm and at most 14 multiplications before a fit of 22 operations
//   tests     tests/numeric/zlgamma.tsv; the recurrence in tests/numeric/test_probability.cpp
double zlgamma(double x);

// zigamma(x, a, P, Q, d): regularised incomplete gamma ratios, lower P and upper Q, and the density d of the gamma
// distribution of shape a at x.
//   domain    x >= 0, a >= 0
//   result    0 done; a of 0 is a point mass (P = 1). 1 bad argument, or no convergence (never seen from a = 1e-4 to
//             1e10): P = Q = -2, d = 0. The density is 0 below and the largest double above the range of doubles
//   method    by shape: below 1, the shape is raised by 1 and the density taken off; up to 10000, the power series
//             (DLMF 8.7.1) for x <= a and Stieltjes's continued fraction (DLMF 8.9.2) above; from 10000 on, wilhil
//             near the mean, elsewhere the fractions of the two tails
//   accuracy  relative in P, Q and d, for whichever of P and Q is below a half (the other is 1 less it): 2e-13 for a
//             from 0.01 to 100, 2e-12 to 1000, 3e-11 to 10000, 5e-11 to 1e6, since the logarithm of the density is
//             then a difference of numbers a ln a in size; 1e-12 for Q with a below 0.01; from 10000 on near the mean
//             absolute 4e-11
//   cost      at most 920 terms of the series or 400 pairs of quotients (both near x = a = 10000; a = 10: about 40);
//             no allocation, no recursion: it is called within integrals
//   tests     tests/numeric/zigamma.tsv; the recurrence in a in tests/numeric/test_probability.cpp
int zigamma(double x, double a, double& P, double& Q, double& d);

// wilhil(a, x, Q): the same P (returned) and Q for large shapes.
//   domain    a >= 10000, x >= 0
//   result    P, with Q = 1 - P from the smaller of the two; 0 below a thousandth of the mean, 1 above 1000 means
//   method    the cube root of x/a is nearly normal (Wilson and Hilferty, PNAS 17 (1931)), corrected by the next two
//             terms, of orders 1/(9a) and 1/(9a)^(3/2)
//   accuracy  absolute 4e-11 at a = 10000 and less above (4e-13 at 100000); relative in the smaller tail 1e-8 within
//             5 standard deviations, worse farther out
//   cost      a cube root, 2 square roots, zprbnrm and an exponential
//   tests     tests/numeric/wilhil.tsv
double wilhil(double a, double x, double& Q);

}  // namespace vek
