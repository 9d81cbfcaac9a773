// vekpmn: everything that a MEANS statement shows: tests of equal variances, tables of means, comparisons.
#pragma once

#include <vector>

#include "frame/mainblock.h"
#include "means/vekmean.h"

namespace vek {

/// A whole MEANS statement: averages, then shows.
void run_means_statement(MainBlock& F, Statement& statement);

/// Shows what vekmean has left.
void vekpmn(MainBlock& F, Statement& statement, const std::vector<MeansEffect>& effects);

}  // namespace vek
