// sum_records: the crossproducts and column statistics of all records of a pass. Elements without class part have one
// column each and form a short dense vector; an element with class part adds that vector, times its own value, to the
// sums of its current column. The sums are spread over the triangle at the end. Every element of the triangle receives
// its rows one after the other, as in the loop over zgmacc and zgmscp, so the digits are the same. Records are taken in
// small batches, so that each step is a tight loop.
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
        int* column;       // [batch] column within the effect
        double* value;     // [batch] 1 for a pure class effect
        double* weighted;  // [batch] value * weight
    }* element = nullptr;

    int npairs = 0;
    struct Pair {
        int first, second;  // class elements whose products must be added row by row
    }* pair = nullptr;

    int nloose = 0;
    int* loose = nullptr;  // [nreg + nprod] values whose sums are no column sums: all with a WEIGHT variable

    double* square = nullptr;    // [width][width] sums of the fixed part; unused with the blocked kernel
    double* total = nullptr;     // [width] sums of the fixed part times 1; only with the blocked kernel
    double* largest = nullptr;   // [width] of |value|
    double* smallest = nullptr;  // [width]
    double frequencies = 0;      // their sum
};

/// Some usable records, taken apart.
struct Batch {
    int capacity = 0, count = 0;
    const std::byte** record = nullptr;  // [capacity]
    double* frequency = nullptr;         // [capacity]
    double* weight = nullptr;            // [capacity] frequency * weight
    double* product = nullptr;           // [capacity][nprod] products of regressors
    double* value = nullptr;             // [capacity][width] the fixed part
    double* scaled = nullptr;            // [capacity][width] value * weight; value itself for data without weights
};

constexpr int no_source = std::numeric_limits<int>::min();

/// Where value k, of the regressors and then the products, stands in the record.
int value_source(const ModelBlock& zgm, int k) { return k < zgm.nreg ? zgm.ny + k : ~(k - zgm.nreg); }

/// Which value the continuous part of an effect is.
int value_index(const ModelBlock& zgm, const EffectMod& mod) { return static_cast<int>(mod.value - zgm.xval); }

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

/// The fixed slot of value k, a regressor or product, or -1 when it is no effect by itself.
int slot_of_value(const ModelBlock& zgm, const SplitRow& row, int k) {
    const int slot = zlstmem({row.source + 1, static_cast<std::size_t>(row.nfixed - 1)}, value_source(zgm, k)) + 1;
    return slot == row.nfixed ? -1 : slot;
}

/// A value that is an effect by itself has its sum in its column, unless a weight stands in that.
void find_loose_values(const ModelBlock& zgm, SplitRow& row) {
    row.loose = array<int>(zgm.pool, zgm.nreg + zgm.nprod);
    for (int k = 0; k < zgm.nreg + zgm.nprod; ++k) {
        if (zgm.nwgt > 0 || slot_of_value(zgm, row, k) < 0) row.loose[row.nloose++] = k;
    }
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
        const int source = mod.value == nullptr ? no_source : value_source(zgm, value_index(zgm, mod));
        if (mod.table < 0) {
            add_fixed_slot(row, mod.firstcol, source);
        } else {
            row.element[row.nclass++] = {.map = mod.map,
                                         .levset = mod.levset,
                                         .firstcol = mod.firstcol,
                                         .ncols = mod.ncols,
                                         .source = source,
                                         .before = row.nfixed,
                                         .sums = nullptr,
                                         .effect = &e,
                                         .column = nullptr,
                                         .value = nullptr,
                                         .weighted = nullptr};
        }
    }
    for (int k = 0; k < zgm.nyp; ++k) add_fixed_slot(row, zgm.ncol + k, zgm.ylist[k]);

    find_loose_values(zgm, row);

    row.width = rounded_width(row.nfixed);
    const int width = row.width;
    row.total = array<double>(pool, std::int64_t{3} * width);
    row.largest = row.total + width;
    row.smallest = row.largest + width;
    std::fill_n(row.smallest, width, std::numeric_limits<double>::max());
    if (row.nfixed < blocked_from) row.square = array<double>(pool, std::int64_t{width} * width);
    for (int e = 0; e < row.nclass; ++e)
        row.element[e].sums = array<double>(pool, std::int64_t{row.element[e].ncols} * width);

    row.pair = array<SplitRow::Pair>(pool, std::int64_t{row.nclass} * row.nclass / 2);
    for (int a = 0; a < row.nclass; ++a) {
        for (int b = a + 1; b < row.nclass; ++b) {
            if (covering_element(row, a, b) < 0) row.pair[row.npairs++] = {a, b};
        }
    }
    return row;
}

