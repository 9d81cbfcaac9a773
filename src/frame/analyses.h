// The analyses that the dispatcher calls for the statements behind MODEL. One that is not built yet says so and leaves
// its statement out.
#pragma once

#include "frame/statement.h"

namespace vek {

constexpr int outstat_header = -1;  ///< before the first result; 0 with error rows, 1 without

int make_contrast(Statement& statement);  ///< rows of a CONTRAST or ESTIMATE: 0 accepted, -1 rejected
void run_manova(Statement& statement);
void run_repeated(Statement& statement);
void run_means(Statement& statement);
void run_lsmeans(Statement& statement);
void run_random(Statement& statement);
void run_output(Statement& statement);
void write_outstat(int what);
void fit_anova();  ///< the whole fit of PROC ANOVA

}  // namespace vek
