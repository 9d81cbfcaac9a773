// vekang: the cut-down grammar, for PROC ANOVA. What it has is as in the full grammar; this file says what is left out.
#include "frame/grammar_common.h"

namespace vek {

namespace {

constexpr auto anova_proc_options = without(proc_options, {"ALPHA"});
constexpr auto anova_means_options = without(means_options, {"ETYPE", "HTYPE"});
constexpr auto anova_manova_options = without(manova_options, {"HTYPE", "ETYPE"});
constexpr auto anova_repeated_options = without(repeated_options, {"MEAN", "HTYPE", "ETYPE"});

constexpr Option anova_model_options[] = {
    {.names = "NOUNI", .bit = 19, .help = "no univariate tables"},
    {.names = "INT INTERCEPT", .bit = 20, .help = "test the intercept like an effect"},
};

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
    {.names = "MODEL",
     .body = Body::model,
     .highest = 5,
     .slot = 5,
     .options = anova_model_options,
     .form = "MODEL dependents = effects / options;",
     .help = "the model to fit"},
    {.names = "TEST",
     .body = Body::ordered,
     .highest = 4,
     .clauses = test_clauses,
     .form = "TEST H=effects E=effect;",
     .help = "tests with an error term of choice"},
    {.names = "MANOVA",
     .body = Body::clauses,
     .highest = 8,
     .clauses = manova_clauses,
     .options = anova_manova_options,
     .form = "MANOVA [H=effects] [E=effect] [M=rows] [MNAMES=names] [PREFIX=name] / options;",
     .help = "multivariate tests"},
    {.names = "REPEATED",
     .body = Body::factors,
     .highest = 9,
     .options = anova_repeated_options,
     .choices = repeated_transformations,
     .form = repeated_form,
     .help = "the dependent variables are repeated measures over these factors"},
    {.names = "MEANS MEAN",
     .body = Body::effects,
     .highest = 14,
     .slot = 7,
     .use = use_model | use_class,
     .required = true,
     .options = anova_means_options,
     .form = "MEANS effects / options;",
     .help = "means of the observations by effects, and their comparison"},
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
