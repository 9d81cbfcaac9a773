// The sweep of the crossproduct triangle.
#pragma once

#include "model/fitstate.h"
#include "model/zgm.h"

namespace vek {

/// Sweeps the triangle of zgm.xpxrows (upper, order zgm.ncoly) on column k, whose diagonal element is d and not 0.
/// Swept rows and columns are stored with reversed sign against the others, so that one triangle serves. `signs` is null
/// in the forward sweep; in a walk that also sweeps back it holds 1 (not swept) or -1 (swept) for every column, the
/// state before this sweep. Twice on the same column with `signs` restores the triangle, up to rounding.
/// Uses F.work1 and F.work2, each of ncoly doubles.
void vekxswp(const FitState& F, const ModelBlock& zgm, int k, double d, const int* signs);

}  // namespace vek
