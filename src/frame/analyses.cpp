// analyses: one line for each analysis of the dispatcher. What this version does not carry out is refused by name.
#include "frame/analyses.h"

#include <string_view>

#include "core/vekcon.h"
#include "frame/host_message.h"
#include "frame/host_storage.h"
#include "frame/mainblock.h"
#include "means/vekpmn.h"
#include "output/vekout.h"

namespace vek {

namespace {

/// An error of that statement alone; the step goes on without it.
void refuse(std::string_view what) { xpmlog(172, 990, what); }

}  // namespace

int make_contrast(Statement& statement) { return vekcon(mainblock(), statement); }
void run_manova(Statement&) { refuse("MANOVA"); }
void run_repeated(Statement&) { refuse("REPEATED"); }
void run_means(Statement& statement) { run_means_statement(mainblock(), statement); }
void run_lsmeans(Statement&) { refuse("LSMEANS"); }
void run_random(Statement&) { refuse("RANDOM"); }
void run_output(Statement& statement) { vekout(mainblock(), statement); }
void write_outstat(int what) {
    if (what == outstat_header) refuse("OUTSTAT=");
}
void fit_anova() {
    refuse("PROC ANOVA");
    xexit(2000, 0);
}

}  // namespace vek
