// Shortest texts of numbers against the library's: the same digits for random bits, random decimals and the numbers
// where the rounding interval is lopsided or its ends belong to it.
#include <doctest/doctest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <random>
#include <string>

#include "host/data/shortest.h"

using namespace vek;

namespace {

std::string shortest(double value) {
    char text[shortest_room];
    return {text, write_shortest(value, text)};
}

std::string library_text(double value) {
    char text[400];
    // Only whole numbers are written otherwise here: without exponent below 1e15, with zeros for digits that are not
    // needed.
    const bool plain = std::abs(value) < 1e15 && value == std::trunc(value);
    const auto done = plain ? std::to_chars(text, text + sizeof text, value, std::chars_format::fixed)
                            : std::to_chars(text, text + sizeof text, value);
    return {text, done.ptr};
}

bool agrees(double value) {
    const std::string text = shortest(value);
    double back = 0;
    std::from_chars(text.data(), text.data() + text.size(), back);
    if (std::bit_cast<std::uint64_t>(back) != std::bit_cast<std::uint64_t>(value)) return false;
    const std::string expected = library_text(value);
    return text == expected || (std::abs(value) >= 9e15 && text.size() <= expected.size());
}

}  // namespace

TEST_CASE("shortest text: a digit too many, a wrong last digit or a point at the wrong place") {
    CHECK(shortest(0.1) == "0.1");
    CHECK(shortest(-0.0) == "-0");
    CHECK(shortest(5e-324) == "5e-324");
    CHECK(shortest(1.7976931348623157e308) == "1.7976931348623157e+308");
    CHECK(shortest(123456789012345) == "123456789012345");
    CHECK(shortest(9223372036854775808.0) == "9223372036854776000");
    CHECK(shortest(1e23) == "1e+23");
    int wrong = 0;
    for (int e = -1074; e < 1024; ++e) {  // powers of two and their neighbours
        const double power = std::ldexp(1.0, e);
        for (double value : {power, std::nextafter(power, 0.0), std::nextafter(power, 1e308), 3 * power}) {
            if (std::isfinite(value) && value != 0 && !agrees(value)) ++wrong;
        }
    }
    for (int e = -323; e <= 308; ++e) {
        const std::string text = "1e" + std::to_string(e);
        double power = 0;
        std::from_chars(text.data(), text.data() + text.size(), power);
        if (!agrees(power)) ++wrong;
    }
    std::mt19937_64 random(20);
    for (int i = 0; i < 200000; ++i) {
        const auto any = std::bit_cast<double>(random());
        if (std::isfinite(any) && !agrees(any)) ++wrong;
        const auto decimals = static_cast<int>(random() % 18);
        const double decimal =
            static_cast<double>(static_cast<std::int64_t>(random() >> (random() % 60))) / std::pow(10.0, decimals);
        if (!agrees(decimal) || !agrees(-decimal)) ++wrong;
    }
    CHECK(wrong == 0);
}
