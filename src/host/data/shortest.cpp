// shortest: from a double to the fewest digits that read back, by the method of Raffaello Giulietti, "The Schubfach way
// to render doubles" (2020): three products with a 128-bit power of ten place the ends of the rounding interval and the
// number itself on a decimal grid that has at least one and at most ten points within the interval. Nearly always the
// number's own product is enough. std::to_chars gives the same digits, in four times the time.
#include "host/data/shortest.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vek {

namespace {

__extension__ typedef unsigned __int128 Wide;

struct Power {
    std::uint64_t high, low;
};

constexpr int least_power = -292, greatest_power = 324;

/// The powers of ten that a double can need, each scaled to 128 significant bits and rounded up.
constexpr std::array<Power, greatest_power - least_power + 1> make_powers() {
    constexpr int words = 32;  // little-endian words of a number with more bits than any power here takes
    std::array<Power, greatest_power - least_power + 1> powers{};
    using Number = std::array<std::uint32_t, words>;
    const auto leading = [](const Number& number, bool inexact) {
        int top = words - 1;
        while (number[static_cast<std::size_t>(top)] == 0) --top;
        const auto word = [&](int i) -> std::uint64_t { return i < 0 ? 0 : number[static_cast<std::size_t>(i)]; };
        const int shift = std::countl_zero(number[static_cast<std::size_t>(top)]);
        std::uint64_t parts[3] = {};  // five words hold 128 bits at any shift
        for (int i = 0; i < 4; ++i) {
            const std::uint64_t both = word(top - i) << 32 | word(top - i - 1);
            const std::uint64_t bits = (both << shift) >> 32;
            parts[i / 2] = parts[i / 2] << 32 | bits;
        }
        bool below =
            inexact || (shift > 0 && (word(top - 4) << shift & 0xffffffff) != 0) || (shift == 0 && word(top - 4) != 0);
        for (int i = top - 5; i >= 0; --i) below = below || word(i) != 0;
        Power power{parts[0], parts[1]};
        if (below && ++power.low == 0) ++power.high;
        return power;
    };
    // 5^k exactly; the factor 2^k is taken up by the scale.
    Number number{};
    number[0] = 1;
    int used = 1;
    for (int k = 0; k <= greatest_power; ++k) {
        powers[static_cast<std::size_t>(k - least_power)] = leading(number, false);
        std::uint64_t carry = 0;
        for (int i = 0; i < used; ++i) {
            carry += std::uint64_t{5} * number[static_cast<std::size_t>(i)];
            number[static_cast<std::size_t>(i)] = static_cast<std::uint32_t>(carry);
            carry >>= 32;
        }
        if (carry != 0) number[static_cast<std::size_t>(used++)] = static_cast<std::uint32_t>(carry);
    }
    // 2^1023 / 5^k, whose integer part is that of dividing by 5 again and again.
    number = {};
    number[words - 1] = std::uint32_t{1} << 31;
    for (int k = -1; k >= least_power; --k) {
        std::uint64_t rest = 0;
        for (std::size_t i = words; i-- > 0;) {
            rest = rest << 32 | number[i];
            number[i] = static_cast<std::uint32_t>(rest / 5);
            rest %= 5;
        }
        powers[static_cast<std::size_t>(k - least_power)] = leading(number, true);
    }
    return powers;
}

constexpr auto powers = make_powers();

/// The integer part of a power of two times `factor`; its last bit also stands for all the bits below.
std::uint64_t round_to_odd(const Power& power, std::uint64_t factor) {
    const Wide low = static_cast<Wide>(power.low) * factor;
    const Wide high = static_cast<Wide>(power.high) * factor + static_cast<std::uint64_t>(low >> 64);
    return static_cast<std::uint64_t>(high >> 64) | (static_cast<std::uint64_t>(high) > 1 ? 1 : 0);
}

// Digits go through registers as bytes of a word, the first one lowest.
static_assert(std::endian::native == std::endian::little);
constexpr std::uint64_t zeros = 0x3030303030303030;

inline void store8(char* to, std::uint64_t bytes) { std::memcpy(to, &bytes, 8); }

/// The digits of a number below 1e16 with leading zeros, each as its character.
struct SixteenDigits {
#if defined(__SSE2__)
    __m128i text;

