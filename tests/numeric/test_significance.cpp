// Widths and decimals for a count of significant digits, worked out by hand.
#include <doctest/doctest.h>

#include "numeric/missing.h"
#include "numeric/significance.h"

using namespace vek;

TEST_CASE("zpsig: digits before the point, rounding that adds a digit, numbers that do not fit") {
    struct Row {
        double x;
        int digits, maximum, width, decimals;
    };
    const Row rows[] = {
        {0, 4, 10, 1, 0},       {missing, 4, 10, 1, 0},  {3.14159, 4, 10, 5, 3}, {-3.14159, 4, 10, 6, 3},
        {12345.6, 4, 10, 5, 0}, {0.001234, 4, 10, 7, 6}, {999.96, 4, 10, 4, 0},  {9.9996, 4, 10, 5, 2},
        {1000, 4, 10, 4, 0},    {1e12, 4, 10, 10, 99},   {1e-9, 4, 8, 8, 99},
    };
    for (const Row& r : rows) {
        CAPTURE(r.x);
        const SignificantFormat f = zpsig(r.x, r.digits, r.maximum);
        CHECK(f.width == r.width);
        CHECK(f.decimals == r.decimals);
    }
}

TEST_CASE("zpsig2: the smaller number keeps its digits until the width is used up") {
    const SignificantFormat plain = zpsig2(5.526, 0.2788, 4, 10);
    CHECK(plain.decimals == 4);
    CHECK(plain.width == 7);  // sign, 1, point, 4
    CHECK(plain.unit == doctest::Approx(0.1));
    const SignificantFormat cut = zpsig2(123456.7, 0.012345, 4, 10);
    CHECK(cut.width == 10);
    CHECK(cut.decimals == 2);
    const SignificantFormat none = zpsig2(1e12, 0.5, 4, 10);
    CHECK(none.decimals == 99);
    CHECK(none.unit == 0);
    CHECK(zpsig2(missing, 0, 4, 10).decimals == 0);
}
