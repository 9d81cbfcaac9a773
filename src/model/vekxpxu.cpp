// vekxpxu: writes the swept triangle as streams (solution, inverse, generating rows), the error matrix, and walks the
// sweep through all effects for their Type II matrices.
#include <algorithm>
#include <cmath>
#include <string>

#include "frame/host_message.h"
#include "model/vekutil.h"
#include "model/vekxpx.h"
#include "model/zlst.h"
#include "numeric/packed.h"
#include "numeric/sweep.h"

namespace vek {

namespace {

void write_solutions(MainBlock& F) {
    const ModelBlock& zgm = F.zgm;
    xcnoted(F.ufile2, &F.pos2b);
    for (int k = 0; k < zgm.nyp; ++k) {
        int r = 0;
        for (int c = 0; c < zgm.ncol; ++c) {
            if (F.colpivot[c] != 0) F.work1[r++] = zgm.xpxrows[c][zgm.ncol + k];
        }
        put_record(F.ufile2, {.row = k, .first = 0, .last = F.rank}, F.work1);
    }
    put_end_mark(F.ufile2, zgm.nyp + 1);
}

void write_inverse_rows(MainBlock& F) {
    const ModelBlock& zgm = F.zgm;
    xcnoted(F.ufile2, &F.pos2g);
    int r = 0;
    for (int c = 0; c < zgm.ncol; ++c) {
        if (F.colpivot[c] == 0) continue;
        int n = 0;
        for (int j = c; j < zgm.ncol; ++j) {
            if (F.colpivot[j] != 0) F.work1[n++] = zgm.xpxrows[c][j];
        }
        put_record(F.ufile2, {.row = r, .first = r, .last = r + n}, F.work1);
        ++r;
    }
    put_end_mark(F.ufile2, zgm.ncoly + 1);
}

/// H: for each pivot column its coefficients on the later, dependent columns. A column whose row has none is estimable
/// by itself.
void write_generating_rows(MainBlock& F) {
    const ModelBlock& zgm = F.zgm;
    xcnoted(F.ufile2, &F.pos2h);
    for (int c = 0; c < zgm.ncol; ++c) {
        F.biased[c] = 1;
        if (F.colpivot[c] == 0) continue;
        double* row = F.work1;
        int last = c;
        row[c] = 1;
        for (int j = c + 1; j < zgm.ncol; ++j) {
            row[j] = F.colpivot[j] != 0 ? 0 : zgm.xpxrows[c][j];
            if (std::fabs(row[j]) > F.singular) last = j;
        }
        F.biased[c] = last != c ? 1 : 0;
        put_record(F.ufile2, {.row = c, .first = c, .last = last + 1}, row + c);
    }
    put_end_mark(F.ufile2, zgm.ncoly + 1);
    xcnoted(F.ufile2, &F.pos2end);
}

void write_error_matrix(MainBlock& F) {
    const ModelBlock& zgm = F.zgm;
    xcnoted(F.ufile4, &F.pos4type[matrix_error]);
    zcmprss(F.yy, F.yypack, zgm.nyp);
    for (int k = 0; k < zgm.nyp; ++k) {
        double& diagonal = F.yypack[zisub(k, k)];
        if (diagonal < F.coltol[zgm.ncol + k]) diagonal = 0;
    }
    xcput(F.ufile4, F.yypack, F.triny);
}

/// True when the columns of `outer` are to be out of the model while `inner` is measured: outer has the same continuous
/// part and all class variables of inner and more.
bool contains(const Effect& outer, const Effect& inner) {
    return inner.nclass() < outer.nclass() && EffectCompare(outer, inner) == 1;
}

/// The wanted sweep state for the Type II of effect e: in are all effects that neither are e nor contain it.
void setv2(const MainBlock& F, int* want, int e) {
    const ModelBlock& zgm = F.zgm;
    for (int f = zgm.noint; f <= zgm.neff; ++f) {
        const bool out = f == e || (zgm.effects[e]->nclass() > 0 && contains(*zgm.effects[f], *zgm.effects[e]));
        const EffectMod& mod = *zgm.modrecs[f];
        std::fill_n(want + mod.firstcol, mod.ncols, out ? 1 : -1);
    }
}

/// Brings the sweep to the wanted state. Sweeping out one column can make another one possible, so the walk is repeated
/// while it changed something.
void reach_wanted_state(MainBlock& F) {
    ModelBlock& zgm = F.zgm;
    int reversed = 0;
    do {
        reversed = 0;
        for (int c = 0; c < zgm.ncol; ++c) {
            if (F.sweepstate[c] == F.sweepwant[c]) continue;
            double& d = zgm.xpxrows[c][c];
            if (F.sweepstate[c] == -1 || is_pivot(d, F.coltol[c])) {
                sweep_column(zgm.xpxrows, zgm.ncoly, c, d, F.sweepstate, F.work1, F.work2);
                F.sweepstate[c] = -F.sweepstate[c];
                reversed = c;
            } else {
                d = 0;
            }
        }
    } while (reversed > 0);
}

/// Sweeps the columns of e in; true when a pivot lies within a factor of 100 of its tolerance, on either side.
bool sweep_effect_in(MainBlock& F, int e) {
    ModelBlock& zgm = F.zgm;
    bool doubtful = false;
    const EffectMod& mod = *zgm.modrecs[e];
    for (int c = mod.firstcol; c < mod.firstcol + mod.ncols; ++c) {
        if (F.sweepstate[c] != 1) continue;
        const double d = zgm.xpxrows[c][c];
        if (!is_pivot(d, F.coltol[c])) {
            if (is_pivot(d * 100, F.coltol[c])) doubtful = true;
            continue;
        }
        if (d < F.coltol[c] * 100) doubtful = true;
        ++F.dfpart[e];
        sweep_column(zgm.xpxrows, zgm.ncoly, c, d, F.sweepstate, F.work1, F.work2);
        F.sweepstate[c] = -1;
    }
    return doubtful;
}

void write_type2_rows(MainBlock& F, int e) {
    const ModelBlock& zgm = F.zgm;
    constexpr double smallest = 1e-8;
    double* row = F.work1;
    const EffectMod& mod = *zgm.modrecs[e];
    for (int c = mod.firstcol; c < mod.firstcol + mod.ncols; ++c) {
        if (F.sweepstate[c] != -1) continue;
        for (int j = 0; j < zgm.ncol; ++j) {
            if (j == c) {
                row[j] = 1;
            } else if (F.sweepstate[j] == -1) {
                row[j] = 0;
            } else {
                row[j] = j > c ? zgm.xpxrows[c][j] : -F.sweepstate[j] * zgm.xpxrows[j][c];
            }
        }
        int first = c, last = c;
        for (int j = c - 1; j >= 0; --j) {
            if (std::fabs(row[j]) >= smallest) first = j;
        }
        for (int j = c + 1; j < zgm.ncol; ++j) {
            if (std::fabs(row[j]) >= smallest) last = j;
        }
        put_record(F.ufile3, {.row = c, .first = first, .last = last + 1, .effect = e, .type = 2}, row + first);
    }
}

/// The intercept of a model whose later columns depend on it has no Type II of its own: it takes over Type I.
void copy_intercept_from_type1(MainBlock& F, bool rows) {
    const ModelBlock& zgm = F.zgm;
    if (rows) {
        RecordHeader header;
        double* row = F.work1;
        xcpntd(F.ufile3, F.pos3t1);
        const bool found = get_header(F.ufile3, &header);
        if (found) xcget(F.ufile3, row, header.last - header.first);
        xcpntd(F.ufile3, F.pos3t2);
        header.type = 2;
        if (found) put_record(F.ufile3, header, row);
    }
    FilePosition here = 0;
    xcnoted(F.ufile4, &here);
    get_matrix(F, zgm, 1, 0, F.yypack);
    xcpntd(F.ufile4, here);
    xcput(F.ufile4, F.yypack, F.triny);
    F.dfpart[0] = F.df1[0];
}

void type2_walk(MainBlock& F) {
    ModelBlock& zgm = F.zgm;
    const bool rows = model_option(F, model_e2);
    if (rows) xcnoted(F.ufile3, &F.pos3t2);
    xcnoted(F.ufile4, &F.pos4type[2]);
    int e = zgm.noint;
    if (zgm.noint == 0 && F.biased[0] == 1) {
        copy_intercept_from_type1(F, rows);
        e = 1;
    }
    for (int c = 0; c < zgm.ncoly; ++c) {
        F.sweepstate[c] = c < zgm.ncol && F.colpivot[c] != 0 ? -1 : 1;
        F.sweepwant[c] = 1;
    }
    if (zgm.ncol > 0) F.sweepwant[0] = -1;
    std::string doubtful;
    for (; e <= zgm.neff; ++e) {
        setv2(F, F.sweepwant, e);
        reach_wanted_state(F);
        std::copy_n(F.yy, F.triny, F.yywork);
        if (sweep_effect_in(F, e)) doubtful.append(doubtful.empty() ? "" : " ").append(zgm.effects[e]->text());
        write_reduction(F, zgm, nullptr);
        if (rows) write_type2_rows(F, e);
    }
    if (!doubtful.empty()) xpmlog(172, 106, doubtful);
    if (rows) put_end_mark(F.ufile3, zgm.ncoly + 1);
    std::copy_n(F.dfpart, F.lny, F.df2);
}

}  // namespace

void vekxpxu(MainBlock& F, std::int64_t absorbed) {
    const ModelBlock& zgm = F.zgm;
    write_solutions(F);
    write_inverse_rows(F);
    write_generating_rows(F);
    F.dferror = zgm.ynobs[zgm.ylist[0]] - F.rank - absorbed;
    write_error_matrix(F);
    if ((F.sstypes & sstype_bit(2)) != 0) type2_walk(F);
    xcnoted(F.ufile3, &F.pos3t34);
    F.pos3end = F.pos3t34;
    xcnoted(F.ufile4, &F.pos4type[3]);
    F.pos4type[matrix_contrast] = F.pos4type[3];
    xcnoted(F.ufile2, &F.pos2stat);
}

}  // namespace vek
