// Crossproducts and column statistics of a pass, against a dense design in long double that is made from the texts of
// the data. Where all values are small integers every sum is exact, and so is the comparison.
#include <cmath>
#include <limits>
#include <random>

#include "support/dense_oracle.h"

using namespace vek;
using namespace vek::test;

namespace {

/// What vekxpx would keep of an accumulation.
struct Sums {
    std::vector<double> triangle, colsum, absrow, colss, colmax, colmin, yorigin, xmeans, counts;
    int groups = 0;

    Sums(ModelBlock& zgm, bool shift, bool by_rows = false)
        : triangle(static_cast<std::size_t>(zgm.ncoly) * static_cast<std::size_t>(zgm.ncoly + 1) / 2),
          colsum(static_cast<std::size_t>(zgm.ncoly)),
          absrow(colsum.size()),
          colss(colsum.size()),
          colmax(colsum.size()),
          colmin(colsum.size(), std::numeric_limits<double>::max()),
          yorigin(static_cast<std::size_t>(zgm.nyp)),
          xmeans(static_cast<std::size_t>(zgm.nreg + zgm.nprod)),
          counts(xmeans.size()) {
        zgmacci(zgm);
        zgmscpi(zgm, colsum.data(), absrow.data(), triangle.data(), 'R');
        if (by_rows) {
            add_rows(zgm);
        } else {
            sum_records(zgm, {colss.data(), colmax.data(), colmin.data(), shift ? yorigin.data() : nullptr,
                              xmeans.data(), counts.data()});
        }
        groups = zgmscpe(zgm);
    }

    /// The plain loop. From many continuous elements on their products are fused, as the blocked kernel does it.
    static void add_rows(ModelBlock& zgm) {
        for (zgmloli(zgm, record_all, true); zgmlolc(zgm); zgmloln(zgm, record_all, true)) {
            CHECK(zgmacc(zgm) == 0);
            zgmscp(zgm);
        }
    }
};

std::string number(int value) { return std::to_string(value); }

/// Random rows over a b c (classes), x z (regressors), y u (dependents), f (frequency), w (weight), g h (groups).
TextTable random_table(std::mt19937& random, int rows, bool gaps) {
    TextTable table("a b c x z y u f w g h\n");
    for (int r = 0; r < rows; ++r) {
        const auto pick = [&](int n) { return number(static_cast<int>(random() % static_cast<unsigned>(n))); };
        const auto missing_or = [&](std::string text) { return gaps && random() % 12 == 0 ? "." : text; };
        std::string frequency = pick(4);
        if (gaps && random() % 5 == 0) frequency += ".75";
        table.rows.push_back({missing_or(pick(4)), "t" + pick(3), pick(5), missing_or(pick(9)), pick(7),
                              missing_or(pick(50)), missing_or(pick(50)), missing_or(frequency), pick(4),
                              number(r * 6 / rows), number(r * 15 / rows)});
    }
    return table;
}

void check_against_dense(const ModelBlock& zgm, const Sums& sums, const DenseDesign& dense, bool shifted) {
    REQUIRE(dense.rows.size() > 0);
    REQUIRE(static_cast<std::size_t>(zgm.ncol) == dense.x_columns);
    const std::size_t p = dense.x_columns, q = dense.rows[0].size();
    // What a shift of the dependents by the first row's values leaves.
    DenseDesign expected = dense;
    if (shifted) {
        const std::vector<long double> first = dense.rows[0];
        for (auto& row : expected.rows) {
            for (std::size_t c = p; c < q; ++c) row[c] -= first[c];
        }
    }
    long double total = 0;
    for (const long double w : expected.weights) total += w;
    CHECK(zgm.sumw == static_cast<double>(total));
    for (std::size_t i = 0; i < q; ++i) {
        CAPTURE(i);
        const int c = static_cast<int>(i);
        CHECK(sums.colsum[i] == static_cast<double>(expected.column_sum(i)));
        CHECK(sums.colss[i] == static_cast<double>(expected.product(i, i)));
        long double largest = 0, smallest = std::numeric_limits<double>::max();
        for (std::size_t r = 0; r < expected.rows.size(); ++r) {
            if (!expected.present[r][i]) continue;
            largest = std::max(largest, std::fabs(expected.rows[r][i]));
            smallest = std::min(smallest, std::fabs(expected.rows[r][i]));
        }
        CHECK(sums.colmax[i] == static_cast<double>(largest));
        CHECK(sums.colmin[i] == static_cast<double>(smallest));
        for (std::size_t j = i; j < q; ++j)
            CHECK(zgm.xpxrows[c][static_cast<int>(j)] == static_cast<double>(expected.product(i, j)));
    }
}

}  // namespace

