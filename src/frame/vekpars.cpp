// vekpars: the statement dispatcher. The first statement of a model triggers initialisation, the pass over the data,
// the design, the crossproducts and the sums of squares; each later statement calls its analysis in chain order. The
// tables of the model are held back until the first statement that prints.
#include "frame/vekpars.h"

#include <algorithm>
#include <string>

#include "core/vekestl.h"
#include "core/vekpp.h"
#include "core/vekput.h"
#include "core/vekss.h"
#include "core/vektabl.h"
#include "frame/analyses.h"
#include "frame/host_data.h"
#include "frame/host_message.h"
#include "frame/host_statement.h"
#include "frame/mainblock.h"
#include "frame/table.h"
#include "model/vekinit.h"
#include "model/vekxpx.h"
#include "model/zgmbldi.h"
#include "model/zgmpsl.h"
#include "model/zlvknt.h"

namespace vek {

namespace {

constexpr int no_usable_observation = -99;

/// What one call of the dispatcher keeps.
struct Dispatch {
    int phase;
    int pending = 0;          ///< computed and not yet printed: pending_model, pending_contrasts, ...
    bool showtables = false;  ///< the model tables go to the output
    TableRanges ranges{};     ///< of the CONTRAST, ESTIMATE and TEST statements of this call
    Statement* outstmt = nullptr;
};

bool show_tables(const MainBlock& F, const Proc& P) {
    constexpr int nouni = 19;
    if (F.modelstmt == nullptr) return false;
    return !F.modelstmt->option(nouni) || P.head->slot(proc_outstat).type == slot_output;
}

void trace(const MainBlock& F, const char* line) {
    if ((F.flags & flag_trace) != 0) xpsout("%s", line);
}

/// Appends to a 1-based list of statements that grows by doubling.
void append(Statement**& list, int& count, int& capacity, Statement* statement) {
    ++count;
    if (count >= capacity) {
        const int larger = capacity == 0 ? 10 : 2 * capacity;
        auto** grown = array<Statement*>(xmainpool(), larger);
        std::copy(list, list + capacity, grown);
        vmfree_handler(xmainpool(), list);
        list = grown;
        capacity = larger;
    }
    list[count] = statement;
}

void extend(IndexRange& range, int index) {
    if (range.first == 0) range.first = index;
    range.last = index;
}

/// The tables of the model, and what is pending with them, stand before the output of a later statement.
void ptabl(Dispatch& d) {
    if ((d.pending & pending_model) != 0 && d.showtables) {
        vektabl(d.pending, d.ranges);
        d.pending = 0;
        d.ranges = {};  // what was printed is not printed again
    }
}

/// True when the statement can go on; otherwise its message has been logged and the statement is skipped, or the
/// procedure ends.
bool allowed(bool refused, int message) {
    if (!refused) return true;
    xpmlog(172, message);
    if (mainblock().interactive == 0) xexit(2000, 0);
    return false;
}
bool has_model() { return allowed(mainblock().modelstmt == nullptr, 39); }
bool not_anova(int message) { return allowed((mainblock().flags & flag_anova) != 0, message); }

/// The type that a slot asks for, or the default one. The statement keeps it, so that another one is told of once. It
/// is not told of where it is of no use.
void check_type(Statement& s, int slot, std::string_view option, bool used = true) {
    const MainBlock& F = mainblock();
    if (s.highest < slot) return;
    double& type = s.slot(slot).value;
    const double asked = type;
    chktyp(&type, F.sstypes, F.defsstype);
    if (used && s.slot(slot).given() && type != asked) {
        report_other_type(F, option, static_cast<int>(asked), F.defsstype);
    }
}

bool has_error_effect(const Statement& s, int slot) { return s.highest >= slot && s.slot(slot).count > 0; }

bool has_absorbed(const Proc& P) { return P.head->slot(proc_absorb).count > 0; }

/// Of several OUTPUT statements the last one of the run group is carried out; the others are told of before anything
/// runs.
void report_outputs(const Proc& P, Statement* first) {
    if (has_absorbed(P)) return;  // each of them is refused
    Statement* before = nullptr;
    for (Statement* s = first; s != nullptr; s = s->next) {
        if (!s->is("OUT")) continue;
        if (before != nullptr) {
            xsnow(before);
            xpmlog(172, 995);
        }
        before = s;
    }
}

/// True for statements that go through the observations once more.
bool reads_observations(const Statement& s) {
    if (s.is("MOD")) return s.option(model_predicted) || s.option(model_clm) || s.option(model_cli);
    return s.is("MEA") || s.is("OUT") || s.is("LSM") || s.is("REP");
}

/// OUTPUT is remembered for the end of the call; MANOVA and REPEATED want the same observations for all responses.
/// Where nothing but the fit can read the observations, its sums are made while the data are read. With BY groups what
/// stands behind the RUN is not carried out.
void look_ahead(Dispatch& d, Statement* first) {
    MainBlock& F = mainblock();
    F.zgm.fitonly = d.phase == phase_levels || !xsmore();
    F.zgm.originshift = origin_shifts(F);
    for (Statement* s = first; s != nullptr; s = s->next) {
        if (s->is("OUT")) d.outstmt = s;
        if (s->is("MAN") || s->is("REP")) F.zgm.multivar = true;
        if (reads_observations(*s)) F.zgm.fitonly = false;
    }
}

/// The list of predicted values has room for some of the ID variables.
void report_ids(const MainBlock& F, const Proc& P, const Statement& model) {
    const bool listed = model.option(model_predicted) || model.option(model_clm) || model.option(model_cli);
    if (!listed || (F.flags & flag_noprint) != 0 || P.head->highest < proc_id) return;
    const int count = P.head->slot(proc_id).count;
    if (count > most_id_columns) xpmlog(172, 989, count, most_id_columns);
}

/// Forgets the fit that was made or begun before: MODEL is carried out again.
void forget_fit(MainBlock& F) {
    xorecount(F.zgm.data);
    rewind_work(F);
    xmpoold(F.zgm.pool);
    F.zgm.pool = nullptr;
    forget_levels(F.zgm);
    F.zgm.npass = 0;
    F.passstop = 0;
    F.ncontrast = F.nestimate = F.ntest = 0;
}

/// Enters the one group of a run without BY groups. A run that an interrupt has ended is in it already.
bool enter_group(MainBlock& F) {
    if (F.ingroup) {
        xbyrwnd(F.zgm.data);
    } else {
        F.ingroup = xbynext(F.zgm.data);
    }
    return F.ingroup;
}

enum class Levels { go_on, no_observation, several_passes };

/// Reads the data of the BY group: levels, records, passes.
Levels level_pass(Dispatch& d, Statement* s) {
    MainBlock& F = mainblock();
    look_ahead(d, s);
    Folder folder;
    folder.open(F.out, "Data", rdvmsg(172, 345));
    const int rc = zlvknt(F.zgm, F.out);
    folder.close();
    if (rc == -1) xpmlog(172, 284, 32767);
    if (rc < 0 || rc > 1) xexit(999, 347);
    F.nodatayet = 0;
    if (proc().head->slot(proc_outstat).type == slot_output) write_outstat(outstat_header);
    if ((F.flags & flag_trace) != 0) xpsout("return from veklev npass = %d", F.zgm.npass);
    if (F.zgm.npass == 0) {
        F.inmodel = 0;
        F.zgm.pass = 1;
        F.passstop = no_usable_observation;
        return Levels::no_observation;
    }
    if (F.zgm.npass > 1) return Levels::several_passes;
    zgmpsli(F.zgm);
    return Levels::go_on;
}

bool wants_design_folder(const Statement& model) {
    constexpr int design_options[] = {2, 4, 5, 6, 7, 12, 17, 18};  // E, E1 to E4, XPX, TOLERANCE, INVERSE
    return std::any_of(std::begin(design_options), std::end(design_options),
                       [&](int bit) { return model.option(bit); });
}

/// Design, crossproducts, sweep, hypotheses and their sums of squares of the pass.
void fit_model(Dispatch& d) {
    MainBlock& F = mainblock();
    zgmbldi(F.zgm);
    F.lny = F.zgm.neff + F.zgm.nyp + 1;
    if ((F.flags & flag_anova) != 0) {
        fit_anova();
        trace(F, "return from vekanov");
    } else {
        if (F.zgm.noint == 0) proc().efblock->efhead = F.zgm.effects[0];
        Folder folder;
        if (wants_design_folder(*F.modelstmt)) folder.open(F.out, "Design", rdvmsg(172, 346));
        vekxpx();
        trace(F, "return from vekxpx");
        vekestl();
        trace(F, "return from vekestl");
        vekss(vekss_model, nullptr);
        trace(F, "return from vekss");
        folder.close();
    }
    d.pending |= pending_model;
    F.inmodel = 0;
}

/// A CONTRAST or ESTIMATE: its rows, its test of estimability, its sum of squares. A rejected one leaves its list.
void contrast_or_estimate(Dispatch& d, Statement* s, bool contrast) {
    MainBlock& F = mainblock();
    Statement**& list = contrast ? F.contrasts : F.estimates;
    int& count = contrast ? F.ncontrast : F.nestimate;
    append(list, count, contrast ? F.contrastcap : F.estimatecap, s);
    if (contrast) check_type(*s, 7, "ETYPE", has_error_effect(*s, 6));
    const int rc = make_contrast(*s);
    trace(F, "return from vekcon");
    const int mode = contrast ? vekss_contrast : vekss_estimate;
    if (rc < 0) {
        vekss(-mode, s);
        xpmlog(172, contrast ? 41 : 43, s->slot(5).text());
        --count;
        return;
    }
    extend(contrast ? d.ranges.contrasts : d.ranges.estimates, count);
    vekss(mode, s);
    d.pending |= contrast ? pending_contrasts : pending_estimates;
}

/// One statement behind the model.
void dispatch_statement(Dispatch& d, Statement* s) {
    MainBlock& F = mainblock();
    if (s->is("CON")) {
        if (has_model() && not_anova(40)) contrast_or_estimate(d, s, true);
    } else if (s->is("EST")) {
        if (has_model() && not_anova(42)) contrast_or_estimate(d, s, false);
    } else if (s->is("TES")) {
        if (!has_model()) return;
        append(F.tests, F.ntest, F.testcap, s);
        extend(d.ranges.tests, F.ntest);
        check_type(*s, 1, "HTYPE");
        check_type(*s, 2, "ETYPE");
        d.pending |= pending_tests;
    } else if (s->is("MAN")) {
        if (!has_model()) return;
        ptabl(d);
        check_type(*s, 1, "HTYPE");
        check_type(*s, 2, "ETYPE", has_error_effect(*s, 4));
        run_manova(*s);
    } else if (s->is("REP")) {
        if (!has_model()) return;
        ptabl(d);
        run_repeated(*s);
    } else if (s->is("OUT")) {
        if (!not_anova(44)) return;
        d.outstmt = nullptr;
        if (F.zgm.nabsorb > 0) {
            xpmlog(172, 45);
        } else if (has_model()) {
            d.outstmt = s;
        }
    } else if (s->is("MEA")) {
        if (!has_model()) return;
        ptabl(d);
        run_means(*s);
    } else if (s->is("LSM")) {
        if (!not_anova(46)) return;
        if (F.zgm.nabsorb > 0) {
            xpmlog(172, 47);
        } else if (has_model()) {
            ptabl(d);
            check_type(*s, 5, "ETYPE", has_error_effect(*s, 4));
            run_lsmeans(*s);
        }
    } else if (s->is("RAN")) {
        if (!not_anova(48) || !has_model()) return;
        ptabl(d);
        run_random(*s);
    }
}

}  // namespace

void chktyp(double* type, int sstypes, int defsstype) {
    const int t = static_cast<int>(*type);
    if (t == 0 || (sstypes & sstype_bit(t & 7)) == 0) *type = defsstype;
}

void rewind_work(MainBlock& F) {
    for (UtilityFile* file : {F.zgm.ufile, F.ufile2, F.ufile3, F.ufile4}) {
        if (file != nullptr) xcpoint(file);
    }
    free_work_area(F);
}

Statement* vekpars(Statement* first, int phase) {
    if (first == nullptr) return nullptr;
    MainBlock& F = mainblock();
    const Proc& P = proc();
    if (first == P.head) F.inmodel = 0;
    Dispatch d{.phase = phase};
    d.showtables = show_tables(F, P);
    if ((F.flags & flag_trace) != 0) {
        xpsout("in vekpars, F.efhead = %p, PROC.head = %p, stmt = %p", static_cast<const void*>(F.zgm.efhead),
               static_cast<const void*>(P.head), static_cast<const void*>(first));
    }
    if (phase == phase_single && F.modelstmt != nullptr) report_outputs(P, first);
    Statement* last = nullptr;
    for (Statement* s = first; s != nullptr; last = s, s = s->next) {
        if (F.passstop == no_usable_observation) continue;
        xsnow(s);
        if (phase == phase_levels || phase == phase_pass) {
            if (s == P.head) F.inmodel = 1;
        } else if (s->is("MOD")) {
            F.modelstmt = s;
            F.inmodel = 1;
            d.showtables = show_tables(F, P);
        }
        if (F.inmodel == 1) {
            if (phase == phase_single || phase == phase_initialise) {
                if (F.zgm.data == nullptr) {
                    report_outputs(P, s);
                    xsnow(s);
                    vekinit();
                    report_ids(F, P, *s);
                } else {
                    forget_fit(F);
                    vekinit();
                }
                trace(F, "return from vekinit");
            }
            if (phase == phase_initialise) return nullptr;
            if (phase == phase_single && !enter_group(F)) return nullptr;
            if (phase == phase_single || phase == phase_levels) {
                const Levels levels = level_pass(d, s);
                if (levels == Levels::no_observation) continue;
                if (levels == Levels::several_passes) return nullptr;
            }
            if (phase == phase_levels) return nullptr;
            fit_model(d);
        } else if (phase != phase_initialise) {
            dispatch_statement(d, s);
        }
    }
    if (d.pending != 0 && d.showtables) vektabl(d.pending, d.ranges);
    if (d.outstmt != nullptr) {
        xsnow(d.outstmt);
        run_output(*d.outstmt);
    }
    xsnow(nullptr);
    return last;
}

}  // namespace vek
