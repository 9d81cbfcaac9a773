// The walk in panels against the plain sweep, column by column, to the last bit (0 and -0 being equal), on the layouts
// that fits meet; and the plain sweep against elimination in long double.
#include "numeric/sweep.h"

#include <doctest/doctest.h>

#include <cmath>
#include <random>
#include <vector>

#include "numeric/packed.h"

using namespace vek;

namespace {

struct Triangle {
    int order;
    std::vector<double> elements;
    std::vector<double*> rows;
    explicit Triangle(int n)
        : order(n), elements(static_cast<std::size_t>(triangle_size(n))), rows(static_cast<std::size_t>(n)) {
        point_rows();
    }
    Triangle(const Triangle& other) : order(other.order), elements(other.elements), rows(other.rows.size()) {
        point_rows();
    }
    void point_rows() {
        double* base = elements.data();
        for (int i = 0; i < order; ++i) {
            rows[static_cast<std::size_t>(i)] = base - i;
            base += order - i;
        }
    }
    double& at(int i, int j) { return rows[static_cast<std::size_t>(i)][j]; }
};

// Crossproducts of a design with an intercept, a class of `levels` levels (dependent on the intercept), a second class
// crossed at random with it, `regressors` columns, every seventh of them a copy of the one before, and two responses.
struct Design {
    int columns, order;
    Triangle crossproduct;
    std::vector<double> tolerance;
    Design(int levels, int second, int regressors)
        : columns(1 + levels + second + regressors), order(columns + 2), crossproduct(order) {
        std::mt19937_64 generator(7);
        std::uniform_real_distribution<double> uniform(-1, 1);
        std::vector<double> x(static_cast<std::size_t>(order));
        for (int row = 0; row < 4 * columns; ++row) {
            std::fill(x.begin(), x.end(), 0.0);
            const auto set = [&](int k, double value) { x[static_cast<std::size_t>(k)] = value; };
            set(0, 1);
            if (levels > 0) set(1 + row % levels, 1);
            if (second > 0) set(1 + levels + static_cast<int>(generator() % static_cast<unsigned>(second)), 1);
            for (int k = 1 + levels + second; k < columns; ++k)
                set(k, (k % 7) == 6 ? x[static_cast<std::size_t>(k - 1)] : uniform(generator));
            set(columns, uniform(generator));
            set(columns + 1, uniform(generator) + x[1]);
            for (int i = 0; i < order; ++i)
                for (int j = i; j < order; ++j)
                    crossproduct.at(i, j) += x[static_cast<std::size_t>(i)] * x[static_cast<std::size_t>(j)];
        }
        for (int c = 0; c < columns; ++c) tolerance.push_back(crossproduct.at(c, c) * 1e-9);
    }
};

struct Forward {
    std::vector<double> pivots;        // each column's diagonal when its turn came
    std::vector<double> kept_history;  // the kept block after every fifth column
    std::vector<int> swept;
};

void keep_block(Triangle& a, int columns, Forward& walk) {
    for (int i = columns; i < a.order; ++i)
        for (int j = i; j < a.order; ++j) walk.kept_history.push_back(a.at(i, j));
}

Forward forward_by_column(Triangle& a, const Design& design) {
    Forward walk;
    walk.swept.assign(static_cast<std::size_t>(a.order), 0);
    std::vector<double> scaled(static_cast<std::size_t>(a.order)), column(scaled);
    for (int c = 0; c < design.columns; ++c) {
        const auto k = static_cast<std::size_t>(c);
        const double d = a.at(c, c), tolerance = design.tolerance[k];
        walk.pivots.push_back(d);
        if (d < tolerance) {
            for (int j = c; j < a.order; ++j) a.at(c, j) = 0;
            for (int i = 0; i <= c - 2; ++i)
                if (walk.swept[static_cast<std::size_t>(i)] && a.at(i, c) * a.at(i, c) / a.at(i, i) < tolerance)
                    a.at(i, c) = 0;
        } else {
            walk.swept[k] = 1;
            sweep_column(a.rows.data(), a.order, c, d, nullptr, scaled.data(), column.data());
        }
        if (c % 5 == 0) keep_block(a, design.columns, walk);
    }
    return walk;
}

// `settle_every`: after so many columns the triangle is made current, as for a printed row.
Forward forward_by_panel(Triangle& a, const Design& design, InstructionSet set, int settle_every) {
    Forward walk;
    walk.swept.assign(static_cast<std::size_t>(a.order), 0);
    std::vector<double> work(static_cast<std::size_t>(PanelSweep::work_doubles(a.order)), 1e300);
    PanelSweep sweep(a.rows.data(), a.order, design.columns, work.data(), set);
    for (int c = 0; c < design.columns; ++c) {
        const auto k = static_cast<std::size_t>(c);
        const double d = sweep.pivot(c);
        walk.pivots.push_back(d);
        if (d < design.tolerance[k]) {
            sweep.clear_dependent(c, design.tolerance[k], walk.swept.data());
        } else {
            walk.swept[k] = 1;
            sweep.sweep(c, d);
        }
        if (c % 5 == 0) keep_block(a, design.columns, walk);
        if (c % settle_every == settle_every - 1) sweep.settle();
    }
    sweep.settle();
    return walk;
}

}  // namespace

