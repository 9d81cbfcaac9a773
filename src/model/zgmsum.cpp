// sum_records: the crossproducts and column statistics of all records of a pass. Elements without class part have one
// column each and form a short dense vector; an element with class part adds that vector, times its own value, to the
// sums of its current column. The sums are spread over the triangle at the end. Every element of the triangle receives
// its rows one after the other, as in the loop over zgmacc and zgmscp, so the digits are the same.
#include <algorithm>
#include <cmath>
#include <limits>

#include "model/zgmbld.h"
#include "model/zlst.h"
#include "numeric/crossproduct.h"
#include "numeric/missing.h"

namespace vek {

namespace {

/// From this many elements without class part on, their crossproducts go through the blocked kernel.
constexpr int blocked_from = 17;

/// The row, split in two. Slot 0 of the fixed part is the constant 1, whether or not X has an intercept: sums with it
/// are the column sums.
struct SplitRow {
    int nfixed = 0;         // slots
    int width = 0;          // the same, rounded up to what the loops take at once; the slots beyond hold 0
    int* column = nullptr;  // [nfixed] in X; -1 for the constant without an intercept
    int* source =
        nullptr;  // [nfixed] where the slot's value stands: index into the record's values, or ~k for product k

    int nclass = 0;
    struct ClassElement {
        const std::int16_t* map;  // level number to column within the effect
        int levset;
        int firstcol;  // in X
        int ncols;
        int source;    // of the continuous part, as above; no_source for a pure class effect
        int before;    // fixed slots of earlier elements
        double* sums;  // [ncols][width] products with the fixed part
        const Effect* effect;
    }* element = nullptr;

    int npairs = 0;
    struct Pair {
        int first, second;  // class elements whose products must be added row by row
    }* pair = nullptr;

