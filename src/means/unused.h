// Tells which options of a MEANS statement come to nothing.
#pragma once

#include <vector>

#include "frame/statement.h"
#include "means/vekmean.h"

namespace vek {

/// Notes on methods that no display of the statement shows, displays without a method, effects that have no
/// comparisons, and a HOVOUT= without a test; once for a statement. `comparisons` is false where they have been called
/// off already.
void report_unused(Statement& statement, const std::vector<MeansEffect>& effects, bool comparisons);

}  // namespace vek