TEST_CASE("sweep: a panel changes a pivot, a drop decision, the responses' block or the triangle") {
    struct Case {
        int levels, second, regressors, settle_every;
    };
    const Case cases[] = {{3, 2, 4, 1000}, {0, 0, 190, 1000}, {90, 50, 40, 1000},
                          {170, 3, 0, 37}, {60, 60, 60, 130}, {0, 0, 157, 1000}};
    for (const Case& layout : cases) {
        CAPTURE(layout.levels);
        CAPTURE(layout.regressors);
        const Design design(layout.levels, layout.second, layout.regressors);
        Triangle expected = design.crossproduct;
        const Forward plain = forward_by_column(expected, design);
        for (InstructionSet set : {InstructionSet::portable, InstructionSet::avx2, InstructionSet::avx512}) {
            if (!instruction_set_runs(set)) continue;
            CAPTURE(instruction_set_name(set));
            Triangle found = design.crossproduct;
            const Forward panels = forward_by_panel(found, design, set, layout.settle_every);
            CHECK(panels.swept == plain.swept);
            CHECK(panels.pivots == plain.pivots);
            CHECK(panels.kept_history == plain.kept_history);
            CHECK(found.elements == expected.elements);
        }
    }
}

TEST_CASE("sweep: a walk back and forth with states differs between panels and single columns") {
    const Design design(70, 50, 60);
    REQUIRE(design.order >= PanelSweep::least_order);
    const int n = design.order;
    for (InstructionSet set : {InstructionSet::portable, InstructionSet::avx2, InstructionSet::avx512}) {
        if (!instruction_set_runs(set)) continue;
        CAPTURE(instruction_set_name(set));
        Triangle expected = design.crossproduct, found = design.crossproduct;
        std::vector<double> scaled(static_cast<std::size_t>(n)), column(scaled);
        std::vector<double> work(static_cast<std::size_t>(PanelSweep::work_doubles(n)) + 1);
        PanelSweep sweep(found.rows.data(), n, design.columns, work.data() + 1, set);
        std::vector<int> signs(static_cast<std::size_t>(n), 1), signs_of_panels = signs;
        std::mt19937_64 generator(3);
        int swept = 0, refused = 0;
        for (int step = 0; step < 700; ++step) {
            // Runs of neighbours, then leaps; a column may come twice in a panel.
            const int c = step % 350 < 250 ? (step * 6 / 5) % design.columns
                                           : static_cast<int>(generator() % static_cast<unsigned>(design.columns));
            const auto k = static_cast<std::size_t>(c);
            const double d = expected.at(c, c);
            REQUIRE(sweep.pivot(c) == d);
            if (d >= design.tolerance[k] || signs[k] == -1) {
                ++swept;
                sweep_column(expected.rows.data(), n, c, d, signs.data(), scaled.data(), column.data());
                signs[k] = -signs[k];
                sweep.sweep(c, d, signs_of_panels.data());
                signs_of_panels[k] = -signs_of_panels[k];
            } else if (step % 3 == 0) {
                ++refused;
                expected.at(c, c) = 0;
                sweep.clear_diagonal(c);
            }
            CHECK(found.at(n - 2, n - 1) == expected.at(n - 2, n - 1));
        }
        sweep.settle();
        CHECK(swept > 500);
        CHECK(refused > 0);
        CHECK(found.elements == expected.elements);
    }
}

TEST_CASE("sweep: the forward sweep is not the regression that elimination gives") {
    // Order 6 with two responses: inverse, solutions and residual crossproducts from elimination in long double.
    const Design design(0, 0, 3);
    const int n = design.order, p = design.columns;
    std::vector<std::vector<long double>> a(static_cast<std::size_t>(n),
                                            std::vector<long double>(static_cast<std::size_t>(n)));
    Triangle swept = design.crossproduct;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            a[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] = i <= j ? swept.at(i, j) : swept.at(j, i);
    for (std::size_t k = 0; k < static_cast<std::size_t>(p); ++k) {
        const long double d = a[k][k];
        for (std::size_t i = 0; i < a.size(); ++i) {
            if (i == k) continue;
            const long double factor = a[i][k] / d;
            for (std::size_t j = 0; j < a.size(); ++j)
                if (j != k) a[i][j] -= factor * a[k][j];
            a[i][k] = -factor;
        }
        for (std::size_t j = 0; j < a.size(); ++j)
            if (j != k) a[k][j] /= d;
        a[k][k] = 1 / d;
    }
    std::vector<double> scaled(static_cast<std::size_t>(n)), column(scaled);
    for (int c = 0; c < p; ++c)
        sweep_column(swept.rows.data(), n, c, swept.at(c, c), nullptr, scaled.data(), column.data());
    for (int i = 0; i < n; ++i)
        for (int j = i; j < n; ++j)
            CHECK(std::fabs(swept.at(i, j) -
                            static_cast<double>(a[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)])) <= 1e-14);
    // With states, the same columns swept back in another order restore the crossproducts.
    std::vector<int> signs(static_cast<std::size_t>(n), 1);
    for (int c = 0; c < p; ++c) signs[static_cast<std::size_t>(c)] = -1;
    for (int c : {2, 0, 3, 1}) {
        sweep_column(swept.rows.data(), n, c, swept.at(c, c), signs.data(), scaled.data(), column.data());
        signs[static_cast<std::size_t>(c)] = 1;
    }
    for (std::size_t k = 0; k < swept.elements.size(); ++k)
        CHECK(std::fabs(swept.elements[k] - design.crossproduct.elements[k]) <= 1e-13);
}
