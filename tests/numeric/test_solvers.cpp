// The small solvers against exact examples and against what defines their results: L L' = A, orthonormal rows with the
// same span, A G A = A.
#include "numeric/solvers.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "numeric/packed.h"

using namespace vek;

namespace {

std::size_t at(std::ptrdiff_t i) { return static_cast<std::size_t>(i); }

// B B' for B of n rows and `rank` columns of uniform elements.
std::vector<double> semidefinite(std::ptrdiff_t n, std::ptrdiff_t rank, unsigned seed) {
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> uniform(-1, 1);
    std::vector<double> b(at(n * rank)), a(at(triangle_size(n)));
    for (double& element : b) element = uniform(generator);
    for (std::ptrdiff_t i = 0; i < n; ++i)
        for (std::ptrdiff_t j = 0; j <= i; ++j) {
            long double sum = 0;
            for (std::ptrdiff_t k = 0; k < rank; ++k)
                sum += static_cast<long double>(b[at(i * rank + k)]) * b[at(j * rank + k)];
            a[at(zisub(i, j))] = static_cast<double>(sum);
        }
    return a;
}

// The largest |A G A - A|.
double generalised_inverse_error(std::ptrdiff_t n, const std::vector<double>& a, const std::vector<double>& g) {
    std::vector<long double> product(at(n * n));
    for (std::ptrdiff_t i = 0; i < n; ++i)
        for (std::ptrdiff_t j = 0; j < n; ++j)
            for (std::ptrdiff_t k = 0; k < n; ++k)
                product[at(i * n + j)] += static_cast<long double>(a[at(zisub(i, k))]) * g[at(zisub(k, j))];
    double worst = 0;
    for (std::ptrdiff_t i = 0; i < n; ++i)
        for (std::ptrdiff_t j = 0; j < n; ++j) {
            long double sum = -a[at(zisub(i, j))];
            for (std::ptrdiff_t k = 0; k < n; ++k) sum += product[at(i * n + k)] * a[at(zisub(k, j))];
            worst = std::max(worst, static_cast<double>(std::fabs(sum)));
        }
    return worst;
}

}  // namespace

TEST_CASE("zchol: a factor is wrong, or a pivot at the tolerance is taken") {
    // 4 2 2 / 2 5 3 / 2 3 6 has the factor 2 / 1 2 / 1 1 2.
    std::vector<double> a{4, 2, 5, 2, 3, 6};
    CHECK(zchol(0, a.data(), 1e-8) == 4);
    CHECK(zchol(1, a.data(), 1e-8) == 4);
    CHECK(zchol(2, a.data(), 1e-8) == 4);
    CHECK(a == std::vector<double>{2, 1, 2, 1, 1, 2});

    // The second row repeats the first: its pivot is 0, and its column stays 0 in the third row.
    std::vector<double> dependent{4, 4, 4, 2, 2, 3};
    zchol(0, dependent.data(), 0);
    CHECK(zchol(1, dependent.data(), 0) == 0);
    CHECK(zchol(2, dependent.data(), 0) == 2);
    CHECK(dependent == std::vector<double>{2, 2, 0, 1, 0, std::sqrt(2.0)});
    double edge[] = {0.5};
    CHECK(zchol(0, edge, 0.5) == 0.5);
    CHECK(edge[0] == 0);

    constexpr std::ptrdiff_t n = 30;
    const std::vector<double> original = semidefinite(n, n, 1);
    std::vector<double> factor = original;
    for (std::ptrdiff_t i = 0; i < n; ++i) CHECK(zchol(i, factor.data(), 1e-12) > 1e-12);
    double worst = 0, largest = 0;
    for (std::ptrdiff_t i = 0; i < n; ++i)
        for (std::ptrdiff_t j = 0; j <= i; ++j) {
            long double sum = -original[at(zisub(i, j))];
            for (std::ptrdiff_t k = 0; k <= j; ++k)
                sum += static_cast<long double>(factor[at(zisub(i, k))]) * factor[at(zisub(j, k))];
            worst = std::max(worst, static_cast<double>(std::fabs(sum)));
            largest = std::max(largest, std::fabs(original[at(zisub(i, j))]));
        }
    CHECK(worst <= n * 1e-16 * largest);
}

