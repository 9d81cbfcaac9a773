// Holds the integrators, the range-type probabilities and their quantiles against tables of true values, known
// integrals and the identity of quantile and probability.
#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "numeric/fstchi.h"
#include "numeric/hardy.h"
#include "numeric/missing.h"
#include "numeric/range_probability.h"
#include "numeric/range_quantile.h"
#include "support/truth_table.h"

using namespace vek;
using vek::test::run_truth_table;
using vek::test::TruthCheck;
using vek::test::TruthRow;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

// The groups of a row, with the parameters of Dunnett's statistic where the row has lambda.
struct Groups {
    explicit Groups(const TruthRow& row) : w(row.inputs("w")), n(static_cast<int>(w.size())), work(3 * w.size()) {
        if (row.has("v")) v = row.inputs("v");
        if (!row.has("lambda")) return;
        lambda = row.inputs("lambda");
        for (const double l : lambda) {
            alpha.push_back(l / std::sqrt(1 - l * l));
            beta.push_back(1 / std::sqrt(1 - l * l));
        }
    }
    std::vector<double> w, v, lambda, alpha, beta;
    int n;
    std::vector<double> work;
};

// A critical value is as good as the probability it stands for: the miss in q times the density is a miss in p.
void check_quantile(const TruthRow& row, TruthCheck& check, double p, double got) {
    const double want = row.number("q");
    if (wzmis(want) || wzmis(got)) return check.exact("q", got);
    check.error("probability at the quantile", std::fabs(got - want) * row.number("density"),
                p * 1e-05 + row.number("extra"));
}

double gauss_bell(double x, void*) { return std::exp(-x * x); }
double bell_from_three(double x, void*) { return std::exp(-(x - 3) * (x - 3)); }
double narrow_bell(double x, void*) { return std::exp(-x * x * 1e8); }
double nothing_at_zero(double x, void*) { return x == 0 ? 0 : std::exp(-x * x); }
double not_a_number(double, void*) { return std::numeric_limits<double>::quiet_NaN(); }
double gamma_of_three(double x, void*) { return x * x * std::exp(-x); }

struct CountedControl : HardyControl {
    int calls = 0;
    int fail_at = -1;
};
double counted_decay(double x, HardyControl& control) {
    CountedControl& own = static_cast<CountedControl&>(control);
    if (++own.calls == own.fail_at) own.failed = true;
    return std::exp(-x);
}
// Dies out slowly, and a spike at 1 keeps the sums apart.
double slow_decay(double x, HardyControl&) {
    const double t = std::log(x);
    return (std::exp(-std::fabs(t) / 20) + 1e4 * std::exp(-1e8 * t * t)) / x;
}

struct Power : ChiMixture {
    int exponent = 0;
    double df = 1;
    int calls = 0;
    int fail_at = -1;
};
double power_integrand(double x, ChiMixture& mixture) {
    Power& own = static_cast<Power&>(mixture);
    if (++own.calls == own.fail_at) own.failed = true;
    const double power = std::pow(x / (own.df / 2), own.exponent);
    const double a = own.df / 2 - 1;
    return own.state == 1 ? power * std::exp(a * std::log(x) - x - std::lgamma(own.df / 2)) : power;
}

}  // namespace

TEST_CASE("zhardy: wrong step, side or map") {
    double r = 0;
    const double root_pi = std::sqrt(std::acos(-1.0));
    CHECK(zhardy(gauss_bell, 0, nullptr, 1e-14, r, 7, false, false) == 0);
    CHECK(r == doctest::Approx(root_pi).epsilon(1e-14));
    CHECK(zhardy(bell_from_three, 0, nullptr, 1e-14, r, 7, true, false) == 0);
    CHECK(r == doctest::Approx(root_pi).epsilon(1e-14));
    CHECK(zhardy(gamma_of_three, 0.125, nullptr, 1e-14, r, 7, false, true) == 0);
    CHECK(r == doctest::Approx(2.0).epsilon(1e-13));
    // The absolute test ends a small integral that the relative one does not accept in as many halvings.
    CHECK(zhardy(narrow_bell, 0, nullptr, 1e-04, r, 13, false, false) == 0);
    CHECK(r > 1.5e-4);
    CHECK(zhardy(narrow_bell, 0, nullptr, 1e-04, r, 13, true, false) == 1);
}

