// Procedure initialisation: from the parsed PROC and MODEL statements to the main block.
#pragma once

namespace vek {

/// Copies options and variable lists, opens the table output, checks which statements go together, sets the model up
/// (zgminit), and decides which sums of squares are made. Once, at the first MODEL statement of a run. A conflict of
/// statements ends the procedure with code 2000.
void vekinit();

}  // namespace vek
