// Uniform and gamma streams: turns a seed into the next variable and the next seed.
#include "numeric/random.h"

#include <cmath>

#include "numeric/missing.h"

namespace vek {

namespace {

constexpr std::int32_t multiplier = 397204094;

void prepare(double a, GammaState& state) {
    state = GammaState{};
    state.a = a;
    if (a > 1) {
        const double root = std::sqrt(2 * a - 1);
        state.inverse_root = 1 / root;
        state.less_log = a - std::log(4.0);
        state.plus_root = a + root;
        return;
    }
    state.whole = static_cast<int>(a);
    state.part = a - state.whole;
    if (state.part > 0) state.inverse_part = 1 / state.part;
    state.part_less = state.part - 1;
    state.threshold = 0.5 / (0.606530659712633 * state.part + 0.5);
}

// Shape above 1.
double cheng(std::int32_t& seed, const GammaState& state) {
    for (;;) {
        const double u1 = zranuni(seed);
        const double u2 = zranuni(seed);
        const double v = state.inverse_root * std::log(u1 / (1 - u1));
        const double x = state.a * std::exp(v);
        if (state.plus_root * v + state.less_log - x >= std::log(u1 * u1 * u2)) return x;
    }
}

// Shape d below 1: below 0.5 the density's power, above it its exponential bounds it.
double part_of_gamma(std::int32_t& seed, const GammaState& state) {
    for (;;) {
        const double u = zranuni(seed);
        const double v = zranuni(seed);
        const double w = zranuni(seed);
        double x, ratio;
        if (u <= state.threshold) {
            x = 0.5 * std::pow(v, state.inverse_part);
            ratio = std::exp(-x);
        } else {
            x = 0.5 - std::log(v);
            ratio = std::pow(2 * x, state.part_less);
        }
        if (w <= ratio) return x;
    }
}

}  // namespace

double zranuni(std::int32_t& seed) {
    seed = zranuni_jump(seed, multiplier);
    return seed / 2147483647.0;
}

double zrangam(std::int32_t& seed, double a, GammaState& state) {
    if (!(a > 0 && a < 1e300)) return missing;
    if (a != state.a) prepare(a, state);
    if (a > 1) return cheng(seed, state);
    double x = state.part > 0 ? part_of_gamma(seed, state) : 0;
    double product = 1;
    for (int k = 0; k < state.whole; ++k) product *= zranuni(seed);
    if (state.whole > 0) x -= std::log(product);
    return x;
}

std::int32_t zranuni_factor(std::int64_t draws) {
    std::int32_t factor = 1;
    std::int32_t power = multiplier;
    for (; draws > 0; draws >>= 1) {
        if (draws & 1) factor = zranuni_jump(factor, power);
        power = zranuni_jump(power, power);
    }
    return factor;
}

}  // namespace vek
