// Vectors of a tridiagonal matrix by inverse iteration: each value's shifted matrix is factored once with row
// interchanges, and a few solves turn a constant start into the vector. Vectors of near values of one block are kept
// orthogonal as they are made.
#include <algorithm>
#include <cmath>

#include "numeric/eigen.h"
#include "numeric/eigen_constants.h"
#include "numeric/kernels.h"

namespace vek {

using namespace eigen;

namespace {

constexpr int few_steps = 2, many_steps = 9;

// T - xI = (interchanges) L U of one block: U has three diagonals.
struct Factors {
    double* diagonal;
    double* first;
    double* second;
    double* multiplier;
};

struct Block {
    const double* d;
    const double* e;
    int first;
    int end;
    double eps2;   // values closer than this are made orthogonal
    double eps3;   // least pivot, and least distance of two shifts
    double eps4;   // size of an element of a fresh iterate
    double start;  // elements of the first iterate
};

Block make_block(const double* d, const double* e, int first, int end) {
    double norm = std::fabs(d[first]);
    for (int i = first + 1; i < end; ++i) norm += std::fabs(d[i]) + std::fabs(e[i]);
    Block block{d, e, first, end, 0.001 * norm, eps * norm, 0, 0};
    block.eps4 = (end - first) * block.eps3;
    block.start = block.eps4 / std::sqrt(static_cast<double>(end - first));
    return block;
}

void factor(const Block& block, double x, const Factors& f) {
    const double* d = block.d;
    const double* e = block.e;
    double u = d[block.first] - x;
    double v = e[block.first + 1];
    for (int i = block.first + 1; i < block.end; ++i) {
        const bool last = i == block.end - 1;
        if (std::fabs(e[i]) >= std::fabs(u)) {
            // Row i goes up: its elements become the pivot row.
            const double multiplier = u / e[i];
            f.multiplier[i] = multiplier;
            f.diagonal[i - 1] = e[i];
            f.first[i - 1] = d[i] - x;
            f.second[i - 1] = last ? 0 : e[i + 1];
            u = v - multiplier * f.first[i - 1];
            v = -multiplier * f.second[i - 1];
        } else {
            const double multiplier = e[i] / u;
            f.multiplier[i] = multiplier;
            f.diagonal[i - 1] = u;
            f.first[i - 1] = v;
            f.second[i - 1] = 0;
            u = d[i] - x - multiplier * v;
            if (!last) v = e[i + 1];
        }
    }
    f.diagonal[block.end - 1] = u == 0 ? block.eps3 : u;
    f.first[block.end - 1] = 0;
    f.second[block.end - 1] = 0;
}

void back_substitute(const Block& block, const Factors& f, double* vector) {
    double u = 0, v = 0;
    for (int i = block.end - 1; i >= block.first; --i) {
        vector[i] = (vector[i] - u * f.first[i] - v * f.second[i]) / f.diagonal[i];
        v = u;
        u = vector[i];
    }
}

void forward_eliminate(const Block& block, const Factors& f, double* vector) {
    for (int i = block.first + 1; i < block.end; ++i) {
        double u = vector[i];
        if (f.diagonal[i - 1] == block.e[i]) {  // the rows were interchanged
            u = vector[i - 1];
            vector[i - 1] = vector[i];
        }
        vector[i] = u - f.multiplier[i] * vector[i - 1];
    }
}

// Removes from the vector of value r its parts along the `group` vectors before it that come from the same block.
void orthogonalise(const Block& block, int n, int r, int group, const int* tags, double* vectors) {
    const int size = block.end - block.first;
    double* vector = vectors + static_cast<std::ptrdiff_t>(r) * n + block.first;
    for (int j = r - 1; group > 0 && j >= 0; --j) {
        if (tags[j] != tags[r]) continue;
        const double* other = vectors + static_cast<std::ptrdiff_t>(j) * n + block.first;
        zvaxpy(vector, vector, other, size, -zinner(vector, other, size));
        --group;
    }
}

// Iterates from the constant vector until it has grown enough to be the vector of its value; 0, -10, -20 or -30.
int iterate(const Block& block, const Factors& f, int n, int r, int group, const int* tags, double* vectors) {
    const int size = block.end - block.first;
    double* vector = vectors + static_cast<std::ptrdiff_t>(r) * n;
    std::fill(vector + block.first, vector + block.end, block.start);
    int next = block.first;
    for (int its = 1;; ++its) {
        back_substitute(block, f, vector);
        // Twice: near a value of high multiplicity the solve returns mostly what the other vectors hold already, and
        // what is left after one pass can be rounding of that part.
        orthogonalise(block, n, r, group, tags, vectors);
        orthogonalise(block, n, r, group, tags, vectors);
        const double s = zvasum(vector + block.first, size);
        if (s >= 1) return 0;
        if (its > few_steps && s >= 0.01) return -10;
        if (its > many_steps) {
            if (s >= 0.0001) return -20;
            // Not a number, or zero from every start: nothing can come of it.
            if (!(s == 0) || its > many_steps + size) return -30;
        }
        if (s == 0) {
            vector[next] = block.eps4;
            if (++next == block.end) next = block.first;
        } else {
            zvscl11(vector + block.first, vector + block.first, size, block.eps4 / s);
        }
        forward_eliminate(block, f, vector);
    }
}

void normalise(double* vector, int size) {
    const double largest = zvamx(vector, size);
    if (largest > huge / std::sqrt(static_cast<double>(size)))
        for (int i = 0; i < size; ++i) vector[i] /= largest;
    const double norm = std::sqrt(zinner(vector, vector, size));
    if (norm > 0)
        for (int i = 0; i < size; ++i) vector[i] /= norm;
}

}  // namespace

int ztinvit(int n, int m, const double* tridiagonal, const double* values, const int* tags, double* vectors,
            double* scratch) {
    const double* d = tridiagonal;
    const double* e = d + n;
    const double* e2 = e + n;
    const double order = 1 - e2[0];
    const Factors f{scratch, scratch + n, scratch + 2 * static_cast<std::ptrdiff_t>(n),
                    scratch + 3 * static_cast<std::ptrdiff_t>(n)};
    std::fill(vectors, vectors + static_cast<std::ptrdiff_t>(m) * n, 0.0);
    int result = 0;
    int tag = 0;
    for (int first = 0; first < n;) {
        int end = first + 1;
        while (end < n && e2[end] != 0) ++end;
        ++tag;
        const Block block = make_block(d, e, first, end);
        int group = 0;
        bool is_first = true;
        double x0 = 0;
        for (int r = 0; r < m; ++r) {
            if (tags[r] != tag) continue;
            double* vector = vectors + static_cast<std::ptrdiff_t>(r) * n;
            if (end - first == 1) {
                vector[first] = 1;
                continue;
            }
            double x = values[r];
            if (!is_first) {
                group = std::fabs(x - x0) < block.eps2 ? group + 1 : 0;
                if ((x - x0) * order <= 0) x = x0 + order * block.eps3;
            }
            is_first = false;
            factor(block, x, f);
            result = std::min(result, iterate(block, f, n, r, group, tags, vectors));
            normalise(vector + first, end - first);
            x0 = x;
        }
        first = end;
    }
    return result;
}

}  // namespace vek
