// Dense crossproducts: rows of continuous elements go in, the weighted crossproduct X'WX is added to an upper triangle.
// Rows are gathered 96 at a time into column panels, and tiles of the triangle that fit the registers take a whole
// block at once; yet every element receives its rows one after the other, so the digits are those of the loop over
// single rows
//
//     for (i) for (j >= i) rows[columns[i]][columns[j]] = std::fma(weight * x[i], x[j], rows[columns[i]][columns[j]]);
//
// for every width of vector and wherever the blocks end.
#pragma once

#include <cstddef>

#include "numeric/dispatch.h"

namespace vek {

/// Adds crossproducts of dense rows to an upper triangle of the caller's.
///   called    construct over the triangle, add() each row, flush() before the triangle is read or written by others
///   domain    at least one element a row; finite values and weights (a missing value must not come in)
///   result    the triangle, as the loop above leaves it; between flushes it lacks up to 95 rows
///   method    register tiles of 4 by 12 (8 by 24 with AVX-512) that start from the triangle's sums; multiply and add
///   are
///             fused in every version, by std::fma where the machine has no instruction
///   accuracy  equal to the loop, to the last bit
///   cost      k(k + 1)/2 products a row of k elements, two operations each: at k = 800 measured 49 GFlop/s with AVX2
///   and
///             86 with AVX-512, at k = 20 17 and 20; row by row 10 to 16. Without a fused instruction below 1. No
///             allocation: the caller gives work_doubles(k) doubles
///   tests     tests/numeric/test_crossproduct.cpp; bench/numeric/linear_algebra_bench.cpp
class Crossproduct {
  public:
    static constexpr int block_rows = 96;

    /// Doubles of work space for rows of `count` elements.
    static std::ptrdiff_t work_doubles(int count);

    /// Rows of `count` elements are added to the triangle whose element (i, j), j >= i, is rows[i][j]. Element k of a
    /// row belongs to row and column columns[k], ascending; null stands for 0, 1, 2, ... The arrays, and `work`, must
    /// stay where they are while the object is used.
    Crossproduct(int count, const int* columns, double* const* rows, double* work,
                 InstructionSet set = best_instruction_set());

    /// Adds a row x of `count` elements with a weight that scales the left operand.
    void add(const double* x, double weight = 1);

    /// The same for a row whose element k is x[positions[k]].
    void add_picked(const double* x, const int* positions, double weight = 1);

    /// Adds n rows, one every `stride` doubles from x on; `weights` may be null for weights of 1.
    void add_rows(const double* x, std::ptrdiff_t stride, std::ptrdiff_t n, const double* weights = nullptr);

    /// Brings the triangle up to date with all rows that were added.
    void flush();

  private:
    using Tile = void (*)(const double* left, const double* right, std::ptrdiff_t rows, double* const* target);

    void close_row(double weight);
    void scale_left_panel(int panel);
    void add_tile(const double* left, int first_row, int last_row, int panel);
    int column(int element) const { return columns_ ? columns_[element] : element; }
    double* panel_row(int panel, int row) {
        return panels_ + (static_cast<std::ptrdiff_t>(panel) * block_rows + row) * panel_width_;
    }

    int count_;
    const int* columns_;
    double* const* rows_;
    double* panels_;   // panel p: block_rows rows of panel_width_ elements, the first of them element p * panel_width_
    double* scaled_;   // one panel, its rows multiplied by their weights
    double* weights_;  // of the gathered rows
    int panel_width_;
    int tile_height_;
    int panel_count_;
    int gathered_ = 0;
    bool weighted_ = false;  // a gathered row has a weight other than 1
    Tile tile_;
};

}  // namespace vek
