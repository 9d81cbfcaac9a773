// Small dense solvers in packed storage (lower triangle by rows, (i, j) at i(i + 1)/2 + j): Cholesky factor by rows,
// orthonormal rows, and the sweep of a nonnegative definite matrix with right-hand sides. The caller owns all space.
#pragma once

#include <cstddef>

namespace vek {

/// zchol(i, a, tolerance): makes row i of the Cholesky factor L in place; the rows before it hold theirs.
///   domain    i >= 0, counted from 0; tolerance >= 0; rows beyond i are not looked at
///   result    the pivot: a(i, i) less the squares of the row. At or below the tolerance L(i, i) is 0, otherwise its
///   root;
///             a column whose diagonal element is 0 stays 0 in later rows
///   method    Cholesky by rows (Golub and Van Loan, Matrix Computations, 4.2)
///   accuracy  L L' within n 1e-16 of the matrix, relative to its largest element
///   cost      i²/2 products
///   tests     tests/numeric/test_solvers.cpp
double zchol(std::ptrdiff_t i, double* a, double tolerance);

/// zorth(matrix, rows, columns, scratch): makes the rows of a row-major matrix orthonormal, in their order.
///   domain    rows, columns >= 0
///   result    a row whose norm, after the rows before it were taken out, is at or below 1e-08 becomes zero. `scratch`
///             (one double a row) is left with these norms
///   method    modified Gram-Schmidt (Björck 1967)
///   accuracy  scalar products of two rows within 1e-15 divided by the least norm kept (rows of norm 1 on entry)
///   cost      rows² columns products
///   tests     tests/numeric/test_solvers.cpp
void zorth(double* matrix, std::ptrdiff_t rows, std::ptrdiff_t columns, double* scratch);

/// znndsol(n, a, scratch, m, b, tolerance): sweeps the packed nonnegative definite matrix a of order n, with m
/// right-hand sides, column c at b + c n.
///   domain    n >= 0; m >= 0, b may be null when m is 0; `scratch` has n doubles
///   result    the number of pivots that were refused, being below the tolerance: their rows and columns of a, and
///   their
///             elements of the right-hand sides, are 0. a becomes a generalised inverse (the inverse of the block of
///             the other pivots), b the solutions
///   method    Gauss-Jordan sweep in the order of the rows (Goodnight 1979, The American Statistician 33:149)
///   accuracy  a solution's residual within 1e-15 n times the condition number of the pivots' block
///   cost      n³/2 products, n² more for each right-hand side
///   tests     tests/numeric/test_solvers.cpp
int znndsol(std::ptrdiff_t n, double* a, double* scratch, std::ptrdiff_t m, double* b, double tolerance);

}  // namespace vek
