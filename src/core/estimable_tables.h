// The tables of the estimable functions: general form and Types I to IV, as coefficients or as alias expressions.
#pragma once

#include "core/zss.h"
#include "frame/mainblock.h"

namespace vek {

/// Prints what the MODEL options E and E1 to E4 ask for. `H` is work space with all rows allocated; its content is lost.
void print_estimable_functions(const MainBlock& F, HypothesisRows& H);

}  // namespace vek
