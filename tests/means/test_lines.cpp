// From means and a critical value to lines and letters: the step-down search, the columns, the order of levels.
#include <doctest/doctest.h>

#include <csignal>
#include <string>
#include <vector>

#include "host/message/log.h"
#include "host/session/interrupt.h"
#include "host/session/session.h"
#include "means/hovtest.h"
#include "means/zmc.h"
#include "means/zmcline.h"
#include "numeric/missing.h"

using namespace vek;

namespace {

McBlock block(const std::vector<double>& means, double msd) {
    McBlock mc;
    for (double m : means) mc.level.push_back({.nobs = 5, .wsum = 5, .mean = m, .name = "x", .index = 0});
    for (std::size_t i = 0; i < mc.level.size(); ++i) mc.level[i].index = static_cast<int>(i);
    zmceknt(mc);
    mc.msd = msd;
    return mc;
}

std::vector<double> descending(int n) {
    std::vector<double> means;
    for (int i = 0; i < n; ++i) means.push_back(n - i);
    return means;
}

/// The letters beside each mean, without blanks.
std::vector<std::string> letters_of(const std::vector<int>& lineend) {
    std::vector<std::string> letters;
    const std::vector<std::string> rows = line_letters(lineend);
    for (std::size_t r = 0; r < rows.size(); r += 2) {
        std::string set;
        for (char c : rows[r]) {
            if (c != ' ') set += c;
        }
        letters.push_back(set);
    }
    return letters;
}

}  // namespace

TEST_CASE("an interrupt ends the search for lines and for critical values") {
    const McBlock mc = block(descending(3), 1);
    QuantileCache quantiles;
    session().reset_for_test();
    McBlock asked = mc;
    asked.quantiles = &quantiles;
    asked.alpha = 0.05;
    asked.dfe = 12;
    std::vector<double> range;
    raise_pending(SIGINT);
    CHECK_THROWS(stp(McMethod::t, mc, {}));
    CHECK_THROWS(zmcrang(McMethod::snk, asked, range, nullptr));
    CHECK_THROWS(zmcrang(McMethod::regwq, asked, range, nullptr));
    clear_signal();
    CHECK(stp(McMethod::t, mc, {}).size() == 3);
    CHECK(zmcrang(McMethod::snk, asked, range, nullptr));
    CHECK(zmcrang(McMethod::regwq, asked, range, nullptr));
}

TEST_CASE("the search joins each mean with the farthest that it cannot be told from") {
    struct Row {
        std::vector<double> means;
        double msd;
        std::vector<int> lineend;
    };
    const Row rows[] = {
        {{4, 4}, 0, {1, 1}},
        {{3, 2, 1}, 1.5, {1, 2, 2}},   // only the extremes differ
        {{30, 20, 10}, 1, {0, 0, 0}},  // all differ: nothing is joined
        {{9, 8, 3, 2, 1}, 2, {1, 1, 4, 4, 4}},
        {{9, 9, 9, 1, 1}, 1, {2, 2, 2, 4, 4}},
        {{10, 9.5, 5, 4.8, 4.6}, 5, {2, 4, 4, 4, 4}},
    };
    for (const Row& row : rows) CHECK(stp(McMethod::t, block(row.means, row.msd), {}) == row.lineend);
    // A difference equal to the limit joins.
    CHECK(stp(McMethod::t, block({2, 1}, 1), {}) == std::vector<int>{1, 1});
}

TEST_CASE("a range method compares each span with the value for its length, REGWF by its sum of squares") {
    McBlock mc = block({6, 5, 3}, 0);
    CHECK(stp(McMethod::snk, mc, {1.5, 3.0}) == std::vector<int>{2, 2, 2});
    CHECK(stp(McMethod::snk, mc, {1.5, 2.9}) == std::vector<int>{1, 1, 1});
    CHECK(stp(McMethod::snk, mc, {2.0, 2.9}) == std::vector<int>{1, 2, 2});
    // css(6, 5, 3) = 14/3 with 5 observations a mean and a mean square of 2: F = 70/3 / 4 = 5.8333; of 5 and 3 F = 5.
    mc.mse = 2;
    CHECK(stp(McMethod::regwf, mc, {9, 5.84}) == std::vector<int>{2, 2, 2});
    CHECK(stp(McMethod::regwf, mc, {9, 5.83}) == std::vector<int>{1, 2, 2});
    CHECK(stp(McMethod::regwf, mc, {4.9, 5.83}) == std::vector<int>{1, 1, 1});
}

