// The two grammars as data: what statements there are, and where each part of a statement lands in its record.
#pragma once

namespace vek {

struct Grammar;

const Grammar* vekg();    ///< the full grammar, PROC VEK
const Grammar* vekang();  ///< the cut-down grammar, PROC ANOVA

}  // namespace vek
