// zobstat: from leverage, residual and error variance to the statistics of an observation, deleted ones included.
#include "output/zobstat.h"

#include <algorithm>
#include <cmath>

#include "numeric/dispatch.h"

namespace vek {

namespace {

constexpr double least_variance_factor = 1e-12;
constexpr double least_deleted_variance = 1.110223024625157e-14;

/// Residual family; false when the error variance ends the chain of statistics.
bool residual_family(ObservationContext& c, double h, double e) {
    double* result = c.results;
    const bool in_fit = !wzmis(c.f);
    const bool deletable = in_fit && !wzmis(e) && e > least_variance_factor;
    if (deletable) result[stat_press] = result[stat_r] / e;
    if (wzmis(c.s2) || c.s2 <= 0) return false;
    if (!in_fit) {
        result[stat_stdr] = std::sqrt((1 / c.w + c.xgx) * c.s2);
    } else if (e > least_variance_factor) {
        result[stat_stdr] = std::sqrt(e * c.s2 / c.w);
    }
    if (deletable) result[stat_cookd] = result[stat_press] * result[stat_press] * h * c.w / (c.s2 * c.p);
    if (!wzmis(result[stat_stdr])) result[stat_student] = result[stat_r] / result[stat_stdr];
    return true;
}

/// base^n for a whole n >= 0 by squaring. Its error grows with n no faster than that of the base, which is a quotient
/// of rounded sums, does itself; the block loops take the same steps.
double whole_power(double base, double n) {
    double result = 1;
    for (auto bits = static_cast<std::uint64_t>(n); bits != 0; bits >>= 1) {
        if ((bits & 1) != 0) result *= base;
        base *= base;
    }
    return result;
}

}  // namespace

std::uint32_t close_statistics(std::uint32_t wanted) {
    std::uint32_t flags = wanted | stat_bit(stat_p) | stat_bit(stat_r);
    for (std::uint32_t family : {family_mean, family_individual, family_residual, family_deleted}) {
        if ((wanted & family) != 0) flags |= family | stat_bit(stat_h);
    }
    if ((wanted & stat_bit(stat_covratio)) != 0) flags |= stat_bit(stat_h);
    return flags;
}

void zobstat(ObservationContext& c) {
    double* result = c.results;
    std::fill_n(result, static_cast<int>(stat_count), missing);
    if (wzmis(c.yhat)) return;
    result[stat_p] = c.yhat;
    const bool observed = !wzmis(c.y);
    if (observed) result[stat_r] = c.y - c.yhat;
    if (!c.wants(stat_bit(stat_h))) return;
    const bool weighted = !wzmis(c.w);
    const double h = weighted ? c.xgx * c.w : missing;
    const double e = weighted ? 1 - h : missing;
    result[stat_h] = h;
    if (!wzmis(c.s2) && c.s2 >= 0 && c.xgx >= 0) {
        if (c.wants(family_mean)) {
            result[stat_stdp] = std::sqrt(c.xgx * c.s2);
            if (!wzmis(c.t)) {
                result[stat_lclm] = c.yhat - c.t * result[stat_stdp];
                result[stat_uclm] = c.yhat + c.t * result[stat_stdp];
            }
        }
        if (!weighted) return;
        if (c.wants(family_individual)) {
            result[stat_stdi] = std::sqrt((h + 1) * c.s2 / c.w);
            if (!wzmis(c.t)) {
                result[stat_lcl] = c.yhat - c.t * result[stat_stdi];
                result[stat_ucl] = c.yhat + c.t * result[stat_stdi];
            }
        }
        if (!observed) return;
    }
    if (!weighted || !observed) return;
    if (c.wants(family_residual) && !residual_family(c, h, e)) return;
    if (e <= least_variance_factor || c.edf <= 1) return;
    if (!c.wants(family_deleted | stat_bit(stat_covratio)) || wzmis(c.s2)) return;
    const double residual = result[stat_r];
    const double deleted = (c.s2 * c.edf - c.w * residual * residual / e) / (c.edf - 1);
    if (deleted < least_deleted_variance || wzmis(c.f)) return;
    if (c.wants(family_deleted)) {
        result[stat_rstudent] = std::sqrt(c.w / (deleted * e)) * residual;
        result[stat_dffits] = std::sqrt(std::max(h, 0.0) / e) * result[stat_rstudent];
    }
    if (c.wants(stat_bit(stat_covratio))) result[stat_covratio] = whole_power(deleted / c.s2, c.p) / e;
}

// ---- blocks -------------------------------------------------------------------------------------------------------
//
// Nearly all rows take the way through zobstat on which nothing is missing and nothing is at its limit. The loops below
// go that way with every row, so that they need no branch and run in vectors; then the other rows are done one by one.

namespace {

struct BlockWork {
    double h[observation_block_rows], e[observation_block_rows], deleted[observation_block_rows];
    std::int64_t regular[observation_block_rows];
};

void leverages(const ObservationContext& c, const ObservationBlock& b, BlockWork& work) {
    VEK_INDEPENDENT
    for (int i = 0; i < b.rows; ++i) {
        work.h[i] = b.xgx[i] * b.w[i];
        work.e[i] = 1 - work.h[i];
        const double residual = b.y[i] - b.yhat[i];
        work.deleted[i] = (c.s2 * c.edf - b.w[i] * residual * residual / work.e[i]) / (c.edf - 1);
    }
    double* const p = b.results[stat_p];
    double* const r = b.results[stat_r];
    double* const h = b.results[stat_h];
    VEK_INDEPENDENT
    for (int i = 0; i < b.rows; ++i) {
        p[i] = b.yhat[i];
        r[i] = b.y[i] - b.yhat[i];
        h[i] = work.h[i];
    }
    // A comparison with a missing value, which is no number, is false.
    VEK_INDEPENDENT
    for (int i = 0; i < b.rows; ++i) {
        work.regular[i] = (b.y[i] == b.y[i]) & (b.yhat[i] == b.yhat[i]) & (b.f[i] == b.f[i]) & (b.w[i] > 0) &
                          (b.xgx[i] >= 0) & (work.e[i] > least_variance_factor) &
                          (work.deleted[i] >= least_deleted_variance);
    }
}

void limits(const ObservationContext& c, const ObservationBlock& b, const double* error, double* lower, double* upper) {
    VEK_INDEPENDENT
    for (int i = 0; i < b.rows; ++i) {
        lower[i] = b.yhat[i] - c.t * error[i];
        upper[i] = b.yhat[i] + c.t * error[i];
    }
}

void mean_block(const ObservationContext& c, const ObservationBlock& b) {
    double* const stdp = b.results[stat_stdp];
    VEK_INDEPENDENT
    for (int i = 0; i < b.rows; ++i) stdp[i] = std::sqrt(b.xgx[i] * c.s2);
    limits(c, b, stdp, b.results[stat_lclm], b.results[stat_uclm]);
}

void individual_block(const ObservationContext& c, const ObservationBlock& b, const BlockWork& work) {
    double* const stdi = b.results[stat_stdi];
    VEK_INDEPENDENT
    for (int i = 0; i < b.rows; ++i) stdi[i] = std::sqrt((work.h[i] + 1) * c.s2 / b.w[i]);
    limits(c, b, stdi, b.results[stat_lcl], b.results[stat_ucl]);
}

void residual_block(const ObservationContext& c, const ObservationBlock& b, const BlockWork& work) {
    const double* const r = b.results[stat_r];
    double* const press = b.results[stat_press];
    double* const stdr = b.results[stat_stdr];
    double* const cookd = b.results[stat_cookd];
    double* const student = b.results[stat_student];
    VEK_INDEPENDENT
    for (int i = 0; i < b.rows; ++i) {
        press[i] = r[i] / work.e[i];
        stdr[i] = std::sqrt(work.e[i] * c.s2 / b.w[i]);
        cookd[i] = press[i] * press[i] * work.h[i] * b.w[i] / (c.s2 * c.p);
        student[i] = r[i] / stdr[i];
    }
}

void deleted_block(const ObservationBlock& b, const BlockWork& work) {
    const double* const r = b.results[stat_r];
    double* const rstudent = b.results[stat_rstudent];
    double* const dffits = b.results[stat_dffits];
    VEK_INDEPENDENT
    for (int i = 0; i < b.rows; ++i) {
        rstudent[i] = std::sqrt(b.w[i] / (work.deleted[i] * work.e[i])) * r[i];
        dffits[i] = std::sqrt(std::max(work.h[i], 0.0) / work.e[i]) * rstudent[i];
    }
}

void covratio_block(const ObservationContext& c, const ObservationBlock& b, const BlockWork& work) {
    double* const covratio = b.results[stat_covratio];
    double base[observation_block_rows];
    for (int i = 0; i < b.rows; ++i) {
        base[i] = work.deleted[i] / c.s2;
        covratio[i] = 1;
    }
    for (auto bits = static_cast<std::uint64_t>(c.p); bits != 0; bits >>= 1) {
        if ((bits & 1) != 0) {
            for (int i = 0; i < b.rows; ++i) covratio[i] *= base[i];
        }
        for (int i = 0; i < b.rows; ++i) base[i] *= base[i];
    }
    for (int i = 0; i < b.rows; ++i) covratio[i] /= work.e[i];
}

void one_by_one(ObservationContext& c, const ObservationBlock& b, const std::int64_t* done) {
    for (int i = 0; i < b.rows; ++i) {
        if (done != nullptr && done[i] != 0) continue;
        c.xgx = b.xgx[i];
        c.w = b.w[i];
        c.f = b.f[i];
        c.y = b.y[i];
        c.yhat = b.yhat[i];
        zobstat(c);
        for (int code = 0; code < stat_count; ++code) {
            if (c.wants(stat_bit(code))) b.results[code][i] = c.results[code];
        }
    }
}

}  // namespace

void zobstat_block(ObservationContext& c, const ObservationBlock& block) {
    const bool regular_fit = !wzmis(c.s2) && c.s2 > 0 && c.edf > 1 && !wzmis(c.t);
    if (!c.wants(stat_bit(stat_h)) || !regular_fit) {
        one_by_one(c, block, nullptr);
        return;
    }
    BlockWork work;
    leverages(c, block, work);
    if (c.wants(family_mean)) mean_block(c, block);
    if (c.wants(family_individual)) individual_block(c, block, work);
    if (c.wants(family_residual)) residual_block(c, block, work);
    if (c.wants(family_deleted)) deleted_block(block, work);
    if (c.wants(stat_bit(stat_covratio))) covratio_block(c, block, work);
    one_by_one(c, block, work.regular);
}

}  // namespace vek