TEST_CASE("X'WX equals the dense one for models of every kind of effect, with gaps, frequencies and weights") {
    std::mt19937 random(3);
    const std::vector<std::vector<std::string>> models{
        {},
        {"x"},
        {"a", "b", "a*b"},
        {"a", "b", "c"},
        {"a", "b", "a*b", "c", "b*c", "a*b*c"},
        {"a", "b(a)", "c(a b)"},
        {"x", "a", "x*a", "z", "x*z", "z*b"},
        {"a", "x*a", "x(a b)", "x*x", "z*x*b"},
        {"x*z", "z*z", "a*b", "b*a", "a(b)"},
    };
    for (const auto& effects : models) {
        for (int variant = 0; variant < 12; ++variant) {
            CAPTURE(variant);
            CAPTURE(effects.size());
            const TextTable table = random_table(random, 20 + static_cast<int>(random() % 200), variant % 2 == 1);
            ModelText text{.classes = {"a", "b", "c"}, .dependents = {"y"}, .effects = effects};
            if (variant % 3 == 1) text.freq = "f";
            if (variant % 4 >= 2) text.weight = "w";
            text.noint = variant % 5 == 4 && !effects.empty();
            text.multipass = variant % 6 == 5;
            const bool shift = !text.noint && variant % 2 == 0;
            // With a shift that was not foreseen the sums are made again from records.
            text.fitonly = variant % 4 < 2;
            text.shift = shift && variant != 4;
            ModelStep step(table, text);
            step.lay_out();
            const Sums sums(step.zgm, shift);
            check_against_dense(step.zgm, sums, DenseDesign(table, text, {"y"}), shift);
        }
    }
}

TEST_CASE("two passes: each with its own rows and columns, from the same records") {
    const TextTable table(R"(
        a x y u v
        1 1 4 . 1
        2 2 5 7 2
        3 3 . 8 .
        4 4 . 9 .
        2 5 6 3 3
    )");
    const ModelText text{.classes = {"a"}, .dependents = {"y", "u", "v"}, .effects = {"a", "x"}};
    ModelStep step(table, text);
    step.lay_out();
    CHECK(step.zgm.npass == 2);
    CHECK(step.zgm.nyp == 2);
    CHECK(step.columns(1) == "1 2");
    check_against_dense(step.zgm, Sums(step.zgm, false), DenseDesign(table, text, {"y", "v"}), false);
    step.next_pass();
    CHECK(step.columns(1) == "2 3 4");
    check_against_dense(step.zgm, Sums(step.zgm, false), DenseDesign(table, text, {"u"}), false);
    step.next_pass();
    CHECK_FALSE(zgmpslc(step.zgm));
}

TEST_CASE("the sums of batches have the digits of the loop over single rows") {
    std::mt19937 random(5);
    for (const bool multipass : {false, true}) {
        TextTable table = random_table(random, 700, true);
        std::uniform_real_distribution<double> spread(-3, 3);
        for (auto& row : table.rows) {
            for (const std::size_t c : {3U, 4U, 5U, 8U}) {
                if (row[c] != ".") row[c] = std::to_string(c == 8 ? std::fabs(spread(random)) + 0.01 : spread(random));
            }
        }
        ModelStep step(table, {.classes = {"a", "b", "c"},
                               .dependents = {"y"},
                               .effects = {"a", "x", "b", "z", "a*b", "x*c", "x*z", "c(a)", "x*x*b"},
                               .freq = "f",
                               .weight = "w",
                               .multipass = multipass});
        step.lay_out();
        const Sums batches(step.zgm, false);
        const Sums rows(step.zgm, false, true);
        CHECK(batches.triangle == rows.triangle);
        CHECK(batches.colsum == rows.colsum);
    }
}

TEST_CASE("many regressors: the blocked kernel takes the place of the loop, beside class effects and weights") {
    std::mt19937 random(17);
    TextTable table("a w y\n");
    ModelText text{.classes = {"a"}, .dependents = {"y"}, .effects = {"a"}, .weight = "w"};
    for (int k = 0; k < 40; ++k) {
        table.names.push_back("x" + number(k));
        text.effects.push_back(table.names.back());
    }
    text.effects.insert(text.effects.begin() + 20, "x3*a");
    for (int r = 0; r < 333; ++r) {
        std::vector<std::string> row{number(static_cast<int>(random() % 5)), number(static_cast<int>(random() % 4))};
        for (int k = 0; k <= 40; ++k) row.push_back(number(static_cast<int>(random() % 100) - 50));
        table.rows.push_back(row);
    }
    for (const bool noint : {false, true}) {
        text.noint = noint;
        text.fitonly = text.shift = !noint;
        ModelStep step(table, text);
        step.lay_out();
        check_against_dense(step.zgm, Sums(step.zgm, !noint), DenseDesign(table, text, {"y"}), !noint);
    }
}

