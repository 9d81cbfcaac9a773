// Sums of squares of hypotheses: from the rows L to (Lb)'(L G L')^-1 (Lb).
#pragma once

#include "frame/statement.h"

namespace vek {

constexpr int vekss_model = 0, vekss_contrast = 1, vekss_estimate = 2;

/// Rebuilds the inverse and the solution in the work area, then, by mode: the matrices of Types III and IV of the whole
/// model; the matrix and rank of the contrast made last; variance factor and estimates of the ESTIMATE made last. The
/// negative modes only rebuild.
void vekss(int mode, Statement* statement);

}  // namespace vek
