// The mean of a function under a chi-square weight: the step from a statistic of normal variables with known variance
// to its studentised form.
#pragma once

namespace vek {

// What zfstchi and its integrand share; an integrand that has more to know extends it.
struct ChiMixture {
    // On entry -1 asks for adaptive integration, 0 leaves the choice to zfstchi. When the integrand is called:
    // 1 the integrand multiplies by the weight x^(df/2 - 1) e^(-x) / gamma(df/2), 2 the rule does.
    int state = 0;
    bool failed = false;  // set by the integrand: ends the sum
};

// zfstchi(f, df, mixture, r, centre, halvings): r = the integral of f(x) x^(df/2 - 1) e^(-x) / gamma(df/2) over x > 0,
// the mean of f over half a chi-square variable of df degrees of freedom.
//   domain    df >= 1; f smooth. The Gauss rule is for df >= 102: with state 0 a caller asks for it from df 7 on, but
//             its nodes are fitted for a = df/2 - 1 >= 50, and at a = 20 they are off by 1e-6, at a = 5 by 3e-3
//   result    0 done; 1 df < 1, the integrand has failed, or the adaptive rule did not settle
//   method    df < 7 or state -1: zhrdys from `centre` with tolerance 1e-08. Otherwise the Gauss rule of 7 nodes for
//             the weight (generalised Laguerre polynomials, Golub and Welsch, Math. Comp. 23 (1969)): nodes by a
//             rational fit in sqrt(1/a), made by tools/numeric/root1_fit.py, weights by the three-term recurrence
//   accuracy  polynomials of degree up to 13: relative 2e-9 with the Gauss rule (by the fit of its nodes), else 1e-8
//   cost      7 calls of f with the Gauss rule; 50 to 200 adaptively. No allocation, no state
//   tests     tests/numeric/test_range.cpp
int zfstchi(double (*f)(double x, ChiMixture& mixture), double df, ChiMixture& mixture, double& r, double centre,
            int halvings);

}  // namespace vek
