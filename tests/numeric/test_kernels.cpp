// The vector kernels against their stated order of summation, digit by digit, in every version that this machine runs,
// and the small matrix routines against dense elimination in long double.
#include <doctest/doctest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "numeric/kernels.h"
#include "numeric/packed.h"

using namespace vek;

namespace {

std::vector<double> random_vector(std::ptrdiff_t n, unsigned seed) {
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> uniform(-1, 1);
    std::vector<double> x(static_cast<std::size_t>(n));
    for (double& value : x) value = uniform(generator);
    return x;
}

// Eight partial sums, joined in the stated order.
template <class Term>
double stated_sum(std::ptrdiff_t n, Term term) {
    double s[8] = {};
    for (std::ptrdiff_t i = 0; i < n; ++i) s[i % 8] += term(static_cast<std::size_t>(i));
    return ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
}

const InstructionSet every_set[] = {InstructionSet::portable, InstructionSet::avx2, InstructionSet::avx512};

// A packed symmetric positive definite matrix: B B' + I from uniform elements.
std::vector<double> definite_matrix(std::ptrdiff_t n, unsigned seed) {
    const std::vector<double> b = random_vector(n * n, seed);
    std::vector<double> a(static_cast<std::size_t>(triangle_size(n)));
    for (std::ptrdiff_t i = 0; i < n; ++i)
        for (std::ptrdiff_t j = 0; j <= i; ++j)
            a[static_cast<std::size_t>(zisub(i, j))] =
                zinner(&b[static_cast<std::size_t>(i * n)], &b[static_cast<std::size_t>(j * n)], n) + (i == j ? 1 : 0);
    return a;
}

using Dense = std::vector<std::vector<long double>>;

Dense unpack(const std::vector<double>& a, std::ptrdiff_t n) {
    Dense dense(static_cast<std::size_t>(n), std::vector<long double>(static_cast<std::size_t>(n)));
    for (std::ptrdiff_t i = 0; i < n; ++i)
        for (std::ptrdiff_t j = 0; j < n; ++j)
            dense[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] = a[static_cast<std::size_t>(zisub(i, j))];
    return dense;
}

// Gauss-Jordan elimination of a full matrix on the listed pivots, textbook form:
// afterwards the pivot block holds the inverse, its rows A11^-1 A12, its columns -A21 A11^-1, the rest A22 - A21 A11^-1
// A12.
void eliminate(Dense& a, const std::vector<std::size_t>& pivots) {
    const std::size_t n = a.size();
    for (std::size_t k : pivots) {
        const long double d = a[k][k];
        for (std::size_t i = 0; i < n; ++i) {
            if (i == k) continue;
            const long double factor = a[i][k] / d;
            for (std::size_t j = 0; j < n; ++j)
                if (j != k) a[i][j] -= factor * a[k][j];
            a[i][k] = -factor;
        }
        for (std::size_t j = 0; j < n; ++j)
            if (j != k) a[k][j] /= d;
        a[k][k] = 1 / d;
    }
}

}  // namespace

TEST_CASE("kernels: the digits of a sum depend on the version of the loops") {
    for (InstructionSet set : every_set) {
        const VectorLoops* loops = vector_loops(set);
        if (loops == nullptr) continue;
        CAPTURE(instruction_set_name(set));
        for (std::ptrdiff_t n : {0, 1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 64, 100, 1003}) {
            CAPTURE(n);
            // One element of offset: nothing may count on alignment.
            const std::vector<double> xs = random_vector(n + 1, 1), ys = random_vector(n + 1, 2);
            const double *x = xs.data() + 1, *y = ys.data() + 1;
            CHECK(loops->inner(x, y, n) == stated_sum(n, [&](std::size_t i) { return x[i] * y[i]; }));
            CHECK(loops->sum(x, n) == stated_sum(n, [&](std::size_t i) { return x[i]; }));
            CHECK(loops->absolute_sum(x, n) == stated_sum(n, [&](std::size_t i) { return std::fabs(x[i]); }));
        }
    }
}

