// The parameter solution and the list of predicted values of one dependent variable.
#pragma once

#include "frame/mainblock.h"

namespace vek {

/// Variables of ID that the list of predicted values has columns for: the first ones.
constexpr int most_id_columns = 5;

void veksol(MainBlock& F, int k);   ///< table "ParameterEstimates" of dependent variable k of the pass
void vekplst(MainBlock& F, int k);  ///< table "PredictedValues" and the statistics below it

}  // namespace vek
