// vekcon: one CONTRAST or ESTIMATE statement becomes rows of L. Coefficients given on an effect are carried over to the
// effects that contain it; a row that is not a combination of the generating rows is not estimable, and the log says
// which column spoils it.
#include "core/vekcon.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "core/parameter_label.h"
#include "frame/host_message.h"
#include "frame/table.h"
#include "model/vekutil.h"
#include "model/vekxpx.h"
#include "model/zlst.h"

namespace vek {

namespace {

constexpr int option_e = 1;
constexpr int slot_effects = 1, slot_coefficients = 2, slot_counts = 3, slot_row_effects = 4, slot_label = 5;
constexpr int contrast_singular = 8, estimate_singular = 6, estimate_divisor = 4;
constexpr double default_estimability = 1e-4;

std::span<const int> class_list(const Effect& e) { return {e.cross, static_cast<std::size_t>(e.nclass())}; }

/// Level of one of the effect's class variables, given by its place in the class list, at column c of the effect.
int level_at(const Effect& e, int c, int place) {
    if (e.nclass() == 1) return c;
    return e.mod->levels[static_cast<std::ptrdiff_t>(c) * e.nclass() + place];
}

/// What a statement asks for, read from its record.
struct Request {
    const MainBlock& F;
    const Statement& s;
    bool contrast;
    int rows;
    double divisor = 0;
    double singular = default_estimability;

    Request(const MainBlock& main, const Statement& statement)
        : F(main), s(statement), contrast(statement.is("CON")), rows(1) {
        if (contrast) rows = s.slot(slot_row_effects).count;
        if (!contrast && s.slot(estimate_divisor).given()) divisor = s.slot(estimate_divisor).value;
        const Slot& tolerance = s.slot(contrast ? contrast_singular : estimate_singular);
        if (tolerance.given() && tolerance.value > 0) singular = tolerance.value;
    }
};

/// One effect of a row with its coefficients.
struct Entry {
    const Effect* effect;
    std::span<const double> coefficients;
};

/// The model's own intercept stands for INTERCEPT; an absent one has no columns in X.
bool is_intercept(const Effect& e) { return e.number == 0 && e.ncont == 0 && e.nclass() == 0; }

/// The entries of the statement, row by row.
std::vector<std::vector<Entry>> entries_by_row(const Request& q) {
    const std::span<Effect*> effects = q.s.slot(slot_effects).effects();
    const std::span<const double> coefficients = q.s.slot(slot_coefficients).numbers();
    const std::span<const int> counts = q.s.slot(slot_counts).codes();
    std::vector<std::vector<Entry>> rows(static_cast<std::size_t>(q.rows));
    std::size_t entry = 0, used = 0;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const std::size_t n =
            q.contrast ? static_cast<std::size_t>(q.s.slot(slot_row_effects).codes()[r]) : effects.size();
        for (std::size_t k = 0; k < n; ++k, ++entry) {
            const auto count = static_cast<std::size_t>(counts[entry]);
            const Effect* effect = effects[entry];
            if (is_intercept(*effect) && q.F.zgm.noint == 0) effect = q.F.zgm.effects[0];
            rows[r].push_back({effect, coefficients.subspan(used, count)});
            used += count;
        }
    }
    return rows;
}

class ContrastRows {
  public:
    ContrastRows(const Request& request, double* rows) : q(request), F(request.F), zgm(request.F.zgm), L(rows) {}

    /// False when an entry cannot be used.
    bool build();
    void print() const;
    /// True when all rows are estimable; the log names those that are not.
    bool estimable() const;

  private:
    double* row(int r) const { return L + static_cast<std::ptrdiff_t>(r) * zgm.ncol; }
    bool place_entry(double* target, const Entry& entry);
    void fill_in(double* target, const std::vector<Entry>& entries);
    void explain(int r, int column, double expected) const;

