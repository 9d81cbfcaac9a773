// Turns a statistic's value into its probability: one integral over the line for known variance, and for the
// studentised form the mean of that integral over the distribution of the variance.
#include "numeric/range_probability.h"

#include <algorithm>
#include <cmath>

#include "numeric/fstchi.h"
#include "numeric/gamma.h"
#include "numeric/hardy.h"
#include "numeric/missing.h"
#include "numeric/normal.h"

namespace vek {

namespace {

constexpr double root_two = 1.4142135623730951;
constexpr double root_half = 0.7071067811865476;
constexpr double normal_density_at_zero = 0.3989422804014327;
constexpr double largest_df = 2147483647.0;      // above it the variance counts as known
constexpr double negligible_density = 1e-10;     // a factor below it makes the integrand 0
constexpr double log_of_nothing = -708.3964185;  // stands for ln 0
constexpr double tolerance = 1e-07;
constexpr int line_halvings = 7;
constexpr int chi_halvings = 5;

double held_to_unit(double p) { return std::clamp(p, 0.0, 1.0); }

// P(low < Z <= high), taken in the tail that keeps its digits.
double normal_between(double low, double high) {
    return low > 0 && high > 0 ? znrm(-low) - znrm(-high) : znrm(high) - znrm(low);
}

struct Range {
    int n;
    double q;
    const double* v;
    const double* w;
    double* log_between;    // n doubles
    double exponent_limit;  // the integrand is 0 where -x^2 c^2 / 2 v[n-1]^2 is below it
};

// The density of the smallest variable at x v[0], times the chance that all others lie within q above it.
double range_integrand(double x, void* context) {
    const Range& range = *static_cast<const Range*>(context);
    const int n = range.n;
    const double c = range.v[0];
    const auto exponent = [&](int i) {
        const double a = x * c / range.v[i];
        return -0.5 * a * a;
    };
    if (exponent(n - 1) < range.exponent_limit) return 0;
    double sum = 0;
    int nothing = -1;
    for (int i = 0; i < n; ++i) {
        const double a = x * c / range.v[i];
        const double between = normal_between(a, range.q / range.v[i] + a);
        if (between <= 0) nothing = i;
        range.log_between[i] = between <= 0 ? log_of_nothing : std::log(between);
        sum += range.w[i] * range.log_between[i];
    }
    double total = 0;
    if (nothing >= 0) {
        total = range.w[nothing] * std::exp(exponent(nothing) + sum) / range.v[nothing];
    } else {
        for (int i = 0; i < n; ++i) {
            total += range.w[i] * std::exp(exponent(i) + sum - range.log_between[i]) / range.v[i];
        }
    }
    return c * normal_density_at_zero * total;
}

struct Dunnett {
    bool two_sided;
    int n;
    double q;
    const double* alpha;
    const double* beta;
    const double* w;
};

// The density of the control's mean at x alpha[0], times the chance that every difference from it is within bounds.
double dunnett_integrand(double x, void* context) {
    const Dunnett& dunnett = *static_cast<const Dunnett*>(context);
    const double u = x / dunnett.alpha[0];
    double product = normal_density_at_zero * std::exp(-0.5 * u * u) / dunnett.alpha[0];
    if (product < negligible_density) return 0;
    for (int i = 0; i < dunnett.n; ++i) {
        const double c = u * dunnett.alpha[i];
        const double b = dunnett.beta[i] * dunnett.q;
        double p = dunnett.two_sided ? normal_between(c - b, c + b) : znrm(c + b);
        if (std::fabs(dunnett.w[i] - 1) > 1e-12) p = std::pow(p, dunnett.w[i]);
        product *= p;
    }
    return product;
}

double line_integral(double (*f)(double x, void* context), void* context) {
    double r = 0;
    return zhardy(f, 0, context, tolerance, r, line_halvings, false, false) == 0 ? held_to_unit(r) : missing;
}

// The studentised forms: what their integrands know.
struct Mixture : ChiMixture {
    int positive = 0;  // terms above 0 so far
    double log_gamma;  // ln gamma(df/2)
    double a;          // df/2 - 1
    double t;          // the statistic at x is sqrt(x) t
    bool two_sided;
    int n;
    const double* first;   // scales, or alpha
    const double* second;  // beta times t
    const double* w;
    double* work;
};

Mixture mixture_of(double q, double df) {
    Mixture mixture{};
    mixture.log_gamma = zlgamma(df / 2);
    mixture.a = df / 2 - 1;
    mixture.t = q * root_two / std::sqrt(df);
    mixture.state = mixture.a < 50 ? -1 : 0;
    return mixture;
}

double chi_density(double x, const Mixture& mixture) {
    return std::exp(mixture.a * std::log(x) - x - mixture.log_gamma);
}

// One term of the mixing integral. A normal form that fails counts as 0 once a term has been above 0: the integral has
// then reached statistics too small to be computed, whose probability is nothing.
template <class NormalForm>
double mixed_term(double x, Mixture& mixture, NormalForm normal_form) {
    const double density = mixture.state == 1 ? chi_density(x, mixture) : 1;
    if (density < negligible_density) return 0;
    const double p = normal_form(std::sqrt(x));
    if (wzmis(p)) {
        if (mixture.positive == 0) mixture.failed = true;
        return 0;
    }
    const double value = p * density;
    if (value > 0) ++mixture.positive;
    return value;
}

double mixed_range(double x, ChiMixture& shared) {
    Mixture& m = static_cast<Mixture&>(shared);
    return mixed_term(x, m, [&m](double root) { return zprbrng(m.n, root * m.t, m.first, m.w, m.work); });
}

double mixed_dunnett(double x, ChiMixture& shared) {
    Mixture& m = static_cast<Mixture&>(shared);
    return mixed_term(x, m, [&m](double root) { return zprbdnt(m.two_sided, m.n, root, m.first, m.second, m.w); });
}

double mixed_modulus(double x, ChiMixture& shared) {
    const Mixture& m = static_cast<const Mixture&>(shared);
    const double p = zprbmmm(m.n, std::sqrt(x) * m.t, m.first, m.w);
    return m.state == 1 ? p * chi_density(x, m) : p;
}

// The mean over the variance, or missing when it failed or is too small to be trusted.
double mixed(double (*f)(double x, ChiMixture& mixture), double df, Mixture& mixture, double centre) {
    double r = 0;
    if (zfstchi(f, df, mixture, r, centre, chi_halvings) != 0 || mixture.failed || !(r >= 1e-10)) return missing;
    return held_to_unit(r);
}

}  // namespace

double zprbrng(int n, double q, const double* v, const double* w, double* work) {
    if (n < 1 || !(q >= 0)) return missing;
    if (q == 0) return 0;
    Range range{n, q, v, w, work, std::log(negligible_density * v[n - 1])};
    return line_integral(range_integrand, &range);
}

double zprbsrg(int n, double q, double df, const double* v, const double* w, double* work) {
    if (!(q >= 0) || !(df >= 1) || n < 1) return missing;
    if (q == 0) return 0;
    if (df > largest_df) return zprbrng(n, q, v, w, work);
    Mixture mixture = mixture_of(q, df);
    mixture.n = n;
    mixture.first = v;
    mixture.w = w;
    mixture.work = work;
    return mixed(mixed_range, df, mixture, std::max(mixture.a, 1.0));
}

double zprbdnt(bool two_sided, int n, double q, const double* alpha, const double* beta, const double* w) {
    if (n < 1 || std::isnan(q) || (two_sided && q < 0)) return missing;
    Dunnett dunnett{two_sided, n, q, alpha, beta, w};
    return line_integral(dunnett_integrand, &dunnett);
}

double zprbsdt(bool two_sided, int n, double q, double df, const double* alpha, const double* beta, const double* w,
               double* work) {
    if (!(df >= 1) || n < 1 || std::isnan(q)) return missing;
    if (two_sided && q < 0) return missing;
    if (two_sided && q == 0) return 0;
    if (df > largest_df) return zprbdnt(two_sided, n, q, alpha, beta, w);
    Mixture mixture = mixture_of(q, df);
    mixture.two_sided = two_sided;
    mixture.n = n;
    mixture.first = alpha;
    for (int i = 0; i < n; ++i) work[i] = beta[i] * mixture.t;
    mixture.second = work;
    mixture.w = w;
    return mixed(mixed_dunnett, df, mixture, std::max(mixture.a, 0.001));
}

double zprbmmm(int n, double q, const double* v, const double* w) {
    if (n < 1 || !(q >= 0)) return missing;
    if (q == 0) return 0;
    double product = 1;
    for (int i = 0; i < n; ++i) {
        const double p = zferf(q * root_half / v[i]);
        product *= std::fabs(w[i] - 1) < 1e-12 ? p : std::pow(p, w[i]);
    }
    return held_to_unit(product);
}

double zprbsmm(int n, double q, double df, const double* v, const double* w, double* /*work*/) {
    if (!(q >= 0) || !(df >= 1) || n < 1) return missing;
    if (q == 0) return 0;
    if (df > largest_df) return zprbmmm(n, q, v, w);
    Mixture mixture = mixture_of(q, df);
    mixture.n = n;
    mixture.first = v;
    mixture.w = w;
    double r = 0;
    if (zfstchi(mixed_modulus, df, mixture, r, std::max(mixture.a, 1.0), chi_halvings) != 0) return missing;
    return held_to_unit(r);
}

}  // namespace vek