TEST_CASE("zhardy: what cannot be integrated is reported, with the last total") {
    double r = -1;
    CHECK(zhardy(nothing_at_zero, 0, nullptr, 1e-7, r, 7, false, false) == 1);
    CHECK(r == 0);
    CHECK(zhardy(narrow_bell, 0, nullptr, 1e-7, r, 3, false, false) == 1);
    CHECK(r == 0.125);  // the centre alone, at a step of 1/8
    CHECK(zhardy(not_a_number, 0, nullptr, 1e-7, r, 7, false, false) == 1);
}

TEST_CASE("zhrdys: the half-line, failures of the integrand and the limit of points") {
    CountedControl control;
    control.f = counted_decay;
    double r = 0;
    CHECK(zhrdys(control, r) == 0);
    CHECK(r == doctest::Approx(1.0).epsilon(1e-8));
    CHECK(control.calls < 200);
    control.failed = false;
    control.calls = 0;
    control.fail_at = 30;
    CHECK(zhrdys(control, r) == 1);
    CHECK(control.calls == 30);
    HardyControl slow;
    slow.f = slow_decay;
    slow.halvings = 100;  // the limit of points comes first
    CHECK(zhrdys(slow, r) == 1);
}

TEST_CASE("zfstchi: moments of the chi-square weight, exact to degree 13 with seven nodes") {
    for (const double df : {1.0, 3.0, 6.875, 7.0, 50.0, 102.0, 150.0, 660.0, 1e4, 1e9}) {
        for (int exponent = 0; exponent <= 13; ++exponent) {
            Power power;
            power.state = df < 102 ? -1 : 0;
            power.exponent = exponent;
            power.df = df;
            double want = 1;
            for (int k = 0; k < exponent; ++k) want *= (df / 2 + k) / (df / 2);
            double r = 0;
            CHECK(zfstchi(power_integrand, df, power, r, std::max(df / 2 - 1, 1.0), 7) == 0);
            CHECK(power.state == (df < 102 ? 1 : 2));
            if (power.state == 2) CHECK(power.calls == 7);
            CHECK_MESSAGE(std::fabs(r / want - 1) < 1e-8, "df " << df << ", moment " << exponent);
        }
    }
}

TEST_CASE("zfstchi: small df is adaptive whatever the state, a failure ends the sum") {
    Power power;
    power.df = 6.5;
    double r = 0;
    CHECK(zfstchi(power_integrand, 6.5, power, r, 2.25, 5) == 0);
    CHECK(power.state == 1);
    CHECK(zfstchi(power_integrand, 0.5, power, r, 1, 5) == 1);
    CHECK(zfstchi(power_integrand, std::nan(""), power, r, 1, 5) == 1);
    for (const int state : {-1, 0}) {
        Power failing;
        failing.state = state;
        failing.df = 200;
        failing.fail_at = 3;
        CHECK(zfstchi(power_integrand, 200, failing, r, 99, 5) == 1);
        CHECK(failing.calls == 3);
    }
}

TEST_CASE("zprbsrg: studentised range against true values") {
    run_truth_table("numeric/zprbsrg", [](const TruthRow& row, TruthCheck& check) {
        Groups g(row);
        const double q = row.input("q");
        const double df = row.input("df");
        check.absolute("p", zprbsrg(g.n, q, df, g.v.data(), g.w.data(), g.work.data()));
        if (df == infinity) check.absolute("p", zprbrng(g.n, q, g.v.data(), g.w.data(), g.work.data()));
    });
}

TEST_CASE("zprbsdt: Dunnett's statistic against true values") {
    run_truth_table("numeric/zprbsdt", [](const TruthRow& row, TruthCheck& check) {
        Groups g(row);
        const bool two = row.integer("sides") == 2;
        const double q = row.input("q");
        const double df = row.input("df");
        check.absolute("p", zprbsdt(two, g.n, q, df, g.alpha.data(), g.beta.data(), g.w.data(), g.work.data()));
        if (df == infinity) check.absolute("p", zprbdnt(two, g.n, q, g.alpha.data(), g.beta.data(), g.w.data()));
    });
}

