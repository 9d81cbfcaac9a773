// vekout: replays all observations of a pass, computes the wanted statistics for each dependent variable, and writes
// the input's variables with the new ones behind them.
#include "output/vekout.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "core/vekpred.h"
#include "frame/host_message.h"
#include "model/replay.h"
#include "model/vekutil.h"
#include "numeric/fdist.h"
#include "output/zobstat.h"

namespace vek {

namespace {

constexpr int option_fixed_level = 1;  // L95M, U95M, L95, U95
constexpr int slot_out = 1, slot_names = 2, slot_codes = 3, slot_name_counts = 4, slot_alpha = 5;
constexpr int no_usable_observation = -99;

}  // namespace

/// The open data set of an OUTPUT statement; lives over passes and BY groups.
struct OutputState {
    std::uint32_t flags = 0;     ///< closed
    std::int64_t nvalues = 0;    ///< of a row: stat_count * ny
    double* values = nullptr;    ///< [nvalues][observation_block_rows] of the rows in hand
    double* row = nullptr;       ///< [nvalues] of one row, as the collecting files have it
    FetchList* fetch = nullptr;  ///< all variables of the input
    Column* columns = nullptr;
    PutList* put = nullptr;
    DataSet* out = nullptr;
    UtilityFile* collected = nullptr;  ///< rows of values from earlier passes
    UtilityFile* spare = nullptr;      ///< takes those of the pass in hand; the two change places
    bool refused = false;

    /// Values of a statistic for a dependent variable (of ny) in the rows in hand.
    double* column(int code, int ny, int y) const {
        return values + (static_cast<std::ptrdiff_t>(code) * ny + y) * observation_block_rows;
    }
};

namespace {

/// The rows in hand as the statistics need them.
struct RowInputs {
    double xgx[observation_block_rows], w[observation_block_rows], f[observation_block_rows];
    bool all_present[observation_block_rows];  ///< all dependent variables of the pass
    double* y = nullptr;                       ///< [nyp][observation_block_rows]
    double* yhat = nullptr;
};

class OutputPass {
  public:
    OutputPass(MainBlock& main, OutputState& output, double level) : F(main), zgm(main.zgm), o(output), alpha(level) {}
    void run();

  private:
    bool usable() const { return F.passstop != no_usable_observation; }
    void prepare_fit(Pool* job);
    int take_rows(Replay& replay, Prediction* fit);
    void take_row(Prediction* fit, int i);
    void statistics(int rows);
    void fetch_collected(int rows);
    void collect(int rows);

