// Eigenproblems: values against closed forms and 50 digits, residuals and orthogonality over spectra that are hard for
// one step or another, the rules for signs, zeros and bases, and the way out when QL fails.
#include "numeric/eigen.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "numeric/packed.h"
#include "support/truth_table.h"

using namespace vek;
using test::TruthCheck;
using test::TruthRow;

namespace {

constexpr double unit = 0x1p-53;

std::size_t at(std::ptrdiff_t i) { return static_cast<std::size_t>(i); }

std::vector<double> packed_matrix(int n, const std::function<double(int, int)>& element) {
    std::vector<double> a(at(triangle_size(n)));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j) a[at(zisub(i, j))] = element(i, j);
    return a;
}

// A dense matrix with the given spectrum: three Householder similarity transformations in long double.
std::vector<double> matrix_with_spectrum(const std::vector<double>& spectrum, unsigned seed) {
    const std::size_t n = spectrum.size();
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> uniform(-1, 1);
    std::vector<std::vector<long double>> a(n, std::vector<long double>(n));
    for (std::size_t i = 0; i < n; ++i) a[i][i] = spectrum[i];
    for (int turn = 0; turn < 3; ++turn) {
        std::vector<long double> u(n), p(n);
        long double h = 0, f = 0;
        for (long double& element : u) {
            element = uniform(generator);
            h += element * element;
        }
        for (std::size_t i = 0; i < n; ++i) {
            for (std::size_t j = 0; j < n; ++j) p[i] += a[i][j] * u[j];
            p[i] *= 2 / h;
            f += p[i] * u[i];
        }
        for (std::size_t i = 0; i < n; ++i) p[i] -= u[i] * f / h;
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j) a[i][j] -= u[i] * p[j] + p[i] * u[j];
    }
    return packed_matrix(static_cast<int>(n), [&](int i, int j) { return static_cast<double>(a[at(i)][at(j)]); });
}

struct Solution {
    int status;
    std::vector<double> values, vectors;
};

Solution solve(const std::vector<double>& a, int n, int m, int iterations = eigen_iterations) {
    Solution s{0, std::vector<double>(at(n)), std::vector<double>(at(std::ptrdiff_t{m} * n))};
    std::vector<double> copy = a, work(at(8 * std::ptrdiff_t{n}));
    s.status = zeigen2(n, copy.data(), s.values.data(), m, s.vectors.data(), work.data(), iterations);
    return s;
}

double largest_value(const Solution& s) {
    double largest = 0;
    for (double value : s.values) largest = std::max(largest, std::fabs(value));
    return largest;
}

// The largest |A v - value v|, relative to the largest value.
double residual(const std::vector<double>& a, int n, const Solution& s) {
    double worst = 0;
    for (std::size_t r = 0; r * at(n) < s.vectors.size(); ++r) {
        const double* v = &s.vectors[r * at(n)];
        long double square = 0;
        for (int i = 0; i < n; ++i) {
            long double difference = -static_cast<long double>(s.values[r]) * v[i];
            for (int j = 0; j < n; ++j) difference += static_cast<long double>(a[at(zisub(i, j))]) * v[j];
            square += difference * difference;
        }
        worst = std::max(worst, static_cast<double>(std::sqrt(square)));
    }
    const double norm = largest_value(s);
    return norm > 0 ? worst / norm : worst;
}

// The largest |V V' - I|.
double orthogonality(int n, const Solution& s) {
    double worst = 0;
    const std::size_t m = s.vectors.size() / at(n);
    for (std::size_t r = 0; r < m; ++r)
        for (std::size_t c = 0; c <= r; ++c) {
            long double product = r == c ? -1 : 0;
            for (std::size_t k = 0; k < at(n); ++k)
                product += static_cast<long double>(s.vectors[r * at(n) + k]) * s.vectors[c * at(n) + k];
            worst = std::max(worst, static_cast<double>(std::fabs(product)));
        }
    return worst;
}

double distance(const std::vector<double>& x, const std::vector<double>& y) {
    double worst = 0;
    for (std::size_t k = 0; k < x.size(); ++k) worst = std::max(worst, std::fabs(x[k] - y[k]));
    return worst;
}

