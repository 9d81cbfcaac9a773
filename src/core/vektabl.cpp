// vektabl: the univariate report. For each dependent variable: overall analysis of variance, fit statistics, the tests
// of each requested type, then contrasts, tests with other error terms, estimates, solution and predictions.
#include "core/vektabl.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "core/report.h"
#include "core/vekput.h"
#include "frame/host_message.h"
#include "frame/table.h"
#include "model/vekutil.h"
#include "model/vekxpx.h"
#include "numeric/missing.h"
#include "numeric/packed.h"

namespace vek {

namespace {

constexpr int decimals_limit = 8;

bool total_is_uncorrected(const MainBlock& F) { return model_option(F, model_intercept) || F.zgm.neff == 0; }

/// Sums of the dependent variable over the used observations.
struct ResponseSums {
    double css;  ///< corrected sum of squares
    double uss;  ///< uncorrected
    double sum;
};

ResponseSums response_sums(const DependentReport& r) {
    const int c = r.F.zgm.ncol + r.k;
    return {.css = r.F.colss[c], .uss = r.F.yss[r.k], .sum = r.F.colsum[c]};
}

/// What df[0], the intercept's degrees of freedom, takes from the corrected total.
std::int64_t mean_df(const MainBlock& F) { return F.zgm.nabsorb > 0 ? 1 : F.df1[0]; }

std::int64_t observations(const MainBlock& F) { return F.zgm.ynobs[F.zgm.ylist[0]]; }

constexpr std::int64_t largest_df = 2147483647;

/// A count of observations as degrees of freedom, never negative.
std::int32_t as_df(std::int64_t n) { return static_cast<std::int32_t>(std::clamp<std::int64_t>(n, 0, largest_df)); }

double r_square(const DependentReport& r, const ResponseSums& y) {
    const ModelBlock& zgm = r.F.zgm;
    const double sse = r.error.ss;
    if (zgm.nabsorb == 0 && zgm.noint == 1 && zgm.nclass > 0) {
        // Class effects span the mean even without an intercept, so the corrected total is the honest base.
        if (r.k == 0) xpmlog(172, 119);
        const double total = y.css - y.sum * y.sum / zgm.sumw;
        return total <= 0 ? 0 : std::max(0.0, 1 - sse / total);
    }
    return y.css <= 0 ? 0 : std::max(0.0, (y.css - sse) / y.css);
}

void print_overall(const DependentReport& r, const ResponseSums& y) {
    const MainBlock& F = r.F;
    const bool uncorrected = total_is_uncorrected(F);
    const std::int64_t n = observations(F);
    const std::int64_t mean = uncorrected ? 0 : mean_df(F);
    const double total = uncorrected ? y.uss : y.css;
    const double model = std::max(0.0, total - r.error.ss);
    const int decimals = vekpfmt(std::max({r.error.ss, model, total}), 12, decimals_limit);
    const double blank = vzmissing('_');

    AnovaRow row;
    Table t(r.out, "OverallANOVA", rdvmsg(172, 314));
    vekdaov(t, row, decimals, "drim.VEK.OverallANOVA", false, nullptr, nullptr, 20, F.efnamew);
    const std::string model_label = rdvmsg(172, 136);
    const std::string total_label = rdvmsg(172, uncorrected || mean_df(F) == 0 ? 137 : 138);
    row.label = model_label;
    row.df = as_df(n - F.dferror - mean);
    row.ss = model;
    vekfaov(row, r.error);
    t.row();
    row = {.label = type_name(F, 0),
           .df = r.error.df,
           .ss = r.error.df < 1 ? 0 : r.error.ss,
           .ms = r.error.ms,
           .f = blank,
           .p = blank};
    t.row();
    row = {.label = total_label, .df = as_df(n - mean), .ss = total, .ms = blank, .f = blank, .p = blank};
    t.row();
    t.end();
}

int figure_decimals(double value) {
    if (wzmis(value)) value = 0;
    return vekpfmt(value, std::fabs(value) < 1 ? 8 : 9, decimals_limit);
}

void print_fit_statistics(const DependentReport& r, const ResponseSums& y) {
    const ModelBlock& zgm = r.F.zgm;
    const double rsquare = r_square(r, y);
    const double root_mse = wzmis(r.error.ms) ? missing : std::sqrt(r.error.ms);
    const double mean = y.sum / zgm.sumw;
    double cv = missing;
    if (!wzmis(root_mse)) {
        if (mean != 0) {
            cv = root_mse * 100 / mean;
        } else if (root_mse > 0) {
            cv = vzmissing('I');
        }
    }
    Table t(r.out, "FitStatistics", rdvmsg(172, 315));
    t.attribute("yname", r.name);
    t.number("RSquare", rsquare)
        .number("CV", cv, 10, wzmis(cv) ? 2 : figure_decimals(cv))
        .number("RootMSE", root_mse, 10, wzmis(root_mse) ? vekpfmt(0, 8, decimals_limit) : figure_decimals(root_mse))
        .number("DepMean", mean, 10, figure_decimals(mean));
    t.bind("drim.VEK.FitStatistics");
    t.row();
    if (zgm.noint == 1 && zgm.nabsorb == 0 && zgm.nclass == 0) t.note(rdvmsg(172, 248));
    t.end();
}

/// The tests of one type: absorbed variables first with Type I, then the effects.
void print_type(const DependentReport& r, int type) {
    const MainBlock& F = r.F;
    const ModelBlock& zgm = F.zgm;
    const bool sequential = type % 5 == 1;
    const int first = first_reported_effect(F);
    const auto absorbed_ss = [&](int i) { return zgm.absss[static_cast<std::ptrdiff_t>(i) * zgm.nyp + r.k]; };
    double largest = 0;
    bool hasother = false;
    if (sequential) {
        for (int i = 0; i < zgm.nabsorb; ++i) largest = std::max(largest, absorbed_ss(i));
    }
    for (int e = first; e <= zgm.neff; ++e) {
        largest = std::max(largest, r.effect_ss(type, e));
        if (type == 4 && F.t4unique[e] == 0) hasother = true;
    }
    AnovaRow row;
    const std::int32_t shown_type = type;
    Table t(r.out, "ModelANOVA", rdvmsg(172, 316, type_name(F, type)));
    t.integer("HypothesisType", shown_type);
    veksshd(t, F, type);
    vekdaov(t, row, vekpfmt(largest, 12, decimals_limit), "drim.VEK.Tests", hasother, nullptr, nullptr, 0, F.efnamew);
    if (sequential) {
        for (int i = 0; i < zgm.nabsorb; ++i) {
            row = {.label = zgm.absorb[i].name, .df = zgm.absorb[i].nlevels, .ss = absorbed_ss(i)};
            vekfaov(row, r.error);
            t.row();
        }
    }
    for (int e = first; e <= zgm.neff; ++e) {
        row = {.label = zgm.effects[e]->text(),
               .df = effect_df(F, type, e),
               .other = type == 4 && F.t4unique[e] == 0 ? 1 : 0,
               .ss = r.effect_ss(type, e)};
        vekfaov(row, r.error);
        t.row();
    }
    t.end();
    if (hasother) xpm(172, 104);
}

void print_model_tests(const DependentReport& r) {
    const MainBlock& F = r.F;
    const bool anova = (F.flags & flag_anova) != 0;
    for (int type : {1, 2, 3, 4, 6}) {
        const bool wanted = anova ? type == 6 : type <= 4 && (F.sstypes & sstype_bit(type)) != 0;
        if (!wanted) continue;
        if (F.zgm.neff == 0 && F.zgm.nabsorb > 0 && type % 5 != 1) continue;
        print_type(r, type);
    }
}

void print_variable_notes(const MainBlock& F) {
    const auto named = [](const VariableDescriptor& v) { return v.label.empty() ? v.name : v.label; };
    if (F.zgm.nfreq > 0) xpm(172, 155, F.freqvar.name, named(F.freqvar));
    if (F.zgm.nwgt > 0) xpm(172, 154, F.wgtvar.name, named(F.wgtvar));
}

AnovaRow error_of_fit(const MainBlock& F, int k) {
    AnovaRow error;
    error.df = static_cast<std::int32_t>(std::clamp<std::int64_t>(F.dferror, -largest_df, largest_df));
    error.ss = error_ss(F, k);
    error.ms = error_ms(F, error.ss);
    return error;
}

bool wants_solution(const MainBlock& F) {
    const ModelBlock& zgm = F.zgm;
    if (zgm.nclass == 0 && zgm.nreg == 0 && zgm.nabsorb > 0) return false;
    return model_option(F, model_solution) || zgm.nclass == 0;
}

bool wants_predictions(const MainBlock& F) {
    return model_option(F, model_predicted) || model_option(F, model_clm) || model_option(F, model_cli);
}

void report_dependent(MainBlock& F, int pending, const TableRanges& ranges, HostObject* out, int k) {
    const ModelBlock& zgm = F.zgm;
    const int y = zgm.ylist[k];
    DependentReport r{.F = F, .k = k, .out = out, .matrix = F.yypack, .error = error_of_fit(F, k), .name = F.ynames[y]};
    Folder folder;
    folder.open(out, r.name, r.name, {.key = "Dependent", .width = F.ynamew});
    const VariableDescriptor descriptor = xvname(zgm.data, zgm.yvars[y]);
    if (out != nullptr) {
        set_title(out, 3, rdvmsg(172, 129, descriptor.name, descriptor.label));
        apply_titles(out);
        print_variable_notes(F);
    }
    if ((pending & pending_model) != 0 && out != nullptr) {
        const ResponseSums sums = response_sums(r);
        print_overall(r, sums);
        print_fit_statistics(r, sums);
        print_model_tests(r);
    }
    if ((pending & pending_contrasts) != 0) print_contrasts(r, ranges.contrasts);
    if ((pending & pending_tests) != 0 && out != nullptr) print_alternate_tests(r, ranges.tests);
    if ((pending & pending_contrasts) != 0 && out != nullptr) print_alternate_contrasts(r, ranges.contrasts);
    if ((pending & pending_estimates) != 0 && out != nullptr) print_estimates(r, ranges.estimates);
    if ((pending & pending_model) != 0 && (F.flags & flag_anova) == 0 && out != nullptr) {
        if (wants_solution(F)) veksol(F, k);
        if (wants_predictions(F)) vekplst(F, k);
    }
    folder.close();
}

}  // namespace

double DependentReport::effect_ss(int type, int effect) const {
    get_matrix(F, F.zgm, type % 5, effect, matrix);
    return matrix[zisub(k, k)];
}

double DependentReport::contrast_ss(int contrast) const {
    get_contrast_matrix(F, contrast, matrix);
    return matrix[zisub(k, k)];
}

int effect_df(const FitState& F, int type, int effect) {
    switch (type) {
        case 1:
        case 6:
            return F.df1[effect];
        case 2:
            return F.df2[effect];
        case 3:
            return F.df3[effect];
        case 4:
            return F.df4[effect];
        default:
            return -9999;
    }
}

int first_reported_effect(const MainBlock& F) { return total_is_uncorrected(F) ? F.zgm.noint : 1; }

AnovaRow error_term(const DependentReport& report, const Effect& effect, int type) {
    AnovaRow error;
    error.df = effect_df(report.F, type, effect.number);
    error.ss = report.effect_ss(type, effect.number);
    error.ms = error.df == 0 ? missing : std::max(0.0, error.ss / error.df);
    return error;
}

void vektabl(int pending, const TableRanges& ranges) {
    MainBlock& F = mainblock();
    const bool printing = F.out != nullptr && !model_option(F, model_nouni);
    HostObject* out = printing ? F.out : nullptr;
    Folder folder;
    folder.open(out, "ANOVA", rdvmsg(172, 313));
    for (int k = 0; k < F.zgm.nyp; ++k) report_dependent(F, pending, ranges, out, k);
    end_titles_from(out, 3);
    folder.close();
}

}  // namespace vek
