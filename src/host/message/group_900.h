// Messages of the statement engine: what the scanner cannot read, what cannot stand where it stands, and what a
// statement names that is not there.
#pragma once

#include "host/message/catalogue.h"

namespace vek {

inline constexpr int statement_messages = 900;

// What the scanner cannot read.
inline constexpr int message_unclosed_text = 1, message_unclosed_comment = 2, message_bad_character = 3,
                     message_bad_encoding = 4, message_zero_byte = 5, message_lone_return = 6, message_bad_date = 7,
                     message_empty_name = 8, message_number_too_large = 9, message_name_too_long = 10,
                     message_text_too_long = 11, message_too_many_tokens = 12;
// What cannot stand where it stands.
inline constexpr int message_unexpected = 20, message_incomplete = 21, message_missing_semicolon = 22,
                     message_lost_slash = 23, message_unknown_statement = 24, message_outside_step = 25,
                     message_in_step = 26, message_only_in_step = 27, message_unknown_procedure = 28,
                     message_not_in_anova = 29, message_star_comment = 30;
// Options and their values.
inline constexpr int message_unknown_option = 40, message_option_of_full = 41, message_no_options = 42,
                     message_takes_no_value = 43, message_needs_value = 44, message_unknown_choice = 45,
                     message_unknown_clause = 46, message_not_whole = 47, message_out_of_range = 48,
                     message_too_low = 49, message_unknown_host_option = 50, message_option_value = 51,
                     message_out_of_range_text = 52, message_unknown_transformation = 53;
// Variables and lists.
inline constexpr int message_unknown_variable = 60, message_not_numeric = 61, message_not_numbered = 62,
                     message_range_backwards = 63, message_range_too_long = 64, message_no_prefix = 65,
                     message_one_variable = 66, message_step_never_ends = 67, message_where_too_late = 68,
                     message_format_does_not_fit = 69;
// Effects, contrasts.
inline constexpr int message_not_class = 80, message_text_not_class = 81, message_nesting_not_class = 82,
                     message_crossed_and_nested = 83, message_not_in_model = 84, message_intercept_not_here = 85,
                     message_term_too_long = 86, message_too_many_terms = 87, message_too_many_effects = 88,
                     message_range_of_terms = 89, message_no_coefficient = 90, message_no_label = 91,
                     message_one_row = 92, message_too_many_rows = 93, message_model_equals = 94, message_fraction = 95;
// Steps.
inline constexpr int message_no_model = 100, message_rest_not_run = 101, message_consequence = 102,
                     message_where_again = 103;

inline constexpr CatalogueRow group_900[] = {
    {message_unclosed_text, Level::error, "the text that begins here is not closed",
     "A text ends with the quote that it began with; a quote inside it is doubled."},
    {message_unclosed_comment, Level::error, "the comment that begins here is not closed", "A comment ends with */."},
    {message_bad_character, Level::error, "the character {text} has no meaning in a program"},
    {message_bad_encoding, Level::error, "bytes that are not valid UTF-8", "Programs are written in UTF-8."},
    {message_zero_byte, Level::error, "a byte 0 stands in the program", "Programs are text files, written in UTF-8."},
    {message_lone_return, Level::error, "a carriage return stands alone",
     "Lines end with a line feed, or a carriage return and a line feed."},
    {message_bad_date, Level::error, "{text} is no date or time",
     "Dates are written '31JAN2020'd, times '12:30:00't, both together '31JAN2020:12:30:00'dt."},
    {message_empty_name, Level::error, "a name literal without a name"},
    {message_number_too_large, Level::error, "the number {text} is too large", "Numbers reach to about 1.8e308."},
    {message_name_too_long, Level::error, "a name is longer than {integer} characters, the limit"},
    {message_text_too_long, Level::error, "a text is longer than {integer} bytes, the limit",
     "A quote that is not closed makes a text of everything behind it."},
    {message_too_many_tokens, Level::error, "a statement has more than {integer} words and signs, the limit",
     "A semicolon that is missing joins statements."},

    {message_unexpected, Level::error, "\"{text}\" cannot stand here"},
    {message_incomplete, Level::error, "the statement ends too early"},
    {message_missing_semicolon, Level::error, "a semicolon is missing before {text}",
     "Every statement ends with a semicolon."},
    {message_lost_slash, Level::error, "\"{text}\" is an option of {text}, but no \"/\" stands before it",
     "Options follow a \"/\"."},
    {message_unknown_statement, Level::error, "there is no statement \"{text}\""},
    {message_outside_step, Level::error, "{text} stands outside a step", "A step begins with PROC VEK or PROC ANOVA."},
    {message_in_step, Level::error, "{text} stands inside a step", "It belongs before PROC or behind QUIT."},
    {message_only_in_step, Level::error, "{text} stands outside a step", "It belongs behind the PROC statement."},
    {message_unknown_procedure, Level::error, "there is no procedure \"{text}\"",
     "The procedures are VEK, and ANOVA for balanced data."},
    {message_not_in_anova, Level::error, "{text} is not a statement of PROC ANOVA", "Use PROC VEK."},
    {message_star_comment, Level::error, "a statement cannot begin with \"{text}\"",
     "A comment stands between /* and */."},

    {message_unknown_option, Level::error, "{text} has no option \"{text}\""},
    {message_option_of_full, Level::error, "{text} has no option \"{text}\" in PROC ANOVA", "PROC VEK has it."},
    {message_no_options, Level::error, "{text} has no options in PROC ANOVA", "PROC VEK has some."},
    {message_takes_no_value, Level::error, "the option {text} takes no value"},
    {message_needs_value, Level::error, "the option {text} needs a value"},
    {message_unknown_choice, Level::error, "{text} cannot be \"{text}\""},
    {message_unknown_clause, Level::error, "{text} has no part \"{text}\""},
    {message_not_whole, Level::error, "{text} is {real}, not a whole number"},
    {message_out_of_range, Level::error, "{text} must be from {real} to {real}, not {real}"},
    {message_too_low, Level::error, "{text} must be at least {real}, not {real}"},
    {message_unknown_host_option, Level::error, "there is no host option \"{text}\""},
    {message_option_value, Level::error, "the host option {text} cannot be \"{text}\""},
    {message_out_of_range_text, Level::error, "the host option {text} must be from {real} to {real}, not {text}"},
    {message_unknown_transformation, Level::error, "there is no transformation \"{text}\" of a repeated factor"},

    {message_unknown_variable, Level::error, "the data set {text} has no variable \"{text}\""},
    {message_not_numeric, Level::error, "{text} is a text variable; {text} needs numeric ones here",
     "A column is numeric when each of its fields is a number, a missing value (a point or NA), or empty."},
    {message_not_numbered, Level::error, "{text}-{text} is no range of numbered names",
     "A numbered range is written x1-x9; a range in the order of the data set has two dashes."},
    {message_range_backwards, Level::error, "the range from {text} to {text} runs backwards"},
    {message_range_too_long, Level::error, "a list has more than {integer} elements, the limit"},
    {message_no_prefix, Level::error, "no variable of the data set {text} begins with \"{text}\""},
    {message_one_variable, Level::error, "{text} takes one variable"},
    {message_step_never_ends, Level::error, "the steps of this list do not lead to its end",
     "BY is positive when the list rises and negative when it falls."},
    {message_where_too_late, Level::error, "WHERE comes too late: the data have been read",
     "Put it before the first RUN, or begin a new step."},
    {message_format_does_not_fit, Level::error, "the format {text} does not fit {text}, {text}"},

    {message_not_class, Level::error, "{text} is not a class variable; {text} takes effects of class variables",
     "Class variables are listed on the CLASS statement, before MODEL."},
    {message_text_not_class, Level::error, "{text} is a text variable, and not listed on CLASS",
     "Write a CLASS statement with it before this statement."},
    {message_nesting_not_class, Level::error, "{text} cannot nest: it is not a class variable",
     "Variables in the parentheses of an effect are listed on the CLASS statement, before MODEL."},
    {message_crossed_and_nested, Level::error, "{text} stands both before and inside the parentheses of an effect"},
    {message_not_in_model, Level::error, "the model has no effect {text}"},
    {message_intercept_not_here, Level::error, "INTERCEPT cannot be an effect of {text}",
     "Every model has an intercept; the options NOINT and INTERCEPT of MODEL leave it out and test it."},
    {message_term_too_long, Level::error, "an effect has more than {integer} variables, the limit"},
    {message_too_many_terms, Level::error, "the bars make more than {integer} effects, the limit",
     "@n behind them keeps effects of at most n variables."},
    {message_too_many_effects, Level::error, "there are more than {integer} effects, the limit"},
    {message_range_of_terms, Level::error, "a range of effects is made of single variables"},
    {message_no_coefficient, Level::error, "the effect {text} has no coefficient"},
    {message_no_label, Level::error, "{text} begins with a label in quotes"},
    {message_one_row, Level::error, "{text} has one row", "CONTRAST takes several, separated by commas."},
    {message_too_many_rows, Level::error, "there are more than {integer} parts between commas, the limit"},
    {message_model_equals, Level::error, "MODEL has no \"=\" between the dependent variables and the effects",
     "MODEL y = a b; has the dependent variable y and the effects a and b."},
    {message_fraction, Level::error, "a coefficient of {text} is a number, no fraction",
     "Write it with a point; DIVISOR= of ESTIMATE divides all coefficients of its row."},

    {message_no_model, Level::note, "the step has no MODEL statement, and nothing was fitted"},
    {message_rest_not_run, Level::note, "nothing of this step was run after its first mistake"},
    {message_consequence, Level::note, "{text} was not made because of an earlier mistake; this step is not run"},
    {message_where_again, Level::note, "this WHERE takes the place of the one before",
     "Conditions that must all hold are joined by AND."},
};
static_assert(sound(group_900));

}  // namespace vek
