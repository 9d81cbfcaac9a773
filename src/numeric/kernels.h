// Vector kernels: the few loops over doubles in which all dense work of the procedure ends. Vectors have stride 1; a
// count of zero or less is an empty vector. Element-wise kernels may be called with the result on top of an argument
// (the same start, not a shifted one); other overlaps are not allowed. Nothing is allocated and nothing kept.
//
// Digits: multiply and add round separately in every version. A sum or inner product runs in eight partial sums,
// element i going to sum i mod 8; they are joined as ((s0 + s4) + (s2 + s6)) + ((s1 + s5) + (s3 + s7)). So the digits
// depend neither on the machine nor on the width of its vectors.
#pragma once

#include <cstddef>

#include "numeric/dispatch.h"

namespace vek {

/// The inner product x'y of two vectors of n elements; 0 when n is 0.
double zinner(const double* x, const double* y, std::ptrdiff_t n);

/// The inner product of row i of a packed symmetric matrix of order n (lower triangle by rows) with y. `row` points to
/// the first element of the row, at i(i + 1)/2; the elements beyond the diagonal are picked from the rows below.
double zvdots1(const double* row, std::ptrdiff_t i, const double* y, std::ptrdiff_t n);

/// Quadratic forms of the m vectors in x (m rows of n) with the packed symmetric matrix a of order n: the packed lower
/// triangle of x a x' goes to `result`, one double when m is 1. `work` holds n doubles and may be null when m is 1.
/// The last argument is reserved and must be 0. Cost: m n² + m² n / 2 products.
void zqform(const double* a, std::ptrdiff_t n, const double* x, std::ptrdiff_t m, double* result, double* work,
            int reserved = 0);

/// c = a b, with a of m rows and n columns and b of n rows and p columns, all by rows. c must not overlap a or b.
/// Every element is summed in the order of a's columns.
void zmmult(double* c, const double* a, const double* b, std::ptrdiff_t m, std::ptrdiff_t n, std::ptrdiff_t p);

/// Sweeps the packed symmetric matrix a of order n (lower triangle by rows) on k when its diagonal element k exceeds
/// the tolerance. `state` has one character for each row, '0' unswept and '1' swept, and must tell the truth on entry.
///   result    1: swept, state[k] reversed; 0: refused, nothing changed
///   layout    the swept block holds its inverse, the unswept block its Schur complement; an element of a swept row i
///             and an unswept row j is the coefficient of j on i when i < j, and its negative when i > j
///   method    Gauss-Jordan sweep; a second sweep on k undoes the first, up to rounding
///   accuracy  of order 9 and condition below 100: 1e-13 absolute, and 1e-12 after the way back
///   cost      n²/2 products; `work` holds n doubles
///   tests     tests/numeric/test_kernels.cpp
int zsweep(double* a, std::ptrdiff_t k, std::ptrdiff_t n, char* state, double* work, double tolerance);

/// z = y + a x.
void zvaxpy(double* z, const double* y, const double* x, std::ptrdiff_t n, double a);

/// y = y + a x.
void zvxay11(double* y, const double* x, std::ptrdiff_t n, double a);

/// z = a x.
void zvscl11(double* z, const double* x, std::ptrdiff_t n, double a);

/// z = x + a.
void zvsca11(double* z, const double* x, std::ptrdiff_t n, double a);

/// z = x * y, element by element.
void zvme111(double* z, const double* x, const double* y, std::ptrdiff_t n);

/// z = x + y.
void zvxy111(double* z, const double* x, const double* y, std::ptrdiff_t n);

/// Adds w x x' to a, a packed symmetric matrix of order n: (i, j), i >= j, receives (w x[i]) x[j].
void zscp(const double* x, std::ptrdiff_t n, double w, double* a);

/// The sum of x.
double zvsum(const double* x, std::ptrdiff_t n);

/// The sum of absolute values of x.
double zvasum(const double* x, std::ptrdiff_t n);

/// The largest element of x; 0 for an empty vector.
double zvmx(const double* x, std::ptrdiff_t n);

/// The largest absolute value in x; 0 for an empty vector.
double zvamx(const double* x, std::ptrdiff_t n);

/// y[index[k]] += a x[k] for k below n. An index may occur more than once.
template <class Index>
inline void zvxayp1(double* y, const Index* index, const double* x, std::ptrdiff_t n, double a) {
    for (std::ptrdiff_t k = 0; k < n; ++k) y[index[k]] += a * x[k];
}

/// z[iz[k]] = y[iy[k]] + x[k] for k below n, in this order.
template <class Index>
inline void zvxypp1(double* z, const Index* iz, const double* y, const Index* iy, const double* x, std::ptrdiff_t n) {
    for (std::ptrdiff_t k = 0; k < n; ++k) z[iz[k]] = y[iy[k]] + x[k];
}

/// One version of the loops behind the functions above, by name: for tests and measurements, which hold them against
/// each other. The functions above take the widest that the machine runs.
struct VectorLoops {
    double (*inner)(const double* x, const double* y, std::ptrdiff_t n);
    void (*axpy)(double* z, const double* y, const double* x, std::ptrdiff_t n, double a);
    void (*scale)(double* z, const double* x, std::ptrdiff_t n, double a);
    void (*shift)(double* z, const double* x, std::ptrdiff_t n, double a);
    void (*multiply)(double* z, const double* x, const double* y, std::ptrdiff_t n);
    void (*add)(double* z, const double* x, const double* y, std::ptrdiff_t n);
    double (*sum)(const double* x, std::ptrdiff_t n);
    double (*absolute_sum)(const double* x, std::ptrdiff_t n);
};

/// The loops of one version, or null when the machine does not run it.
const VectorLoops* vector_loops(InstructionSet set);

}  // namespace vek
