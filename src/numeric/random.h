// Streams of uniform, normal and gamma variables that depend on a 32-bit seed alone: the caller holds the seed, every
// draw updates it, and the same seed gives the same stream on every machine. Seeds lie in 1 to 2147483646; others are
// first taken modulo 2147483647 (a seed of 0 stays 0 and gives uniforms of 0).
#pragma once

#include <cstddef>
#include <cstdint>

#include "numeric/dispatch.h"

namespace vek {

/// zranuni(seed): the next uniform variable of the open interval (0, 1).
///   method    seed becomes 397204094 seed mod 2147483647 (Fishman and Moore 1982, JASA 77:129); the result is
///             seed/2147483647. The period is 2147483646
///   accuracy  exact, then correctly rounded by one division
///   cost      about 3 ns
///   tests     tests/numeric/test_random.cpp
double zranuni(std::int32_t& seed);

/// zrannor(seed): the next standard normal variable, from two uniforms.
///   method    Box and Muller (1958): sqrt(-2 ln u1) cos(2 pi u2); the second variable of the pair is not kept.
///   Logarithm
///             and cosine by series of our own
///   accuracy  absolute 4e-15: the argument of the cosine is rounded
///   cost      about 40 ns one by one; zrannor_fill is several times faster
///   tests     tests/numeric/random.tsv, tests/numeric/test_random.cpp
double zrannor(std::int32_t& seed);

/// zrannor_fill(seed, n, x): the next n standard normal variables, those that n calls of zrannor give, to the last bit.
///   domain    n <= 0 does nothing. `set` chooses the version of the loops, all of which give the same digits
///   cost      a variable takes about 5 ns with AVX-512, 8 with AVX2, 20 without (blocks of 60 and more)
///   tests     tests/numeric/test_random.cpp
void zrannor_fill(std::int32_t& seed, std::ptrdiff_t n, double* x, InstructionSet set = best_instruction_set());

/// What zrangam prepares for a shape; starts cleared and belongs to the caller.
struct GammaState {
    double a = 0;  ///< the shape last prepared
    // shape above 1
    double inverse_root = 0;  ///< 1/sqrt(2a - 1)
    double less_log = 0;      ///< a - ln 4
    double plus_root = 0;     ///< a + sqrt(2a - 1)
    // shape up to 1
    int whole = 0;            ///< integer part
    double part = 0;          ///< fractional part d
    double inverse_part = 0;  ///< 1/d
    double part_less = 0;     ///< d - 1
    double threshold = 0;     ///< 0.5/(0.606530659712633 d + 0.5)
};

/// zrangam(seed, a, state): the next gamma variable of shape a and scale 1.
///   domain    0 < a < 1e300; outside the result is the missing value, and nothing is drawn
///   result    the variable; a change of shape prepares the state anew, with no other effect on the stream
///   method    a > 1: Cheng (1977, Applied Statistics 26:71), two uniforms a try; a < 1: Ahrens-Dieter type rejection
///   with
///             a switch at 0.5, three uniforms a try; a = 1: -ln of one uniform
///   accuracy  relative 1e-13 of the value that exact arithmetic gives from the same uniforms
///   cost      1.1 to 1.5 tries
///   tests     tests/numeric/random.tsv, tests/numeric/test_random.cpp (moments, Kolmogorov-Smirnov distance)
double zrangam(std::int32_t& seed, double a, GammaState& state);

/// The factor by which a seed is multiplied (modulo 2147483647) to jump over `draws` uniforms.
std::int32_t zranuni_factor(std::int64_t draws);

/// seed times factor modulo 2147483647: the seed after as many draws as zranuni_factor made the factor for.
inline std::int32_t zranuni_jump(std::int32_t seed, std::int32_t factor) {
    constexpr std::int64_t modulus = 2147483647;
    const auto residue = [](std::int64_t x) { return x > 0 ? x : (x % modulus + modulus) % modulus; };
    // A product below 2^62: the part above 31 bits counts once more, 2^31 being 1 modulo 2^31 - 1.
    const std::int64_t product = residue(seed) * residue(factor);
    const std::int64_t folded = (product & modulus) + (product >> 31);
    return static_cast<std::int32_t>(folded >= modulus ? folded - modulus : folded);
}

}  // namespace vek
