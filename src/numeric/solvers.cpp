// Cholesky factor, Gram-Schmidt rows and the sweep of a nonnegative definite matrix: turns small packed matrices into
// their factors, bases and generalised inverses, in place.
#include "numeric/solvers.h"

#include <cmath>

#include "numeric/kernels.h"
#include "numeric/packed.h"

namespace vek {

double zchol(std::ptrdiff_t i, double* a, double tolerance) {
    double* row = a + triangle_size(i);
    for (std::ptrdiff_t j = 0; j < i; ++j) {
        const double* other = a + triangle_size(j);
        row[j] = other[j] == 0 ? 0 : (row[j] - zinner(row, other, j)) / other[j];
    }
    const double pivot = row[i] - zinner(row, row, i);
    row[i] = pivot > tolerance ? std::sqrt(pivot) : 0;
    return pivot;
}

void zorth(double* matrix, std::ptrdiff_t rows, std::ptrdiff_t columns, double* scratch) {
    for (std::ptrdiff_t i = 0; i < rows; ++i) {
        double* row = matrix + i * columns;
        const double norm = std::sqrt(zinner(row, row, columns));
        scratch[i] = norm;
        if (norm <= 1e-08) {
            for (std::ptrdiff_t k = 0; k < columns; ++k) row[k] = 0;
            continue;
        }
        for (std::ptrdiff_t k = 0; k < columns; ++k) row[k] /= norm;
        for (std::ptrdiff_t j = i + 1; j < rows; ++j) {
            double* later = matrix + j * columns;
            zvxay11(later, row, columns, -zinner(row, later, columns));
        }
    }
}

namespace {

// Sweeps on k, whose row of the full symmetric matrix is w, pivot w[k]. Swept rows and columns are stored with reversed
// sign against the others, so rows before k take the update with the other sign.
void sweep_pivot(std::ptrdiff_t k, std::ptrdiff_t n, double* a, const double* w) {
    const double d = w[k];
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        if (i == k) continue;
        const double s = w[i] / d;
        zvxay11(a + triangle_size(i), w, i + 1, i > k ? -s : s);
    }
    double* row = a + triangle_size(k);
    for (std::ptrdiff_t j = 0; j < k; ++j) row[j] = -w[j] / d;
    row[k] = 1 / d;
    for (std::ptrdiff_t i = k + 1; i < n; ++i) a[zisub(i, k)] = w[i] / d;
}

void refuse_pivot(std::ptrdiff_t k, std::ptrdiff_t n, double* a) {
    double* row = a + triangle_size(k);
    for (std::ptrdiff_t j = 0; j <= k; ++j) row[j] = 0;
    for (std::ptrdiff_t i = k + 1; i < n; ++i) a[zisub(i, k)] = 0;
}

}  // namespace

int znndsol(std::ptrdiff_t n, double* a, double* scratch, std::ptrdiff_t m, double* b, double tolerance) {
    int refused = 0;
    double* w = scratch;
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        for (std::ptrdiff_t j = 0; j < n; ++j) w[j] = a[zisub(k, j)];
        const bool taken = !(w[k] < tolerance);
        if (taken) {
            sweep_pivot(k, n, a, w);
        } else {
            ++refused;
            refuse_pivot(k, n, a);
        }
        for (std::ptrdiff_t c = 0; c < m; ++c) {
            double* side = b + c * n;
            const double element = taken ? side[k] / w[k] : 0;
            if (taken) zvxay11(side, w, n, -element);
            side[k] = element;
        }
    }
    return refused;
}

}  // namespace vek
