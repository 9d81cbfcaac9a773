// Statistics of one observation and one dependent variable: limits, leverage, and measures of influence.
#pragma once

#include <cstdint>

#include "numeric/missing.h"

namespace vek {

/// Statistics by the code of their keyword.
enum ObservationStatistic : int {
    stat_p,
    stat_r,
    stat_lclm,
    stat_uclm,
    stat_lcl,
    stat_ucl,
    stat_stdp,
    stat_stdr,
    stat_stdi,
    stat_student,
    stat_cookd,
    stat_h,
    stat_press,
    stat_rstudent,
    stat_dffits,
    stat_covratio,
    stat_count
};

constexpr std::uint32_t stat_bit(int code) { return std::uint32_t{1} << code; }
constexpr std::uint32_t family_mean = stat_bit(stat_lclm) | stat_bit(stat_uclm) | stat_bit(stat_stdp);
constexpr std::uint32_t family_individual = stat_bit(stat_lcl) | stat_bit(stat_ucl) | stat_bit(stat_stdi);
constexpr std::uint32_t family_residual =
    stat_bit(stat_stdr) | stat_bit(stat_student) | stat_bit(stat_cookd) | stat_bit(stat_press);
constexpr std::uint32_t family_deleted = stat_bit(stat_rstudent) | stat_bit(stat_dffits);

/// What is wanted with all that it rests on: predicted value and residual always, whole families, and the leverage.
std::uint32_t close_statistics(std::uint32_t wanted);

struct ObservationContext {
    std::uint32_t flags = 0;  ///< closed
    // of the fit
    double t = missing;  ///< quantile of t for the limits
    double edf = 0;      ///< error degrees of freedom
    double p = 0;        ///< rank
    // of the row
    double xgx = missing;  ///< variance factor of the predicted value
    double w = missing;    ///< weight, missing when invalid
    double f = missing;    ///< frequency, missing when the observation is not in the fit for its sake
    // of the dependent variable
    double y = missing, yhat = missing, s2 = missing;
    double results[stat_count];

    bool wants(std::uint32_t statistics) const { return (flags & statistics) != 0; }
};

/// Rows of a block: inputs and results by column, named as in the context.
struct ObservationBlock {
    int rows = 0;  ///< at most observation_block_rows
    const double* xgx = nullptr;
    const double* w = nullptr;
    const double* f = nullptr;
    const double* y = nullptr;
    const double* yhat = nullptr;
    double* results[stat_count];  ///< a column of `rows` for each statistic
};
constexpr int observation_block_rows = 256;

/// Fills the results; what cannot be computed is missing. A residual variance factor of at most 1e-12 counts as 0: the
/// observation determines its own prediction, and nothing can be said of its deletion.
void zobstat(ObservationContext& c);

/// zobstat for all rows of a block, with the same digits. The context gives what belongs to the fit and to the
/// dependent variable; the rest of it is overwritten. Only the columns of its flags are filled.
void zobstat_block(ObservationContext& c, const ObservationBlock& block);

}  // namespace vek
