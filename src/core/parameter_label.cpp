// parameter_label: from the column of an effect to the text that names its parameter.
#include "core/parameter_label.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <span>
#include <vector>

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

std::string ParameterLabel::empty_cell(const Effect& cells, const Effect& own, int column) const {
    const auto n = static_cast<std::size_t>(cells.nclass());
    std::vector<int> levels(n, 0), wanted(n, -1);
    bool shared = false;
    for (std::size_t v = 0; v < n; ++v) {
        const int place = zlstmem(class_list(own), cells.cross[v]);
        if (place >= own.nclass()) continue;
        levels[v] = wanted[v] = level_number(own, column, place);
        shared = true;
    }
    std::int64_t all = 1;
    for (int variable : class_list(cells)) all *= F.zgm.tables[variable].nlev;
    if (!shared || all == cells.mod->ncols) return {};
    std::set<std::vector<int>> filled;
    for (int c = 0; c < cells.mod->ncols; ++c) {
        std::vector<int> cell(n);
        for (std::size_t v = 0; v < n; ++v) cell[v] = level_number(cells, c, static_cast<int>(v));
        filled.insert(std::move(cell));
    }
    // All combinations that have the wanted levels, the last variable fastest: at most one more than there are cells.
    while (filled.count(levels) != 0) {
        std::size_t v = n;
        while (v > 0 && (wanted[v - 1] >= 0 || levels[v - 1] + 1 >= F.zgm.tables[cells.cross[v - 1]].nlev)) {
            --v;
            if (wanted[v] < 0) levels[v] = 0;
        }
        if (v == 0) return {};
        ++levels[v - 1];
    }
    std::string text;
    for (std::size_t v = 0; v < n; ++v) {
        if (v > 0) text += " ";
        const int variable = cells.cross[v];
        text.append(F.zgm.classes[variable].name).append("=");
        text.append(wzstjus(std::string_view(F.zgm.levvals[variable][levels[v]], 16)));
    }
    return text;
}

std::string ParameterLabel::empty_cell_near(int column) const {
    const Effect& own = *F.zgm.effects[F.coleffect[column]];
    const int place = column - own.mod->firstcol;
    int most = 0;
    for (int i = 1; i <= F.zgm.neff; ++i) most = std::max(most, F.zgm.effects[i]->nclass());
    for (int order = 2; order <= most; ++order) {
        for (int i = 1; i <= F.zgm.neff; ++i) {
            const Effect& cells = *F.zgm.effects[i];
            if (cells.nclass() != order || cells.nnest != 0) continue;
            std::string cell = empty_cell(cells, own, place);
            if (!cell.empty()) return cell;
        }
    }
    return {};
}

}  // namespace vek