    MainBlock& F;
    ModelBlock& zgm;
    OutputState& o;
    double alpha;
    ObservationContext context;
    RowInputs in;
    double* s2 = nullptr;  // [nyp]
};

void OutputPass::prepare_fit(Pool* job) {
    context.flags = o.flags;
    context.edf = static_cast<double>(F.dferror);
    context.p = F.rank;
    if (double t = missing; zqt(1 - alpha * 0.5, context.edf, t) == 0) context.t = t;
    s2 = array<double>(job, zgm.nyp);
    in.y = array<double>(job, std::int64_t{zgm.nyp} * observation_block_rows);
    in.yhat = array<double>(job, std::int64_t{zgm.nyp} * observation_block_rows);
    for (int k = 0; k < zgm.nyp; ++k) {
        s2[k] = error_ms(F, error_ss(F, k));
    }
}

/// The current row as row i of those in hand. A row that the model cannot take has no predicted values.
void OutputPass::take_row(Prediction* fit, int i) {
    const int status = *zgm.rectype < record_none ? zgmacc_unusable : zgmacc(zgm);
    const bool predictable = (status & zgmacc_unusable) == 0;
    in.w[i] = (status & zgmacc_bad_weight) != 0 ? missing : zgm.nwgt == 0 ? 1 : *zgm.wgtval;
    in.f[i] = (status & zgmacc_bad_frequency) != 0 ? missing : *zgm.freqval;
    in.xgx[i] = missing;
    in.all_present[i] = true;
    if (predictable) fit->take_row(zgm);
    if (predictable && (o.flags & stat_bit(stat_h)) != 0) in.xgx[i] = fit->variance_factor();
    for (int k = 0; k < zgm.nyp; ++k) {
        const std::ptrdiff_t at = std::ptrdiff_t{k} * observation_block_rows + i;
        in.y[at] = zgm.yval[zgm.ylist[k]];
        in.yhat[at] = predictable ? fit->predicted(k) : missing;
        if (wzmis(in.y[at])) in.all_present[i] = false;
    }
}

/// Takes rows in hand, up to a block of them, and stops at the last one of the data set's block. Their number.
int OutputPass::take_rows(Replay& replay, Prediction* fit) {
    const int most = std::min(observation_block_rows, replay.left());
    for (int i = 0;; replay.next()) {
        if (!replay.valid()) return i;
        if (fit != nullptr) take_row(fit, i);
        if (++i == most) return i;
    }
}

void OutputPass::statistics(int rows) {
    ObservationBlock block;
    block.rows = rows;
    block.xgx = in.xgx;
    block.w = in.w;
    block.f = in.f;
    for (int k = 0; k < zgm.nyp; ++k) {
        block.y = in.y + std::ptrdiff_t{k} * observation_block_rows;
        block.yhat = in.yhat + std::ptrdiff_t{k} * observation_block_rows;
        for (int code = 0; code < stat_count; ++code) {
            block.results[code] = o.column(code, zgm.ny, zgm.ylist[k]);
        }
        context.s2 = s2[k];
        zobstat_block(context, block);
        if (!zgm.multivar) continue;
        // A fit of all dependent variables together has no residual where one of them is missing.
        constexpr std::uint32_t of_residuals = family_residual | family_deleted | stat_bit(stat_covratio);
        for (int code = 0; code < stat_count; ++code) {
            if ((stat_bit(code) & of_residuals) == 0) continue;
            for (int i = 0; i < rows; ++i) {
                if (!in.all_present[i]) block.results[code][i] = missing;
            }
        }
    }
}

void OutputPass::fetch_collected(int rows) {
    for (int i = 0; i < rows; ++i) {
        if (xcget(o.collected, o.row, o.nvalues) != 0) xebug(912);
        for (std::int64_t v = 0; v < o.nvalues; ++v) o.values[v * observation_block_rows + i] = o.row[v];
    }
}

void OutputPass::collect(int rows) {
    for (int i = 0; i < rows; ++i) {
        for (std::int64_t v = 0; v < o.nvalues; ++v) o.row[v] = o.values[v * observation_block_rows + i];
        if (xcput(o.spare, o.row, o.nvalues) == 0) continue;
        xpmlog(172, 16);
        xexit(120, 913);
    }
}

void OutputPass::run() {
    const bool first = zgm.npass <= 1 || zgm.pass == 1;
    const bool last = zgm.npass <= 1 || zgm.pass == zgm.npass;
    Pool* job = xmpoolc(xmainpool(), "output");
    Prediction* fit = nullptr;
    if (usable()) {
        prepare_fit(job);
        fit = new (vmalcp_handler(job, sizeof(Prediction), memory_abort)) Prediction(F, job);
    }
    if (!last && o.spare != nullptr) {
        xcpoint(o.spare);
    } else if (!last && xcopen(&o.spare, "OUTPUT") < 0) {
        xpmlog(172, 2);
        xexit(1020, 912);
    }
    if (!first) xcpntd(o.collected, 0);
    if (last) xbyrwnd(zgm.data);
    // A pass fills the columns of its own dependent variables; others are missing until a later one does, or for good.
    const bool fills_all = fit != nullptr && zgm.nyp == zgm.ny;
    if (first && !fills_all) std::fill_n(o.values, o.nvalues * observation_block_rows, missing);
    for (Replay replay(zgm, last ? o.fetch : nullptr, o.columns); replay.valid(); replay.next()) {
        const int first_row = replay.row();
        const int rows = take_rows(replay, fit);
        if (!first) fetch_collected(rows);
        if (fit != nullptr) statistics(rows);
        if (last) {
            xyvput(o.put, first_row, rows);
        } else {
            collect(rows);
        }
    }
    if (!last) std::swap(o.collected, o.spare);
    xmpoold(job);
}

/// The variables of the new data set: the input's, then one for each name. False when a name is taken.
bool define_variables(const MainBlock& F, const Statement& s, OutputState& o) {
    const ModelBlock& zgm = F.zgm;
    const int n = xvcount(zgm.data);
    o.fetch = xvgeti(zgm.data, n);
    for (int v = 0; v < n; ++v) xvgetd(o.fetch, v);
    xvgete(o.fetch);
    o.columns = array<Column>(xmainpool(), n);
    o.put = xvputi(o.out);
    for (int v = 0; v < n; ++v) xvputcv(o.put, o.fetch, v);
    const auto names = s.slot(slot_names).names();
    const auto codes = s.slot(slot_codes).numbers();
    const auto counts = s.slot(slot_name_counts).codes();
    std::size_t name = 0;
    for (std::size_t i = 0; i < codes.size(); ++i) {
        for (int k = 0; k < counts[i]; ++k, ++name) {
            if (k >= zgm.ny) continue;
            const double* values = o.column(static_cast<int>(codes[i]), zgm.ny, k);
            if (xvputd(o.put, names[name], VariableType::numeric, 8, values) < 0) {
                xpmlog(172, 993, names[name]);
                return false;
            }
        }
    }
    xvpute(o.put);
    return true;
}

/// The state of the statement, made at its first call; null when it has been refused, which the log says once.
OutputState* state_of(MainBlock& F, Statement& s, double alpha) {
    if (s.work != nullptr) {
        auto* o = static_cast<OutputState*>(s.work);
        return o->refused ? nullptr : o;
    }
    auto* o = object<OutputState>(xmainpool());
    s.work = o;
    o->refused = s.option(option_fixed_level) && alpha != 0.05;
    if (o->refused) {
        xpmlog(212, 600, alpha);
        return nullptr;
    }
    std::uint32_t wanted = 0;
    for (double code : s.slot(slot_codes).numbers()) wanted |= stat_bit(static_cast<int>(code));
    o->flags = close_statistics(wanted);
    o->nvalues = std::int64_t{stat_count} * F.zgm.ny;
    o->values = array<double>(xmainpool(), o->nvalues * observation_block_rows);
    o->row = array<double>(xmainpool(), o->nvalues);
    o->out = s.slot(slot_out).handle;
    o->refused = !define_variables(F, s, *o);
    if (o->refused) return nullptr;
    F.outds = o->out;
    F.outstate = o;
    return o;
}

}  // namespace

void vekout(MainBlock& F, Statement& s) {
    if (s.slot(slot_out).handle == nullptr) {
        xpmlog(172, 37);
        return;
    }
    const double alpha = s.slot(slot_alpha).given() ? s.slot(slot_alpha).value : F.alpha;
    OutputState* o = state_of(F, s, alpha);
    if (o != nullptr) OutputPass(F, *o, alpha).run();
}

void close_output(MainBlock& F) {
    if (F.outds == nullptr) return;
    auto* o = static_cast<OutputState*>(F.outstate);
    xvputt(o->put);
    xvgett(o->fetch);
    xoclose(F.outds);
    xomsg(F.outds);
    F.outds = nullptr;
    F.outstate = nullptr;
}

}  // namespace vek
