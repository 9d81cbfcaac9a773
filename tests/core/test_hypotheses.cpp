// Functions of Types III and IV out of the generating rows, on layouts with empty cells. The generating rows come from
// plain elimination of a dense X'X in long double.
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "core/zss.h"
#include "model/zlst.h"
#include "support/dense_oracle.h"

using namespace vek;
using namespace vek::test;

namespace {

using Rows = std::vector<std::vector<double>>;

/// H = (X'X)^- X'X with zero rows for dependent columns.
Rows generating_rows(const DenseDesign& dense) {
    const std::size_t p = dense.x_columns;
    std::vector<std::vector<long double>> a(p, std::vector<long double>(p));
    for (std::size_t i = 0; i < p; ++i) {
        for (std::size_t j = 0; j < p; ++j) a[i][j] = dense.product(i, j);
    }
    std::vector<bool> pivot(p, false);
    for (std::size_t c = 0; c < p; ++c) {
        const long double d = a[c][c];
        if (std::fabs(d) < 1e-9L) continue;
        pivot[c] = true;
        for (std::size_t j = 0; j < p; ++j) a[c][j] /= d;
        for (std::size_t i = 0; i < p; ++i) {
            if (i == c) continue;
            const long double f = a[i][c];
            for (std::size_t j = 0; j < p; ++j) a[i][j] -= f * a[c][j];
        }
    }
    Rows h(p, std::vector<double>(p, 0.0));
    for (std::size_t i = 0; i < p; ++i) {
        if (!pivot[i]) continue;
        for (std::size_t j = 0; j < p; ++j) {
            if (std::fabs(a[i][j]) > 1e-12L) h[i][j] = static_cast<double>(a[i][j]);
        }
    }
    return h;
}

/// The hypothesis of one effect in the hands of zss and type4.
struct Hypothesis final : RowKeeper {
    Rows h, saved_rows;
    std::vector<double*> pointers;
    std::vector<std::int16_t> active, saved_active;
    std::vector<int> low, high, level, saved, order, effectrows;
    HypothesisRows H;
    Type4Work work;
    Rows emitted;

    Hypothesis(const Rows& rows, const ModelBlock& zgm)
        : h(rows),
          active(h.size()),
          low(h.size()),
          high(h.size()),
          level(h.size()),
          saved(h.size()),
          order(static_cast<std::size_t>(zgm.neff) + 1),
          effectrows(h.size()) {
        const int n = static_cast<int>(h.size());
        for (auto& row : h) pointers.push_back(row.data());
        for (std::size_t i = 0; i < h.size(); ++i) {
            active[i] = h[i][i] != 0 ? 1 : 0;
            high[i] = n;
        }
        H = {.ncol = n,
             .zeta = 1e-8,
             .rows = pointers.data(),
             .active = active.data(),
             .low = low.data(),
             .high = high.data()};
        work = {.level = level.data(), .saved = saved.data(), .order = order.data(), .effectrows = effectrows.data()};
    }
    void keep() {
        saved_rows = h;
        saved_active = active;
    }
    void restore(HypothesisRows&) override {
        for (std::size_t i = 0; i < h.size(); ++i) {
            std::copy(saved_rows[i].begin(), saved_rows[i].end(), h[i].begin());
            active[i] = saved_active[i];
            low[i] = 0;
            high[i] = H.ncol;
        }
    }
    void emit(const HypothesisRows&, int row) override { emitted.push_back(h[static_cast<std::size_t>(row)]); }
    Rows active_rows() const {
        Rows result;
        for (std::size_t i = 0; i < h.size(); ++i) {
            if (active[i] != 0) result.push_back(h[i]);
        }
        return result;
    }
};

struct Layout {
    TextTable table;
    ModelText model;
    ModelStep step;
    DenseDesign dense;
    Rows h;

    Layout(const std::string& text, std::vector<std::string> classes, std::vector<std::string> effects,
           bool noint = false)
        : table(text),
          model{.classes = std::move(classes), .dependents = {"y"}, .effects = std::move(effects), .noint = noint},
          step(table, model),
          dense(table, model, {"y"}),
          h() {
        step.lay_out();
        h = generating_rows(dense);
        REQUIRE(static_cast<std::size_t>(step.zgm.ncol) == h.size());
    }

    Rows type3(int e) {
        Hypothesis t(h, step.zgm);
        zss_initialize(t.H, step.zgm, e);
        zss_orthogonalize(t.H, step.zgm, e);
        return t.active_rows();
    }
    Rows type4_rows(int e, bool* unique) {
        Hypothesis t(h, step.zgm);
        zss_initialize(t.H, step.zgm, e);
        t.keep();
        *unique = type4(t.H, step.zgm, e, t.work, t);
        return t.emitted;
    }
};

void check_rows(const Rows& rows, const Rows& expected) {
    REQUIRE(rows.size() == expected.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        for (std::size_t j = 0; j < rows[i].size(); ++j) {
            CAPTURE(i);
            CAPTURE(j);
            CHECK(std::fabs(rows[i][j] - expected[i][j]) < 1e-13);
        }
    }
}

const char* const full2x2 = "a b y\n1 1 1\n1 2 2\n1 2 5\n2 1 3\n2 2 4\n";
const char* const gap2x3 = "a b y\n1 1 5\n1 1 7\n1 2 6\n1 3 9\n1 3 12\n2 1 4\n2 2 8\n2 2 10\n";
const char* const gap3x3 = "a b y\n1 1 5\n1 2 6\n2 1 9\n2 2 12\n2 3 4\n3 2 8\n3 3 10\n";

}  // namespace

