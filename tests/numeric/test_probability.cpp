// Probability functions against tables of true values, identities over seeded grids, and arguments that are no numbers.
#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "numeric/beta.h"
#include "numeric/fdist.h"
#include "numeric/gamma.h"
#include "numeric/missing.h"
#include "numeric/normal.h"
#include "support/truth_table.h"

using namespace vek;
using test::run_truth_table;
using test::TruthCheck;
using test::TruthRow;

namespace {

// What an output holds before a call that must leave it alone.
constexpr double untouched = 77;

// A value of a function of one result, by whichever of the columns the block has.
void check_value(const TruthRow& row, TruthCheck& check, double got) {
    if (row.has("value")) check.relative("value", got);
    if (row.has("absolute")) check.absolute("absolute", got);
    if (row.has("exact")) check.exact("exact", got);
}

// Seeded numbers that are the same with every library.
class Grid {
  public:
    double uniform(double low, double high) {
        return low + (high - low) * static_cast<double>(bits_() >> 11) * 0x1p-53;
    }
    double log_uniform(double low, double high) { return std::exp(uniform(std::log(low), std::log(high))); }

  private:
    std::mt19937_64 bits_{20240229};
};

}  // namespace

TEST_CASE("missing values: every code has its own pattern, and no NaN of arithmetic is one") {
    for (const char code : std::string_view("._ABCDEFGHIJKLMNOPQRSTUVWXYZ")) {
        CHECK(wzmis(vzmissing(code)));
        CHECK(std::isnan(vzmissing(code)));
        CHECK(missing_code(vzmissing(code)) == code);
    }
    CHECK(missing_code(vzmissing('q')) == 'Q');
    CHECK(missing_code(vzmissing('?')) == '.');
    volatile double zero = 0;
    for (const double value : {zero / zero, -(zero / zero), 1 / zero, -1 / zero, std::nan(""), 0.0, -0.0}) {
        CHECK_FALSE(wzmis(value));
    }
    const double values[] = {1, 2, vzmissing('B')};
    CHECK_FALSE(wzmisn(values, 2));
    CHECK(wzmisn(values, 3));
    CHECK_FALSE(wzmisn(values, 0));
}

TEST_CASE("truth tables: a special value never passes for a number, nor a number for it") {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    CHECK(test::relative_error(1.5, 1) == 0.5);
    CHECK(test::relative_error(0x1p-20, 0) == 0x1p-20);
    CHECK(test::absolute_error(1.5, 1) == 0.5);
    CHECK(test::relative_error(infinity, infinity) == 0);
    CHECK(test::relative_error(vzmissing('A'), vzmissing('A')) == 0);
    const double pairs[][2] = {
        {nan, 1},       {1, nan}, {infinity, 1}, {infinity, -infinity},    {missing, 1}, {1, missing}, {missing, nan},
        {nan, missing}, {nan, 0}, {0, nan},      {missing, vzmissing('A')}};
    for (const auto& pair : pairs) {
        CHECK(test::relative_error(pair[0], pair[1]) == infinity);
        CHECK(test::absolute_error(pair[0], pair[1]) == infinity);
    }
}

TEST_CASE("zln1px") {
    run_truth_table("numeric/zln1px",
                    [](const TruthRow& row, TruthCheck& check) { check_value(row, check, zln1px(row.input("x"))); });
}

TEST_CASE("zlgbern") {
    run_truth_table("numeric/zlgbern",
                    [](const TruthRow& row, TruthCheck& check) { check_value(row, check, zlgbern(row.input("x"))); });
}

TEST_CASE("zlgamma") {
    run_truth_table("numeric/zlgamma",
                    [](const TruthRow& row, TruthCheck& check) { check_value(row, check, zlgamma(row.input("x"))); });
}

TEST_CASE("zlbeta") {
    run_truth_table("numeric/zlbeta", [](const TruthRow& row, TruthCheck& check) {
        const double got = zlbeta(row.input("a"), row.input("b"));
        if (row.has("exact")) return check.exact("exact", got);
        const double want = row.number("value");
        check.error("value", std::fabs(got - want) / (1 + std::fabs(want)), row.tol());
    });
}

