// CONTRAST and ESTIMATE: from effects with coefficients to rows of L over all columns of X.
#pragma once

#include "frame/mainblock.h"
#include "frame/statement.h"

namespace vek {

/// Relation of two effects by their class variables, when their continuous variables are the same set: 0 the same
/// effect, 1 a has more class variables and holds b's, -1 the other way round; 2 neither.
int ef_compare(const Effect& a, const Effect& b);

/// Adds the coefficients of effect e in `row` to the columns of effect i that belong to the same levels of their common
/// class variables, in equal shares; without class variables in e, an equal share of its coefficient to each column.
void fillin(double* row, const Effect& i, const Effect& e);

/// Builds the rows of the statement, prints them when E is set, and tests each for estimability. 0: the rows stand as
/// records of file 3; -1: rejected, nothing is written, and the log tells why.
int vekcon(MainBlock& F, Statement& statement);

}  // namespace vek
