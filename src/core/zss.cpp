// zss: the generic reduction from all estimable functions to those of one effect, and the orthogonalisation that makes
// Type III of them.
#include "core/zss.h"

#include <algorithm>
#include <cmath>

#include "frame/host_message.h"
#include "model/zlst.h"
#include "numeric/kernels.h"

namespace vek {

namespace {

bool present(const HypothesisRows& H, int r, int c) { return std::fabs(H.rows[r][c]) > H.zeta; }

/// row s := row s + a row r, over the range where row r is not zero.
void add_row(HypothesisRows& H, int s, int r, double a) {
    if (H.low[r] >= H.high[r]) return;
    zvxay11(H.rows[s] + H.low[r], H.rows[r] + H.low[r], H.high[r] - H.low[r], a);
    H.low[s] = std::min(H.low[s], H.low[r]);
    H.high[s] = std::max(H.high[s], H.high[r]);
}

void scale_row(HypothesisRows& H, int r, double a) {
    zvscl11(H.rows[r] + H.low[r], H.rows[r] + H.low[r], H.high[r] - H.low[r], a);
}

/// Takes row r out of the hypothesis and its column c out of all rows that stay.
void Eliminate(HypothesisRows& H, int r, int c) {
    if (!present(H, r, c)) return;
    const double pivot = H.rows[r][c];
    if (pivot != 1) scale_row(H, r, 1 / pivot);
    H.active[r] = 0;
    for (int s = 0; s < H.ncol; ++s) {
        if (H.active[s] == 0 || c < H.low[s] || c >= H.high[s]) continue;
        double& element = H.rows[s][c];
        if (std::fabs(element) > H.zeta) {
            add_row(H, s, r, -element);
        } else {
            element = 0;
        }
    }
}

/// First active row of [from, to) with a coefficient at c, or -1.
int find_pivot(const HypothesisRows& H, int from, int to, int c) {
    for (int r = from; r < to; ++r) {
        if (H.active[r] != 0 && c >= H.low[r] && c < H.high[r] && present(H, r, c)) return r;
    }
    return -1;
}

void ZeroOut(HypothesisRows& H, int first, int end) {
    for (int c = first; c < end; ++c) {
        const int r = find_pivot(H, 0, H.ncol, c);
        if (r >= 0) Eliminate(H, r, c);
    }
}

/// Column c of e is dependent and has no row of its own: it takes over the function that a row outside of e carries.
void ReDefine(HypothesisRows& H, const EffectMod& e, int c) {
    int r = find_pivot(H, 0, e.firstcol, c);
    if (r < 0) r = find_pivot(H, e.firstcol + e.ncols, H.ncol, c);
    if (r < 0) return;
    Eliminate(H, r, c);
    // A row that was never stored has an empty range, low above high.
    if (H.low[c] < H.high[c]) std::fill(H.rows[c] + H.low[c], H.rows[c] + H.high[c], 0.0);
    std::copy(H.rows[r] + H.low[r], H.rows[r] + H.high[r], H.rows[c] + H.low[r]);
    H.low[c] = H.low[r];
    H.high[c] = H.high[r];
    H.active[c] = 1;
}

/// True when no coefficient reaches zeta.
bool Zvec(const HypothesisRows& H, int r) {
    return std::all_of(H.rows[r] + H.low[r], H.rows[r] + H.high[r], [&](double x) { return std::fabs(x) < H.zeta; });
}

/// Rows on their way out that are orthogonal to one another. Every other row meets all of them, one after the other,
/// while it is in the cache: the sums are those of one row after the other, the memory is read once for a panel.
struct Panel {
    static constexpr int room = 64;
    static constexpr int cache_doubles = 65536;

    explicit Panel(int ncol) : most(std::clamp(cache_doubles / ncol, 4, room)) {}
    void add(int row, double s) {
        rows[size] = row;
        squares[size++] = s;
    }

    int most;
    int size = 0;
    int rows[room];
    double squares[room];
};

/// Makes row u orthogonal to the rows of the panel.
void take_out(HypothesisRows& H, int u, const Panel& panel) {
    for (int i = 0; i < panel.size; ++i) {
        const int v = panel.rows[i];
        if (H.high[u] <= H.low[v] || H.low[u] >= H.high[v]) continue;
        const double a = zinner(H.rows[v] + H.low[v], H.rows[u] + H.low[v], H.high[v] - H.low[v]) / panel.squares[i];
        if (std::fabs(a) > H.zeta) add_row(H, u, v, -a);
    }
}

}  // namespace

void clear_rows(HypothesisRows& H) {
    for (int r = 0; r < H.ncol; ++r) {
        if (H.low[r] < H.high[r]) std::fill(H.rows[r] + H.low[r], H.rows[r] + H.high[r], 0.0);
        H.low[r] = H.ncol;
        H.high[r] = 0;
        H.active[r] = 0;
    }
}

void set_range(HypothesisRows& H, int row, int first, int last) {
    H.low[row] = first;
    H.high[row] = last;
}

int zss_initialize(HypothesisRows& H, const ModelBlock& zgm, int e) {
    const EffectMod& tested = *zgm.modrecs[e];
    if (zgm.noint == 0 && e != 0) H.active[0] = 0;
    for (int i = 1; i <= zgm.neff; ++i) {
        if (i == e || EffectCompare(*zgm.effects[i], *zgm.effects[e]) == set_around) continue;
        const EffectMod& other = *zgm.modrecs[i];
        ZeroOut(H, other.firstcol, other.firstcol + other.ncols);
    }
    for (int c = tested.firstcol; c < tested.firstcol + tested.ncols; ++c) {
        if (H.active[c] == 0) ReDefine(H, tested, c);
    }
    for (int r = 0; r < H.ncol; ++r) {
        if (H.active[r] != 0 && Zvec(H, r)) H.active[r] = 0;
    }
    return static_cast<int>(
        std::count(H.active + tested.firstcol, H.active + tested.firstcol + tested.ncols, std::int16_t{1}));
}

void zss_orthogonalize(HypothesisRows& H, const ModelBlock& zgm, int e) {
    const EffectMod& tested = *zgm.modrecs[e];
    const auto inside = [&](int r) { return r >= tested.firstcol && r < tested.firstcol + tested.ncols; };
    Panel panel(H.ncol);
    for (int v = 0; v < H.ncol;) {
        wtpoll();
        panel.size = 0;
        for (; v < H.ncol && panel.size < panel.most; ++v) {
            if (H.active[v] == 0 || inside(v)) continue;
            H.active[v] = 0;
            take_out(H, v, panel);
            const double* row = H.rows[v] + H.low[v];
            const double s = zinner(row, row, H.high[v] - H.low[v]);
            if (s > H.zeta) panel.add(v, s);
        }
        for (int u = 0; u < H.ncol; ++u) {
            if (H.active[u] != 0) take_out(H, u, panel);
        }
    }
}

}  // namespace vek
