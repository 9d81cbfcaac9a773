// A double as the shortest decimal text that reads back as the same double.
#pragma once

#include <cstdint>

namespace vek {

/// The decimal number digits * 10^exponent; `digits` has at most 17 digits and may end with zeros.
struct ShortestDecimal {
    std::uint64_t digits;
    int exponent;
};

/// The decimal of fewest digits in the interval of numbers that round to `value`, and of those the one nearest to it.
/// `value` is finite and above 0.
ShortestDecimal shortest_decimal(double value);

/// Room for the longest text that write_shortest makes.
constexpr int shortest_room = 48;

/// Writes a finite number, with or without exponent, whichever is shorter; without it when both have the same length,
/// and for whole numbers below 1e15. Returns the end of the text, which std::from_chars reads back as `value`.
char* write_shortest(double value, char* to);

}  // namespace vek