Batch make_batch(const ModelBlock& zgm, SplitRow& row) {
    constexpr int cached_doubles = 4096, fewest = 8, most = 64;
    Pool* pool = zgm.pool;
    Batch batch;
    const int n = batch.capacity = std::clamp(cached_doubles / row.width, fewest, most);
    batch.record = array<const std::byte*>(pool, n);
    batch.frequency = array<double>(pool, std::int64_t{2} * n);
    batch.weight = batch.frequency + n;
    std::fill_n(batch.frequency, 2 * n, 1.0);
    batch.product = array<double>(pool, std::int64_t{n} * zgm.nprod);
    batch.value = array<double>(pool, std::int64_t{n} * row.width);
    const bool weighted = zgm.nfreq + zgm.nwgt > 0;
    batch.scaled = weighted ? array<double>(pool, std::int64_t{n} * row.width) : batch.value;
    for (int r = 0; r < n; ++r) batch.value[std::ptrdiff_t{r} * row.width] = 1;
    for (int k = 0; k < row.nclass; ++k) {
        SplitRow::ClassElement& e = row.element[k];
        e.column = array<int>(pool, n);
        e.value = e.source == no_source ? batch.frequency : array<double>(pool, std::int64_t{2} * n);
        e.weighted = e.source == no_source ? batch.weight : e.value + n;
    }
    return batch;
}

/// What the steps of the summation share.
struct Summation {
    ModelBlock& zgm;
    const ColumnStatistics& statistics;
    SplitRow& row;
    Batch& batch;
    Crossproduct* blocked;  // of the fixed part; null when its sums are in row.square
    bool first;             // no record has been added
};

const double* values_of(const Summation& s, int r) { return record_values(s.zgm, s.batch.record[r]); }

void weigh_batch(Summation& s) {
    const ModelBlock& zgm = s.zgm;
    Batch& batch = s.batch;
    if (zgm.nfreq + zgm.nwgt == 0) {
        s.row.frequencies += batch.count;
        return;
    }
    const int weight_at = zgm.ny + zgm.nreg + zgm.nprod;
    for (int r = 0; r < batch.count; ++r) {
        const double* values = values_of(s, r);
        batch.frequency[r] = zgm.nfreq > 0 ? std::trunc(values[weight_at + 1]) : 1;
        batch.weight[r] = zgm.nwgt > 0 ? batch.frequency[r] * values[weight_at] : batch.frequency[r];
        s.row.frequencies += batch.frequency[r];
    }
}

void fill_products(Summation& s) {
    const ModelBlock& zgm = s.zgm;
    double* product = s.batch.product;
    for (int r = 0; r < s.batch.count; ++r) {
        const double* x = values_of(s, r) + zgm.ny;
        for (int k = 0; k < zgm.nprod; ++k) {
            const Effect& e = *zgm.prodeff[k];
            double value = x[e.cont[0]];
            for (int i = 1; i < e.ncont; ++i) value *= x[e.cont[i]];
            *product++ = value;
        }
    }
}

double source_value(const Summation& s, int source, int r) {
    return source >= 0 ? values_of(s, r)[source] : s.batch.product[r * s.zgm.nprod + ~source];
}

/// Copies what stands at `source` in the records to every `stride`-th place from `target` on.
void gather(const Summation& s, int source, double* target, int stride) {
    for (int r = 0; r < s.batch.count; ++r, target += stride) *target = source_value(s, source, r);
}

/// Takes the first row's dependent values off all rows.
void shift_dependents(Summation& s) {
    double* origin = s.statistics.yorigin;
    if (origin == nullptr) return;
    const int nyp = s.zgm.nyp;
    double* dependents = s.batch.value + s.row.nfixed - nyp;
    if (s.first) std::copy_n(dependents, nyp, origin);
    for (int r = 0; r < s.batch.count; ++r, dependents += s.row.width)
        for (int k = 0; k < nyp; ++k) dependents[k] -= origin[k];
}

