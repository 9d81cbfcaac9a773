// vekput: the parameter solution, one row for each column of X, and the observed and predicted values of all
// observations with the residual summaries below them.
#include "core/vekput.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "core/estimable_text.h"
#include "core/limits.h"
#include "core/parameter_label.h"
#include "core/vekpp.h"
#include "core/vekpred.h"
#include "frame/host_message.h"
#include "frame/table.h"
#include "model/replay.h"
#include "model/vekutil.h"
#include "model/vekxpx.h"
#include "numeric/fdist.h"
#include "numeric/missing.h"

namespace vek {

namespace {

constexpr int model_alpha = 1;

double model_level(const MainBlock& F) {
    const Slot& level = F.modelstmt->slot(model_alpha);
    return level.given() ? level.value : F.alpha;
}

// ---- solution -----------------------------------------------------------------------------------------------------

/// Stretches of blanks, which the text of a level may have inside, as one blank each.
std::string single_blanks(std::string text) {
    text.erase(std::unique(text.begin(), text.end(), [](char a, char b) { return a == ' ' && b == ' '; }), text.end());
    return text;
}

/// The expansion of each parameter's expected value, for ALIASING.
std::vector<std::string> expected_values(const MainBlock& F, const Prediction& fit) {
    const ModelBlock& zgm = F.zgm;
    const ParameterLabel parameter(F);
    const auto label = [&](int e, int place) {
        return rdvmsg(172, 392, single_blanks(parameter.short_text(zgm.modrecs[e]->firstcol + place)));
    };
    const auto p = static_cast<std::size_t>(zgm.ncol);
    std::vector<std::string> texts(p);
    std::vector<double> row(p);
    const std::string singular = rdvmsg(172, 107);
    for (std::size_t c = 0; c < p; ++c) {
        if (fit.place(static_cast<int>(c)) < 0) texts[c] = singular;
    }
    xcpntd(F.ufile2, F.pos2h);
    RecordHeader header;
    while (get_header(F.ufile2, &header) && header.row < zgm.ncol) {
        std::fill(row.begin(), row.end(), 0.0);
        xcget(F.ufile2, row.data() + header.first, header.last - header.first);
        texts[static_cast<std::size_t>(header.row)] = MakeAlias(zgm, row.data(), F.zeta, label);
    }
    return texts;
}

struct SolutionRow {
    std::string parameter, expected;
    std::int32_t biased = 0;
    EstimateFigures figures;
};

int solution_label_width(const MainBlock& F) {
    const ModelBlock& zgm = F.zgm;
    int widest = 0, most_class = 0;
    for (int e = 1; e <= zgm.neff; ++e) {
        const Effect& effect = *zgm.effects[e];
        int levels = 0;
        for (int v = 0; v < effect.nclass(); ++v) levels += zgm.classes[effect.cross[v]].fmtwidth;
        if (levels + effect.nclass() > widest + most_class) {
            widest = levels;
            most_class = effect.nclass();
        }
    }
    return F.efnamew + 1 + most_class + widest;
}

}  // namespace

void veksol(MainBlock& F, int k) {
    if (F.out == nullptr) return;
    const ModelBlock& zgm = F.zgm;
    Pool* job = xmpoolc(zgm.pool, "solution");
    const Prediction fit(F, job);
    const double ms = error_ms(F, error_ss(F, k));
    double largest_estimate = 0, largest_diagonal = 0;
    for (int i = 0; i < F.rank; ++i) {
        largest_estimate = std::max(largest_estimate, std::fabs(fit.estimate(k, i)));
        largest_diagonal = std::max(largest_diagonal, fit.diagonal(i));
    }
    const double scale = wzmis(ms) ? missing : std::sqrt(largest_diagonal * ms);
    const int decimals = vekpfmt(largest_estimate, 12, 10);
    bool biased = false;
    for (int e = zgm.noint; e <= zgm.neff; ++e) {
        if (F.biased[zgm.modrecs[e]->firstcol] != 0) biased = true;
    }
    const bool limits = model_option(F, model_clparm);
    const double alpha = model_level(F);
    const double tcrit = limits ? critical_t(ms, alpha, F.dferror) : missing;
    std::vector<std::string> expected;
    std::size_t expected_width = 0;
    if (F.aliasing) expected = expected_values(F, fit);
    for (const std::string& text : expected) expected_width = std::max(expected_width, text.size());

    const ParameterLabel parameter(F);
    SolutionRow row;
    Table t(F.out, "ParameterEstimates", rdvmsg(172, 353));
    if (limits) t.attribute("confidence", (1 - alpha) * 100);
    t.text("Parameter", solution_label_width(F), row.parameter).number("Estimate", row.figures.estimate, 12, decimals);
    if (biased) t.integer("Biased", row.biased);
    t.number("StdErr", row.figures.se, 12, vekpfmt(wzmis(scale) ? 0 : scale, 12, 8))
        .number("tValue", row.figures.t)
        .number("Probt", row.figures.p);
    if (limits) t.number("LowerCL", row.figures.lower, 12, decimals).number("UpperCL", row.figures.upper, 12, decimals);
    if (F.aliasing) t.text("ExpectedValue", static_cast<int>(expected_width), row.expected);
    t.bind("drim.VEK.Estimates");
    for (int e = zgm.noint; e <= zgm.neff; ++e) {
        const EffectMod& mod = *zgm.modrecs[e];
        row.biased = F.biased[mod.firstcol];
        for (int c = mod.firstcol; c < mod.firstcol + mod.ncols; ++c) {
            row.parameter = parameter.short_text(c);
            const int place = fit.place(c);
            if (place < 0) {
                row.figures = {.estimate = 0};
            } else {
                row.figures =
                    estimate_figures(fit.estimate(k, place), std::max(0.0, fit.diagonal(place)), ms, F.dferror, tcrit);
            }
            if (F.aliasing) row.expected = expected[static_cast<std::size_t>(c)];
            t.row();
        }
    }
    t.end();
    if (biased) xpm(172, 118);
    xmpoold(job);
}

namespace {

// ---- predictions --------------------------------------------------------------------------------------------------

constexpr int mode_predicted = 1, mode_mean_limits = 2, mode_individual_limits = 3;
constexpr double leverage_one = 1.110223024625157e-14;

/// An ID variable of the list.
struct IdColumn {
    int variable, place, width;
    std::string name;
    VariableType type;
    char text[16];
};

struct PredictionRow {
    std::int32_t observation = 0, biased = 0;
    double observed = 0, predicted = 0, lower = 0, residual = 0, upper = 0;
};

/// Sums over the residuals of the used observations.
struct ResidualSums {
    double sum = 0, squares = 0, press = 0;
    double products = 0, differences = 0;  ///< of successive residuals
    double previous = 0;
    std::int64_t n = 0;
    bool press_complete = true;

