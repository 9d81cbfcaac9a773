// The OUTPUT statement: a data set of all observations with the statistics of the fit.
#pragma once

#include "frame/mainblock.h"
#include "frame/statement.h"

namespace vek {

/// Carries the statement out for the current pass. With several passes the statistics collect in a utility file, and the
/// last pass writes the rows.
void vekout(MainBlock& F, Statement& statement);

/// The data set of the OUTPUT statement is complete: it is closed and its note is logged.
void close_output(MainBlock& F);

}  // namespace vek
