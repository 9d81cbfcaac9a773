// shortest: from a double to the fewest digits that read back, by the method of Raffaello Giulietti, "The Schubfach way
// to render doubles" (2020): three products with a 128-bit power of ten place the ends of the rounding interval and the
// number itself on a decimal grid that has at least one and at most ten points within the interval.
// std::to_chars gives the same digits, in three times the time.
#include "host/data/shortest.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>

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

/// The eight digits of a number below 1e8 as bytes 0 to 9.
inline std::uint64_t eight_digits(std::uint32_t value) {
    const std::uint32_t high = value / 10000;
    const std::uint64_t fours = high | std::uint64_t{value - 10000 * high} << 32;
    const std::uint64_t hundreds = (fours * 10486 >> 20) & 0x0000007f0000007f;
    const std::uint64_t twos = hundreds + ((fours - 100 * hundreds) << 16);
    const std::uint64_t tens = (twos * 103 >> 10) & 0x000f000f000f000f;
    return tens + ((twos - 10 * tens) << 8);
}

struct DigitText {
    char text[40];  ///< 17 digits, and room that is copied along
    const char* begin;
    int length;
};

/// Digits without leading and trailing zeros. Returns the exponent of the last one that is left.
inline int spell(std::uint64_t digits, int exponent, DigitText* out) {
    const std::uint64_t first = digits / 10000000000000000U, rest = digits % 10000000000000000U;
    const std::uint64_t upper = eight_digits(static_cast<std::uint32_t>(rest / 100000000));
    const std::uint64_t lower = eight_digits(static_cast<std::uint32_t>(rest % 100000000));
    const std::uint64_t texts[2] = {upper | zeros, lower | zeros};
    out->text[0] = static_cast<char>('0' + first);
    std::memcpy(out->text + 1, texts, 16);
    const int after_first =
        upper != 0 ? std::countr_zero(upper) / 8 : 8 + (lower != 0 ? std::countr_zero(lower) / 8 : 8);
    const int leading = (first == 0 ? 1 : 0) * (1 + after_first);  // sixteen or seventeen digits: a guess costs more
    int trailing = lower != 0 ? std::countl_zero(lower) / 8 : 8;
    if (lower == 0) trailing += upper != 0 ? std::countl_zero(upper) / 8 : 8;
    out->begin = out->text + leading;
    out->length = 17 - leading - trailing;
    return exponent + trailing;
}

char* write_scientific(const DigitText& digits, int exponent, char* to) {
    *to++ = digits.begin[0];
    if (digits.length > 1) {
        *to++ = '.';
        std::memcpy(to, digits.begin + 1, 16);  // always whole: the room is there
        to += digits.length - 1;
    }
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

}  // namespace

ShortestDecimal shortest_decimal(double value) {
    constexpr int fraction_bits = 52, bias = 1075;
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const std::uint64_t fraction = bits & ((std::uint64_t{1} << fraction_bits) - 1);
    const auto biased = static_cast<int>(bits >> fraction_bits);
    // value = c * 2^q
    const std::uint64_t c = biased != 0 ? fraction | std::uint64_t{1} << fraction_bits : fraction;
    const int q = (biased != 0 ? biased : 1) - bias;
    if (q <= 0 && q > -fraction_bits - 1 && (c & ((std::uint64_t{1} << -q) - 1)) == 0) return {c >> -q, 0};

    const std::uint64_t odd = c & 1;  // an odd number's interval has neither of its ends
    const bool lower_is_closer = fraction == 0 && biased > 1;
    // k is the exponent of the grid: floor(log10(2^q)), or of three quarters of it where the interval is smaller.
    const int k = (q * 1262611 - (lower_is_closer ? 524031 : 0)) >> 22;
    const int shift = q + ((-k * 1741647) >> 19) + 1;
    const Power& power = powers[static_cast<std::size_t>(-k - least_power)];
    const std::uint64_t lower = round_to_odd(power, (4 * c - 2 + (lower_is_closer ? 1 : 0)) << shift) + odd;
    const std::uint64_t middle = round_to_odd(power, (4 * c) << shift);
    const std::uint64_t upper = round_to_odd(power, (4 * c + 2) << shift) - odd;

    // One digit less when a point of the coarser grid is inside, else the only point of this grid that is, else the
    // nearer one, the even one of two. Which it is cannot be foreseen, so all are made and chosen without a branch.
    const std::uint64_t s = middle / 4, tenth = s / 10;
    const std::uint64_t below = lower <= 4 * s ? 1 : 0, above = 4 * s + 4 <= upper ? 1 : 0;
    const std::uint64_t nearer_above = middle + (s & 1) > 4 * s + 2 ? 1 : 0;
    const std::uint64_t only = below ^ above;
    const std::uint64_t fine = s + ((only & above) | ((only ^ 1) & nearer_above));
    const std::uint64_t coarse_below = lower <= 40 * tenth ? 1 : 0, coarse_above = 40 * tenth + 40 <= upper ? 1 : 0;
    const std::uint64_t coarse = 10 * (tenth + coarse_above);
    const std::uint64_t take_coarse = 0 - (coarse_below ^ coarse_above);
    return {tenth == 0 ? fine : (coarse & take_coarse) | (fine & ~take_coarse), k};
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
