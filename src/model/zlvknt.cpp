// zlvknt: reads the data set once for a BY group. A block of rows is cut into chunks that stay in the cache; a chunk
// gets its record types, its level numbers and its ABSORB counters, column by column, and is then written as records.
#include "model/zlvknt.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "frame/host_message.h"
#include "model/levelpass.h"
#include "model/zgmpsl.h"
#include "numeric/packed.h"

namespace vek {

namespace {

constexpr int open_failed = 2, write_failed = 16, no_observation = 17;

/// Rows of a chunk: what their records and columns take should stay in the cache.
int chunk_rows(const ModelBlock& zgm) {
    constexpr int cached_bytes = 128 * 1024, fewest = 16, most = 512;
    return std::clamp(cached_bytes / zgm.reclen, fewest, most);
}

void make_fetch_list(ModelBlock& zgm, LevelPass& pass) {
    const int count = zgm.ny + zgm.nreg + zgm.nfreq + zgm.nwgt + zgm.nabsorb + zgm.nclass;
    pass.list = xvgeti(zgm.data, count);
    pass.columns = array<Column>(pass.pool, count);
    int* place = array<int>(pass.pool, count);
    const auto add = [&](const int* variables, int n) {
        int* first = place;
        for (int i = 0; i < n; ++i) *place++ = xvgetd(pass.list, variables[i]);
        return first;
    };
    pass.yplace = add(zgm.yvars, zgm.ny);
    pass.xplace = add(zgm.xvars, zgm.nreg);
    pass.freqplace = add(zgm.freqvars, zgm.nfreq);
    pass.wgtplace = add(zgm.wgtvars, zgm.nwgt);
    pass.absplace = add(zgm.absvars, zgm.nabsorb);
    pass.classplace = add(zgm.classvars, zgm.nclass);
    xvgete(pass.list);
}

bool is_unformatted(const ModelBlock& zgm, int variable) {
    const VariableDescriptor descriptor = xvname(zgm.data, variable);
    return descriptor.type == VariableType::numeric && descriptor.format.empty();
}

void make_level_sets(ModelBlock& zgm, LevelPass& pass) {
    pass.sets = array<LevelSet>(pass.pool, zgm.nlevset);
    pass.values = array<ValueTable>(pass.pool, zgm.nclass);
    pass.combinations = array<CombinationTable>(pass.pool, zgm.nlevset);
    pass.class_levels = array<int>(pass.pool, zgm.nclass);
    pass.key = array<std::int16_t>(pass.pool, zgm.nclass);
    for (int i = 0; i < zgm.nlevset; ++i) {
        pass.sets[i].nclass = 1;
        pass.sets[i].level = array<std::int16_t>(pass.pool, pass.chunk);
        zgm.levlists[i].words = pass.words;
    }
    for (int i = 0; i < zgm.nclass; ++i) {
        pass.values[i].open(pass.pool, zgm.data, zgm.classvars[i]);
        pass.sets[i].unformatted = is_unformatted(zgm, zgm.classvars[i]);
    }
    for (const Effect* e = zgm.efhead; e != nullptr; e = e->next) {
        if (e->nclass() < 2) continue;
        LevelSet& set = pass.sets[e->mod->levset];
        set.nclass = e->nclass();
        set.classes = e->cross;
    }
    for (int i = zgm.nclass; i < zgm.nlevset; ++i) pass.combinations[i].open(pass.pool, pass.sets[i].nclass);
}

void make_absorb_watches(ModelBlock& zgm, LevelPass& pass) {
    pass.absorb = array<AbsorbWatch>(pass.pool, zgm.nabsorb);
    for (int i = 0; i < zgm.nabsorb; ++i) {
        pass.absorb[i].unformatted = is_unformatted(zgm, zgm.absvars[i]);
        pass.absorb[i].change = array<std::int32_t>(pass.pool, pass.chunk);
    }
}

void open_records(ModelBlock& zgm) {
    if (zgm.ufile == nullptr) {
        if (xcopen(&zgm.ufile, "UT1") >= 0) return;
        xpmlog(172, open_failed);
        xexit(1020, 310);
    }
    xcpoint(zgm.ufile);
}

[[noreturn]] void leave_unwritable() {
    xpmlog(172, write_failed);
    xexit(120, 311);
}

template <class T>
void write_field(std::byte* first, int rows, int stride, const T* source) {
    for (int r = 0; r < rows; ++r, first += stride) std::memcpy(first, source + r, sizeof(T));
}

/// Writes the chunk's records, column by column.
void write_records(const ModelBlock& zgm, const LevelPass& pass, std::byte* piece) {
    const int rows = pass.rows, stride = zgm.lrecl;
    const auto at = [&](const void* field) { return piece + (static_cast<const std::byte*>(field) - zgm.rec); };
    const auto numbers = [&](int place) { return pass.columns[place].number + pass.start; };
    write_field(at(zgm.rectype), rows, stride, pass.type);
    for (int i = 0; i < zgm.nlevset; ++i) write_field(at(zgm.levidx + i), rows, stride, pass.sets[i].level);
    for (int i = 0; i < zgm.nabsorb; ++i) write_field(at(zgm.abschange + i), rows, stride, pass.absorb[i].change);
    if (zgm.multipass) return;
    for (int i = 0; i < zgm.ny; ++i) write_field(at(zgm.yval + i), rows, stride, numbers(pass.yplace[i]));
    for (int i = 0; i < zgm.nreg; ++i) write_field(at(zgm.xval + i), rows, stride, numbers(pass.xplace[i]));
    if (zgm.nfreq + zgm.nwgt == 0) return;
    const auto write_or_one = [&](const double* field, const int* place, int n) {
        if (n > 0) {
            write_field(at(field), rows, stride, numbers(*place));
        } else {
            constexpr double one = 1;
            for (int r = 0; r < rows; ++r) std::memcpy(at(field) + std::ptrdiff_t{r} * stride, &one, sizeof one);
        }
    };
    write_or_one(zgm.wgtval, pass.wgtplace, zgm.nwgt);
    write_or_one(zgm.freqval, pass.freqplace, zgm.nfreq);
}

/// Works through a block of rows; false when a level set has too many levels.
bool take_block(ModelBlock& zgm, LevelPass& pass, int block_rows) {
    for (pass.start = 0; pass.start < block_rows; pass.start += pass.rows) {
        std::int64_t granted = std::min(pass.chunk, block_rows - pass.start);
        std::byte* piece = nullptr;
        if (!pass.summing) {
            piece = xcgrant(zgm.ufile, zgm.lrecl, &granted);
            if (piece == nullptr) leave_unwritable();
        }
        pass.rows = static_cast<int>(granted);
        classify_rows(zgm, pass);
        if (!find_levels(zgm, pass)) return false;
        if (pass.summing) {
            add_chunk(zgm, pass, *pass.sums);
            continue;
        }
        if (zgm.nabsorb > 0) watch_absorb(zgm, pass);
        write_records(zgm, pass, piece);
        if (xccommit(zgm.ufile, zgm.lrecl, granted) != 0) leave_unwritable();
    }
    return true;
}

void write_end_mark(ModelBlock& zgm) {
    std::int64_t one = 1;
    std::byte* record = xcgrant(zgm.ufile, zgm.lrecl, &one);
    if (record == nullptr) leave_unwritable();
    std::memset(record, 0, static_cast<std::size_t>(zgm.lrecl));
    constexpr std::int16_t mark = record_end;
    std::memcpy(record, &mark, sizeof mark);
    if (xccommit(zgm.ufile, zgm.lrecl, 1) != 0) leave_unwritable();
}

}  // namespace

LevelPass* make_level_pass(ModelBlock& zgm) {
    Pool* pool = xmpoolc(zgm.mainpool, "levels");
    LevelPass* pass = object<LevelPass>(pool);
    pass->pool = pool;
    pass->chunk = chunk_rows(zgm);
    pass->words = (zgm.ny + 63) / 64;
    pass->all = array<std::uint64_t>(pool, pass->words);
    for (int i = 0; i < zgm.ny; ++i) pass->all[i >> 6] |= std::uint64_t{1} << (i & 63);
    pass->frequency_order = std::strcmp(zgm.order, "FRE") == 0;
    make_fetch_list(zgm, *pass);
    make_level_sets(zgm, *pass);
    make_absorb_watches(zgm, *pass);
    pass->trouble = array<std::uint8_t>(pool, pass->chunk);
    pass->type = array<std::int16_t>(pool, pass->chunk);
    if (zgm.nfreq > 0) pass->frequency = array<double>(pool, pass->chunk);
    pass->active = array<std::uint64_t>(pool, std::int64_t{pass->chunk} * pass->words);
    pass->together = array<std::uint8_t>(pool, triangle_size(zgm.ny));
    return pass;
}

void begin_level_group(ModelBlock& zgm, LevelPass& pass) {
    for (int i = 0; i < zgm.nclass; ++i) pass.values[i].begin_group();
    for (int i = zgm.nclass; i < zgm.nlevset; ++i) pass.combinations[i].begin_group(zgm.levlists[i]);
    for (int i = 0; i < zgm.nlevset; ++i) {
        zgm.levlists[i].count = 0;
        zgm.nlev[i] = 0;
        pass.sets[i].incomplete = 0;
    }
    std::fill_n(pass.together, triangle_size(zgm.ny), std::uint8_t{1});
    std::fill_n(zgm.ynobs, zgm.ny, std::int64_t{0});
    for (int i = 0; i < zgm.nabsorb; ++i) pass.absorb[i].counter = 0;
    pass.absorbing = pass.unsorted_told = false;
    pass.total = pass.read = pass.used = 0;
    *zgm.freqval = *zgm.wgtval = 1;
}

namespace {

/// Sums can be made while reading when one pass is sure and nothing depends on where columns stand in X.
bool can_sum(ModelBlock& zgm, LevelPass& pass) {
    if (!zgm.fitonly || zgm.nabsorb > 0 || zgm.multipass || (zgm.ny > 1 && !zgm.multivar)) return false;
    if (pass.sums == nullptr) {
        int* all = array<int>(pass.pool, zgm.ny);
        std::iota(all, all + zgm.ny, 0);
        pass.sums = object<RowSums>(pass.pool);
        make_row_sums(*pass.sums, zgm, pass.pool, true, zgm.ny, all, zgm.originshift);
    }
    return !needs_layout(*pass.sums);
}

/// Reads the group from its start; false when a level set has too many levels.
bool read_group(ModelBlock& zgm, LevelPass& pass) {
    begin_level_group(zgm, pass);
    if (!pass.summing) open_records(zgm);
    for (int rows = 0; (rows = xybget(pass.list, pass.columns)) > 0;) {
        if (!take_block(zgm, pass, rows)) return false;
        wtpoll();
    }
    if (!pass.summing) write_end_mark(zgm);
    return true;
}

}  // namespace

bool sums_made(const ModelBlock& zgm, bool shift) {
    const LevelPass* pass = zgm.levpass;
    return pass != nullptr && pass->summing && zgm.nyp == zgm.ny && pass->sums->shift == shift;
}

void need_records(ModelBlock& zgm) {
    LevelPass* pass = zgm.levpass;
    if (pass == nullptr || !pass->summing) return;
    pass->summing = false;
    pass->rereading = true;
    xbyrwnd(zgm.data);
    // The same rows give the same levels, numbers and order.
    read_group(zgm, *pass);
    order_levels(zgm, *pass);
    pass->rereading = false;
}

void forget_levels(ModelBlock& zgm) {
    if (zgm.levpass != nullptr) {
        xvgett(zgm.levpass->list);
        xmpoold(zgm.levpass->pool);
    }
    zgm.levpass = nullptr;
    zgm.reader = nullptr;
}

int zlvknt(ModelBlock& zgm, HostObject* out) {
    if (zgm.levpass == nullptr) zgm.levpass = make_level_pass(zgm);
    LevelPass& pass = *zgm.levpass;
    pass.summing = can_sum(zgm, pass);
    if (pass.summing) clear_row_sums(*pass.sums, zgm);
    if (!read_group(zgm, pass)) return zlvknt_too_many_levels;
    xoused(zgm.data, pass.read, pass.used);
    zgm.npass = FigurePassInfo(zgm, pass.together);
    if (zgm.npass == 0) {
        xpmlog(172, no_observation);
        if (zgm.ny == 0) {
            xpmlog(172, 997);
        } else if (pass.read > 0) {
            xpmlog(172, 999, pass.read);
        }
        return zlvknt_no_observation;
    }
    order_levels(zgm, pass);
    level_tables(zgm, pass, out);
    return zlvknt_done;
}

}  // namespace vek
