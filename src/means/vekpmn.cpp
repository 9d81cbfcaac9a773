// vekpmn: reads the level records of each effect back and turns them into a table of means, or, for the dependent
// variables of a class variable, into comparisons: lines, limits of means, limits of differences.
#include "means/vekpmn.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "core/parameter_label.h"
#include "core/report.h"
#include "core/vekpp.h"
#include "frame/host_message.h"
#include "frame/table.h"
#include "frame/text.h"
#include "means/homogeneity.h"
#include "means/options.h"
#include "means/unused.h"
#include "means/zmc.h"
#include "means/zmclimits.h"
#include "means/zmcline.h"
#include "model/vekutil.h"
#include "numeric/missing.h"
#include "numeric/packed.h"

namespace vek {

namespace {

constexpr int value_width = 12;

/// A variable of the table of means.
struct MeansVar {
    std::string name;
    double largest_mean = 0, largest_sd = 0;
    int mean_decimals = 0, sd_decimals = 0;
};

/// The error term of the statement: type 0 is the residual.
struct ErrorTerm {
    int type = 0;
    int effect = 0;
    int df = 0;
};

enum class Outcome { done, abandoned };

int msettype(const MainBlock& F, int t) {
    return t == 0 || t == F.defsstype || (F.sstypes & sstype_bit(t)) == 0 ? F.defsstype : t;
}

int slot_type(const MainBlock& F, const Slot& slot) {
    return msettype(F, slot.given() ? static_cast<int>(slot.value) : 0);
}

/// The slot keeps the type that is taken, so that another one than it asks for is told of once.
void settle_type(const MainBlock& F, Slot& slot, std::string_view option) {
    if (!slot.given()) return;
    const int asked = static_cast<int>(slot.value), taken = slot_type(F, slot);
    if (taken != asked) report_other_type(F, option, asked, taken);
    slot.value = taken;
}

int as_df(std::int64_t df) { return static_cast<int>(std::clamp<std::int64_t>(df, 0, 2147483647)); }

ErrorTerm error_of(const MainBlock& F, const Statement& s) {
    const auto effects = s.slot(means::slot_error).effects();
    if (!s.slot(means::slot_error).given() || effects.empty()) return {.df = as_df(F.dferror)};
    ErrorTerm error{.type = slot_type(F, s.slot(means::slot_etype)), .effect = effects[0]->number};
    error.df = effect_df(F, error.type, error.effect);
    return error;
}

/// Decimals of a column whose largest value that is; the best form when it does not fit.
int column_decimals(double largest) { return vekpfmt(largest, 11, 8); }

/// A MEANS statement while it is shown.
class MeansReport {
  public:
    MeansReport(MainBlock& main, Statement& statement)
        : F(main), zgm(main.zgm), s(statement), nvar(means_variables(main, statement)) {}
    void run(const std::vector<MeansEffect>& effects);

  private:
    Outcome show_effect(const MeansEffect& e, int ordinal);
    void describe_variables(const LevelRecords& records);
    void stop_comparisons();
    void print_means(const Effect& effect, const LevelRecords& records);
    Outcome compare(const Effect& effect, const LevelRecords& records, int ordinal);
    bool find_controls(const Effect& effect, int ordinal, int* control) const;
    void set_levels(McBlock& mc, const Effect& effect, const LevelRecords& records, int k) const;
    void set_error(McBlock& mc, const Effect& effect, int k) const;
    void compare_variable(const McBlock& effect_block, const Effect& effect, const LevelRecords& records, int k);
    void show_comparisons(McBlock& mc) const;

