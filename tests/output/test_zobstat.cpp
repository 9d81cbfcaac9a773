// Statistics of one observation at the ends of what can be computed; the values themselves are held against deleted
// fits in tests/programs/output-statistics.
#include "output/zobstat.h"

#include <doctest/doctest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

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

TEST_CASE("a block of rows has the digits of its rows one by one, whatever is missing or at its limit") {
    std::mt19937_64 random(11);
    const auto uniform = [&] { return static_cast<double>(random() >> 11) * 0x1p-53; };
    // Each input is now and then missing or a value at which a chain of statistics ends.
    const auto one_of = [&](double usual, std::initializer_list<double> odd) {
        return random() % 9 != 0 ? usual : odd.begin()[random() % odd.size()];
    };
    constexpr std::uint32_t everything = (std::uint32_t{1} << stat_count) - 1;
    const std::uint32_t wishes[] = {everything, stat_bit(stat_r), family_mean, stat_bit(stat_covratio),
                                    family_individual | family_deleted};
    int odd_rows = 0;
    for (int round = 0; round < 400; ++round) {
        ObservationContext fit;
        fit.flags = close_statistics(wishes[round % 5]);
        fit.t = one_of(2.1, {missing});
        fit.edf = one_of(12, {1, 2, 0});
        fit.p = one_of(7, {1, 2, 40});
        fit.s2 = one_of(1.7, {0, missing, 1e-30});
        std::vector<double> column[5], result[stat_count];
        ObservationBlock block;
        block.rows = round % 7 == 0 ? observation_block_rows : static_cast<int>(random() % 6);
        for (int i = 0; i < block.rows; ++i) {
            column[0].push_back(one_of(uniform() / 3, {0, 1, 1 - 1e-12, 1 - 1e-13, -1e-17, missing}));
            column[1].push_back(one_of(0.5 + uniform(), {missing}));
            column[2].push_back(one_of(1, {3, missing}));
            column[3].push_back(one_of(10 * uniform(), {missing, 1e9}));
            column[4].push_back(one_of(10 * uniform(), {missing}));
        }
        const double** inputs[] = {&block.xgx, &block.w, &block.f, &block.y, &block.yhat};
        for (int k = 0; k < 5; ++k) *inputs[k] = column[k].data();
        for (int code = 0; code < stat_count; ++code) {
            result[code].assign(static_cast<std::size_t>(block.rows), missing);
            block.results[code] = result[code].data();
        }
        ObservationContext c = fit;
        zobstat_block(c, block);
        for (std::size_t i = 0; i < static_cast<std::size_t>(block.rows); ++i) {
            ObservationContext row = fit;
            row.xgx = column[0][i];
            row.w = column[1][i];
            row.f = column[2][i];
            row.y = column[3][i];
            row.yhat = column[4][i];
            zobstat(row);
            bool odd = false;
            for (int code = 0; code < stat_count; ++code) {
                if (!row.wants(stat_bit(code))) continue;
                CAPTURE(code);
                CHECK(std::memcmp(&result[code][i], &row.results[code], sizeof(double)) == 0);
                odd = odd || wzmis(row.results[code]);
            }
            odd_rows += odd ? 1 : 0;
        }
    }
    CHECK(odd_rows > 1000);
}