std::vector<double> named_matrix(const std::string& name, int n) {
    static const int rosser[8][8] = {{611, 196, -192, 407, -8, -52, -49, 29}, {196, 899, 113, -192, -71, -43, -8, -44},
                                     {-192, 113, 899, 196, 61, 49, 8, 52},    {407, -192, 196, 611, 8, 44, 59, -23},
                                     {-8, -71, 61, 8, 411, -599, 208, 208},   {-52, -43, 49, 44, -599, 411, 208, 208},
                                     {-49, -8, 8, 59, 208, 208, 99, -911},    {29, -44, 52, -23, 208, 208, -911, 99}};
    if (name == "rosser") return packed_matrix(n, [](int i, int j) { return rosser[i][j]; });
    if (name == "hilbert") return packed_matrix(n, [](int i, int j) { return 1.0 / (i + j + 1); });
    if (name == "wilkinson")
        return packed_matrix(n, [n](int i, int j) {
            return i == j ? std::abs(i - (n - 1) / 2) : i == j + 1 ? 1.0 : 0.0;
        });
    if (name == "moler") return packed_matrix(n, [](int i, int j) { return i == j ? i + 1.0 : j - 1.0; });
    if (name == "graded") return packed_matrix(n, [](int i, int j) { return std::ldexp(i == j ? 1.0 : 0.25, -2 * i); });
    REQUIRE(name == "graded_up");
    return packed_matrix(n, [n](int i, int j) { return std::ldexp(i == j ? 1.0 : 0.25, -2 * (n - 1 - j)); });
}

}  // namespace

TEST_CASE("zeigen2: a value differs from its closed form or its fifty digits") {
    test::run_truth_table("numeric/zeigen2", [](const TruthRow& row, TruthCheck& check) {
        const int n = row.integer("n");
        const std::vector<double> expected = row.numbers("values"), a = named_matrix(row.text("matrix"), n);
        REQUIRE(expected.size() == at(n));
        for (int iterations : {eigen_iterations, 0}) {  // by QL, then by bisection
            const Solution s = solve(a, n, n, iterations);
            check.error("values", distance(s.values, expected) / largest_value(s), row.tol());
            check.error("residual", residual(a, n, s), 5e-14 * n);
            check.error("orthogonality", orthogonality(n, s), 5e-14 * n);
        }
    });
}

TEST_CASE("zeigen2: a hard spectrum costs values, residuals or orthogonality") {
    struct Spectrum {
        std::string name;
        std::function<double(int, int)> value;  // of place i among n
        double per_order;                       // bound of the residual: so much times n, in units of 2^-53 ...
        double width;                           // ... and the width of a group of close values
        double angle;                           // bound of a scalar product: so much times n
    };
    const Spectrum spectra[] = {
        {"evenly spaced", [](int i, int) { return i + 1.0; }, 20, 0, 5e-14},
        {"both signs", [](int i, int n) { return i - n / 2.0; }, 20, 0, 5e-14},
        {"sixteen powers of ten", [](int i, int n) { return std::pow(10.0, -15.0 * i / n); }, 450, 0, 6e-14},
        {"three values repeated", [](int i, int) { return 1.0 + i % 3; }, 450, 0, 6e-14},
        {"plus and minus one", [](int i, int) { return i % 2 ? 1.0 : -1.0; }, 450, 0, 6e-14},
        {"rank one", [](int i, int) { return i == 0 ? 1.0 : 0.0; }, 20, 0, 5e-14},
        {"identity", [](int, int) { return 1.0; }, 20, 0, 5e-14},
        {"clusters of width 1e-10", [](int i, int n) { return 1.0 + i % 4 + 1e-10 * i / n; }, 450, 1e-10, 4e-13},
        {"clusters of width 1e-6", [](int i, int n) { return 1.0 + i % 2 + 1e-6 * i / n; }, 450, 0, 4e-13},
        {"a cluster at rounding", [](int i, int) { return 1.0 + 1e-13 * (i % 5) + 1e-3 * (i % 2); }, 450, 4e-13,
         4e-13}};
    for (const Spectrum& spectrum : spectra)
        for (int n : {1, 2, 3, 5, 12, 50})
            for (int iterations : {eigen_iterations, 0}) {
                CAPTURE(spectrum.name);
                CAPTURE(n);
                CAPTURE(iterations);
                std::vector<double> values(at(n));
                for (int i = 0; i < n; ++i) values[at(i)] = spectrum.value(i, n);
                const std::vector<double> a = matrix_with_spectrum(values, 11);
                std::sort(values.rbegin(), values.rend());
                const Solution s = solve(a, n, n, iterations);
                CHECK(s.status > -30);
                CHECK(s.status <= 0);
                CHECK(distance(s.values, values) <= 4 * n * unit * largest_value(s));
                CHECK(residual(a, n, s) <= spectrum.per_order * n * unit + spectrum.width);
                CHECK(orthogonality(n, s) <= spectrum.angle * n);
            }
}

