// Fields of a data file as numbers: one field by itself with every form that is allowed, and a column of fields at once
// by vector instructions, which lists the fields that it leaves to the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vek {

enum class FieldKind : std::uint8_t { number, missing, text, too_large };

/// Bytes that must be readable in front of the first field of a block.
constexpr std::size_t field_slack = 64;

/// True for the bytes that do not count at the ends of a number.
constexpr bool is_blank(char c) { return c == ' ' || c == '\t'; }

/// Reads one field without its quotes. Blanks around it do not count. A number has an optional sign, digits with or
/// without `point`, and an optional exponent; it is rounded to the nearest double, ties to even, and one too small
/// becomes 0. With a point that is a comma, full stops between groups of three digits are allowed in front of one.
/// Empty, `.` and `NA` are missing, `.A` to `.Z` (small letters too) and `._` the special missing values. `value` is
/// set for a number and a missing value.
FieldKind read_number(std::string_view field, char point, double* value);

/// The fields of one column in a block of rows. Field r is text[ends[r * stride - 1] + 1, ends[r * stride]);
/// the bytes of a block begin at text[1], so that a row's first field begins like every other.
struct FieldColumn {
    const char* text = nullptr;
    const std::uint32_t* ends = nullptr;
    std::size_t stride = 0;
    int rows = 0;

    std::string_view field(int row) const {
        const std::uint32_t* end = ends + static_cast<std::size_t>(row) * stride;
        return {text + end[-1] + 1, end[0] - end[-1] - 1};
    }
};

/// Column routines. Those that read numbers handle fields of 1 to 8 characters made of digits, at most one point and a
/// minus sign in front; the rows of all other fields are listed in `rest` (room for all rows), ascending, and counted
/// in the result.
struct NumberRoutines {
    /// Values of the fields; what stands at the rows of `rest` is unspecified.
    int (*read)(const FieldColumn& column, char point, double* values, std::uint32_t* rest);
    /// Only tells which fields are such numbers; `longest` is raised to the length of the longest of them.
    int (*check)(const FieldColumn& column, char point, std::uint32_t* longest, std::uint32_t* rest);
};

/// The fastest routines that this machine runs, and the plain ones that they must agree with.
const NumberRoutines& number_routines();
const NumberRoutines& plain_number_routines();

}  // namespace vek
