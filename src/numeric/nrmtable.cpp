// Makes the rows of nrm at compile time: tail and density at each mid-point, then the Taylor series of the tail to the
// sixth power with its last two terms spread over the lower powers by Chebyshev polynomials.
#include "numeric/nrmtable.h"

namespace vek {

namespace {

// e^-y for 0 <= y < 32: the whole part by powers of e, the rest by the series.
constexpr double exponential_of_minus(double y) {
    constexpr double powers[] = {0.36787944117144233, 0.1353352832366127, 0.018315638888734179, 0.00033546262790251185,
                                 1.1253517471925912e-07};
    const int whole = static_cast<int>(y);
    const double rest = y - whole;
    double term = 1, sum = 1;
    for (int k = 1; k < 20; ++k) {
        term *= -rest / k;
        sum += term;
    }
    for (int bit = 0; bit < 5; ++bit) {
        if ((whole >> bit) & 1) sum *= powers[bit];
    }
    return sum;
}

// P(Z < -c) given the density at c: 1/2 less the odd series near 0, Laplace's continued fraction farther out.
constexpr double lower_tail(double c, double density) {
    if (c < 2) {
        double term = c, sum = c;
        for (int k = 3; term > 1e-18 * sum; k += 2) {
            term *= c * c / k;
            sum += term;
        }
        return 0.5 - density * sum;
    }
    double fraction = c;
    for (int k = c < 3 ? 120 : 60; k > 0; --k) fraction = c + k / fraction;
    return density / fraction;
}

constexpr std::array<double, 5> quartic(double c) {
    constexpr double h = 1.0 / 128;  // the half-width of an interval
    const double density = 0.3989422804014327 * exponential_of_minus(0.5 * c * c);
    // Derivatives of the density by Hermite polynomials, over the factorials of the Taylor series.
    const double c2 = c * c;
    const double t5 = density * ((c2 - 6) * c2 + 3) / 120;
    const double t6 = density * ((c2 - 10) * c2 + 15) * c / 720;
    const double h2 = h * h;
    return {lower_tail(c, density) + t6 * h2 * h2 * h2 / 32, density - t5 * h2 * h2 * 5 / 16,
            density * c / 2 - t6 * h2 * h2 * 9 / 16, density * (c2 - 1) / 6 + t5 * h2 * 5 / 4,
            density * (c2 - 3) * c / 24 + t6 * h2 * 3 / 2};
}

constexpr std::array<std::array<double, 5>, nrm_rows> make_rows() {
    std::array<std::array<double, 5>, nrm_rows> rows{};
    for (int i = 0; i < nrm_rows; ++i) rows[static_cast<unsigned>(i)] = quartic((2 * i + 1) / 128.0);
    return rows;
}

}  // namespace

constexpr std::array<std::array<double, 5>, nrm_rows> nrm = make_rows();

}  // namespace vek
