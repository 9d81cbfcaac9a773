// hovtest: from level records and observations to a test of equal variances: the response is replaced by a measure of
// its deviation from the centre of its level, and that is put through a one-way analysis of variance.
#include "means/hovtest.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "frame/host_message.h"
#include "model/zgmbld.h"
#include "numeric/beta.h"
#include "numeric/fdist.h"
#include "numeric/kernels.h"
#include "numeric/missing.h"

namespace vek {

namespace {

constexpr int fewest_for_deviations = 3, fewest_for_variance = 2;
constexpr double smallest_variance = 1.110223024625157e-16;

/// Calls visit(level, y, frequency) for every observation of the fit.
template <class Visit>
void for_each_observation(ModelBlock& zgm, int yindex, const Effect& effect, const Visit& visit) {
    const EffectMod& mod = *effect.mod;
    const int y1 = zgm.ylist[0], y = zgm.ylist[yindex], frequency_at = zgm.ny + zgm.nreg + zgm.nprod + 1;
    rewind_records(zgm);
    for (RecordSpan run; next_records(zgm, run);) {
        const std::byte* record = run.first;
        for (std::int64_t r = 0; r < run.count; ++r, record += run.stride) {
            const double* values = record_values(zgm, record);
            if (record_type(record) < record_all || wzmis(values[y1])) continue;
            const int level = mod.map[record_levels(record)[mod.levset]];
            if (level >= 0) visit(level, values[y], zgm.nfreq > 0 ? std::trunc(values[frequency_at]) : 1.0);
        }
    }
}

/// One level as the tests see it.
struct Cell {
    double n = 0;
    double mean = missing, variance = missing, centre = missing;
    double sum = 0, squares = 0;  // of the transformed response
    bool used = false;
};

std::vector<Cell> cells_of(int yindex, const LevelRecords& records) {
    std::vector<Cell> cells(static_cast<std::size_t>(records.count));
    for (int i = 0; i < records.count; ++i) {
        Cell& c = cells[static_cast<std::size_t>(i)];
        c.n = records.head(i).n;
        c.mean = records.mean(i, yindex);
        const double s = records.sd(i, yindex);
        c.variance = wzmis(s) ? s : s * s;
        c.used = c.n >= fewest_for_deviations;
    }
    return cells;
}

void warn_small_levels(HovTest test, std::string_view y, std::string_view effect) {
    const int fewest = fewest_for_deviations;
    switch (test) {
        case HovTest::levene:
            xpmlog(172, 292, fewest, y, effect);
            break;
        case HovTest::obrien:
            xpmlog(172, 293, fewest, y, effect);
            break;
        case HovTest::bf:
            xpmlog(172, 294, fewest, y, effect);
            break;
        case HovTest::mbf:
            xpmlog(172, 295, fewest, y, effect);
            break;
        case HovTest::bartlett:
            break;
    }
}

// ---- centres ------------------------------------------------------------------------------------------------------

double median(double* values, std::int64_t count, double n, double* freqs) {
    if (freqs == nullptr) return Quantile(values, count, 0.5);
    ShellSort(values, count, freqs);
    const auto size = static_cast<std::int64_t>(n);
    const double upper = Fidx(size / 2, values, count, freqs);
    return size % 2 == 1 ? upper : (upper + Fidx(size / 2 - 1, values, count, freqs)) / 2;
}

/// Harrell and Davis' estimate of the median: all order statistics, with weights from a beta distribution.
double smoothed_median(double* values, std::int64_t count, double n, double* freqs) {
    ShellSort(values, count, freqs);
    const double a = (n + 1) * 0.5;
    double c = 0, before = 0, centre = 0;
    for (std::int64_t i = 0; i < count; ++i) {
        c += freqs == nullptr ? 1 : freqs[i];
        double share = 0, density = 0;
        zibeta(c / n, a, a, share, density);
        centre += (share - before) * values[i];
        before = share;
    }
    return centre;
}

/// Gathers the values of levels and finds their centres: as many levels in one walk over the observations as fit into
/// the room of the largest level, or into a few megabytes.
void find_medians(ModelBlock& zgm, HovTest test, int yindex, const Effect& effect, std::vector<Cell>& cells) {
    constexpr std::int64_t room = 1 << 18;
    const bool frequencies = zgm.nfreq > 0;
    std::vector<std::int64_t> count(cells.size(), 0);
    for_each_observation(zgm, yindex, effect,
                         [&](int level, double, double) { ++count[static_cast<std::size_t>(level)]; });
    std::vector<double> values, freqs;
    std::vector<std::int64_t> end(cells.size());
    for (std::size_t first = 0, next = 0; first < cells.size(); first = next) {
        std::int64_t total = 0;
        for (; next < cells.size(); ++next) {
            const std::int64_t more = cells[next].used ? count[next] : 0;
            if (next > first && total + more > room) break;
            end[next] = total;  // grows to the end while the values come in
            total += more;
        }
        if (total == 0) continue;
        values.resize(static_cast<std::size_t>(total));
        freqs.resize(frequencies ? static_cast<std::size_t>(total) : 0);
        for_each_observation(zgm, yindex, effect, [&](int level, double y, double f) {
            const auto l = static_cast<std::size_t>(level);
            if (l < first || l >= next || !cells[l].used) return;
            const auto place = static_cast<std::size_t>(end[l]++);
            values[place] = y;
            if (frequencies) freqs[place] = f;
        });
        for (std::size_t l = first; l < next; ++l) {
            if (!cells[l].used) continue;
            const std::int64_t begin = end[l] - count[l];
            double* f = frequencies ? freqs.data() + begin : nullptr;
            const auto centre = test == HovTest::bf ? median : smoothed_median;
            cells[l].centre = centre(values.data() + begin, count[l], cells[l].n, f);
        }
    }
}

// ---- the transformed response -------------------------------------------------------------------------------------

double transformed(const HovResult& r, const Cell& c, double d) {
    const double n = c.n;
    switch (r.test) {
        case HovTest::levene:
            return r.levtype == 1 ? std::fabs(d) : d * d;
        case HovTest::obrien:
            return (n * (n + r.w - 2) * d * d - (n - 1) * r.w * c.variance) / ((n - 1) * (n - 2));
        default: {
            const bool scaled = r.test == HovTest::bf ? r.bfscaled : r.otscaled;
            return scaled ? std::fabs(d) * std::pow(n / (n - 1), 2.0 / 3) : std::fabs(d);
        }
    }
}

/// The one-way analysis of variance of the transformed response.
void analyse(HovResult& r, const std::vector<Cell>& cells, double grand_sum) {
    double n = 0;
    for (const Cell& c : cells) n += c.used ? c.n : 0;
    const double grand = n != 0 ? grand_sum / n : 0;
    int levels = 0;
    double df2 = 0;
    r.ss1 = r.ss2 = 0;
    for (const Cell& c : cells) {
        if (!c.used) continue;
        const double mean = c.sum / c.n;
        ++levels;
        df2 += c.n - 1;
        r.ss1 += c.n * (mean - grand) * (mean - grand);
        r.ss2 += c.squares - c.n * mean * mean;
    }
    r.ss1 = std::max(0.0, r.ss1);
    r.ss2 = std::max(0.0, r.ss2);
    r.df1 = std::max(0, levels - 1);
    r.df2 = static_cast<std::int32_t>(std::min(df2, 2147483647.0));
    r.f = r.p = missing;
    if (r.df1 < 1 || r.df2 < 1) return;
    const double ms1 = r.ss1 / r.df1, ms2 = r.ss2 / r.df2;
    if (ms2 > 0) {
        r.f = ms1 / ms2;
        r.p = zprbf(r.f, r.df1, r.df2);
    } else if (ms1 > 0) {
        r.f = vzmissing('I');
        r.p = 0;
    }
}

void test_bartlett(const MainBlock& F, HovResult& r, int yindex, const Effect& effect, const LevelRecords& records) {
    double df = 0, pooled = 0, logs = 0, inverse = 0;
    int g = 0;
    bool skipped = false;
    for (int i = 0; i < records.count; ++i) {
        const int n = records.head(i).n;
        const double s = records.sd(i, yindex);
        if (n < fewest_for_variance || wzmis(s) || !(s > 0)) {
            skipped = true;
            continue;
        }
        const double v = s * s, m = n - 1;
        df += m;
        pooled += m * v;
        logs += m * std::log(v);
        inverse += 1 / m;
        ++g;
    }
    if (skipped) xpmlog(172, 297, fewest_for_variance, F.ynames[F.zgm.ylist[yindex]], effect.text());
    r.ss2 = 9999.0;
    r.df2 = 9999;
    r.df1 = 0;
    r.ss1 = 0;
    r.f = r.p = missing;
    if (df == 0 || g <= 1 || !(pooled > 0)) return;
    r.df1 = g - 1;
    r.ss1 = std::max(0.0, (std::log(pooled / df) * df - logs) / ((inverse - 1 / df) / (3.0 * g - 3) + 1));
    r.f = r.ss1 / r.df1;
    r.p = zpgx2(r.ss1, r.df1);
}

}  // namespace

void HoVTest(MainBlock& F, HovResult& r, int yindex, const Effect& effect, const LevelRecords& records) {
    if (r.test == HovTest::bartlett) return test_bartlett(F, r, yindex, effect, records);
    std::vector<Cell> cells = cells_of(yindex, records);
    if (std::any_of(cells.begin(), cells.end(), [](const Cell& c) { return !c.used; })) {
        warn_small_levels(r.test, F.ynames[F.zgm.ylist[yindex]], effect.text());
    }
    if (r.test == HovTest::bf || r.test == HovTest::mbf) {
        find_medians(F.zgm, r.test, yindex, effect, cells);
    } else {
        for (Cell& c : cells) c.centre = c.mean;
    }
    double grand = 0;
    for_each_observation(F.zgm, yindex, effect, [&](int level, double y, double f) {
        Cell& c = cells[static_cast<std::size_t>(level)];
        if (!c.used) return;
        const double z = transformed(r, c, y - c.centre);
        c.sum += f * z;
        c.squares += f * z * z;
        grand += f * z;
    });
    analyse(r, cells, grand);
}

WelchResult Welch(const MainBlock& F, int yindex, const Effect& effect, const LevelRecords& records) {
    WelchResult r{.f = missing, .p = missing};
    const auto variance = [&](int i) {
        const double s = records.sd(i, yindex);
        const double v = wzmis(s) ? 0 : s * s;
        return records.head(i).n >= fewest_for_variance && v > smallest_variance ? v : 0;
    };
    double g = 0, weights = 0, total = 0;
    bool skipped = false;
    for (int i = 0; i < records.count; ++i) {
        const double v = variance(i);
        if (v == 0) {
            skipped = true;
            continue;
        }
        const double weight = records.head(i).n / v;
        g += 1;
        weights += weight;
        total += weight * records.mean(i, yindex);
    }
    if (skipped) xpmlog(172, 291, effect.text(), F.ynames[F.zgm.ylist[yindex]]);
    const double ybar = weights > 0 ? total / weights : 0;
    double lambda = 0, among = 0;
    for (int i = 0; i < records.count; ++i) {
        const double v = variance(i);
        if (v == 0) continue;
        const double n = records.head(i).n, weight = n / v, d = records.mean(i, yindex) - ybar;
        const double rest = 1 - weight / weights;
        lambda += rest * rest / (n - 1);
        among += weight * d * d;
    }
    r.df1 = std::max(0.0, g - 1);
    if (g > 1 && lambda > smallest_variance) {
        r.df2 = (g * g - 1) / (3 * lambda);
        r.f = (among / (g - 1)) / (1 + 2.0 / 3 * (g - 2) / r.df2);
        r.df2 = std::max(0.0, r.df2);
        if (r.df1 > 0 && r.df2 > 0) r.p = zprbf(r.f, r.df1, r.df2);
    }
    return r;
}

double Quantile(double* values, std::int64_t n, double p) {
    if (n <= 0) return missing;
    const auto k = static_cast<std::int64_t>(static_cast<double>(n) * p);
    std::int64_t low = 0, high = n - 1;
    while (low < high) {
        const double pivot = values[low + (high - low) / 2];
        std::int64_t i = low, j = high;
        while (i <= j) {
            while (values[i] < pivot) ++i;
            while (values[j] > pivot) --j;
            if (i <= j) std::swap(values[i++], values[j--]);
        }
        // Elements between j and i equal the pivot and are in their sorted place.
        if (k <= j) {
            high = j;
        } else if (k >= i) {
            low = i;
        } else {
            break;
        }
    }
    if (n % 2 == 0 && p == 0.5) return (values[k] + zvmx(values, k)) / 2;
    return values[k];
}

void ShellSort(double* values, std::int64_t n, double* freqs) {
    for (std::int64_t gap = n / 2; gap > 0; gap /= 2) {
        for (std::int64_t i = gap; i < n; ++i) {
            for (std::int64_t j = i - gap; j >= 0 && values[j] > values[j + gap]; j -= gap) {
                std::swap(values[j], values[j + gap]);
                if (freqs != nullptr) std::swap(freqs[j], freqs[j + gap]);
            }
        }
    }
}

double Fidx(std::int64_t i, const double* values, std::int64_t n, const double* freqs) {
    if (freqs == nullptr) return i < n ? values[i] : missing;
    double below = 0;
    for (std::int64_t j = 0; j < n; ++j) {
        below += freqs[j];
        if (static_cast<double>(i) < below) return values[j];
    }
    return missing;
}

}  // namespace vek