    explicit SixteenDigits(std::uint64_t number) {
        const std::uint64_t upper = number / 100000000;
        const __m128i eights =
            _mm_set_epi64x(static_cast<long long>(number - 100000000 * upper), static_cast<long long>(upper));
        // Each part is divided into quotient and remainder, which then stand side by side: 8 digits in 64 bits to
        // 4 in 32, to 2 in 16, to 1 in 8. The quotients are products with a scaled reciprocal.
        const __m128i myriads = _mm_srli_epi64(_mm_mul_epu32(eights, _mm_set1_epi64x(3518437209)), 45);
        const __m128i below_myriad = _mm_sub_epi64(eights, _mm_mul_epu32(myriads, _mm_set1_epi64x(10000)));
        const __m128i fours = _mm_or_si128(myriads, _mm_slli_epi64(below_myriad, 32));
        const __m128i hundreds = _mm_srli_epi16(_mm_mulhi_epu16(fours, _mm_set1_epi32(5243)), 3);
        const __m128i below_hundred = _mm_sub_epi16(fours, _mm_mullo_epi16(hundreds, _mm_set1_epi32(100)));
        const __m128i twos = _mm_or_si128(hundreds, _mm_slli_epi32(below_hundred, 16));
        const __m128i tens = _mm_mulhi_epu16(twos, _mm_set1_epi16(6554));
        const __m128i below_ten = _mm_sub_epi16(twos, _mm_mullo_epi16(tens, _mm_set1_epi16(10)));
        text = _mm_or_si128(_mm_or_si128(tens, _mm_slli_epi16(below_ten, 8)), _mm_set1_epi8('0'));
    }
    std::uint64_t first_eight() const { return static_cast<std::uint64_t>(_mm_cvtsi128_si64(text)); }
    void store(char* to) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), text); }
    /// Bit i: digit i is not zero.
    unsigned nonzero() const {
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(text, _mm_set1_epi8('0')))) ^ 0xffff;
    }
#else
    std::uint64_t text[2];

    explicit SixteenDigits(std::uint64_t number) {
        text[0] = eight(static_cast<std::uint32_t>(number / 100000000));
        text[1] = eight(static_cast<std::uint32_t>(number % 100000000));
    }
    std::uint64_t first_eight() const { return text[0]; }
    void store(char* to) const { std::memcpy(to, text, 16); }
    unsigned nonzero() const {
        unsigned bits = 0;
        for (unsigned i = 0; i < 16; ++i) bits |= ((text[i / 8] >> 8 * (i % 8)) & 15) != 0 ? 1U << i : 0;
        return bits;
    }

  private:
    static std::uint64_t eight(std::uint32_t value) {
        const std::uint32_t high = value / 10000;
        const std::uint64_t fours = high | std::uint64_t{value - 10000 * high} << 32;
        const std::uint64_t hundreds = (fours * 10486 >> 20) & 0x0000007f0000007f;
        const std::uint64_t twos = hundreds + ((fours - 100 * hundreds) << 16);
        const std::uint64_t tens = (twos * 103 >> 10) & 0x000f000f000f000f;
        return (tens + ((twos - 10 * tens) << 8)) | zeros;
    }
#endif
};

/// A number of sixteen or seventeen digits.
struct LongDigits {
    std::uint64_t first;  ///< digit; 0 when there are sixteen
    SixteenDigits rest;
    int whole;   ///< digits
    int length;  ///< digits without trailing zeros

    explicit LongDigits(std::uint64_t digits)
        : first(digits / 10000000000000000U), rest(digits - 10000000000000000U * first) {
        const unsigned nonzero = rest.nonzero();
        whole = 16 + (first != 0 ? 1 : 0);
        length = whole - 16 + static_cast<int>(std::bit_width(nonzero));
    }
    /// Writes all of them, and something behind them.
    void store(char* to) const {
        *to = static_cast<char>('0' + first);
        rest.store(to + (whole - 16));  // sixteen or seventeen are as likely: no branch
    }
    std::uint64_t first_eight() const {
        const std::uint64_t eight = rest.first_eight();
        return first != 0 ? eight << 8 | '0' | first : eight;
    }
};

/// The digits with a point behind the first 1 to 7 of them.
inline char* put_pointed(const LongDigits& digits, int in_front, char* to) {
    digits.store(to + 1);
    // The first eight characters again, with those in front of the point where they belong.
    const std::uint64_t eight = digits.first_eight();
    const std::uint64_t point = std::uint64_t{1} << 8 * in_front, front = point - 1;
    store8(to, (eight & front) | point * '.' | (eight << 8 & ~(front << 8 | 255)));
    return to + digits.length + 1;
}

