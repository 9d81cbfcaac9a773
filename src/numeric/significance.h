// Field width and decimals that show numbers to a given count of significant digits. Decimals of 99 say that the number
// does not fit and is to be printed in a best format of the width given.
#pragma once

namespace vek {

struct SignificantFormat {
    int width = 1;
    int decimals = 0;
    double unit = 0;  // of the last digit; only from zpsig2
};

// zpsig(x, digits, maximum): width and decimals of one number.
//   domain    any x; digits 1 to 15; maximum >= 1
//   result    width 1, decimals 0 for a missing value and for 0; width = maximum, decimals = 99 when it does not fit
//   method    digits before the point by the decimal logarithm, once more after half a unit of the last digit was
//             added, since rounding may add a digit
//   accuracy  exact but within 1e-14 of a power of ten, which counts as reached
//   cost      two logarithms
//   tests     tests/numeric/test_significance.cpp
SignificantFormat zpsig(double x, int digits, int maximum);

// zpsig2(x, y, digits, maximum): one format for two numbers of any size, the smaller of them with that many digits.
//   domain    as zpsig; signs do not matter, the width has a place for one
//   result    width, decimals and the unit of the last digit, 0 when the decimals are 99
//   method    the larger count of digits before the point and the larger count of decimals; decimals are given up down
//             to the smaller count when the width does not suffice
//   accuracy  as zpsig
//   cost      up to four logarithms
//   tests     tests/numeric/test_significance.cpp
SignificantFormat zpsig2(double x, double y, int digits, int maximum);

}  // namespace vek