TEST_CASE("zibeta") {
    run_truth_table("numeric/zibeta", [](const TruthRow& row, TruthCheck& check) {
        double p = untouched, d = untouched;
        check.code("rc", zibeta(row.input("x"), row.input("a"), row.input("b"), p, d));
        if (row.has("absolute")) return check.absolute("absolute", p);
        if (!row.has("tol")) return check.exact("p", p), check.exact("d", d);
        check.relative("p", p);
        if (row.has("d")) check.relative("d", d);
    });
}

TEST_CASE("zigamma") {
    run_truth_table("numeric/zigamma", [](const TruthRow& row, TruthCheck& check) {
        double P = untouched, Q = untouched, d = untouched;
        check.code("rc", zigamma(row.input("x"), row.input("a"), P, Q, d));
        const bool measured = row.has("tol");
        const auto compare = [&](std::string_view column, double got) {
            if (row.has(column)) measured ? check.relative(column, got) : check.exact(column, got);
        };
        compare("P", P);
        compare("Q", Q);
        compare("d", d);
        if (row.has("Pabsolute")) check.absolute("Pabsolute", P);
        if (row.has("Qabsolute")) check.absolute("Qabsolute", Q);
    });
}

TEST_CASE("wilhil") {
    run_truth_table("numeric/wilhil", [](const TruthRow& row, TruthCheck& check) {
        double Q = untouched;
        check.absolute("P", wilhil(row.input("a"), row.input("x"), Q));
        check.absolute("Q", Q);
    });
}

TEST_CASE("zprbf") {
    run_truth_table("numeric/zprbf", [](const TruthRow& row, TruthCheck& check) {
        check_value(row, check, zprbf(row.input("f"), row.input("df1"), row.input("df2")));
    });
}

TEST_CASE("zpgt2") {
    run_truth_table("numeric/zpgt2", [](const TruthRow& row, TruthCheck& check) {
        check_value(row, check, zpgt2(row.input("x"), row.input("df")));
    });
}

TEST_CASE("zpgx2") {
    run_truth_table("numeric/zpgx2", [](const TruthRow& row, TruthCheck& check) {
        check_value(row, check, zpgx2(row.input("x"), row.input("df")));
    });
}

TEST_CASE("zprobin") {
    run_truth_table("numeric/zprobin", [](const TruthRow& row, TruthCheck& check) {
        double x = untouched;
        check.code("rc", zprobin(row.input("p"), row.input("a"), row.input("b"), x));
        check.relative("x", x);
    });
}

TEST_CASE("zqt") {
    run_truth_table("numeric/zqt", [](const TruthRow& row, TruthCheck& check) {
        double t = untouched;
        check.code("rc", zqt(row.input("p"), row.input("df"), t));
        row.has("t") ? check.relative("t", t) : check.absolute("absolute", t);
    });
}

TEST_CASE("zqunf, and zqf by the complement") {
    run_truth_table("numeric/zqunf", [](const TruthRow& row, TruthCheck& check) {
        const double p = row.input("p"), df1 = row.input("df1"), df2 = row.input("df2");
        const double got = zqunf(p, df1, df2);
        check_value(row, check, got);
        double f = untouched;
        const bool failed = zqf(p, df1, df2, f);
        // 1 - p is p again only when it was not rounded.
        if (1 - (1 - p) == p) check.error("zqf", std::fabs(f - zqunf(1 - p, df1, df2)), 0);
        check.error("zqf failure", failed == (zqunf(1 - p, df1, df2) < 0) ? 0 : 1, 0);
    });
}

TEST_CASE("calerf: zferf and zferfc") {
    run_truth_table("numeric/zferf", [](const TruthRow& row, TruthCheck& check) {
        const double x = row.input("x");
        if (row.has("published")) return check.error("published", std::fabs(zferf(x) - row.number("published")), 5e-11);
        if (row.has("erf")) check.relative("erf", zferf(x));
        check.relative("erfc", zferfc(x));
    });
}

