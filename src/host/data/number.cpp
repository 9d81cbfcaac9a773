// Turns the characters of fields into doubles: a plain reader for every form of a number, and the short forms eight
// bytes at a time, one field in a register or four of them together.
#include "host/data/number.h"

#include <bit>
#include <charconv>
#include <cstring>
#include <limits>
#include <string>

#include "numeric/dispatch.h"
#include "numeric/missing.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vek {

namespace {

constexpr double powers[23] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                               1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

constexpr std::uint64_t each_byte(std::uint64_t byte) { return byte * 0x0101010101010101U; }

inline std::uint64_t load8(const char* at) {
    std::uint64_t word;
    std::memcpy(&word, at, sizeof word);
    return word;
}

/// True when all eight bytes are digits.
inline bool eight_digits(std::uint64_t word) {
    return (((word + each_byte(0x46)) | (word - each_byte(0x30))) & each_byte(0x80)) == 0;
}

/// The number that eight digits make, the first in the lowest byte.
inline std::uint32_t value_of_digits(std::uint64_t word) {
    word -= each_byte(0x30);
    word = word * 10 + (word >> 8);
    constexpr std::uint64_t mask = 0x000000FF000000FFU;
    return static_cast<std::uint32_t>(
        (((word & mask) * 0x000F424000000064U) + (((word >> 16) & mask) * 0x0000271000000001U)) >> 32);
}

inline bool is_digit(char c) { return static_cast<unsigned char>(c - '0') < 10; }

/// Appends the run of digits at `at` to `mantissa`, which wraps around when there are too many; returns its end.
inline const char* take_digits(const char* at, const char* end, std::uint64_t* mantissa) {
    while (end - at >= 8 && eight_digits(load8(at))) {
        *mantissa = *mantissa * 100000000U + value_of_digits(load8(at));
        at += 8;
    }
    for (; at < end && is_digit(*at); ++at) *mantissa = *mantissa * 10 + static_cast<std::uint64_t>(*at - '0');
    return at;
}

/// The code of a missing value written in two characters, or 0.
inline char special_code(std::string_view field) {
    if (field.size() != 2 || field[0] != '.') return 0;
    const char c = field[1];
    if (c == '_' || (c >= 'A' && c <= 'Z')) return c;
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : '\0';
}

/// The parts of a number, as places in its characters.
struct Parts {
    bool negative = false;
    const char* whole = nullptr;  ///< digits in front of the point, to whole_end
    const char* whole_end = nullptr;
    const char* fraction = nullptr;  ///< digits behind it, to fraction_end
    const char* fraction_end = nullptr;
    const char* exponent = nullptr;  ///< the exponent with its sign; null when there is none
    const char* end = nullptr;
};

/// Reads by the library's rules, for more digits than a register holds and for far exponents.
FieldKind read_exactly(const Parts& parts, double* value) {
    std::string plain(parts.whole, parts.whole_end);
    plain.push_back('.');
    plain.append(parts.fraction, parts.fraction_end);
    if (parts.exponent != nullptr) plain.append("e").append(parts.exponent, parts.end);
    double magnitude = 0;
    const auto outcome = std::from_chars(plain.data(), plain.data() + plain.size(), magnitude);
    if (outcome.ec == std::errc::result_out_of_range || magnitude == std::numeric_limits<double>::infinity()) {
        // Either too large or too small: the place of the first digit that is not 0 tells which.
        long long exponent = 0;
        if (parts.exponent != nullptr) {
            const char* digits = parts.exponent;
            const bool down = *digits == '-';
            if (*digits == '-' || *digits == '+') ++digits;
            for (; digits < parts.end; ++digits) {
                if (exponent < 1000000000000) exponent = exponent * 10 + (*digits - '0');
            }
            if (down) exponent = -exponent;
        }
        const std::size_t first = plain.find_first_not_of("0.");
        const auto point = static_cast<long long>(parts.whole_end - parts.whole);
        const auto place = point - static_cast<long long>(first);
        if (place + exponent > 0) return FieldKind::too_large;
        magnitude = 0;
    }
    *value = parts.negative ? -magnitude : magnitude;
    return FieldKind::number;
}

/// A number with a decimal comma may group its whole digits by full stops: takes the stops out.
bool without_groups(std::string_view field, std::string* plain) {
    const std::size_t comma = field.find(',');
    if (comma == std::string_view::npos || field.find('.') > comma) return false;
    std::size_t begin = !field.empty() && (field[0] == '-' || field[0] == '+') ? 1 : 0;
    *plain = field.substr(0, begin);
    bool first = true;
    for (;;) {
        const std::size_t stop = std::min(field.find('.', begin), comma);
        const std::size_t digits = stop - begin;
        if (first ? digits < 1 || digits > 3 : digits != 3) return false;
        plain->append(field.substr(begin, digits));
        if (stop == comma) break;
        begin = stop + 1;
        first = false;
    }
    plain->append(field.substr(comma));
    return true;
}

/// Reads a field without blanks around it that is no missing value.
FieldKind read_trimmed(const char* at, const char* end, char point, double* value) {
    Parts parts;
    parts.end = end;
    if (*at == '-' || *at == '+') parts.negative = *at++ == '-';
    std::uint64_t mantissa = 0;
    parts.whole = at;
    at = take_digits(at, end, &mantissa);
    parts.whole_end = parts.fraction = parts.fraction_end = at;
    if (at < end && *at == point) {
        parts.fraction = at + 1;
        at = take_digits(at + 1, end, &mantissa);
        parts.fraction_end = at;
    }
    const auto fraction = parts.fraction_end - parts.fraction;
    const auto digits = parts.whole_end - parts.whole + fraction;
    if (digits == 0) return FieldKind::text;
    int exponent = 0;
    if (at < end && (*at == 'e' || *at == 'E')) {
        parts.exponent = ++at;
        const bool down = at < end && *at == '-';
        if (at < end && (*at == '-' || *at == '+')) ++at;
        if (at == end) return FieldKind::text;
        for (; at < end && is_digit(*at); ++at) {
            if (exponent < 100000) exponent = exponent * 10 + (*at - '0');
        }
        if (down) exponent = -exponent;
    }
    if (at != end) return FieldKind::text;
    // Both the digits and the power are exact doubles: one multiplication or division rounds correctly.
    const long power = exponent - static_cast<long>(fraction);
    if (digits <= 19 && mantissa <= std::uint64_t{1} << 53 && power >= -22 && power <= 22) {
        auto magnitude = static_cast<double>(mantissa);
        magnitude = power < 0 ? magnitude / powers[-power] : magnitude * powers[power];
        *value = parts.negative ? -magnitude : magnitude;
        return FieldKind::number;
    }
    return read_exactly(parts, value);
}

/// Places within a field of up to eight characters, which stand in the upper bytes of a word.
struct ShortField {
    std::uint64_t digits;  ///< eight digits: the field's without its sign and point, filled up with zeros in front
    int decimals;          ///< digits behind the point
    bool negative;
    bool good;  ///< it is a number
};

inline ShortField short_field(const char* end, std::uint32_t length, char point) {
    const std::uint64_t word = load8(end - 8);
    const unsigned shift = 64 - 8 * length;
    const std::uint64_t field = word & (~std::uint64_t{0} << shift);
    std::uint64_t filled = field | (each_byte('0') & ~(~std::uint64_t{0} << shift));
    const bool negative = ((word >> shift) & 0xFF) == '-';
    filled ^= (negative ? std::uint64_t{'-' ^ '0'} : 0) << shift;
    const std::uint64_t other = filled ^ each_byte(static_cast<unsigned char>(point));
    // The lowest byte that is the point; a borrow can only mark bytes above it.
    const std::uint64_t found = (other - each_byte(0x01)) & ~other & each_byte(0x80);
    int decimals = 0;
    std::uint64_t digits = filled;
    if (found != 0) {
        const int place = std::countr_zero(found) / 8;
        decimals = 7 - place;
        const std::uint64_t below = (std::uint64_t{1} << (8 * place)) - 1;
        const std::uint64_t above = place == 7 ? 0 : ~std::uint64_t{0} << (8 * place + 8);
        digits = (filled & above) | ((filled & below) << 8) | '0';
    }
    const bool some = length > static_cast<std::uint32_t>(negative) + static_cast<std::uint32_t>(found != 0);
    return {digits, decimals, negative, some && eight_digits(digits)};
}

int read_plain(const FieldColumn& column, char point, double* values, std::uint32_t* rest) {
    int left = 0;
    const std::uint32_t* ends = column.ends;
    for (int row = 0; row < column.rows; ++row, ends += column.stride) {
        const std::uint32_t length = ends[0] - ends[-1] - 1;
        if (length - 1 < 8) {
            const ShortField field = short_field(column.text + ends[0], length, point);
            const double magnitude = value_of_digits(field.digits) / powers[field.decimals];
            values[row] = field.negative ? -magnitude : magnitude;
            if (field.good) continue;
        }
        rest[left++] = static_cast<std::uint32_t>(row);
    }
    return left;
}

int check_plain(const FieldColumn& column, char point, std::uint32_t* longest, std::uint32_t* rest) {
    int left = 0;
    const std::uint32_t* ends = column.ends;
    for (int row = 0; row < column.rows; ++row, ends += column.stride) {
        const std::uint32_t length = ends[0] - ends[-1] - 1;
        if (length - 1 < 8 && short_field(column.text + ends[0], length, point).good) {
            if (length > *longest) *longest = length;
        } else {
            rest[left++] = static_cast<std::uint32_t>(row);
        }
    }
    return left;
}

#if defined(__x86_64__)

#define VEK_AVX2 [[gnu::target("avx2,popcnt,bmi,lzcnt")]]

/// Four short fields in the four words of a register, as short_field has one.
struct FourFields {
    __m256i digits;    ///< values 0 to 9, one a byte
    __m256i negative;  ///< bytes of the sign, all ones there
    __m256i above;     ///< bytes behind the point, all ones there
    int good;          ///< bit i: field i is a number
};

VEK_AVX2 inline __m256i words(const char* a, const char* b, const char* c, const char* d) {
    return _mm256_set_epi64x(static_cast<long long>(load8(d)), static_cast<long long>(load8(c)),
                             static_cast<long long>(load8(b)), static_cast<long long>(load8(a)));
}

VEK_AVX2 inline FourFields four_fields(const char* text, const std::uint32_t* ends, std::size_t stride, __m256i points,
                                       __m256i* lengths) {
    const std::uint32_t* e0 = ends;
    const std::uint32_t* e1 = ends + stride;
    const std::uint32_t* e2 = e1 + stride;
    const std::uint32_t* e3 = e2 + stride;
    const __m256i one = _mm256_set1_epi64x(1);
    const __m256i end = _mm256_set_epi64x(e3[0], e2[0], e1[0], e0[0]);
    const __m256i before = _mm256_set_epi64x(e3[-1], e2[-1], e1[-1], e0[-1]);
    const __m256i length = _mm256_sub_epi64(_mm256_sub_epi64(end, before), one);
    *lengths = length;
    const __m256i word = words(text + e0[0] - 8, text + e1[0] - 8, text + e2[0] - 8, text + e3[0] - 8);
    // A length above 8 makes the shift count wrap to a huge one, and the field empty; it is refused by its length
    // below.
    const __m256i shift = _mm256_sub_epi64(_mm256_set1_epi64x(64), _mm256_slli_epi64(length, 3));
    const __m256i ones = _mm256_set1_epi64x(-1);
    const __m256i zeros = _mm256_set1_epi8('0');
    const __m256i first = _mm256_sllv_epi64(_mm256_set1_epi64x(0xFF), shift);
    const __m256i negative = _mm256_and_si256(_mm256_cmpeq_epi8(word, _mm256_set1_epi8('-')), first);
    const __m256i inside = _mm256_andnot_si256(negative, _mm256_sllv_epi64(ones, shift));
    const __m256i filled = _mm256_blendv_epi8(zeros, word, inside);
    const __m256i found = _mm256_cmpeq_epi8(filled, points);
    // One bit at the point's byte; one less is all ones below it, and all ones when there is no point.
    const __m256i bit = _mm256_and_si256(found, _mm256_set1_epi8(1));
    const __m256i below = _mm256_sub_epi64(bit, one);
    const __m256i above = _mm256_andnot_si256(_mm256_or_si256(below, found), ones);
    const __m256i none = _mm256_cmpeq_epi64(bit, _mm256_setzero_si256());
    const __m256i moved = _mm256_or_si256(
        _mm256_and_si256(filled, above),
        _mm256_or_si256(_mm256_slli_epi64(_mm256_and_si256(filled, below), 8), _mm256_set1_epi64x('0')));
    const __m256i digits = _mm256_sub_epi8(_mm256_blendv_epi8(moved, filled, none), zeros);
    const __m256i nines = _mm256_set1_epi8(9);
    const __m256i all_digits = _mm256_cmpeq_epi64(_mm256_max_epu8(digits, nines), nines);
    const __m256i unsigned_ = _mm256_cmpeq_epi64(negative, _mm256_setzero_si256());
    // Characters less sign less point must leave a digit: length - 2 + (no sign) + (no point) > 0, each test being -1.
    const __m256i some = _mm256_cmpgt_epi64(
        _mm256_sub_epi64(_mm256_sub_epi64(_mm256_sub_epi64(length, _mm256_set1_epi64x(2)), unsigned_), none),
        _mm256_setzero_si256());
    const __m256i fits = _mm256_cmpgt_epi64(_mm256_set1_epi64x(9), length);
    const __m256i good = _mm256_and_si256(_mm256_and_si256(all_digits, some), fits);
    return {digits, negative, above, _mm256_movemask_pd(_mm256_castsi256_pd(good))};
}

VEK_AVX2 inline int list_rest(int good, int row, std::uint32_t* rest, int left) {
    for (unsigned bad = static_cast<unsigned>(good) ^ 15U; bad != 0; bad &= bad - 1) {
        rest[left++] = static_cast<std::uint32_t>(row + std::countr_zero(bad));
    }
    return left;
}

VEK_AVX2 int read_fours(const FieldColumn& column, char point, double* values, std::uint32_t* rest) {
    const __m256i points = _mm256_set1_epi8(point);
    const __m256i tens = _mm256_set1_epi16(0x010A);
    const __m256i hundreds = _mm256_set1_epi32(0x00010064);
    const __m256i myriad = _mm256_set1_epi64x(10000);
    const __m256d shifted_one = _mm256_set1_pd(0x1p52);
    int left = 0, row = 0;
    const std::uint32_t* ends = column.ends;
    for (; row + 4 <= column.rows; row += 4, ends += 4 * column.stride) {
        __m256i lengths;
        const FourFields four = four_fields(column.text, ends, column.stride, points, &lengths);
        const __m256i pairs = _mm256_maddubs_epi16(four.digits, tens);
        const __m256i fours = _mm256_madd_epi16(pairs, hundreds);
        const __m256i value = _mm256_add_epi64(_mm256_mul_epu32(fours, myriad), _mm256_srli_epi64(fours, 32));
        const __m256d whole =
            _mm256_sub_pd(_mm256_castsi256_pd(_mm256_or_si256(value, _mm256_castpd_si256(shifted_one))), shifted_one);
        const __m256i decimals =
            _mm256_sad_epu8(_mm256_and_si256(four.above, _mm256_set1_epi8(1)), _mm256_setzero_si256());
        const __m256d scale = _mm256_i64gather_pd(powers, decimals, 8);
        const __m256d magnitude = _mm256_div_pd(whole, scale);
        const __m256i plus = _mm256_cmpeq_epi64(four.negative, _mm256_setzero_si256());
        const __m256d sign = _mm256_andnot_pd(_mm256_castsi256_pd(plus), _mm256_set1_pd(-0.0));
        _mm256_storeu_pd(values + row, _mm256_xor_pd(magnitude, sign));
        if (four.good != 15) left = list_rest(four.good, row, rest, left);
    }
    return left;
}

VEK_AVX2 int check_fours(const FieldColumn& column, char point, std::uint32_t* longest, std::uint32_t* rest) {
    const __m256i points = _mm256_set1_epi8(point);
    __m256i widest = _mm256_setzero_si256();
    int left = 0, row = 0;
    const std::uint32_t* ends = column.ends;
    for (; row + 4 <= column.rows; row += 4, ends += 4 * column.stride) {
        __m256i lengths;
        const FourFields four = four_fields(column.text, ends, column.stride, points, &lengths);
        if (four.good == 15) {
            widest = _mm256_max_epu32(widest, lengths);
        } else {
            left = list_rest(four.good, row, rest, left);
            alignas(32) std::uint64_t length[4];
            _mm256_store_si256(reinterpret_cast<__m256i*>(length), lengths);
            for (int i = 0; i < 4; ++i) {
                if ((four.good >> i & 1) != 0 && length[i] > *longest) *longest = static_cast<std::uint32_t>(length[i]);
            }
        }
    }
    alignas(32) std::uint64_t length[4];
    _mm256_store_si256(reinterpret_cast<__m256i*>(length), widest);
    for (const std::uint64_t one : length) {
        if (one > *longest) *longest = static_cast<std::uint32_t>(one);
    }
    return left;
}

// The rows behind the last whole four are for the plain routine. It is called from out here and not from the loops
// above: a vector routine that calls a plain one of the same file is compiled (by GCC 12) without clearing the upper
// halves of its registers, and until something clears them every plain floating-point instruction of the program that
// follows a vector one costs 25 ns.
template <class Plain>
int add_behind_fours(const FieldColumn& column, std::uint32_t* rest, int left, const Plain& plain) {
    const int row = column.rows & ~3;
    if (row == column.rows) return left;
    const std::uint32_t* ends = column.ends + static_cast<std::size_t>(row) * column.stride;
    const int count = plain(FieldColumn{column.text, ends, column.stride, column.rows - row}, row, rest + left);
    for (int i = 0; i < count; ++i) rest[left + i] += static_cast<std::uint32_t>(row);
    return left + count;
}

int read_vectors(const FieldColumn& column, char point, double* values, std::uint32_t* rest) {
    return add_behind_fours(column, rest, read_fours(column, point, values, rest),
                            [=](const FieldColumn& few, int row, std::uint32_t* rows) {
                                return read_plain(few, point, values + row, rows);
                            });
}

int check_vectors(const FieldColumn& column, char point, std::uint32_t* longest, std::uint32_t* rest) {
    return add_behind_fours(
        column, rest, check_fours(column, point, longest, rest),
        [=](const FieldColumn& few, int, std::uint32_t* rows) { return check_plain(few, point, longest, rows); });
}

constexpr NumberRoutines vector_routines{read_vectors, check_vectors};

#endif

constexpr NumberRoutines plain_routines{read_plain, check_plain};

}  // namespace

