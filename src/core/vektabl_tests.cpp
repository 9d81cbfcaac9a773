// vektabl_tests: the tables of the statements behind MODEL: contrasts, tests with another error term, estimates. What
// has the same types and the same error term stands in one table.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "core/limits.h"
#include "core/report.h"
#include "frame/host_message.h"
#include "frame/table.h"
#include "model/vekxpx.h"
#include "numeric/missing.h"

namespace vek {

namespace {

constexpr int decimals_limit = 8;
constexpr int contrast_label = 5, contrast_error = 6, contrast_etype = 7;
constexpr int test_htype = 1, test_etype = 2, test_hypotheses = 3, test_error = 4;

/// A contrast of the pending ones: its number and its statement.
struct PendingContrast {
    int number;
    const Statement* statement;
    double ss;

    const Effect* error() const { return statement->slot(contrast_error).effects()[0]; }
    int etype() const { return static_cast<int>(statement->slot(contrast_etype).value); }
};

std::vector<PendingContrast> pending_list(const DependentReport& r, IndexRange range, bool with_error_term) {
    std::vector<PendingContrast> list;
    for (int c = std::max(1, range.first); c <= range.last; ++c) {
        const Statement* s = r.F.contrasts[c];
        if ((s->slot(contrast_error).count > 0) == with_error_term) {
            list.push_back({.number = c, .statement = s, .ss = r.contrast_ss(c)});
        }
    }
    return list;
}

void contrast_rows(Table& t, const DependentReport& r, const std::vector<PendingContrast>& group,
                   const AnovaRow& error) {
    double largest = 0;
    std::size_t width = 0;
    for (const PendingContrast& c : group) {
        largest = std::max(largest, c.ss);
        width = std::max(width, c.statement->slot(contrast_label).text().size());
    }
    AnovaRow row;
    vekdaov(t, row, vekpfmt(largest, 12, decimals_limit), "drim.VEK.Contrasts", false, nullptr, nullptr,
            static_cast<int>(width), r.F.efnamew);
    for (const PendingContrast& c : group) {
        row = {.label = c.statement->slot(contrast_label).text(),
               .df = static_cast<std::int32_t>(c.statement->rank),
               .ss = c.ss};
        vekfaov(row, error);
        t.row();
    }
    t.end();
}

/// TEST statements with the same types and error effect.
struct TestGroup {
    int htype, etype;
    const Effect* error;

