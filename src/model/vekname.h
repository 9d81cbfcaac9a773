// vekname: short names for the parameters, as titles of rows and columns, and the table MatrixRepresentation of what
// the coded ones mean.
#pragma once

#include "frame/host_table.h"
#include "model/zgm.h"

namespace vek {

constexpr int parameter_name_width = 12;

/// Fills the zgm.ncol cells of `names`, blank-padded, and makes the table when a name had to be coded. `efnamew` is the
/// width of the longest effect name, `out` the output manager. Does nothing under NOPRINT.
void vekname(const ModelBlock& zgm, int efnamew, HostObject* out, char (*names)[parameter_name_width + 1]);

}  // namespace vek
