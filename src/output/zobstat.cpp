// zobstat: from leverage, residual and error variance to the statistics of an observation, deleted ones included.
#include "output/zobstat.h"

#include <algorithm>
#include <cmath>

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
    if (c.wants(stat_bit(stat_covratio))) result[stat_covratio] = std::pow(deleted / c.s2, c.p) / e;
}

}  // namespace vek