TEST_CASE("zprbsmm: maximum modulus against true values") {
    run_truth_table("numeric/zprbsmm", [](const TruthRow& row, TruthCheck& check) {
        Groups g(row);
        const double q = row.input("q");
        const double df = row.input("df");
        check.absolute("p", zprbsmm(g.n, q, df, g.v.data(), g.w.data(), nullptr));
        if (df == infinity) check.absolute("p", zprbmmm(g.n, q, g.v.data(), g.w.data()));
    });
}

TEST_CASE("zqunsrg: critical values of the range") {
    run_truth_table("numeric/zqunsrg", [](const TruthRow& row, TruthCheck& check) {
        Groups g(row);
        const double p = row.input("p");
        const double df = row.input("df");
        check_quantile(row, check, p, zqunsrg(g.n, p, df, g.v.data(), g.w.data(), g.work.data()));
        if (df == infinity) check_quantile(row, check, p, zqunrng(g.n, p, g.v.data(), g.w.data(), g.work.data()));
    });
}

TEST_CASE("zqunsdt: critical values of Dunnett's statistic") {
    run_truth_table("numeric/zqunsdt", [](const TruthRow& row, TruthCheck& check) {
        Groups g(row);
        const bool two = row.integer("sides") == 2;
        const double p = row.input("p");
        const double df = row.input("df");
        check_quantile(row, check, p, zqunsdt(two, g.n, p, df, g.lambda.data(), g.w.data(), g.work.data()));
        if (df == infinity) {
            check_quantile(row, check, p, zqundnt(two, g.n, p, g.lambda.data(), g.w.data(), g.work.data()));
        }
    });
}

TEST_CASE("zqunsmm: critical values of the maximum modulus") {
    run_truth_table("numeric/zqunsmm", [](const TruthRow& row, TruthCheck& check) {
        Groups g(row);
        const double p = row.input("p");
        const double df = row.input("df");
        check_quantile(row, check, p, zqunsmm(g.n, p, df, g.v.data(), g.w.data(), nullptr));
        if (df == infinity) check_quantile(row, check, p, zqunmmm(g.n, p, g.v.data(), g.w.data()));
    });
}

TEST_CASE("zqun...: the probability at a quantile is p within 1e-05 of p, for groups of unequal standing") {
    std::mt19937 random(20240611);
    const auto uniform = [&random](double low, double high) {
        return low + (high - low) * (static_cast<double>(random()) / 4294967296.0);
    };
    double work[12];
    int found = 0;
    for (int i = 0; i < 150; ++i) {
        const int n = 1 + i % 4;
        const double df = i % 5 == 0 ? 3e9 : std::exp(uniform(0, 8));
        const double p = uniform(0.2, 0.999);
        double v[4], w[4], lambda[4];
        for (int j = 0; j < n; ++j) {
            v[j] = uniform(0.5, 2);
            w[j] = 1.5 + std::floor(uniform(0, 12));
            lambda[j] = uniform(0.3, 0.9);
        }
        const auto close = [&](double q, double at_q) {
            if (wzmis(q)) return;  // a probability on the way can be missing
            ++found;
            CHECK_MESSAGE(std::fabs(at_q - p) <= p * 1.0001e-05, "case " << i << ": q " << q << ", p " << p);
        };
        const double range = zqunsrg(n, p, df, v, w, work);
        close(range, zprbsrg(n, range, df, v, w, work));
        const double modulus = zqunsmm(n, p, df, v, w, work);
        close(modulus, zprbsmm(n, modulus, df, v, w, work));
        double alpha[4], beta[4];
        for (int j = 0; j < n; ++j) {
            alpha[j] = lambda[j] / std::sqrt(1 - lambda[j] * lambda[j]);
            beta[j] = 1 / std::sqrt(1 - lambda[j] * lambda[j]);
        }
        for (const bool two : {true, false}) {
            const double dunnett = zqunsdt(two, n, p, df, lambda, w, work);
            close(dunnett, zprbsdt(two, n, dunnett, df, alpha, beta, w, work));
        }
    }
    CHECK(found >= 580);
}