TEST_CASE("kernels: an element-wise loop misses its remainder, fuses, or fails on top of its argument") {
    constexpr double a = 0.1;
    for (InstructionSet set : every_set) {
        const VectorLoops* loops = vector_loops(set);
        if (loops == nullptr) continue;
        CAPTURE(instruction_set_name(set));
        for (std::ptrdiff_t n : {0, 1, 3, 4, 5, 8, 11, 16, 29, 64}) {
            CAPTURE(n);
            const std::vector<double> x = random_vector(n + 1, 3), y = random_vector(n + 1, 4);
            const auto check = [&](const std::vector<double>& z, auto expected) {
                bool same = true;
                for (std::ptrdiff_t i = 0; i < n; ++i) {
                    const auto k = static_cast<std::size_t>(i);
                    same = same && z[k] == expected(x[k], y[k]);
                }
                CHECK(same);
                CHECK(z.back() == y.back());  // the element behind the vector stays
            };
            const auto axpy = [&](double u, double v) {
                volatile double product = a * u;
                return v + product;
            };
            std::vector<double> z = y;
            loops->axpy(z.data(), z.data(), x.data(), n, a);
            check(z, axpy);
            z = y;
            loops->axpy(z.data(), y.data(), x.data(), n, a);
            check(z, axpy);
            loops->scale(z.data(), x.data(), n, a);
            check(z, [](double u, double) { return a * u; });
            loops->shift(z.data(), x.data(), n, a);
            check(z, [](double u, double) { return u + a; });
            z = y;
            loops->multiply(z.data(), z.data(), x.data(), n);
            check(z, [](double u, double v) { return u * v; });
            z = y;
            loops->add(z.data(), z.data(), x.data(), n);
            check(z, [](double u, double v) { return u + v; });
        }
    }
}

TEST_CASE("kernels: the named vector routines have an argument in the wrong place") {
    const double x[] = {1, -2, 3}, y[] = {10, 20, 30};
    double z[3];
    const auto is = [&](double a, double b, double c) { return z[0] == a && z[1] == b && z[2] == c; };
    zvaxpy(z, y, x, 3, 2);
    CHECK(is(12, 16, 36));
    zvxay11(z, x, 3, -1);
    CHECK(is(11, 18, 33));
    zvscl11(z, x, 3, 3);
    CHECK(is(3, -6, 9));
    zvsca11(z, x, 3, 0.5);
    CHECK(is(1.5, -1.5, 3.5));
    zvme111(z, x, y, 3);
    CHECK(is(10, -40, 90));
    zvxy111(z, x, y, 3);
    CHECK(is(11, 18, 33));
    CHECK(zvsum(x, 3) == 2);
    CHECK(zvasum(x, 3) == 6);
    CHECK(zvmx(x, 3) == 3);
    CHECK(zvamx(x, 3) == 3);
    const double below[] = {-3, -1, -2};
    CHECK(zvmx(below, 3) == -1);
    CHECK(zvamx(below, 3) == 3);
    CHECK(zvmx(x, 0) == 0);
    CHECK(zvamx(x, 0) == 0);
    CHECK(zvsum(x, -1) == 0);

    double target[] = {1, 2, 3, 4};
    const int index[] = {3, 0, 3};
    zvxayp1(target, index, x, 3, 10.0);
    CHECK(target[0] == -19);
    CHECK(target[3] == 44);
    const short from[] = {2, 1, 0}, to[] = {0, 1, 2};
    zvxypp1(z, to, y, from, x, 3);
    CHECK(is(31, 18, 13));
}