    const Request& q;
    const MainBlock& F;
    const ModelBlock& zgm;
    double* L;
};

bool ContrastRows::place_entry(double* target, const Entry& entry) {
    const Effect& e = *entry.effect;
    const bool absent_intercept = is_intercept(e) && zgm.noint == 1;
    const int columns = absent_intercept ? 1 : (e.mod != nullptr ? e.mod->ncols : 0);
    if (columns == 0) return false;
    int n = static_cast<int>(entry.coefficients.size());
    if (n > columns) {
        xpmlog(172, 236, e.text());
        n = columns;
    }
    if (!absent_intercept) std::copy_n(entry.coefficients.data(), n, target + e.mod->firstcol);
    return true;
}

void ContrastRows::fill_in(double* target, const std::vector<Entry>& entries) {
    std::vector<bool> listed(static_cast<std::size_t>(zgm.neff) + 1, false);
    for (const Entry& entry : entries) listed[static_cast<std::size_t>(entry.effect->number)] = true;
    for (const Entry& entry : entries) {
        const Effect& e = *entry.effect;
        if (is_intercept(e) && zgm.noint == 1) continue;
        for (int i = 1; i <= zgm.neff; ++i) {
            const Effect& target_effect = *zgm.effects[i];
            if (listed[static_cast<std::size_t>(i)]) continue;
            const bool contains = is_intercept(e) ? target_effect.ncont == 0 && target_effect.nclass() > 0
                                                  : ef_compare(target_effect, e) == 1;
            if (!contains) continue;
            // A larger listed effect that shares more with the target is the better source.
            const bool left_to_larger = std::any_of(entries.begin(), entries.end(), [&](const Entry& f) {
                return ef_compare(e, *f.effect) < 0 &&
                       zlstjn(class_list(target_effect), nullptr, class_list(*f.effect), nullptr) > e.nclass();
            });
            if (!left_to_larger) fillin(target, target_effect, e);
        }
    }
}

bool ContrastRows::build() {
    const std::vector<std::vector<Entry>> rows = entries_by_row(q);
    for (int r = 0; r < q.rows; ++r) {
        const std::vector<Entry>& entries = rows[static_cast<std::size_t>(r)];
        for (const Entry& entry : entries) {
            const Effect& e = *entry.effect;
            const bool in_model =
                is_intercept(e) || (e.number >= 1 && e.number <= zgm.neff && zgm.effects[e.number] == &e);
            if (!in_model || !place_entry(row(r), entry)) {
                xpmlog(172, 996, q.s.slot(slot_label).text(), e.text());
                return false;
            }
        }
        fill_in(row(r), entries);
        if (q.divisor != 0) {
            for (int c = 0; c < zgm.ncol; ++c) row(r)[c] /= q.divisor;
        }
    }
    return true;
}

void ContrastRows::print() const {
    if (!q.s.option(option_e) || F.out == nullptr) return;
    const std::string_view label = q.s.slot(slot_label).text();
    const ParameterLabel parameter(F);
    std::string effect;
    char control = ' ';
    std::vector<double> values(static_cast<std::size_t>(q.rows));
    Table t(F.out, "ContrastCoef", rdvmsg(172, q.contrast ? 322 : 323, label));
    t.attribute("conname", rdvmsg(172, q.contrast ? 196 : 197, label));
    t.text("Contrast", static_cast<int>(label.size()), label);
    t.text("Effect", parameter.width(), effect);
    t.character("Control", control);
    for (int r = 0; r < q.rows; ++r) {
        t.number("Row" + std::to_string(r + 1), values[static_cast<std::size_t>(r)], 12, best_decimals,
                 {.label = rdvmsg(172, 386, r + 1), .like = "row"});
    }
    t.bind("drim.VEK.ContrastCoef");
    for (int e = zgm.noint; e <= zgm.neff; ++e) {
        const EffectMod& mod = *zgm.modrecs[e];
        for (int c = 0; c < mod.ncols; ++c) {
            effect = parameter.text(e, c);
            control = c == 0 && e > zgm.noint ? '1' : ' ';
            for (int r = 0; r < q.rows; ++r) values[static_cast<std::size_t>(r)] = row(r)[mod.firstcol + c];
            t.row();
        }
    }
    t.end();
}

/// Why a row is not estimable: its coefficients beside their levels, and the column where the test failed.
void ContrastRows::explain(int r, int column, double expected) const {
    const ParameterLabel parameter(F);
    const double* coefficients = row(r);
    constexpr int most_shown = 12;
    std::vector<int> present;
    for (int c = 0; c < zgm.ncol; ++c) {
        if (coefficients[c] != 0) present.push_back(c);
    }
    const bool cut = present.size() > most_shown;
    if (cut) present.resize(most_shown);
    std::string shown;
    for (int c : present) {
        if (!shown.empty()) shown += ", ";
        shown += parameter.short_text(c) + " " + parameter.number(coefficients[c]);
    }
    if (cut) shown += ", ...";
    xpmlog(172, 991, q.s.slot(slot_label).text(), r + 1, shown, parameter.short_text(column),
           parameter.number(coefficients[column]), parameter.number(expected));
    // A cell without data at a level that the row asks for is the likely reason; else one beside the column in
    // question.
    present.push_back(column);
    for (int c : present) {
        const std::string empty = parameter.empty_cell_near(c);
        if (empty.empty()) continue;
        xpmlog(172, 992, empty);
        return;
    }
}

bool ContrastRows::estimable() const {
    const int p = zgm.ncol;
    // L H, one row of H at a time: each row of H is read once for all rows of L.
    std::vector<double> LH(static_cast<std::size_t>(q.rows) * static_cast<std::size_t>(p), 0.0);
    std::vector<double> h(static_cast<std::size_t>(p));
    xcpntd(F.ufile2, F.pos2h);
    RecordHeader header;
    while (get_header(F.ufile2, &header) && header.row < p) {
        xcget(F.ufile2, h.data(), header.last - header.first);
        for (int r = 0; r < q.rows; ++r) {
            const double a = row(r)[header.row];
            if (a == 0) continue;
            double* target = LH.data() + static_cast<std::ptrdiff_t>(r) * p + header.first;
            for (int k = 0; k < header.last - header.first; ++k) target[k] += a * h[static_cast<std::size_t>(k)];
        }
    }
    bool all = true;
    for (int r = 0; r < q.rows; ++r) {
        double m = 0;
        for (int c = 0; c < p; ++c) m = std::max(m, std::fabs(row(r)[c]));
        if (m == 0) m = 1;
        for (int c = 0; c < p; ++c) {
            const double s =
                LH[static_cast<std::size_t>(r) * static_cast<std::size_t>(p) + static_cast<std::size_t>(c)];
            if (!(std::fabs(row(r)[c] - s) > m * q.singular)) continue;
            if ((F.flags & flag_trace) != 0) xpsout("problem at element %d", c);
            explain(r, c, std::fabs(s) > m * q.singular ? s : 0);
            all = false;
            break;
        }
    }
    return all;
}

}  // namespace