TEST_CASE("zprbnrm") {
    run_truth_table("numeric/zprbnrm", [](const TruthRow& row, TruthCheck& check) {
        const double got = zprbnrm(row.input("x"));
        if (row.has("published")) return check.error("published", std::fabs(got - row.number("published")), 5e-16);
        check_value(row, check, got);
    });
}

TEST_CASE("znrm") {
    run_truth_table("numeric/znrm",
                    [](const TruthRow& row, TruthCheck& check) { check_value(row, check, znrm(row.input("x"))); });
}

TEST_CASE("zprobit, with szprobit in the tail") {
    run_truth_table("numeric/zprobit",
                    [](const TruthRow& row, TruthCheck& check) { check_value(row, check, zprobit(row.input("p"))); });
}

TEST_CASE("znrm: a wrong row of the table, or a jump between two rows, shows against the full function") {
    double worst = 0;
    for (int i = -6 * 256; i <= 6 * 256; ++i) {
        for (const double x : {i / 256.0, std::nextafter(i / 256.0, 0.0)}) {
            worst = std::max(worst, std::fabs(znrm(x) - zprbnrm(x)));
        }
    }
    CHECK(worst < 2e-14);
}

TEST_CASE("zlgamma: ln gamma(x + 1) = ln gamma(x) + ln x across fits and series") {
    Grid grid;
    for (int i = 0; i < 2000; ++i) {
        const double x = i % 2 == 0 ? grid.log_uniform(1e-3, 1e8) : grid.uniform(0.5, 16);
        const double next = zlgamma(x + 1);
        CAPTURE(x);
        CHECK(std::fabs(next - (zlgamma(x) + std::log(x))) <= 1e-14 * (1 + std::fabs(next)));
    }
}

TEST_CASE("zibeta: I_x(a, b) and I_{1-x}(b, a) add up to 1 on both sides of the exchange, with one density") {
    Grid grid;
    for (int i = 0; i < 3000; ++i) {
        const double a = grid.log_uniform(0.5, 100), b = grid.log_uniform(0.5, 100);
        const double x = std::floor(grid.uniform(1, 1 << 20)) * 0x1p-20;  // so that 1 - x is exact
        double p = 0, d = 0, complement = 0, same_density = 0;
        CAPTURE(x);
        CAPTURE(a);
        CAPTURE(b);
        REQUIRE(zibeta(x, a, b, p, d) == 0);
        REQUIRE(zibeta(1 - x, b, a, complement, same_density) == 0);
        CHECK(std::fabs(p + complement - 1) <= 1e-13);
        CHECK(test::relative_error(d, same_density) <= 6e-13);
    }
}

TEST_CASE("zigamma: raising the shape by 1 takes x d / a off the lower tail, through every branch") {
    Grid grid;
    for (int i = 0; i < 3000; ++i) {
        const double a = grid.log_uniform(0.05, 9000);
        const double x = a * grid.log_uniform(0.5, 2);
        double P = 0, Q = 0, d = 0, next_P = 0, next_Q = 0, next_d = 0;
        CAPTURE(x);
        CAPTURE(a);
        REQUIRE(zigamma(x, a, P, Q, d) == 0);
        REQUIRE(zigamma(x, a + 1, next_P, next_Q, next_d) == 0);
        const double step = x * d / a;
        CHECK(P + Q == doctest::Approx(1).epsilon(1e-15));
        CHECK(std::fabs(P - next_P - step) <= 6e-11 * std::max(P, step) + 1e-300);
        CHECK(std::fabs(next_Q - Q - step) <= 6e-11 * std::max(next_Q, step) + 1e-300);
    }
}

