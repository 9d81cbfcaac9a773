// RowSums: how a row is split, and how its sums are spread over X'X.
#include "model/rowsums.h"

#include <algorithm>
#include <cmath>

#include "model/valuetable.h"
#include "model/zlst.h"

namespace vek {

namespace {

/// From this many elements without class part on, their crossproducts go through the blocked kernel.
constexpr int blocked_from = 17;

std::span<const int> class_variables(const Effect& e) { return {e.cross, static_cast<std::size_t>(e.nclass())}; }

/// True when the class variables of a and b together are those of c.
bool class_union(const Effect& a, const Effect& b, const Effect& c) {
    const auto has = [](const Effect& e, int variable) { return zlstmem(class_variables(e), variable) < e.nclass(); };
    const auto within = [&](const Effect& e) {
        const auto variables = class_variables(e);
        return std::all_of(variables.begin(), variables.end(), [&](int v) { return has(c, v); });
    };
    const auto both = class_variables(c);
    return within(a) && within(b) &&
           std::all_of(both.begin(), both.end(), [&](int v) { return has(a, v) || has(b, v); });
}

/// The pure class element whose columns tell the columns of both a and b, one column for each pair that occurs; -1 when
/// there is none. The weight in its column is then the product of theirs, added in the same order.
int covering_element(const RowSums& sums, int a, int b) {
    const auto pure = [&](int e) { return sums.element[e].source == no_source; };
    if (!pure(a) || !pure(b)) return -1;
    for (int e = 0; e < sums.nclass; ++e) {
        if (pure(e) && class_union(*sums.element[a].effect, *sums.element[b].effect, *sums.element[e].effect)) return e;
    }
    return -1;
}

/// Column within element e's effect of the level that column `column` of the covering element belongs to.
int covered_column(const RowSums& sums, int e, int cover, int column) {
    const Effect& wide = *sums.element[cover].effect;
    const Effect& narrow = *sums.element[e].effect;
    const int n = narrow.nclass();
    const std::int16_t* wide_level = wide.mod->levels + std::ptrdiff_t{column} * wide.nclass();
    // The order of an effect's columns: nesting variables first, then the crossed ones.
    const auto compare = [&](const std::int16_t* level) {
        for (int k = 0; k < n; ++k) {
            const int v = k < narrow.nnest ? narrow.ncross + k : k - narrow.nnest;
            const int place = zlstmem(class_variables(wide), narrow.cross[v]);
            if (level[v] != wide_level[place]) return level[v] < wide_level[place] ? -1 : 1;
        }
        return 0;
    };
    int low = 0, high = narrow.mod->ncols - 1;
    while (low < high) {
        const int middle = (low + high) / 2;
        if (compare(narrow.mod->levels + std::ptrdiff_t{middle} * n) < 0) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

int rounded_width(int nfixed) {
    for (const int width : {4, 8, 16}) {
        if (nfixed <= width) return width;
    }
    return (nfixed + 7) / 8 * 8;
}

/// Which regressor or product the continuous part of an effect is.
int value_index(const ModelBlock& zgm, const EffectMod& mod) { return static_cast<int>(mod.value - zgm.xval); }

void split_elements(RowSums& sums, const ModelBlock& zgm) {
    sums.source = array<int>(sums.pool, 1 + zgm.neff + sums.ndependents);
    sums.element = array<ClassElement>(sums.pool, zgm.neff);
    sums.source[sums.nfixed++] = no_source;
    for (int i = 1; i <= zgm.neff; ++i) {
        const Effect& e = *zgm.effects[i];
        const EffectMod& mod = *e.mod;
        const int source = mod.value == nullptr ? no_source : value_source(zgm, value_index(zgm, mod));
        if (mod.table < 0) {
            sums.source[sums.nfixed++] = source;
            continue;
        }
        ClassElement& element = sums.element[sums.nclass++];
        element.effect = &e;
        element.levset = mod.levset;
        element.source = source;
        element.before = sums.nfixed;
    }
    for (int k = 0; k < sums.ndependents; ++k) sums.source[sums.nfixed++] = sums.dependents[k];
}

void find_pairs(RowSums& sums) {
    sums.pair = array<RowSums::Pair>(sums.pool, std::int64_t{sums.nclass} * sums.nclass / 2);
    for (int a = 0; a < sums.nclass; ++a) {
        for (int b = a + 1; b < sums.nclass; ++b) {
            if (covering_element(sums, a, b) < 0) sums.pair[sums.npairs++] = {a, b};
        }
    }
}

/// The fixed slot of value k, a regressor or product, or -1 when it is no effect by itself.
int slot_of_value(const ModelBlock& zgm, const RowSums& sums, int k) {
    const int slot = zlstmem({sums.source + 1, static_cast<std::size_t>(sums.nfixed - 1)}, value_source(zgm, k)) + 1;
    return slot == sums.nfixed ? -1 : slot;
}

/// A value that is an effect by itself has its sum in its column, unless a weight stands in that.
void find_loose_values(RowSums& sums, const ModelBlock& zgm) {
    sums.loose = array<int>(sums.pool, zgm.nreg + zgm.nprod);
    sums.loosesum = array<double>(sums.pool, zgm.nreg + zgm.nprod);
    for (int k = 0; k < zgm.nreg + zgm.nprod; ++k) {
        if (zgm.nwgt > 0 || slot_of_value(zgm, sums, k) < 0) sums.loose[sums.nloose++] = k;
    }
}

/// Room for the products within the fixed part: a full square of short rows, else a packed upper triangle.
std::int64_t square_size(const RowSums& sums) {
    return sums.nfixed < blocked_from ? std::int64_t{sums.width} * sums.width
                                      : std::int64_t{sums.nfixed} * (sums.nfixed + 1) / 2;
}

void make_fixed_sums(RowSums& sums) {
    const bool packed = sums.nfixed >= blocked_from;
    sums.square = array<double*>(sums.pool, sums.nfixed);
    double* at = array<double>(sums.pool, square_size(sums));
    for (int i = 0; i < sums.nfixed; ++i) {
        sums.square[i] = packed ? at - i : at;
        at += packed ? sums.nfixed - i : sums.width;
    }
    sums.largest = array<double>(sums.pool, std::int64_t{2} * sums.width);
    sums.smallest = sums.largest + sums.width;
    if (!packed) return;
    double* work = array<double>(sums.pool, Crossproduct::work_doubles(sums.nfixed));
    sums.blocked.emplace(sums.nfixed, nullptr, sums.square, work);
}

void make_batch(RowSums& sums, const ModelBlock& zgm) {
    constexpr int cached_doubles = 4096, fewest = 8, most = 64;
    const int n = sums.capacity = std::clamp(cached_doubles / sums.width, fewest, most);
    sums.frequency = array<double>(sums.pool, std::int64_t{2} * n);
    sums.weight = sums.frequency + n;
    std::fill_n(sums.frequency, 2 * n, 1.0);
    sums.product = array<double>(sums.pool, std::int64_t{n} * zgm.nprod);
    sums.value = array<double>(sums.pool, std::int64_t{n} * sums.width);
    const bool weighted = zgm.nfreq + zgm.nwgt > 0;
    sums.scaled = weighted ? array<double>(sums.pool, std::int64_t{n} * sums.width) : sums.value;
    for (int r = 0; r < n; ++r) sums.value[std::ptrdiff_t{r} * sums.width] = 1;
    for (int k = 0; k < sums.nclass; ++k) {
        ClassElement& e = sums.element[k];
        e.place = array<int>(sums.pool, n);
        e.value = e.source == no_source ? nullptr : array<double>(sums.pool, std::int64_t{2} * n);
        e.weighted = e.source == no_source ? sums.weight : e.value + n;
    }
}

}  // namespace

void make_row_sums(RowSums& sums, const ModelBlock& zgm, Pool* pool, bool by_level, int ndependents,
                   const int* dependents, bool shift) {
    sums = RowSums{};
    sums.pool = pool;
    sums.by_level = by_level;
    sums.ndependents = ndependents;
    sums.dependents = dependents;
    sums.shift = shift;
    sums.origin = array<double>(pool, ndependents);
    split_elements(sums, zgm);
    sums.width = rounded_width(sums.nfixed);
    find_pairs(sums);
    find_loose_values(sums, zgm);
    make_fixed_sums(sums);
    make_batch(sums, zgm);
    if (!by_level) {
        for (int k = 0; k < sums.nclass; ++k) reserve_places(sums, sums.element[k], sums.element[k].effect->mod->ncols);
    }
    std::fill_n(sums.smallest, sums.width, std::numeric_limits<double>::max());
}

void clear_row_sums(RowSums& sums, const ModelBlock& zgm) {
    std::fill_n(sums.square[0], square_size(sums), 0.0);
    std::fill_n(sums.largest, sums.width, 0.0);
    std::fill_n(sums.smallest, sums.width, std::numeric_limits<double>::max());
    for (int k = 0; k < sums.nclass; ++k) {
        const ClassElement& e = sums.element[k];
        const int used = std::min(e.capacity, zgm.levlists[e.levset].count);
        std::fill_n(e.sums, std::ptrdiff_t{used} * sums.width, 0.0);
    }
    std::fill_n(sums.loosesum, zgm.nreg + zgm.nprod, 0.0);
    sums.frequencies = 0;
    sums.first = true;
    sums.count = 0;
}

void reserve_places(RowSums& sums, ClassElement& element, int levels) {
    if (levels <= element.capacity) return;
    const int capacity = sums.by_level ? std::max(levels, 2 * element.capacity) : levels;
    element.sums = grown(sums.pool, element.sums, std::int64_t{element.capacity} * sums.width,
                         std::int64_t{capacity} * sums.width);
    element.capacity = capacity;
}

bool needs_layout(const RowSums& sums) {
    return sums.npairs > 0 || std::any_of(sums.element, sums.element + sums.nclass,
                                          [](const ClassElement& e) { return e.source != no_source; });
}

namespace {

/// Columns of the fixed slots in X; -1 for the constant without an intercept.
int* fixed_columns(const RowSums& sums, const ModelBlock& zgm) {
    int* column = array<int>(zgm.pool, sums.nfixed);
    int slot = 0;
    column[slot++] = zgm.cols[0];
    for (int i = 1; i <= zgm.neff; ++i) {
        if (zgm.effects[i]->mod->table < 0) column[slot++] = zgm.effects[i]->mod->firstcol;
    }
    for (int k = 0; k < sums.ndependents; ++k) column[slot++] = zgm.ncol + k;
    return column;
}

void fold_fixed_part(const RowSums& sums, ModelBlock& zgm, const ColumnStatistics& statistics, const int* column) {
    const double* total = sums.square[0];
    zgm.sumw += total[0];
    for (int i = 0; i < sums.nfixed; ++i) {
        const int c = column[i];
        if (c < 0) continue;
        zgm.colsum[c] += total[i];
        statistics.colmax[c] = sums.largest[i];
        statistics.colmin[c] = sums.smallest[i];
        for (int j = i; j < sums.nfixed; ++j) zgm.xpxrows[c][column[j]] += sums.square[i][j];
    }
}

/// The same for the sums of an element with class part. A level that is in no column has none.
void fold_class_element(const RowSums& sums, const ClassElement& e, ModelBlock& zgm, const ColumnStatistics& statistics,
                        const int* fixed_column) {
    double* const* rows = zgm.xpxrows;
    const EffectMod& mod = *e.effect->mod;
    const int places = sums.by_level ? zgm.nlev[e.levset] : mod.ncols;
    for (int k = 0; k < places; ++k) {
        const int within = sums.by_level ? mod.map[k] : k;
        if (within < 0) continue;
        const int c = mod.firstcol + within;
        const double* place = e.sums + std::ptrdiff_t{k} * sums.width;
        zgm.colsum[c] += place[0];
        for (int f = 0; f < sums.nfixed; ++f) {
            if (fixed_column[f] >= 0) rows[std::min(c, fixed_column[f])][std::max(c, fixed_column[f])] += place[f];
        }
        if (e.source != no_source) continue;
        rows[c][c] += place[0];
        statistics.colmax[c] = statistics.colmin[c] = 1;
    }
}

/// Fills the products of class elements that the weights of a covering element tell: its column sums.
void fold_covered_pairs(const RowSums& sums, ModelBlock& zgm) {
    for (int a = 0; a < sums.nclass; ++a) {
        for (int b = a + 1; b < sums.nclass; ++b) {
            const int cover = covering_element(sums, a, b);
            if (cover < 0) continue;
            const EffectMod& wide = *sums.element[cover].effect->mod;
            for (int k = 0; k < wide.ncols; ++k) {
                const int i = sums.element[a].effect->mod->firstcol + covered_column(sums, a, cover, k);
                const int j = sums.element[b].effect->mod->firstcol + covered_column(sums, b, cover, k);
                zgm.xpxrows[i][j] += zgm.colsum[wide.firstcol + k];
            }
        }
    }
}

void fold_means(const RowSums& sums, const ModelBlock& zgm, const ColumnStatistics& statistics) {
    for (int k = 0; k < zgm.nreg + zgm.nprod; ++k) {
        const int slot = zgm.nwgt > 0 ? -1 : slot_of_value(zgm, sums, k);
        statistics.xmeans[k] = slot < 0 ? sums.loosesum[k] : sums.square[0][slot];
        statistics.counts[k] = sums.frequencies;
    }
}

}  // namespace

void fold_sums(RowSums& sums, ModelBlock& zgm, const ColumnStatistics& statistics) {
    if (sums.blocked) sums.blocked->flush();
    const int* column = fixed_columns(sums, zgm);
    fold_fixed_part(sums, zgm, statistics, column);
    for (int k = 0; k < sums.nclass; ++k) fold_class_element(sums, sums.element[k], zgm, statistics, column);
    fold_covered_pairs(sums, zgm);
    fold_means(sums, zgm, statistics);
    for (int c = 0; c < zgm.ncoly; ++c) statistics.colss[c] = zgm.xpxrows[c][c];
    if (statistics.yorigin != nullptr) std::copy_n(sums.origin, sums.ndependents, statistics.yorigin);
}

}  // namespace vek
