// Uniform, normal and gamma streams: turns a seed into the next variable and the next seed.
#include "numeric/random.h"

#include <cmath>

#include "numeric/missing.h"

namespace vek {

namespace {

constexpr std::int64_t modulus = 2147483647;
constexpr std::int64_t multiplier = 397204094;

// A product of two residues, below 2^62, modulo 2^31 - 1: the high part folds onto the low one.
std::int32_t multiply(std::int64_t x, std::int64_t y) {
    const std::int64_t product = x * y;
    const std::int64_t folded = (product & modulus) + (product >> 31);
    return static_cast<std::int32_t>(folded >= modulus ? folded - modulus : folded);
}

std::int64_t residue(std::int64_t x) {
    if (x >= 0 && x < modulus) return x;
    x %= modulus;
    return x < 0 ? x + modulus : x;
}

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
    seed = multiply(multiplier, residue(seed));
    return seed / 2147483647.0;
}

double zrannor(std::int32_t& seed) {
    const double u1 = zranuni(seed);
    const double u2 = zranuni(seed);
    return std::sqrt(-2 * std::log(u1)) * std::cos(6.283185307179586 * u2);
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
    std::int64_t power = multiplier;
    for (; draws > 0; draws >>= 1) {
        if (draws & 1) factor = multiply(factor, power);
        power = multiply(power, power);
    }
    return factor;
}

std::int32_t zranuni_jump(std::int32_t seed, std::int32_t factor) { return multiply(residue(seed), residue(factor)); }

}  // namespace vek