TEST_CASE("zeigen2: order 300 loses accuracy, or the natural failure of QL is not rescued") {
    constexpr int n = 300;
    // -2 on the diagonal beside 1: values -2 + 2 cos(k pi / (n + 1)).
    const std::vector<double> difference = packed_matrix(n, [](int i, int j) {
        return i == j ? -2.0 : i == j + 1 ? 1.0 : 0.0;
    });
    std::vector<double> expected(n);
    for (int k = 1; k <= n; ++k) expected[at(k - 1)] = -4 * std::pow(std::sin(k * M_PI / (2 * (n + 1))), 2);
    Solution s = solve(difference, n, n);
    CHECK(s.status == 0);
    CHECK(distance(s.values, expected) <= 2e-15 * 4);
    CHECK(residual(difference, n, s) <= 20 * n * unit);
    CHECK(orthogonality(n, s) <= 5e-14 * n);
    // Values over fifteen powers of ten, the small ones first in the tridiagonal form: fifty steps are not enough.
    std::vector<double> values(n);
    for (int i = 0; i < n; ++i) values[at(i)] = std::pow(10.0, -15.0 * i / (n - 1));
    bool rescued = false;
    for (unsigned seed = 5; seed < 9; ++seed) {
        const std::vector<double> graded = matrix_with_spectrum(values, seed);
        s = solve(graded, n, 3);
        rescued = rescued || s.status == -1;
        CHECK(s.status >= -1);
        CHECK(distance(s.values, values) <= 4 * n * unit);
        CHECK(residual(graded, n, s) <= 5e-14 * n);
    }
    CHECK(rescued);
}

TEST_CASE("zeigen2: a failed QL is not rescued by bisection") {
    const std::vector<double> a = matrix_with_spectrum({9, 7, 7, 4, 1, 0.5, -3}, 2);
    const Solution by_ql = solve(a, 7, 7);
    CHECK(by_ql.status == 0);
    for (int iterations : {0, 1}) {
        const Solution rescued = solve(a, 7, 7, iterations);
        CHECK(rescued.status == -1);
        CHECK(distance(by_ql.values, rescued.values) <= 4e-15);
        // The basis of the double value depends on its plane only, and every sign is fixed: the vectors agree too.
        CHECK(distance(by_ql.vectors, rescued.vectors) <= 1e-13);
    }
}

