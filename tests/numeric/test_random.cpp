// The random streams against exact seeds and 50-digit functions, the gamma variables against their distribution, and
// the selection of order statistics against a full sort.
#include "numeric/random.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "numeric/gamma.h"
#include "numeric/missing.h"
#include "numeric/select.h"
#include "support/truth_table.h"

using namespace vek;
using test::TruthCheck;
using test::TruthRow;

TEST_CASE("random: a stream leaves its seeds or loses digits") {
    test::run_truth_table("numeric/random", [](const TruthRow& row, TruthCheck& check) {
        const std::string& stream = row.text("stream");
        std::int32_t seed = row.integer("seed");
        GammaState state;
        for (double expected : row.numbers("values")) {
            const double got = stream == "uniform"  ? zranuni(seed)
                               : stream == "normal" ? zrannor(seed)
                                                    : zrangam(seed, row.input("shape"), state);
            check.error(stream,
                        stream == "normal" ? test::absolute_error(got, expected) : test::relative_error(got, expected),
                        row.tol());
        }
        check.code("last_seed", seed);
    });
}

TEST_CASE("random: a jump lands on another seed, or a seed outside its range is not taken back into it") {
    for (std::int32_t start : {1, 424242, 2147483646}) {
        std::int32_t seed = start;
        for (std::int64_t draws = 0; draws < 400; ++draws) {
            if (draws == 0 || draws == 1 || draws == 120 || draws == 399)
                CHECK(zranuni_jump(start, zranuni_factor(draws)) == seed);
            zranuni(seed);
        }
        // The multiplier generates the whole group: 2147483646 draws lead back, and no proper part of them does.
        CHECK(zranuni_factor(2147483646) == 1);
        for (std::int64_t prime : {2, 3, 7, 11, 31, 151, 331}) CHECK(zranuni_factor(2147483646 / prime) != 1);
    }
    std::int32_t negative = -1, same = 2147483646, low = std::numeric_limits<std::int32_t>::min(), zero = 0;
    CHECK(zranuni(negative) == zranuni(same));
    CHECK(zranuni(low) > 0);
    CHECK(zranuni(zero) == 0);
    GammaState state;
    for (double shape : {0.5, 1.0, 2.5}) {
        std::int32_t stuck = 0;
        zrangam(stuck, shape, state);  // ends, whatever it gives
    }
}

TEST_CASE("random: gamma variables do not follow their distribution") {
    constexpr int n = 20000;
    for (double shape : {0.25, 0.5, 1.0, 2.5, 50.0}) {
        CAPTURE(shape);
        std::int32_t seed = 20240229;
        GammaState state;
        std::vector<double> x(n);
        for (double& value : x) value = zrangam(seed, shape, state);
        double mean = 0, variance = 0, distance = 0;
        for (double value : x) mean += value / n;
        for (double value : x) variance += (value - mean) * (value - mean) / n;
        // Mean and variance are both the shape; four standard errors, the fourth moment being 3 a² + 6 a.
        CHECK(std::fabs(mean - shape) <= 4 * std::sqrt(shape / n));
        CHECK(std::fabs(variance - shape) <= 4 * std::sqrt((2 * shape * shape + 6 * shape) / n));
        std::sort(x.begin(), x.end());
        for (int i = 0; i < n; ++i) {
            double lower = 0, upper = 0, density = 0;
            REQUIRE(zigamma(x[static_cast<std::size_t>(i)], shape, lower, upper, density) == 0);
            distance = std::max({distance, lower - static_cast<double>(i) / n, (i + 1.0) / n - lower});
        }
        CHECK(std::sqrt(n) * distance <= 1.36);  // Kolmogorov-Smirnov, 5 %
    }
}

TEST_CASE("random: normal variables do not follow their distribution") {
    constexpr int n = 20000;
    std::int32_t seed = 99;
    std::vector<double> x(n);
    for (double& value : x) value = zrannor(seed);
    std::sort(x.begin(), x.end());
    double distance = 0;
    for (int i = 0; i < n; ++i) {
        const double probability = 0.5 * std::erfc(-x[static_cast<std::size_t>(i)] / std::sqrt(2.0));
        distance = std::max({distance, probability - static_cast<double>(i) / n, (i + 1.0) / n - probability});
    }
    CHECK(std::sqrt(n) * distance <= 1.36);
}

TEST_CASE("random: a change of shape disturbs the stream, or an absurd shape draws") {
    std::int32_t seed = 5, again = 5;
    GammaState state, fresh;
    const double first = zrangam(seed, 2.5, state);
    zrangam(seed, 0.5, state);
    const double third = zrangam(seed, 2.5, state);
    CHECK(first == zrangam(again, 2.5, fresh));
    fresh = GammaState{};
    zrangam(again, 0.5, fresh);
    fresh = GammaState{};
    CHECK(third == zrangam(again, 2.5, fresh));
    CHECK(seed == again);

    for (double shape : {0.0, -1.0, std::nan(""), std::numeric_limits<double>::infinity(), 1e301})
        CHECK(wzmis(zrangam(seed, shape, state)));
    CHECK(seed == again);
}

