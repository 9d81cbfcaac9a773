// vekxswp: one pivot step on the packed crossproducts, as a rank-one update of whole rows.
#include "model/vekxswp.h"

#include "numeric/kernels.h"

namespace vek {

void vekxswp(const FitState& F, const ModelBlock& zgm, int k, double d, const int* signs) {
    const int n = zgm.ncoly;
    double* const* rows = zgm.xpxrows;
    double* pivot_row = rows[k];
    double* column = F.work2;  // column k of the full symmetric matrix
    double* scaled = F.work1;  // what the pivot row is after the sweep
    const double inverse = 1 / d;
    for (int i = 0; i < k; ++i) {
        column[i] = rows[i][k];
        scaled[i] = signs == nullptr ? -inverse * column[i] : inverse * column[i] * signs[i] * signs[k];
        rows[i][k] = 0;
    }
    scaled[k] = inverse;
    for (int j = k + 1; j < n; ++j) {
        column[j] = signs == nullptr ? pivot_row[j] : pivot_row[j] * signs[j] * signs[k];
        scaled[j] = inverse * pivot_row[j];
    }
    pivot_row[k] = inverse;
    for (int j = k + 1; j < n; ++j) pivot_row[j] = scaled[j];
    for (int i = 0; i < n; ++i) {
        // A row without an element in the pivot column stays as it is: with class effects most do.
        if (i == k || column[i] == 0) continue;
        zvxay11(rows[i] + i, scaled + i, n - i, -column[i]);
    }
}

}  // namespace vek
