// limits: from an estimate and its variance factor to standard error, t, p and confidence limits.
#include "core/limits.h"

#include <cmath>

#include "numeric/fdist.h"

namespace vek {

double critical_t(double error_ms, double alpha, std::int64_t df) {
    if (wzmis(error_ms)) return missing;
    if (alpha == 0) return vzmissing('I');
    double t = missing;
    zqt(1 - alpha * 0.5, static_cast<double>(df), t);
    return t;
}

EstimateFigures estimate_figures(double estimate, double variance_factor, double error_ms, std::int64_t df,
                                 double tcrit) {
    EstimateFigures row{.estimate = estimate};
    if (wzmis(error_ms)) return row;
    row.se = std::sqrt(variance_factor * error_ms);
    if (!(row.se > 0)) {
        if (estimate != 0) {
            row.t = vzmissing(estimate > 0 ? 'I' : 'M');
            row.p = 0;
        }
        row.lower = row.upper = estimate;
        return row;
    }
    row.t = estimate / row.se;
    row.p = zprbf(row.t * row.t, 1, static_cast<double>(df));
    if (!wzmis(tcrit)) {
        row.lower = estimate - tcrit * row.se;
        row.upper = estimate + tcrit * row.se;
    } else if (missing_code(tcrit) == 'I') {
        row.lower = vzmissing('M');
        row.upper = vzmissing('I');
    }
    return row;
}

}  // namespace vek
