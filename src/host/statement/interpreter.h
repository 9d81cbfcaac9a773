// Interprets the grammar: reads the statement at the cursor by its rule and fills its record.
#pragma once

#include "host/statement/record.h"
#include "host/statement/step.h"

namespace vek {

constexpr int most_rows = 10000;  ///< rows of a CONTRAST, of M=, factors of REPEATED

/// The rule for a keyword in capitals; null when the grammar has none.
const StatementRule* find_rule(const Grammar* grammar, std::string_view keyword);
/// The option with this keyword in capitals; null when there is none.
const Option* find_option(std::span<const Option> options, std::string_view keyword);

/// Reads the statement behind its keyword to its end. False after having failed it at the cursor.
bool parse_statement(StatementContext& c);
/// Opens the data sets that the statement names. False after having reported or failed.
bool open_data_sets(StatementContext& c);
/// Reads options until the statement's end. `owner` names what they belong to.
bool parse_options(StatementContext& c, std::span<const Option> options, std::string_view owner);
/// Reads what follows the keyword of an option, which the cursor has passed.
bool parse_option_value(StatementContext& c, const Option& option, const Token& keyword);

/// What a statement's slots hold, for describe().
std::vector<SlotView> slot_views(const StatementRule& rule, const StatementRule& proc_rule);

// The bodies and clauses that the tables only name (clauses.cpp).
bool parse_rows(StatementContext& c, bool several);
bool parse_factors(StatementContext& c);
bool parse_expression(StatementContext& c, const Option& option);
bool parse_statistic(StatementContext& c, const Option& option);
bool parse_regressors(StatementContext& c, const Option& option);
bool parse_by(StatementContext& c);

}  // namespace vek