TEST_CASE("zqpsort: an order statistic is not the one of a full sort, or the companion stays behind") {
    std::mt19937 generator(8);
    struct Companion {
        double key;
        char text[70];  // wider than a register or a line
    };
    const auto value_of = [&](int kind, std::ptrdiff_t i, std::ptrdiff_t n) -> double {
        switch (kind) {
            case 0:
                return std::uniform_real_distribution<double>(-1, 1)(generator);
            case 1:
                return static_cast<double>(generator() % 3);
            case 2:
                return static_cast<double>(i);
            case 3:
                return static_cast<double>(n - i);
            default:
                return i % 2 ? static_cast<double>(i) : static_cast<double>(-i);
        }
    };
    for (int kind = 0; kind < 5; ++kind)
        for (std::ptrdiff_t n : {1, 2, 3, 4, 7, 20, 101, 3000}) {
            CAPTURE(kind);
            CAPTURE(n);
            std::vector<double> x(static_cast<std::size_t>(n));
            for (std::ptrdiff_t i = 0; i < n; ++i) x[static_cast<std::size_t>(i)] = value_of(kind, i, n);
            std::vector<double> sorted = x;
            std::sort(sorted.begin(), sorted.end());
            for (const std::vector<std::ptrdiff_t>& positions :
                 {std::vector<std::ptrdiff_t>{n / 2}, {0, n - 1}, {n / 4, n / 4, n / 2, 3 * n / 4}}) {
                std::vector<double> work = x, values(positions.size());
                std::vector<Companion> companion(x.size());
                for (std::size_t i = 0; i < x.size(); ++i) companion[i] = {x[i], ""};
                REQUIRE(zqpsort(n, work.data(), static_cast<std::ptrdiff_t>(positions.size()), positions.data(),
                                values.data(), companion.data(), sizeof(Companion)) == 0);
                bool right = true;
                for (std::size_t k = 0; k < positions.size(); ++k) {
                    const auto p = positions[k];
                    const auto place = static_cast<std::size_t>(p);
                    right = right && values[k] == sorted[place] && work[place] == sorted[place];
                    right = right && *std::max_element(work.begin(), work.begin() + p + 1) == sorted[place];
                    right = right && *std::min_element(work.begin() + p, work.end()) == sorted[place];
                }
                for (std::size_t i = 0; i < x.size(); ++i) right = right && companion[i].key == work[i];
                CHECK(right);
                std::sort(work.begin(), work.end());
                CHECK(work == sorted);
            }
        }
}

TEST_CASE("zqpsort: bad arguments are not refused, or NaN keeps it from ending") {
    double x[] = {3, 1, 2}, values[3] = {};
    const std::ptrdiff_t good[] = {1}, negative[] = {-1}, descending[] = {2, 1}, beyond[] = {3};
    CHECK(zqpsort(0, x, 1, good, values) == -1);
    CHECK(zqpsort(3, x, 0, good, values) == -1);
    CHECK(zqpsort(3, x, -2, good, values) == -1);
    CHECK(zqpsort(3, x, 1, negative, values) == -1);
    CHECK(zqpsort(3, x, 2, descending, values) == -1);
    CHECK(zqpsort(3, x, 1, beyond, values) == -1);
    CHECK(x[0] == 3);
    CHECK(zqpsort(3, x, 1, good, values) == 0);
    CHECK(values[0] == 2);

    std::vector<double> spoilt(1000, std::nan(""));
    for (std::size_t i = 0; i < spoilt.size(); i += 3) spoilt[i] = static_cast<double>(i % 100);
    const std::ptrdiff_t two[] = {100, 700};
    CHECK(zqpsort(1000, spoilt.data(), 2, two, values) == 0);
    // A pattern that splits badly: the heap takes over, and the cost stays bounded.
    std::vector<double> organ(200000);
    for (std::size_t i = 0; i < organ.size(); ++i)
        organ[i] = static_cast<double>(i < organ.size() / 2 ? i : organ.size() - i);
    const std::ptrdiff_t last[] = {199999};
    CHECK(zqpsort(200000, organ.data(), 1, last, values) == 0);
    CHECK(values[0] == 100000);
}

TEST_CASE("random: normal variables in a block differ from those drawn one by one, or by another version") {
    for (InstructionSet set : {InstructionSet::portable, InstructionSet::avx2, InstructionSet::avx512}) {
        if (!instruction_set_runs(set)) continue;
        CAPTURE(instruction_set_name(set));
        std::int32_t one_by_one = 77, by_block = 77;
        for (std::ptrdiff_t n : {0, 1, 3, 4, 8, 60, 63, 64, 65, 128, 1000}) {
            CAPTURE(n);
            std::vector<double> expected(static_cast<std::size_t>(n)), block(static_cast<std::size_t>(n) + 1, 5.0);
            for (double& value : expected) value = zrannor(one_by_one);
            zrannor_fill(by_block, n, block.data(), set);
            CHECK(by_block == one_by_one);
            CHECK(block.back() == 5.0);
            block.pop_back();
            CHECK(block == expected);
        }
    }
    // Against the C library's functions, over many seeds and at the ends of both uniforms.
    double worst = 0;
    for (std::int32_t start : {1, 31337, 2147483646}) {
        std::int32_t seed = start;
        for (int draw = 0; draw < 100000; ++draw) {
            std::int32_t copy = seed;
            const double u1 = zranuni(copy), u2 = zranuni(copy);
            const double expected = std::sqrt(-2 * std::log(u1)) * std::cos(6.283185307179586 * u2);
            worst = std::max(worst, std::fabs(zrannor(seed) - expected));
        }
    }
    CHECK(worst <= 2e-15);
}