TEST_CASE("letters: one line for each new end, none for a mean within a line that reaches as far") {
    using Letters = std::vector<std::string>;
    CHECK(letters_of({1, 1}) == Letters{"A", "A"});
    CHECK(letters_of({1, 2, 2}) == Letters{"A", "BA", "B"});
    CHECK(letters_of({0, 0, 0}) == Letters{"A", "B", "C"});
    CHECK(letters_of({1, 1, 4, 4, 4}) == Letters{"A", "A", "B", "B", "B"});
    const std::vector<std::string> rows = line_letters({1, 2, 2});
    REQUIRE(rows.size() == 5);
    CHECK(rows[0].find('A') == 15);  // the first column that is taken
    CHECK(rows[2].find('B') == 7);
    CHECK(rows[1].find('A') == 15);  // the bar between two means of a line
    CHECK(rows[3].find('A') == std::string::npos);
}

TEST_CASE("the 27th line is A again, and 24 lines can run side by side but not 25") {
    const McBlock different = block(descending(30), 0.5);
    const std::vector<std::string> single = letters_of(stp(McMethod::t, different, {}));
    REQUIRE(single.size() == 30);
    CHECK(single[25] == "Z");
    CHECK(single[26] == "A");
    const std::vector<std::string> full = letters_of(stp(McMethod::t, block(descending(60), 23.5), {}));
    REQUIRE(full.size() == 60);
    CHECK(full[23].size() == 24);
    CHECK(line_letters(stp(McMethod::t, block(descending(60), 24.5), {})).empty());
}

TEST_CASE("sorting descends, keeps ties that stand in order, and leaves empty levels at the end") {
    McBlock mc;
    const double means[] = {2, 5, missing, 5, 1, 7, 2};
    for (int i = 0; i < 7; ++i) {
        const double size = i == 2 ? 0 : i == 4 ? 3 : 5;
        mc.level.push_back({.nobs = static_cast<int>(size), .wsum = size, .mean = means[i], .name = "l", .index = i});
    }
    zmceknt(mc);
    CHECK(mc.nact == 6);
    CHECK_FALSE(mc.balanced);
    CHECK(mc.nharm == doctest::Approx(6 / (5 / 5.0 + 1 / 3.0)).epsilon(1e-15));
    CHECK(mc.sizes == std::vector<double>{5, 3});
    CHECK(mc.sizecount == std::vector<double>{5, 1});
    zmcsort(mc);
    for (std::size_t i = 1; i < mc.level.size(); ++i) CHECK(mc.level[i - 1].mean >= mc.level[i].mean);
    CHECK(mc.level.back().index == 2);
    CHECK(mc.level[0].index == 5);
    McBlock tied = block({3, 3, 2, 2}, 0);
    zmcsort(tied);
    for (int i = 0; i < 4; ++i) CHECK(tied.level[static_cast<std::size_t>(i)].index == i);
}

TEST_CASE("an empty first level makes the cells unequal") {
    McBlock mc = block({3, 2, 1}, 0);
    mc.level[0].wsum = 0;
    zmceknt(mc);
    CHECK_FALSE(mc.balanced);
    CHECK(mc.nact == 2);
    CHECK(mc.nharm == 5);
}

TEST_CASE("a quantile is searched for once for a method and pattern of sizes") {
    QuantileCache cache;
    const double q = cache.find(QuantileCache::Kind::range, 0.95, 27, {3});
    CHECK(q == doctest::Approx(3.5064261).epsilon(1e-4));  // R: qtukey(.95, 3, 27)
    CHECK(cache.find(QuantileCache::Kind::range, 0.95, 27, {3}) == q);
    CHECK(cache.searches() == 1);
    cache.find(QuantileCache::Kind::modulus, 0.95, 27, {3});
    cache.find(QuantileCache::Kind::range, 0.95, 27, {4});
    CHECK(cache.searches() == 3);
    CHECK(wzmis(cache.find(QuantileCache::Kind::range, 1.5, 27, {3})));

    // The methods with an F quantile, in every display, and the Bayes t.
    McBlock mc = block({5, 4, 2}, 0);
    QuantileCache shared;
    mc.quantiles = &shared;
    mc.dfe = 12;
    mc.fratio = 4;
    std::vector<double> range;
    for (int again = 0; again < 2; ++again) {
        for (McDisplay kind : {McDisplay::differences, McDisplay::lines}) {
            for (McMethod method : {McMethod::t, McMethod::bon, McMethod::sidak, McMethod::scheffe, McMethod::waller}) {
                CHECK(zmccrit(mc, kind, method));
            }
        }
        CHECK(zmcrang(McMethod::regwf, mc, range, nullptr));
        CHECK(shared.searches() == 5);  // REGWF's are those of t and of Scheffe's test
    }
}

