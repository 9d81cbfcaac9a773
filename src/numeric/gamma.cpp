// Logarithm of gamma by Stirling's series and rational fits; incomplete gamma ratio by series, continued fractions and,
// near the mean of a large shape, a corrected cube-root normal approximation.
#include "numeric/gamma.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "numeric/normal.h"

namespace vek {

namespace {

constexpr double half_epsilon = 1.110223024625157e-16;
constexpr double half_log_two_pi = 0.9189385332046728;
constexpr double ratio_tolerance = 5.551115123125785e-16;
constexpr double large_shape = 10000;
constexpr double largest = std::numeric_limits<double>::max();

// The running convergent of a continued fraction 1/(1 + c1/(1 + c2/(1 + ...))), by the forward recurrence of numerators
// and denominators. Both are scaled down or up together before they leave the range of doubles.
class Convergent {
  public:
    // Takes one more partial quotient c into the fraction; true when the value has settled.
    bool extend(double c) {
        const double numerator = numerator_ + c * last_numerator_;
        const double denominator = denominator_ + c * last_denominator_;
        const double excess = excess_ + c * last_excess_;
        last_numerator_ = numerator_;
        last_denominator_ = denominator_;
        last_excess_ = excess_;
        numerator_ = numerator;
        denominator_ = denominator;
        excess_ = excess;
        if (denominator == 0) return false;
        const double value = numerator / denominator;
        const bool settled = std::fabs(value - value_) <= ratio_tolerance * std::fabs(value);
        value_ = value;
        const double size = std::fabs(numerator);
        if (size < 1.491668147e-154 || size > 1.3407807929943e+154) rescale();
        return settled;
    }

    double value() const { return value_; }

    // The value less 1, by the same recurrence for numerator less denominator: no digits are lost near 1.
    double value_less_one() const { return excess_ / denominator_; }

  private:
    void rescale() {
        int exponent = 0;
        std::frexp(numerator_, &exponent);
        numerator_ = std::ldexp(numerator_, -exponent);
        denominator_ = std::ldexp(denominator_, -exponent);
        last_numerator_ = std::ldexp(last_numerator_, -exponent);
        last_denominator_ = std::ldexp(last_denominator_, -exponent);
        excess_ = std::ldexp(excess_, -exponent);
        last_excess_ = std::ldexp(last_excess_, -exponent);
    }

