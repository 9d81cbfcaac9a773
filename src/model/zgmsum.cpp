// sum_records: the crossproducts and column statistics of all records of a pass. Rows are taken in small batches, so
// that each step is a tight loop; they come from the records, or, before X is laid out, from the chunk that the level
// pass works on. With ABSORB variables the rows are added one by one.
#include <algorithm>
#include <cmath>

#include "model/levelpass.h"
#include "model/rowsums.h"
#include "model/zgmbld.h"
#include "numeric/missing.h"

namespace vek {

namespace {

/// Rows of a batch as records.
struct RecordRows {
    const ModelBlock& zgm;
    const std::byte* record[64];

    auto values(int k) const {
        return [this, k](int r) { return record_values(zgm, record[r])[k]; };
    }
    auto levels(int set) const {
        return [this, set](int r) { return record_levels(record[r])[set]; };
    }
    auto frequencies() const {
        return [at = values(zgm.ny + zgm.nreg + zgm.nprod + 1)](int r) { return std::trunc(at(r)); };
    }
    auto weights() const { return values(zgm.ny + zgm.nreg + zgm.nprod); }
};

/// Rows of a batch as rows of a chunk.
struct ChunkRows {
    const ModelBlock& zgm;
    const LevelPass& pass;
    int row[64];

