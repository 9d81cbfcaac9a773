// Functions of Types III and IV out of the generating rows, on layouts with empty cells. The generating rows come from
// plain elimination of a dense X'X in long double.
#include <algorithm>
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
            find_range(i);
        }
        H = {.ncol = n,
             .zeta = 1e-8,
             .rows = pointers.data(),
             .active = active.data(),
             .low = low.data(),
             .high = high.data()};
        work = {.level = level.data(), .saved = saved.data(), .order = order.data(), .effectrows = effectrows.data()};
    }
    /// The narrowest range, so that a row operation that does not widen it shows. A row without coefficients has none.
    void find_range(std::size_t i) {
        const auto present = [](double x) { return x != 0; };
        const auto first = std::find_if(h[i].begin(), h[i].end(), present);
        const auto last = std::find_if(h[i].rbegin(), h[i].rend(), present);
        low[i] = static_cast<int>(first - h[i].begin());
        high[i] = static_cast<int>(h[i].rend() - last);
    }
    void keep() {
        saved_rows = h;
        saved_active = active;
    }
    void restore(HypothesisRows&) override {
        for (std::size_t i = 0; i < h.size(); ++i) {
            std::copy(saved_rows[i].begin(), saved_rows[i].end(), h[i].begin());
            active[i] = saved_active[i];
            find_range(i);
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

namespace {

/// Columns of one effect by the level of another that contains their observations: of column k of `inner`, the columns
/// of `outer` that are 1 only where k is.
std::vector<std::size_t> cells_within(const DenseDesign& dense, std::size_t k, const EffectMod& outer) {
    std::vector<std::size_t> cells;
    for (int c = outer.firstcol; c < outer.firstcol + outer.ncols; ++c) {
        const auto cell = static_cast<std::size_t>(c);
        bool within = true;
        for (const auto& row : dense.rows) within = within && (row[cell] == 0 || row[k] != 0);
        if (within) cells.push_back(cell);
    }
    return cells;
}

/// row H = row, the mark of an estimable function.
bool is_estimable(const std::vector<double>& row, const Rows& h) {
    for (std::size_t j = 0; j < row.size(); ++j) {
        double s = 0;
        for (std::size_t i = 0; i < row.size(); ++i) s += row[i] * h[i][j];
        if (std::fabs(s - row[j]) > 1e-9) return false;
    }
    return true;
}

/// The columns of effects that contain e, by the column of e whose observations they hold: for each column its place in
/// e, or -1.
std::vector<int> places_within(const Layout& layout, int e) {
    const ModelBlock& zgm = layout.step.zgm;
    const EffectMod& own = *zgm.modrecs[e];
    std::vector<int> place(layout.h.size(), -1);
    for (int i = 1; i <= zgm.neff; ++i) {
        if (i == e || EffectCompare(*zgm.effects[i], *zgm.effects[e]) != 1) continue;
        for (int c = 0; c < own.ncols; ++c) {
            for (const std::size_t k :
                 cells_within(layout.dense, static_cast<std::size_t>(own.firstcol + c), *zgm.modrecs[i])) {
                place[k] = c;
            }
        }
    }
    return place;
}

/// Type IV rows by whole rows and columns: from the reduced rows that `reduced` holds.
struct DenseType4 {
    const Layout& layout;
    const int e;
    const Rows& start;
    const std::vector<std::int16_t>& start_active;
    const std::size_t begin, end, p;
    Rows h{};
    std::vector<bool> active{};
    std::vector<int> place{};
    bool unique = true;

    DenseType4(const Layout& l, int effect, const Hypothesis& reduced)
        : layout(l),
          e(effect),
          start(reduced.h),
          start_active(reduced.active),
          begin(static_cast<std::size_t>(l.step.zgm.modrecs[effect]->firstcol)),
          end(begin + static_cast<std::size_t>(l.step.zgm.modrecs[effect]->ncols)),
          p(l.h.size()) {}

    bool own(std::size_t c) const { return c >= begin && c < end; }
    void pivot(std::size_t r, std::size_t c) {
        const double d = h[r][c];
        for (double& x : h[r]) x /= d;
        for (std::size_t s = 0; s < p; ++s) {
            if (s == r || !active[s]) continue;
            const double a = h[s][c];
            for (std::size_t j = 0; j < p; ++j) h[s][j] -= a * h[r][j];
            h[s][c] = 0;
        }
        active[r] = false;
    }
    /// The last active row that `wanted` takes and that reaches column k; p when there is none.
    template <class Wanted>
    std::size_t reaching(std::size_t k, Wanted wanted) const {
        for (std::size_t r = p; r-- > 0;) {
            if (active[r] && wanted(r) && std::fabs(h[r][k]) > 1e-8) return r;
        }
        return p;
    }
    void set_to_zero(std::size_t k, std::size_t keep) {
        if (const std::size_t row = reaching(k, [&](std::size_t s) { return s != keep; }); row < p) pivot(row, k);
        place[k] = -1;
    }
    /// The row of e's column r, when that is active.
    std::vector<double> row(std::size_t r) {
        h = start;
        active.assign(p, false);
        std::size_t left = 0;
        bool others = false;
        for (std::size_t s = 0; s < p; ++s) {
            active[s] = start_active[s] != 0 && (!own(s) || s == r);
            others = others || (active[s] && !own(s));
        }
        place = places_within(layout, e);
        for (std::size_t c = begin; c < end; ++c) {
            if (std::fabs(h[r][c]) > 1e-8) continue;
            for (std::size_t k = 0; k < p; ++k) {
                if (place[k] == static_cast<int>(c - begin)) set_to_zero(k, r);
            }
        }
        for (std::size_t k = 0; k < p; ++k) {
            if (place[k] < 0 || reaching(k, [](std::size_t) { return true; }) < p) continue;
            place[k] = -1;
            unique = unique && !others;  // without rows of other effects there is nothing to choose
        }
        for (std::size_t s = 0; s < p; ++s) left += active[s] ? 1 : 0;
        const ModelBlock& zgm = layout.step.zgm;
        for (int order = 3; order > zgm.effects[e]->nclass(); --order) {
            for (int i = 1; i <= zgm.neff && left > 1; ++i) {
                if (zgm.effects[i]->nclass() == order) share_among(*zgm.modrecs[i], r, &left);
            }
        }
        return h[r];
    }
    void share_among(const EffectMod& mod, std::size_t r, std::size_t* left) {
        for (std::size_t c = begin; c < end; ++c) {
            std::vector<std::size_t> cells;
            for (auto k = static_cast<std::size_t>(mod.firstcol);
                 k < static_cast<std::size_t>(mod.firstcol + mod.ncols); ++k) {
                if (place[k] == static_cast<int>(c - begin)) cells.push_back(k);
            }
            for (const std::size_t k : cells) {
                const std::size_t source = reaching(k, [&](std::size_t s) { return !own(s); });
                if (source == p) continue;
                pivot(source, k);
                const double a = h[r][c] / static_cast<double>(cells.size());
                for (std::size_t j = 0; j < p; ++j) h[r][j] += a * h[source][j];
                --*left;
            }
        }
    }
};

/// Where every cell has data, a coefficient is shared equally among the cells of its level.
void check_shares(const Layout& layout, const std::vector<double>& row, int e) {
    const ModelBlock& zgm = layout.step.zgm;
    const EffectMod& own = *zgm.modrecs[e];
    for (int i = 1; i <= zgm.neff; ++i) {
        if (i == e || EffectCompare(*zgm.effects[i], *zgm.effects[e]) != 1) continue;
        for (int c = own.firstcol; c < own.firstcol + own.ncols; ++c) {
            const auto cells = cells_within(layout.dense, static_cast<std::size_t>(c), *zgm.modrecs[i]);
            const double share = row[static_cast<std::size_t>(c)] / static_cast<double>(cells.size());
            for (const std::size_t k : cells) CHECK(std::fabs(row[k] - share) < 1e-9);
        }
    }
}

}  // namespace

TEST_CASE(
    "Type IV rows: equal shares where all cells have data, else those of whole rows, in any order of the effects") {
    const std::vector<std::vector<std::string>> models = {{"a", "b", "a*b"},
                                                          {"a*b", "b", "a"},
                                                          {"a", "b", "c", "a*b", "a*c", "b*c", "a*b*c"},
                                                          {"a*b*c", "b*c", "a*c", "a*b", "c", "b", "a"},
                                                          {"b(a)", "a", "c"},
                                                          {"c", "a*b", "a", "b*c", "b"},
                                                          {"a", "c", "b(a)", "c*b(a)"}};
    std::mt19937 random(11);
    for (int trial = 0; trial < 56; ++trial) {
        const auto& effects = models[static_cast<std::size_t>(trial) % models.size()];
        const bool full = trial >= 42;
        std::string text = "a b c y\n";
        for (unsigned r = 0; r < (full ? 36U : 15U); ++r) {
            const auto pick = [&](unsigned n) { return random() % n; };
            const unsigned cell = full ? r % 18 : static_cast<unsigned>(pick(18));
            text += std::to_string(cell % 3) + " " + std::to_string(cell / 3 % 3) + " " + std::to_string(cell / 9) +
                    " " + std::to_string(pick(9)) + "\n";
            if (full && pick(2) == 0) --r;
        }
        Layout layout(text, {"a", "b", "c"}, effects);
        for (int e = 1; e <= layout.step.zgm.neff; ++e) {
            CAPTURE(trial);
            CAPTURE(e);
            bool unique = false;
            const Rows rows = layout.type4_rows(e, &unique);
            Hypothesis reduced(layout.h, layout.step.zgm);
            REQUIRE(rows.size() == static_cast<std::size_t>(zss_initialize(reduced.H, layout.step.zgm, e)));
            DenseType4 plain(layout, e, reduced);
            std::size_t next = 0;
            for (std::size_t c = plain.begin; c < plain.end; ++c) {
                if (reduced.active[c] == 0) continue;
                const std::vector<double>& row = rows[next++];
                const std::vector<double> expected = plain.row(c);
                for (std::size_t j = 0; j < row.size(); ++j) CHECK(std::fabs(row[j] - expected[j]) < 1e-9);
                CHECK(is_estimable(row, layout.h));
                if (full) check_shares(layout, row, e);
            }
            if (!rows.empty()) CHECK(unique == plain.unique);
            if (full) CHECK(unique);
        }
    }
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
