// vekinit: turns the PROC and MODEL statement records into the main block, and names the dependent, frequency and weight
// variables for the reports.
#include "model/vekinit.h"

#include <algorithm>
#include <string>

#include "frame/host_message.h"
#include "frame/mainblock.h"
#include "frame/table.h"
#include "frame/text.h"
#include "model/zgminit.h"

namespace vek {

namespace {

constexpr int proc_option_anova = 1, proc_option_debug = 2, proc_option_multipass = 3, proc_option_manova = 4,
              proc_option_noprint = 5;
constexpr int model_noint = 1, model_aliasing = 21;
constexpr int model_singular = 2, model_dependents = 4, model_effects = 5;

int option_flags(const Statement& head) {
    int flags = 0;
    if (head.option(proc_option_anova)) flags |= flag_anova;
    if (head.option(proc_option_debug)) flags |= flag_trace;
    if (head.option(proc_option_multipass)) flags |= flag_multipass;
    if (head.option(proc_option_manova)) flags |= flag_manova;
    if (head.option(proc_option_noprint)) flags |= flag_noprint;
    return flags;
}

void copy_list(const Statement& from, int slot, int* count, int** list) {
    *count = from.slot(slot).count;
    *list = from.slot(slot).variables().data();
}

void copy_lists(ModelBlock& zgm, const Statement& head, const Statement& model) {
    copy_list(head, proc_continuous, &zgm.nreg, &zgm.xvars);
    copy_list(head, proc_class, &zgm.nclass, &zgm.classvars);
    copy_list(head, proc_freq, &zgm.nfreq, &zgm.freqvars);
    copy_list(head, proc_weight, &zgm.nwgt, &zgm.wgtvars);
    copy_list(head, proc_absorb, &zgm.nabsorb, &zgm.absvars);
    copy_list(model, model_dependents, &zgm.ny, &zgm.yvars);
    zgm.neff = model.slot(model_effects).count;
}

void check_statements(const ModelBlock& zgm, bool anova) {
    if (zgm.nfreq > 1) {
        xpmlog(172, 9);
        xexit(2000, 202);
    }
    if (zgm.nwgt > 1) {
        xpmlog(172, 10);
        xexit(2000, 203);
    }
    if (!anova) return;
    if (zgm.nwgt > 0) xpmlog(172, 117);
    if (zgm.nreg > 0) {
        xpmlog(172, 114);
        xexit(2000, 204);
    }
    if (zgm.nclass == 0 && zgm.neff > 0) {
        xpmlog(172, 115);
        xexit(2000, 205);
    }
}

int wanted_types(const Statement& model) {
    int types = 0;
    for (int t = 1; t <= 4; ++t) {
        if (model.option(t + 7) || model.option(t + 3)) types |= sstype_bit(t);
    }
    return types != 0 ? types : sstype_bit(1) | sstype_bit(3);
}

int highest_type(int types) {
    int highest = 1;
    for (int t = 2; t <= 4; ++t) {
        if ((types & sstype_bit(t)) != 0) highest = t;
    }
    return highest;
}

/// Names of the dependent variables, then of the frequency and weight variable, and the widths of their columns.
void yfw_names(MainBlock& F) {
    ModelBlock& zgm = F.zgm;
    F.ynames = array<const char*>(xmainpool(), zgm.ny + zgm.nfreq + zgm.nwgt);
    F.ynamew = 8;
    int k = 0;
    for (; k < zgm.ny; ++k) {
        const std::string_view name = xvname(zgm.data, zgm.yvars[k]).name;
        F.ynames[k] = pool_text(xmainpool(), name);
        F.ynamew = std::max(F.ynamew, static_cast<int>(name.size()));
    }
    const auto extra = [&](int count, const int* list, VariableDescriptor* descriptor, int* width) {
        if (count == 0) return;
        *descriptor = xvname(zgm.data, list[0]);
        F.ynames[k++] = pool_text(xmainpool(), descriptor->name);
        *width = std::max(8, static_cast<int>(descriptor->name.size()));
    };
    extra(zgm.nfreq, zgm.freqvars, &F.freqvar, &F.freqnamew);
    extra(zgm.nwgt, zgm.wgtvars, &F.wgtvar, &F.wgtnamew);
}

void fetch_texts(MainBlock& F) {
    constexpr int numbers[] = {128, 55, 56, 59, 60, 133, 134};
    for (int i = 0; i < 7; ++i) F.typenames[i] = pool_text(xmainpool(), rdvmsg(172, numbers[i]));
}

}  // namespace

void vekinit() {
    MainBlock& F = mainblock();
    Proc& P = proc();
    ModelBlock& zgm = F.zgm;
    Statement& head = *P.head;
    Statement& model = *F.modelstmt;

    zgm.efhead = P.efblock->efhead;
    F.abytes = 0;
    F.flags = option_flags(head);
    const bool anova = (F.flags & flag_anova) != 0;
    const bool noprint = (F.flags & flag_noprint) != 0;
    if (!noprint) F.out = make_manager(F.outroot);
    // Without any effect the intercept is all there is, and stays.
    if (zgm.efhead == nullptr) model.clear_option(model_noint);

    zgm.data = head.slot(proc_data).handle;
    zgm.ytrack = true;
    zgm.noprint = noprint;
    zgm.multivar = (F.flags & flag_manova) != 0;
    zgm.multipass = (F.flags & flag_multipass) != 0;
    zgm.noint1 = model.option(model_noint);
    const Slot& order = head.slot(proc_order);
    zgm.order = order.given() ? pool_text(xmainpool(), order.text().substr(0, 3)) : "FOR";
    if (std::string_view(zgm.order) == "EXT") zgm.order = "FOR";
    F.aliasing = model.option(model_aliasing);
    copy_lists(zgm, head, model);
    if (model.slot(model_singular).given()) F.singular = model.slot(model_singular).value;
    xvallv(zgm.data);
    set_procedure_title(F.out, rdvmsg(172, anova ? 11 : 12));
    check_statements(zgm, anova);
    zgminit(zgm, 1, F.namelen);
    if (zgm.effects[0] != nullptr && zgm.effects[0] != zgm.efhead) zgm.effects[0]->next = zgm.efhead;
    F.efnamew = 9;
    for (const Effect* e = zgm.efhead; e != nullptr; e = e->next) F.efnamew = std::max(F.efnamew, e->namelen);
    yfw_names(F);
    F.sstypes = wanted_types(model);
    F.defsstype = anova ? 6 : highest_type(F.sstypes);
    if (xoinfo(zgm.data, 23) != 1) xexit(0, 206);
    fetch_texts(F);
}

}  // namespace vek
