// Estimable functions as text: coefficients in terms of L1, L2, ... and expansions over the parameters.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "core/zss.h"
#include "frame/mainblock.h"

namespace vek {

/// One term: the value with at most 6 characters, "*" where sign and number take more than one character, and the
/// label: L2, +L3, -L4, +2*L5, -0.5*L6, 2L1. Empty when |value| is not above zeta. `more` puts a "+" before a positive
/// value.
std::string FmtProd(double value, std::string_view label, bool more, double zeta);

/// The coefficient of a column as a sum over the rows that are set in `active`; "0" when no term is left.
std::string MakeCoef(const HypothesisRows& H, int column, const std::int16_t* active);

/// Label of a parameter in an expansion: of column `place` (from 0) of an effect.
using AliasLabel = std::function<std::string(int effect, int place)>;

/// Row of H as an expansion over all parameters, terms separated by " + " and " - "; may be empty.
std::string MakeAlias(const ModelBlock& zgm, const double* row, double zeta, const AliasLabel& label);

}  // namespace vek