/// Adds value * frequency to the sums behind the means of regressors and products that no column sum tells.
void add_loose_values(const Summation& s) {
    for (int i = 0; i < s.row.nloose; ++i) {
        const int k = s.row.loose[i], source = value_source(s.zgm, k);
        double sum = s.statistics.xmeans[k];
        for (int r = 0; r < s.batch.count; ++r) sum += source_value(s, source, r) * s.batch.frequency[r];
        s.statistics.xmeans[k] = sum;
    }
}

/// sums += x. All is read before anything is written, so that a short vector takes few instructions.
template <int W>
void add_vector(double* sums, const double* x, int width) {
    if constexpr (W > 0) {
        double result[W];
        for (int f = 0; f < W; ++f) result[f] = sums[f] + x[f];
        for (int f = 0; f < W; ++f) sums[f] = result[f];
    } else {
        for (int f = 0; f < width; ++f) sums[f] += x[f];
    }
}

/// Extends the ranges of the slots by the batch's |value|.
template <int W>
void extend_ranges(const SplitRow& row, const double* value, int count) {
    const auto lower = [](double a, double b) { return b < a ? b : a; };
    const auto higher = [](double a, double b) { return b > a ? b : a; };
    if constexpr (W > 0) {
        double low[W], high[W];
        std::copy_n(row.smallest, W, low);
        std::copy_n(row.largest, W, high);
        for (int r = 0; r < count; ++r, value += W) {
            for (int f = 0; f < W; ++f) low[f] = lower(low[f], std::fabs(value[f]));
            for (int f = 0; f < W; ++f) high[f] = higher(high[f], std::fabs(value[f]));
        }
        std::copy_n(low, W, row.smallest);
        std::copy_n(high, W, row.largest);
    } else {
        for (int r = 0; r < count; ++r, value += row.width) {
            for (int f = 0; f < row.width; ++f) row.smallest[f] = lower(row.smallest[f], std::fabs(value[f]));
            for (int f = 0; f < row.width; ++f) row.largest[f] = higher(row.largest[f], std::fabs(value[f]));
        }
    }
}

/// The fixed part of the batch: values, extremes, products with itself. W is its width, or 0 when it is known only at
/// run time and the products go through the blocked kernel.
template <int W>
void add_fixed_part(Summation& s) {
    const SplitRow& row = s.row;
    const Batch& batch = s.batch;
    const int width = W > 0 ? W : row.width, count = batch.count;
    if (batch.scaled != batch.value) {
        for (int r = 0; r < count; ++r)
            for (int f = 0; f < width; ++f) batch.scaled[r * width + f] = batch.value[r * width + f] * batch.weight[r];
    }
    const double *value = batch.value, *scaled = batch.scaled;
    extend_ranges<W>(row, value, count);
    if constexpr (W > 0) {
        double sums[W * W];
        std::copy_n(row.square, W * W, sums);
        for (int r = 0; r < count; ++r, value += W, scaled += W)
            for (int i = 0; i < W; ++i)
                for (int f = 0; f < W; ++f) sums[i * W + f] += scaled[i] * value[f];
        std::copy_n(sums, W * W, row.square);
    } else {
        for (int r = 0; r < count; ++r, value += width, scaled += width) {
            for (int f = 0; f < width; ++f) row.total[f] += scaled[f];
            s.blocked->add(value + s.zgm.noint, batch.weight[r]);
        }
    }
}

/// Columns of the batch in an element with class part, and its values.
void fill_class_element(const Summation& s, const SplitRow::ClassElement& e) {
    for (int r = 0; r < s.batch.count; ++r) e.column[r] = e.map[record_levels(s.batch.record[r])[e.levset]];
    if (e.source == no_source) return;
    gather(s, e.source, e.value, 1);
    for (int r = 0; r < s.batch.count; ++r) e.weighted[r] = e.value[r] * s.batch.weight[r];
}

template <int W>
void add_class_element(const Summation& s, const SplitRow::ClassElement& e) {
    const int width = W > 0 ? W : s.row.width;
    const double* scaled = s.batch.scaled;
    for (int r = 0; r < s.batch.count; ++r, scaled += width) {
        add_vector<W>(e.sums + std::ptrdiff_t{e.column[r]} * width, scaled, width);
    }
}