TEST_CASE("zorth: rows are not orthonormal, or a dependent row is kept") {
    double rows[] = {3, 4, 0, 6, 8, 0, 0, 5, 12, 1e-9, 0, 0};
    double norms[4];
    zorth(rows, 4, 3, norms);
    CHECK(norms[0] == 5);
    CHECK(norms[1] <= 1e-15);
    CHECK(norms[2] == doctest::Approx(std::sqrt(9 + 144)).epsilon(1e-15));  // (0 5 12) less 4 (0.6 0.8 0)
    CHECK(norms[3] <= 1e-9);
    const double third = std::sqrt(153.0);
    const double expected[] = {0.6, 0.8, 0, 0, 0, 0, -2.4 / third, 1.8 / third, 12 / third, 0, 0, 0};
    for (int k = 0; k < 12; ++k) CHECK(std::fabs(rows[k] - expected[k]) <= 1e-15);
    CHECK(rows[3] == 0);
    CHECK(rows[9] == 0);

    // Polynomials on 12 points: nearly dependent rows lose digits in proportion to the norm that is left.
    constexpr std::ptrdiff_t m = 7, n = 12;
    std::vector<double> powers(m * n), norm(m);
    for (std::ptrdiff_t i = 0; i < m; ++i)
        for (std::ptrdiff_t k = 0; k < n; ++k)
            powers[at(i * n + k)] = std::pow(static_cast<double>(k) / 11, i) / std::sqrt(n);
    zorth(powers.data(), m, n, norm.data());
    double worst = 0;
    for (std::ptrdiff_t i = 0; i < m; ++i)
        for (std::ptrdiff_t j = 0; j <= i; ++j) {
            long double product = i == j ? -1 : 0;
            for (std::ptrdiff_t k = 0; k < n; ++k)
                product += static_cast<long double>(powers[at(i * n + k)]) * powers[at(j * n + k)];
            worst = std::max(worst, static_cast<double>(std::fabs(product)));
        }
    CHECK(worst <= 1e-15 / *std::min_element(norm.begin(), norm.end()));
}

TEST_CASE("znndsol: an inverse, a solution or the count of refused pivots is wrong") {
    // 4 2 / 2 5: inverse (5 -2 / -2 4)/16; solutions for (6 7) and (0 8).
    double a[] = {4, 2, 5}, b[] = {6, 7, 0, 8}, scratch[3];
    CHECK(znndsol(2, a, scratch, 2, b, 1e-10) == 0);
    const double inverse[] = {5.0 / 16, -2.0 / 16, 4.0 / 16}, solution[] = {1, 1, -1, 2};
    for (int k = 0; k < 3; ++k) CHECK(std::fabs(a[k] - inverse[k]) <= 1e-16);
    for (int k = 0; k < 4; ++k) CHECK(std::fabs(b[k] - solution[k]) <= 1e-15);

    // The second row is twice the first: it is refused, and its row, column and solution are 0.
    double singular[] = {1, 2, 4, 1, 2, 3}, side[] = {1, 2, 5};
    CHECK(znndsol(3, singular, scratch, 1, side, 1e-10) == 1);
    CHECK(singular[1] == 0);
    CHECK(singular[2] == 0);
    CHECK(singular[4] == 0);
    CHECK(singular[0] == 1.5);
    CHECK(side[0] == -1);
    CHECK(side[1] == 0);
    CHECK(side[2] == 2);
    double at_tolerance[] = {0.25};
    CHECK(znndsol(1, at_tolerance, scratch, 0, nullptr, 0.25) == 0);
    CHECK(at_tolerance[0] == 4);

    for (const std::ptrdiff_t rank : {20, 13, 1}) {
        CAPTURE(rank);
        const std::vector<double> original = semidefinite(20, rank, 6);
        std::vector<double> g = original, work(20);
        CHECK(znndsol(20, g.data(), work.data(), 0, nullptr, 1e-9) == 20 - rank);
        CHECK(generalised_inverse_error(20, original, g) <= 1e-11);
    }
}
