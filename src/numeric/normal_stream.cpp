// Normal variables in any number from one seed: turns blocks of seeds into uniforms, their logarithms and cosines, with
// functions of its own, so that the digits depend neither on the C library nor on the width of the vectors.
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "numeric/random.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vek {

namespace {

constexpr double modulus = 2147483647.0;
constexpr double two_pi = 6.283185307179586;

// ln 2 and pi/2 in two parts; the high parts have so many trailing zeros that their multiples here are exact.
constexpr double log2_high = 0x1.62e42feep-1, log2_low = 0x1.a39ef35793c76p-33;
constexpr double half_pi_high = 0x1.921fb544p+0, half_pi_low = 0x1.0b4611a626331p-34;
constexpr double two_over_pi = 0.63661977236758134308;
constexpr double rounder = 0x1.8p52;                                  // adding it rounds to a whole number
constexpr unsigned long long half_root_bits = 0x3FE6A09E00000000ULL;  // about the square root of 1/2

// 2/(2i + 3), (-1)^(i + 1)/(2i + 3)!, and, beyond the first two terms, (-1)^i/(2i + 4)!: next terms are below 2^-54.
constexpr double log_terms[10] = {2.0 / 3,  2.0 / 5,  2.0 / 7,  2.0 / 9,  2.0 / 11,
                                  2.0 / 13, 2.0 / 15, 2.0 / 17, 2.0 / 19, 2.0 / 21};
constexpr double sine_terms[8] = {-1.0 / 6,        1.0 / 120,        -1.0 / 5040,          1.0 / 362880,
                                  -1.0 / 39916800, 1.0 / 6227020800, -1.0 / 1307674368000, 1.0 / 355687428096000};
constexpr double cosine_terms[7] = {1.0 / 24,        -1.0 / 720,         1.0 / 40320,         -1.0 / 3628800,
                                    1.0 / 479001600, -1.0 / 87178291200, 1.0 / 20922789888000};

namespace portable {
#define VEK_WIDTH 2
#define VEK_ROOT(x) \
    Pack { std::sqrt((x)[0]), std::sqrt((x)[1]) }
#include "numeric/normal_stream_body.inc"
#undef VEK_ROOT
#undef VEK_WIDTH
}  // namespace portable

#if defined(__x86_64__)

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif
namespace avx2 {
#define VEK_WIDTH 4
#define VEK_ROOT _mm256_sqrt_pd
#include "numeric/normal_stream_body.inc"
#undef VEK_ROOT
#undef VEK_WIDTH
}  // namespace avx2
#if defined(__clang__)
#pragma clang attribute pop
#pragma clang attribute push(__attribute__((target("avx512f"))), apply_to = function)
#else
#pragma GCC pop_options
#pragma GCC push_options
#pragma GCC target("avx512f")
#endif
namespace avx512 {
#define VEK_WIDTH 8
#define VEK_ROOT(x) _mm512_maskz_sqrt_pd(0xFF, x)
#include "numeric/normal_stream_body.inc"
#undef VEK_ROOT
#undef VEK_WIDTH
}  // namespace avx512
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#endif

using Normals = void (*)(const double* first, const double* second, std::ptrdiff_t n, double* x);

Normals normals_of(InstructionSet set) {
#if defined(__x86_64__)
    if (set == InstructionSet::avx512) return avx512::normals;
    if (set == InstructionSet::avx2) return avx2::normals;
#else
    static_cast<void>(set);
#endif
    return portable::normals;
}

constexpr int lanes = 8;

}  // namespace

double zrannor(std::int32_t& seed) {
    zranuni(seed);
    const double first[2] = {static_cast<double>(seed), 1};
    zranuni(seed);
    const double second[2] = {static_cast<double>(seed), 1};
    double x[2];
    portable::normals(first, second, 2, x);
    return x[0];
}

void zrannor_fill(std::int32_t& seed, std::ptrdiff_t n, double* x, InstructionSet set) {
    constexpr std::ptrdiff_t block = 64;
    const Normals normals = normals_of(set);
    const std::int32_t stride = zranuni_factor(lanes);
    std::int32_t next[lanes];  // the next seeds of the stream, each lane a seed of every eighth draw
    std::int32_t walk = seed;
    for (std::int32_t& lane : next) {
        zranuni(walk);
        lane = walk;
    }
    if (n > 0) seed = zranuni_jump(seed, zranuni_factor(2 * static_cast<std::int64_t>(n)));
    double first[block], second[block], values[block];
    while (n > 0) {
        const std::ptrdiff_t part = n < block ? n : block;
        const std::ptrdiff_t whole = (part + lanes - 1) / lanes * lanes;
        for (std::ptrdiff_t i = 0; i < whole; i += lanes / 2)
            for (int lane = 0; lane < lanes; lane += 2) {
                first[i + lane / 2] = next[lane];
                second[i + lane / 2] = next[lane + 1];
                next[lane] = zranuni_jump(next[lane], stride);
                next[lane + 1] = zranuni_jump(next[lane + 1], stride);
            }
        if (part == block) {
            normals(first, second, block, x);
        } else {
            normals(first, second, whole, values);
            for (std::ptrdiff_t i = 0; i < part; ++i) x[i] = values[i];
        }
        x += part;
        n -= part;
    }
}

}  // namespace vek
