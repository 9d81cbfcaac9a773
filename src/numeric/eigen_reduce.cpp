// Packed symmetric matrix to tridiagonal form by Householder reflections, and the way back for vectors.
#include <cmath>

#include "numeric/eigen.h"
#include "numeric/eigen_constants.h"
#include "numeric/kernels.h"
#include "numeric/packed.h"

namespace vek {

using namespace eigen;

namespace {

// Takes u u'/h from both sides of the leading block of order i: p = A u / h in e, then A -= u q' + q u' with
// q = p - u (p'u) / 2h.
void reflect_block(int i, double h, double* a, const double* u, double* e) {
    double f = 0;
    for (int j = 0; j < i; ++j) {
        e[j] = zvdots1(a + triangle_size(j), j, u, i) / h;
        f += e[j] * u[j];
    }
    const double k = f / (h + h);
    for (int j = 0; j < i; ++j) {
        const double g = e[j] - k * u[j];
        e[j] = g;
        double* row = a + triangle_size(j);
        zvxay11(row, e, j + 1, -u[j]);
        zvxay11(row, u, j + 1, -g);
    }
}

}  // namespace

void ztred3(int n, double* a, double* tridiagonal) {
    double* d = tridiagonal;
    double* e = d + n;
    double* e2 = e + n;
    for (int i = n - 1; i >= 0; --i) {
        double* row = a + triangle_size(i);
        for (int j = 0; j < i; ++j) d[j] = row[j];
        const double scale = zvasum(d, i);
        double h = 0;
        if (scale <= small) {
            e[i] = e2[i] = 0;
        } else {
            for (int j = 0; j < i; ++j) d[j] /= scale;
            h = zinner(d, d, i);
            e2[i] = scale * scale * h;
            const double f = d[i - 1];
            const double g = f >= 0 ? -std::sqrt(h) : std::sqrt(h);
            e[i] = scale * g;
            h -= f * g;
            d[i - 1] = f - g;
            row[i - 1] = scale * d[i - 1];
            if (i > 1) reflect_block(i, h, a, d, e);
        }
        d[i] = row[i];
        row[i] = scale * std::sqrt(h);
    }
}

void ztrbak3(int n, int m, const double* a, double* vectors) {
    for (int i = 1; i < n; ++i) {
        const double* reflection = a + triangle_size(i);
        const double h = reflection[i];
        if (!(std::fabs(h) > tiny)) continue;
        for (int r = 0; r < m; ++r) {
            double* vector = vectors + static_cast<std::ptrdiff_t>(r) * n;
            // Divided twice: h² may underflow.
            const double factor = zinner(reflection, vector, i) / h / h;
            zvxay11(vector, reflection, i, -factor);
        }
    }
}

}  // namespace vek
