// The vector kernels: three versions of one text of loops, the choice among them, and the small matrix routines made of
// them. Which version runs is decided once, before main; a call that comes earlier takes the portable one, which gives
// the same digits.
#include "numeric/kernels.h"

#include <cmath>

#include "numeric/packed.h"

namespace vek {

namespace {

constexpr int partial_sums = 8;

inline double join(const double* s) { return ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7])); }

namespace portable {
#define VEK_WIDTH 2
#include "numeric/kernels_body.inc"
#undef VEK_WIDTH
}  // namespace portable

#if defined(__x86_64__)

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif
namespace avx2 {
#define VEK_WIDTH 4
#include "numeric/kernels_body.inc"
#undef VEK_WIDTH
}  // namespace avx2
#if defined(__clang__)
#pragma clang attribute pop
#pragma clang attribute push(__attribute__((target("avx512f"))), apply_to = function)
#else
#pragma GCC pop_options
#pragma GCC push_options
#pragma GCC target("avx512f")
#endif
namespace avx512 {
#define VEK_WIDTH 8
#include "numeric/kernels_body.inc"
#undef VEK_WIDTH
}  // namespace avx512
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#endif

constinit VectorLoops chosen = portable::loops;

[[maybe_unused]] const bool choice_is_made = [] {
    chosen = *vector_loops(best_instruction_set());
    return true;
}();

}  // namespace

const VectorLoops* vector_loops(InstructionSet set) {
    if (!instruction_set_runs(set)) return nullptr;
#if defined(__x86_64__)
    if (set == InstructionSet::avx512) return &avx512::loops;
    if (set == InstructionSet::avx2) return &avx2::loops;
#endif
    return &portable::loops;
}

double zinner(const double* x, const double* y, std::ptrdiff_t n) { return chosen.inner(x, y, n); }

double zvsum(const double* x, std::ptrdiff_t n) { return chosen.sum(x, n); }

double zvasum(const double* x, std::ptrdiff_t n) { return chosen.absolute_sum(x, n); }

void zvaxpy(double* z, const double* y, const double* x, std::ptrdiff_t n, double a) { chosen.axpy(z, y, x, n, a); }

void zvxay11(double* y, const double* x, std::ptrdiff_t n, double a) { chosen.axpy(y, y, x, n, a); }

void zvscl11(double* z, const double* x, std::ptrdiff_t n, double a) { chosen.scale(z, x, n, a); }

void zvsca11(double* z, const double* x, std::ptrdiff_t n, double a) { chosen.shift(z, x, n, a); }

void zvme111(double* z, const double* x, const double* y, std::ptrdiff_t n) { chosen.multiply(z, x, y, n); }

void zvxy111(double* z, const double* x, const double* y, std::ptrdiff_t n) { chosen.add(z, x, y, n); }

double zvmx(const double* x, std::ptrdiff_t n) {
    if (n <= 0) return 0;
    double largest = x[0];
    for (std::ptrdiff_t i = 1; i < n; ++i) largest = x[i] > largest ? x[i] : largest;
    return largest;
}

double zvamx(const double* x, std::ptrdiff_t n) {
    double largest = 0;
    for (std::ptrdiff_t i = 0; i < n; ++i) largest = std::fabs(x[i]) > largest ? std::fabs(x[i]) : largest;
    return largest;
}

double zvdots1(const double* row, std::ptrdiff_t i, const double* y, std::ptrdiff_t n) {
    double product = zinner(row, y, i + 1);
    const double* element = row + i;  // the diagonal; column i lies below it, each step one longer than the last
    for (std::ptrdiff_t j = i + 1; j < n; ++j) {
        element += j;
        product += *element * y[j];
    }
    return product;
}

void zscp(const double* x, std::ptrdiff_t n, double w, double* a) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        zvxay11(a, x, i + 1, w * x[i]);
        a += i + 1;
    }
}

void zmmult(double* c, const double* a, const double* b, std::ptrdiff_t m, std::ptrdiff_t n, std::ptrdiff_t p) {
    for (std::ptrdiff_t i = 0; i < m; ++i) {
        double* row = c + i * p;
        for (std::ptrdiff_t j = 0; j < p; ++j) row[j] = 0;
        for (std::ptrdiff_t k = 0; k < n; ++k) zvxay11(row, b + k * p, p, a[i * n + k]);
    }
}

void zqform(const double* a, std::ptrdiff_t n, const double* x, std::ptrdiff_t m, double* result, double* work, int) {
    if (m == 1) {
        // x'ax by rows of the triangle: twice the part before the diagonal, once the diagonal.
        double form = 0;
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            form += x[i] * (2 * zinner(a, x, i) + a[i] * x[i]);
            a += i + 1;
        }
        *result = form;
        return;
    }
    for (std::ptrdiff_t s = 0; s < m; ++s) {
        const double* vector = x + s * n;
        // a x[s] column by column of the triangle's rows, so that every access is a whole row.
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const double* row = a + triangle_size(i);
            work[i] = zinner(row, vector, i + 1);
            zvxay11(work, row, i, vector[i]);
        }
        for (std::ptrdiff_t r = 0; r <= s; ++r) *result++ = zinner(x + r * n, work, n);
    }
}

int zsweep(double* a, std::ptrdiff_t k, std::ptrdiff_t n, char* state, double* work, double tolerance) {
    const double pivot = a[zisub(k, k)];
    if (!(pivot > tolerance)) return 0;
    const double inverse = 1 / pivot;
    const auto sign = [&](std::ptrdiff_t i) { return state[i] == state[k] ? 1.0 : -1.0; };
    for (std::ptrdiff_t i = 0; i < k; ++i) work[i] = a[zisub(k, i)];
    work[k] = 0;
    for (std::ptrdiff_t j = k + 1; j < n; ++j) work[j] = a[zisub(j, k)] * sign(j);
    for (std::ptrdiff_t j = 0; j < n; ++j) {
        if (j == k) continue;
        double* row = a + triangle_size(j);
        const double factor = inverse * work[j] * sign(j);
        if (j > k) row[k] = 0;
        zvxay11(row, work, j + 1, -factor);
        if (j > k) row[k] = factor;
    }
    double* pivot_row = a + triangle_size(k);
    for (std::ptrdiff_t i = 0; i < k; ++i) pivot_row[i] = -(work[i] * inverse);
    pivot_row[k] = inverse;
    state[k] = state[k] == '1' ? '0' : '1';
    return 1;
}

}  // namespace vek
