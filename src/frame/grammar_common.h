// The parts of the language that both procedures share: tables of options and clauses from which the two grammars are
// put together. The cut-down grammar leaves rows out with without().
#pragma once

#include <array>
#include <cstddef>

#include "frame/grammar.h"

namespace vek {

/// A table without the rows that have one of these names.
template <std::size_t Dropped, class Row, std::size_t N>
constexpr std::array<Row, N - Dropped> without(const Row (&rows)[N], const std::string_view (&names)[Dropped]) {
    std::array<Row, N - Dropped> kept{};
    std::size_t n = 0;
    for (const Row& row : rows) {
        bool drop = false;
        for (const std::string_view name : names) drop = drop || first_name(row.names) == name;
        if (!drop) kept[n++] = row;
    }
    return kept;
}

/// A table of the rows that have one of these names.
template <std::size_t Kept, class Row, std::size_t N>
constexpr std::array<Row, Kept> only(const Row (&rows)[N], const std::string_view (&names)[Kept]) {
    std::array<Row, Kept> kept{};
    std::size_t n = 0;
    for (const Row& row : rows) {
        for (const std::string_view name : names) {
            if (first_name(row.names) == name) kept[n++] = row;
        }
    }
    return kept;
}

/// The statement with these options in place of all.
constexpr StatementRule narrowed(StatementRule rule, std::span<const Option> options) {
    rule.options = options;
    return rule;
}

// ---- PROC -----------------------------------------------------------------------------------------------------------

inline constexpr int procedure_anova_bit = 1;

inline constexpr Choice order_choices[] = {
    {.names = "FREQ", .help = "levels with most observations first"},
    {.names = "DATA", .help = "as the levels first occur in the data"},
    {.names = "INTERNAL", .help = "by the values behind the formats"},
    {.names = "FORMATTED FORMATED", .help = "by the formatted values"},
    {.names = "EXTERNAL", .help = "by the formatted values"},
};

inline constexpr Option proc_options[] = {
    {.names = "DATA",
     .takes = Takes::input,
     .slot = 11,
     .help = "the data set to analyse; the one made last if absent"},
    {.names = "DEBUG", .bit = 2, .help = "trace lines in the log"},
    {.names = "MULTIPASS", .bit = 3, .help = "read the data set again for each use, in place of keeping its values"},
    {.names = "MANOVA", .bit = 4, .help = "use only observations that have all dependent variables"},
    {.names = "NOPRINT", .bit = 5, .help = "no tables"},
    {.names = "ORDER", .takes = Takes::word, .slot = 10, .choices = order_choices, .help = "order of the class levels"},
    {.names = "NAMELEN",
     .takes = Takes::integer,
     .slot = 16,
     .low = 20,
     .high = 200,
     .help = "width of effect names; 20 if absent"},
    {.names = "ALPHA",
     .takes = Takes::number,
     .slot = 13,
     .low = 0,
     .high = 1,
     .help = "significance level where a statement gives none; 0.05 if absent"},
    {.names = "OUTSTAT", .takes = Takes::output, .slot = 12, .help = "data set of the tests of the model"},
};

// ---- MODEL ----------------------------------------------------------------------------------------------------------

inline constexpr Option model_options[] = {
    {.names = "NOINT", .bit = 1, .help = "leave the intercept out"},
    {.names = "E EST", .bit = 2, .help = "print the general form of estimable functions"},
    {.names = "EBASIS", .bit = 3, .help = "accepted, without effect"},
    {.names = "E1", .bit = 4, .help = "print the estimable functions of Type I"},
    {.names = "E2", .bit = 5, .help = "print the estimable functions of Type II"},
    {.names = "E3", .bit = 6, .help = "print the estimable functions of Type III"},
    {.names = "E4", .bit = 7, .help = "print the estimable functions of Type IV"},
    {.names = "SS1", .bit = 8, .help = "tests of Type I"},
    {.names = "SS2", .bit = 9, .help = "tests of Type II"},
    {.names = "SS3", .bit = 10, .help = "tests of Type III"},
    {.names = "SS4", .bit = 11, .help = "tests of Type IV"},
    {.names = "XPX X", .bit = 12, .help = "print the crossproducts of the design and the dependent variables"},
    {.names = "SOLUTION", .bit = 13, .help = "print the parameter estimates"},
    {.names = "P PREDICTED", .bit = 14, .help = "list observed and predicted values"},
    {.names = "CLM", .bit = 15, .help = "list them with confidence limits of the mean"},
    {.names = "CLI", .bit = 16, .help = "list them with confidence limits of an individual value"},
    {.names = "TOLERANCE", .bit = 17, .help = "print the tolerances of the columns in the sweep"},
    {.names = "INVERSE I", .bit = 18, .help = "print the generalised inverse of the crossproducts"},
    {.names = "NOUNI", .bit = 19, .help = "no univariate tables"},
    {.names = "INT INTERCEPT", .bit = 20, .help = "test the intercept like an effect"},
    {.names = "ALIASING", .bit = 21, .help = "show which parameters are aliased with which"},
    {.names = "CLPARM", .bit = 22, .help = "confidence limits of the parameter estimates"},
    {.names = "ALPHA",
     .takes = Takes::number,
     .slot = 1,
     .low = 0,
     .high = 1,
     .help = "significance level of the limits; that of PROC if absent"},
    {.names = "SINGULAR EPSILON",
     .takes = Takes::number,
     .slot = 2,
     .low = 0,
     .high = 1,
     .help = "pivot tolerance of the sweep, relative to the column; 1.11E-9 if absent"},
    {.names = "ZETA",
     .takes = Takes::number,
     .slot = 3,
     .low = 0,
     .high = 1,
     .help = "a coefficient of an estimable function below it is 0; 1E-8 if absent"},
};

inline constexpr StatementRule model_rule{.names = "MODEL",
                                          .body = Body::model,
                                          .highest = 5,
                                          .slot = 5,
                                          .options = model_options,
                                          .form = "MODEL dependents = effects / options;",
                                          .help = "the model to fit"};

// ---- TEST -----------------------------------------------------------------------------------------------------------

inline constexpr Option test_clauses[] = {
    {.names = "H", .takes = Takes::effects, .slot = 3, .use = use_model, .help = "the effects to test"},
    {.names = "E", .takes = Takes::effect, .slot = 4, .use = use_model, .help = "the effect that is the error term"},
};

inline constexpr Option test_options[] = {
    {.names = "HTYPE",
     .takes = Takes::integer,
     .slot = 1,
     .low = 1,
     .high = 4,
     .help = "type of the hypotheses; the highest of the model if absent"},
    {.names = "ETYPE",
     .takes = Takes::integer,
     .slot = 2,
     .low = 1,
     .high = 4,
     .help = "type of the error term; the highest of the model if absent"},
};

inline constexpr StatementRule test_rule{.names = "TEST",
                                         .body = Body::ordered,
                                         .highest = 4,
                                         .clauses = test_clauses,
                                         .options = test_options,
                                         .form = "TEST H=effects E=effect / options;",
                                         .help = "tests with an error term of choice"};

// ---- MANOVA ---------------------------------------------------------------------------------------------------------

inline constexpr Option manova_clauses[] = {
    {.names = "H",
     .takes = Takes::effects,
     .bit = 5,
     .slot = 3,
     .use = use_model | use_intercept | use_all,
     .help = "the effects to test, INTERCEPT, or _ALL_ for every effect of the model"},
    {.names = "E",
     .takes = Takes::effect,
     .slot = 4,
     .use = use_model,
     .help = "the effect that is the error term; the residual if absent"},
    {.names = "M",
     .takes = Takes::expression,
     .bit = 8,
     .slot = 5,
     .slot2 = 6,
     .help = "the transformation of the dependent variables: rows of terms, or (rows of numbers)"},
    {.names = "MNAMES MNAME", .takes = Takes::names, .slot = 7, .help = "names of the transformed variables"},
    {.names = "PREFIX", .takes = Takes::one_name, .slot = 8, .help = "stem of made-up names of transformed variables"},
};

inline constexpr Option manova_options[] = {
    {.names = "PRINTH", .bit = 1, .help = "print the hypothesis matrices"},
    {.names = "PRINTE", .bit = 2, .help = "print the error matrix and partial correlations"},
    {.names = "CANONICAL CANON CAN", .bit = 3, .help = "canonical analysis in place of characteristic vectors"},
    {.names = "SHORT", .bit = 4, .help = "accepted, without effect"},
    {.names = "ORTH", .bit = 6, .help = "make the rows of the transformation orthonormal"},
    {.names = "SUMMARY", .bit = 7, .help = "analysis of variance of each transformed variable"},
    {.names = "HTYPE",
     .takes = Takes::integer,
     .slot = 1,
     .low = 1,
     .high = 4,
     .help = "type of the hypothesis matrices; the highest of the model if absent"},
    {.names = "ETYPE",
     .takes = Takes::integer,
     .slot = 2,
     .low = 1,
     .high = 4,
     .help = "type of the error matrix of E=; the highest of the model if absent"},
};

inline constexpr StatementRule manova_rule{
    .names = "MANOVA",
    .body = Body::clauses,
    .highest = 8,
    .clauses = manova_clauses,
    .options = manova_options,
    .form = "MANOVA [H=effects] [E=effect] [M=rows] [MNAMES=names] [PREFIX=name] / options;",
    .help = "multivariate tests"};

// ---- REPEATED -------------------------------------------------------------------------------------------------------

/// The transformation of a factor without a word.
inline constexpr int transformation_default = 2;

inline constexpr Choice repeated_transformations[] = {
    {.names = "POLYNOMIAL", .code = 0, .help = "orthogonal polynomials over the level values"},
    {.names = "PROFILE", .code = 1, .help = "differences of neighbouring levels"},
    {.names = "CONTRAST",
     .code = 2,
     .list = true,
     .help = "differences from a reference level, whose number may follow in parentheses; the default, with the last"},
    {.names = "HELMERT", .code = 3, .help = "differences from the mean of the levels that follow"},
    {.names = "MEAN",
     .code = 4,
     .list = true,
     .help = "differences from the mean of the others, leaving out the level whose number may follow in parentheses"},
    {.names = "IDENTITY", .code = 5, .help = "the levels themselves"},
};

inline constexpr Option repeated_options[] = {
    {.names = "SUMMARY", .bit = 1, .help = "analysis of variance of each transformed variable"},
    {.names = "PRINTH", .bit = 2, .help = "print the hypothesis matrices"},
    {.names = "PRINTE", .bit = 3, .help = "print the error matrices and partial correlations"},
    {.names = "SHORT", .bit = 4, .help = "accepted, without effect"},
    {.names = "PRINTM", .bit = 5, .help = "print the transformations"},
    {.names = "PRINTRV", .bit = 6, .help = "print characteristic roots and vectors"},
    {.names = "NOM NOMULTI NOMULT UONLY", .bit = 7, .help = "no multivariate tests"},
    {.names = "NOU NOUNI MONLY", .bit = 8, .help = "no univariate tests"},
    {.names = "CANONICAL CANON CAN", .bit = 9, .help = "canonical analysis"},
    {.names = "MEAN", .bit = 10, .help = "means of the dependent variables by the factors"},
    {.names = "HTYPE",
     .takes = Takes::integer,
     .slot = 7,
     .low = 1,
     .high = 4,
     .help = "type of the hypothesis matrices; the highest of the model if absent"},
    {.names = "ETYPE", .takes = Takes::integer, .slot = 8, .low = 1, .high = 4, .help = "accepted, without effect"},
};

inline constexpr StatementRule repeated_rule{
    .names = "REPEATED",
    .body = Body::factors,
    .highest = 9,
    .options = repeated_options,
    .choices = repeated_transformations,
    .form = "REPEATED factor [levels] [(values)] [transformation] , ... / options;",
    .help = "the dependent variables are repeated measures over these factors"};

// ---- MEANS ----------------------------------------------------------------------------------------------------------

inline constexpr Choice levene_types[] = {
    {.names = "ABS", .code = 1, .help = "absolute residuals"},
    {.names = "SQUARE", .code = 2, .help = "squared residuals"},
};
inline constexpr Option levene_settings[] = {
    {.names = "TYPE", .takes = Takes::code, .slot = 14, .choices = levene_types, .help = "what is analysed"},
};
inline constexpr Option bf_settings[] = {
    {.names = "SCALE", .bit = 35, .help = "scale for the number of observations of a level"},
};
inline constexpr Option obrien_settings[] = {
    {.names = "W",
     .takes = Takes::number,
     .slot = 13,
     .low = 0,
     .high = 1,
     .help = "weight of the kurtosis; 0.5 if absent"},
};
inline constexpr Option mbf_settings[] = {
    {.names = "SCALE", .bit = 36, .help = "scale for the number of observations of a level"},
};
inline constexpr Option bartlett_settings[] = {
    {.names = "EXACT", .bit = 37, .help = "accepted, without effect"},
};
inline constexpr Choice homogeneity_tests[] = {
    {.names = "LEVENE LV", .bit = 29, .settings = levene_settings, .help = "Levene's test; the default"},
    {.names = "BF", .bit = 30, .settings = bf_settings, .help = "the test of Brown and Forsythe"},
    {.names = "OBRIEN OB", .bit = 31, .settings = obrien_settings, .help = "O'Brien's test"},
    {.names = "MBF",
     .bit = 32,
     .settings = mbf_settings,
     .help = "the modified test of Brown and Forsythe, by O'Brien and Tobias"},
    {.names = "BARTLETT BAR", .bit = 33, .settings = bartlett_settings, .help = "Bartlett's test"},
};

inline constexpr Option means_options[] = {
    {.names = "DEPONLY", .bit = 1, .help = "means of the dependent variables only"},
    {.names = "LINES LINE", .bit = 5, .help = "show comparisons as lines that join means"},
    {.names = "CLDIFF", .bit = 6, .help = "show comparisons as confidence limits of differences"},
    {.names = "PLOT", .bit = 7, .help = "accepted; nothing is drawn"},
    {.names = "CLM", .bit = 8, .help = "confidence limits of the means"},
    {.names = "NOSORT", .bit = 9, .help = "keep the order of the levels in tables of limits"},
    {.names = "DUNCAN", .bit = 10, .help = "Duncan's multiple range test"},
    {.names = "WALLER", .bit = 11, .help = "the k-ratio t test of Waller and Duncan"},
    {.names = "SNK", .bit = 12, .help = "the multiple range test of Student, Newman and Keuls"},
    {.names = "T LSD", .bit = 13, .help = "t tests, least significant differences"},
    {.names = "SMM GT2", .bit = 14, .help = "the studentised maximum modulus"},
    {.names = "SCHEFFE", .bit = 15, .help = "Scheffe's method"},
    {.names = "TUKEY", .bit = 16, .help = "the studentised range; Tukey and Kramer for unequal cells"},
    {.names = "BON", .bit = 17, .help = "Bonferroni's inequality"},
    {.names = "SIDAK", .bit = 18, .help = "Sidak's inequality"},
    {.names = "REGWF", .bit = 19, .help = "multiple F tests of Ryan, Einot, Gabriel and Welsch"},
    {.names = "REGWQ", .bit = 20, .help = "the multiple range test of Ryan, Einot, Gabriel and Welsch"},
    {.names = "PERITZF", .bit = 21, .help = "Peritz's method with F tests"},
    {.names = "PERITZQ", .bit = 22, .help = "Peritz's method with ranges"},
    {.names = "GABRIEL", .bit = 23, .help = "Gabriel's method"},
    {.names = "DUNNETT",
     .takes = Takes::levels,
     .bit = 24,
     .slot = 9,
     .help = "comparisons with a control, two-sided; control levels may follow in parentheses"},
    {.names = "DUNNETTU",
     .takes = Takes::levels,
     .bit = 25,
     .slot = 10,
     .help = "the same: is a mean above the control's"},
    {.names = "DUNNETTL",
     .takes = Takes::levels,
     .bit = 26,
     .slot = 11,
     .help = "the same: is a mean below the control's"},
    {.names = "HOVTEST",
     .takes = Takes::maybe_code,
     .bit = 27,
     .choices = homogeneity_tests,
     .help = "test of equal variances"},
    {.names = "WELCH", .bit = 28, .help = "Welch's analysis of variance for unequal variances"},
    {.names = "ALPHA",
     .takes = Takes::number,
     .slot = 1,
     .low = 0,
     .high = 1,
     .help = "significance level; that of PROC if absent"},
    {.names = "KRATIO",
     .takes = Takes::number,
     .slot = 2,
     .low = 2,
     .high = unlimited,
     .help = "ratio of error seriousness for WALLER; 100 if absent"},
    {.names = "SINGULAR EPSILON",
     .takes = Takes::number,
     .slot = 3,
     .low = 0,
     .high = 1,
     .help = "accepted, without effect"},
    {.names = "ETYPE",
     .takes = Takes::integer,
     .slot = 5,
     .low = 1,
     .high = 4,
     .help = "type of the error term of E=; the highest of the model if absent"},
    {.names = "HTYPE",
     .takes = Takes::integer,
     .slot = 6,
     .low = 1,
     .high = 4,
     .help = "type of the hypothesis in the F of WALLER; the highest of the model if absent"},
    {.names = "E ERROR",
     .takes = Takes::effect,
     .slot = 8,
     .use = use_model,
     .help = "the effect that is the error term; the residual if absent"},
    {.names = "HOVOUT",
     .takes = Takes::output,
     .slot = 12,
     .help = "data set of the values that the test of equal variances analyses"},
};

inline constexpr StatementRule means_rule{.names = "MEANS MEAN",
                                          .body = Body::effects,
                                          .highest = 14,
                                          .slot = 7,
                                          .use = use_model | use_class,
                                          .required = true,
                                          .options = means_options,
                                          .form = "MEANS effects / options;",
                                          .help = "means of the observations by effects, and their comparison"};

// ---- list statements ------------------------------------------------------------------------------------------------

inline constexpr StatementRule absorb_rule{.names = "ABSORB",
                                           .body = Body::variables,
                                           .slot = 9,
                                           .required = true,
                                           .form = "ABSORB variables;",
                                           .help =
                                               "adjust for these variables, nested in their order, before the "
                                               "effects; the data are sorted by them"};
inline constexpr StatementRule by_rule{.names = "BY",
                                       .body = Body::by,
                                       .slot = 0,
                                       .required = true,
                                       .form = "BY [NOTSORTED] { [DESCENDING] variables [NOTSORTED] };",
                                       .help = "one analysis for each group of observations with equal values"};
inline constexpr StatementRule class_rule{.names = "CLASS CLASSES",
                                          .body = Body::variables,
                                          .slot = 2,
                                          .required = true,
                                          .form = "CLASS variables;",
                                          .help = "these variables classify: each of their values is a level"};
inline constexpr StatementRule freq_rule{.names = "FREQ FREQUENCY",
                                         .body = Body::one_variable,
                                         .slot = 5,
                                         .required = true,
                                         .form = "FREQ variable;",
                                         .help = "each observation stands for as many as the variable says"};

}  // namespace vek
