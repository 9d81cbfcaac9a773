// The run-group driver: reacts to statement boundaries and runs what has been read.
#pragma once

#include "frame/statement.h"

namespace vek {

/// The procedure's body: chooses the grammar, then runs the statement loop to its end. Needs the main block and PROC.
void vek();

/// Withdraws a statement that failed, in an interactive run. 0: undone, reading can go on; 1: it was not.
int myundo(Proc& proc, bool announce);

}  // namespace vek
