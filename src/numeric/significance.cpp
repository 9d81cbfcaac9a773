// significance: from the size of numbers to the width and decimals of the column that shows them.
#include "numeric/significance.h"

#include <algorithm>
#include <cmath>

#include "numeric/missing.h"

namespace vek {

namespace {

constexpr int best = 99;
constexpr double power_tolerance = 1.110223024625157e-14;

/// Digits before and behind the point.
struct Places {
    int before = 0;
    int decimals = 0;
};

Places places_of(double v, int digits) {
    if (v == 0) return {};
    const int i = static_cast<int>(std::floor(std::log10(std::fabs(v)) + power_tolerance)) + 1;
    return {std::max(0, i), std::max(0, digits - i)};
}

SignificantFormat field(const Places& p, double x, int maximum) {
    SignificantFormat f;
    f.decimals = p.decimals;
    f.width = p.before + p.decimals + (p.decimals > 0 ? 1 : 0) + (x < 0 ? 1 : 0);
    if (f.width > maximum) {
        f.decimals = best;
        f.width = maximum;
    }
    return f;
}

SignificantFormat combine(const Places& x, const Places& y, int maximum) {
    SignificantFormat f;
    const int before = std::max(x.before, y.before);
    f.decimals = std::max(x.decimals, y.decimals);
    f.width = before + f.decimals + 1 + (f.decimals > 0 ? 1 : 0);
    if (f.width > maximum) {
        f.width = maximum;
        f.decimals = maximum - before - 2;
        if (f.decimals < std::min(x.decimals, y.decimals)) f.decimals = best;
    }
    return f;
}

double half_unit(int decimals) { return 0.5 / std::pow(10.0, decimals); }

}  // namespace

SignificantFormat zpsig(double x, int digits, int maximum) {
    if (wzmis(x) || x == 0) return {};
    const double size = std::fabs(x);
    SignificantFormat f = field(places_of(size, digits), x, maximum);
    if (f.decimals >= best) return f;
    return field(places_of(size + half_unit(f.decimals), digits), x, maximum);
}

SignificantFormat zpsig2(double x, double y, int digits, int maximum) {
    const double ax = wzmis(x) ? 0 : std::fabs(x), ay = wzmis(y) ? 0 : std::fabs(y);
    Places px = places_of(ax, digits), py = places_of(ay, digits);
    SignificantFormat f = combine(px, py, maximum);
    if (f.decimals < best) {
        const double rounding = half_unit(f.decimals);
        if (ax != 0) px = places_of(ax + rounding, digits);
        if (ay != 0) py = places_of(ay + rounding, digits);
        f = combine(px, py, maximum);
    }
    f.unit = f.decimals < best ? std::pow(10.0, digits - f.decimals - 1) : 0;
    return f;
}

}  // namespace vek
