// Sweeps of an upper triangle: the plain step on one column, and the walk in panels. A panel holds 48 columns of the
// full symmetric matrix as lines of their own; a pivot updates the lines, the diagonal before the panel and the kept
// block at once. Its two vectors are stored by tiles, and when the panel closes each tile of the rest of the triangle
// goes through registers once for all pivots, in their order.
#include "numeric/sweep.h"

#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "numeric/kernels.h"

namespace vek {

namespace {

constexpr int widest_tile = 24, highest_tile = 8;
constexpr std::ptrdiff_t line_doubles = 8;  // a cache line

constexpr std::ptrdiff_t whole_lines(std::ptrdiff_t n) { return (n + line_doubles - 1) / line_doubles * line_doubles; }

// target[i][j] -= factors[i] scaled[j] for each of the pivots in turn, on 4 rows by 4 columns; multiply and subtract
// round separately here as in the plain sweep.
void sweep_tile_portable(const double* factors, const double* scaled, int pivots, double* const* target) {
    double sums[4][4];
    for (int i = 0; i < 4; ++i) std::memcpy(sums[i], target[i], sizeof sums[i]);
    for (; pivots > 0; --pivots, factors += 4, scaled += 4) {
        VEK_UNROLL
        for (int i = 0; i < 4; ++i) {
            VEK_UNROLL
            for (int j = 0; j < 4; ++j) sums[i][j] -= factors[i] * scaled[j];
        }
    }
    for (int i = 0; i < 4; ++i) std::memcpy(target[i], sums[i], sizeof sums[i]);
}

#if defined(__x86_64__)

// The same on 4 rows by 8 columns.
__attribute__((target("avx2"))) void sweep_tile_avx2(const double* factors, const double* scaled, int pivots,
                                                     double* const* target) {
    __m256d sums[4][2];
    VEK_UNROLL
    for (int i = 0; i < 4; ++i) {
        sums[i][0] = _mm256_loadu_pd(target[i]);
        sums[i][1] = _mm256_loadu_pd(target[i] + 4);
    }
    for (; pivots > 0; --pivots, factors += 4, scaled += 8) {
        const __m256d right0 = _mm256_load_pd(scaled), right1 = _mm256_load_pd(scaled + 4);
        VEK_UNROLL
        for (int i = 0; i < 4; ++i) {
            const __m256d factor = _mm256_broadcast_sd(factors + i);
            sums[i][0] = _mm256_sub_pd(sums[i][0], _mm256_mul_pd(factor, right0));
            sums[i][1] = _mm256_sub_pd(sums[i][1], _mm256_mul_pd(factor, right1));
        }
    }
    VEK_UNROLL
    for (int i = 0; i < 4; ++i) {
        _mm256_storeu_pd(target[i], sums[i][0]);
        _mm256_storeu_pd(target[i] + 4, sums[i][1]);
    }
}

// The same on 8 rows by 24 columns.
__attribute__((target("avx512f"))) void sweep_tile_avx512(const double* factors, const double* scaled, int pivots,
                                                          double* const* target) {
    __m512d sums[8][3];
    VEK_UNROLL
    for (int i = 0; i < 8; ++i) {
        VEK_UNROLL
        for (int v = 0; v < 3; ++v) sums[i][v] = _mm512_loadu_pd(target[i] + 8 * v);
    }
    for (; pivots > 0; --pivots, factors += 8, scaled += 24) {
        const __m512d right0 = _mm512_load_pd(scaled), right1 = _mm512_load_pd(scaled + 8),
                      right2 = _mm512_load_pd(scaled + 16);
        VEK_UNROLL
        for (int i = 0; i < 8; ++i) {
            const __m512d factor = _mm512_set1_pd(factors[i]);
            sums[i][0] = _mm512_sub_pd(sums[i][0], _mm512_mul_pd(factor, right0));
            sums[i][1] = _mm512_sub_pd(sums[i][1], _mm512_mul_pd(factor, right1));
            sums[i][2] = _mm512_sub_pd(sums[i][2], _mm512_mul_pd(factor, right2));
        }
    }
    VEK_UNROLL
    for (int i = 0; i < 8; ++i) {
        VEK_UNROLL
        for (int v = 0; v < 3; ++v) _mm512_storeu_pd(target[i] + 8 * v, sums[i][v]);
    }
}

#endif

}  // namespace

void sweep_column(double* const* rows, int n, int k, double d, const int* signs, double* scaled, double* column) {
    double* pivot_row = rows[k];
    const double inverse = 1 / d;
    for (int i = 0; i < k; ++i) {
        column[i] = rows[i][k];
        scaled[i] = signs == nullptr ? -inverse * column[i] : inverse * column[i] * signs[i] * signs[k];
        rows[i][k] = 0;
    }
    column[k] = 0;
    scaled[k] = inverse;
    pivot_row[k] = inverse;
    for (int j = k + 1; j < n; ++j) {
        column[j] = signs == nullptr ? pivot_row[j] : pivot_row[j] * signs[j] * signs[k];
        scaled[j] = inverse * pivot_row[j];
        pivot_row[j] = scaled[j];
    }
    for (int i = 0; i < n; ++i)
        if (column[i] != 0) zvxay11(rows[i] + i, scaled + i, n - i, -column[i]);
}

// ---------------------------------------------------------------------------------------------------------------------

std::ptrdiff_t PanelSweep::work_doubles(int n) {
    // Lines, vectors by columns and by rows with their padding, three vectors, and room to start on a cache line.
    const std::ptrdiff_t order = whole_lines(n);
    return panel_columns * (order + (order + 2 * widest_tile) + (order + 2 * highest_tile)) + 3 * order + line_doubles;
}

PanelSweep::PanelSweep(double* const* rows, int n, int kept, double* work, InstructionSet set)
    : rows_(rows), order_(n), kept_(kept) {
    tile_height_ = 4;
    tile_width_ = 4;
    tile_ = sweep_tile_portable;
#if defined(__x86_64__)
    if (set == InstructionSet::avx2) {
        tile_ = sweep_tile_avx2;
        tile_width_ = 8;
    } else if (set == InstructionSet::avx512) {
        tile_ = sweep_tile_avx512;
        tile_height_ = 8;
        tile_width_ = 24;
    }
#else
    static_cast<void>(set);
#endif
    line_size_ = whole_lines(n);
    const auto misplaced =
        static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(work) / sizeof(double) % line_doubles);
    scaled_ = misplaced == 0 ? work : work + (line_doubles - misplaced);
    column_ = scaled_ + line_size_;
    diagonal_ = column_ + line_size_;
    panel_ = diagonal_ + line_size_;
    packed_scaled_ = panel_ + panel_columns * line_size_;
    packed_factors_ = packed_scaled_ + panel_columns * (line_size_ + 2 * widest_tile);
}