    double numerator_ = 1;
    double denominator_ = 1;
    double last_numerator_ = 0;
    double last_denominator_ = 1;
    double excess_ = 0;
    double last_excess_ = -1;
    double value_ = 1;
};

// A tail of the incomplete gamma ratio over e^L, where L is the logarithm of the density; negative when the series or
// the fraction does not end.
constexpr double not_ended = -1;

// Lower tail by the power series of the confluent hypergeometric function, for a below large_shape.
double lower_series(double x, double a) {
    double term = 1 / a;
    double sum = term;
    for (int i = 1; i <= 920; ++i) {
        term *= x / (a + i);
        sum += term;
        if (term / sum <= ratio_tolerance) return sum * x;
    }
    return not_ended;
}

// Lower tail by its continued fraction, for large a and x well below it.
double lower_fraction(double x, double a) {
    Convergent fraction;
    double c = a + 1;
    double k = 0;
    for (int step = 1; step <= 400; ++step) {
        double quotient = 0;
        if (step % 2 == 1) {
            quotient = -(x / (c - 1)) * ((a + k) / c);
            ++k;
        } else {
            quotient = (k / c) * (x / (c - 1));
        }
        ++c;
        if (fraction.extend(quotient)) return x / a * fraction.value();
    }
    return not_ended;
}

// Upper tail by its continued fraction for the shape a, or a + 1 when raised, with x above the shape and above 1. A
// raised tail will lose the density again, so there the value less 1 is returned.
double upper_fraction(double x, double a, bool raised) {
    Convergent fraction;
    for (int k = 1; k <= 400; ++k) {
        const bool first_settled = fraction.extend((k - (raised ? 1 : 0) - a) / x);
        if (fraction.extend(k / x) && first_settled) return raised ? fraction.value_less_one() : fraction.value();
    }
    return not_ended;
}

double log_density(double x, double a) {
    if (a < 10 || std::fabs(x / a - 1) > 0.3) return (a - 1) * std::log(x) - x - zlgamma(a);
    return (a - x) + (a - 1) * std::log(x / a) - 0.5 * std::log(a) - zlgbern(a) - half_log_two_pi;
}

// e^L held to the range of doubles: 0 below, the largest double above.
double bounded_exponential(double L) {
    if (L < -709.78271289339) return 0;
    return L > 709.78271289339 ? largest : std::exp(L);
}

int failed_ratio(double& P, double& Q, double& d) {
    P = Q = -2.0;
    d = 0;
    return 1;
}

}  // namespace

double zln1px(double x) {
    if (!(std::fabs(x) <= 0.03125)) return std::log(x + 1);
    const double t = x / (0.5 * x + 1);
    const double s = t * t;
    return t + t * s * (0.08333333333333427 - 0.0023812878804825234 * s) / (1 - 0.178575454351365 * s);
}

double zlgbern(double x) {
    const double r = 1 / x;
    const double s = r * r;
    return r * (0.08333333333333333 +
                s * (-0.002777777777777778 +
                     s * (0.0007936507936507937 +
                          s * (-0.0005952380952380953 + s * (0.0008417508417508417 + s * (-0.0019175269175269176))))));
}

double zlgamma(double x) {
    if (!(x > 0)) return -99.0;
    if (std::fabs(x - 1) <= half_epsilon || std::fabs(x - 2) <= half_epsilon) return 0;
    if (std::isinf(x)) return x;
    if (x < std::numeric_limits<double>::min()) return -std::log(x);  // 1/x would overflow
    if (x >= 15) return (x - 0.5) * std::log(x) - x + half_log_two_pi + zlgbern(x);
    double c = 1;
    double z = x;
    while (z < 1) {
        c /= z;
        z += 1;
    }
    while (z > 2) {
        z -= 1;
        c *= z;
    }
    if (std::fabs(x - std::trunc(x) - 0.5) <= half_epsilon) return std::log(c) - 0.12078223763524522;
    if (z <= 1.5) {
        const double t = z - 1;
        const double A = -0.8017986934675778 +
                         t * (0.2079812846119617 +
                              t * (0.7494577256954738 +
                                   t * (0.36252537533106266 + t * (0.05692342633165193 + t * 0.002126546376940967))));
        const double B =
            1 + t * (2.8139668163177345 +
                     t * (2.9550965510668346 +
                          t * (1.4276752135116328 +
                               t * (0.31469269123782706 + t * (0.026724016735058816 + t * 0.0005124543681927987)))));
        return std::log(c) + t * (t * A - 0.5772156649015329) / B;
    }
    const double t = z - 2;
    const double C = 0.9712118746069075 +
                     t * (0.8058203645027399 +
                          t * (0.3098673634213962 +
                               t * (0.05678875296955259 + t * (0.004410493669232917 + t * 9.627912858833401e-05))));
    const double D =
        1 + t * (1.5344580849517535 +
                 t * (0.8949255863507323 +
                      t * (0.24611091348667924 +
                           t * (0.03194668377437606 + t * (0.0016767266689027731 + t * 2.1326962979603636e-05)))));
    return std::log(c) + t * (t * C + 0.42278433509846713) / D;
}

double wilhil(double a, double x, double& Q) {
    const double r = x / a;
    if (r > 1000) return Q = 0, 1;
    if (r < 0.001) return Q = 1, 0;
    const double h = 9 * a;
    const double z = (std::cbrt(r) - (1 - 1 / h)) * std::sqrt(h);
    const double s = z * z;
    const double c =
        std::exp(-s / 2) * 0.3989422804014327 * ((s / 3 - 1) * z * 0.25 + (7 - (s + 4) * s) / (15 * std::sqrt(h))) / h;
    const double n = zprbnrm(-std::fabs(z));
    if (z <= 0) {
        const double P = n + c;
        Q = 1 - P;
        return P;
    }
    Q = n - c;
    return 1 - Q;
}

int zigamma(double x, double a, double& P, double& Q, double& d) {
    if (!(a >= 0 && x >= 0) || std::isinf(a)) return failed_ratio(P, Q, d);
    if (a == 0 || std::isinf(x)) {
        P = 1;
        Q = 0;
        d = 0;
        return 0;
    }
    if (x == 0) {
        P = 0;
        Q = 1;
        d = a == 1 ? 1 : 0;
        return 0;
    }
    const bool raised = a < 1;
    const double a1 = raised ? a + 1 : a;
    const double L = log_density(x, a1);
    const bool lower = x <= a1 || x <= 1;
    d = bounded_exponential(L);
    bool computed_lower = lower;
    double tail = 0;
    if (a1 >= large_shape && std::fabs(x - a1) <= 0.7 * std::sqrt(a1) + 0.02 * a1) {
        double upper = 0;
        const double below = wilhil(a1, x, upper);
        computed_lower = below <= upper;
        tail = std::min(below, upper);
    } else {
        const double s = !lower             ? upper_fraction(x, a, raised)
                         : a1 < large_shape ? lower_series(x, a1)
                                            : lower_fraction(x, a1);
        if (s == not_ended) return failed_ratio(P, Q, d);
        // The recurrence of a raised shape: the lower tail gains the density, the upper tail loses it.
        tail = raised && !lower ? s * d : std::exp(std::log(s) + L);
        if (raised && lower) tail += d;
    }
    if (std::isnan(tail)) return failed_ratio(P, Q, d);  // a shape so large that even its logarithms overflow
    if (raised) d = std::min(d * a / x, largest);        // a itself: a1 - 1 has lost its low digits
    tail = std::clamp(tail, 0.0, 1.0);
    P = computed_lower ? tail : 1 - tail;
    Q = computed_lower ? 1 - tail : tail;
    return 0;
}

}  // namespace vek