/// An element with class and continuous part: its own value scales what it adds. In a product the factor that comes
/// first in the row carries the weight.
void add_mixed_element(const Summation& s, const SplitRow::ClassElement& e) {
    const int width = s.row.width, nfixed = s.row.nfixed;
    const double *value = s.batch.value, *scaled = s.batch.scaled;
    for (int r = 0; r < s.batch.count; ++r, value += width, scaled += width) {
        double* sums = e.sums + std::ptrdiff_t{e.column[r]} * width;
        for (int f = 0; f < e.before; ++f) sums[f] += scaled[f] * e.value[r];
        for (int f = e.before; f < nfixed; ++f) sums[f] += e.weighted[r] * value[f];
        const int c = e.firstcol + e.column[r];
        const double size = std::fabs(e.value[r]);
        s.zgm.xpxrows[c][c] += e.weighted[r] * e.value[r];
        s.statistics.colmax[c] = std::max(s.statistics.colmax[c], size);
        s.statistics.colmin[c] = std::min(s.statistics.colmin[c], size);
    }
}

void add_pair(const Summation& s, const SplitRow::ClassElement& a, const SplitRow::ClassElement& b) {
    // A pure class element's own value is 1, whatever its batch arrays hold.
    const bool pure = b.source == no_source;
    for (int r = 0; r < s.batch.count; ++r)
        s.zgm.xpxrows[a.firstcol + a.column[r]][b.firstcol + b.column[r]] +=
            pure ? a.weighted[r] : a.weighted[r] * b.value[r];
}

template <int W>
void add_batch(Summation& s) {
    SplitRow& row = s.row;
    if (s.batch.count == 0) return;
    weigh_batch(s);
    if (s.zgm.nprod > 0) fill_products(s);
    for (int f = 1; f < row.nfixed; ++f) gather(s, row.source[f], s.batch.value + f, row.width);
    shift_dependents(s);
    add_loose_values(s);
    add_fixed_part<W>(s);
    for (int k = 0; k < row.nclass; ++k) {
        const SplitRow::ClassElement& e = row.element[k];
        fill_class_element(s, e);
        if (e.source == no_source) {
            add_class_element<W>(s, e);
        } else {
            add_mixed_element(s, e);
        }
    }
    for (int k = 0; k < row.npairs; ++k) add_pair(s, row.element[row.pair[k].first], row.element[row.pair[k].second]);
    s.first = false;
    s.batch.count = 0;
}

/// Adds the usable records of a run, batch by batch.
template <int W>
void add_run(Summation& s, const RecordSpan& run) {
    Batch& batch = s.batch;
    const int y1 = s.zgm.ylist[0];
    const std::byte* record = run.first;
    for (std::int64_t r = 0; r < run.count; ++r, record += run.stride) {
        if (record_type(record) < record_all || wzmis(record_values(s.zgm, record)[y1])) continue;
        batch.record[batch.count++] = record;
        if (batch.count == batch.capacity) add_batch<W>(s);
    }
    // The records of the run are gone after this.
    add_batch<W>(s);
}

/// Spreads the sums of the fixed part over the triangle.
void fold_fixed_part(const Summation& s) {
    const SplitRow& row = s.row;
    const double* total = s.blocked != nullptr ? row.total : row.square;
    const ModelBlock& zgm = s.zgm;
    for (int k = 0; k < zgm.nreg + zgm.nprod && zgm.nwgt == 0; ++k) {
        const int slot = slot_of_value(zgm, row, k);
        if (slot >= 0) s.statistics.xmeans[k] = total[slot];
    }
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
    Batch batch = make_batch(zgm, row);
    Summation s{zgm, statistics, row, batch, nullptr, true};
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
    const int nvalues = zgm.nreg + zgm.nprod;
    for (zgmloli(zgm, record_all, true); zgmlolc(zgm); zgmloln(zgm, record_all, true)) {
        zgmacc(zgm);
        if (statistics.yorigin != nullptr) {
            if (first) std::copy_n(dependents, zgm.nyp, statistics.yorigin);
            for (int k = 0; k < zgm.nyp; ++k) dependents[k] -= statistics.yorigin[k];
        }
        first = false;
        for (int k = 0; k < nvalues; ++k) {
            statistics.xmeans[k] += zgm.xval[k] * *zgm.freqval;
            statistics.counts[k] += *zgm.freqval;
        }
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