TEST_CASE("sums that are made while reading have the digits of those from records, in every BY group") {
    std::mt19937 random(31);
    TextTable table = random_table(random, 900, true);
    std::uniform_real_distribution<double> spread(-3, 3);
    for (auto& row : table.rows) {
        for (const std::size_t c : {3U, 4U, 5U}) {
            if (row[c] != ".") row[c] = std::to_string(spread(random));
        }
    }
    ModelText text{.classes = {"a", "b"},
                   .dependents = {"y"},
                   .effects = {"a", "x", "a*b", "z", "x*z"},
                   .freq = "f",
                   .weight = "w",
                   .by = {"g"}};
    std::vector<Sums> expected;
    {
        ModelStep step(table, text);
        for (int group = 0; group < 6; ++group) {
            expected.emplace_back(step.lay_out().zgm, false);
            zgmpsln(step.zgm);
        }
    }
    text.fitonly = true;
    ModelStep step(table, text);
    for (int group = 0; group < 6; ++group) {
        CAPTURE(group);
        ModelBlock& zgm = step.lay_out().zgm;
        CHECK(zgm.ufile == nullptr);
        const Sums sums(zgm, false);
        CHECK(sums.triangle == expected[static_cast<std::size_t>(group)].triangle);
        CHECK(sums.colsum == expected[static_cast<std::size_t>(group)].colsum);
        CHECK(sums.xmeans == expected[static_cast<std::size_t>(group)].xmeans);
        CHECK(sums.colmin == expected[static_cast<std::size_t>(group)].colmin);
        zgmpsln(zgm);
    }
}

TEST_CASE("records that were not written are made when somebody reads them, with the levels and counts of before") {
    const TextTable table(R"(
        a x y
        10 1 1
        2 2 .
        9 3 3
        . 4 4
        10 5 5
    )");
    ModelText text{.classes = {"a"}, .dependents = {"y"}, .effects = {"a", "x"}, .fitonly = true};
    ModelStep step(table, text);
    step.lay_out();
    ModelBlock& zgm = step.zgm;
    check_against_dense(zgm, Sums(zgm, false), DenseDesign(table, text, {"y"}), false);
    const std::string columns = step.columns(1);
    std::string types;
    for (zgmloli(zgm, record_missing, false); zgmlolc(zgm); zgmloln(zgm, record_missing, false))
        types += std::to_string(*zgm.rectype) + (*zgm.rectype >= 0 && zgmacc(zgm) == 0 ? "+ " : "- ");
    CHECK(types == "1+ 0- 1+ -1- 1+ ");
    CHECK(zgm.ynobs[0] == 3);
    CHECK(step.levels(0) == "2 9 10");
    zgmbldi(zgm);
    CHECK(step.columns(1) == columns);
    check_against_dense(zgm, Sums(zgm, false), DenseDesign(table, text, {"y"}), false);
}

TEST_CASE("means of regressors and products are weighted by frequency alone") {
    const TextTable table(R"(
        x z f w y
        1 2 2.9 7 1
        4 5 1 1 2
        9 9 0 1 3
    )");
    ModelStep step(table, {.dependents = {"y"}, .effects = {"x", "x*z"}, .freq = "f", .weight = "w"});
    step.lay_out();
    const Sums sums(step.zgm, true);
    CHECK(sums.xmeans == std::vector<double>{2 * 1 + 4, 2 * 2 + 5, 2 * 2 + 20});
    CHECK(sums.counts == std::vector<double>{3, 3, 3});
    CHECK(step.zgm.sumw == 15);
    CHECK(step.zgm.ynobs[0] == 3);
}

