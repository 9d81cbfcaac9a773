// The procedure's main block: the sum of the slices that each folder declares next to the code that fills it.
// Only functions that are called without parameters fetch it, and only they include this header.
#pragma once

#include <string>

#include "frame/host_storage.h"
#include "frame/host_table.h"
#include "frame/statement.h"
#include "model/fitstate.h"
#include "model/zgm.h"

namespace vek {

struct Grammar;

/// The run-group driver's and the dispatcher's fields.
struct FrameState {
    const Grammar* grammar = nullptr;
    int nodatayet = 1;    ///< until the class-level pass has read the data
    int interactive = 0;  ///< the host option INTERACTIVE
    int idle = 1;         ///< 0 during a call of the dispatcher
    int runstate = 0;
    bool ingroup = false;  ///< the group of a run without BY groups has been entered
    Statement* resume = nullptr;  ///< last statement executed in a single-pass run
    int passstop = 0;             ///< -99 when the BY group has no usable observation
    int modelseen = 0;
    int undoslot = -1;
    int undocount = 0;
    char* stmtname = nullptr;
    int namelen = 0;  ///< NAMELEN=; 0 until the first statement has been accepted
    double alpha = 0.05;
    Statement* modelstmt = nullptr;
    int inmodel = 0;
    int ncontrast = 0, nestimate = 0, ntest = 0;
    Statement **contrasts = nullptr, **estimates = nullptr, **tests = nullptr;  ///< 1-based; index 0 unused
    int contrastcap = 0, estimatecap = 0, testcap = 0;
    HostObject* outroot = nullptr;
    HostObject* out = nullptr;  ///< output manager; null under NOPRINT
    DataSet* outds = nullptr;   ///< the open data set of an OUTPUT statement
    void* outstate = nullptr;   ///< and what vekout keeps of it
};

constexpr int sstype_bit(int type) { return 0x80 >> type; }
constexpr int flag_multipass = 0x80, flag_manova = 0x40, flag_anova = 0x20, flag_trace = 0x10, flag_noprint = 0x08;

/// Set once by vekinit.
struct OptionState {
    int flags = 0;
    int sstypes = 0;    ///< sstype_bit(t) for each type wanted
    int defsstype = 3;  ///< default of ETYPE= and HTYPE=
    bool aliasing = false;
    int efnamew = 9;  ///< widest effect name
    const char** ynames = nullptr;  ///< dependent variables, then frequency, then weight
    int ynamew = 8, freqnamew = 8, wgtnamew = 8;
    VariableDescriptor freqvar, wgtvar;
    const char* typenames[7] = {};  ///< 0 the error's label, 1 to 4 the types, 5 contrasts, 6 the ANOVA procedure's
};

struct MainBlock : FrameState, OptionState, FitState {
    ModelBlock zgm;
};

MainBlock& mainblock();
Proc& proc();

}  // namespace vek
