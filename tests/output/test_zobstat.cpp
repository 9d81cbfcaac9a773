// Statistics of one observation at the ends of what can be computed; the values themselves are held against deleted
// fits in tests/programs/output-statistics.
#include "output/zobstat.h"

#include <doctest/doctest.h>

#include <cmath>
#include <string>

using namespace vek;

namespace {

ObservationContext everything() {
    ObservationContext c;
    c.flags = close_statistics(0xffff);
    c.t = 2;
    c.edf = 5;
    c.p = 3;
    c.xgx = 0.25;
    c.w = 2;
    c.f = 1;
    c.y = 7;
    c.yhat = 6;
    c.s2 = 4;
    return c;
}

/// One letter a statistic in the order of their codes: "x" present, "." missing.
std::string present(ObservationContext c) {
    zobstat(c);
    std::string text;
    for (int i = 0; i < stat_count; ++i) text += wzmis(c.results[i]) ? '.' : 'x';
    return text;
}

template <class Change>
std::string present_after(Change change) {
    ObservationContext c = everything();
    change(c);
    return present(c);
}

}  // namespace

TEST_CASE("wanted statistics bring their families, and P and R always") {
    CHECK(close_statistics(0) == (stat_bit(stat_p) | stat_bit(stat_r)));
    const auto closed = [](int code) {
        return close_statistics(stat_bit(code)) & ~(stat_bit(stat_p) | stat_bit(stat_r));
    };
    CHECK(closed(stat_uclm) == (family_mean | stat_bit(stat_h)));
    CHECK(closed(stat_stdi) == (family_individual | stat_bit(stat_h)));
    CHECK(closed(stat_press) == (family_residual | stat_bit(stat_h)));
    CHECK(closed(stat_dffits) == (family_deleted | stat_bit(stat_h)));
    CHECK(closed(stat_covratio) == (stat_bit(stat_covratio) | stat_bit(stat_h)));
}

// P R LCLM UCLM LCL UCL STDP STDR STDI STUDENT COOKD H PRESS RSTUDENT DFFITS COVRATIO
TEST_CASE("what stays when something is missing") {
    CHECK(present(everything()) == "xxxxxxxxxxxxxxxx");
    CHECK(present_after([](auto& c) { c.yhat = missing; }) == "................");
    CHECK(present_after([](auto& c) { c.y = missing; }) == "x.xxxxx.x..x....");
    CHECK(present_after([](auto& c) { c.w = missing; }) == "xxxx..x.........");
    CHECK(present_after([](auto& c) { c.s2 = missing; }) == "xx.........xx...");
    CHECK(present_after([](auto& c) { c.t = missing; }) == "xx....xxxxxxxxxx");
    CHECK(present_after([](auto& c) { c.f = missing; }) == "xxxxxxxxxx.x....");
    CHECK(present_after([](auto& c) { c.edf = 1; }) == "xxxxxxxxxxxxx...");
    CHECK(present_after([](auto& c) { c.xgx = 0.5; }) == "xxxxxxx.x..x....");          // leverage 1
    CHECK(present_after([](auto& c) { c.xgx = 0.5 - 1e-13; }) == "xxxxxxx.x..x....");  // and within 1e-12 of it
    CHECK(present_after([](auto& c) { c.s2 = 0; }) == "xxxxxxx.x..xx...");             // a perfect fit
    CHECK(present_after([](auto& c) { c.s2 = 0.8; }) == "xxxxxxxxxxxxx...");           // perfect without this one
}

TEST_CASE("an observation outside of the fit has the standard error of a new one") {
    ObservationContext c = everything();
    c.f = missing;
    zobstat(c);
    CHECK(c.results[stat_stdr] == doctest::Approx(std::sqrt((0.5 + 0.25) * 4)).epsilon(1e-15));
    CHECK(c.results[stat_student] == doctest::Approx(1 / std::sqrt(3.0)).epsilon(1e-15));
}
