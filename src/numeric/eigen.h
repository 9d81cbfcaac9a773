// Dense symmetric eigenproblems in packed storage: reduction to tridiagonal form, implicit QL or bisection for the
// values, inverse iteration for the vectors, and the rules that make signs and bases reproducible. The routines descend
// from the published procedures TRED3, IMTQLV, BISECT, TINVIT and TRBAK3 (Wilkinson and Reinsch, Handbook for Automatic
// Computation II, 1971; Smith and others, EISPACK Guide, 1976) with thresholds, limits and orders of their own.
//
// Shapes: a packed matrix is the lower triangle by rows, (i, j) at i(i + 1)/2 + j. A tridiagonal matrix is 3n doubles:
// diagonal d, sub-diagonal e (e[0] = 0) and its squares e2; a zero in e2 cuts it into blocks, and e2[0] tells the order
// of the values to ztinvit, 0 ascending and 2 descending. Vectors are m rows of n; row r belongs to value r. A tag is
// the number of the block that a value comes from, counted from 1. No routine allocates or keeps anything.
#pragma once

#include <cstddef>

namespace vek {

/// Steps of QL that zimtqlv grants to one value.
inline constexpr int eigen_iterations = 50;

/// zeigen2(n, a, values, m, vectors, work): all eigenvalues, descending, and the vectors of the m largest.
///   domain    n >= 1, 0 <= m <= n, finite elements; a is destroyed; vectors may be null when m is 0; work has 8n
///             doubles. Fewer `iterations` than usual make QL give up early, which tests use to force the bisection
///   result    0 good; 99 bad arguments; 98 no eigenvalues by either method; 97 close values gave dependent vectors,
///             which are then not tidied; otherwise the sum of -1 (QL failed, bisection found the values) and -10 or
///             -20 (a vector took many steps but is usable) or -30 (a vector was not found). At or below -30: failure
///   method    as the heading tells; then zeiggrp for close values and zeigref for zeros and signs. Each vector has a
///   sum
///             above 0, or, when its sum is nearly 0, a positive largest element
///   accuracy  with n up to 300, relative to the largest value: values within 4 n 2^-53; residuals of vectors within
///             20 n 2^-53, and 5e-14 n where the tidying clears elements or close values form a group (up to the width
///             of the group); scalar products of two vectors 6e-14 n, in clusters of hundreds near rounding 4e-13 n.
///             Off-diagonal elements below 1.5e-154 in size count as 0; bisection fails above 1e150, QL does not
///   cost      4/3 n³ for the values, and 2 m n² for m vectors; work space of the caller only
///   tests     tests/numeric/test_eigen.cpp, tests/numeric/zeigen2.tsv
int zeigen2(int n, double* a, double* values, int m, double* vectors, double* work, int iterations = eigen_iterations);

/// Householder reduction of the packed matrix a to the tridiagonal form. a is left with the reflections: row i holds
/// the vector of reflection i, and its diagonal element the square root by which ztrbak3 scales, 0 for none.
void ztred3(int n, double* a, double* tridiagonal);

/// Eigenvalues of a tridiagonal matrix by implicit QL, descending, with their tags; e2 is cut where QL splits the
/// matrix, d and e stay. `scratch` has n doubles. 0, or -(l + 1) when the value in place l took more than `iterations`
/// steps or its steps ceased to change anything.
int zimtqlv(int n, double* tridiagonal, double* values, int* tags, double* scratch, int iterations = eigen_iterations);

/// The m largest (m > 0; descending) or |m| smallest (m < 0; ascending) eigenvalues of a tridiagonal matrix by
/// bisection, with their tags. An interval may be wider by `tolerance` than rounding asks for; 0 for none. `values` and
/// `tags` have room for n, `scratch` 2n doubles. Returns the number of values found; it differs from |m| where values
/// coincide beyond what bisection can part.
int zbisect(int n, int m, double tolerance, double* tridiagonal, double* values, int* tags, double* scratch);

/// A run of rows of a tridiagonal matrix without a zero in e2 behind its first row; rows counted from 0.
struct TridiagonalBlock {
    const double* d;
    const double* e;
    const double* e2;
    int first;
    int size;
    int order;      ///< of the whole matrix
    int count = 0;  ///< set by cut(): the number of values below the point that it returns
};

/// Gerschgorin bounds of a block's eigenvalues.
void gersch(const TridiagonalBlock& block, double& low, double& high);

/// The number of eigenvalues of the block below x, plus the number of rows before the block.
int sturm(const TridiagonalBlock& block, double x);

/// A point of the interval that has `target` eigenvalues below it; block.count differs from the target where the
/// interval shrank to nothing first. Target -1 returns `low` at once.
double cut(TridiagonalBlock& block, int target, double low, double high);

/// Vectors of the first m values of a tridiagonal matrix by inverse iteration. `scratch` has 4n doubles. 0, -10 (a
/// vector took more than two steps), -20 (more than nine) or -30 (none found), the lowest that occurred.
int ztinvit(int n, int m, const double* tridiagonal, const double* values, const int* tags, double* vectors,
            double* scratch);

/// Turns vectors of the tridiagonal matrix into vectors of the matrix that ztred3 reduced.
void ztrbak3(int n, int m, const double* a, double* vectors);

/// Gives each group of values closer than 1.1e-13 of the matrix's norm a basis that depends on their common space only.
/// `scratch` has 3n doubles. 0, or 1 when a group's vectors are dependent.
int zeiggrp(int n, int m, const double* tridiagonal, const double* values, double* vectors, double* scratch);

/// Householder QR with column pivoting (Businger and Golub 1965) of `size` rows of n: the rows become R, the same span,
/// with zeros below the diagonal of the pivot columns. `pivots`, `current` and `reference` have n elements. Returns the
/// number of columns whose norm was at or below the tolerance.
int modqrd(int size, int n, int* pivots, double tolerance, double* rows, double* current, double* reference);

/// Clears elements within n 1.1e-14 of 0 and fixes the sign of each vector: its sum, or when that is nearly 0 its
/// largest element, is positive.
void zeigref(int n, int m, double* vectors);

}  // namespace vek
