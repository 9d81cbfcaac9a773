// Holds the Bayes k-ratio, its critical value and the integrator for pairs against true values.
#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "numeric/bayes.h"
#include "numeric/hardy.h"
#include "support/truth_table.h"

using namespace vek;
using vek::test::run_truth_table;
using vek::test::TruthCheck;
using vek::test::TruthRow;

namespace {

// x^2 and x^3 times e^(-x) at a height of e^1000 and more: the integrals are 2 and 6 times e^1000.
struct High : HardyPairControl {
    int calls = 0;
    int fail_at = -1;
};
void high_integrand(double x, HardyPairControl& control, double& first, double& second) {
    High& own = static_cast<High&>(control);
    if (++own.calls == own.fail_at) own.failed = true;
    const double height = 1000 - x + 2 * std::log(x);
    own.scale = std::max(own.scale, std::trunc(height));
    first = std::exp(height - own.scale);
    second = x * first;
}

void zero_pair(double, HardyPairControl&, double& first, double& second) { first = second = 0; }

// The second component is far narrower than the first and needs its own halvings.
void unequal_widths(double x, HardyPairControl&, double& first, double& second) {
    const double t = std::log(x);
    first = std::exp(-t * t) / x;
    second = std::exp(-400 * t * t) / x;
}

// A first component that dies out slowly and a second one that asks for more and more of its points.
void slow_and_narrow(double x, HardyPairControl&, double& first, double& second) {
    const double t = std::log(x);
    first = std::exp(-std::fabs(t) / 40) / x;
    second = std::exp(-1e6 * t * t) / x;
}

}  // namespace

TEST_CASE("zhrdyv: sums made at a lower scale are brought to the higher one") {
    High control;
    control.f = high_integrand;
    control.centre = 1e-3;  // the scale rises on the way up from here
    control.scale = std::numeric_limits<double>::lowest();
    HardyPair pair;
    CHECK(zhrdyv(control, pair) == 0);
    CHECK(std::log(pair.first) + pair.scale == doctest::Approx(1000 + std::log(2.0)).epsilon(1e-9));
    CHECK(pair.second / pair.first == doctest::Approx(3.0).epsilon(1e-6));
}

TEST_CASE("zhrdyv: settles when both components do, and tells what went wrong") {
    const double root_pi = std::sqrt(std::acos(-1.0));
    HardyPairControl control;
    control.f = unequal_widths;
    HardyPair pair;
    CHECK(zhrdyv(control, pair) == 0);
    CHECK(pair.first == doctest::Approx(root_pi).epsilon(1e-6));
    CHECK(pair.second == doctest::Approx(root_pi / 20).epsilon(1e-6));
    control.halvings = 3;
    CHECK(zhrdyv(control, pair) == 4);
    control.f = zero_pair;
    CHECK(zhrdyv(control, pair) == 1);
    control.f = slow_and_narrow;
    control.halvings = 10;
    CHECK(zhrdyv(control, pair) == 3);
    High failing;
    failing.f = high_integrand;
    failing.fail_at = 12;
    CHECK(zhrdyv(failing, pair) == 2);
    CHECK(failing.calls == 12);
}

TEST_CASE("calck: k-ratio against true values") {
    run_truth_table("numeric/calck", [](const TruthRow& row, TruthCheck& check) {
        double k = -1;
        check.code("rc", calck(row.input("t"), row.input("q"), row.input("dfe"), row.input("fratio"), k));
        check.relative("k", k);
    });
}

TEST_CASE("zbayest: critical values against true values") {
    run_truth_table("numeric/zbayest", [](const TruthRow& row, TruthCheck& check) {
        double crit = -1;
        check.code("rc", zbayest(row.input("kratio"), row.input("fratio"), row.input("q"), row.input("dfe"), crit));
        check.absolute("crit", crit);
    });
}

TEST_CASE("zbayest: a k-ratio met exactly at t = 1 is found from above") {
    double k = 0;
    REQUIRE(calck(1, 5, 20, 3, k) == 0);
    double crit = 0;
    CHECK(zbayest(k, 3, 5, 20, crit) == 0);
    CHECK(crit == doctest::Approx(1.0).epsilon(1e-9));
}
