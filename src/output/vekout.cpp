// vekout: replays all observations of a pass, computes the wanted statistics for each dependent variable, and writes the
// input's variables with the new ones behind them.
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
    std::uint32_t flags = 0;        ///< closed
    double* values = nullptr;       ///< [stat_count][ny] of the current row
    std::int64_t nvalues = 0;
    FetchList* fetch = nullptr;     ///< all variables of the input
    Column* columns = nullptr;
    PutList* put = nullptr;
    DataSet* out = nullptr;
    UtilityFile* collected = nullptr;  ///< rows of values from earlier passes
    UtilityFile* spare = nullptr;      ///< takes those of the pass in hand; the two change places
    bool refused = false;
};

namespace {

class OutputPass {
  public:
    OutputPass(MainBlock& main, OutputState& output, double level)
        : F(main), zgm(main.zgm), o(output), alpha(level) {}
    void run();

  private:
    bool usable() const { return F.passstop != no_usable_observation; }
    void prepare_fit();
    void fill_row(Prediction* fit);
    void statistics_of(const Prediction& fit, int status);
    bool read_collected() { return xcget(o.collected, o.values, o.nvalues) == 0; }

    MainBlock& F;
    ModelBlock& zgm;
    OutputState& o;
    double alpha;
    ObservationContext context;
    double* s2 = nullptr;  // [nyp]
};

void OutputPass::prepare_fit() {
    context.flags = o.flags;
    context.edf = static_cast<double>(F.dferror);
    context.p = F.rank;
    if (double t = missing; zqt(1 - alpha * 0.5, context.edf, t) == 0) context.t = t;
    s2 = array<double>(zgm.pool, zgm.nyp);
    for (int k = 0; k < zgm.nyp; ++k) {
        s2[k] = error_ms(F, error_ss(F, k));
    }
}

void OutputPass::statistics_of(const Prediction& fit, int status) {
    const bool good_frequency = (status & zgmacc_bad_frequency) == 0;
    const double weight = zgm.nwgt == 0 ? 1 : *zgm.wgtval;
    context.w = (status & zgmacc_bad_weight) != 0 ? missing : weight;
    context.f = good_frequency ? *zgm.freqval : missing;
    context.xgx = (o.flags & stat_bit(stat_h)) != 0 ? fit.variance_factor() : missing;
    bool all_present = true;
    for (int k = 0; k < zgm.nyp; ++k) {
        if (wzmis(zgm.yval[zgm.ylist[k]])) all_present = false;
    }
    const auto put = [&](int code, int y) { o.values[static_cast<std::ptrdiff_t>(code) * zgm.ny + y] = context.results[code]; };
    for (int k = 0; k < zgm.nyp; ++k) {
        const int y = zgm.ylist[k];
        context.y = zgm.yval[y];
        context.yhat = fit.predicted(k);
        context.s2 = s2[k];
        zobstat(context);
        const bool residuals = !wzmis(context.y) && (!zgm.multivar || all_present);
        for (int code = 0; code < stat_count; ++code) {
            const bool residual_statistic =
                (stat_bit(code) & (family_residual | family_deleted | stat_bit(stat_covratio))) != 0;
            if ((o.flags & stat_bit(code)) != 0 && (residuals || !residual_statistic)) put(code, y);
        }
    }
}

void OutputPass::fill_row(Prediction* fit) {
    if (fit == nullptr || *zgm.rectype < record_none) return;
    const int status = zgmacc(zgm);
    if ((status & zgmacc_unusable) != 0) return;
    fit->take_row(zgm);
    statistics_of(*fit, status);
}

void OutputPass::run() {
    const bool first = zgm.npass <= 1 || zgm.pass == 1;
    const bool last = zgm.npass <= 1 || zgm.pass == zgm.npass;
    Pool* job = xmpoolc(xmainpool(), "output");
    Prediction* fit = nullptr;
    if (usable()) {
        prepare_fit();
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
    for (Replay replay(zgm, last ? o.fetch : nullptr, o.columns); replay.valid(); replay.next()) {
        if (first) {
            std::fill_n(o.values, o.nvalues, missing);
        } else if (!read_collected()) {
            xebug(912);
        }
        fill_row(fit);
        if (last) {
            xyvput(o.put, replay.row());
        } else if (xcput(o.spare, o.values, o.nvalues) != 0) {
            xpmlog(172, 16);
            xexit(120, 913);
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
            const double* source = o.values + static_cast<std::ptrdiff_t>(codes[i]) * zgm.ny + k;
            if (xvputd(o.put, names[name], VariableType::numeric, 8, source) < 0) {
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
    o->values = array<double>(xmainpool(), o->nvalues);
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
