// Dense crossproducts: gathers rows into column panels and adds a block of them to the tiles of an upper triangle. The
// tile kernels come in three versions; in each an element's sum stays in one register lane while the block's rows are
// added to it in order, by fused multiply and add.
#include "numeric/crossproduct.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vek {

namespace {

constexpr int narrow_panel = 12, narrow_tile = 4;
constexpr int wide_panel = 24, wide_tile = 8;
constexpr std::ptrdiff_t line_doubles = 8;  // a cache line

// target[i][j] += the sum over the rows of left[i] right[j]; left and right advance by a panel's width from row to row.
void add_tile_portable(const double* left, const double* right, std::ptrdiff_t rows, double* const* target) {
    double sums[narrow_tile][narrow_panel];
    for (int i = 0; i < narrow_tile; ++i) std::memcpy(sums[i], target[i], sizeof sums[i]);
    for (; rows > 0; --rows, left += narrow_panel, right += narrow_panel)
        for (int i = 0; i < narrow_tile; ++i)
            for (int j = 0; j < narrow_panel; ++j) sums[i][j] = std::fma(left[i], right[j], sums[i][j]);
    for (int i = 0; i < narrow_tile; ++i) std::memcpy(target[i], sums[i], sizeof sums[i]);
}

#if defined(__x86_64__)

__attribute__((target("avx2,fma"))) void add_tile_avx2(const double* left, const double* right, std::ptrdiff_t rows,
                                                       double* const* target) {
    __m256d sums[narrow_tile][3];
    VEK_UNROLL
    for (int i = 0; i < narrow_tile; ++i) {
        VEK_UNROLL
        for (int v = 0; v < 3; ++v) sums[i][v] = _mm256_loadu_pd(target[i] + 4 * v);
    }
    for (; rows > 0; --rows, left += narrow_panel, right += narrow_panel) {
        const __m256d right0 = _mm256_load_pd(right), right1 = _mm256_load_pd(right + 4),
                      right2 = _mm256_load_pd(right + 8);
        VEK_UNROLL
        for (int i = 0; i < narrow_tile; ++i) {
            const __m256d factor = _mm256_broadcast_sd(left + i);
            sums[i][0] = _mm256_fmadd_pd(factor, right0, sums[i][0]);
            sums[i][1] = _mm256_fmadd_pd(factor, right1, sums[i][1]);
            sums[i][2] = _mm256_fmadd_pd(factor, right2, sums[i][2]);
        }
    }
    VEK_UNROLL
    for (int i = 0; i < narrow_tile; ++i) {
        VEK_UNROLL
        for (int v = 0; v < 3; ++v) _mm256_storeu_pd(target[i] + 4 * v, sums[i][v]);
    }
}

__attribute__((target("avx512f"))) void add_tile_avx512(const double* left, const double* right, std::ptrdiff_t rows,
                                                        double* const* target) {
    __m512d sums[wide_tile][3];
    VEK_UNROLL
    for (int i = 0; i < wide_tile; ++i) {
        VEK_UNROLL
        for (int v = 0; v < 3; ++v) sums[i][v] = _mm512_loadu_pd(target[i] + 8 * v);
    }
    for (; rows > 0; --rows, left += wide_panel, right += wide_panel) {
        const __m512d right0 = _mm512_load_pd(right), right1 = _mm512_load_pd(right + 8),
                      right2 = _mm512_load_pd(right + 16);
        VEK_UNROLL
        for (int i = 0; i < wide_tile; ++i) {
            const __m512d factor = _mm512_set1_pd(left[i]);
            sums[i][0] = _mm512_fmadd_pd(factor, right0, sums[i][0]);
            sums[i][1] = _mm512_fmadd_pd(factor, right1, sums[i][1]);
            sums[i][2] = _mm512_fmadd_pd(factor, right2, sums[i][2]);
        }
    }
    VEK_UNROLL
    for (int i = 0; i < wide_tile; ++i) {
        VEK_UNROLL
        for (int v = 0; v < 3; ++v) _mm512_storeu_pd(target[i] + 8 * v, sums[i][v]);
    }
}

#endif

int panels_for(int count, int panel_width) { return (count + panel_width - 1) / panel_width; }

}  // namespace

std::ptrdiff_t Crossproduct::work_doubles(int count) {
    // Wide panels need the most: the panels, one more for the scaled copy, the weights, and room to start on a line.
    const std::ptrdiff_t panels = panels_for(count, wide_panel) + 1;
    return panels * block_rows * wide_panel + block_rows + line_doubles;
}