TEST_CASE("absorption takes the group means out, as a dense design does that has them subtracted") {
    std::mt19937 random(23);
    for (int trial = 0; trial < 12; ++trial) {
        CAPTURE(trial);
        const TextTable table = random_table(random, 150, trial % 2 == 1);
        ModelText text{.classes = {"a", "b"}, .dependents = {"y"}, .effects = {"a", "x", "a*b", "z*b"}};
        text.absorb = trial % 3 == 2 ? std::vector<std::string>{"g", "h"} : std::vector<std::string>{"h"};
        if (trial % 4 == 1) text.freq = "f";
        if (trial % 4 == 2) text.weight = "w";
        ModelStep step(table, text);
        step.lay_out();
        ModelBlock& zgm = step.zgm;
        const Sums sums(zgm, trial % 2 == 0);
        DenseDesign dense(table, text, {"y"});
        dense.absorb(text.absorb);
        CHECK(sums.groups == static_cast<int>(dense.group_count));
        for (int i = 0; i < zgm.ncoly; ++i) {
            for (int j = i; j < zgm.ncoly; ++j) {
                const auto expected =
                    static_cast<double>(dense.product(static_cast<std::size_t>(i), static_cast<std::size_t>(j)));
                CHECK(zgm.xpxrows[i][j] == doctest::Approx(expected).epsilon(1e-11));
            }
        }
    }
}

TEST_CASE("rows of the ABSORB variables: levels and sums of squares add up to those of their combinations") {
    // y by g: {1, 3 | 5} {7}; by h in g: {1, 3} {5} {7}. Sums of squares by hand: groups 16/2 + 25 + 49 = 82 for h,
    // 81/3 + 49 = 76 for g, 256/4 = 64 for the mean.
    const TextTable table(R"(
        g h y
        1 1 1
        1 1 3
        1 2 5
        2 1 7
    )");
    ModelStep step(table, {.dependents = {"y"}, .absorb = {"g", "h"}});
    step.lay_out();
    const Sums sums(step.zgm, false);
    CHECK(sums.groups == 3);
    CHECK(step.zgm.absorb[0].nlevels == 1);
    CHECK(step.zgm.absorb[1].nlevels == 1);
    CHECK(step.zgm.absss[0] == doctest::Approx(76 - 64));
    CHECK(step.zgm.absss[1] == doctest::Approx(82 - 76));
    CHECK(step.zgm.xpxrows[0][0] == doctest::Approx(2));
}

TEST_CASE("reading loops: types, dependents of the pass, and every row in order, with and without MULTIPASS") {
    const TextTable table(R"(
        a x y u
        1 1 1 .
        . 2 2 2
        3 . 3 3
        4 4 . 4
        5 5 . .
        6 6 6 6
    )");
    for (const bool multipass : {false, true}) {
        ModelStep step(table,
                       {.classes = {"a"}, .dependents = {"y", "u"}, .effects = {"a", "x"}, .multipass = multipass});
        step.lay_out();
        ModelBlock& zgm = step.zgm;
        const auto walk = [&](int least_type, bool needy) {
            std::string seen;
            for (zgmloli(zgm, least_type, needy); zgmlolc(zgm); zgmloln(zgm, least_type, needy)) {
                seen += std::to_string(*zgm.rectype) + ':';
                seen += wzmis(zgm.yval[0]) ? "." : std::to_string(static_cast<int>(zgm.yval[0]));
                seen += ' ';
            }
            return seen;
        };
        CHECK(walk(record_all, true) == "2:1 1:6 ");
        CHECK(walk(record_none, false) == "2:1 2:. 0:. 1:6 ");
        CHECK(walk(record_missing, false) == "2:1 -1:2 -1:3 2:. 0:. 1:6 ");
    }
}

TEST_CASE("flags of a row: bad frequency, bad weight, incomplete") {
    const TextTable table(R"(
        a x f w y
        1 1 1.9 2 1
        1 2 0.5 2 1
        1 3 1 0 1
        1 4 . -1 1
        2 . 1 1 1
    )");
    ModelStep step(table, {.classes = {"a"}, .dependents = {"y"}, .effects = {"a", "x"}, .freq = "f", .weight = "w"});
    step.lay_out();
    ModelBlock& zgm = step.zgm;
    std::vector<int> flags;
    std::vector<double> weights;
    for (zgmloli(zgm, record_missing, false); zgmlolc(zgm); zgmloln(zgm, record_missing, false)) {
        flags.push_back(zgmacc(zgm));
        weights.push_back(wzmis(zgm.w) ? -1 : zgm.w);
    }
    CHECK(flags == std::vector<int>{0, zgmacc_bad_frequency, zgmacc_bad_weight,
                                    zgmacc_bad_frequency | zgmacc_bad_weight, zgmacc_unusable});
    CHECK(weights == std::vector<double>{2, -1, -1, -1, 1});
}
