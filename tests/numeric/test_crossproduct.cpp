// The tiled crossproduct against the loop over single rows with fused multiply and add: every element, to the last bit,
// for every version, element count, column layout, weighting and place where a block ends.
#include "numeric/crossproduct.h"

#include <doctest/doctest.h>

#include <cmath>
#include <random>
#include <vector>

#include "numeric/packed.h"

using namespace vek;

namespace {

// An upper triangle by rows, rows[i][j] being element (i, j).
struct Triangle {
    std::vector<double> elements;
    std::vector<double*> rows;
    explicit Triangle(int n)
        : elements(static_cast<std::size_t>(triangle_size(n)), 0.125), rows(static_cast<std::size_t>(n)) {
        double* base = elements.data();
        for (int i = 0; i < n; ++i) {
            rows[static_cast<std::size_t>(i)] = base - i;
            base += n - i;
        }
    }
};

void add_row_by_row(const std::vector<double>& x, const std::vector<int>& columns, double weight, Triangle& triangle) {
    for (std::size_t i = 0; i < x.size(); ++i)
        for (std::size_t j = i; j < x.size(); ++j) {
            double& sum = triangle.rows[static_cast<std::size_t>(columns[i])][columns[j]];
            sum = std::fma(weight * x[i], x[j], sum);
        }
}

enum class Layout { from_zero, gaps };

}  // namespace

TEST_CASE("crossproduct: tiles change the digits or the place of a sum") {
    std::mt19937_64 generator(17);
    std::uniform_real_distribution<double> uniform(-1, 1);
    for (InstructionSet set : {InstructionSet::portable, InstructionSet::avx2, InstructionSet::avx512}) {
        if (!instruction_set_runs(set)) continue;
        CAPTURE(instruction_set_name(set));
        for (int count : {1, 2, 4, 5, 8, 11, 12, 13, 23, 24, 25, 36, 47, 50})
            for (Layout layout : {Layout::from_zero, Layout::gaps})
                for (bool weighted : {false, true}) {
                    CAPTURE(count);
                    CAPTURE(static_cast<int>(layout));
                    CAPTURE(weighted);
                    // Gaps of one column after every 30th element: whole tiles beside tiles that a gap cuts.
                    std::vector<int> columns;
                    for (int k = 0; k < count; ++k) columns.push_back(layout == Layout::gaps ? 2 + k + k / 30 : k);
                    const int order = columns.back() + 2;
                    Triangle expected(order), found(order);
                    std::vector<double> work(static_cast<std::size_t>(Crossproduct::work_doubles(count)), 1e300);
                    Crossproduct product(count, layout == Layout::gaps ? columns.data() : nullptr, found.rows.data(),
                                         work.data(), set);
                    for (int row = 0; row < 250; ++row) {
                        std::vector<double> x(static_cast<std::size_t>(count));
                        for (double& value : x) value = uniform(generator);
                        const double weight = weighted && row % 3 == 0 ? 1.5 + uniform(generator) : 1.0;
                        add_row_by_row(x, columns, weight, expected);
                        product.add(x.data(), weight);
                        if (row == 100 || row == 101 || row == 240) product.flush();
                    }
                    product.flush();
                    product.flush();
                    CHECK(found.elements == expected.elements);
                }
    }
}

TEST_CASE("crossproduct: rows by stride or by position are not the rows that were meant") {
    constexpr int count = 20;
    std::vector<double> x(3 * 64);
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = static_cast<double>(i % 17) - 8.25;
    std::vector<int> columns, positions;
    for (int k = 0; k < count; ++k) columns.push_back(k), positions.push_back(3 * k + 1);
    const double weights[] = {1, 2.5, 1};
    Triangle expected(count), found(count);
    std::vector<double> work(static_cast<std::size_t>(Crossproduct::work_doubles(count)) + 1);
    Crossproduct product(count, nullptr, found.rows.data(), work.data() + 1);
    product.add_rows(x.data(), 64, 3, weights);
    product.add_picked(x.data(), positions.data(), 0.5);
    product.flush();
    for (std::size_t row = 0; row < 3; ++row)
        add_row_by_row({x.begin() + static_cast<long>(64 * row), x.begin() + static_cast<long>(64 * row) + count},
                       columns, weights[row], expected);
    std::vector<double> picked;
    for (int position : positions) picked.push_back(x[static_cast<std::size_t>(position)]);
    add_row_by_row(picked, columns, 0.5, expected);
    CHECK(found.elements == expected.elements);
}
