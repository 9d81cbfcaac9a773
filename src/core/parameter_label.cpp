// parameter_label: from the column of an effect to the text that names its parameter.
#include "core/parameter_label.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "frame/host_message.h"
#include "frame/text.h"
#include "model/zlst.h"

namespace vek {

namespace {

std::span<const int> class_list(const Effect& e) { return {e.cross, static_cast<std::size_t>(e.nclass())}; }

int level_number(const Effect& e, int c, int place) {
    return e.nclass() == 1 ? c : e.mod->levels[static_cast<std::ptrdiff_t>(c) * e.nclass() + place];
}

}  // namespace

ParameterLabel::ParameterLabel(const MainBlock& main) : F(main), width_(0) {
    int widest = 0;
    for (int e = 1; e <= F.zgm.neff; ++e) {
        int levels = 0;
        for (int variable : class_list(*F.zgm.effects[e])) levels += F.zgm.classes[variable].fmtwidth + 1;
        widest = std::max(widest, levels);
    }
    width_ = F.efnamew + widest;
}

std::string_view ParameterLabel::level(const Effect& effect, int c, int place) const {
    const int variable = class_list(effect)[static_cast<std::size_t>(place)];
    return wzstjus(std::string_view(F.zgm.levvals[variable][level_number(effect, c, place)], 16));
}

std::string ParameterLabel::text(int e, int c) const {
    const Effect& effect = *F.zgm.effects[e];
    std::string label(effect.text());
    label.resize(static_cast<std::size_t>(std::max(F.efnamew, effect.namelen)), ' ');
    for (int place = 0; place < effect.nclass(); ++place) label.append(" ").append(level(effect, c, place));
    return label;
}

std::string ParameterLabel::short_text(int column) const {
    const int e = F.coleffect[column];
    const Effect& effect = *F.zgm.effects[e];
    std::string label(effect.text());
    for (int place = 0; place < effect.nclass(); ++place) {
        label.append(" ").append(level(effect, column - effect.mod->firstcol, place));
    }
    return label;
}

std::string ParameterLabel::number(double value) const {
    char buffer[12];
    xpfs(value, static_cast<int>(sizeof buffer), 99, buffer);
    return std::string(wzstjus(std::string_view(buffer, sizeof buffer)));
}

std::string ParameterLabel::empty_cell_near(int column) const {
    const Effect& own = *F.zgm.effects[F.coleffect[column]];
    if (own.nclass() == 0) return {};
    const int c = column - own.mod->firstcol;
    for (int i = 1; i <= F.zgm.neff; ++i) {
        const Effect& cells = *F.zgm.effects[i];
        if (cells.nclass() != 2 || cells.nnest != 0) continue;
        for (int fixed = 0; fixed < 2; ++fixed) {
            const int place = zlstmem(class_list(own), cells.cross[fixed]);
            if (place >= own.nclass()) continue;
            const int wanted = level_number(own, c, place);
            const int other = cells.cross[1 - fixed];
            for (int level = 0; level < F.zgm.tables[other].nlev; ++level) {
                bool filled = false;
                for (int cell = 0; cell < cells.mod->ncols && !filled; ++cell) {
                    filled = level_number(cells, cell, fixed) == wanted && level_number(cells, cell, 1 - fixed) == level;
                }
                if (filled) continue;
                const auto named = [&](int variable, int l) {
                    return std::string(F.zgm.classes[variable].name)
                        .append("=")
                        .append(wzstjus(std::string_view(F.zgm.levvals[variable][l], 16)));
                };
                return named(cells.cross[fixed], wanted) + " " + named(other, level);
            }
        }
    }
    return {};
}

}  // namespace vek