    double frequencies = 0;          // their sum
    int* class_column = nullptr;     // [nclass] of the current record: column in X,
    double* class_value = nullptr;   // value,
    double* class_scaled = nullptr;  // and value * weight
    double* products = nullptr;      // [nprod] of the current record
    double* value = nullptr;         // [width]
    double* scaled = nullptr;        // [width] value * weight
    double* square = nullptr;        // [width][width] sums of the fixed part; unused with the blocked kernel
    double* total = nullptr;         // [width] sums of scaled; only with the blocked kernel
    double* largest = nullptr;       // [width] of |value|
    double* smallest = nullptr;
};

constexpr int no_source = std::numeric_limits<int>::min();

/// Where the continuous part of an element stands in the record.
int value_source(const ModelBlock& zgm, const double* value) {
    if (value >= zgm.prodval && value < zgm.prodval + zgm.nprod) return ~static_cast<int>(value - zgm.prodval);
    return static_cast<int>(value - zgm.yval);
}

double source_value(const SplitRow& row, const double* values, int source) {
    return source >= 0 ? values[source] : row.products[~source];
}

/// True when the class variables of a and b together are those of c.
bool class_union(const Effect& a, const Effect& b, const Effect& c) {
    const std::span<const int> both(c.cross, static_cast<std::size_t>(c.nclass()));
    const auto within = [&](const Effect& e) {
        for (int v = 0; v < e.nclass(); ++v) {
            if (std::find(both.begin(), both.end(), e.cross[v]) == both.end()) return false;
        }
        return true;
    };
    if (!within(a) || !within(b)) return false;
    return std::all_of(both.begin(), both.end(), [&](int variable) {
        return std::find(a.cross, a.cross + a.nclass(), variable) != a.cross + a.nclass() ||
               std::find(b.cross, b.cross + b.nclass(), variable) != b.cross + b.nclass();
    });
}

/// The pure class element whose columns tell the columns of both a and b, one column for each pair that occurs; -1 when
/// there is none. The weight in its column is then the product of theirs, added in the same order.
int covering_element(const SplitRow& row, int a, int b) {
    const auto pure = [&](int e) { return row.element[e].source == no_source; };
    if (!pure(a) || !pure(b)) return -1;
    for (int e = 0; e < row.nclass; ++e) {
        if (pure(e) && class_union(*row.element[a].effect, *row.element[b].effect, *row.element[e].effect)) return e;
    }
    return -1;
}

/// Column within element e's effect of the level that column `column` of the covering element belongs to.
int covered_column(const SplitRow& row, int e, int cover, int column) {
    const Effect& wide = *row.element[cover].effect;
    const Effect& narrow = *row.element[e].effect;
    const int n = narrow.nclass();
    const std::int16_t* wide_level = wide.mod->levels + std::ptrdiff_t{column} * wide.nclass();
    // The order of an effect's columns: nesting variables first, then the crossed ones.
    const auto compare = [&](const std::int16_t* level) {
        for (int k = 0; k < n; ++k) {
            const int v = k < narrow.nnest ? narrow.ncross + k : k - narrow.nnest;
            const int place = zlstmem({wide.cross, static_cast<std::size_t>(wide.nclass())}, narrow.cross[v]);
            if (level[v] != wide_level[place]) return level[v] < wide_level[place] ? -1 : 1;
        }
        return 0;
    };
    int low = 0, high = row.element[e].ncols - 1;
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

void add_fixed_slot(SplitRow& row, int column, int source) {
    row.column[row.nfixed] = column;
    row.source[row.nfixed++] = source;
}

SplitRow split_row(ModelBlock& zgm) {
    Pool* pool = zgm.pool;
    SplitRow row;
    const int elements = 1 + zgm.neff + zgm.nyp;
    row.column = array<int>(pool, elements);
    row.source = array<int>(pool, elements);
    row.element = array<SplitRow::ClassElement>(pool, zgm.neff);
    add_fixed_slot(row, zgm.cols[0], no_source);
    for (int i = 1; i <= zgm.neff; ++i) {
        const Effect& e = *zgm.effects[i];
        const EffectMod& mod = *e.mod;
        const int source = mod.value == nullptr ? no_source : value_source(zgm, mod.value);
        if (mod.table < 0) {
            add_fixed_slot(row, mod.firstcol, source);
        } else {
            row.element[row.nclass++] = {mod.map, mod.levset, mod.firstcol, mod.ncols, source, row.nfixed, nullptr, &e};
        }
    }
    for (int k = 0; k < zgm.nyp; ++k) add_fixed_slot(row, zgm.ncol + k, zgm.ylist[k]);

    row.width = rounded_width(row.nfixed);
    const int width = row.width;
    row.products = array<double>(pool, zgm.nprod);
    row.value = array<double>(pool, std::int64_t{5} * width);
    row.scaled = row.value + width;
    row.total = row.scaled + width;
    row.largest = row.total + width;
    row.smallest = row.largest + width;
    row.value[0] = 1;
    std::fill_n(row.smallest, width, std::numeric_limits<double>::max());
    if (row.nfixed < blocked_from) row.square = array<double>(pool, std::int64_t{width} * width);
    for (int e = 0; e < row.nclass; ++e)
        row.element[e].sums = array<double>(pool, std::int64_t{row.element[e].ncols} * width);

    row.class_column = array<int>(pool, row.nclass);
    row.class_value = array<double>(pool, std::int64_t{2} * row.nclass);
    row.class_scaled = row.class_value + row.nclass;
    row.pair = array<SplitRow::Pair>(pool, std::int64_t{row.nclass} * row.nclass / 2);
    for (int a = 0; a < row.nclass; ++a) {
        for (int b = a + 1; b < row.nclass; ++b) {
            if (covering_element(row, a, b) < 0) row.pair[row.npairs++] = {a, b};
        }
    }
    return row;
}

/// What does not change while the records of a pass are added.
struct Summation {
    ModelBlock& zgm;
    const ColumnStatistics& statistics;
    SplitRow& row;
    Crossproduct* blocked;  // of the fixed part; null when its sums are in row.square
    bool first;             // no record has been added
};

/// Adds x * frequency to the sums behind the regressors' means.
void add_regressors(const ModelBlock& zgm, const ColumnStatistics& statistics, const double* x, const double* products,
                    double frequency) {
    double* means = statistics.xmeans;
    for (int k = 0; k < zgm.nreg; ++k) means[k] += x[k] * frequency;
    for (int k = 0; k < zgm.nprod; ++k) means[zgm.nreg + k] += products[k] * frequency;
}

void fill_products(const ModelBlock& zgm, const double* x, double* products) {
    for (int k = 0; k < zgm.nprod; ++k) {
        const Effect& e = *zgm.prodeff[k];
        products[k] = x[e.cont[0]];
        for (int i = 1; i < e.ncont; ++i) products[k] *= x[e.cont[i]];
    }
}

/// Takes the first row's dependent values off all rows.
void shift_dependents(Summation& s, double* dependents) {
    double* origin = s.statistics.yorigin;
    if (s.first) std::copy_n(dependents, s.zgm.nyp, origin);
    for (int k = 0; k < s.zgm.nyp; ++k) dependents[k] -= origin[k];
}

/// An element with class and continuous part: its own value scales what it adds. In a product the factor that comes
/// first in the row carries the weight.
void add_mixed_element(const Summation& s, const SplitRow::ClassElement& e, double* sums, int column, double u,
                       double w) {
    const double tu = u * w;
    for (int f = 0; f < e.before; ++f) sums[f] += s.row.scaled[f] * u;
    for (int f = e.before; f < s.row.nfixed; ++f) sums[f] += tu * s.row.value[f];
    s.zgm.xpxrows[column][column] += tu * u;
    double& largest = s.statistics.colmax[column];
    double& smallest = s.statistics.colmin[column];
    largest = std::max(largest, std::fabs(u));
    smallest = std::min(smallest, std::fabs(u));
}

/// Adds the usable records of a run. W is the width of the fixed part, or 0 when it is known only at run time and its
/// crossproducts go through the blocked kernel.
template <int W>
void add_run(Summation& s, const RecordSpan& run) {
    ModelBlock& zgm = s.zgm;
    SplitRow& row = s.row;
    const int width = W > 0 ? W : row.width, nfixed = row.nfixed, nclass = row.nclass, noint = zgm.noint;
    const int y1 = zgm.ylist[0], weight_at = zgm.ny + zgm.nreg + zgm.nprod;
    double* const value = row.value;
    double* const scaled = row.scaled;
    int* const column = row.class_column;
    double* const own = row.class_value;
    double* const weighted = row.class_scaled;

    const std::byte* record = run.first;
    for (std::int64_t r = 0; r < run.count; ++r, record += run.stride) {
        if (record_type(record) < record_all) continue;
        const double* values = record_values(zgm, record);
        if (wzmis(values[y1])) continue;
        double frequency = 1, w = 1;
        if (zgm.nfreq > 0) w = frequency = std::trunc(values[weight_at + 1]);
        if (zgm.nwgt > 0) w = frequency * values[weight_at];
        if (zgm.nprod > 0) fill_products(zgm, values + zgm.ny, row.products);
        for (int f = 1; f < nfixed; ++f) value[f] = source_value(row, values, row.source[f]);
        if (s.statistics.yorigin != nullptr) shift_dependents(s, value + nfixed - zgm.nyp);
        s.first = false;
        row.frequencies += frequency;
        add_regressors(zgm, s.statistics, values + zgm.ny, row.products, frequency);

        for (int f = 0; f < width; ++f) scaled[f] = value[f] * w;
        for (int f = 0; f < width; ++f) row.largest[f] = std::max(row.largest[f], std::fabs(value[f]));
        for (int f = 0; f < width; ++f) row.smallest[f] = std::min(row.smallest[f], std::fabs(value[f]));
        if constexpr (W > 0) {
            for (int i = 0; i < nfixed; ++i)
                for (int f = 0; f < W; ++f) row.square[i * W + f] += scaled[i] * value[f];
        } else {
            for (int f = 0; f < width; ++f) row.total[f] += scaled[f];
            s.blocked->add(value + noint, w);
        }

        const std::int16_t* levels = record_levels(record);
        for (int k = 0; k < nclass; ++k) {
            const SplitRow::ClassElement& e = row.element[k];
            const int level = e.map[levels[e.levset]];
            double* sums = e.sums + std::ptrdiff_t{level} * width;
            column[k] = e.firstcol + level;
            own[k] = 1;
            weighted[k] = w;
            if (e.source == no_source) {
                for (int f = 0; f < width; ++f) sums[f] += scaled[f];
            } else {
                own[k] = source_value(row, values, e.source);
                weighted[k] = own[k] * w;
                add_mixed_element(s, e, sums, column[k], own[k], w);
            }
        }
        for (int k = 0; k < row.npairs; ++k) {
            const SplitRow::Pair& pair = row.pair[k];
            zgm.xpxrows[column[pair.first]][column[pair.second]] += weighted[pair.first] * own[pair.second];
        }
    }
}

/// Spreads the sums of the fixed part over the triangle.
void fold_fixed_part(const Summation& s) {
    const SplitRow& row = s.row;
    const double* total = s.blocked != nullptr ? row.total : row.square;
    s.zgm.sumw += total[0];
    for (int i = 0; i < row.nfixed; ++i) {
        const int c = row.column[i];
        if (c < 0) continue;
        s.zgm.colsum[c] += total[i];
        s.statistics.colmax[c] = row.largest[i];
        s.statistics.colmin[c] = row.smallest[i];
        if (s.blocked != nullptr) continue;
        for (int j = i; j < row.nfixed; ++j) s.zgm.xpxrows[c][row.column[j]] += row.square[i * row.width + j];
    }
}

/// The same for the sums of an element with class part.
void fold_class_element(const Summation& s, const SplitRow::ClassElement& e) {
    const SplitRow& row = s.row;
    double* const* rows = s.zgm.xpxrows;
    for (int k = 0; k < e.ncols; ++k) {
        const int c = e.firstcol + k;
        const double* sums = e.sums + std::ptrdiff_t{k} * row.width;
        s.zgm.colsum[c] += sums[0];
        for (int f = 0; f < row.nfixed; ++f) {
            const int column = row.column[f];
            if (column >= 0) rows[std::min(c, column)][std::max(c, column)] += sums[f];
        }
        if (e.source != no_source) continue;
        rows[c][c] += sums[0];
        s.statistics.colmax[c] = s.statistics.colmin[c] = 1;
    }
}

/// Fills the products of class elements that the weights of a covering element tell.
void fold_covered_pairs(const Summation& s) {
    const SplitRow& row = s.row;
    for (int a = 0; a < row.nclass; ++a) {
        for (int b = a + 1; b < row.nclass; ++b) {
            const int cover = covering_element(row, a, b);
            if (cover < 0) continue;
            const SplitRow::ClassElement& wide = row.element[cover];
            for (int k = 0; k < wide.ncols; ++k) {
                const int i = row.element[a].firstcol + covered_column(row, a, cover, k);
                const int j = row.element[b].firstcol + covered_column(row, b, cover, k);
                s.zgm.xpxrows[i][j] += wide.sums[std::ptrdiff_t{k} * row.width];
            }
        }
    }
}

void sum_without_absorption(ModelBlock& zgm, const ColumnStatistics& statistics) {
    SplitRow row = split_row(zgm);
    Summation s{zgm, statistics, row, nullptr, true};
    alignas(Crossproduct) std::byte room[sizeof(Crossproduct)];
    if (row.square == nullptr) {
        const int count = row.nfixed - zgm.noint;
        double* work = array<double>(zgm.pool, Crossproduct::work_doubles(count));
        s.blocked = new (room) Crossproduct(count, row.column + zgm.noint, zgm.xpxrows, work);
    }
    const auto add = row.square == nullptr ? add_run<0>
                     : row.width == 4      ? add_run<4>
                     : row.width == 8      ? add_run<8>
                                           : add_run<16>;
    rewind_records(zgm);
    for (RecordSpan run; next_records(zgm, run);) add(s, run);
    if (s.blocked != nullptr) s.blocked->flush();

    fold_fixed_part(s);
    for (int k = 0; k < row.nclass; ++k) fold_class_element(s, row.element[k]);
    fold_covered_pairs(s);
    for (int c = 0; c < zgm.ncoly; ++c) statistics.colss[c] = zgm.xpxrows[c][c];
    std::fill_n(statistics.counts, zgm.nreg + zgm.nprod, row.frequencies);
}

/// The loop over single rows. Absorption takes group means out between the rows, so nothing can be put off.
void sum_with_absorption(ModelBlock& zgm, const ColumnStatistics& statistics) {
    bool first = true;
    double* dependents = zgm.vals + zgm.neff + 1;
    for (zgmloli(zgm, record_all, true); zgmlolc(zgm); zgmloln(zgm, record_all, true)) {
        zgmacc(zgm);
        if (statistics.yorigin != nullptr) {
            if (first) std::copy_n(dependents, zgm.nyp, statistics.yorigin);
            for (int k = 0; k < zgm.nyp; ++k) dependents[k] -= statistics.yorigin[k];
        }
        first = false;
        add_regressors(zgm, statistics, zgm.xval, zgm.prodval, *zgm.freqval);
        for (int k = 0; k < zgm.nreg + zgm.nprod; ++k) statistics.counts[k] += *zgm.freqval;
        zgmscp(zgm);
        for (int i = zgm.noint; i <= zgm.neff + zgm.nyp; ++i) {
            const int c = zgm.cols[i];
            const double x = zgm.vals[i], size = std::fabs(x);
            statistics.colss[c] += zgm.w * x * x;
            statistics.colmax[c] = std::max(statistics.colmax[c], size);
            statistics.colmin[c] = std::min(statistics.colmin[c], size);
        }
    }
}

}  // namespace

void sum_records(ModelBlock& zgm, const ColumnStatistics& statistics) {
    if (zgm.nabsorb > 0) {
        sum_with_absorption(zgm, statistics);
    } else {
        sum_without_absorption(zgm, statistics);
    }
}

}  // namespace vek