TEST_CASE("zeigen2: arguments are not refused, or a limit case goes wrong") {
    double a[3] = {2, 0, 3}, values[2], vectors[4], work[16];
    CHECK(zeigen2(0, a, values, 0, vectors, work) == 99);
    CHECK(zeigen2(-1, a, values, 0, vectors, work) == 99);
    CHECK(zeigen2(2, a, values, -1, vectors, work) == 99);
    CHECK(zeigen2(2, a, values, 3, vectors, work) == 99);
    CHECK(zeigen2(2, nullptr, values, 2, vectors, work) == 99);
    CHECK(zeigen2(2, a, nullptr, 2, vectors, work) == 99);
    CHECK(zeigen2(2, a, values, 2, nullptr, work) == 99);
    CHECK(zeigen2(2, a, values, 2, vectors, nullptr) == 99);
    CHECK(zeigen2(2, a, values, 0, nullptr, work) == 0);
    CHECK(values[0] == 3);
    CHECK(values[1] == 2);

    Solution s = solve({-4}, 1, 1);
    CHECK(s.status == 0);
    CHECK(s.values == std::vector<double>{-4});
    CHECK(s.vectors == std::vector<double>{1});

    for (int n : {2, 7, 60}) {
        s = solve(std::vector<double>(at(triangle_size(n))), n, n);
        CHECK(s.status == 0);
        CHECK(s.values == std::vector<double>(at(n)));
        CHECK(std::count(s.vectors.begin(), s.vectors.end(), 1.0) == n);
        CHECK(orthogonality(n, s) == 0);
    }

    const double diagonal[] = {5, -1, 8, 5};
    s = solve(packed_matrix(4, [&](int i, int j) { return i == j ? diagonal[i] : 0.0; }), 4, 4);
    CHECK(s.status == 0);
    CHECK(s.values == std::vector<double>{8, 5, 5, -1});
    CHECK(s.vectors == std::vector<double>{0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 0});

    // Vectors of the largest values only are the first of all.
    const std::vector<double> full = matrix_with_spectrum({6, 5, 3, 2, 1}, 4);
    const Solution all = solve(full, 5, 5), two = solve(full, 5, 2), one = solve(full, 5, 1);
    CHECK(two.values == all.values);
    CHECK(std::equal(two.vectors.begin(), two.vectors.end(), all.vectors.begin()));
    CHECK(std::equal(one.vectors.begin(), one.vectors.end(), all.vectors.begin()));

    for (double bad : {std::nan(""), std::numeric_limits<double>::infinity()})
        for (int n : {2, 6, 30}) {
            std::vector<double> spoilt(at(triangle_size(n)), 1.0);
            spoilt[at(zisub(n - 1, 0))] = bad;
            CHECK(solve(spoilt, n, n).status == 98);
        }
}

TEST_CASE("zbisect: the wrong part of the spectrum, or a tag of another block") {
    // Two blocks: rows 0 to 2 with values 2 and 2 +- sqrt 2, and rows 3, 4 with values 1 and 3.
    const int n = 5;
    const double matrix[3 * n] = {2, 2, 2, 2, 2, 0, 1, 1, 0, 1, 0, 1, 1, 0, 1};
    const double root = std::sqrt(2.0);
    struct Case {
        int m;
        std::vector<double> values;
        std::vector<int> tags;
    };
    const Case cases[] = {{5, {2 + root, 3, 2, 1, 2 - root}, {1, 2, 1, 2, 1}},
                          {2, {2 + root, 3}, {1, 2}},
                          {1, {2 + root}, {1}},
                          {-2, {2 - root, 1}, {1, 2}},
                          {-4, {2 - root, 1, 2, 3}, {1, 2, 1, 2}}};
    for (const Case& c : cases) {
        CAPTURE(c.m);
        double tridiagonal[3 * n], values[n] = {}, scratch[2 * n];
        int tags[n] = {};
        std::copy_n(matrix, 3 * n, tridiagonal);
        REQUIRE(zbisect(n, c.m, 0, tridiagonal, values, tags, scratch) == static_cast<int>(c.values.size()));
        for (std::size_t k = 0; k < c.values.size(); ++k) {
            CHECK(std::fabs(values[k] - c.values[k]) <= 2e-15);
            CHECK(tags[k] == c.tags[k]);
        }
        CHECK(tridiagonal[2 * n] == (c.m > 0 ? 2 : 0));
    }
    // A tolerance stops early, but not earlier than it says.
    double tridiagonal[3 * n], values[n], scratch[2 * n];
    int tags[n];
    std::copy_n(matrix, 3 * n, tridiagonal);
    REQUIRE(zbisect(n, 1, 1e-3, tridiagonal, values, tags, scratch) == 1);
    CHECK(std::fabs(values[0] - (2 + root)) <= 1e-3);
    CHECK(std::fabs(values[0] - (2 + root)) > 1e-9);

    // QL finds the same, and its tags name the same blocks.
    std::copy_n(matrix, 3 * n, tridiagonal);
    REQUIRE(zimtqlv(n, tridiagonal, values, tags, scratch) == 0);
    for (std::size_t k = 0; k < 5; ++k) {
        CHECK(std::fabs(values[k] - cases[0].values[k]) <= 2e-15);
        CHECK(tags[k] == cases[0].tags[k]);
    }
    CHECK(zimtqlv(n, tridiagonal, values, tags, scratch, 0) == -1);
}

