// zgminit: numbers the effects, finds the level sets and tables that they share, lays the observation record out and
// describes the variables. Everything made here lives with the procedure.
#include "model/zgminit.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "frame/host_message.h"
#include "frame/text.h"

namespace vek {

namespace {

constexpr int level_text_width = 16;

/// Puts continuous, crossed and nested variables into one array, so that the class part is one piece.
void join_variable_lists(Effect& e) {
    int* joined = array<int>(xmainpool(), e.ncont + e.nclass());
    int* end = std::copy_n(e.cont, e.ncont, joined);
    e.cont = joined;
    int* cross = end;
    end = std::copy_n(e.cross, e.ncross, end);
    e.cross = cross;
    std::copy_n(e.nest, e.nnest, end);
    e.nest = end;
}

/// Gives the class part of `e` the level set, and if the split into crossed and nested is the same the table, of the
/// first effect from `first` on with the same class variables in the same order; else new ones.
void assign_level_set(ModelBlock& zgm, const Effect* first, Effect& e) {
    const int n = e.nclass();
    if (n == 0) return;
    if (n == 1) {
        e.mod->levset = e.mod->table = e.cross[0];
        return;
    }
    const auto same_class_part = [&](const Effect& other) {
        return other.nclass() == n && std::equal(e.cross, e.cross + n, other.cross);
    };
    for (const Effect* other = first; other != &e; other = other->next) {
        if (!same_class_part(*other)) continue;
        if (e.mod->levset < 0) e.mod->levset = other->mod->levset;
        if (e.mod->table < 0 && other->ncross == e.ncross) e.mod->table = other->mod->table;
    }
    if (e.mod->levset < 0) e.mod->levset = zgm.nlevset++;
    if (e.mod->table < 0) e.mod->table = zgm.ntables++;
}

void collect_products(ModelBlock& zgm) {
    zgm.prodeff = array<Effect*>(xmainpool(), zgm.nprod);
    int k = 0;
    for (Effect* e = zgm.efhead; e != nullptr && k < zgm.nprod; e = e->next) {
        if (e->ncont > 1) zgm.prodeff[k++] = e;
    }
}

/// Keeps entry 0 for the intercept, and tells with which effect of the chain the numbering begins.
Effect* enter_intercept(ModelBlock& zgm) {
    Effect* intercept = remove_int(zgm);
    if (zgm.noint1 || zgm.nabsorb > 0) {
        zgm.modrecs[0] = int_mod_add();
    } else {
        zgm.effects[0] = intercept != nullptr ? intercept : int_ef_add();
        if (intercept != nullptr) intercept->mod = int_mod_add();
        zgm.modrecs[0] = zgm.effects[0]->mod;
    }
    const bool at_head = intercept != nullptr && intercept == zgm.efhead;
    return at_head ? intercept->next : zgm.efhead;
}

void allocate_level_arrays(ModelBlock& zgm) {
    Pool* pool = xmainpool();
    zgm.ylist = array<int>(pool, zgm.ny);
    zgm.curlev = array<int>(pool, zgm.ntables);
    zgm.tables = array<LevelTable>(pool, zgm.ntables);
    zgm.levvals = array<char(*)[16]>(pool, zgm.nclass);
    zgm.levraw = array<RawValue*>(pool, zgm.nclass);
    zgm.levlists = array<LevelList>(pool, zgm.nlevset);
    zgm.nlev = array<int>(pool, zgm.nlevset);
    zgm.absorb = array<AbsorbAcc>(pool, zgm.nabsorb);
    zgm.classes = array<ClassInfo>(pool, zgm.nclass);
    zgm.ynobs = array<std::int64_t>(pool, zgm.ny);
    zgm.ypass = array<std::int16_t>(pool, zgm.ny);
    zgm.ydescriptors = array<VariableDescriptor>(pool, zgm.ny);
}

/// The record: type, level numbers, change counters at a multiple of 4, values at a multiple of 8.
void lay_record_out(ModelBlock& zgm) {
    const int counters = (2 * zgm.nlevset + 5) & ~3;
    zgm.valoffset = (counters + 4 * zgm.nabsorb + 7) & ~7;
    const int values = zgm.ny + zgm.nreg + zgm.nprod;
    const int without_weights = zgm.valoffset + 8 * values;
    const bool weighted = zgm.nfreq + zgm.nwgt > 0;
    zgm.reclen = without_weights + (weighted ? 16 : 0);
    zgm.lrecl = zgm.multipass ? zgm.valoffset : zgm.reclen;
    zgm.rec = array<std::byte>(xmainpool(), without_weights + 16);

    zgm.rectype = reinterpret_cast<std::int16_t*>(zgm.rec);
    zgm.levidx = zgm.rectype + 1;
    zgm.abschange = reinterpret_cast<std::int32_t*>(zgm.rec + counters);
    zgm.yval = reinterpret_cast<double*>(zgm.rec + zgm.valoffset);
    zgm.xval = zgm.yval + zgm.ny;
    zgm.prodval = zgm.xval + zgm.nreg;
    zgm.wgtval = zgm.prodval + zgm.nprod;
    zgm.freqval = zgm.wgtval + 1;
}

/// The variables with values in the record, in the order dependents, regressors, frequency, weight.
void make_value_list(ModelBlock& zgm) {
    const int count = zgm.ny + zgm.nreg + zgm.nfreq + zgm.nwgt;
    zgm.vget = xvgeti(zgm.data, count);
    zgm.vplaces = array<int>(xmainpool(), count);
    int* place = zgm.vplaces;
    const auto add = [&](const int* variables, int n) {
        for (int i = 0; i < n; ++i) *place++ = xvgetd(zgm.vget, variables[i]);
    };
    add(zgm.yvars, zgm.ny);
    add(zgm.xvars, zgm.nreg);
    add(zgm.freqvars, zgm.nfreq);
    add(zgm.wgtvars, zgm.nwgt);
    xvgete(zgm.vget);
}

void make_dependent_effects(ModelBlock& zgm) {
    for (int i = 0; i < zgm.ny; ++i) {
        zgm.ydescriptors[i] = xvname(zgm.data, zgm.yvars[i]);
        Effect* e = object<Effect>(xmainpool());
        e->kind = effect_kind_dependent;
        e->ncont = 1;
        e->number = i;
        e->name = pool_text(xmainpool(), zgm.ydescriptors[i].name);
        e->namelen = static_cast<int>(zgm.ydescriptors[i].name.size());
        zgm.yeffects[i] = e;
    }
}

void describe_class_variables(ModelBlock& zgm) {
    for (int i = 0; i < zgm.nclass; ++i) {
        const VariableDescriptor variable = xvname(zgm.data, zgm.classvars[i]);
        ClassInfo& info = zgm.classes[i];
        info.name = pool_text(xmainpool(), variable.name);
        info.namelen = static_cast<int>(variable.name.size());
        info.type = variable.type;
        info.fmtwidth = variable.format.empty() ? variable.length : variable.formatwidth;
        if (info.fmtwidth > level_text_width) xpmlog(172, 14, info.fmtwidth, variable.name);
    }
}

/// B(A), C(A B): an ABSORB variable is nested in those before it. A name that gets longer than `limit` ends in a mark.
std::string absorb_name(const ModelBlock& zgm, int variable, int limit) {
    const auto own_name = [&](int i) {
        return wzstrip(xvname(zgm.data, zgm.absvars[i]).name.substr(0, static_cast<std::size_t>(limit)));
    };
    const std::string own(own_name(variable));
    if (variable == 0) return own;
    std::string name = own;
    for (int i = 0; i < variable; ++i) {
        name += i == 0 ? '(' : ' ';
        name += own_name(i);
        if (static_cast<int>(name.size()) + 1 <= limit) continue;
        const std::string mark = rdvmsg(172, 120);
        const int latest = limit - static_cast<int>(mark.size());
        const int place = std::max(0, std::min(static_cast<int>(own.size()) - 2, latest));
        return own.substr(0, static_cast<std::size_t>(place)) + mark.substr(0, static_cast<std::size_t>(limit));
    }
    return name + ')';
}

void describe_absorb_variables(ModelBlock& zgm, int namelen) {
    for (int i = 0; i < zgm.nabsorb; ++i) {
        const VariableDescriptor variable = xvname(zgm.data, zgm.absvars[i]);
        zgm.absorb[i].type = variable.type;
        zgm.absorb[i].name = pool_text(xmainpool(), absorb_name(zgm, i, namelen));
        if (variable.length > level_text_width) xpmlog(172, 15, variable.length, variable.name);
    }
}

/// Tells each effect where its continuous value of the current observation stands.
void place_continuous_values(ModelBlock& zgm) {
    double* product = zgm.prodval;
    for (Effect* e = zgm.efhead; e != nullptr; e = e->next) {
        if (e->ncont == 1) e->mod->value = zgm.xval + e->cont[0];
        if (e->ncont > 1) e->mod->value = product++;
    }
}

}  // namespace

EffectBlock* zefprsi(Proc& proc, int namelen, int mode) {
    proc.efblock = object<EffectBlock>(xmainpool());
    proc.efblock->namelen = namelen;
    proc.efblock->mode = mode;
    return proc.efblock;
}

EffectMod* int_mod_add() { return object<EffectMod>(xmainpool()); }

Effect* int_ef_add() {
    Effect* e = object<Effect>(xmainpool());
    const std::string name = rdvmsg(172, 121);
    e->kind = effect_kind_model;
    e->name = pool_text(xmainpool(), name);
    e->namelen = static_cast<int>(name.size());
    e->mod = int_mod_add();
    return e;
}

Effect* remove_int(ModelBlock& zgm) {
    Effect* before = nullptr;
    Effect* e = zgm.efhead;
    while (e != nullptr && e->ncont + e->nclass() > 0) {
        before = e;
        e = e->next;
    }
    if (e != nullptr && before != nullptr) {
        before->next = e->next;
        e->next = nullptr;
        e->mod = int_mod_add();
    }
    return e;
}

void init_effects(ModelBlock& zgm, int withint) {
    zgm.modrecs = array<EffectMod*>(xmainpool(), withint + zgm.neff);
    zgm.effects = array<Effect*>(xmainpool(), withint + zgm.neff + zgm.ny);
    zgm.yeffects = zgm.effects + withint + zgm.neff;
    Effect* first = withint == 1 ? enter_intercept(zgm) : zgm.efhead;

    zgm.ntables = zgm.nlevset = zgm.nclass;
    zgm.nprod = 0;
    int number = withint;
    for (Effect* e = first; e != nullptr; e = e->next, ++number) {
        e->mod = object<EffectMod>(xmainpool());
        e->namelen = static_cast<int>(std::strlen(e->name));
        e->kind = effect_kind_model;
        e->number = number;
        if (number < withint + zgm.neff) {
            zgm.effects[number] = e;
            zgm.modrecs[number] = e->mod;
        }
        e->mod->nvars = e->ncont + e->nclass();
        if (e->ncont > 1) ++zgm.nprod;
        join_variable_lists(*e);
        assign_level_set(zgm, first, *e);
    }
    collect_products(zgm);
}

void lev_init(ModelBlock& zgm, int namelen) {
    constexpr int prepare_formats = 70;
    if (zgm.nclass > 0) xffile(zgm.data, prepare_formats, zgm.classvars, zgm.nclass);
    if (zgm.nabsorb > 0) xffile(zgm.data, prepare_formats, zgm.absvars, zgm.nabsorb);
    allocate_level_arrays(zgm);
    lay_record_out(zgm);
    make_value_list(zgm);
    make_dependent_effects(zgm);
    for (int i = 0; i < zgm.nabsorb; ++i) {
        const int* end = zgm.classvars + zgm.nclass;
        if (std::find(zgm.classvars, zgm.classvars + zgm.nclass, zgm.absvars[i]) != end)
            xpmlog(172, 13, xvname(zgm.data, zgm.absvars[i]).name);
    }
    describe_class_variables(zgm);
    describe_absorb_variables(zgm, namelen);
    place_continuous_values(zgm);
}

void zgminit(ModelBlock& zgm, int withint, int namelen) {
    if (zgm.mainpool == nullptr) zgm.mainpool = xmainpool();
    init_effects(zgm, withint);
    lev_init(zgm, namelen);
}

}  // namespace vek
