// type4: Type IV functions. The coefficient of a level of the tested effect is spread in equal parts over the cells of
// every containing effect at that level, from the highest-order effects down; an empty cell leaves a choice.
#include <algorithm>
#include <cmath>

#include "core/zss.h"
#include "model/zlst.h"
#include "numeric/kernels.h"

namespace vek {

namespace {

/// Takes row r out and its column c out of the other active rows.
void pivot(HypothesisRows& H, int r, int c) {
    if (H.rows[r][c] != 0) {
        zvscl11(H.rows[r] + H.low[r], H.rows[r] + H.low[r], H.high[r] - H.low[r], 1 / H.rows[r][c]);
        for (int s = 0; s < H.ncol; ++s) {
            if (s == r || H.active[s] == 0) continue;
            const double a = H.rows[s][c];
            if (std::fabs(a) > H.zeta) {
                zvxay11(H.rows[s] + H.low[r], H.rows[r] + H.low[r], H.high[r] - H.low[r], -a);
                H.low[s] = std::min(H.low[s], H.low[r]);
                H.high[s] = std::max(H.high[s], H.high[r]);
            }
            H.rows[s][c] = 0;
        }
    }
    H.active[r] = 0;
}

/// Last active row of [first, last] for which `wanted` holds and that has a coefficient at k; -1 when there is none.
template <class Wanted>
int last_row_with(const HypothesisRows& H, int first, int last, int k, Wanted wanted) {
    for (int r = last; r >= first; --r) {
        if (H.active[r] != 0 && wanted(r) && std::fabs(H.rows[r][k]) > H.zeta) return r;
    }
    return -1;
}

/// The tested effect, and the active rows of the hypothesis when the work on one of its rows begins.
struct Tested {
    int effect, first_column, end_column;
    int first, last;  ///< first and last active row
};

/// Level ids: which level of e each column of e's containing effects belongs to; and these effects' orders.
void assign_levels(const HypothesisRows& H, const ModelBlock& zgm, int e, Type4Work& work) {
    std::fill_n(work.level, H.ncol, -1);
    std::fill_n(work.order, zgm.neff + 1, 0);
    for (int i = 1; i <= zgm.neff; ++i) {
        if (i == e || EffectCompare(*zgm.effects[i], *zgm.effects[e]) != set_around) continue;
        work.order[i] = zgm.effects[i]->nclass();
        const EffectMod& mod = *zgm.modrecs[i];
        for (int c = 0; c < mod.ncols; ++c) {
            work.level[mod.firstcol + c] = SetLevel(*zgm.effects[i], c, *zgm.effects[e]);
        }
    }
}

/// Levels of e without a coefficient in row r get none in any cell.
void clear_absent_levels(HypothesisRows& H, const Tested& t, int r, Type4Work& work) {
    for (int c = t.first_column; c < t.end_column; ++c) {
        if (std::fabs(H.rows[r][c]) > H.zeta) continue;
        H.rows[r][c] = 0;
        const int level = work.level[c];
        work.level[c] = -1;
        if (level < 0) continue;
        for (int k = 0; k < H.ncol; ++k) {
            if (work.level[k] != level) continue;
            const int row = last_row_with(H, t.first, t.last, k, [&](int s) { return s != r; });
            if (row >= 0) pivot(H, row, k);
            work.level[k] = -1;
        }
    }
}

/// A cell that no active row can reach cannot be set: true when there is one.
bool drop_unreachable_cells(const HypothesisRows& H, const Tested& t, Type4Work& work) {
    bool dropped = false;
    for (int k = 0; k < H.ncol; ++k) {
        if ((k >= t.first_column && k < t.end_column) || work.level[k] < 0) continue;
        if (last_row_with(H, t.first, t.last, k, [](int) { return true; }) >= 0) continue;
        work.level[k] = -1;
        dropped = true;
    }
    return dropped;
}

/// Gives each column of containing effect i its equal share of the coefficient of its level.
void share_out(HypothesisRows& H, const EffectMod& mod, const Tested& t, int r, const Type4Work& work, int* rows_left) {
    const int begin = mod.firstcol, end = mod.firstcol + mod.ncols;
    for (int c = t.first_column; c < t.end_column; ++c) {
        const int level = work.level[c];
        if (level < 0) continue;
        const auto count = std::count(work.level + begin, work.level + end, level);
        const double share = count > 0 ? H.rows[r][c] / static_cast<double>(count) : 0;
        for (int k = begin; k < end; ++k) {
            if (work.level[k] != level) continue;
            const int row = last_row_with(H, t.first, t.last, k,
                                          [&](int s) { return s < t.first_column || s >= t.end_column; });
            if (row < 0) continue;
            pivot(H, row, k);
            zvxay11(H.rows[r] + H.low[row], H.rows[row] + H.low[row], H.high[row] - H.low[row], share);
            H.low[r] = std::min(H.low[r], H.low[row]);
            H.high[r] = std::max(H.high[r], H.high[row]);
            --*rows_left;
        }
    }
}

}  // namespace

int SetLevel(const Effect& containing, int c, const Effect& tested) {
    const int n = tested.nclass();
    if (n == 0) return 0;
    // cross and nest are one array, so the class part is one list.
    const auto level_of = [](const Effect& effect, const EffectMod& mod, int column, int variable) -> int {
        if (effect.nclass() == 1) return column;
        const int place = zlstmem({effect.cross, static_cast<std::size_t>(effect.nclass())}, variable);
        return mod.levels[static_cast<std::ptrdiff_t>(column) * effect.nclass() + place];
    };
    const EffectMod& inner = *tested.mod;
    for (int j = 0; j < inner.ncols; ++j) {
        bool same = true;
        for (int v = 0; v < n && same; ++v) {
            const int variable = tested.cross[v];
            same = level_of(containing, *containing.mod, c, variable) == level_of(tested, inner, j, variable);
        }
        if (same) return j;
    }
    return inner.ncols;
}

bool type4(HypothesisRows& H, const ModelBlock& zgm, int e, Type4Work& work, RowKeeper& keeper) {
    const EffectMod& mod = *zgm.modrecs[e];
    assign_levels(H, zgm, e, work);
    Tested t{.effect = e,
             .first_column = mod.firstcol,
             .end_column = mod.firstcol + mod.ncols,
             .first = -1,
             .last = -1};
    for (int r = 0; r < H.ncol; ++r) {
        if (H.active[r] == 0) continue;
        if (t.first < 0) t.first = r;
        t.last = r;
    }
    if (t.first < 0) return true;
    int nrows = 0;
    for (int r = t.first_column; r < t.end_column; ++r) {
        if (H.active[r] != 0) work.effectrows[nrows++] = r;
    }
    if (t.first >= t.first_column && t.last < t.end_column) {
        for (int k = 0; k < nrows; ++k) keeper.emit(H, work.effectrows[k]);
        return true;
    }
    if (nrows == 0) {
        clear_rows(H);
        return true;
    }
    for (int c = t.first_column; c < t.end_column; ++c) work.level[c] = c - t.first_column;
    std::copy_n(work.level, H.ncol, work.saved);
    bool unique = true;
    const int own_order = zgm.effects[e]->nclass();
    for (int k = 0; k < nrows; ++k) {
        const int r = work.effectrows[k];
        if (k > 0) {
            keeper.restore(H);
            std::copy_n(work.saved, H.ncol, work.level);
        }
        for (int s = t.first_column; s < t.end_column; ++s) {
            if (s != r) H.active[s] = 0;
        }
        clear_absent_levels(H, t, r, work);
        if (drop_unreachable_cells(H, t, work)) unique = false;
        int left = static_cast<int>(std::count(H.active + t.first, H.active + t.last + 1, std::int16_t{1}));
        for (int o = *std::max_element(work.order, work.order + zgm.neff + 1); o > own_order && left > 1; --o) {
            for (int i = 1; i <= zgm.neff; ++i) {
                if (work.order[i] == o) share_out(H, *zgm.modrecs[i], t, r, work, &left);
            }
        }
        std::fill_n(H.active, H.ncol, std::int16_t{0});
        H.active[r] = 1;
        keeper.emit(H, r);
    }
    return unique;
}

}  // namespace vek
