// F, t and chi-square tail probabilities as incomplete beta and gamma ratios, and their quantiles by the inverse ratio.
#include "numeric/fdist.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "numeric/beta.h"
#include "numeric/gamma.h"
#include "numeric/missing.h"

namespace vek {

namespace {

constexpr double largest_degrees = 2 * 2147483647.0;

// t for |p - 0.5| small, where the inverse ratio loses the digits of p - 0.5: y is (p - 0.5) over the density at 0, and
// Newton steps invert y = t - (1 + r) t^3 / 6 + (1 + r)(1 + 3r) t^5 / 40 with r = 1/df.
double central_t(double y, double df) {
    if (std::fabs(y) < 1.053671212772351e-08) return y;
    const double r = 1 / df;
    const double e = r + 1;
    const double g = e / 6;
    double t = y;
    for (int step = 0; step < 50; ++step) {
        const double u = t * t;
        const double m = (1 + 3 * r) * e * u;
        const double change = ((1 - (g - m / 40) * u) * t - y) / (1 - u * (0.5 * e - 0.125 * m));
        t -= change;
        if (std::fabs(change) < std::fabs(t) * 1e-07) break;
    }
    return t;
}

}  // namespace

double zprbf(double f, double df1, double df2) {
    if (!(f >= 0 && df1 > 0 && df2 > 0)) return -1.0;
    if (f == 0) return 1.0;
    if (df1 > largest_degrees || df2 > largest_degrees) return -2.0;
    const double x = df2 / (f * df1 + df2);
    if (x == 0) return 0;
    double p = 0, d = 0;
    return zibeta(x, df2 / 2, df1 / 2, p, d) == 0 ? p : -2.0;
}

double zpgt2(double x, double df) {
    double p = 0, d = 0;
    return zibeta(df / (x + df), df / 2, 0.5, p, d) == 0 ? p : missing;
}

double zpgx2(double x, double df) {
    double P = 0, Q = 0, d = 0;
    return zigamma(x / 2, df / 2, P, Q, d) == 0 ? Q : missing;
}

int zqt(double p, double df, double& t) {
    if (!(p > 0 && p < 1 && df > 0) || std::isinf(df)) return 1;
    if (std::fabs(p - 0.5) < 0.001 && df >= 1) {
        const double c = std::exp(zlbeta(0.5, df / 2) + 0.5 * std::log(df));
        t = central_t((p - 0.5) * c, df);
        return 0;
    }
    double b = 0;
    if (zprobin(2 * std::min(p, 1 - p), df / 2, 0.5, b) != 0) return 1;
    t = std::sqrt((1 - b) * df / b);
    if (p < 0.5) t = -t;
    return 0;
}

double zqunf(double p, double df1, double df2) {
    if (!(p > 0 && p <= 1 && df1 > 0 && df2 > 0) || std::isinf(df1) || std::isinf(df2)) return -1.0;
    double b = 0;
    if (zprobin(p, df2 / 2, df1 / 2, b) != 0) return -1.0;
    // A beta quantile of 0, or one so small that the quotient overflows, gives the largest double.
    return std::min((1 - b) * df2 / (df1 * b), std::numeric_limits<double>::max());
}

bool zqf(double p, double df1, double df2, double& f) {
    f = zqunf(1 - p, df1, df2);
    return f < 0;
}

}  // namespace vek
