// Estimable functions: the hypotheses of Types III and IV as records, and the tables of the functions of all types.
#pragma once

namespace vek {

/// Once for each pass, behind vekxpx: makes the rows of Types III and IV that are wanted, leaves their degrees of freedom
/// and the t4unique flags, and prints the tables of the options E, E1 to E4.
void vekestl();

}  // namespace vek