char* put_exponent(int exponent, char* to) {
    *to++ = 'e';
    *to++ = exponent < 0 ? '-' : '+';
    int magnitude = std::abs(exponent);
    if (magnitude >= 100) {
        *to++ = static_cast<char>('0' + magnitude / 100);
        magnitude %= 100;
    }
    *to++ = static_cast<char>('0' + magnitude / 10);
    *to++ = static_cast<char>('0' + magnitude % 10);
    return to;
}

struct DigitText {
    char text[40];  ///< 17 digits, and room that is copied along
    const char* begin;
    int length;
};

/// Digits without leading and trailing zeros. Returns the exponent of the last one that is left.
inline int spell(std::uint64_t digits, int exponent, DigitText* out) {
    const std::uint64_t first = digits / 10000000000000000U;
    const SixteenDigits rest(digits - 10000000000000000U * first);
    out->text[0] = static_cast<char>('0' + first);
    rest.store(out->text + 1);
    const unsigned nonzero = rest.nonzero() << 1 | (first != 0 ? 1 : 0);
    const int leading = std::countr_zero(nonzero), end = static_cast<int>(std::bit_width(nonzero));
    out->begin = out->text + leading;
    out->length = end - leading;
    return exponent + 17 - end;
}

char* write_scientific(const DigitText& digits, int exponent, char* to) {
    *to++ = digits.begin[0];
    if (digits.length > 1) {
        *to++ = '.';
        std::memcpy(to, digits.begin + 1, 16);  // always whole: the room is there
        to += digits.length - 1;
    }
    return put_exponent(exponent, to);
}

inline char* write_fixed(const DigitText& digits, int exponent, char* to) {
    const int whole = exponent + 1;  // digits in front of the point
    if (whole >= digits.length) {
        std::memcpy(to, digits.begin, 17);
        std::fill(to + digits.length, to + whole, '0');
        return to + whole;
    }
    // Numbers below and above 1 take the same instructions: a column has both in any order, and a wrong guess costs
    // more.
    const int below_one = whole <= 0 ? 1 : 0, in_front = std::max(whole, 0);
    std::memcpy(to, "0.000000", 8);  // longer runs of zeros have a shorter form
    char* const start = to + below_one * (2 - whole);
    std::memcpy(start, digits.begin, 17);
    std::memcpy(start + in_front + (1 - below_one), digits.begin + in_front, 17);
    to[std::max(whole, 1)] = '.';
    return start + digits.length + (1 - below_one);
}

constexpr int fraction_bits = 52;

/// value = c * 2^q on the decimal grid 10^k, whose steps are at most the distance of two neighbouring doubles and more
/// than a tenth of it: value = c * power * 2^(shift - 128) * 10^k.
struct OnGrid {
    std::uint64_t c;
    const Power& power;
    int shift;  ///< 1 to 4; one less, 0, is possible for a power of two
    int k;
    bool lower_is_closer;  ///< the neighbour below a power of two is half as far away
};

/// The method in full: right for every number.
ShortestDecimal by_three_products(const OnGrid& number) {
    const auto [c, power, shift, k, lower_is_closer] = number;
    const std::uint64_t odd = c & 1;  // an odd number's interval has neither of its ends
    const std::uint64_t lower = round_to_odd(power, (4 * c - 2 + (lower_is_closer ? 1 : 0)) << shift) + odd;
    const std::uint64_t middle = round_to_odd(power, (4 * c) << shift);
    const std::uint64_t upper = round_to_odd(power, (4 * c + 2) << shift) - odd;

    // One digit less when a point of the coarser grid is inside, else the only point of this grid that is, else the
    // nearer one, the even one of two.
    const std::uint64_t s = middle / 4, tenth = s / 10;
    const bool coarse_below = lower <= 40 * tenth, coarse_above = 40 * tenth + 40 <= upper;
    if (tenth != 0 && coarse_below != coarse_above) return {10 * (tenth + (coarse_above ? 1 : 0)), k};
    const bool below = lower <= 4 * s, above = 4 * s + 4 <= upper;
    if (below != above) return {s + (above ? 1 : 0), k};
    return {s + (middle + (s & 1) > 4 * s + 2 ? 1 : 0), k};
}

}  // namespace

