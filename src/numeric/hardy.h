// The trapezoid rule with step halving, in three forms: over the line (zhardy), over the half-line for a scalar
// integrand (zhrdys) and for a pair of integrands that share a scale (zhrdyv). For analytic integrands that die out on
// both sides each halving squares the error, so that few points give full accuracy.
#pragma once

namespace vek {

// zhardy(f, centre, context, eps, r, halvings, rel, exponential): r = the integral of f over the line; with exponential
// over the half-line through x = centre e^t.
//   domain    f finite; centre near the bulk of f, above 0 with exponential; eps is raised to 2^-53
//   result    0 done; 1 not achieved: f(centre) vanishes (r = 0), or more than `halvings` halvings (r = the last total)
//   method    sums f at steps of 1 from the centre, each side until three terms running add up to at most 0.333 eps of
//             the total; then halves the step until two totals differ by less than sqrt(eps) of the total, or, without
//             rel, by less than eps. Convergence of this rule: Trefethen and Weideman, SIAM Review 56 (2014)
//   accuracy  about eps where the error squares with each halving. Two totals can also be near each other by chance
//             while the step is still coarser than f; the error is then as large as sqrt(eps) of the total and more
//             (range_probability.h tells how often that happens)
//   cost      2 limits points at step 1, twice as many after each halving; no allocation, no state
//   tests     tests/numeric/test_range.cpp
int zhardy(double (*f)(double x, void* context), double centre, void* context, double eps, double& r, int halvings,
           bool rel, bool exponential);

// What zhrdys needs; an integrand that has more to know extends it.
struct HardyControl {
    double (*f)(double x, HardyControl& control) = nullptr;
    double centre = 1;    // where the sum starts, above 0
    double eps = 1e-08;   // the tails are cut at 0.33333333333333 eps
    int halvings = 5;     // of the step, at most
    bool failed = false;  // set by the integrand: ends the sum
};

// zhrdys(control, r): r = the integral of control.f over x > 0.
//   domain    as zhardy with exponential
//   result    0 done; 1 not achieved: as zhardy, or control.failed was set, or more than 32767 points a side
//   method    zhardy's rule with x = centre e^t, both tests of the difference
//   accuracy  as zhardy
//   cost      as zhardy
//   tests     tests/numeric/test_range.cpp
int zhrdys(HardyControl& control, double& r);

// Two values times exp(scale): integrands that range over thousands of powers of ten keep their ratio.
struct HardyPair {
    double first = 0;
    double second = 0;
    double scale = 0;
};

// What zhrdyv needs. The integrand works at control.scale, which it may raise (never lower); sums made before at a
// lower scale are brought to the new one.
struct HardyPairControl {
    void (*f)(double x, HardyPairControl& control, double& first, double& second) = nullptr;
    double centre = 1;
    double eps = 1e-06;
    int halvings = 10;
    double scale = 0;
    bool failed = false;
};

// zhrdyv(control, pair): the integrals of both components of control.f over x > 0.
//   domain    as zhrdys
//   result    0 done; 1 both components vanish at the centre; 2 the integrand has set control.failed; 3 more than 32767
//             points a side; 4 more than the allowed halvings (pair = the last totals)
//   method    zhrdys's rule, every test made for both components, the difference relative only
//   accuracy  as zhardy with rel, for each component
//   cost      as zhardy
//   tests     tests/numeric/test_bayes.cpp
int zhrdyv(HardyPairControl& control, HardyPair& pair);

}  // namespace vek