TEST_CASE("REGWQ: a span without quantile takes the next longer one's, however many of them there are") {
    // Quantiles end at 0.9999999: of 30 means at this alpha the levels of spans up to 6 lie beyond.
    std::vector<double> range;
    McBlock mc = block(descending(30), 0);
    QuantileCache cache;
    mc.quantiles = &cache;
    mc.dfe = 120;
    mc.se = 1;
    mc.alpha = 4.5e-7;
    const std::size_t before = host_log().entries().size();
    REQUIRE(zmcrang(McMethod::regwq, mc, range, nullptr));
    CHECK(host_log().entries().size() == before + 5);  // one for each of 2 to 6
    for (std::size_t s = 0; s < 5; ++s) CHECK(range[s] == range[5]);
    CHECK(range[5] > 0);
    // The longest span has nothing to take over; the methods that go upward stop at the first failure.
    mc.alpha = 0.5e-7;
    CHECK_FALSE(zmcrang(McMethod::regwq, mc, range, nullptr));
    mc.alpha = 0.5;
    CHECK_FALSE(zmcrang(McMethod::duncan, mc, range, nullptr));  // 0.5^29 for the longest span
    CHECK(range[5] > 0);
    CHECK(host_log().entries().back().number == 145);
    CHECK(zmcrang(McMethod::snk, mc, range, nullptr));
}

TEST_CASE("methods without a critical value say so and leave the block as it was") {
    McBlock mc = block({3, 2}, 7);
    QuantileCache cache;
    mc.quantiles = &cache;
    mc.dfe = 8;
    mc.se = 1;
    CHECK_FALSE(zmccrit(mc, McDisplay::lines, McMethod::waller));  // two means
    mc.alpha = 1;
    CHECK_FALSE(zmccrit(mc, McDisplay::lines, McMethod::t));
    mc.alpha = 1e-18;  // 1 - (1 - alpha) is 0
    CHECK_FALSE(zmccrit(mc, McDisplay::lines, McMethod::sidak));
    CHECK(mc.msd == 7);
    mc.alpha = 0.05;
    CHECK(zmccrit(mc, McDisplay::lines, McMethod::t));
    CHECK(mc.msd == doctest::Approx(2.306004135204166).epsilon(1e-12));  // R: qt(.975, 8)
}

TEST_CASE("order statistics: median of even and odd samples, frequencies as repeated values") {
    double odd[] = {5, 1, 4, 2, 3}, even[] = {8, 1, 6, 3}, tied[] = {2, 2, 2, 1};
    CHECK(Quantile(odd, 5, 0.5) == 3);
    CHECK(Quantile(even, 4, 0.5) == 4.5);
    CHECK(Quantile(tied, 4, 0.5) == 2);
    CHECK(wzmis(Quantile(odd, 0, 0.5)));
    double values[] = {9, 3, 7, 1, 5, 2}, freqs[] = {1, 2, 3, 4, 5, 6};
    ShellSort(values, 6, freqs);
    const double sorted[] = {1, 2, 3, 5, 7, 9}, moved[] = {4, 6, 2, 5, 3, 1};
    for (int i = 0; i < 6; ++i) {
        CHECK(values[i] == sorted[i]);
        CHECK(freqs[i] == moved[i]);
    }
    CHECK(Fidx(3, values, 6, freqs) == 1);
    CHECK(Fidx(4, values, 6, freqs) == 2);
    CHECK(Fidx(20, values, 6, freqs) == 9);
    CHECK(wzmis(Fidx(21, values, 6, freqs)));
    CHECK(Fidx(2, values, 6, nullptr) == 3);
}
