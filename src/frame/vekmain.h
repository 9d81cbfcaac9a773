// The module's entries: the host calls qexvek for each step, and the whole step runs inside it.
#pragma once

namespace vek {

/// One step: makes PROC and the main block, runs the host's statement loop to the end of the step, and returns or leaves
/// through xexit.
void qexvek();

}  // namespace vek
