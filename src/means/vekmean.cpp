// vekmean: one walk over the observation records adds each usable one to the level of every listed effect that it
// belongs to; sums become means and standard deviations, one record for each level in utility file 2.
#include "means/vekmean.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "frame/host_message.h"
#include "means/options.h"
#include "model/vekutil.h"
#include "model/vekxpx.h"
#include "model/zgmbld.h"
#include "numeric/missing.h"

namespace vek {

namespace {

/// Sums of one level: these three, then a total and a corrected sum of squares for each variable.
struct LevelSums {
    double n, sumw;
    double* variable(int v) { return reinterpret_cast<double*>(this + 1) + std::ptrdiff_t{2} * v; }
};
static_assert(sizeof(LevelSums) == sizeof(LevelHead), "sums and record take the same room");

/// An effect that has levels in the current chunk.
struct ChunkEffect {
    const std::int16_t* map;  // level number of the record to column, -1 for a level that is not in use
    int levset;
    int first, last;  // its columns within the chunk
    double* sums;     // where column 0's sums would stand
};

class MeansPass {
  public:
    MeansPass(MainBlock& main, const Statement& statement);
    void run(std::vector<MeansEffect>& effects);

  private:
    std::ptrdiff_t stride() const { return 2 + std::ptrdiff_t{2} * nvar; }
    void size_work_area(std::int64_t maxlev);
    std::vector<ChunkEffect> effects_of_chunk(const std::vector<MeansEffect>& effects, std::int64_t first,
                                              std::int64_t count);
    void sum_records(const std::vector<ChunkEffect>& list);
    template <bool Weighted, int Variables>
    void sum_run(const RecordSpan& run, const std::vector<ChunkEffect>& list);
    void write_level(int level, LevelSums& sums);

