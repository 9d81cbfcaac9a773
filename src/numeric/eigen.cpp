// zeigen2, the symmetric eigenproblem as its callers see it, and what makes its vectors reproducible: a basis for close
// values that depends on their space only, exact zeros, and a fixed sign.
#include "numeric/eigen.h"

#include <algorithm>
#include <cmath>

#include "numeric/eigen_constants.h"
#include "numeric/kernels.h"

namespace vek {

using namespace eigen;

int zeigen2(int n, double* a, double* values, int m, double* vectors, double* work, int iterations) {
    if (n < 1 || m < 0 || m > n || a == nullptr || values == nullptr || (m > 0 && vectors == nullptr) ||
        work == nullptr)
        return 99;
    const std::ptrdiff_t order = n;
    double* tridiagonal = work;
    int* tags = reinterpret_cast<int*>(work + 3 * order);
    double* scratch = work + 4 * order;
    double* saved = work + 5 * order;
    ztred3(n, a, tridiagonal);
    std::copy_n(tridiagonal, 3 * order, saved);
    int status = 0;
    if (zimtqlv(n, tridiagonal, values, tags, scratch, iterations) != 0) {
        status = -1;
        std::copy_n(saved, 3 * order, tridiagonal);
        if (zbisect(n, n, 0, tridiagonal, values, tags, scratch) < n) return 98;
    }
    if (m > 0) {
        status += ztinvit(n, m, tridiagonal, values, tags, vectors, scratch);
        ztrbak3(n, m, a, vectors);
    }
    if (m < 2 || zeiggrp(n, m, tridiagonal, values, vectors, scratch) == 0) {
        zeigref(n, m, vectors);
    } else {
        status = 97;
    }
    return status;
}

int zeiggrp(int n, int m, const double* tridiagonal, const double* values, double* vectors, double* scratch) {
    const double* d = tridiagonal;
    const double* e = d + n;
    double norm = std::fabs(d[0]);
    for (int i = 1; i < n; ++i) norm += std::fabs(d[i]) + std::fabs(e[i]);
    const double near = 1.110223024625157e-13 * norm;
    double* current = scratch;
    double* reference = scratch + n;
    int* pivots = reinterpret_cast<int*>(scratch + 2 * static_cast<std::ptrdiff_t>(n));
    for (int first = 0; first < m;) {
        int end = first + 1;
        while (end < m && std::fabs(values[end] - values[end - 1]) < near) ++end;
        if (end - first > 1 && modqrd(end - first, n, pivots, 2.2250738585072018e-307,
                                      vectors + static_cast<std::ptrdiff_t>(first) * n, current, reference) != 0)
            return 1;
        first = end;
    }
    return 0;
}

namespace {

// Norm of one column of `size` rows of n, from row `first` on.
double column_norm(const double* column, int n, int first, int size) {
    double sum = 0;
    for (int i = first; i < size; ++i) {
        const double element = column[static_cast<std::ptrdiff_t>(i) * n];
        sum += element * element;
    }
    return std::sqrt(sum);
}

// Applies the reflection whose vector stands in `reflector` (rows j on, u its element in row j) to another column, and
// carries that column's norm of the rows below on, computing it anew when too little of it is left to trust.
void reflect_column(const double* reflector, double u, double* column, int n, int j, int size, double& current,
                    double& reference) {
    double t = 0;
    for (int i = j; i < size; ++i) {
        const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(i) * n;
        t += reflector[row] * column[row];
    }
    t *= -1 / u;
    for (int i = j; i < size; ++i) {
        const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(i) * n;
        column[row] += t * reflector[row];
    }
    if (current == 0) return;
    const double share = column[static_cast<std::ptrdiff_t>(j) * n] / current;
    const double left = std::max(0.0, 1 - share * share);
    const double drift = current / reference;
    if (1 + 0.5 * left * (drift * drift) == 1) {
        current = column_norm(column, n, j + 1, size);
        reference = current;
    } else {
        current *= std::sqrt(left);
    }
}

}  // namespace

int modqrd(int size, int n, int* pivots, double tolerance, double* rows, double* current, double* reference) {
    for (int c = 0; c < n; ++c) {
        pivots[c] = c;
        current[c] = reference[c] = column_norm(rows + c, n, 0, size);
    }
    int lost = 0;
    for (int j = 0; j < size; ++j) {
        const auto place = std::max_element(current + j, current + n) - current;
        std::swap(pivots[j], pivots[place]);
        std::swap(current[j], current[place]);
        std::swap(reference[j], reference[place]);
        double* column = rows + pivots[j];
        double& pivot = column[static_cast<std::ptrdiff_t>(j) * n];
        double x = column_norm(column, n, j, size);
        if (x <= tolerance) {
            ++lost;
            current[j] = 0;
        } else {
            if (pivot < 0) x = -x;
            for (int i = j; i < size; ++i) column[static_cast<std::ptrdiff_t>(i) * n] /= x;
            pivot += 1;
            current[j] = -x;
            reference[j] = -pivot;
            for (int c = j + 1; c < n; ++c)
                reflect_column(column, pivot, rows + pivots[c], n, j, size, current[c], reference[c]);
        }
        pivot = current[j];
        for (int i = j + 1; i < size; ++i) column[static_cast<std::ptrdiff_t>(i) * n] = 0;
    }
    return lost;
}

void zeigref(int n, int m, double* vectors) {
    const double zero = n * 1.110223024625157e-14;
    for (int r = 0; r < m; ++r) {
        double* vector = vectors + static_cast<std::ptrdiff_t>(r) * n;
        for (int i = 0; i < n; ++i)
            if (std::fabs(vector[i]) <= zero) vector[i] = 0;
        double sign = zvsum(vector, n);
        if (std::fabs(sign) < sqrteps) {
            // The first of the largest elements: a later one replaces it only if it is clearly larger.
            sign = vector[0];
            for (int i = 1; i < n; ++i)
                if (std::fabs(vector[i]) > std::fabs(sign) + sqrteps) sign = vector[i];
        }
        if (sign < 0) zvscl11(vector, vector, n, -1);
    }
}

}  // namespace vek
