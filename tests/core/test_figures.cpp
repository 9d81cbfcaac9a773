// Terms of estimable functions as texts, rows of analysis-of-variance tables, and the figures of estimates.
#include <doctest/doctest.h>

#include <cmath>
#include <string>

#include "core/estimable_text.h"
#include "core/limits.h"
#include "core/vekpp.h"
#include "numeric/missing.h"

using namespace vek;

TEST_CASE("terms of estimable functions: sign, number, star and label") {
    struct Case {
        double value;
        bool more;
        const char* text;
    };
    for (const Case& c :
         {Case{1, false, "L3"}, Case{1, true, "+L3"}, Case{-1, false, "-L3"}, Case{-1, true, "-L3"},
          Case{2, true, "+2*L3"}, Case{2, false, "2L3"}, Case{-0.5, true, "-0.5*L3"}, Case{0.5, false, "0.5*L3"},
          Case{12, false, "12*L3"}, Case{1.0 / 3, true, "+0.3333*L3"}, Case{-1e-8, true, ""},
          Case{2e-8, false, "2E-8*L3"}, Case{0, false, ""}, Case{1 + 1e-12, true, "+L3"}}) {
        CAPTURE(c.value);
        CHECK(FmtProd(c.value, "L3  ", c.more, 1e-8) == c.text);
    }
}

TEST_CASE("coefficient of a column: inactive rows stay out, and nothing but small terms is 0") {
    double first[] = {1, 0.25, 5e-9}, second[] = {0, -2, 1}, third[] = {7, 7, 7};
    double* rows[] = {first, second, third};
    std::int16_t active[] = {1, 1, 0};
    int low[] = {0, 1, 0}, high[] = {3, 3, 3};
    HypothesisRows H{.ncol = 3, .zeta = 1e-8, .rows = rows, .active = active, .low = low, .high = high};
    CHECK(MakeCoef(H, 0, active) == "L1");
    CHECK(MakeCoef(H, 1, active) == "0.25*L1-2*L2");
    active[1] = 0;
    CHECK(MakeCoef(H, 2, active) == "0");
}

TEST_CASE("characters of an integer") {
    struct Case {
        std::int64_t value;
        int digits;
    };
    for (const Case& c : {Case{0, 1}, Case{9, 1}, Case{10, 2}, Case{-1, 2}, Case{-10, 3}, Case{999, 3},
                          Case{2147483647, 10}, Case{-2147483648LL, 11}}) {
        CAPTURE(c.value);
        CHECK(vekidig(c.value) == c.digits);
    }
}

TEST_CASE("a row of tests: no df, no error df, an exact error term, and a sum of squares that is rounding") {
    const AnovaRow error{.label = {}, .df = 4, .ss = 8, .ms = 2}, exact{.label = {}, .df = 4, .ss = 0, .ms = 0};
    const AnovaRow none{.label = {}, .df = 0, .ss = 0, .ms = missing};
    AnovaRow row{.label = {}, .df = 2, .ss = 12};
    vekfaov(row, error);
    CHECK(row.ms == 6);
    CHECK(row.f == 3);
    CHECK(row.p == doctest::Approx(0.16).epsilon(1e-13));  // (1 + 2F/4)^-2 for 2 and 4 degrees of freedom
    row = {.label = {}, .df = 0, .ss = 5};
    vekfaov(row, error);
    CHECK(row.ss == 0);
    CHECK(wzmis(row.ms));
    row = {.label = {}, .df = 1, .ss = -1e-20};
    vekfaov(row, error);
    CHECK(row.ss == 0);
    CHECK(row.f == 0);
    CHECK(row.p == 1);
    row = {.label = {}, .df = 1, .ss = 3};
    vekfaov(row, exact);
    CHECK(missing_code(row.f) == 'I');
    CHECK(row.p == 0);
    row = {.label = {}, .df = 1, .ss = 1e-16};
    vekfaov(row, exact);
    CHECK(row.ms == 0);
    CHECK(wzmis(row.f));
    row = {.label = {}, .df = 1, .ss = 3};
    vekfaov(row, none);
    CHECK(row.ms == 3);
    CHECK(wzmis(row.p));
}

TEST_CASE("figures of an estimate without variance, without error df, and with limits of 100 percent") {
    EstimateFigures e = estimate_figures(-2, 0, 4, 5, 2.5);
    CHECK(missing_code(e.t) == 'M');
    CHECK(e.p == 0);
    CHECK(e.lower == -2);
    CHECK(e.upper == -2);
    e = estimate_figures(0, 0, 4, 5, 2.5);
    CHECK(wzmis(e.t));
    CHECK(wzmis(e.p));
    e = estimate_figures(3, 2, missing, 0, critical_t(missing, 0.05, 0));
    CHECK(e.estimate == 3);
    CHECK(wzmis(e.se));
    CHECK(wzmis(e.lower));
    e = estimate_figures(3, 2, 8, 6, critical_t(8, 0, 6));
    CHECK(e.se == 4);
    CHECK(missing_code(e.lower) == 'M');
    CHECK(missing_code(e.upper) == 'I');
    // t quantile 0.95 of 6 degrees of freedom: R, qt(0.95, 6)
    e = estimate_figures(3, 2, 8, 6, critical_t(8, 0.1, 6));
    CHECK(e.upper == doctest::Approx(3 + 4 * 1.943180280515304).epsilon(1e-9));
}

TEST_CASE("decimals of a column never pass the limit") {
    CHECK(vekpfmt(1e-7, 12, 8) <= 8);
    CHECK(vekpfmt(0.001, 12, 2) <= 2);
    CHECK(vekpfmt(123456, 12, 8) >= 1);
}