double PanelSweep::pivot(int c) {
    if (by_column()) return rows_[c][c];
    if (c < first_ || c >= last_) open(c);
    return line(c)[c];
}

void PanelSweep::open(int c) {
    settle();
    first_ = c;
    last_ = c + panel_columns < kept_ ? c + panel_columns : kept_;
    load_panel();
}

void PanelSweep::load_panel() {
    for (int i = 0; i < first_; ++i) {
        const double* row = rows_[i];
        diagonal_[i] = row[i];
        for (int c = first_; c < last_; ++c) line(c)[i] = row[c];
    }
    for (int i = first_; i < last_; ++i) {
        const double* row = rows_[i];
        for (int c = i; c < last_; ++c) line(c)[i] = row[c];
        std::memcpy(line(i) + i, row + i, static_cast<std::size_t>(order_ - i) * sizeof(double));
    }
}

void PanelSweep::store_panel() {
    for (int i = 0; i < first_; ++i) {
        double* row = rows_[i];
        for (int c = first_; c < last_; ++c) row[c] = line(c)[i];
    }
    for (int i = first_; i < last_; ++i)
        std::memcpy(rows_[i] + i, line(i) + i, static_cast<std::size_t>(order_ - i) * sizeof(double));
}

void PanelSweep::sweep(int c, double d, const int* signs) {
    if (by_column()) {
        sweep_column(rows_, order_, c, d, signs, scaled_, column_);
        return;
    }
    const double inverse = 1 / d;
    const double* pivot_line = line(c);
    for (int i = 0; i < c; ++i) {
        column_[i] = pivot_line[i];
        scaled_[i] = signs == nullptr ? -inverse * column_[i] : inverse * column_[i] * signs[i] * signs[c];
    }
    column_[c] = 0;
    scaled_[c] = inverse;
    for (int j = c + 1; j < order_; ++j) {
        column_[j] = signs == nullptr ? pivot_line[j] : pivot_line[j] * signs[j] * signs[c];
        scaled_[j] = inverse * pivot_line[j];
    }
    update_panel(c, inverse);
    pack_pivot();
    ++pivots_;
    if (pivots_ == panel_columns) settle();  // a walk back and forth inside a panel can sweep a column twice
}

void PanelSweep::update_panel(int c, double inverse) {
    for (int i = 0; i < first_; ++i) diagonal_[i] -= column_[i] * scaled_[i];
    for (int k = first_; k < last_; ++k) {
        if (k == c || column_[k] == 0) continue;
        // Elements (i, k) before the diagonal have k for their column, (k, i) from it on have k for their row.
        zvxay11(line(k), column_, k, -scaled_[k]);
        zvxay11(line(k) + k, scaled_ + k, order_ - k, -column_[k]);
    }
    for (int i = kept_; i < order_; ++i)
        if (column_[i] != 0) zvxay11(rows_[i] + i, scaled_ + i, order_ - i, -column_[i]);
    // Column c, which no update above may touch: negative multiples before the pivot, multiples behind it.
    double* pivot_line = line(c);
    for (int i = 0; i < c; ++i) pivot_line[i] = 0 - column_[i] * inverse;
    std::memcpy(pivot_line + c, scaled_ + c, static_cast<std::size_t>(order_ - c) * sizeof(double));
    for (int k = first_; k < last_; ++k) line(k)[c] = pivot_line[k];
}

