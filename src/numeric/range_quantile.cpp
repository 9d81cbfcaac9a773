// Turns a probability into a critical value by a secant iteration on the probability of the statistic, on the scale
// (logarithm of one tail or the other, or plain) on which that probability is nearly straight.
#include "numeric/range_quantile.h"

#include <algorithm>
#include <cmath>

#include "numeric/missing.h"
#include "numeric/normal.h"
#include "numeric/range_probability.h"

namespace vek {

namespace {

constexpr double largest_df = 2147483647.0;  // above it the variance counts as known
constexpr double lowest = 1e-07;
constexpr double highest = 0.9999999;
constexpr int steps = 70;

bool inside_bounds(double p) { return p > lowest && p < highest; }

double sum_of(int n, const double* w) {
    double sum = 0;
    for (int i = 0; i < n; ++i) sum += w[i];
    return sum;
}

// The first step as a share of the first point: shorter for many means and degrees of freedom, where the distribution
// is narrow.
double first_spread(double count) { return count >= 3 ? 0.5 / std::sqrt(std::log(count)) : 0.5; }

// The normal quantile whose modulus has probability p in the largest of `count` independent ones.
double modulus_quantile(double p, double count) { return zprobit((std::pow(p, 1 / count) + 1) / 2); }

double secant_step(double p, double q0, double p0, double q1, double p1) {
    if (p > 0.5) return q0 + (q1 - q0) * std::log((1 - p) / (1 - p0)) / std::log((1 - p1) / (1 - p0));
    if (p < 0.2) return q0 * std::pow(p / p0, std::log(q1 / q0) / std::log(p1 / p0));
    return q0 + (p - p0) * (q1 - q0) / (p1 - p0);
}

// second(p0) gives the second point once the probability at the first is known.
template <class Probability, class Second>
double solve(double p, double q0, Probability probability, Second second) {
    double p0 = probability(q0);
    if (wzmis(p0)) return missing;
    double q1 = second(p0);
    double p1 = probability(q1);
    for (int step = 0; step < steps; ++step) {
        if (std::fabs(p0 - p) <= p * 1e-05) return q0;
        if (wzmis(p1)) return missing;
        p0 = std::clamp(p0, lowest, highest);
        p1 = std::clamp(p1, lowest, highest);
        if (p1 == p0) return missing;
        const double q = secant_step(p, q0, p0, q1, p1);
        q1 = q0;
        p1 = p0;
        q0 = q;
        p0 = probability(q0);
        if (wzmis(p0)) return missing;
    }
    return std::fabs(p0 - p) <= p * 1e-05 ? q0 : missing;
}

template <class Probability>
double solve_from(double p, double q0, double spread, Probability probability) {
    return solve(p, q0, probability, [=](double p0) { return q0 * ((p < p0 ? -spread : spread) + 1); });
}

double range_start(int n, double p, const double* v, const double* w, double count) {
    double weighted = 0;
    for (int i = 0; i < n; ++i) weighted += w[i] * v[i];
    return 2 * modulus_quantile(p, count) * weighted / count;
}

double modulus_start(int n, double p, const double* v, double count) {
    double logs = 0;
    for (int i = 0; i < n; ++i) logs += std::log(v[i]);
    return modulus_quantile(p, count) * std::exp(logs / n);
}

// alpha and beta of the correlation parameters lambda: two differences from the control have correlation
// lambda[i] lambda[j].
void dunnett_parameters(int n, const double* lambda, double* alpha, double* beta) {
    for (int i = 0; i < n; ++i) {
        const double rest = std::sqrt(1 - lambda[i] * lambda[i]);
        alpha[i] = lambda[i] / rest;
        beta[i] = 1 / rest;
    }
}

template <class Probability>
double solve_dunnett(bool two_sided, double p, double count, double spread, Probability probability) {
    const double z = modulus_quantile(p, count);
    if (two_sided) return solve_from(p, z, spread, probability);
    return solve(p, 0, probability, [=](double p0) { return p < p0 ? -z : z; });
}

}  // namespace

double zqunrng(int n, double p, const double* v, const double* w, double* work) {
    const double count = sum_of(n, w);
    if (!inside_bounds(p) || !(count > 1)) return missing;
    const double spread = count >= 3 ? first_spread(count + 1) : 0.5;
    return solve_from(p, range_start(n, p, v, w, count), spread, [=](double q) { return zprbrng(n, q, v, w, work); });
}

double zqunsrg(int n, double p, double df, const double* v, const double* w, double* work) {
    if (df > largest_df) return zqunrng(n, p, v, w, work);
    const double count = sum_of(n, w);
    if (!inside_bounds(p) || !(df >= 1) || !(count > 1)) return missing;
    return solve_from(p, range_start(n, p, v, w, count), first_spread(count + df),
                      [=](double q) { return zprbsrg(n, q, df, v, w, work); });
}

double zqundnt(bool two_sided, int n, double p, const double* lambda, const double* w, double* work) {
    if (!(p > 0 && p < 1) || n < 1) return missing;
    const double count = sum_of(n, w);
    double* alpha = work;
    double* beta = work + n;
    dunnett_parameters(n, lambda, alpha, beta);
    return solve_dunnett(two_sided, p, count, first_spread(count),
                         [=](double q) { return zprbdnt(two_sided, n, q, alpha, beta, w); });
}

double zqunsdt(bool two_sided, int n, double p, double df, const double* lambda, const double* w, double* work) {
    if (df > largest_df) return zqundnt(two_sided, n, p, lambda, w, work);
    if (!(p > 0 && p < 1) || n < 1 || !(df >= 1)) return missing;
    const double count = sum_of(n, w);
    double* alpha = work;
    double* beta = work + n;
    double* scaled_beta = work + 2 * n;
    dunnett_parameters(n, lambda, alpha, beta);
    return solve_dunnett(two_sided, p, count, first_spread(count + df),
                         [=](double q) { return zprbsdt(two_sided, n, q, df, alpha, beta, w, scaled_beta); });
}

double zqunmmm(int n, double p, const double* v, const double* w) {
    const double count = sum_of(n, w);
    if (!inside_bounds(p) || !(count > 0)) return missing;
    return solve_from(p, modulus_start(n, p, v, count), first_spread(count),
                      [=](double q) { return zprbmmm(n, q, v, w); });
}

double zqunsmm(int n, double p, double df, const double* v, const double* w, double* work) {
    if (df > largest_df) return zqunmmm(n, p, v, w);
    const double count = sum_of(n, w);
    if (!inside_bounds(p) || !(df >= 1) || !(count > 0)) return missing;
    return solve_from(p, modulus_start(n, p, v, count), first_spread(count + df),
                      [=](double q) { return zprbsmm(n, q, df, v, w, work); });
}

}  // namespace vek
