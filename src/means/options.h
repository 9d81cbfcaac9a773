// Options of the MEANS statement: bits and slots of its record.
#pragma once

#include "frame/statement.h"

namespace vek::means {

constexpr int deponly = 1, lines = 5, cldiff = 6, plot = 7, clm = 8, nosort = 9;
// The comparison methods; the three with a control come last.
constexpr int duncan = 10, waller = 11, snk = 12, t = 13, smm = 14, scheffe = 15, tukey = 16, bon = 17, sidak = 18,
              regwf = 19, regwq = 20, peritzf = 21, peritzq = 22, gabriel = 23, dunnett = 24, dunnettu = 25,
              dunnettl = 26;
constexpr int hovtest = 27, welch = 28, levene = 29, bf = 30, obrien = 31, mbf = 32, bartlett = 33, bf_scale = 35,
              mbf_scale = 36;

constexpr int slot_alpha = 1, slot_kratio = 2, slot_etype = 5, slot_htype = 6, slot_effects = 7, slot_error = 8,
              slot_control = 9, slot_hovout = 12, slot_w = 13, slot_levene_type = 14;

/// True when an option from `first` to `last` is set.
inline bool OrSFO(const Statement& statement, int first, int last) {
    for (int bit = first; bit <= last; ++bit) {
        if (statement.option(bit)) return true;
    }
    return false;
}

}  // namespace vek::means