int ef_compare(const Effect& a, const Effect& b) {
    if (&a == &b) return 0;
    if (zlstcmp({a.cont, static_cast<std::size_t>(a.ncont)}, {b.cont, static_cast<std::size_t>(b.ncont)}) !=
        sets_equal) {
        return 2;
    }
    const int na = a.nclass(), nb = b.nclass();
    const int common = zlstjn(class_list(a), nullptr, class_list(b), nullptr);
    if (common < std::min(na, nb)) return 2;
    if (na == nb) return 0;
    return na > nb ? 1 : -1;
}

void fillin(double* row, const Effect& i, const Effect& e) {
    const EffectMod &target = *i.mod, &source = *e.mod;
    if (e.nclass() == 0) {
        const double share = row[source.firstcol] / target.ncols;
        for (int c = 0; c < target.ncols; ++c) row[target.firstcol + c] += share;
        return;
    }
    std::vector<int> in_target(static_cast<std::size_t>(i.nclass())), in_source(in_target.size());
    const int common = zlstjn(class_list(i), in_target.data(), class_list(e), in_source.data());
    std::vector<int> columns;
    for (int j = 0; j < source.ncols; ++j) {
        const double value = row[source.firstcol + j];
        if (value == 0) continue;
        columns.clear();
        for (int c = 0; c < target.ncols; ++c) {
            bool same = true;
            for (int v = 0; v < common && same; ++v) {
                same = level_at(i, c, in_target[static_cast<std::size_t>(v)]) ==
                       level_at(e, j, in_source[static_cast<std::size_t>(v)]);
            }
            if (same) columns.push_back(target.firstcol + c);
        }
        for (int c : columns) row[c] += value / static_cast<double>(columns.size());
    }
}

int vekcon(MainBlock& F, Statement& statement) {
    const ModelBlock& zgm = F.zgm;
    const Request request(F, statement);
    std::vector<double> rows(static_cast<std::size_t>(request.rows) * static_cast<std::size_t>(zgm.ncol), 0.0);
    ContrastRows L(request, rows.data());
    if (!L.build()) return -1;
    L.print();
    if (!L.estimable()) return -1;
    vekuput(F, zgm, request.contrast ? row_type_contrast : row_type_estimate,
            request.contrast ? F.ncontrast : F.nestimate, rows.data(), request.rows);
    return 0;
}

}  // namespace vek