    explicit TestGroup(const Statement& s)
        : htype(static_cast<int>(s.slot(test_htype).value)),
          etype(static_cast<int>(s.slot(test_etype).value)),
          error(s.slot(test_error).effects()[0]) {}
    bool operator==(const TestGroup&) const = default;
};

void print_test_group(const DependentReport& r, const TestGroup& group, const std::vector<const Statement*>& members) {
    const MainBlock& F = r.F;
    const AnovaRow error = error_term(r, *group.error, group.etype);
    double largest = 0;
    bool hasother = false;
    for (const Statement* s : members) {
        for (const Effect* e : s->slot(test_hypotheses).effects()) {
            largest = std::max(largest, r.effect_ss(group.htype, e->number));
            if (group.htype == 4 && F.t4unique[e->number] == 0) hasother = true;
        }
    }
    AnovaRow row;
    const std::int32_t htype = group.htype, etype = group.etype;
    Table t(r.out, "AltErrTests",
            rdvmsg(172, 318, type_name(F, htype), type_name(F, etype), group.error->text()));
    t.integer("HypothesisType", htype).integer("ErrorType", etype);
    t.buffer("Error", group.error->namelen, group.error->name);
    vekerhd(t, F, *group.error, etype);
    veksshd(t, F, htype);
    vekdaov(t, row, vekpfmt(largest, 12, decimals_limit), "drim.VEK.Tests", hasother, nullptr, nullptr, 0, F.efnamew);
    for (const Statement* s : members) {
        for (const Effect* e : s->slot(test_hypotheses).effects()) {
            row = {.label = e->text(),
                   .df = effect_df(F, htype, e->number),
                   .other = htype == 4 && F.t4unique[e->number] == 0 ? 1 : 0,
                   .ss = r.effect_ss(htype, e->number)};
            vekfaov(row, error);
            t.row();
        }
    }
    t.end();
}

}  // namespace

void print_contrasts(const DependentReport& r, IndexRange range) {
    const std::vector<PendingContrast> list = pending_list(r, range, false);
    if (list.empty() || r.out == nullptr) return;
    Table t(r.out, "Contrasts", rdvmsg(172, 317));
    contrast_rows(t, r, list, r.error);
}

void print_alternate_contrasts(const DependentReport& r, IndexRange range) {
    std::vector<PendingContrast> left = pending_list(r, range, true);
    while (!left.empty()) {
        const Effect* effect = left[0].error();
        const int etype = left[0].etype();
        const auto rest = std::stable_partition(left.begin(), left.end(), [&](const PendingContrast& c) {
            return c.error() == effect && c.etype() == etype;
        });
        const std::vector<PendingContrast> group(left.begin(), rest);
        const std::int32_t shown_type = etype;
        Table t(r.out, "AltErrContrasts", rdvmsg(172, 319, type_name(r.F, etype), effect->text()));
        t.integer("ErrorType", shown_type).buffer("Error", effect->namelen, effect->name);
        vekerhd(t, r.F, *effect, etype);
        contrast_rows(t, r, group, error_term(r, *effect, etype));
        left.erase(left.begin(), rest);
    }
}

void print_alternate_tests(const DependentReport& r, IndexRange range) {
    std::vector<const Statement*> left;
    for (int i = std::max(1, range.first); i <= range.last; ++i) left.push_back(r.F.tests[i]);
    while (!left.empty()) {
        const TestGroup group(*left[0]);
        const auto rest = std::stable_partition(left.begin(), left.end(),
                                                [&](const Statement* s) { return TestGroup(*s) == group; });
        print_test_group(r, group, {left.begin(), rest});
        left.erase(left.begin(), rest);
    }
}

void print_estimates(const DependentReport& r, IndexRange range) {
    if (range.first == 0) return;
    const MainBlock& F = r.F;
    constexpr int model_alpha = 1;
    double factor = 0, largest = 0;
    std::size_t label_width = 20;
    for (int i = range.first; i <= range.last; ++i) {
        const Statement& s = *F.estimates[i];
        factor = std::max(factor, s.estimate[0]);
        largest = std::max(largest, std::fabs(s.estimate[1 + r.k]));
        label_width = std::max(label_width, s.slot(contrast_label).text().size());
    }
    const double scale = wzmis(r.error.ms) ? 0 : std::sqrt(factor * r.error.ms);
    const bool limits = model_option(F, model_clparm);
    const Slot& level = F.modelstmt->slot(model_alpha);
    const double alpha = level.given() ? level.value : F.alpha;
    const double tcrit = limits ? critical_t(r.error.ms, alpha, F.dferror) : missing;
    const int decimals = vekpfmt(largest, 11, decimals_limit);

    std::string_view label;
    EstimateFigures row;
    Table t(r.out, "Estimates", rdvmsg(172, 320));
    if (limits) t.attribute("confidence", (1 - alpha) * 100);
    t.text("Parameter", static_cast<int>(label_width), label)
        .number("Estimate", row.estimate, 12, decimals)
        .number("StdErr", row.se, 12, vekpfmt(scale, 11, decimals_limit))
        .number("tValue", row.t)
        .number("Probt", row.p);
    if (limits) t.number("LowerCL", row.lower, 12, decimals).number("UpperCL", row.upper, 12, decimals);
    t.bind("drim.VEK.Estimates");
    for (int i = range.first; i <= range.last; ++i) {
        const Statement& s = *F.estimates[i];
        label = s.slot(contrast_label).text();
        row = estimate_figures(s.estimate[1 + r.k], s.estimate[0], r.error.ms, F.dferror, tcrit);
        t.row();
    }
    t.end();
}

}  // namespace vek