    void add(double e, double w) {
        sum += w * e;
        squares += w * e * e;
        const double u = std::sqrt(w) * e;
        if (n++ > 0) {
            products += previous * u;
            differences += (u - previous) * (u - previous);
        }
        previous = u;
    }
};

class PredictionList {
  public:
    PredictionList(MainBlock& main, int dependent)
        : F(main),
          zgm(main.zgm),
          k(dependent),
          y_index(zgm.ylist[dependent]),
          sse(error_ss(main, dependent)),
          ms(error_ms(main, sse)),
          alpha(model_level(main)),
          job(xmpoolc(zgm.pool, "predictions")),
          fit(main, job) {
        mode = model_option(F, model_clm) ? mode_mean_limits
                                          : (model_option(F, model_cli) ? mode_individual_limits : mode_predicted);
        q = mode == mode_predicted ? 0 : critical_t(ms, alpha, F.dferror);
        if (!wzmis(q)) q *= std::sqrt(wzmis(ms) ? 0 : ms);
        if (wzmis(ms)) q = missing;
    }
    ~PredictionList() = default;
    PredictionList(const PredictionList&) = delete;
    PredictionList& operator=(const PredictionList&) = delete;

    void print();

  private:
    void choose_id_columns();
    void show_id(const Replay& replay);
    void fill(const Replay& replay);
    void set_limits(double h, double w);
    bool used() const;
    double largest_observed() const;
    void print_summary();