TEST_CASE("Types III and IV of a layout with all cells are one") {
    Layout layout(full2x2, {"a", "b"}, {"a", "b", "a*b"});
    bool unique = false;
    const Rows a{{0, 1, -1, 0, 0, .5, .5, -.5, -.5}};
    check_rows(layout.type3(1), a);
    check_rows(layout.type4_rows(1, &unique), a);
    CHECK(unique);
    check_rows(layout.type3(3), {{0, 0, 0, 0, 0, 1, -1, -1, 1}});
}

TEST_CASE("2 by 3 with an empty cell: the choice among cells shows in Type IV") {
    Layout layout(gap2x3, {"a", "b"}, {"a", "b", "a*b"});
    bool unique = true;
    check_rows(layout.type3(2),
               {{0, 0, 0, 1, 0, -1, .75, .25, -1, .25, -.25}, {0, 0, 0, 0, 1, -1, .25, .75, -1, -.25, .25}});
    check_rows(layout.type4_rows(2, &unique),
               {{0, 0, 0, 1, 0, -1, 1, 0, -1, 0, 0}, {0, 0, 0, 0, 1, -1, 0, 1, -1, 0, 0}});
    CHECK_FALSE(unique);
    unique = true;
    const Rows a{{0, 1, -1, 0, 0, 0, .5, .5, 0, -.5, -.5}};
    check_rows(layout.type3(1), a);
    check_rows(layout.type4_rows(1, &unique), a);
    CHECK_FALSE(unique);
}

TEST_CASE("3 by 3 with two empty cells: common cells carry each Type IV row") {
    Layout layout(gap3x3, {"a", "b"}, {"a", "b", "a*b"});
    bool unique = true;
    check_rows(layout.type4_rows(1, &unique),
               {{0, 1, 0, -1, 0, 0, 0, 0, 1, 0, 0, 0, -1, 0}, {0, 0, 1, -1, 0, 0, 0, 0, 0, 0, .5, .5, -.5, -.5}});
    CHECK_FALSE(unique);
}

TEST_CASE("Type III rows are estimable, free of other effects, and orthogonal to those of containing effects") {
    std::mt19937 random(7);
    for (int trial = 0; trial < 12; ++trial) {
        std::string text = "a b c x y\n";
        for (int r = 0; r < 24; ++r) {
            const auto pick = [&](unsigned n) { return std::to_string(random() % n + 1); };
            text += pick(3) + " " + pick(3) + " " + pick(2) + " " + pick(9) + " " + pick(9) + "\n";
        }
        const std::vector<std::vector<std::string>> models = {
            {"a", "b", "a*b", "x"}, {"a", "x", "x*a"}, {"a", "b", "c", "a*b", "b*c"}, {"a", "c(a)", "b"}};
        const auto& effects = models[static_cast<std::size_t>(trial) % models.size()];
        Layout layout(text, {"a", "b", "c"}, effects, trial >= 8);
        const ModelBlock& zgm = layout.step.zgm;
        for (int e = 1; e <= zgm.neff; ++e) {
            CAPTURE(trial);
            CAPTURE(e);
            const Rows rows = layout.type3(e);
            const EffectMod& own = *zgm.modrecs[e];
            Hypothesis containing(layout.h, zgm);
            const int df = zss_initialize(containing.H, zgm, e);
            CHECK(rows.size() == static_cast<std::size_t>(df));
            for (const auto& row : rows) {
                for (std::size_t j = 0; j < row.size(); ++j) {
                    double s = 0;  // row H = row
                    for (std::size_t i = 0; i < row.size(); ++i) s += row[i] * layout.h[i][j];
                    CHECK(std::fabs(s - row[j]) < 1e-9);
                }
                for (int i = zgm.noint; i <= zgm.neff; ++i) {
                    if (i == e || (i > 0 && EffectCompare(*zgm.effects[i], *zgm.effects[e]) == 1)) continue;
                    const EffectMod& other = *zgm.modrecs[i];
                    for (int c = other.firstcol; c < other.firstcol + other.ncols; ++c) {
                        CHECK(std::fabs(row[static_cast<std::size_t>(c)]) < 1e-9);
                    }
                }
                for (std::size_t v = 0; v < row.size(); ++v) {
                    const int column = static_cast<int>(v);
                    if (containing.active[v] == 0 || (column >= own.firstcol && column < own.firstcol + own.ncols))
                        continue;
                    double s = 0;
                    for (std::size_t j = 0; j < row.size(); ++j) s += row[j] * containing.h[v][j];
                    CHECK(std::fabs(s) < 1e-8);
                }
            }
        }
    }
}
