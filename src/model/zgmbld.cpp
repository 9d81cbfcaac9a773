// zgmbld: reads observation records back, turns them into sparse rows of X, adds rows to the crossproducts, and absorbs
// ABSORB groups on the way.
#include "model/zgmbld.h"

#include <algorithm>
#include <cmath>

#include "frame/host_message.h"
#include "model/levelpass.h"
#include "numeric/missing.h"
#include "numeric/packed.h"

namespace vek {

namespace {

constexpr int read_failed = 101, go_failed = 102;

[[noreturn]] void leave_unreadable(int message, int trace) {
    xpmlog(172, message);
    xexit(1020, trace);
}

}  // namespace

// ---- reading ------------------------------------------------------------------------------------------------------

/// Where the reading loops stand. Under MULTIPASS the records of the file have no values: whole records are put
/// together from the file and the data set, a batch at a time.
struct RecordReader {
    RecordSpan run;         // what zgmloln has left of the current run
    const std::byte* view;  // of the file
    std::int64_t left;      // records of the view that have not been handed out
    bool ended;             // the end mark has been met
    std::byte* batch;       // MULTIPASS: whole records
    Column* columns;        // MULTIPASS: the current block of the data set
    int blockrows, blockrow;
};

namespace {

constexpr int batch_records = 64;

RecordReader& reader_of(ModelBlock& zgm) {
    if (zgm.reader == nullptr) {
        zgm.reader = object<RecordReader>(zgm.mainpool);
        if (zgm.multipass) {
            const int nvalues = zgm.ny + zgm.nreg + zgm.nfreq + zgm.nwgt;
            zgm.reader->batch = array<std::byte>(zgm.mainpool, std::int64_t{batch_records} * zgm.reclen);
            zgm.reader->columns = array<Column>(zgm.mainpool, nvalues);
        }
    }
    return *zgm.reader;
}

/// Makes sure that there are records in view; false at the end mark.
bool view_records(ModelBlock& zgm, RecordReader& reader) {
    if (reader.left > 0) return true;
    if (reader.ended) return false;
    reader.view = xcview(zgm.ufile, zgm.lrecl, &reader.left);
    if (reader.view == nullptr || reader.left <= 0) leave_unreadable(read_failed, 520);
    const std::byte* last = reader.view + (reader.left - 1) * zgm.lrecl;
    if (record_type(last) == record_end) {
        reader.ended = true;
        --reader.left;
    }
    return reader.left > 0;
}

/// Puts up to a batch of whole records together; the number of them.
std::int64_t fill_batch(ModelBlock& zgm, RecordReader& reader) {
    if (reader.blockrow == reader.blockrows) {
        reader.blockrows = xybget(zgm.vget, reader.columns);
        reader.blockrow = 0;
        // The records were made from these rows: there must be one for each.
        if (reader.blockrows <= 0) xebug(0);
    }
    const std::int64_t rows = reader.blockrows - reader.blockrow;
    const std::int64_t count = std::min({reader.left, rows, std::int64_t{batch_records}});
    for (std::int64_t r = 0; r < count; ++r)
        std::memcpy(reader.batch + r * zgm.reclen, reader.view + r * zgm.lrecl, static_cast<std::size_t>(zgm.lrecl));
    const int* place = zgm.vplaces;
    const auto fill = [&](const double* field) {
        std::byte* target = reader.batch + (reinterpret_cast<const std::byte*>(field) - zgm.rec);
        const double* source = reader.columns[*place++].number + reader.blockrow;
        for (std::int64_t r = 0; r < count; ++r, target += zgm.reclen) std::memcpy(target, source + r, sizeof(double));
    };
    for (int i = 0; i < zgm.ny; ++i) fill(zgm.yval + i);
    for (int i = 0; i < zgm.nreg; ++i) fill(zgm.xval + i);
    if (zgm.nfreq > 0) fill(zgm.freqval);
    if (zgm.nwgt > 0) fill(zgm.wgtval);
    reader.blockrow += static_cast<int>(count);
    return count;
}

}  // namespace

void rewind_records(ModelBlock& zgm) {
    RecordReader& reader = reader_of(zgm);
    need_records(zgm);
    if (xcpntd(zgm.ufile, 0) != 0) leave_unreadable(go_failed, 402);
    if (zgm.multipass) xbyrwnd(zgm.data);
    reader.run = {};
    reader.left = 0;
    reader.ended = false;
    reader.blockrows = reader.blockrow = 0;
}

bool next_records(ModelBlock& zgm, RecordSpan& span) {
    RecordReader& reader = *zgm.reader;
    if (!view_records(zgm, reader)) return false;
    if (zgm.multipass) {
        const std::int64_t count = fill_batch(zgm, reader);
        span = {reader.batch, count, zgm.reclen};
        reader.view += count * zgm.lrecl;
        reader.left -= count;
    } else {
        span = {reader.view, reader.left, zgm.reclen};
        reader.left = 0;
    }
    return true;
}

void zgmloli(ModelBlock& zgm, int minrt, bool needy) {
    rewind_records(zgm);
    zgmloln(zgm, minrt, needy);
}

void zgmloln(ModelBlock& zgm, int minrt, bool needy) {
    RecordSpan& run = zgm.reader->run;
    const int first_dependent = needy ? zgm.ylist[0] : 0;
    for (;;) {
        if (run.count == 0 && !next_records(zgm, run)) {
            *zgm.rectype = record_end;
            return;
        }
        const std::byte* record = run.first;
        run.first += run.stride;
        --run.count;
        if (record_type(record) < minrt) continue;
        if (needy && wzmis(record_values(zgm, record)[first_dependent])) continue;
        std::memcpy(zgm.rec, record, static_cast<std::size_t>(zgm.reclen));
        return;
    }
}

// ---- rows ---------------------------------------------------------------------------------------------------------

void zgmacci(ModelBlock& zgm) { *zgm.freqval = *zgm.wgtval = 1.0; }

namespace {

/// Frequency and weight of the record, as a flag and as zgm.w.
int weigh_row(ModelBlock& zgm) {
    int flags = 0;
    if (zgm.nfreq > 0) {
        double& frequency = *zgm.freqval;
        if (wzmis(frequency) || frequency < 1) {
            flags |= zgmacc_bad_frequency;
        } else {
            frequency = std::trunc(frequency);
        }
    }
    if (zgm.nwgt > 0 && (wzmis(*zgm.wgtval) || *zgm.wgtval <= 0)) flags |= zgmacc_bad_weight;
    zgm.w = flags != 0 ? missing : *zgm.freqval * *zgm.wgtval;
    return flags;
}

void fill_products(ModelBlock& zgm) {
    for (int k = 0; k < zgm.nprod; ++k) {
        const Effect& e = *zgm.prodeff[k];
        double product = zgm.xval[e.cont[0]];
        for (int i = 1; i < e.ncont; ++i) product *= zgm.xval[e.cont[i]];
        zgm.prodval[k] = product;
    }
}

/// Columns of the record in all level tables; false when one of its levels has none.
bool find_columns(ModelBlock& zgm) {
    bool all = true;
    for (int t = 0; t < zgm.ntables; ++t) {
        const LevelTable& table = zgm.tables[t];
        if (table.map == nullptr) continue;
        zgm.curlev[t] = table.map[zgm.levidx[table.levset]];
        all = all && zgm.curlev[t] >= 0;
    }
    return all;
}

}  // namespace

int zgmacc(ModelBlock& zgm) {
    int flags = weigh_row(zgm);
    if (wzmisn(zgm.xval, zgm.nreg)) {
        flags |= zgmacc_unusable;
    } else {
        fill_products(zgm);
    }
    for (int i = 0; i < zgm.ncontparts; ++i) *zgm.contparts[i].target = *zgm.contparts[i].source;
    if (zgm.nclass == 0) return flags;
    if (!find_columns(zgm)) flags |= zgmacc_unusable;
    if ((flags & zgmacc_unusable) == 0) {
        for (int i = 0; i < zgm.nclassparts; ++i) {
            const ClassPart& part = zgm.classparts[i];
            zgm.cols[part.element] = zgm.curlev[part.table] + part.firstcol;
        }
    }
    return flags;
}

// ---- crossproducts ------------------------------------------------------------------------------------------------

void zgmalar(double* base, double** rows, int n) {
    std::fill_n(base, triangle_size(n), 0.0);
    // Row i begins with its diagonal element; rows[i][j] is element (i, j).
    std::ptrdiff_t start = 0;
    for (int i = 0; i < n; ++i) {
        rows[i] = base + (start - i);
        start += n - i;
    }
}

void zgmscpi(ModelBlock& zgm, double* colsum, double* absrow, double* xpx, char mode) {
    zgm.accmode = mode;
    zgm.colsum = colsum;
    std::fill_n(colsum, zgm.ncoly, 0.0);
    if (mode == 'R') {
        zgm.xpxrows = array<double*>(zgm.pool, zgm.ncoly);
        zgmalar(xpx, zgm.xpxrows, zgm.ncoly);
    }
    zgm.sumw = 0;
    if (zgm.nabsorb > 0) zgmabsi(zgm, absrow);
}

void zgmscp(ModelBlock& zgm) {
    if (zgm.nabsorb > 0) zgmabs(zgm);
    zgm.sumw += zgm.w;
    const int last = zgm.neff + zgm.nyp;
    for (int i = zgm.noint; i <= last; ++i) {
        const int column = zgm.cols[i];
        const double t = zgm.vals[i] * zgm.w;
        zgm.colsum[column] += t;
        double* row = zgm.xpxrows[column];
        for (int k = i; k <= last; ++k) row[zgm.cols[k]] += t * zgm.vals[k];
    }
}

int zgmscpe(ModelBlock& zgm) { return zgm.nabsorb > 0 ? zgmabse(zgm) : 0; }

// ---- absorption ---------------------------------------------------------------------------------------------------

/// Columns in which the current group has a value. The others have the sum 0, and taking their mean out changes
/// nothing, so a group costs the square of what it has touched.
struct AbsorbGroup {
    int count;
    int* columns;         // [ncoly]
    std::uint8_t* marks;  // [ncoly]
};

void zgmabsi(ModelBlock& zgm, double* absrow) {
    zgm.absrow = absrow;
    std::fill_n(absrow, zgm.ncoly, 0.0);
    const std::int64_t sums = std::int64_t{zgm.nabsorb} * zgm.nyp;
    zgm.absy = array<double>(zgm.pool, sums);
    zgm.absss = array<double>(zgm.pool, sums);
    zgm.absgroup = object<AbsorbGroup>(zgm.pool);
    zgm.absgroup->columns = array<int>(zgm.pool, zgm.ncoly);
    zgm.absgroup->marks = array<std::uint8_t>(zgm.pool, zgm.ncoly);
    for (int i = 0; i < zgm.nabsorb; ++i) {
        zgm.absorb[i].nlevels = 0;
        zgm.absorb[i].sumw = 0;
    }
    zgm.absw = 0;
}

void zgmabs(ModelBlock& zgm) {
    if (zgm.absw == 0) {
        for (int i = 0; i < zgm.nabsorb; ++i) zgm.absorb[i].lastchange = zgm.abschange[i];
    }
    const int innermost = zgm.nabsorb - 1;
    if (zgm.abschange[innermost] != zgm.absorb[innermost].lastchange) absorbx(zgm, false);
    zgm.absw += zgm.w;
    AbsorbGroup& group = *zgm.absgroup;
    for (int i = zgm.noint; i <= zgm.neff + zgm.nyp; ++i) {
        const int column = zgm.cols[i];
        zgm.absrow[column] += zgm.w * zgm.vals[i];
        if (group.marks[column] == 0) {
            group.marks[column] = 1;
            group.columns[group.count++] = column;
        }
    }
}

namespace {

void take_group_mean_out(ModelBlock& zgm) {
    AbsorbGroup& group = *zgm.absgroup;
    std::sort(group.columns, group.columns + group.count);
    for (int a = 0; a < group.count; ++a) {
        const int i = group.columns[a];
        const double mean = zgm.absrow[i] / zgm.absw;
        for (int b = a; b < group.count; ++b) zgm.xpxrows[i][group.columns[b]] -= mean * zgm.absrow[group.columns[b]];
    }
}

/// Adds the sums of an ABSORB variable's finished level to its own sum of squares and to the variable around it.
void close_absorb_level(ModelBlock& zgm, int i) {
    AbsorbAcc& variable = zgm.absorb[i];
    double* y = zgm.absy + std::ptrdiff_t{i} * zgm.nyp;
    double* ss = zgm.absss + std::ptrdiff_t{i} * zgm.nyp;
    ++variable.nlevels;
    for (int k = 0; k < zgm.nyp; ++k) {
        ss[k] += y[k] * y[k] / variable.sumw;
        if (i > 0) y[k - zgm.nyp] += y[k];
        y[k] = 0;
    }
    if (i > 0) zgm.absorb[i - 1].sumw += variable.sumw;
    variable.sumw = 0;
    variable.lastchange = zgm.abschange[i];
}

}  // namespace

void absorbx(ModelBlock& zgm, bool final) {
    take_group_mean_out(zgm);
    const int innermost = zgm.nabsorb - 1;
    zgm.absorb[innermost].sumw = zgm.absw;
    std::copy_n(zgm.absrow + zgm.ncol, zgm.nyp, zgm.absy + std::ptrdiff_t{innermost} * zgm.nyp);
    for (int i = innermost; i >= 0; --i) {
        if (final || zgm.abschange[i] != zgm.absorb[i].lastchange) close_absorb_level(zgm, i);
    }
    AbsorbGroup& group = *zgm.absgroup;
    for (int a = 0; a < group.count; ++a) {
        zgm.absrow[group.columns[a]] = 0;
        group.marks[group.columns[a]] = 0;
    }
    group.count = 0;
    zgm.absw = 0;
}

int zgmabse(ModelBlock& zgm) {
    std::fill_n(zgm.abschange, zgm.nabsorb, 0);
    absorbx(zgm, true);
    const int groups = zgm.absorb[zgm.nabsorb - 1].nlevels;
    const auto ss = [&](int i) { return zgm.absss + std::ptrdiff_t{i} * zgm.nyp; };
    for (int i = zgm.nabsorb - 1; i > 0; --i) {
        zgm.absorb[i].nlevels -= zgm.absorb[i - 1].nlevels;
        for (int k = 0; k < zgm.nyp; ++k) ss(i)[k] -= ss(i - 1)[k];
    }
    --zgm.absorb[0].nlevels;
    for (int k = 0; k < zgm.nyp; ++k) {
        const double sum = zgm.colsum[zgm.ncol + k];
        ss(0)[k] -= sum * sum / zgm.sumw;
    }
    return groups;
}

}  // namespace vek
