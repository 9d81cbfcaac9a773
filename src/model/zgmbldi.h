// zgmbldi: the layout of X for a pass. Levels that occur become columns, combinations in the order of their class
// variables' columns; effects take their places in X; and the lists are made by which a record becomes a row.
#pragma once

#include <cstdint>
#include <cstdio>

#include "model/zgm.h"

namespace vek {

/// Builds level tables and column layout of the current pass, in its pool.
void zgmbldi(ModelBlock& zgm);

/// Number of cells of the class part of an effect, from the columns of its class variables; -1 when it exceeds
/// 2147483647. `strides` may be null, or receives for each crossed, then each nested variable how far apart its columns
/// are in the cell number.
std::int64_t prod_levels(const Effect& effect, std::int64_t* strides, const LevelTable* tables);

/// Makes the columns of a combination by an array with a place for each cell; the number of columns.
int shuffle(ModelBlock& zgm, const Effect& effect, const LevelList& list, LevelTable& table, Pool* job);
/// Makes the same columns by sorting the levels: for effects with far more cells than levels.
int shell(ModelBlock& zgm, const Effect& effect, const LevelList& list, LevelTable& table, Pool* job);

/// Prints the layout, a line for each effect: kind, first column, columns, table, and the effects that contain it.
void describe(std::FILE* out, const ModelBlock& zgm);

}  // namespace vek
