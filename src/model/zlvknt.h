// zlvknt: the reading of the data set for one BY group. Rows come in blocks by column; out go one observation record
// for each row in the utility file, the levels of every level set in their final order, the passes of the dependent
// variables, and the tables ClassLevels, NObs and DependentInfo.
#pragma once

#include "frame/host_table.h"
#include "model/zgm.h"

namespace vek {

constexpr int most_levels = 32767;  ///< of a level set: level numbers are 16 bits wide in the records

constexpr int zlvknt_done = 0, zlvknt_no_observation = 1, zlvknt_too_many_levels = -1;

/// Reads the current BY group. `out` is the output manager, null under NOPRINT. Returns zlvknt_done;
/// zlvknt_no_observation when no dependent variable has a usable one; zlvknt_too_many_levels when a level set has more
/// than most_levels (then reading stops at once and no table is made).
int zlvknt(ModelBlock& zgm, HostObject* out);

/// Gives back what the level pass keeps from group to group; the next call begins as the first did.
void forget_levels(ModelBlock& zgm);

/// True when dependent variable y is present in some observation at the level with number `levelno`.
inline bool zlvactv(const LevelList& list, int levelno, int y) {
    return ((list.active[static_cast<std::ptrdiff_t>(levelno) * list.words + (y >> 6)] >> (y & 63)) & 1) != 0;
}

}  // namespace vek