    MainBlock& F;
    ModelBlock& zgm;
    int k, y_index;
    double sse, ms, alpha;
    int mode = mode_predicted;
    double q = 0;
    Pool* job;
    Prediction fit;
    std::vector<IdColumn> ids;
    FetchList* list = nullptr;
    std::vector<Column> columns;
    PredictionRow row;
    ResidualSums sums;
    bool unused_seen = false;
};

void PredictionList::choose_id_columns() {
    constexpr int widest = 16;
    const Proc& P = proc();
    if (P.head->highest < proc_id) return;
    const std::span<int> variables = P.head->slot(proc_id).variables();
    const int n = std::min(most_id_columns, static_cast<int>(variables.size()));
    if (n == 0) return;
    xffile(zgm.data, 70, variables.data(), n);
    list = xvgeti(zgm.data, n);
    for (int i = 0; i < n; ++i) {
        const int variable = variables[static_cast<std::size_t>(i)];
        const VariableDescriptor d = xvname(zgm.data, variable);
        const int shown = d.formatwidth > 0 ? d.formatwidth : (d.type == VariableType::numeric ? 12 : d.length);
        ids.push_back({.variable = variable,
                       .place = xvgetd(list, variable),
                       .width = std::min(widest, std::max(static_cast<int>(d.name.size()), shown)),
                       .name = std::string(d.name),
                       .type = d.type,
                       .text = {}});
    }
    xvgete(list);
    columns.resize(static_cast<std::size_t>(n));
}

void PredictionList::show_id(const Replay& replay) {
    for (IdColumn& id : ids) {
        const Column& column = columns[static_cast<std::size_t>(id.place)];
        if (id.type == VariableType::numeric) {
            xvfmtn(zgm.data, id.variable, column.number[replay.row()], id.text);
        } else {
            xvfmtc(zgm.data, id.variable, column.text[replay.row()], id.text);
        }
    }
}

/// True when the current record takes part in the fit of this pass.
bool PredictionList::used() const {
    if (*zgm.rectype < record_all) return false;
    if (!zgm.multivar) return !wzmis(*zgm.y1);
    for (int i = 0; i < zgm.nyp; ++i) {
        if (wzmis(zgm.yval[zgm.ylist[i]])) return false;
    }
    return true;
}

double PredictionList::largest_observed() const {
    double largest = 0;
    for (Replay replay(zgm, nullptr, nullptr); replay.valid(); replay.next()) {
        if (used()) largest = std::max(largest, std::fabs(zgm.yval[y_index]));
    }
    return largest;
}

void PredictionList::set_limits(double h, double w) {
    if (mode == mode_individual_limits) {
        if (wzmis(w)) return;
        h += 1 / w;
    }
    if (wzmis(q)) {
        if (missing_code(q) == 'I') {
            row.lower = vzmissing('M');
            row.upper = vzmissing('I');
        }
        return;
    }
    row.lower = row.predicted - std::sqrt(h) * q;
    row.upper = row.predicted + std::sqrt(h) * q;
}

void PredictionList::fill(const Replay& replay) {
    show_id(replay);
    ++row.observation;
    const int type = *zgm.rectype;
    bool in_fit = used();
    row.biased = in_fit ? 0 : 1;
    if (!in_fit) unused_seen = true;
    const double blank = vzmissing('_');
    row.observed = row.predicted = row.residual = row.lower = row.upper = blank;
    if (type < record_none) return;
    const double y = zgm.yval[y_index];
    row.observed = y;
    row.predicted = row.residual = row.lower = row.upper = missing;
    if ((zgmacc(zgm) & zgmacc_unusable) != 0) {
        row.biased = 1;
        unused_seen = true;
        return;
    }
    const double w = zgm.w;  // weight * frequency, missing when either is invalid
    fit.take_row(zgm);
    row.predicted = fit.predicted(k);
    if (!wzmis(y)) row.residual = y - row.predicted;
    if (mode != mode_predicted) {
        const double h = std::max(0.0, fit.variance_factor());
        const double weight = zgm.nwgt == 0 ? 1 : *zgm.wgtval;
        if (!wzmis(y) && !wzmis(w)) {
            // One of the observations that a frequency counts is left out, so its own weight is the leverage.
            const double d = 1 - h * weight;
            if (std::fabs(d) <= leverage_one) {
                sums.press_complete = false;
            } else {
                sums.press += row.residual / d * (row.residual / d) * w;
            }
        }
        set_limits(h, zgm.nwgt > 0 && (wzmis(weight) || weight <= 0) ? missing : weight);
    }
    if (in_fit) sums.add(row.residual, w);
}

void PredictionList::print_summary() {
    const bool with_press = mode != mode_predicted;
    const double width_value = with_press && sums.press_complete ? std::max(sums.squares, sums.press) : sums.squares;
    const int decimals = vekpfmt(width_value, 12, 8);
    double autocorrelation = 0, durbin_watson = 0;
    if (sums.n > 1 && sums.squares > 1e-12) {
        autocorrelation = sums.products / sums.squares;
        durbin_watson = sums.differences / sums.squares;
    }
    Factoids f(F.out, "PredictedInfo", rdvmsg(172, 356), "drim.VEK.PInfo");
    const auto item = [&](int message, double value) { f.item(rdvmsg(0, message), value, 12, decimals); };
    if (zgm.nwgt == 0) item(184, sums.sum);
    item(185, sums.squares);
    item(186, sums.squares - sse);
    if (with_press) item(187, sums.press);
    if (zgm.nfreq == 0) {
        item(188, autocorrelation);
        item(189, durbin_watson);
    }
    f.end();
}

void PredictionList::print() {
    constexpr int width = 15;
    Folder folder(F.out, "Predictions", rdvmsg(172, 354));
    choose_id_columns();
    int decimals = vekpfmt(largest_observed() * 1000, width, 8);
    if (decimals == 0) decimals = 3;
    const bool limits = mode != mode_predicted;
    Table t(F.out, "PredictedValues", rdvmsg(172, 355));
    if (limits) {
        t.attribute("confidence", (1 - alpha) * 100);
        t.attribute("type", rdvmsg(172, mode == mode_mean_limits ? 176 : 177));
    }
    t.integer("Observation", row.observation).integer("Biased", row.biased);
    for (const IdColumn& id : ids) {
        t.buffer(id.name, id.width, id.text, {.label = id.name, .like = "ID"});
        t.column_attribute("hid", id.name);
        t.column_attribute("idwidth", id.width);
    }
    t.number("Observed", row.observed, width, decimals).number("Predicted", row.predicted, width, decimals);
    if (limits) t.number("LowerCL", row.lower, width, decimals);
    t.number("Residual", row.residual, width, decimals);
    if (limits) t.number("UpperCL", row.upper, width, decimals);
    t.bind("drim.VEK.Predicted");
    if (list != nullptr) xbyrwnd(zgm.data);
    for (Replay replay(zgm, list, columns.data()); replay.valid(); replay.next()) {
        fill(replay);
        t.row();
    }
    t.end();
    xvgett(list);
    if (unused_seen) xpm(172, 58);
    print_summary();
    folder.close();
    xmpoold(job);
}

}  // namespace

void vekplst(MainBlock& F, int k) {
    if (F.out == nullptr) return;
    if (F.zgm.nabsorb > 0) {
        xpmlog(172, 57);
        return;
    }
    PredictionList list(F, k);
    list.print();
}

}  // namespace vek
