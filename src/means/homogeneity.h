// homogeneity: the tables of the tests of equal variances and of Welch's analysis of variance, and their data set.
#pragma once

#include <vector>

#include "frame/mainblock.h"
#include "means/vekmean.h"

namespace vek {

/// True when the statement asks for a test of equal variances or for Welch's analysis and the model allows them; says
/// so in the log when it does not.
bool wants_homogeneity(const MainBlock& F, const Statement& statement);

/// Does the tests for all listed effects and dependent variables, prints them to `out` (null prints nothing) and writes
/// the rows of HOVOUT=.
void print_homogeneity(MainBlock& F, Statement& statement, const std::vector<MeansEffect>& effects, HostObject* out);

/// All level records of an effect in a buffer.
LevelRecords read_level_records(const MainBlock& F, const MeansEffect& effect, int nvar,
                                std::vector<std::byte>& buffer);

/// Completes the HOVOUT= data sets of the step.
void close_means_output(Statement* chain);

}  // namespace vek
