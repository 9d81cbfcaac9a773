// Logarithm of beta, incomplete beta ratio by a continued fraction in x/(1 - x), and its inverse by Newton or Halley
// steps from a normal start.
#include "numeric/beta.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "numeric/gamma.h"
#include "numeric/normal.h"

namespace vek {

namespace {

constexpr double largest_parameter = 2147483647.0;

// The continued fraction f of I_x(a, b) = x^a (1 - x)^(b - 1) f / (a B(a, b)), two partial quotients a step; y is 1 -
// x. True when it has settled within 199 steps.
bool beta_fraction(double x, double y, double a, double b, double& f) {
    const double t = x / y;
    double numerator = 1, denominator = 1;
    double last_numerator = 0, last_denominator = 1;
    f = 1;
    for (int k = 0; k < 199; ++k) {
        const double n = a + 2 * k;
        const double c1 = t * (k + 1 - b) * ((a + k) / (n * (n + 1)));
        last_numerator = numerator + c1 * last_numerator;
        last_denominator = denominator + c1 * last_denominator;
        const double c2 = t * (k + 1) * ((a + b + k) / ((n + 1) * (n + 2)));
        numerator = last_numerator + c2 * numerator;
        denominator = last_denominator + c2 * denominator;
        const double previous = f;
        f = numerator / denominator;
        if (std::fabs(f - previous) < 8.881784197001256e-16 * f) return true;
        if (std::fabs(denominator) >= 0x1p354 || std::fabs(denominator) < 0x1p-355) {
            int exponent = 0;
            std::frexp(denominator, &exponent);
            numerator = std::ldexp(numerator, -exponent);
            denominator = std::ldexp(denominator, -exponent);
            last_numerator = std::ldexp(last_numerator, -exponent);
            last_denominator = std::ldexp(last_denominator, -exponent);
        }
    }
    return false;
}

// I_x(a, b) for parameters so large that the cube root of the F ratio is normal.
double normal_beta(double x, double a, double b) {
    const double w = b * x / ((1 - x) * a);
    const double r = std::cbrt(w);
    const double u = 0.1111111111111111 / a;
    const double v = 0.1111111111111111 / b;
    return zprbnrm((r * (1 - v) - (1 - u)) / std::sqrt(u + r * r * v));
}

}  // namespace

double zlbeta(double a, double b) {
    if (!(a > 0 && b > 0)) return 99.0;
    if (a < b) std::swap(a, b);
    if (a < 15) return zlgamma(a) + zlgamma(b) - zlgamma(a + b);
    if (std::isinf(a + b)) return -std::numeric_limits<double>::infinity();
    return (a + b - 0.5) * zln1px(-b / (a + b)) - b * std::log(a) + b + zlgamma(b) + zlgbern(a) - zlgbern(a + b);
}

int zibeta(double x, double a, double b, double& p, double& d) {
    if (a > largest_parameter || b > largest_parameter) return 1;
    if (!(x >= 0 && x <= 1 && a > 0 && b > 0)) {
        p = -1.0;
        d = 0;
        return -1;
    }
    if (x == 0 || x == 1) {
        p = x;
        d = 0;
        return 0;
    }
    const double L = (b - 1) * zln1px(-x) + (a - 1) * std::log(x) - zlbeta(a, b);
    if (L < -708.3964185) {
        d = 0;
        p = x <= a / (a + b) ? 0 : 1;
        return 0;
    }
    d = std::exp(L);
    const bool swapped = a + 2 * std::sqrt(a * b / (a + b + 1)) < (a + b) * x || a + 3 < 6 * x + (a + b) * x;
    const double fx = swapped ? 1 - x : x;
    const double fy = swapped ? x : 1 - x;
    const double fb = swapped ? a : b;
    const double shape = swapped ? b : a;
    const bool raised = shape < 1;
    const double fa = raised ? shape + 1 : shape;
    double f = 0;
    if (beta_fraction(fx, fy, fa, fb, f)) {
        // Where the shape was raised, it stands here itself rather than fa - 1, which has lost its low digits.
        p = raised ? d * fx * (fx * f * (shape + fb) / fa + fy) / shape : d * fx * f / fa;
        if (swapped) p = 1 - p;
    } else if ((a > 5000 && b > 100) || (b > 5000 && a > 100)) {
        p = normal_beta(x, a, b);
    } else {
        p = -1.0;
        d = 0;
        return -1;
    }
    p = std::clamp(p, 0.0, 1.0);
    return 0;
}

int zprobin(double p, double a, double b, double& x) {
    if (!(p >= 0 && p <= 1)) return 1;
    if (p == 0 || p == 1) return x = p, 0;
    const bool swapped = p > 0.5;
    if (swapped) {
        std::swap(a, b);
        p = 1 - p;
    }
    if (!(a > 0 && b > 0)) return 1;
    const double r = std::sqrt(-2 * std::log(p));
    const double y = r - (2.30753 + 0.27061 * r) / (1 + (0.99229 + 0.04481 * r) * r);
    const bool halley = a > 1 && b > 1;
    double root = 0;
    if (halley) {
        const double u = 1 / (2 * a - 1);
        const double v = 1 / (2 * b - 1);
        const double h = 2 / (u + v);
        const double l = (y * y - 3) / 6;
        const double w = y * std::sqrt(h + l) / h - (v - u) * (l + 0.8333 - 0.6666 / h);
        root = a / (a + b * std::exp(2 * w));
    } else {
        root = a / (a + b) - y * std::sqrt(a * b / ((a + b + 1) * (a + b)));
        if (root < 1e-09) root = std::exp(std::log(p) / a);
    }
    const double tolerance = p * 1e-07;
    for (int step = 0; step < 30; ++step) {
        double probability = 0, density = 0;
        if (zibeta(root, a, b, probability, density) != 0) return 1;
        double next = 0;
        if (density < 5.562684646268004e-305) {
            next = probability <= p ? 1 : 0;
        } else if (halley) {
            const double curvature = (a - 1) / root - (b - 1) / (1 - root);
            next = root - (probability - p) / (curvature * (p - probability) * 0.5 + density);
        } else {
            next = root - (probability - p) / density;
        }
        if (next >= 1) next = (1 + root) / 2;
        if (next <= 0) next = root / 2;
        root = next;
        if (std::fabs(p - probability) < tolerance) return x = swapped ? 1 - root : root, 0;
    }
    return 1;
}

}  // namespace vek