Crossproduct::Crossproduct(int count, const int* columns, double* const* rows, double* work, InstructionSet set)
    : count_(count), columns_(columns), rows_(rows) {
    panel_width_ = narrow_panel;
    tile_height_ = narrow_tile;
    tile_ = add_tile_portable;
#if defined(__x86_64__)
    if (set == InstructionSet::avx2) tile_ = add_tile_avx2;
    if (set == InstructionSet::avx512) {
        tile_ = add_tile_avx512;
        panel_width_ = wide_panel;
        tile_height_ = wide_tile;
    }
#else
    static_cast<void>(set);
#endif
    panel_count_ = panels_for(count, panel_width_);
    const auto misplaced = reinterpret_cast<std::uintptr_t>(work) / sizeof(double) % line_doubles;
    panels_ = misplaced == 0 ? work : work + (line_doubles - static_cast<std::ptrdiff_t>(misplaced));
    const std::ptrdiff_t panel_size = static_cast<std::ptrdiff_t>(block_rows) * panel_width_;
    scaled_ = panels_ + panel_count_ * panel_size;
    weights_ = scaled_ + panel_size;
    // The last panel may be wider than its elements: what stands beyond them is multiplied, but never stored.
    std::memset(panels_ + (panel_count_ - 1) * panel_size, 0, static_cast<std::size_t>(panel_size) * sizeof(double));
}

void Crossproduct::add(const double* x, double weight) {
    const int whole = count_ / panel_width_;
    double* target = panel_row(0, gathered_);
    const std::ptrdiff_t panel_size = static_cast<std::ptrdiff_t>(block_rows) * panel_width_;
    for (int panel = 0; panel < whole; ++panel, target += panel_size, x += panel_width_)
        std::memcpy(target, x, static_cast<std::size_t>(panel_width_) * sizeof(double));
    for (int k = whole * panel_width_; k < count_; ++k) *target++ = *x++;
    close_row(weight);
}

void Crossproduct::add_picked(const double* x, const int* positions, double weight) {
    for (int panel = 0, k = 0; panel < panel_count_; ++panel) {
        double* target = panel_row(panel, gathered_);
        const int end = k + panel_width_ < count_ ? k + panel_width_ : count_;
        for (; k < end; ++k) *target++ = x[positions[k]];
    }
    close_row(weight);
}

void Crossproduct::add_rows(const double* x, std::ptrdiff_t stride, std::ptrdiff_t n, const double* weights) {
    for (std::ptrdiff_t i = 0; i < n; ++i, x += stride) add(x, weights ? weights[i] : 1.0);
}

void Crossproduct::close_row(double weight) {
    weights_[gathered_] = weight;
    weighted_ = weighted_ || weight != 1;
    if (++gathered_ == block_rows) flush();
}

void Crossproduct::flush() {
    if (gathered_ == 0) return;
    for (int left = 0; left < panel_count_; ++left) {
        if (weighted_) scale_left_panel(left);
        const double* left_panel = weighted_ ? scaled_ : panel_row(left, 0);
        const int first = left * panel_width_;
        const int last = first + panel_width_ < count_ ? first + panel_width_ : count_;
        for (int right = left; right < panel_count_; ++right)
            for (int row = first; row < last; row += tile_height_)
                add_tile(left_panel + (row - first), row, row + tile_height_ < last ? row + tile_height_ : last, right);
    }
    gathered_ = 0;
    weighted_ = false;
}

void Crossproduct::scale_left_panel(int panel) {
    const double* source = panel_row(panel, 0);
    double* target = scaled_;
    for (int row = 0; row < gathered_; ++row)
        for (int k = 0; k < panel_width_; ++k) *target++ = weights_[row] * *source++;
}

// Adds the block to the elements of rows first_row to last_row - 1 and of one panel's columns, as far as they lie in
// the triangle. A whole tile with neighbouring columns is worked on where it stands, any other in a copy.
void Crossproduct::add_tile(const double* left, int first_row, int last_row, int panel) {
    const double* right = panel_row(panel, 0);
    const int first_column = panel * panel_width_;
    const int last_column = first_column + panel_width_ < count_ ? first_column + panel_width_ : count_;
    double* target[wide_tile];
    const bool neighbours = column(last_column - 1) - column(first_column) == last_column - 1 - first_column;
    if (neighbours && last_row - first_row == tile_height_ && last_column - first_column == panel_width_ &&
        first_column >= last_row - 1) {
        for (int i = 0; i < tile_height_; ++i) target[i] = rows_[column(first_row + i)] + column(first_column);
        tile_(left, right, gathered_, target);
        return;
    }
    alignas(64) double copy[wide_tile * wide_panel] = {};
    for (int i = 0; i < tile_height_; ++i) target[i] = copy + i * panel_width_;
    for (int i = first_row; i < last_row; ++i)
        for (int j = i > first_column ? i : first_column; j < last_column; ++j)
            target[i - first_row][j - first_column] = rows_[column(i)][column(j)];
    tile_(left, right, gathered_, target);
    for (int i = first_row; i < last_row; ++i)
        for (int j = i > first_column ? i : first_column; j < last_column; ++j)
            rows_[column(i)][column(j)] = target[i - first_row][j - first_column];
}

}  // namespace vek