// Stores the pivot's vectors by tiles: those of columns before the panel, then those behind it.
void PanelSweep::pack_pivot() {
    double* target = packed_scaled_ + pivots_ * tile_width_;
    const auto pack = [&](const double* source, int count, int width) {
        while (count > 0) {
            const int part = count < width ? count : width;
            for (int k = 0; k < part; ++k) target[k] = source[k];
            for (int k = part; k < width; ++k) target[k] = 0;
            target += static_cast<std::ptrdiff_t>(panel_columns) * width;
            source += part;
            count -= part;
        }
    };
    pack(scaled_, first_, tile_width_);
    pack(scaled_ + last_, order_ - last_, tile_width_);
    target = packed_factors_ + pivots_ * tile_height_;
    pack(column_, first_, tile_height_);
    pack(column_ + last_, kept_ - last_, tile_height_);
}

void PanelSweep::settle() {
    if (last_ == first_) return;
    store_panel();
    if (pivots_ > 0) update_rest();
    first_ = last_ = pivots_ = 0;
}

void PanelSweep::update_rest() {
    const std::ptrdiff_t group_size = static_cast<std::ptrdiff_t>(panel_columns) * tile_height_;
    update_rows(0, first_, packed_factors_);
    update_rows(last_, kept_, packed_factors_ + groups(first_) * group_size);
}

// Updates the rows first to last - 1, group by group; all lie on one side of the panel.
void PanelSweep::update_rows(int first, int last, const double* factors) {
    const std::ptrdiff_t group_size = static_cast<std::ptrdiff_t>(panel_columns) * tile_height_;
    const std::ptrdiff_t tile_size = static_cast<std::ptrdiff_t>(panel_columns) * tile_width_;
    const double* behind = packed_scaled_ + tiles(first_) * tile_size;
    for (int row = first; row < last; row += tile_height_, factors += group_size) {
        bool idle = true;
        for (int k = 0; idle && k < pivots_ * tile_height_; ++k) idle = factors[k] == 0;
        if (idle) continue;
        const int end = row + tile_height_ < last ? row + tile_height_ : last;
        if (row < first_) {
            const int skipped = row / tile_width_;  // tiles that lie before the diagonal
            update_tiles(row, end, skipped * tile_width_, first_, factors, packed_scaled_ + skipped * tile_size);
            update_tiles(row, end, last_, order_, factors, behind);
        } else {
            const int skipped = (row - last_) / tile_width_;
            update_tiles(row, end, last_ + skipped * tile_width_, order_, factors, behind + skipped * tile_size);
        }
    }
}

// One group of rows, the columns first to last - 1 by tiles. A tile that the diagonal or the end cuts is worked on in a
// copy.
void PanelSweep::update_tiles(int first_row, int last_row, int first, int last, const double* factors,
                              const double* scaled) {
    double* target[highest_tile];
    const int height = last_row - first_row;
    for (int column = first; column < last; column += tile_width_) {
        const int end = column + tile_width_ < last ? column + tile_width_ : last;
        if (height == tile_height_ && end - column == tile_width_ && column >= last_row - 1) {
            for (int i = 0; i < height; ++i) target[i] = rows_[first_row + i] + column;
            tile_(factors, scaled, pivots_, target);
        } else {
            double copy[highest_tile * widest_tile] = {};
            for (int i = 0; i < tile_height_; ++i) target[i] = copy + i * tile_width_;
            for (int i = first_row; i < last_row; ++i)
                for (int j = i > column ? i : column; j < end; ++j) target[i - first_row][j - column] = rows_[i][j];
            tile_(factors, scaled, pivots_, target);
            for (int i = first_row; i < last_row; ++i)
                for (int j = i > column ? i : column; j < end; ++j) rows_[i][j] = target[i - first_row][j - column];
        }
        scaled += static_cast<std::ptrdiff_t>(panel_columns) * tile_width_;
    }
}

void PanelSweep::clear_row(int c) {
    if (by_column()) {
        for (int j = c; j < order_; ++j) rows_[c][j] = 0;
        return;
    }
    double* cleared = line(c);
    for (int j = c; j < order_; ++j) cleared[j] = 0;
    for (int k = c + 1; k < last_; ++k) line(k)[c] = 0;
}

void PanelSweep::clear_negligible(int i, int c, double tolerance) {
    if (by_column()) {
        double& element = rows_[i][c];
        if (element * element / rows_[i][i] < tolerance) element = 0;
        return;
    }
    double& element = line(c)[i];
    const double diagonal = i < first_ ? diagonal_[i] : line(i)[i];
    if (!(element * element / diagonal < tolerance)) return;
    element = 0;
    if (i >= first_) line(i)[c] = 0;
}

void PanelSweep::clear_diagonal(int c) {
    if (by_column()) {
        rows_[c][c] = 0;
    } else {
        line(c)[c] = 0;
    }
}

}  // namespace vek