TEST_CASE("quantiles: the probability of a quantile meets the stopping rule") {
    Grid grid;
    for (int i = 0; i < 3000; ++i) {
        const double a = grid.log_uniform(1, 1000), b = grid.log_uniform(1, 1000);
        const double p = i % 2 == 0 ? grid.uniform(0, 1) : grid.log_uniform(1e-6, 0.5);
        double x = 0, probability = 0, d = 0;
        CAPTURE(p);
        CAPTURE(a);
        CAPTURE(b);
        REQUIRE(zprobin(p, a, b, x) == 0);
        REQUIRE(zibeta(x, a, b, probability, d) == 0);
        CHECK(std::fabs(probability - p) <= 1e-7 * std::min(p, 1 - p));
        CHECK(test::relative_error(zprbf(zqunf(p, 2 * a, 2 * b), 2 * a, 2 * b), p) <= 1e-7);
        double t = 0;
        REQUIRE(zqt(p, 2 * a, t) == 0);
        CHECK(std::fabs(zpgt2(t * t, 2 * a) - 2 * std::min(p, 1 - p)) <= 1e-9);
        CHECK((t > 0) == (p > 0.5));
        // F with 1 and df degrees of freedom is the square of t.
        if (p > 0.51) CHECK(test::relative_error(zqunf(2 * (1 - p), 1, 2 * a), t * t) <= 1e-7);
        CHECK(std::fabs(zprobit(zprbnrm(-5 * p)) + 5 * p) <= 1e-14 * (1 + 5 * p));
    }
}

TEST_CASE("absurd arguments: every function ends, with a result or the failure that its comment tells") {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const double largest = std::numeric_limits<double>::max();
    const double absurd[] = {nan,  missing,   infinity, -infinity,    largest, -largest,    0,
                             -0.0, 0x1p-1074, 1e-300,   -1.0,         0.5,     1 - 0x1p-53, 1,
                             2,    40,        1e4,      2147483647.0, 1e10,    1e300};
    const auto in_unit = [](double value) { return value >= 0 && value <= 1; };
    for (const double u : absurd) {
        zln1px(u);
        zlgbern(u);
        CHECK_FALSE(std::isnan(zlgamma(u)));
        const double quantile = zprobit(u);
        CHECK((wzmis(quantile) || (quantile > -38 && quantile < 9)));
        CHECK(wzmis(quantile) == !in_unit(u));
        CHECK(wzmis(szprobit(u)) == !in_unit(u));
        CHECK((in_unit(zprbnrm(u)) || std::isnan(u)));
        CHECK((in_unit(znrm(u)) || std::isnan(u)));
        for (const double v : absurd) {
            CAPTURE(u);
            CAPTURE(v);
            double P = untouched, Q = untouched, d = untouched;
            const int code = zigamma(u, v, P, Q, d);
            CHECK((code == 0 ? in_unit(P) && in_unit(Q) && d >= 0 : code == 1 && P == -2 && Q == -2 && d == 0));
            wilhil(u, v, Q);
            CHECK_FALSE(std::isnan(zlbeta(u, v)));
            const double t2 = zpgt2(u, v), chi2 = zpgx2(u, v);
            CHECK((wzmis(t2) || in_unit(t2)));
            CHECK((wzmis(chi2) || in_unit(chi2)));
            double t = untouched;
            CHECK((zqt(u, v, t) == 0 ? std::isfinite(t) : t == untouched));
            for (const double w : absurd) {
                CAPTURE(w);
                double p = untouched;
                d = untouched;
                const int rc = zibeta(u, v, w, p, d);
                CHECK((rc == 0    ? in_unit(p) && d >= 0
                       : rc == -1 ? p == -1 && d == 0
                                  : rc == 1 && p == untouched && d == untouched));
                const double tail = zprbf(u, v, w);
                CHECK((in_unit(tail) || tail == -1 || tail == -2));
                double x = untouched;
                CHECK((zprobin(u, v, w, x) == 0 ? in_unit(x) : x == untouched));
                const double f = zqunf(u, v, w);
                CHECK((f == -1 || (f >= 0 && f <= largest)));
                CHECK(zqf(u, v, w, f == -1 ? p : d) == (zqunf(1 - u, v, w) == -1));
            }
        }
    }
}
