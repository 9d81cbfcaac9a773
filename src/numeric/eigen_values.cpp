// Eigenvalues of a tridiagonal matrix by implicit QL, each with the number of the block that it comes from.
#include <algorithm>
#include <cmath>

#include "numeric/eigen.h"
#include "numeric/eigen_constants.h"

namespace vek {

using namespace eigen;

namespace {

// The matrix while QL works on it: e is moved down by one place, so that e[i] couples rows i and i + 1.
struct QlMatrix {
    int n;
    double* d;
    double* e;
    double* e2;
};

// The first row from l on after which the matrix falls apart.
int small_element(const QlMatrix& t, int l) {
    int m = l;
    for (; m < t.n - 1; ++m) {
        const double size = std::fabs(t.e[m]);
        if (size <= eps * (std::fabs(t.d[m]) + std::fabs(t.d[m + 1])) || size <= tiny || t.e2[m + 1] == 0) break;
    }
    return m;
}

// One QL step with implicit shift on rows l to m; true when it no longer changes anything at row l.
bool ql_step(const QlMatrix& t, int l, int m) {
    double* d = t.d;
    double* e = t.e;
    double p = d[l];
    double g = (d[l + 1] - p) / (2 * e[l]);
    double r = std::fabs(g) > 1 ? std::fabs(g) * std::sqrt(1 + 1 / (g * g)) : std::sqrt(g * g + 1);
    g = d[m] - p + e[l] / (g + (g >= 0 ? r : -r));
    double s = 1, c = 1;
    p = 0;
    for (int i = m - 1; i >= l; --i) {
        const double f = s * e[i];
        const double b = c * e[i];
        if (std::fabs(f) >= std::fabs(g)) {
            c = std::fabs(f) <= small ? 0 : g / f;
            r = std::sqrt(c * c + 1);
            e[i + 1] = f * r;
            s = 1 / r;
            c *= s;
        } else {
            s = std::fabs(g) <= small ? 0 : f / g;
            r = std::sqrt(s * s + 1);
            e[i + 1] = g * r;
            c = 1 / r;
            s *= c;
        }
        g = d[i + 1] - p;
        r = (d[i] - g) * s + 2 * c * b;
        p = s * r;
        d[i + 1] = g + p;
        g = c * r - b;
    }
    const bool stalled = std::fabs(p) <= small && std::fabs(e[l] - g) <= small;
    d[l] -= p;
    e[l] = g;
    e[m] = 0;
    return stalled;
}

// After a step without effect the element beside row l must be negligible on its own account.
bool negligible_after_stall(const QlMatrix& t, int l) {
    const double size = std::fabs(t.e[l]), diagonal = std::fabs(t.d[l]);
    return size <= tiny || (diagonal <= eps && size <= sqrteps * diagonal);
}

}  // namespace

int zimtqlv(int n, double* tridiagonal, double* values, int* tags, double* scratch, int iterations) {
    const double* sub_diagonal = tridiagonal + n;
    const QlMatrix t{n, values, scratch, tridiagonal + 2 * static_cast<std::ptrdiff_t>(n)};
    std::copy_n(tridiagonal, n, t.d);
    std::copy_n(sub_diagonal + 1, n - 1, t.e);
    t.e[n - 1] = 0;
    t.e2[0] = 0;
    int block_end = -1;
    int block = 0;
    for (int l = 0; l < n; ++l) {
        bool stalled = false;
        for (int step = 0;; ++step) {
            if (stalled && !negligible_after_stall(t, l)) return -(l + 1);
            const int m = stalled ? l : small_element(t, l);
            if (m > block_end) {
                if (m < n - 1) t.e2[m + 1] = 0;
                block_end = m;
                ++block;
            }
            if (m == l) break;
            if (step == iterations) return -(l + 1);
            stalled = ql_step(t, l, m);
        }
        // Into its place among the values before it, which are in descending order.
        const double value = t.d[l];
        int place = l;
        for (; place > 0 && values[place - 1] < value; --place) {
            values[place] = values[place - 1];
            tags[place] = tags[place - 1];
        }
        values[place] = value;
        tags[place] = block;
    }
    t.e2[0] = 2;
    return 0;
}

}  // namespace vek