FieldKind read_number(std::string_view field, char point, double* value) {
    const char* at = field.data();
    const char* end = at + field.size();
    while (at < end && is_blank(*at)) ++at;
    while (at < end && is_blank(end[-1])) --end;
    if (at == end) {
        *value = missing;
        return FieldKind::missing;
    }
    if (end - at <= 2 && (*at == '.' || *at == 'N')) {
        const std::string_view word(at, static_cast<std::size_t>(end - at));
        if (word == "." || word == "NA") {
            *value = missing;
            return FieldKind::missing;
        }
        if (const char code = special_code(word)) {
            *value = vzmissing(code);
            return FieldKind::missing;
        }
    }
    const FieldKind kind = read_trimmed(at, end, point, value);
    if (kind != FieldKind::text || point != ',') return kind;
    std::string plain;
    if (!without_groups({at, static_cast<std::size_t>(end - at)}, &plain)) return kind;
    return read_trimmed(plain.data(), plain.data() + plain.size(), point, value);
}

const NumberRoutines& plain_number_routines() { return plain_routines; }

const NumberRoutines& number_routines() {
#if defined(__x86_64__)
    static const bool vectors = instruction_set_runs(InstructionSet::avx2);
    if (vectors) return vector_routines;
#endif
    return plain_routines;
}

}  // namespace vek
