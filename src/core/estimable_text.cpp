// estimable_text: rows of H as the texts that the tables of estimable functions show.
#include "core/estimable_text.h"

#include <cmath>

#include "frame/host_message.h"
#include "frame/text.h"

namespace vek {

std::string FmtProd(double value, std::string_view label, bool more, double zeta) {
    if (!(std::fabs(value) > zeta)) return {};
    constexpr int width = 6;
    char buffer[width];
    xpfs(std::fabs(value), width, 99, buffer);
    std::string_view number = wzstjus(std::string_view(buffer, width));
    if (number == "1") number = {};
    std::string term;
    if (value < 0) {
        term = "-";
    } else if (more) {
        term = "+";
    }
    term.append(number);
    if (term.size() > 1) term += '*';
    return term.append(wzstrip(label));
}

std::string MakeCoef(const HypothesisRows& H, int column, const std::int16_t* active) {
    std::string text;
    for (int i = 0; i < H.ncol; ++i) {
        if (active[i] == 0 || column < H.low[i] || column >= H.high[i] || H.rows[i][column] == 0) continue;
        text += FmtProd(H.rows[i][column], "L" + std::to_string(i + 1), !text.empty(), H.zeta);
    }
    return text.empty() ? "0" : text;
}

std::string MakeAlias(const ModelBlock& zgm, const double* row, double zeta, const AliasLabel& label) {
    std::string text;
    for (int e = zgm.noint; e <= zgm.neff; ++e) {
        const EffectMod& mod = *zgm.modrecs[e];
        for (int k = 0; k < mod.ncols; ++k) {
            const double value = row[mod.firstcol + k];
            if (!(std::fabs(value) > zeta)) continue;
            const std::string term = FmtProd(value, label(e, k), !text.empty(), zeta);
            if (term[0] == '+' || term[0] == '-') {
                text.append(" ").append(1, term[0]).append(" ").append(term, 1);
            } else {
                text += term;
            }
        }
    }
    return text;
}

}  // namespace vek
