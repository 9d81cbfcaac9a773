// vekxpx: from the observation records of the pass to the swept crossproduct triangle. Column tolerances come from the
// columns' own sums of squares; each effect's drop of the y block is its Type I matrix.
#include "model/vekxpx.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "frame/host_message.h"
#include "model/vekname.h"
#include "model/vekutil.h"
#include "model/vekxpx_tables.h"
#include "model/zgmbld.h"
#include "numeric/packed.h"
#include "numeric/sweep.h"

namespace vek {

namespace {

/// Relative difference below which a corrected sum of squares is rounding error.
constexpr double rounding = 2.220446049250314e-13;

/// Work of one call, beside the fields of the fit.
struct ColumnRange {
    double* minimum;  ///< [q] smallest |x|; later the diagonal before the sweep
};

void allocate_fit(MainBlock& F, ColumnRange& range) {
    ModelBlock& zgm = F.zgm;
    const std::int64_t p = zgm.ncol, q = zgm.ncoly, nyp = zgm.nyp;
    F.triny = static_cast<int>(triangle_size(nyp));
    F.trinyb = F.triny * std::int64_t{sizeof(double)};
    Pool* pool = zgm.pool;
    F.coleffect = array<int>(pool, q);
    F.colpivot = array<std::int16_t>(pool, q);
    F.colsum = array<double>(pool, q);
    F.colss = array<double>(pool, q);
    F.colmax = array<double>(pool, q);
    F.coltol = array<double>(pool, q);
    F.yss = array<double>(pool, nyp);
    F.biased = array<std::int16_t>(pool, p);
    F.xmeans = array<double>(pool, zgm.nreg + zgm.nprod);
    for (int** df : {&F.df1, &F.dfpart, &F.df2, &F.df3, &F.df4}) *df = array<int>(pool, F.lny);
    F.t4unique = array<std::int16_t>(pool, zgm.neff + 1);
    F.yywork = array<double>(pool, F.triny);
    F.yypack = array<double>(pool, F.triny);
    F.sweepstate = array<int>(pool, q);
    F.sweepwant = array<int>(pool, q);
    F.work1 = array<double>(pool, std::max<std::int64_t>({q, zgm.neff + 2, zgm.ny}));
    F.work2 = array<double>(pool, q);
    range.minimum = array<double>(pool, q);
    std::fill_n(range.minimum, q, std::numeric_limits<double>::max());
    F.yorigin = origin_shifts(F) ? array<double>(pool, nyp) : nullptr;
    grow_work_area(F, (triangle_size(q) + nyp * nyp) * std::int64_t{sizeof(double)});
    std::fill_n(F.abase, triangle_size(q), 0.0);
    for (int i = 0, c = 0; i <= zgm.neff; ++i) {
        if (zgm.effects[i] == nullptr) continue;
        for (int k = 0; k < zgm.modrecs[i]->ncols; ++k) F.coleffect[c++] = i;
    }
    for (int k = 0; k < nyp; ++k) F.coleffect[p + k] = zgm.neff + k + 1;
}

/// One pass over the records: crossproducts, sums, and the range of each column's absolute values. Returns the number
/// of absorbed groups.
std::int64_t accumulate(MainBlock& F, const ColumnRange& range) {
    ModelBlock& zgm = F.zgm;
    const int nvalues = zgm.nreg + zgm.nprod;
    auto* counts = array<double>(zgm.pool, nvalues);
    zgmacci(zgm);
    zgmscpi(zgm, F.colsum, F.work1, F.abase, 'R');
    sum_records(zgm, {.colss = F.colss,
                      .colmax = F.colmax,
                      .colmin = range.minimum,
                      .yorigin = F.yorigin,
                      .xmeans = F.xmeans,
                      .counts = counts});
    for (int k = 0; k < nvalues; ++k) {
        if (counts[k] > 0) F.xmeans[k] /= counts[k];
    }
    return zgmscpe(zgm);
}

double mean_correction(const MainBlock& F, int c) {
    return F.zgm.sumw == 0 ? 0 : F.colsum[c] / F.zgm.sumw * F.colsum[c];
}

/// Tolerance of each column from its sum of squares; colss becomes the corrected sum of squares.
void column_tolerances(MainBlock& F) {
    const ModelBlock& zgm = F.zgm;
    const double s = F.singular;
    const bool uncorrected = zgm.nabsorb == 0 && zgm.noint1;
    for (int c = 0; c < zgm.ncoly; ++c) {
        double ssq = F.colss[c];
        if (uncorrected) {
            F.coltol[c] = ssq == 0 ? s : ssq * s;
            continue;
        }
        const double corr = mean_correction(F, c);
        if (zgm.sumw != 0 && ssq - corr > corr * rounding) {
            ssq = std::max(ssq, 0.0);
            F.coltol[c] = ssq == 0 ? s : ssq * s;
            F.colss[c] = ssq - corr;
        } else {
            F.coltol[c] = s;
            F.colss[c] = 0;
        }
    }
}

/// Names each effect whose values differ but whose spread is lost beside its mean, or whose squares are lost.
void warn_of_scale(const MainBlock& F, const ColumnRange& range) {
    const ModelBlock& zgm = F.zgm;
    if (!(zgm.sumw > 0)) return;
    int last = 0;
    for (int c = 0; c < zgm.ncoly; ++c) {
        const int e = F.coleffect[c];
        if (e <= last || F.colmax[c] == range.minimum[c]) continue;
        const double corr = mean_correction(F, c);
        const Effect* effect = zgm.effects[e <= zgm.neff ? e : zgm.neff + 1 + zgm.ylist[e - zgm.neff - 1]];
        if (F.colss[c] < corr * rounding) {
            xpmlog(172, 105, effect->text());
            last = e;
        } else if (F.colss[c] == 0 && corr == 0) {
            xpmlog(172, 983, effect->text());
            last = e;
        }
    }
}

/// Type I rows of an effect whose columns are start to c. Between pivots of the same effect the swept triangle holds
/// their inverse, which is no coefficient.
void write_type1_rows(const MainBlock& F, int start, int c, int effect) {
    const ModelBlock& zgm = F.zgm;
    double* const* rows = zgm.xpxrows;
    double* row = F.work1;
    for (int i = start; i <= c; ++i) {
        if (!(rows[i][i] > 0)) continue;
        row[i] = 1;
        for (int j = i + 1; j < zgm.ncol; ++j) row[j] = j <= c && rows[j][j] > 0 ? 0 : rows[i][j];
        put_record(F.ufile3, {.row = i, .first = i, .last = zgm.ncol, .effect = effect, .type = 1}, row + i);
    }
}

void forward_sweep(MainBlock& F, const ColumnRange& range) {
    ModelBlock& zgm = F.zgm;
    const bool type1_rows = model_option(F, model_e1);
    const bool intercept_row = model_option(F, model_e2);
    Pool* job = xmpoolc(zgm.pool, "sweep");
    // Not cleared: the walk writes before it reads, and a short triangle leaves most of the room untouched.
    const std::int64_t work_bytes = PanelSweep::work_doubles(zgm.ncoly) * std::int64_t{sizeof(double)};
    auto* work = static_cast<double*>(vmalcp_handler(job, work_bytes, memory_abort));
    PanelSweep walk(zgm.xpxrows, zgm.ncoly, zgm.ncol, work);
    int start = 0;
    for (int c = 0; c < zgm.ncol; ++c) {
        wtpoll();
        const int e = F.coleffect[c];
        const double d = walk.pivot(c);
        range.minimum[c] = d;
        F.colpivot[c] = 0;
        if (!is_pivot(d, F.coltol[c])) {
            // The column is a combination of earlier ones: its row goes, and so do the remains of it in the swept rows.
            walk.clear_dependent(c, F.coltol[c], F.colpivot);
        } else {
            ++F.df1[e];
            ++F.rank;
            F.colpivot[c] = 1;
            walk.sweep(c, d);
        }
        if (c + 1 < zgm.ncol && F.coleffect[c + 1] == e) continue;
        // Only the intercept feels the shift of the origin; with absorbed variables the first column is another's.
        const bool intercept = c == 0 && F.yorigin != nullptr && zgm.nabsorb == 0;
        write_reduction(F, zgm, intercept ? F.colsum + zgm.ncol : nullptr);
        if (type1_rows || (intercept_row && e == 0)) {
            walk.settle();
            write_type1_rows(F, start, c, e);
        }
        start = c + 1;
    }
    walk.settle();
    xmpoold(job);
}

void write_raw_sums(MainBlock& F) {
    const ModelBlock& zgm = F.zgm;
    xcput(F.ufile4, F.colsum + zgm.ncol, zgm.nyp);
    xcput(F.ufile4, F.yy, F.triny);
    xcnoted(F.ufile4, &F.pos4type[1]);
}

}  // namespace

bool model_option(const MainBlock& F, int bit) { return F.modelstmt != nullptr && F.modelstmt->option(bit); }

bool origin_shifts(const MainBlock& F) { return !model_option(F, model_intercept) && F.zgm.neff > 0 && !F.zgm.noint1; }

void grow_work_area(FitState& F, std::int64_t bytes) {
    if (F.abase != nullptr && bytes <= F.abytes) return;
    free_work_area(F);
    F.apool = xmpoolc(xmainpool(), "work area");
    F.abase = static_cast<double*>(vmalcp_handler(F.apool, bytes, memory_clear | memory_abort));
    F.abytes = bytes;
}

void free_work_area(FitState& F) {
    xmpoold(F.apool);
    F.apool = nullptr;
    F.abase = nullptr;
}

void write_reduction(FitState& F, const ModelBlock& zgm, const double* restore_origin_sums) {
    for (int i = 0; i < F.triny; ++i) F.yywork[i] -= F.yy[i];
    zcmprss(F.yywork, F.yypack, zgm.nyp);
    if (restore_origin_sums != nullptr) {
        const double* s = restore_origin_sums;
        const double* o = F.yorigin;
        for (int i = 0; i < zgm.nyp; ++i) {
            for (int j = 0; j <= i; ++j) {
                F.yypack[zisub(i, j)] += s[j] * o[i] + s[i] * o[j] - zgm.sumw * o[i] * o[j];
            }
        }
    }
    xcput(F.ufile4, F.yypack, F.triny);
    std::copy_n(F.yy, F.triny, F.yywork);
}

void vekxpx() {
    MainBlock& F = mainblock();
    ModelBlock& zgm = F.zgm;
    ColumnRange range{};
    allocate_fit(F, range);
    if ((F.flags & flag_trace) != 0) xpsout("abytes =%lld", static_cast<long long>(F.abytes));
    vekutop(&F.ufile2, 0, &F.pos2);
    vekutop(&F.ufile3, 0, &F.pos3t1);
    vekutop(&F.ufile4, 0, &F.pos4);

    const std::int64_t absorbed = accumulate(F, range);
    std::copy_n(F.colss + zgm.ncol, zgm.nyp, F.yss);
    column_tolerances(F);
    warn_of_scale(F, range);

    const bool names_wanted =
        model_option(F, model_xpx) || model_option(F, model_tolerance) || model_option(F, model_inverse);
    if (names_wanted) {
        F.parmnames = array<char[13]>(zgm.pool, zgm.ncol);
        vekname(zgm, F.efnamew, F.out, F.parmnames);
    }
    if (model_option(F, model_xpx)) print_crossproducts(F);

    F.rank = 0;
    std::fill_n(F.df1, F.lny, 0);
    std::fill_n(F.dfpart, F.lny, 0);
    F.yy = &zgm.xpxrows[zgm.ncol][zgm.ncol];
    std::copy_n(F.yy, F.triny, F.yywork);
    if (F.yorigin != nullptr) {
        for (int k = 0; k < zgm.nyp; ++k) F.colsum[zgm.ncol + k] += zgm.sumw * F.yorigin[k];
    }
    write_raw_sums(F);
    forward_sweep(F, range);
    if (F.yorigin != nullptr && zgm.nabsorb == 0) {
        // The intercept's solution refers to the data again.
        for (int k = 0; k < zgm.nyp; ++k) zgm.xpxrows[0][zgm.ncol + k] += F.yorigin[k];
    }
    std::fill_n(F.colpivot + zgm.ncol, zgm.nyp, std::int16_t{1});
    if (model_option(F, model_inverse)) print_inverse(F);
    if (model_option(F, model_e1)) put_end_mark(F.ufile3, zgm.ncoly + 1);
    if (model_option(F, model_tolerance)) print_tolerances(F, range.minimum);
    vekxpxu(F, absorbed);
}

}  // namespace vek
