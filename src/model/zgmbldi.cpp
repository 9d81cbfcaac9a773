// zgmbldi: gives the levels that occur in the pass their columns, lays the effects out in X, and makes the lists by
// which zgmacc turns a record into a row. Columns of a combination stand in the order of the mixed-radix number of
// their class variables' columns: nesting variables first, the last of them fastest, then the crossed ones likewise.
#include "model/zgmbldi.h"

#include <algorithm>

#include "model/zlst.h"
#include "model/zlvknt.h"

namespace vek {

namespace {

constexpr std::int64_t largest_cell_count = 2147483647;

/// True when the level has an observation of the pass.
bool in_pass(const ModelBlock& zgm, const LevelList& list, int levelno) { return zlvactv(list, levelno, zgm.ylist[0]); }

/// Columns of a class variable: its active levels in their final order, with their texts and raw values.
void build_class_table(ModelBlock& zgm, int variable) {
    const LevelList& list = zgm.levlists[variable];
    LevelTable& table = zgm.tables[variable];
    table.levset = variable;
    table.map = array<std::int16_t>(zgm.pool, list.count);
    table.levels = array<std::int16_t>(zgm.pool, list.count);
    zgm.levvals[variable] = array<char[16]>(zgm.pool, list.count);
    zgm.levraw[variable] = array<RawValue>(zgm.pool, list.count);
    int column = 0;
    for (int k = 0; k < list.count; ++k) {
        const int levelno = list.order[k];
        if (!in_pass(zgm, list, levelno)) {
            table.map[levelno] = -1;
            continue;
        }
        table.map[levelno] = static_cast<std::int16_t>(column);
        table.levels[column] = static_cast<std::int16_t>(column);
        std::copy_n(list.text[levelno], 16, zgm.levvals[variable][column]);
        zgm.levraw[variable][column] = list.raw[levelno];
        ++column;
    }
    table.nlev = column;
}

/// Columns of the class variables of a level of a combination.
void class_columns(const Effect& effect, const LevelList& list, const LevelTable* tables, int levelno,
                   std::int16_t* columns) {
    const int n = effect.nclass();
    const std::int16_t* key = list.key + static_cast<std::ptrdiff_t>(levelno) * n;
    for (int v = 0; v < n; ++v) columns[v] = tables[effect.cross[v]].map[key[v]];
}

/// Enters a level as the next column of a combination's table.
void append_column(const Effect& effect, const LevelList& list, const ModelBlock& zgm, int levelno, LevelTable& table,
                   int column) {
    table.map[levelno] = static_cast<std::int16_t>(column);
    class_columns(effect, list, zgm.tables, levelno,
                  table.levels + static_cast<std::ptrdiff_t>(column) * effect.nclass());
}

/// The effect that the level table `table` belongs to, or null.
const Effect* effect_of_table(const ModelBlock& zgm, int table) {
    for (int i = 1; i <= zgm.neff; ++i) {
        if (zgm.effects[i]->mod->table == table) return zgm.effects[i];
    }
    return nullptr;
}

void build_combination_table(ModelBlock& zgm, int number) {
    const Effect* effect = effect_of_table(zgm, number);
    if (effect == nullptr) return;
    LevelTable& table = zgm.tables[number];
    table.levset = effect->mod->levset;
    const LevelList& list = zgm.levlists[table.levset];
    table.map = array<std::int16_t>(zgm.pool, list.count);
    table.levels = array<std::int16_t>(zgm.pool, static_cast<std::int64_t>(list.count) * effect->nclass());
    // An array of all cells costs its size, sorting a few dozen steps for each level.
    constexpr std::int64_t cells_per_level = 32, few_cells = 256;
    const std::int64_t cells = prod_levels(*effect, nullptr, zgm.tables);
    const bool dense = cells >= 0 && cells <= few_cells + cells_per_level * list.count;
    Pool* job = xmpoolc(zgm.pool, "cells");
    table.nlev = dense ? shuffle(zgm, *effect, list, table, job) : shell(zgm, *effect, list, table, job);
    xmpoold(job);
}

/// Places the effects in X behind the intercept.
void place_effects(ModelBlock& zgm) {
    zgm.noint = zgm.noint1 || zgm.nabsorb > 0 ? 1 : 0;
    EffectMod& intercept = *zgm.modrecs[0];
    intercept.levels = intercept.map = nullptr;
    intercept.ncols = 1 - zgm.noint;
    intercept.firstcol = -zgm.noint;
    zgm.ncol = zgm.nlevsum = 1 - zgm.noint;
    for (int i = 1; i <= zgm.neff; ++i) {
        EffectMod& mod = *zgm.effects[i]->mod;
        if (mod.table < 0) {
            mod.levels = mod.map = nullptr;
            mod.ncols = 1;
            ++zgm.nlevsum;
        } else {
            const LevelTable& table = zgm.tables[mod.table];
            mod.levels = table.levels;
            mod.map = table.map;
            mod.ncols = table.nlev;
            zgm.nlevsum += zgm.nlev[mod.levset];
        }
        mod.firstcol = zgm.ncol;
        zgm.ncol += mod.ncols;
    }
    zgm.ncoly = zgm.ncol + zgm.nyp;
}

/// Makes the sparse row with what is the same for all records, and the lists of what is not.
void make_row_lists(ModelBlock& zgm) {
    const int last = zgm.neff + zgm.nyp;
    zgm.cols = array<int>(zgm.pool, last + 1);
    zgm.vals = array<double>(zgm.pool, last + 1);
    zgm.contparts = array<ContinuousPart>(zgm.pool, last);
    zgm.classparts = array<ClassPart>(zgm.pool, zgm.neff);
    zgm.ncontparts = zgm.nclassparts = 0;
    zgm.cols[0] = -zgm.noint;
    zgm.vals[0] = zgm.noint == 0 ? 1.0 : 0.0;
    for (int i = 1; i <= zgm.neff; ++i) {
        const EffectMod& mod = *zgm.effects[i]->mod;
        zgm.cols[i] = mod.firstcol;
        zgm.vals[i] = 1.0;
        if (mod.value != nullptr) zgm.contparts[zgm.ncontparts++] = {mod.value, &zgm.vals[i]};
        if (mod.table >= 0) zgm.classparts[zgm.nclassparts++] = {i, mod.table, mod.firstcol};
    }
    for (int k = 0; k < zgm.nyp; ++k) {
        const int i = zgm.neff + 1 + k;
        zgm.cols[i] = zgm.ncol + k;
        zgm.vals[i] = 1.0;
        zgm.contparts[zgm.ncontparts++] = {zgm.yval + zgm.ylist[k], &zgm.vals[i]};
    }
}

}  // namespace

std::int64_t prod_levels(const Effect& effect, std::int64_t* strides, const LevelTable* tables) {
    std::int64_t cells = 1;
    const auto take = [&](int last, int first) {
        for (int v = last; v >= first; --v) {
            if (strides != nullptr) strides[v] = cells;
            const std::int64_t levels = tables[effect.cross[v]].nlev;
            if (levels > 0 && cells > largest_cell_count / levels) return false;
            cells *= levels;
        }
        return true;
    };
    const bool fits = take(effect.ncross - 1, 0) && take(effect.nclass() - 1, effect.ncross);
    return fits ? cells : -1;
}

int shuffle(ModelBlock& zgm, const Effect& effect, const LevelList& list, LevelTable& table, Pool* job) {
    const int n = effect.nclass();
    const std::int64_t cells = prod_levels(effect, nullptr, zgm.tables);
    std::int16_t* cell = array<std::int16_t>(job, cells);
    std::int64_t* strides = array<std::int64_t>(job, n);
    std::int16_t* columns = array<std::int16_t>(job, n);
    prod_levels(effect, strides, zgm.tables);
    std::fill_n(cell, cells, std::int16_t{-1});
    for (int levelno = 0; levelno < list.count; ++levelno) {
        table.map[levelno] = -1;
        if (!in_pass(zgm, list, levelno)) continue;
        class_columns(effect, list, zgm.tables, levelno, columns);
        std::int64_t place = 0;
        for (int v = 0; v < n; ++v) place += strides[v] * columns[v];
        cell[place] = static_cast<std::int16_t>(levelno);
    }
    int column = 0;
    for (std::int64_t place = 0; place < cells; ++place) {
        if (cell[place] >= 0) append_column(effect, list, zgm, cell[place], table, column++);
    }
    return column;
}

int shell(ModelBlock& zgm, const Effect& effect, const LevelList& list, LevelTable& table, Pool* job) {
    const int n = effect.nclass();
    std::int16_t* columns = array<std::int16_t>(job, static_cast<std::int64_t>(list.count) * n);
    std::int16_t* active = array<std::int16_t>(job, list.count);
    int count = 0;
    for (int levelno = 0; levelno < list.count; ++levelno) {
        table.map[levelno] = -1;
        if (!in_pass(zgm, list, levelno)) continue;
        class_columns(effect, list, zgm.tables, levelno, columns + static_cast<std::ptrdiff_t>(levelno) * n);
        active[count++] = static_cast<std::int16_t>(levelno);
    }
    const auto before = [&](std::int16_t a, std::int16_t b) {
        const std::int16_t* ca = columns + static_cast<std::ptrdiff_t>(a) * n;
        const std::int16_t* cb = columns + static_cast<std::ptrdiff_t>(b) * n;
        for (int v = effect.ncross; v < n; ++v) {
            if (ca[v] != cb[v]) return ca[v] < cb[v];
        }
        for (int v = 0; v < effect.ncross; ++v) {
            if (ca[v] != cb[v]) return ca[v] < cb[v];
        }
        return false;
    };
    std::sort(active, active + count, before);
    for (int column = 0; column < count; ++column) append_column(effect, list, zgm, active[column], table, column);
    return count;
}

void zgmbldi(ModelBlock& zgm) {
    for (int i = 0; i < zgm.nclass; ++i) build_class_table(zgm, i);
    for (int t = zgm.nclass; t < zgm.ntables; ++t) build_combination_table(zgm, t);
    place_effects(zgm);
    make_row_lists(zgm);
}

void describe(std::FILE* out, const ModelBlock& zgm) {
    std::fprintf(out, "columns %d, with y %d; %s\n", zgm.ncol, zgm.ncoly,
                 zgm.noint == 0 ? "intercept in column 0" : "no intercept");
    std::fprintf(out, "effect kind first count table contained in\n");
    for (int i = 1; i <= zgm.neff; ++i) {
        const Effect& e = *zgm.effects[i];
        const char* kind = e.nclass() == 0 ? "continuous" : e.ncont == 0 ? "class" : "mixed";
        std::fprintf(out, "%s %s %d %d %d", e.name, kind, e.mod->firstcol, e.mod->ncols, e.mod->table);
        for (int j = 1; j <= zgm.neff; ++j) {
            if (EffectCompare(e, *zgm.effects[j]) == set_within) std::fprintf(out, " %s", zgm.effects[j]->name);
        }
        std::fprintf(out, "\n");
    }
}

}  // namespace vek
