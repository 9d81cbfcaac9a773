// An estimate with its standard error, t test and limits: the same rules for parameters and for ESTIMATE.
#pragma once

#include <cstdint>

#include "numeric/missing.h"

namespace vek {

struct EstimateFigures {
    double estimate = 0;
    double se = missing, t = missing, p = missing, lower = missing, upper = missing;
};

/// Quantile of t for two-sided limits at `alpha`: missing without an error mean square, .I when alpha is 0.
double critical_t(double error_ms, double alpha, std::int64_t df);

/// Standard error from the variance factor, t against 0, p and limits. Without an error mean square all are missing; with
/// a standard error of 0, t is .I or .M by the sign of the estimate, p is 0 and the limits are the estimate itself.
EstimateFigures estimate_figures(double estimate, double variance_factor, double error_ms, std::int64_t df,
                                 double tcrit);

}  // namespace vek
