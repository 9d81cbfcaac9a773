// Error functions by rational Chebyshev approximations, the normal distribution function from them or from a table of
// quartics, and the normal quantile by rational fits and Newton steps.
#include "numeric/normal.h"

#include <algorithm>
#include <cmath>

#include "numeric/missing.h"
#include "numeric/nrmtable.h"

namespace vek {

namespace {

constexpr double root_half = 0.7071067811865476;
constexpr double quantile_of_zero = 1416.792837;  // twice the largest -ln p that is worked with; the quantile is -sqrt

// e^(-y^2) with the square split so that its rounding error does not grow with y.
double exponential_of_minus_square(double y) {
    const double coarse = std::trunc(y * 16) / 16;
    return std::exp(-coarse * coarse) * std::exp(-(y - coarse) * (y + coarse));
}

// erf(x) for |x| up to 0.46875.
double central_erf(double x, double y) {
    constexpr double a[] = {3.16112374387056560e00, 1.13864154151050156e02, 3.77485237685302021e02,
                            3.20937758913846947e03, 1.85777706184603153e-1};
    constexpr double b[] = {2.36012909523441209e01, 2.44024637934444173e02, 1.28261652607737228e03,
                            2.84423683343917062e03};
    const double s = y > 4.2e-16 ? y * y : 0;
    double numerator = a[4] * s;
    double denominator = s;
    for (int i = 0; i < 3; ++i) {
        numerator = (numerator + a[i]) * s;
        denominator = (denominator + b[i]) * s;
    }
    return x * (numerator + a[3]) / (denominator + b[3]);
}

// erfc(y) for 0.46875 < y <= 4.
double middle_erfc(double y) {
    constexpr double c[] = {5.64188496988670089e-1, 8.88314979438837594e0,  6.61191906371416295e01,
                            2.98635138197400131e02, 8.81952221241769090e02, 1.71204761263407058e03,
                            2.05107837782607147e03, 1.23033935479799725e03, 2.15311535474403846e-8};
    constexpr double d[] = {1.57449261107098347e01, 1.17693950891312499e02, 5.37181101862009858e02,
                            1.62138957456669019e03, 3.29079923573345963e03, 4.36261909014324716e03,
                            3.43936767414372164e03, 1.23033935480374942e03};
    double numerator = c[8] * y;
    double denominator = y;
    for (int i = 0; i < 7; ++i) {
        numerator = (numerator + c[i]) * y;
        denominator = (denominator + d[i]) * y;
    }
    return exponential_of_minus_square(y) * ((numerator + c[7]) / (denominator + d[7]));
}

// erfc(y) for y > 4; 0 where e^(-y^2) is below the smallest normal double.
double far_erfc(double y) {
    constexpr double p[] = {3.05326634961232344e-1, 3.60344899949804439e-1, 1.25781726111229246e-1,
                            1.60837851487422766e-2, 6.58749161529837803e-4, 1.63153871373020978e-2};
    constexpr double q[] = {2.56852019228982242e00, 1.87295284992346725e00, 5.27905102951428412e-1,
                            6.05183413124413191e-2, 2.33520497626869185e-3};
    if (-y * y < -708.3964185) return 0;
    const double s = 1 / (y * y);
    double numerator = p[5] * s;
    double denominator = s;
    for (int i = 0; i < 4; ++i) {
        numerator = (numerator + p[i]) * s;
        denominator = (denominator + q[i]) * s;
    }
    const double w = s * (numerator + p[4]) / (denominator + q[4]);
    return exponential_of_minus_square(y) * (0.5641895835477563 - w) / y;
}

}  // namespace

void calerf(double x, double& r, int flag) {
    const double y = std::fabs(x);
    if (y <= 0.46875) {
        const double erf = central_erf(x, y);
        r = flag == 0 ? erf : 1 - erf;
        return;
    }
    double complement = 0;
    if (std::isnan(x)) {
        complement = x;
    } else if (y <= 4) {
        complement = middle_erfc(y);
    } else if (y <= 1003.7843389118009) {
        complement = far_erfc(y);
    }
    if (flag == 0) {
        const double erf = (0.5 - complement) + 0.5;
        r = x < 0 ? -erf : erf;
    } else {
        r = x < 0 ? 2 - complement : complement;
    }
}

double zferf(double x) {
    double r = 0;
    calerf(x, r, 0);
    return r;
}

double zferfc(double x) {
    double r = 0;
    calerf(x, r, 1);
    return r;
}

double zprbnrm(double x) { return x <= 0 ? 0.5 * zferfc(-x * root_half) : 0.5 * (zferf(x * root_half) + 1); }

double znrm(double x) {
    const double size = std::fabs(x);
    if (!(size <= 6)) return zprbnrm(x);
    const int i = static_cast<int>(64 * size);
    const double t = (2 * i + 1) * 0.0078125 - size;
    const std::array<double, 5>& row = nrm[static_cast<unsigned>(i)];
    const double tail = row[0] + t * (row[1] + t * (row[2] + t * (row[3] + t * row[4])));
    return x > 0 ? 1 - tail : tail;
}

double szprobit(double p) {
    if (!(p >= 0 && p <= 1)) return missing;
    double x = -std::sqrt(-2 * std::log(p));
    double F = 1.3407807929943e+154;
    for (int step = 0; step < 100 && std::fabs(F - p) > p * 1e-12; ++step) {
        F = zprbnrm(x);
        if (F == 0) return -std::sqrt(quantile_of_zero);
        x += F * std::log(p / F) / (0.3989422804014327 * std::exp(-x * x / 2));
    }
    return x;
}

double zprobit(double p) {
    if (!(p >= 0 && p <= 1)) return missing;
    if (p == 0) return -std::sqrt(quantile_of_zero);
    if (p == 1) return 7.941345326170997;
    if (p < 1e-16) return szprobit(p);
    const double q = std::min(p, 1 - p);
    const double u = std::sqrt(-2 * std::log(q)) - 1.1774100225154747;
    double size = 0;
    if (q > 0.01) {
        const double A =
            1.4756646266356057 +
            u * (3.827787912267809 +
                 u * (3.926527220876258 +
                      u * (2.0524292014826053 +
                           u * (0.5906175347671243 +
                                u * (0.09433047102597236 + u * (0.007748014532123519 + u * 0.00023850990628812184))))));
        const double B =
            1 +
            u * (2.757985744718407 +
                 u * (3.0193046324086072 +
                      u * (1.6853868285749263 +
                           u * (0.5155497927835685 +
                                u * (0.08675117268832777 + u * (0.007472090148248392 + u * 0.00023846672191006805))))));
        size = u * A / B;
    } else {
        const double v = 1 / u;
        const double C = 1.3896718225467155e-05 +
                         v * (0.0009933095513250212 +
                              v * (0.021322238814693088 +
                                   v * (0.1971184884114817 +
                                        v * (0.9208235553699621 +
                                             v * (2.302486886454419 +
                                                  v * (2.9349133839409465 +
                                                       v * (1.4756630668977935 + v * 2.2366406817573622e-07)))))));
        const double D =
            1.389640654034189e-05 +
            v * (0.000977052221781334 +
                 v * (0.020255719894916695 +
                      v * (0.1775558927085442 +
                           v * (0.7785719242838022 + v * (1.8195065884540687 + v * (2.152916059924272 + v))))));
        size = u * C / D;
    }
    return p <= 0.5 ? -size : size;
}

}  // namespace vek
