// Crossproducts, the forward sweep and the Type II walk of one pass.
#pragma once

#include <cstdint>

#include "frame/mainblock.h"

namespace vek {

/// Reads the records of the pass, makes X'X, X'Y and Y'Y, decides the column tolerances and sweeps the columns in model
/// order; leaves Type I matrices in file 4, and through vekxpxu everything else that later analyses read.
void vekxpx();

/// Streams of the swept triangle (solution, inverse, generating rows), error matrix, Type II. `absorbed` is the number
/// of groups that ABSORB took out of the error's degrees of freedom.
void vekxpxu(MainBlock& F, std::int64_t absorbed);

/// Makes the work area at least `bytes` long; its content is lost when it grows. All zeros after growing.
void grow_work_area(FitState& F, std::int64_t bytes);
/// Gives it back. It has a pool of its own, since a short block that is freed alone stays with its pool.
void free_work_area(FitState& F);

/// Writes the reduction of the y block since the last call as one matrix of file 4, and remembers the y block.
/// `after_shift`, when given, completes the packed reduction (nyp by nyp, packed lower triangle) before it is written.
void write_reduction(FitState& F, const ModelBlock& zgm, const double* restore_origin_sums);

/// True when crossproducts with y are taken about the first observation: an intercept absorbs the shift.
bool origin_shifts(const MainBlock& F);

/// True when a column can be swept on the diagonal element d; never on 0, also where the tolerance is.
constexpr bool is_pivot(double d, double tolerance) { return d >= tolerance && d > 0; }

/// True for an option of the MODEL statement.
bool model_option(const MainBlock& F, int bit);
constexpr int model_noint = 1, model_e = 2, model_e1 = 4, model_e2 = 5, model_xpx = 12, model_solution = 13,
              model_predicted = 14, model_clm = 15, model_cli = 16, model_tolerance = 17, model_inverse = 18,
              model_nouni = 19, model_intercept = 20, model_aliasing = 21, model_clparm = 22;

}  // namespace vek
