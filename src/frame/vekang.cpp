// vekang: the cut-down grammar, for PROC ANOVA. What it has is as in the full grammar; this file says what is left out.
#include "frame/grammar_common.h"

namespace vek {

namespace {

constexpr auto anova_proc_options = without(proc_options, {"ALPHA"});
constexpr auto anova_means_options = without(means_options, {"ETYPE", "HTYPE"});
constexpr auto anova_manova_options = without(manova_options, {"HTYPE", "ETYPE"});
constexpr auto anova_repeated_options = without(repeated_options, {"MEAN", "HTYPE", "ETYPE"});
constexpr auto anova_model_options = only(model_options, {"NOUNI", "INT"});

constexpr StatementRule anova_test_rule() {
    StatementRule rule = narrowed(test_rule, {});
    rule.form = "TEST H=effects E=effect;";
    return rule;
}

constexpr StatementRule statements[] = {
    {.names = "PROC",
     .body = Body::options,
     .highest = 16,
     .options = anova_proc_options,
     .form = "PROC ANOVA options;",
     .help = "begins a step for balanced data"},
    absorb_rule,
    by_rule,
    class_rule,
    freq_rule,
    narrowed(model_rule, anova_model_options),
    anova_test_rule(),
    narrowed(manova_rule, anova_manova_options),
    narrowed(repeated_rule, anova_repeated_options),
    narrowed(means_rule, anova_means_options),
};

constexpr RefusedStatement refused[] = {
    {"CONTRAST", 40}, {"ESTIMATE", 42}, {"OUTPUT", 44},     {"LSMEANS LSMEAN", 46},
    {"RANDOM", 48},   {"ID"},           {"WEIGHT WEIGHTS"},
};

constexpr Grammar grammar{
    .procedure = "ANOVA", .procedure_bit = procedure_anova_bit, .statements = statements, .refused = refused};
static_assert(sound(grammar));

}  // namespace

const Grammar* vekang() { return &grammar; }

}  // namespace vek