ShortestDecimal shortest_decimal(double value) {
    constexpr int bias = 1075;
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const std::uint64_t fraction = bits & ((std::uint64_t{1} << fraction_bits) - 1);
    const auto biased = static_cast<int>(bits >> fraction_bits);
    // value = c * 2^q
    const std::uint64_t c = biased != 0 ? fraction | std::uint64_t{1} << fraction_bits : fraction;
    const int q = (biased != 0 ? biased : 1) - bias;
    if (q <= 0 && q > -fraction_bits - 1 && (c & ((std::uint64_t{1} << -q) - 1)) == 0) return {c >> -q, 0};

    const bool lower_is_closer = fraction == 0 && biased > 1;
    // k is floor(log10(2^q)), or of three quarters of it where the interval is smaller.
    const int k = (q * 1262611 - (lower_is_closer ? 524031 : 0)) >> 22;
    const int shift = q + ((-k * 1741647) >> 19) + 1;
    const Power& power = powers[static_cast<std::size_t>(-k - least_power)];
    const OnGrid number{c, power, shift, k, lower_is_closer};
    if (lower_is_closer || biased == 0) return by_three_products(number);

    // One product gives the number on the grid as s + part / 2^64, off by less than two units of `part`. All that is
    // asked of it is on which side of the interval's ends and of the middle between two points it lies, and only where
    // that is too close to tell the two other products are needed. Distances are in units of 2^-60 grid steps, with
    // the last digit of s in front of them; half of the interval is at most five steps.
    const Wide low = static_cast<Wide>(power.low) * (c << shift);
    const Wide high = static_cast<Wide>(power.high) * (c << shift) + static_cast<std::uint64_t>(low >> 64);
    const auto s = static_cast<std::uint64_t>(high >> 64), part = static_cast<std::uint64_t>(high);
    const std::uint64_t tenth = s / 10, digit = s - 10 * tenth;
    constexpr std::uint64_t step = std::uint64_t{1} << 60, unsure = 4;
    const std::uint64_t half = power.high >> (5 - shift);
    const std::uint64_t above = digit << 60 | part >> 4;  // the distance to the point of the coarser grid below
    const std::uint64_t below = 10 * step - above;        // and above
    const std::uint64_t in_step = part >> 4;
    const auto close = [](std::uint64_t a, std::uint64_t b) { return a - b + unsure <= 2 * unsure ? 1 : 0; };
    if ((close(above, half) | close(below, half) | close(in_step, step / 2)) != 0) return by_three_products(number);
    // Which point it is cannot be foreseen: it is put together without a branch.
    const std::uint64_t to_tenth = 0 - std::uint64_t{above < half}, to_next = 0 - std::uint64_t{below < half};
    const std::uint64_t fine = digit + std::uint64_t{in_step > step / 2};
    return {10 * tenth + ((fine & ~(to_tenth | to_next)) | (10 & to_next)), k};
}

char* write_shortest(double value, char* to) {
    *to = '-';
    to += std::signbit(value) ? 1 : 0;
    const double magnitude = std::abs(value);
    if (magnitude == 0) {
        *to++ = '0';
        return to;
    }
    const ShortestDecimal decimal = shortest_decimal(magnitude);
    // Most numbers have sixteen or seventeen digits before trailing zeros are taken off, and the point in front of or
    // among the first eight, or an exponent below zero: no form of such a number can be as short as the one chosen
    // here.
    if (decimal.digits >= 1000000000000000U) {
        const LongDigits digits(decimal.digits);
        const int leading = decimal.exponent + digits.whole - 1;  // exponent of the first digit
        if (digits.length > 1) {
            if (leading < -4) return put_exponent(leading, put_pointed(digits, 1, to));
            if (leading < 0) {
                store8(to, zeros);
                to[1] = '.';
                digits.store(to + 1 - leading);
                return to + 1 - leading + digits.length;
            }
            if (leading < 7 && digits.length > leading + 1) return put_pointed(digits, leading + 1, to);
        }
    }
    DigitText digits;
    const int last = spell(decimal.digits, decimal.exponent, &digits);
    const int exponent = last + digits.length - 1;  // of the first digit
    if (last < 0 && exponent >= -4 && digits.length > 1) return write_fixed(digits, exponent, to);
    const int scientific = digits.length + (digits.length > 1 ? 1 : 0) + (exponent <= -100 || exponent >= 100 ? 5 : 4);
    const int fixed =
        exponent < 0 ? digits.length + 1 - exponent : std::max(exponent + 1, digits.length + (last < 0 ? 1 : 0));
    if (fixed <= scientific || (last >= 0 && exponent < 15)) return write_fixed(digits, exponent, to);
    return write_scientific(digits, exponent, to);
}

}  // namespace vek