TEST_CASE("sturm, cut, gersch: bounds or counts of a block are off") {
    const double d[] = {9, 2, 2, 2}, e[] = {0, 0, 1, 1}, e2[] = {0, 0, 1, 1};
    TridiagonalBlock block{d, e, e2, 1, 3, 4};  // values 2 - sqrt 2, 2, 2 + sqrt 2, after one row of another block
    double low, high;
    gersch(block, low, high);
    CHECK(low == 0);
    CHECK(high == 4);
    CHECK(sturm(block, 0.5) == 1);
    CHECK(sturm(block, 0.6) == 2);
    CHECK(sturm(block, 3.4) == 3);
    CHECK(sturm(block, 3.5) == 4);
    const double point = cut(block, 3, 0, 4);
    CHECK(block.count == 3);
    CHECK(point > 2);
    CHECK(point < 2 + std::sqrt(2.0));
    CHECK(cut(block, -1, 0.25, 4) == 0.25);
    CHECK(cut(block, 7, 3, 4) <= 4);  // nothing to find: the interval shrinks to its end
    CHECK(block.count == 4);
}

TEST_CASE("zeiggrp, modqrd, zeigref: the rules for bases, zeros and signs are not kept") {
    // Two orthonormal rows, turned in their plane by any angle, give the same basis with a zero below the pivot.
    const double first[] = {0.5, 0.5, 0.5, 0.5}, second[] = {0.1, 0.7, -0.1, -0.7};
    std::vector<double> basis;
    for (double angle : {0.0, 0.3, 2.0, 4.5}) {
        std::vector<double> rows(8);
        for (std::size_t k = 0; k < 4; ++k) {
            rows[k] = std::cos(angle) * first[k] + std::sin(angle) * second[k];
            rows[4 + k] = -std::sin(angle) * first[k] + std::cos(angle) * second[k];
        }
        int pivots[4];
        double current[4], reference[4];
        CHECK(modqrd(2, 4, pivots, 1e-300, rows.data(), current, reference) == 0);
        CHECK(rows[4 + at(pivots[0])] == 0);
        CHECK(orthogonality(4, Solution{0, {}, rows}) <= 1e-15);
        zeigref(4, 2, rows.data());
        if (basis.empty()) basis = rows;
        CHECK(distance(basis, rows) <= 1e-15);
    }
    // Rank loss: two equal rows.
    double equal[] = {0.6, 0.8, 0.6, 0.8};
    int pivots[2];
    double current[2], reference[2], scratch[6];
    const double tridiagonal[] = {1, 1, 0, 0, 0, 0}, values[] = {1, 1}, apart[] = {1, 0.5};
    CHECK(zeiggrp(2, 2, tridiagonal, apart, equal, scratch) == 0);
    CHECK(equal[2] == 0.6);
    double copy[] = {0.6, 0.8, 0.6, 0.8};
    // The reflection leaves rounding in the second row, so the rank is asked for with a tolerance above it.
    CHECK(modqrd(2, 2, pivots, 1e-14, copy, current, reference) == 1);
    double zeros[] = {0, 0, 0, 0};
    CHECK(zeiggrp(2, 2, tridiagonal, values, zeros, scratch) == 1);

    double vectors[] = {-0.6,
                        -0.8,
                        1e-15,  // sum below 0
                        0.5,
                        -0.70710678118654752,
                        0.20710678118654752,  // sum nearly 0: the largest element decides
                        -0.70710678118654752,
                        0.70710678118654752,
                        0,  // ... the first of two that are as large
                        0.6,
                        -0.3,
                        0.1};
    zeigref(3, 4, vectors);
    const double expected[] = {
        0.6, 0.8, 0,    -0.5, 0.70710678118654752, -0.20710678118654752, 0.70710678118654752, -0.70710678118654752,
        0,   0.6, -0.3, 0.1};
    for (int k = 0; k < 12; ++k) CHECK(vectors[k] == expected[k]);
}
