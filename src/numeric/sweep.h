// Sweeps of a symmetric matrix whose upper triangle is given by row pointers (rows[i][j], j >= i, is element (i, j)):
// one column at a time, or the columns of a long walk together in panels, with the same digits.
#pragma once

#include <cstddef>
#include <cstdint>

#include "numeric/dispatch.h"

namespace vek {

/// Sweeps the upper triangle of order n on column k, with pivot d, its diagonal element, which must not be 0.
///   layout    swept rows and columns are stored with reversed sign against the others, so that one triangle serves
///   signs     null: all columns before k count as swept, all from k on as unswept (a walk in ascending order); else 1
///             for an unswept and -1 for a swept column, as the states were before this sweep: then a column may be
///             swept back, which restores the triangle up to rounding. The caller turns signs[k] round afterwards
///   method    w2 is column k of the full matrix, w1 what the pivot row becomes; (i, j) receives -w2[i] w1[j]
///   cost      n²/2 products; rows that have no element in the pivot column are left alone. `scaled` and `column` hold
///   n
///             doubles each and keep w1 and w2
///   tests     tests/numeric/test_sweep.cpp, against elimination in long double
void sweep_column(double* const* rows, int n, int k, double d, const int* signs, double* scaled, double* column);

/// A walk over columns that sweeps some of them, as sweep_column does, and leaves others, by what their diagonal holds
/// when their turn comes. For each column of the walk: ask pivot(c), then sweep(c, ...) or one of the clear functions
/// or nothing. Ascending walks are the fast ones; any order is right.
///
/// Columns are taken in panels of 48. The panel's own rows and columns, the block of the kept columns and nothing else
/// are current inside a panel; every other element receives the panel's updates when it closes, in the order of the
/// pivots, from registers. So:
///   - pivot(c) is always current, and the kept block may be read in `rows` at any time;
///   - anything else in `rows` may be read or written only after settle(), which costs up to one pass over the
///   triangle.
///
///   domain    pivots that are not 0; finite elements
///   result    after settle() the triangle equals, to the last bit (0 and -0 being equal), what sweep_column leaves
///   cost      n²/2 products a pivot; at order 400 twice, at 1,300 four and at 2,500 ten times as fast as by columns
///             (AVX-512; AVX2 1.8, 2.6, 6). The caller gives work_doubles(n) doubles; no allocation
///   tests     tests/numeric/test_sweep.cpp; bench/numeric/linear_algebra_bench.cpp
class PanelSweep {
  public:
    static constexpr int panel_columns = 48;
    static constexpr int least_order = 160;  // smaller triangles lie in the cache: they are swept column by column

    static std::ptrdiff_t work_doubles(int n);

    /// A triangle of order n; columns from `kept` on are never pivots, and the elements among them stay current.
    PanelSweep(double* const* rows, int n, int kept, double* work, InstructionSet set = best_instruction_set());

    /// The diagonal element (c, c) as of now, c below `kept`.
    double pivot(int c);

    /// Sweeps on column c, the last that pivot() was asked for, whose value d is. `signs` as for sweep_column.
    void sweep(int c, double d, const int* signs = nullptr);

    /// For a column c that depends on those before it, in an ascending walk: clears row c from its diagonal on, and of
    /// its column those elements (i, c), i <= c - 2, with swept[i] set whose square over (i, i) is below the tolerance.
    template <class Flag>
    void clear_dependent(int c, double tolerance, const Flag* swept) {
        clear_row(c);
        for (int i = 0; i + 1 < c; ++i)
            if (swept[i]) clear_negligible(i, c, tolerance);
    }

    /// Sets (c, c) to 0, and nothing else, c being the last column that pivot() was asked for.
    void clear_diagonal(int c);

    /// Makes all of `rows` current.
    void settle();

  private:
    using Tile = void (*)(const double* factors, const double* scaled, int pivots, double* const* target);

    bool by_column() const { return order_ < least_order; }
    void open(int c);
    void load_panel();
    void store_panel();
    void update_panel(int c, double inverse);
    void pack_pivot();
    void update_rest();
    void update_rows(int first, int last, const double* factors);
    void update_tiles(int first_row, int last_row, int first, int last, const double* factors, const double* scaled);
    void clear_row(int c);
    void clear_negligible(int i, int c, double tolerance);
    double* line(int c) { return panel_ + (c - first_) * line_size_; }
    int groups(int count) const { return (count + tile_height_ - 1) / tile_height_; }
    int tiles(int count) const { return (count + tile_width_ - 1) / tile_width_; }

    double* const* rows_;
    int order_;
    int kept_;
    std::ptrdiff_t line_size_;
    int first_ = 0;  // the open panel has the columns first_ to last_ - 1
    int last_ = 0;
    int pivots_ = 0;    // swept since the panel was opened
    double* panel_;     // line(c)[i]: element (i, c) or (c, i) of the full symmetric matrix
    double* diagonal_;  // (i, i) for the rows before the panel
    double* scaled_;    // w1 and w2 of the last pivot
    double* column_;
    double* packed_scaled_;   // w1 of all pivots of the panel by column tiles: before the panel, then behind it
    double* packed_factors_;  // w2 by row groups
    int tile_height_;
    int tile_width_;
    Tile tile_;
};

}  // namespace vek
