// The tables of the design: crossproducts, their inverse, tolerances.
#pragma once

#include <string>

#include "frame/mainblock.h"

namespace vek {

/// "XPX": X'X, X'Y and Y'Y before the sweep, with the shift of y undone.
void print_crossproducts(const MainBlock& F);
/// "InvXPX": the inverse, the solution and the error crossproducts after the forward sweep.
void print_inverse(const MainBlock& F);
/// "Tolerances": `diagonal` is each column's diagonal element just before its turn in the sweep.
void print_tolerances(const MainBlock& F, const double* diagonal);
/// Heading that names the dependent variables of the pass.
std::string dependents_heading(const MainBlock& F);

}  // namespace vek
