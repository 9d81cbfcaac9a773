// The statement dispatcher: walks the chain of statements and decides what each one causes.
#pragma once

#include "frame/statement.h"

namespace vek {

struct MainBlock;

constexpr int phase_single = 0;      ///< a run that is continued statement by statement
constexpr int phase_initialise = 1;  ///< BY groups or several passes: before the first group
constexpr int phase_levels = 2;      ///< start of a BY group
constexpr int phase_pass = 3;        ///< one missing-value pass of a group

/// Walks from `first` to the end of the chain. Returns the last statement visited, or null: after phases 1 and 2, when
/// there is nothing to run, and when a single run turned out to need several passes.
Statement* vekpars(Statement* first, int phase);

/// Utility files to their start, the work area given back: the next pass finds them so.
void rewind_work(MainBlock& F);

/// Replaces a type that is 0, or that the fit has not made, by the default type.
void chktyp(double* type, int sstypes, int defsstype);

}  // namespace vek