    auto column(const double* first) const {
        return [this, first](int r) { return first[row[r]]; };
    }
    auto values(int k) const {
        const int place = k < zgm.ny ? pass.yplace[k] : pass.xplace[k - zgm.ny];
        return column(pass.columns[place].number + pass.start);
    }
    auto levels(int set) const {
        return [this, level = pass.sets[set].level](int r) { return level[row[r]]; };
    }
    auto frequencies() const { return column(pass.frequency); }
    auto weights() const { return column(pass.columns[*pass.wgtplace].number + pass.start); }
};

template <class Rows>
void weigh_batch(const ModelBlock& zgm, RowSums& sums, const Rows& rows) {
    if (zgm.nfreq + zgm.nwgt == 0) {
        sums.frequencies += sums.count;
        return;
    }
    if (zgm.nfreq > 0) {
        const auto frequency = rows.frequencies();
        for (int r = 0; r < sums.count; ++r) sums.frequency[r] = frequency(r);
    }
    std::copy_n(sums.frequency, sums.count, sums.weight);
    if (zgm.nwgt > 0) {
        const auto weight = rows.weights();
        for (int r = 0; r < sums.count; ++r) sums.weight[r] *= weight(r);
    }
    for (int r = 0; r < sums.count; ++r) sums.frequencies += sums.frequency[r];
}

template <class Rows>
void fill_products(const ModelBlock& zgm, const RowSums& sums, const Rows& rows) {
    for (int k = 0; k < zgm.nprod; ++k) {
        const Effect& e = *zgm.prodeff[k];
        for (int i = 0; i < e.ncont; ++i) {
            const auto factor = rows.values(zgm.ny + e.cont[i]);
            double* product = sums.product + k;
            for (int r = 0; r < sums.count; ++r, product += zgm.nprod)
                *product = i == 0 ? factor(r) : *product * factor(r);
        }
    }
}

/// Copies what stands at `source` in the rows to every `stride`-th place from `target` on.
template <class Rows>
void gather(const ModelBlock& zgm, const RowSums& sums, const Rows& rows, int source, double* target, int stride) {
    if (source >= 0) {
        const auto value = rows.values(source);
        for (int r = 0; r < sums.count; ++r, target += stride) *target = value(r);
    } else {
        const double* product = sums.product + ~source;
        for (int r = 0; r < sums.count; ++r, target += stride, product += zgm.nprod) *target = *product;
    }
}

/// Takes the first row's dependent values off all rows.
void shift_dependents(RowSums& sums) {
    double* dependents = sums.value + sums.nfixed - sums.ndependents;
    if (sums.first) std::copy_n(dependents, sums.ndependents, sums.origin);
    for (int r = 0; r < sums.count; ++r, dependents += sums.width)
        for (int k = 0; k < sums.ndependents; ++k) dependents[k] -= sums.origin[k];
}

/// Adds value * frequency to the sums behind the means of regressors and products that no column sum tells.
template <class Rows>
void add_loose_values(const ModelBlock& zgm, const RowSums& sums, const Rows& rows) {
    double values[64];
    for (int i = 0; i < sums.nloose; ++i) {
        gather(zgm, sums, rows, value_source(zgm, sums.loose[i]), values, 1);
        double sum = sums.loosesum[sums.loose[i]];
        for (int r = 0; r < sums.count; ++r) sum += values[r] * sums.frequency[r];
        sums.loosesum[sums.loose[i]] = sum;
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
void extend_ranges(const RowSums& sums) {
    const auto lower = [](double a, double b) { return b < a ? b : a; };
    const auto higher = [](double a, double b) { return b > a ? b : a; };
    const double* value = sums.value;
    if constexpr (W > 0) {
        double low[W], high[W];
        std::copy_n(sums.smallest, W, low);
        std::copy_n(sums.largest, W, high);
        for (int r = 0; r < sums.count; ++r, value += W) {
            for (int f = 0; f < W; ++f) low[f] = lower(low[f], std::fabs(value[f]));
            for (int f = 0; f < W; ++f) high[f] = higher(high[f], std::fabs(value[f]));
        }
        std::copy_n(low, W, sums.smallest);
        std::copy_n(high, W, sums.largest);
    } else {
        for (int r = 0; r < sums.count; ++r, value += sums.width) {
            for (int f = 0; f < sums.width; ++f) sums.smallest[f] = lower(sums.smallest[f], std::fabs(value[f]));
            for (int f = 0; f < sums.width; ++f) sums.largest[f] = higher(sums.largest[f], std::fabs(value[f]));
        }
    }
}

/// Products within the fixed part. W is its width, or 0 when it is long and goes through the blocked kernel.
template <int W>
void add_fixed_part(RowSums& sums) {
    const double *value = sums.value, *scaled = sums.scaled;
    if constexpr (W > 0) {
        double square[W * W];
        std::copy_n(sums.square[0], W * W, square);
        for (int r = 0; r < sums.count; ++r, value += W, scaled += W)
            for (int i = 0; i < W; ++i)
                for (int f = 0; f < W; ++f) square[i * W + f] += scaled[i] * value[f];
        std::copy_n(square, W * W, sums.square[0]);
    } else {
        for (int r = 0; r < sums.count; ++r, value += sums.width) sums.blocked->add(value, sums.weight[r]);
    }
}

template <int W>
void scale_fixed_part(const RowSums& sums) {
    if (sums.scaled == sums.value) return;
    const int width = W > 0 ? W : sums.width;
    for (int r = 0; r < sums.count; ++r)
        for (int f = 0; f < width; ++f) sums.scaled[r * width + f] = sums.value[r * width + f] * sums.weight[r];
}

template <int W>
void add_class_element(const RowSums& sums, const ClassElement& e) {
    const int width = W > 0 ? W : sums.width;
    const double* scaled = sums.scaled;
    for (int r = 0; r < sums.count; ++r, scaled += width)
        add_vector<W>(e.sums + std::ptrdiff_t{e.place[r]} * width, scaled, width);
}

/// An element with class and continuous part: its own value scales what it adds. In a product the factor that comes
/// first in the row carries the weight.
void add_mixed_element(const ModelBlock& zgm, const RowSums& sums, const ClassElement& e,
                       const ColumnStatistics& statistics) {
    const double *value = sums.value, *scaled = sums.scaled;
    for (int r = 0; r < sums.count; ++r, value += sums.width, scaled += sums.width) {
        double* place = e.sums + std::ptrdiff_t{e.place[r]} * sums.width;
        for (int f = 0; f < e.before; ++f) place[f] += scaled[f] * e.value[r];
        for (int f = e.before; f < sums.nfixed; ++f) place[f] += e.weighted[r] * value[f];
        const int c = e.effect->mod->firstcol + e.place[r];
        const double size = std::fabs(e.value[r]);
        zgm.xpxrows[c][c] += e.weighted[r] * e.value[r];
        statistics.colmax[c] = std::max(statistics.colmax[c], size);
        statistics.colmin[c] = std::min(statistics.colmin[c], size);
    }
}

void add_pair(const ModelBlock& zgm, const RowSums& sums, const ClassElement& a, const ClassElement& b) {
    const int first = a.effect->mod->firstcol, second = b.effect->mod->firstcol;
    for (int r = 0; r < sums.count; ++r)
        zgm.xpxrows[first + a.place[r]][second + b.place[r]] +=
            b.value == nullptr ? a.weighted[r] : a.weighted[r] * b.value[r];
}

/// Places of the batch in the sums of an element: its columns, or its level numbers.
template <class Rows>
void find_places(const RowSums& sums, const Rows& rows, const ClassElement& e) {
    const auto level = rows.levels(e.levset);
    if (sums.by_level) {
        for (int r = 0; r < sums.count; ++r) e.place[r] = level(r);
    } else {
        const std::int16_t* map = e.effect->mod->map;
        for (int r = 0; r < sums.count; ++r) e.place[r] = map[level(r)];
    }
}

/// Adds the rows of the batch and empties it. Elements that need the layout of X are added to it directly.
template <int W, class Rows>
void add_batch(const ModelBlock& zgm, RowSums& sums, const Rows& rows, const ColumnStatistics& statistics) {
    if (sums.count == 0) return;
    weigh_batch(zgm, sums, rows);
    fill_products(zgm, sums, rows);
    for (int f = 1; f < sums.nfixed; ++f) gather(zgm, sums, rows, sums.source[f], sums.value + f, sums.width);
    if (sums.shift) shift_dependents(sums);
    add_loose_values(zgm, sums, rows);
    scale_fixed_part<W>(sums);
    extend_ranges<W>(sums);
    add_fixed_part<W>(sums);
    for (int k = 0; k < sums.nclass; ++k) {
        const ClassElement& e = sums.element[k];
        find_places(sums, rows, e);
        if (e.source == no_source) {
            add_class_element<W>(sums, e);
            continue;
        }
        gather(zgm, sums, rows, e.source, e.value, 1);
        for (int r = 0; r < sums.count; ++r) e.weighted[r] = e.value[r] * sums.weight[r];
        add_mixed_element(zgm, sums, e, statistics);
    }
    for (int k = 0; k < sums.npairs; ++k)
        add_pair(zgm, sums, sums.element[sums.pair[k].first], sums.element[sums.pair[k].second]);
    sums.first = false;
    sums.count = 0;
}

template <class Rows>
void add_batch(const ModelBlock& zgm, RowSums& sums, const Rows& rows, const ColumnStatistics& statistics) {
    if (sums.blocked) {
        add_batch<0>(zgm, sums, rows, statistics);
    } else if (sums.width == 4) {
        add_batch<4>(zgm, sums, rows, statistics);
    } else if (sums.width == 8) {
        add_batch<8>(zgm, sums, rows, statistics);
    } else {
        add_batch<16>(zgm, sums, rows, statistics);
    }
}

void sum_without_absorption(ModelBlock& zgm, const ColumnStatistics& statistics) {
    RowSums sums;
    make_row_sums(sums, zgm, zgm.pool, false, zgm.nyp, zgm.ylist, statistics.yorigin != nullptr);
    RecordRows rows{zgm, {}};
    const int y1 = zgm.ylist[0];
    rewind_records(zgm);
    for (RecordSpan run; next_records(zgm, run);) {
        const std::byte* record = run.first;
        for (std::int64_t r = 0; r < run.count; ++r, record += run.stride) {
            if (record_type(record) < record_all || wzmis(record_values(zgm, record)[y1])) continue;
            rows.record[sums.count++] = record;
            if (sums.count == sums.capacity) add_batch(zgm, sums, rows, statistics);
        }
        // The records of the run are gone after this.
        add_batch(zgm, sums, rows, statistics);
    }
    fold_sums(sums, zgm, statistics);
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

void add_chunk(ModelBlock& zgm, const LevelPass& pass, RowSums& sums) {
    for (int k = 0; k < sums.nclass; ++k)
        reserve_places(sums, sums.element[k], zgm.levlists[sums.element[k].levset].count);
    ChunkRows rows{zgm, pass, {}};
    for (int r = 0; r < pass.rows; ++r) {
        if (pass.type[r] < record_all) continue;
        rows.row[sums.count++] = r;
        if (sums.count == sums.capacity) add_batch(zgm, sums, rows, {});
    }
    add_batch(zgm, sums, rows, {});
}

void sum_records(ModelBlock& zgm, const ColumnStatistics& statistics) {
    if (zgm.nabsorb > 0) {
        sum_with_absorption(zgm, statistics);
    } else if (sums_made(zgm, statistics.yorigin != nullptr)) {
        fold_sums(*zgm.levpass->sums, zgm, statistics);
    } else {
        sum_without_absorption(zgm, statistics);
    }
}

}  // namespace vek
