// estimable_tables: general form of the estimable functions and the functions of Types I to IV as tables, as
// coefficients of each parameter or, with ALIASING, as expansions of each row.
#include "core/estimable_tables.h"

#include <algorithm>
#include <string>
#include <vector>

#include "core/estimable_text.h"
#include "core/parameter_label.h"
#include "core/report.h"
#include "core/vekpp.h"
#include "frame/host_message.h"
#include "frame/table.h"
#include "model/vekutil.h"
#include "model/vekxpx.h"

namespace vek {

namespace {

/// Reads rows of file 3 or 2 with their ranges; `type` 0 takes all records.
void read_rows(HypothesisRows& H, UtilityFile* file, FilePosition position, int type) {
    clear_rows(H);
    xcpntd(file, position);
    RecordHeader header;
    FilePosition here = 0;
    while (get_header(file, &header) && header.row < H.ncol) {
        if (type != 0 && header.type != type) {
            xcnoted(file, &here);
            xcpntd(file, here + std::int64_t{8} * (header.last - header.first));
            continue;
        }
        xcget(file, H.rows[header.row] + header.first, header.last - header.first);
        set_range(H, header.row, header.first, header.last);
        H.active[header.row] = 1;
    }
}

void read_type(const MainBlock& F, HypothesisRows& H, int type) {
    const FilePosition position[] = {0, F.pos3t1, F.pos3t2, F.pos3t34, F.pos3t34};
    read_rows(H, F.ufile3, position[type], type);
}

void common_keys(Table& t, const MainBlock& F) {
    t.attribute("h1space", F.zgm.nabsorb == 0 ? 1 : 0);
    t.attribute("absorb", F.zgm.nabsorb > 0 ? 1 : 0);
}

std::size_t longest(const std::vector<std::string>& texts) {
    std::size_t n = 0;
    for (const std::string& text : texts) n = std::max(n, text.size());
    return n;
}

AliasLabel coded_label(const MainBlock& F) {
    return [&F](int e, int place) {
        const Effect& effect = *F.zgm.effects[e];
        return effect.nclass() == 0 ? std::string(effect.text()) : rdvmsg(172, 393, effect.text(), place + 1);
    };
}

/// Calls visit(effect, column within it, column of X) for every column in order.
template <class Visit>
void each_column(const ModelBlock& zgm, Visit visit) {
    for (int e = zgm.noint; e <= zgm.neff; ++e) {
        const EffectMod& mod = *zgm.modrecs[e];
        for (int k = 0; k < mod.ncols; ++k) visit(e, k, mod.firstcol + k);
    }
}

char control_of(const ModelBlock& zgm, int e, int k) { return k == 0 && e > zgm.noint ? '1' : ' '; }

void print_general(const MainBlock& F, HypothesisRows& H) {
    const ModelBlock& zgm = F.zgm;
    const ParameterLabel label(F);
    std::vector<std::string> coefficients;
    each_column(zgm, [&](int, int, int c) { coefficients.push_back(MakeCoef(H, c, H.active)); });
    std::string effect, coefficient;
    char control = ' ';
    Table t(F.out, "GEstFunc", rdvmsg(172, 324));
    common_keys(t, F);
    const int width = static_cast<int>(longest(coefficients));
    t.attribute("max_cwidth", width);
    t.text("Effect", label.width() + 1, effect).text("Coefficients", width, coefficient).character("Control", control);
    t.bind("drim.VEK.GEstFunc");
    each_column(zgm, [&](int e, int k, int c) {
        effect = label.text(e, k);
        coefficient = coefficients[static_cast<std::size_t>(c)];
        control = control_of(zgm, e, k);
        t.row();
    });
    t.end();
}

void print_general_aliases(const MainBlock& F, const HypothesisRows& H) {
    const AliasLabel label = coded_label(F);
    std::vector<std::string> expansions;
    for (int r = 0; r < H.ncol; ++r) {
        if (H.active[r] == 0) continue;
        std::string text = MakeAlias(F.zgm, H.rows[r], H.zeta, label);
        if (!text.empty()) expansions.push_back(std::move(text));
    }
    std::string alias;
    Table t(F.out, "GAliasing", rdvmsg(172, 325));
    common_keys(t, F);
    t.text("Alias", static_cast<int>(longest(expansions)), alias);
    t.bind("drim.VEK.GAliasing");
    for (const std::string& expansion : expansions) {
        alias = expansion;
        t.row();
    }
    t.end();
}

/// A column for each effect: the terms of the effect's own rows.
void print_type_coefficients(const MainBlock& F, const HypothesisRows& H, int type) {
    const ModelBlock& zgm = F.zgm;
    const ParameterLabel label(F);
    const int first = first_reported_effect(F);
    const int shown = zgm.neff - first + 1;
    std::vector<std::int16_t> active(static_cast<std::size_t>(H.ncol));
    std::vector<std::vector<std::string>> texts(static_cast<std::size_t>(shown));
    for (int i = 0; i < shown; ++i) {
        const EffectMod& mod = *zgm.modrecs[first + i];
        std::fill(active.begin(), active.end(), std::int16_t{0});
        std::copy(H.active + mod.firstcol, H.active + mod.firstcol + mod.ncols, active.begin() + mod.firstcol);
        each_column(zgm, [&](int, int, int c) {
            texts[static_cast<std::size_t>(i)].push_back(MakeCoef(H, c, active.data()));
        });
    }
    std::string effect;
    std::vector<std::string> cells(static_cast<std::size_t>(shown));
    char control = ' ';
    Table t(F.out, "EstFunc", rdvmsg(172, 326, type_name(F, type)));
    t.attribute("type", type_name(F, type));
    common_keys(t, F);
    t.text("Effect", label.width() + 1, effect);
    for (int i = 0; i < shown; ++i) {
        const auto place = static_cast<std::size_t>(i);
        const std::string_view name = zgm.effects[first + i]->text();
        const int width = static_cast<int>(longest(texts[place]));
        t.text(name, width, cells[place], {.label = name, .like = "coefficients"});
        t.column_attribute("max_cwidth", width);
        if (i == 0) {
            t.column_attribute("coefs", name);
            t.column_attribute("coefe", zgm.effects[zgm.neff]->text());
        }
    }
    t.character("Control", control);
    t.bind("drim.VEK.EstFunc");
    each_column(zgm, [&](int e, int k, int c) {
        effect = label.text(e, k);
        control = control_of(zgm, e, k);
        for (std::size_t i = 0; i < cells.size(); ++i) cells[i] = texts[i][static_cast<std::size_t>(c)];
        t.row();
    });
    t.end();
}

void print_type_aliases(const MainBlock& F, const HypothesisRows& H, int type) {
    const ModelBlock& zgm = F.zgm;
    const AliasLabel label = coded_label(F);
    const int first = first_reported_effect(F);
    struct Row {
        int effect;
        std::string text;
        bool starts;
    };
    std::vector<Row> rows;
    std::size_t width = 0;
    for (int e = first; e <= zgm.neff; ++e) {
        const EffectMod& mod = *zgm.modrecs[e];
        bool starts = e > first;
        for (int r = mod.firstcol; r < mod.firstcol + mod.ncols; ++r) {
            if (H.active[r] == 0) continue;
            std::string text = MakeAlias(zgm, H.rows[r], H.zeta, label);
            if (text.empty()) continue;
            width = std::max(width, text.size());
            rows.push_back({e, std::move(text), starts});
            starts = false;
        }
    }
    std::string_view effect;
    std::string alias;
    char control = ' ';
    Table t(F.out, "Aliasing", rdvmsg(172, 327, type_name(F, type)));
    t.attribute("type", type_name(F, type));
    common_keys(t, F);
    t.attribute("max_awidth", static_cast<int>(width));
    t.text("Effect", F.efnamew, effect).text("Alias", static_cast<int>(width), alias).character("Control", control);
    t.bind("drim.VEK.Aliasing");
    for (const Row& row : rows) {
        effect = zgm.effects[row.effect]->text();
        alias = row.text;
        control = row.starts ? '1' : ' ';
        t.row();
    }
    t.end();
}

}  // namespace

void print_estimable_functions(const MainBlock& F, HypothesisRows& H) {
    if (F.out == nullptr) return;
    if (model_option(F, model_e)) {
        read_rows(H, F.ufile2, F.pos2h, 0);
        if (F.aliasing) {
            print_general_aliases(F, H);
        } else {
            print_general(F, H);
        }
    }
    for (int type = 1; type <= 4; ++type) {
        if (!model_option(F, model_e1 - 1 + type)) continue;
        read_type(F, H, type);
        if (F.aliasing) {
            print_type_aliases(F, H, type);
        } else {
            print_type_coefficients(F, H, type);
        }
    }
    const auto* flags = F.t4unique;
    const bool choice = std::any_of(flags + F.zgm.noint, flags + F.zgm.neff + 1, [](auto flag) { return flag == 0; });
    if (model_option(F, model_e1 + 3) && choice) xpm(172, 8);
}

}  // namespace vek
