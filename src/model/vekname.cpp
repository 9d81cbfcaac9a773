// vekname: makes a name of at most 12 characters for each column of X: the effect's name with the column's levels where
// they fit, else a numbered code that a table explains.
#include "model/vekname.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "frame/host_message.h"
#include "frame/table.h"
#include "frame/text.h"

namespace vek {

namespace {

constexpr int cell_width = parameter_name_width + 1;

int class_variable(const Effect& e, int v) { return v < e.ncross ? e.cross[v] : e.nest[v - e.ncross]; }

/// Text of a column's level of the effect's class variable v, without blanks on both sides.
std::string_view level_text(const ModelBlock& zgm, const Effect& e, int column, int v) {
    const int level = e.mod->levels[std::ptrdiff_t{column} * e.nclass() + v];
    return wzstjus({zgm.levvals[class_variable(e, v)][level], 16});
}

/// Width of the levels of an effect, each with a blank before it.
int levels_width(const ModelBlock& zgm, const Effect& e) {
    int width = 0;
    for (int v = 0; v < e.nclass(); ++v) width += zgm.classes[class_variable(e, v)].fmtwidth + 1;
    return width;
}

/// Hands out codes, the message's prefix and a number, in the order of the columns.
struct Coder {
    std::string prefix = rdvmsg(172, 225);
    int next = 1;

    void code(char* cell, int offset) {
        constexpr int digits = 8;
        xpils(offset + next++, digits, cell);
        std::copy_n(prefix.data(), std::min<std::size_t>(prefix.size(), cell_width), cell);
    }
};

void put_name_and_levels(const ModelBlock& zgm, const Effect& e, int column, char* cell) {
    std::copy_n(e.name, e.namelen, cell);
    int at = e.namelen + 1;
    for (int v = 0; v < e.nclass(); ++v) {
        const std::string_view text = level_text(zgm, e, column, v);
        std::copy(text.begin(), text.end(), cell + at);
        at += zgm.classes[class_variable(e, v)].fmtwidth + 1;
    }
}

void name_columns(const ModelBlock& zgm, const Effect& e, int width, Coder& coder, char (*cells)[cell_width]) {
    constexpr int continuous_codes = 10000, class_codes = 100000;
    for (int column = 0; column < e.mod->ncols; ++column) {
        if (width <= parameter_name_width) {
            put_name_and_levels(zgm, e, column, cells[column]);
        } else {
            coder.code(cells[column], e.nclass() == 0 ? continuous_codes : class_codes);
        }
    }
}

/// "Dependent Variable: Y", or all of them.
std::string dependents_text(const ModelBlock& zgm) {
    if (zgm.nyp == 1) return rdvmsg(172, 135, zgm.ydescriptors[zgm.ylist[0]].name);
    std::string text = rdvmsg(172, 247);
    for (int k = 0; k < zgm.nyp; ++k) {
        text += ' ';
        text += zgm.ydescriptors[zgm.ylist[k]].name;
    }
    return text;
}

/// The effect's name padded to its column, then the levels of the column, each after a blank.
std::string full_name(const ModelBlock& zgm, const Effect& e, int column, int name_width) {
    std::string text(e.text());
    text.resize(static_cast<std::size_t>(std::max(name_width, e.namelen)), ' ');
    for (int v = 0; v < e.nclass(); ++v) {
        text += ' ';
        text += level_text(zgm, e, column, v);
    }
    return text;
}

void representation_table(const ModelBlock& zgm, int efnamew, int widest_levels, HostObject* out,
                          const char (*cells)[cell_width]) {
    std::string effect;
    std::string_view representation;
    char control = ' ';
    Table t(out, "MatrixRepresentation", rdvmsg(172, 344));
    t.attribute("hdep", dependents_text(zgm));
    t.text("Effect", widest_levels + efnamew + 3, effect).text("Representation", cell_width, representation);
    t.character("Control", control);
    t.bind("DRIM.VEK.MatrixRepresentation");
    const auto cell_text = [&](int column) { return wzstrip({cells[column], cell_width}); };
    if (zgm.noint == 0) {
        representation = cell_text(0);
        effect = representation;
        t.row();
    }
    for (int i = 1; i <= zgm.neff; ++i) {
        const Effect& e = *zgm.effects[i];
        for (int column = 0; column < e.mod->ncols; ++column) {
            effect = full_name(zgm, e, column, efnamew + 3);
            representation = cell_text(e.mod->firstcol + column);
            control = column == 0 ? '1' : ' ';
            t.row();
        }
    }
    t.end();
}

}  // namespace

void vekname(const ModelBlock& zgm, int efnamew, HostObject* out, char (*names)[cell_width]) {
    if (zgm.noprint) return;
    std::memset(names, ' ', static_cast<std::size_t>(zgm.ncol) * cell_width);
    if (zgm.noint == 0) {
        const std::string intercept = rdvmsg(172, 121);
        std::copy_n(intercept.data(), std::min<std::size_t>(intercept.size(), parameter_name_width), names[0]);
    }
    Coder coder;
    int widest = efnamew, widest_levels = 0;
    for (int i = 1; i <= zgm.neff; ++i) {
        const Effect& e = *zgm.effects[i];
        const int levels = levels_width(zgm, e), width = e.namelen + levels;
        widest_levels = std::max(widest_levels, levels);
        widest = std::max(widest, width);
        name_columns(zgm, e, width, coder, names + e.mod->firstcol);
    }
    if (widest > parameter_name_width) representation_table(zgm, efnamew, widest_levels, out, names);
}

}  // namespace vek
