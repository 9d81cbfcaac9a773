// zgmpsl: missing-value patterns become passes. Dependent variables belong to one pass when no observation has one of
// them present and the other missing.
#pragma once

#include <cstdint>

#include "model/zgm.h"

namespace vek {

/// Groups the dependent variables: `together` is the packed triangle (zisub) of the pairs that no observation has told
/// apart, and is used up. Sets zgm.ypass to the pass numbers, 0 for a variable without observations; returns the number
/// of passes.
int FigurePassInfo(ModelBlock& zgm, std::uint8_t* together);

/// Starts at pass 1: its pool, its dependent variables.
void zgmpsli(ModelBlock& zgm);
/// True while the current pass is one of zgm.npass.
inline bool zgmpslc(const ModelBlock& zgm) { return zgm.pass <= zgm.npass; }
/// Drops the pool of the pass and goes to the next.
void zgmpsln(ModelBlock& zgm);

}  // namespace vek