    MainBlock& F;
    ModelBlock& zgm;
    int nvar;
    std::vector<int> source;      // of each variable among the record's values
    std::vector<double> results;  // means, then standard deviations
};

MeansPass::MeansPass(MainBlock& main, const Statement& statement)
    : F(main), zgm(main.zgm), nvar(means_variables(main, statement)) {
    for (int k = 0; k < zgm.nyp; ++k) source.push_back(zgm.ylist[k]);
    for (int k = 0; static_cast<int>(source.size()) < nvar; ++k) source.push_back(zgm.ny + k);
    results.resize(static_cast<std::size_t>(2 * nvar));
}

void MeansPass::size_work_area(std::int64_t maxlev) {
    const std::int64_t need = (16 + std::int64_t{16} * nvar) * maxlev + std::int64_t{28} * nvar + 38 * maxlev;
    if (F.abase != nullptr && F.abytes >= need) return;
    if ((F.flags & flag_trace) != 0) xpsout("abase freed in vekmean  need= %7lld", static_cast<long long>(need));
    grow_work_area(F, need);
}

/// The effects with a level in [first, first + count) of the levels of all effects, numbered in list order.
std::vector<ChunkEffect> MeansPass::effects_of_chunk(const std::vector<MeansEffect>& effects, std::int64_t first,
                                                     std::int64_t count) {
    std::vector<ChunkEffect> list;
    std::int64_t start = 0;
    for (const MeansEffect& e : effects) {
        const std::int64_t low = std::max<std::int64_t>(first - start, 0);
        const std::int64_t high = std::min<std::int64_t>(first + count - start, e.levels);
        if (low < high) {
            list.push_back({.map = e.effect->mod->map,
                            .levset = e.effect->mod->levset,
                            .first = static_cast<int>(low),
                            .last = static_cast<int>(high),
                            .sums = F.abase + (start - first) * stride()});
        }
        start += e.levels;
    }
    return list;
}

/// Adds a run of records. Totals and corrected sums of squares are updated value by value, so that a large mean costs
/// no digits of the spread. `Variables` is their number, 0 when it is known only at run time.
template <bool Weighted, int Variables>
void MeansPass::sum_run(const RecordSpan& run, const std::vector<ChunkEffect>& list) {
    const int count = Variables > 0 ? Variables : nvar;
    const int y1 = zgm.ylist[0], weight_at = zgm.ny + zgm.nreg + zgm.nprod;
    const bool has_frequency = zgm.nfreq > 0, has_weight = zgm.nwgt > 0;
    const int* at = source.data();
    const std::ptrdiff_t step = stride();
    const std::byte* record = run.first;
    for (std::int64_t r = 0; r < run.count; ++r, record += run.stride) {
        const double* values = record_values(zgm, record);
        if (record_type(record) < record_all || wzmis(values[y1])) continue;
        double f = 1, w = 1;
        if constexpr (Weighted) {
            if (has_frequency) f = std::trunc(values[weight_at + 1]);
            w = has_weight ? f * values[weight_at] : f;
        }
        const std::int16_t* levels = record_levels(record);
        for (const ChunkEffect& e : list) {
            const int column = e.map[levels[e.levset]];
            if (column < e.first || column >= e.last) continue;
            double* sums = e.sums + column * step;
            const double before = sums[1], after = before + w;
            sums[0] += f;
            sums[1] = after;
            double* s = sums + 2;
            if (!(before > 0)) {
                // The first values of a level have no spread; their sum of squares stays 0.
                for (int v = 0; v < count; ++v, s += 2) s[0] += w * values[at[v]];
                continue;
            }
            const double share = Weighted ? w * after / before : after / before;
            for (int v = 0; v < count; ++v, s += 2) {
                const double x = values[at[v]];
                s[0] += w * x;
                const double d = x - s[0] / after;
                s[1] += share * d * d;
            }
        }
    }
}

void MeansPass::sum_records(const std::vector<ChunkEffect>& list) {
    const bool weighted = zgm.nfreq + zgm.nwgt > 0;
    rewind_records(zgm);
    for (RecordSpan run; next_records(zgm, run);) {
        if (weighted) {
            sum_run<true, 0>(run, list);
        } else if (nvar == 1) {
            sum_run<false, 1>(run, list);
        } else {
            sum_run<false, 0>(run, list);
        }
    }
}

void MeansPass::write_level(int level, LevelSums& sums) {
    const double divisor = zgm.nwgt > 0 ? sums.sumw : sums.n;
    for (int v = 0; v < nvar; ++v) {
        const double* s = sums.variable(v);
        const auto place = static_cast<std::size_t>(v);
        results[place] = divisor == 0 ? missing : s[0] / divisor;
        results[place + static_cast<std::size_t>(nvar)] = sums.n - 1 > 0 ? std::sqrt(s[1] / (sums.n - 1)) : missing;
    }
    const LevelHead head{
        .level = level,
        .n = static_cast<std::int32_t>(std::min<double>(sums.n, std::numeric_limits<std::int32_t>::max())),
        .sumw = sums.sumw};
    if (xcput(F.ufile2, &head) != 0 || xcput(F.ufile2, results.data(), std::int64_t{2} * nvar) != 0) {
        xpmlog(172, 16);
        xexit(120, 1002);
    }
}

void MeansPass::run(std::vector<MeansEffect>& effects) {
    std::int64_t cells = 0, maxlev = 0;
    for (const MeansEffect& e : effects) {
        cells += e.levels;
        maxlev = std::max<std::int64_t>(maxlev, e.levels);
    }
    size_work_area(maxlev);
    const std::int64_t chunk = std::min<std::int64_t>(cells, F.abytes / (stride() * std::int64_t{sizeof(double)}));
    FilePosition position = F.pos2end;
    for (std::int64_t first = 0; first < cells; first += chunk) {
        const std::int64_t count = std::min(chunk, cells - first);
        std::fill_n(F.abase, count * stride(), 0.0);
        sum_records(effects_of_chunk(effects, first, count));
        vekutop(&F.ufile2, position, nullptr);
        std::int64_t start = 0;
        for (MeansEffect& e : effects) {
            for (std::int64_t i = std::max(first, start); i < std::min(first + count, start + e.levels); ++i) {
                if (i == start) xcnoted(F.ufile2, &e.position);
                write_level(static_cast<int>(i - start),
                            *reinterpret_cast<LevelSums*>(F.abase + (i - first) * stride()));
            }
            start += e.levels;
        }
        xcnoted(F.ufile2, &position);
    }
}

}  // namespace

std::ptrdiff_t LevelRecords::length() const {
    return static_cast<std::ptrdiff_t>(sizeof(LevelHead)) + std::ptrdiff_t{2} * nvar * std::ptrdiff_t{sizeof(double)};
}

int means_variables(const MainBlock& F, const Statement& statement) {
    return F.zgm.nyp + (statement.option(means::deponly) ? 0 : F.zgm.nreg);
}

std::vector<MeansEffect> vekmean(MainBlock& F, const Statement& statement) {
    if ((F.flags & flag_anova) == 0 && F.zgm.neff > 1) xpmlog(172, 249);
    std::vector<MeansEffect> effects;
    for (const Effect* e : statement.slot(means::slot_effects).effects()) {
        effects.push_back({.effect = e, .levels = F.zgm.tables[e->mod->table].nlev});
    }
    if (!effects.empty()) MeansPass(F, statement).run(effects);
    return effects;
}

}  // namespace vek
