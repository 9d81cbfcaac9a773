// vek: the run-group driver. Statements collect in the chain of PROC; RUN, QUIT and the end of the step run what is new
// through the dispatcher: once and then statement by statement, or, with BY groups or several missing-value patterns,
// once for every group and pattern.
#include "frame/vek.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "frame/host_data.h"
#include "frame/host_message.h"
#include "frame/host_statement.h"
#include "frame/mainblock.h"
#include "frame/table.h"
#include "frame/vekpars.h"
#include "means/homogeneity.h"
#include "model/zgminit.h"
#include "model/zgmpsl.h"
#include "output/vekout.h"

namespace vek {

namespace {

constexpr int runstate_none = 0, runstate_initialising = 1, runstate_before_groups = 2, runstate_pass = 3,
              runstate_all_done = 4;
constexpr int rc_no_undo = 2001, rc_nothing_appended = 3000;

/// Calls the dispatcher; the WHERE gate is shut meanwhile.
Statement* dispatch(Statement* first, int phase) {
    MainBlock& F = mainblock();
    F.idle = 0;
    Statement* last = vekpars(first, phase);
    F.idle = 1;
    return last;
}

/// Completes the data sets that statements write.
void close_data_sets(MainBlock& F) {
    close_output(F);
    close_means_output(proc().head);
}

[[noreturn]] void vekterm(int code) {
    close_data_sets(mainblock());
    xexit(code, 0);
}

/// The data sets that statements have begun to write begin anew when the statement is carried out again.
void abandon_data_sets(MainBlock& F) {
    for (Statement* s = proc().head; s != nullptr; s = s->next) {
        if (s->work == nullptr) continue;
        s->work = nullptr;
        for (int k = 0; k <= s->highest; ++k) {
            if (s->slot(k).type == slot_output) xoclose(s->slot(k).handle);
        }
    }
    F.outds = nullptr;
    F.outstate = nullptr;
}

bool has_by_or_passes(const Proc& P, const MainBlock& F) {
    return P.head != nullptr && (P.head->slot(proc_by).count > 0 || F.zgm.npass > 1);
}

/// All passes of the current BY group; each starts from rewound utility files and an empty work area.
void run_passes() {
    MainBlock& F = mainblock();
    F.passstop = 0;
    for (zgmpsli(F.zgm); zgmpslc(F.zgm); zgmpsln(F.zgm)) {
        Folder folder;
        if (F.zgm.npass > 1 && F.out != nullptr) {
            char name[32];
            std::snprintf(name, sizeof name, "MissPattern%d", F.zgm.pass);
            folder.open(F.out, name, rdvmsg(172, 343, F.zgm.pass),
                        {.key = "MissPattern", .number = static_cast<double>(F.zgm.pass), .numbered = true});
        }
        F.ncontrast = F.nestimate = F.ntest = 0;
        F.runstate = runstate_pass;
        dispatch(proc().head, phase_pass);
        rewind_work(F);
        folder.close();
    }
}

/// The BY groups from the next one on.
void run_groups(bool final) {
    MainBlock& F = mainblock();
    while (xbynext(F.zgm.data)) {
        dispatch(proc().head, phase_levels);
        run_passes();
    }
    close_data_sets(F);
    if (final) vekterm(proc().rc);
    F.runstate = runstate_all_done;
}

int vekdo(bool final) {
    MainBlock& F = mainblock();
    Proc& P = proc();
    if (P.rc != 0) {
        if (final) vekterm(P.rc);
        return 0;
    }
    if (has_by_or_passes(P, F)) {
        if (!final) {
            xpmlog(172, P.head->slot(proc_by).count > 0 ? 1 : 227);
        } else if (F.runstate == runstate_all_done) {
            vekterm(P.rc);
        }
        if (F.runstate != runstate_none) return 0;
        // BY behind the first RUN: what has been carried out for all observations is carried out for each group.
        if (F.modelstmt != nullptr) abandon_data_sets(F);
        F.runstate = runstate_initialising;
        dispatch(P.head, phase_initialise);
        if (F.modelstmt != nullptr) {
            F.runstate = runstate_before_groups;
            run_groups(final);
        } else {
            // There was no MODEL statement, and nothing to carry out: a later RUN can be the first.
            F.runstate = runstate_none;
            if (final) vekterm(P.rc);
        }
        return 0;
    }
    if (F.resume == nullptr) F.resume = P.head;
    if (F.resume != nullptr && F.resume->next != nullptr) {
        F.resume = dispatch(F.resume->next, F.runstate);
        // A run that turned out to need several passes is done here, pass by pass, for its only group.
        if (F.zgm.npass > 1) {
            run_passes();
            run_groups(final);
            return 0;
        }
        close_data_sets(F);
    }
    if (final) vekterm(P.rc);
    return 0;
}

int vekquit() { return vekdo(true); }
int vekrun() { return vekdo(false); }

/// The gate for WHERE: it can still apply while no data have been read, and during the dispatcher's own calls.
int vekwchk() {
    const MainBlock& F = mainblock();
    return F.idle == 0 ? 1 : F.nodatayet;
}

struct ListStatement {
    std::string_view keyword;
    int slot;
};
constexpr ListStatement list_statements[] = {
    {"ABSORB", proc_absorb}, {"CLASS", proc_class}, {"FREQ", proc_freq}, {"ID", proc_id}, {"WEIGHT", proc_weight}};

/// An interrupt stops the statements of its run group; they do not run again. A model that had not been fitted is.
void resume_behind_interrupt(MainBlock& F, const Proc& P) {
    if (F.runstate == runstate_none && F.modelstmt != nullptr && F.inmodel == 0) F.resume = P.last;
}

/// A statement begins; true refuses it.
bool vekchk() {
    MainBlock& F = mainblock();
    Proc& P = proc();
    if (F.idle == 0) {
        F.idle = 1;  // a dispatcher that an interrupt has ended is over
        abandon_data_sets(F);
        resume_behind_interrupt(F, P);
    }
    if (P.state != -2) P.state = -1;
    F.undoslot = -1;
    const std::string_view keyword = xttkcur();
    F.stmtname = array<char>(xmainpool(), static_cast<std::int64_t>(keyword.size()) + 1);
    std::copy(keyword.begin(), keyword.end(), F.stmtname);
    if (keyword == "MODEL") {
        if (F.modelseen == 0) {
            F.modelseen = 1;
        } else {
            xpmlog(172, 38);
            F.modelseen = 2;
        }
    }
    for (const ListStatement& list : list_statements) {
        if (keyword != list.keyword) continue;
        F.undoslot = list.slot;
        if (P.head != nullptr) F.undocount = P.head->slot(list.slot).count;
    }
    const bool refused = F.modelseen == 2;
    if (refused) F.modelseen = 1;
    return refused;
}

/// The MODEL statement failed: no trace of it stays, and a corrected one is accepted.
void forget_model() {
    MainBlock& F = mainblock();
    const Proc& P = proc();
    if (P.efblock != nullptr) P.efblock->efhead = P.efblock->eftail = nullptr;
    if (P.head != nullptr) P.head->slot(proc_continuous).count = 0;
    if (P.last != nullptr && P.last != P.head && P.last->is("MOD")) {
        P.last->slot(4).count = 0;
        P.last->slot(5).count = 0;
    }
    F.modelseen = 0;
}

/// A statement has been parsed, well or badly.
int vekfix() {
    MainBlock& F = mainblock();
    Proc& P = proc();
    if (P.rc == 0) {
        if (F.namelen == 0) {
            F.namelen = 20;
            F.alpha = 0.05;
            if (P.head != nullptr) {
                if (P.head->highest >= proc_namelen && P.head->slot(proc_namelen).given()) {
                    F.namelen = static_cast<int>(P.head->slot(proc_namelen).value);
                }
                if (P.head->highest >= proc_alpha && P.head->slot(proc_alpha).given()) {
                    F.alpha = P.head->slot(proc_alpha).value;
                }
            }
            zefprsi(P, F.namelen, 1);
        }
        return 0;
    }
    xttksp();
    if (F.stmtname != nullptr && std::string_view(F.stmtname) == "MODEL") forget_model();
    if (myundo(P, true) == 0) P.rc = 0;
    return 0;
}

int vekwhe() {
    Proc& P = proc();
    if (P.rc != 0 && myundo(P, true) == 0) P.rc = 0;
    return 0;
}

/// With a new condition the observations begin anew.
int vekwhe_end() {
    if (proc().rc == 0) mainblock().ingroup = false;
    return vekwhe();
}

constexpr Callbacks callbacks{.quit = vekquit,
                              .statement_parsed = vekfix,
                              .statement_begins = vekchk,
                              .run = vekrun,
                              .where = vekwhe,
                              .where_end = vekwhe_end};

}  // namespace

int myundo(Proc& proc, bool announce) {
    const MainBlock& F = mainblock();
    if (F.interactive == 0 || proc.state < -1) return 1;
    if (proc.rc == rc_no_undo) {
        proc.state = -2;
        return 1;
    }
    if (!(proc.rc == rc_nothing_appended && proc.state == -1)) {
        if (proc.last == nullptr) {
            xpmlog(211, 1);
            xexit(rc_nothing_appended, 0);
        }
        if (proc.last == proc.head || proc.head == nullptr) {
            if (!proc.headdone) {
                if (proc.head != nullptr) zstmtfr(&proc, proc.last);
                proc.state = -2;
                return 1;
            }
            // A list statement wrote into the PROC record: its variables go.
            if (proc.head != nullptr && F.undoslot > 0) {
                proc.head->slot(F.undoslot).count = std::max(0, F.undocount);
            }
        } else {
            proc.last = zstmtfr(&proc, proc.last);
        }
    }
    if (announce) xpmlog(211, 2);
    return 0;
}

void vek() {
    MainBlock& F = mainblock();
    F.zgm.pass = 1;
    F.zgm.mainpool = xmainpool();
    xowgate(vekwchk);
    const std::string_view invoked = wtinfo(1);
    F.interactive = static_cast<int>(xyrngef("INTERACTIVE", 0));
    xobinit(&F.outroot, 0);
    F.grammar = invoked.substr(0, 3) == "VEK" ? vekg() : vekang();
    const Proc& P = proc();
    xsproc(F.grammar, &proc(), (P.semtrace ? trace_semantic : 0) | (P.syntrace ? trace_syntax : 0), &callbacks);
}

}  // namespace vek
