// The lists that statements are made of: variables with their ranges, new names, numbers with steps, level texts.
// Every reader returns false after having failed the statement at the token that is wrong.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/statement/step.h"

namespace vek {

constexpr int most_list_elements = 100000;  ///< variables, names or numbers that one range or step may stand for

enum class Wanted { any, numeric };

/// The number of a variable; -1 after having failed the statement. While there is no data set because of an earlier
/// mistake, any name has a number.
int find_variable(StatementContext& c, const Token& token, Wanted wanted);
/// The same without complaint: -1 when the data set has no such variable.
int look_up_variable(StatementContext& c, std::string_view name);
/// The variable's name as its data set spells it.
std::string variable_name(StatementContext& c, int variable);
/// Unknown only while there is no data set; then false.
bool is_character_variable(const StatementContext& c, int variable);
/// Complains of a name that is no variable: a lost "/", or the nearest variable.
bool fail_unknown_variable(StatementContext& c, const Token& token, Wanted wanted);

/// Complains of something that is no name where a variable is expected; a variable in quotes, or a comma between
/// variables, has its way out.
bool fail_variable_expected(StatementContext& c, std::string expected);

/// One form of a variable list at the cursor: a, a-b, a--b, a-NUMERIC-b, a-CHARACTER-b, a:, _NUMERIC_, _CHARACTER_,
/// _ALL_. Appends the variables.
bool parse_variable_form(StatementContext& c, Wanted wanted, std::vector<int>* variables);
/// Forms one after the other up to something that can begin none.
bool parse_variables(StatementContext& c, Wanted wanted, std::vector<int>* variables);
/// Variables between two named ones; `kind` 0 all, 1 numeric, 2 character. With `numbered` by the numbers at the names'
/// ends, else in the order of the data set.
bool expand_range(StatementContext& c, const Token& first, const Token& last, bool numbered, int kind, Wanted wanted,
                  std::vector<int>* variables);

/// Names and numbered ranges of new names, up to a name with "=" behind it or something else.
bool parse_names(StatementContext& c, std::vector<std::string>* names);

/// A number at the cursor with an optional sign.
bool parse_signed_number(StatementContext& c, double* value);
/// True when a number, or a sign before one, stands at the cursor.
bool number_ahead(const TokenCursor& cursor, bool with_plus = true);
/// Numbers, `a TO b [BY c]` steps, commas between them if any.
bool parse_number_list(StatementContext& c, std::vector<double>* numbers);

/// Level texts up to the closing parenthesis, names or quoted, commas between them if any. `groups` receives the number
/// of texts up to each comma.
bool parse_levels(StatementContext& c, std::vector<std::string>* levels, std::vector<int>* groups);

}  // namespace vek
