// zgmpsl: the pass numbers of the dependent variables, and the walk from pass to pass.
#include "model/zgmpsl.h"

#include <algorithm>

#include "numeric/packed.h"

namespace vek {

namespace {

/// Makes the pool of the current pass and lists its dependent variables.
void enter_pass(ModelBlock& zgm) {
    zgm.pool = nullptr;
    zgm.nyp = 0;
    if (!zgmpslc(zgm)) return;
    zgm.pool = xmpoolc(zgm.mainpool, "pass");
    for (int i = 0; i < zgm.ny; ++i) {
        if (zgm.ypass[i] == zgm.pass) zgm.ylist[zgm.nyp++] = i;
    }
    zgm.y1 = zgm.yval + zgm.ylist[0];
}

}  // namespace

int FigurePassInfo(ModelBlock& zgm, std::uint8_t* together) {
    const auto clear_row = [together](int i) { std::fill_n(together + triangle_size(i), i + 1, std::uint8_t{0}); };
    for (int i = 0; i < zgm.ny; ++i) {
        if (zgm.ynobs[i] != 0) continue;
        zgm.ypass[i] = 0;
        clear_row(i);
    }
    int passes = 0;
    for (int i = 0; i < zgm.ny; ++i) {
        if (together[zisub(i, i)] == 0) continue;
        ++passes;
        for (int j = i; j < zgm.ny; ++j) {
            if (together[zisub(i, j)] == 0) continue;
            zgm.ypass[j] = static_cast<std::int16_t>(passes);
            clear_row(j);
        }
    }
    return passes;
}

void zgmpsli(ModelBlock& zgm) {
    zgm.pass = 1;
    enter_pass(zgm);
}

void zgmpsln(ModelBlock& zgm) {
    xmpoold(zgm.pool);
    ++zgm.pass;
    enter_pass(zgm);
}

}  // namespace vek
