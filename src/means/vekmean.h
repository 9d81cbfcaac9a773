// vekmean: observation records become means and standard deviations of every level of the effects of a MEANS statement.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/mainblock.h"

namespace vek {

// The level record in utility file 2: this head, then the means of the variables, then their standard deviations. The
// variables are the dependent variables of the pass, then, unless the statement leaves them out, the regressors.
struct LevelHead {
    std::int32_t level = 0;
    std::int32_t n = 0;  ///< sum of the truncated frequencies
    double sumw = 0;     ///< sum of frequency times weight; n without weights
};

/// The level records of one effect in memory, in level order.
struct LevelRecords {
    const std::byte* data = nullptr;
    int count = 0;
    int nvar = 0;

    std::ptrdiff_t length() const;
    const LevelHead& head(int level) const { return *reinterpret_cast<const LevelHead*>(data + level * length()); }
    double mean(int level, int variable) const { return values(level)[variable]; }       ///< missing when sumw is 0
    double sd(int level, int variable) const { return values(level)[nvar + variable]; }  ///< missing below n = 2

  private:
    const double* values(int level) const {
        return reinterpret_cast<const double*>(data + level * length() + sizeof(LevelHead));
    }
};

/// One effect of the statement.
struct MeansEffect {
    const Effect* effect = nullptr;
    int levels = 0;
    FilePosition position = 0;  ///< of its first level record in utility file 2
};

/// Variables that a MEANS statement averages: the dependent variables of the pass, and the regressors unless DEPONLY.
int means_variables(const MainBlock& F, const Statement& statement);

/// Reads the observations (once, when all levels fit into the work area) and writes the level records of the listed
/// effects behind the streams of the fit.
std::vector<MeansEffect> vekmean(MainBlock& F, const Statement& statement);

}  // namespace vek