TEST_CASE("kernels: a packed product takes an element from the wrong place") {
    // 4 x 4, element (i, j) = 10 (i + 1) + j + 1 for i >= j.
    const double a[] = {11, 21, 22, 31, 32, 33, 41, 42, 43, 44};
    const double y[] = {1, 2, 3, 4};
    CHECK(zvdots1(a, 0, y, 4) == 11 + 42 + 93 + 164);
    CHECK(zvdots1(a + 1, 1, y, 4) == 21 + 44 + 96 + 168);
    CHECK(zvdots1(a + 6, 3, y, 4) == 41 + 84 + 129 + 176);

    const double x[] = {1, 0, -1, 2, 0, 1, 1, 1};
    double form[3], work[4];
    zqform(a, 4, x, 2, form, work, 0);
    CHECK(form[0] == 11 + 33 + 4 * 44 - 2 * 31 + 4 * 41 - 4 * 43);
    CHECK(form[1] == 21 - 32 + 2 * 42 + 31 - 33 + 2 * 43 + 41 - 43 + 2 * 44);
    CHECK(form[2] == 22 + 33 + 44 + 2 * (32 + 42 + 43));
    double first;
    zqform(a, 4, x, 1, &first, nullptr, 0);
    CHECK(first == form[0]);

    double triangle[6] = {1, 1, 1, 1, 1, 1};
    const double v[] = {2, 3, 5};
    zscp(v, 3, 0.5, triangle);
    CHECK(triangle[0] == 3);
    CHECK(triangle[1] == 4);
    CHECK(triangle[2] == 5.5);
    CHECK(triangle[3] == 6);
    CHECK(triangle[5] == 13.5);

    const double left[] = {1, 2, 3, 4, 5, 6}, right[] = {1, 0, 2, 1, -1, 1};
    double product[4];
    zmmult(product, left, right, 2, 3, 2);
    CHECK(product[0] == 2);
    CHECK(product[1] == 5);
    CHECK(product[2] == 8);
    CHECK(product[3] == 11);

    const double upper[] = {1, 2, 3, 4, 5, 6};  // rows (1 2 3) (4 5) (6)
    double packed[6];
    zcmprss(upper, packed, 3);
    CHECK(packed[zisub(0, 0)] == 1);
    CHECK(packed[zisub(0, 2)] == 3);
    CHECK(packed[zisub(2, 1)] == 5);
    CHECK(packed[5] == 6);
    CHECK(zisub(70000, 70001) == 70001LL * 70002 / 2 + 70000);
}

TEST_CASE("zsweep: a sweep leaves the wrong inverse, Schur complement or sign, whatever the order of the pivots") {
    constexpr std::ptrdiff_t n = 9;
    const std::vector<double> original = definite_matrix(n, 5);
    for (const std::vector<std::size_t>& pivots :
         {std::vector<std::size_t>{0, 1, 2}, {8, 3, 5, 0}, {4}, {0, 1, 2, 3, 4, 5, 6, 7, 8}}) {
        std::vector<double> a = original, work(n);
        std::string state(n, '0');
        Dense dense = unpack(original, n);
        eliminate(dense, pivots);
        for (std::size_t k : pivots)
            CHECK(zsweep(a.data(), static_cast<std::ptrdiff_t>(k), n, state.data(), work.data(), 1e-9) == 1);
        double worst = 0;
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = i; j < n; ++j) {
                // A swept row ahead of an unswept one holds the coefficient, one behind its negative: in both cases
                // what elimination leaves in row i of column j.
                const double difference =
                    a[static_cast<std::size_t>(zisub(static_cast<std::ptrdiff_t>(i), static_cast<std::ptrdiff_t>(j)))] -
                    static_cast<double>(dense[i][j]);
                worst = std::max(worst, std::fabs(difference));
            }
        CHECK(worst < 1e-13);
        for (std::size_t k : pivots) {
            CHECK(state[k] == '1');
            CHECK(zsweep(a.data(), static_cast<std::ptrdiff_t>(k), n, state.data(), work.data(), 0) == 1);
            CHECK(state[k] == '0');
        }
        worst = 0;
        for (std::size_t i = 0; i < a.size(); ++i) worst = std::max(worst, std::fabs(a[i] - original[i]));
        CHECK(worst < 1e-12);
    }
}

TEST_CASE("zsweep: a pivot at the tolerance is taken, or a refused one changes the matrix") {
    double a[] = {1, 2, 4};
    char state[] = "00";
    double work[2];
    CHECK(zsweep(a, 0, 2, state, work, 0.5) == 1);
    CHECK(a[2] == 0);
    CHECK(zsweep(a, 1, 2, state, work, 0) == 0);
    CHECK(std::string(state) == "10");
    CHECK(a[1] == 2);
    const double missing = std::nan("");
    double bad[] = {missing};
    CHECK(zsweep(bad, 0, 1, state, work, 0) == 0);
}
