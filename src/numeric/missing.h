// Missing values: doubles that stand for "no number here". A missing value is a quiet NaN whose two most significant
// bytes are 0xFF 0xFF; its least significant byte tells which of the codes _ . A ... Z it is. The NaN that arithmetic
// makes (0/0, infinity less infinity) has another pattern, so a fault in a computation is never taken for a missing
// value. A missing value is tested before arithmetic, assigned and copied, but never computed with.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vek {

// The codes in the order in which missing values sort, lowest first; the place of a code is the byte that a value
// carries. The blank at place 0 stands for a value whose byte names no code.
inline constexpr std::string_view missing_codes = " _.ABCDEFGHIJKLMNOPQRSTUVWXYZ";

// wzmis(value): true when the value is missing; no other test of missing is used.
constexpr bool wzmis(double value) { return (std::bit_cast<std::uint64_t>(value) >> 48) == 0xFFFFU; }

// wzmisn(values, n): true when one of the n values is missing; n may be 0.
constexpr bool wzmisn(const double* values, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        if (wzmis(values[i])) return true;
    }
    return false;
}

// vzmissing(code): the missing value of a code: '.' plain, '_' a cell left blank, 'A' to 'Z' (a small letter does as
// well), among them 'I' infinite and 'M' minus infinite in tables. A character that is no code gives the plain one.
constexpr double vzmissing(char code) {
    const char upper = code >= 'a' && code <= 'z' ? static_cast<char>(code - 'a' + 'A') : code;
    std::size_t place = missing_codes.find(upper);
    if (place == std::string_view::npos || place == 0) place = missing_codes.find('.');
    return std::bit_cast<double>(std::uint64_t{0xFFFF000000000000U} | place);
}

// The plain missing value.
inline constexpr double missing = vzmissing('.');

// missing_code(value): the code of a missing value; a pattern that names no code reads as the plain one.
constexpr char missing_code(double value) {
    const std::size_t place = std::bit_cast<std::uint64_t>(value) & 0xFFU;
    return place > 0 && place < missing_codes.size() ? missing_codes[place] : '.';
}

}  // namespace vek