    MainBlock& F;
    ModelBlock& zgm;
    Statement& s;
    int nvar;
    std::vector<MeansVar> vars;
    bool anycontrol = false, anycompare = false;
    ErrorTerm error;
    QuantileCache quantiles;
    std::vector<double> matrix;  // [triny]
};

void MeansReport::stop_comparisons() {
    xpmlog(172, 50);
    anycompare = false;
}

/// Largest values of every variable, and from them the decimals of its columns.
void MeansReport::describe_variables(const LevelRecords& records) {
    for (std::size_t v = 0; v < vars.size(); ++v) {
        MeansVar& var = vars[v];
        var.largest_mean = var.largest_sd = 0;
        for (int i = 0; i < records.count; ++i) {
            const int n = records.head(i).n;
            const double mean = records.mean(i, static_cast<int>(v)), sd = records.sd(i, static_cast<int>(v));
            if (n > 0 && !wzmis(mean)) var.largest_mean = std::max(var.largest_mean, std::fabs(mean));
            if (n > 1 && !wzmis(sd)) var.largest_sd = std::max(var.largest_sd, std::fabs(sd));
        }
        var.mean_decimals = column_decimals(var.largest_mean);
        var.sd_decimals = column_decimals(var.largest_sd);
    }
}

void MeansReport::print_means(const Effect& effect, const LevelRecords& records) {
    const ParameterLabel labels(F);
    const auto nclass = static_cast<std::size_t>(effect.nclass());
    std::vector<std::string> level(nclass);
    std::vector<double> mean(vars.size()), sd(vars.size());
    std::int32_t n = 0;
    double sumw = 0;
    Table t(F.out, "Means", rdvmsg(172, 385));
    for (std::size_t c = 0; c < nclass; ++c) {
        const ClassInfo& info = zgm.classes[effect.cross[c]];
        t.text(info.name, info.fmtwidth, level[c], {.like = "level"}).column_attribute("cname", info.name);
    }
    t.integer("N", n);
    if (zgm.nwgt > 0) t.number("SumWgt", sumw, value_width, best_decimals);
    for (std::size_t v = 0; v < vars.size(); ++v) {
        const std::string mean_name = "Mean " + vars[v].name, sd_name = "SD " + vars[v].name;
        t.number(mean_name, mean[v], value_width, vars[v].mean_decimals, {.like = "mean"});
        t.column_attribute("hvar", vars[v].name).column_attribute("vars", mean_name).column_attribute("vare", sd_name);
        t.number(sd_name, sd[v], value_width, vars[v].sd_decimals, {.like = "SD"});
    }
    t.bind("drim.VEK.Means");
    for (int i = 0; i < records.count; ++i) {
        for (std::size_t c = 0; c < nclass; ++c) level[c] = labels.level(effect, i, static_cast<int>(c));
        n = records.head(i).n;
        sumw = records.head(i).sumw;
        for (std::size_t v = 0; v < vars.size(); ++v) {
            mean[v] = records.mean(i, static_cast<int>(v));
            sd[v] = records.sd(i, static_cast<int>(v));
        }
        t.row();
    }
    t.end();
}

/// Places of the control levels of Dunnett's tests. False when a level that was named does not exist.
bool MeansReport::find_controls(const Effect& effect, int ordinal, int* control) const {
    const int variable = effect.cross[0];
    const int nlev = zgm.tables[effect.mod->table].nlev;
    for (int i = 0; i < 3; ++i) {
        control[i] = 0;
        const Slot& slot = s.slot(means::slot_control + i);
        if (!s.option(means::dunnett + i) || !slot.given() || ordinal >= slot.count) continue;
        const std::string_view wanted = wzstjus(slot.levels()[static_cast<std::size_t>(ordinal)]);
        const char(*text)[16] = zgm.levvals[variable];
        const auto* found = std::find_if(
            text, text + nlev, [&](const char(&t)[16]) { return wzstjus(std::string_view(t, 16)) == wanted; });
        if (found == text + nlev) {
            xpmlog(172, 243, wanted, zgm.classes[variable].name);
            return false;
        }
        control[i] = static_cast<int>(found - text);
    }
    return true;
}

void MeansReport::set_levels(McBlock& mc, const Effect& effect, const LevelRecords& records, int k) const {
    const ParameterLabel labels(F);
    mc.level.resize(static_cast<std::size_t>(records.count));
    for (int i = 0; i < records.count; ++i) {
        McLevel& l = mc.level[static_cast<std::size_t>(i)];
        l.nobs = records.head(i).n;
        l.wsum = records.head(i).sumw;
        l.mean = records.mean(i, k);
        l.name = labels.level(effect, i, 0);
        l.index = i;
    }
}

/// Error mean square, and the F ratio that Waller and Duncan's test needs.
void MeansReport::set_error(McBlock& mc, const Effect& effect, int k) const {
    auto* work = const_cast<double*>(matrix.data());
    const auto diagonal = [&](int type, int number) {
        if (type == 0) {
            get_error_matrix(F, work);
            return std::max(0.0, work[zisub(k, k)]);
        }
        get_matrix(F, zgm, type % 5, number, work);
        return work[zisub(k, k)];
    };
    mc.mse = error.df == 0 ? 0 : diagonal(error.type, error.effect) / error.df;
    double hypothesis = 0;
    if (s.option(means::waller)) {
        const int type = slot_type(F, s.slot(means::slot_htype));
        const int df = effect_df(F, type, effect.number);
        if (df > 0) hypothesis = diagonal(type, effect.number) / df;
    }
    mc.fratio = mc.mse > 0 ? hypothesis / mc.mse : 9999.99;
    if (hypothesis == 0) mc.fratio = 0;
}

/// Chooses the displays and makes them. Limits come before lines, since the lines sort the levels.
void MeansReport::show_comparisons(McBlock& mc) const {
    bool lines = s.option(means::lines), pairs = s.option(means::cldiff);
    const bool limits = s.option(means::clm);
    if (!limits && !pairs && !lines) {
        lines = s.option(means::duncan) || s.option(means::waller) || s.option(means::snk) ||
                means::OrSFO(s, means::regwf, means::regwq);
        pairs = anycontrol;
        if (!lines && !pairs) {
            pairs = !mc.balanced && mc.nact > 2;
            lines = !pairs;
        }
    }
    if (!s.option(means::nosort)) zmcsort(mc);
    if (limits) zmcmean(s, mc, F.out);
    if (pairs) {
        for (int& c : mc.control) {
            c = static_cast<int>(
                std::find_if(mc.level.begin(), mc.level.end(), [c](const McLevel& l) { return l.index == c; }) -
                mc.level.begin());
        }
        zmcpair(s, mc, F.out);
    }
    if (lines) zmcline(s, mc, F.out);
}

void MeansReport::compare_variable(const McBlock& effect_block, const Effect& effect, const LevelRecords& records,
                                   int k) {
    McBlock mc = effect_block;
    mc.depname = vars[static_cast<std::size_t>(k)].name;
    Folder folder;
    folder.open(F.out, mc.depname, mc.depname, {.key = "Dependent", .width = F.ynamew});
    set_error(mc, effect, k);
    set_levels(mc, effect, records, k);
    zmceknt(mc);
    if (s.option(means::regwf)) {
        xpmlog(172, 308);
        report_note(F.out, rdvmsg(172, 309));
    }
    show_comparisons(mc);
    folder.close();
}

Outcome MeansReport::compare(const Effect& effect, const LevelRecords& records, int ordinal) {
    const double alpha = s.slot(means::slot_alpha).given() ? s.slot(means::slot_alpha).value : 0;
    const double kratio = s.slot(means::slot_kratio).given() ? s.slot(means::slot_kratio).value : 0;
    McBlock mc;
    mc.alpha = wzmis(alpha) || alpha <= 0 ? F.alpha : alpha;
    mc.kratio = wzmis(kratio) || kratio <= 0 ? 100.0 : kratio;
    mc.clsname = zgm.classes[effect.cross[0]].name;
    mc.dfe = error.df;
    mc.noint = zgm.noint != 0;
    mc.quantiles = &quantiles;
    if (!find_controls(effect, ordinal, mc.control)) return Outcome::abandoned;
    for (int k = 0; k < zgm.nyp; ++k) compare_variable(mc, effect, records, k);
    return Outcome::done;
}

Outcome MeansReport::show_effect(const MeansEffect& e, int ordinal) {
    const Effect& effect = *e.effect;
    if (anycompare && e.levels == 1) stop_comparisons();
    std::vector<std::byte> buffer;
    const LevelRecords records = read_level_records(F, e, nvar, buffer);
    int present = 0;
    for (int i = 0; i < records.count; ++i) present += records.head(i).n > 0 ? 1 : 0;
    if (anycompare && present == 1) stop_comparisons();
    describe_variables(records);
    if (anycompare && effect.nclass() == 1) return compare(effect, records, ordinal);
    print_means(effect, records);
    return Outcome::done;
}

void MeansReport::run(const std::vector<MeansEffect>& effects) {
    if (effects.empty()) return;
    Folder outer;
    outer.open(F.out, "Means", rdvmsg(172, 385));
    for (int k = 0; k < zgm.nyp; ++k) vars.push_back({.name = F.ynames[zgm.ylist[k]]});
    for (int i = 0; static_cast<int>(vars.size()) < nvar; ++i) {
        vars.push_back({.name = std::string(xvname(zgm.data, zgm.xvars[i]).name)});
    }
    matrix.resize(static_cast<std::size_t>(F.triny));
    anycontrol = means::OrSFO(s, means::dunnett, means::dunnettl);
    anycompare = means::OrSFO(s, means::duncan, means::dunnettl);
    if (anycompare && s.slot(means::slot_error).count > 0) settle_type(F, s.slot(means::slot_etype), "ETYPE");
    if (s.option(means::waller)) settle_type(F, s.slot(means::slot_htype), "HTYPE");
    error = error_of(F, s);
    if (anycompare && error.df < 1) {
        xpmlog(172, 49);
        anycompare = false;
    }
    if (s.option(means::plot)) xpmlog(172, 998);
    if (F.out != nullptr || s.slot(means::slot_hovout).handle != nullptr) report_unused(s, effects, anycompare);
    if (wants_homogeneity(F, s)) print_homogeneity(F, s, effects, F.out);
    int ordinal = 0;
    for (const MeansEffect& e : effects) {
        if (F.out == nullptr) break;
        Folder folder;
        folder.open(F.out, e.effect->text(), e.effect->text(), {.key = "Effect"});
        const Outcome outcome = show_effect(e, ordinal++);
        folder.close();
        if (outcome == Outcome::abandoned) break;
    }
    outer.close();
}

}  // namespace

void vekpmn(MainBlock& F, Statement& statement, const std::vector<MeansEffect>& effects) {
    MeansReport(F, statement).run(effects);
}

void run_means_statement(MainBlock& F, Statement& statement) { vekpmn(F, statement, vekmean(F, statement)); }

}  // namespace vek
