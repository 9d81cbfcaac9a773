// The parts of statements that a table of options cannot say: rows of coefficients, repeated factors, transformations,
// statistics of OUTPUT, regressor values, BY.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "frame/grammar_common.h"
#include "host/statement/diagnostics.h"
#include "host/statement/effects.h"
#include "host/statement/interpreter.h"
#include "host/statement/lists.h"
#include "host/statement/suggest.h"
#include "numeric/missing.h"

namespace vek {

namespace {

// Tokens of the transformation's list.
constexpr int token_number = 0, token_plus = -1, token_minus = -2, token_row_end = -3;

bool too_many_rows(StatementContext& c, int rows) {
    if (rows <= most_rows) return false;
    c.cursor.fail(c.cursor.peek(), statement_messages, message_too_many_rows, {most_rows});
    return true;
}

/// One row of effects and coefficients.
bool parse_row(StatementContext& c, int* effects) {
    constexpr int slot_effects = 1, slot_numbers = 2, slot_counts = 3;
    TokenCursor& cursor = c.cursor;
    *effects = 0;
    while (cursor.peek().is_name()) {
        const Token name = cursor.peek();
        if (!parse_effect(c, c.rule->use, c.record->slot(slot_effects))) return false;
        const Token whole = spanning(name, cursor.token(cursor.position() - 1));
        int count = 0;
        double value = 0;
        while (number_ahead(cursor)) {
            if (!parse_signed_number(c, &value)) return false;
            append_number(c.record->slot(slot_numbers), value);
            ++count;
        }
        if (count == 0) {
            if (cursor.peek().kind == TokenKind::bad) return cursor.fail_expected("a number");
            return cursor.fail(whole, statement_messages, message_no_coefficient,
                               {c.record->slot(slot_effects).effects().back()->text()}, "a number behind it");
        }
        append_integer(c.record->slot(slot_counts), count);
        ++*effects;
    }
    return *effects > 0 || cursor.fail_expected("an effect with its coefficients");
}

/// 1/2 among the coefficients, the cursor at its stroke.
bool fail_fraction(StatementContext& c) {
    const Token& above = c.cursor.token(c.cursor.position() - 1);
    const Token& below = c.cursor.peek(1);
    const bool number = below.number != 0 && !wzmis(above.number) && !wzmis(below.number);
    return c.cursor.fail(spanning(above, below), statement_messages, message_fraction, {c.name()}, {},
                         number ? fmt::format("{}", above.number / below.number) : std::string());
}

/// A transformation of a repeated factor, with the number of a reference level for those that take one.
bool parse_transformation(StatementContext& c) {
    constexpr int slot_transformation = 5, slot_reference = 6;
    TokenCursor& cursor = c.cursor;
    const Token token = cursor.peek();
    if (token.kind != TokenKind::name) {
        append_number(c.record->slot(slot_transformation), transformation_default);
        append_number(c.record->slot(slot_reference), 0);
        return true;
    }
    const std::string word = upper_case(token.text);
    for (const Choice& choice : c.rule->choices) {
        if (!has_name(choice.names, word)) continue;
        cursor.next();
        append_number(c.record->slot(slot_transformation), choice.code);
        if (!choice.list) return true;
        double reference = 0;
        if (cursor.accept("(")) {
            if (cursor.peek().kind != TokenKind::integer) return cursor.fail_expected("the number of a level");
            reference = cursor.next().number;
            if (!cursor.accept(")")) return cursor.fail_expected("\")\"");
        }
        append_number(c.record->slot(slot_reference), reference);
        return true;
    }
    Nearest nearest(word);
    for (const Choice& choice : c.rule->choices) nearest.offer_all(choice.names);
    return cursor.fail(token, statement_messages, message_unknown_transformation, {token.text},
                       "a transformation, \",\", \"/\" or \";\"", in_case_of(nearest.best(), token.text));
}

/// factor [levels] [(values)] [transformation]
bool parse_factor(StatementContext& c) {
    constexpr int slot_name = 1, slot_levels = 2, slot_values = 3, slot_value_counts = 4;
    TokenCursor& cursor = c.cursor;
    if (!cursor.peek().is_name()) return cursor.fail_expected("the name of a factor");
    append_name(c.record->slot(slot_name), cursor.next().text);
    double levels = 0;
    if (cursor.peek().is_number()) {
        if (cursor.peek().kind != TokenKind::integer || cursor.peek().number > 32767) {
            return cursor.fail_expected("a whole number of levels up to 32767");
        }
        levels = cursor.next().number;
    }
    append_number(c.record->slot(slot_levels), levels);
    int count = 0;
    if (cursor.accept("(")) {
        std::vector<double> values;
        if (!parse_number_list(c, &values)) return false;
        if (values.empty()) return cursor.fail_expected("a number");
        if (!cursor.is(")")) {
            const Token& here = cursor.peek();
            return cursor.fail_expected("a number or \")\"", lost_closing(here));
        }
        cursor.next();
        for (const double v : values) append_number(c.record->slot(slot_values), v);
        count = static_cast<int>(values.size());
    }
    append_integer(c.record->slot(slot_value_counts), count);
    return parse_transformation(c);
}

/// (1 -1 0, 0 1 -1): numbers, rows separated by commas.
bool parse_number_rows(StatementContext& c, const Option& option) {
    TokenCursor& cursor = c.cursor;
    Slot& tokens = c.record->slot(option.slot);
    Slot& coefficients = c.record->slot(option.slot2);
    c.record->set_option(option.bit);
    int rows = 1;
    for (;;) {
        if (!number_ahead(cursor)) return cursor.fail_expected("a number");
        while (number_ahead(cursor)) {
            double value = 0;
            if (!parse_signed_number(c, &value)) return false;
            append_integer(tokens, token_number);
            append_number(coefficients, value);
        }
        if (cursor.accept(")")) return true;
        if (!cursor.accept(",")) {
            const Token& here = cursor.peek();
            return cursor.fail_expected("a number, \",\" or \")\"", lost_closing(here));
        }
        append_integer(tokens, token_row_end);
        if (too_many_rows(c, ++rows)) return false;
    }
}

/// [number *] variable
bool parse_expression_term(StatementContext& c, const Option& option) {
    TokenCursor& cursor = c.cursor;
    double coefficient = 1;
    if (cursor.peek().is_number()) {
        coefficient = cursor.next().number;
        if (!cursor.accept("*")) return cursor.fail_expected("\"*\" and a dependent variable");
    }
    const int variable = find_variable(c, cursor.peek(), Wanted::numeric);
    if (variable < 0) return false;
    cursor.next();
    append_integer(c.record->slot(option.slot), variable);
    append_number(c.record->slot(option.slot2), coefficient);
    return true;
}

/// DESCENDING or NOTSORTED, unless it is the name of a variable that is meant.
bool accept_by_word(StatementContext& c, std::string_view word) {
    if (!c.cursor.is(word)) return false;
    if (c.step.data != nullptr && xvfind(c.step.data, word) >= 0) return false;
    c.cursor.next();
    return true;
}

/// True when `name =` at the cursor gives a regressor's value and not an option's.
bool names_regressor(StatementContext& c) {
    const Token& token = c.cursor.peek();
    if (!token.is_name() || !c.cursor.peek(1).is("=")) return false;
    if (c.step.data != nullptr && xvfind(c.step.data, token.text) >= 0) return true;
    return find_option(c.rule->options, upper_case(token.text)) == nullptr;
}

}  // namespace

bool parse_rows(StatementContext& c, bool several) {
    constexpr int slot_row_effects = 4, slot_label = 5;
    TokenCursor& cursor = c.cursor;
    if (cursor.peek().kind != TokenKind::string) {
        if (cursor.peek().kind == TokenKind::bad) return cursor.fail_expected("a label");
        const Token& here = cursor.peek();
        const bool label = here.kind == TokenKind::name && cursor.peek(1).is_name();
        return cursor.fail(here, statement_messages, message_no_label, {c.name()}, "a label in quotes",
                           label ? joined({"'", here.text, "'"}) : std::string());
    }
    set_text(c.record->slot(slot_label), cursor.next().text);
    for (int rows = 1;; ++rows) {
        int effects = 0;
        if (too_many_rows(c, rows) || !parse_row(c, &effects)) return false;
        if (several) append_integer(c.record->slot(slot_row_effects), effects);
        if (!cursor.is(",")) break;
        if (!several)
            return cursor.fail(cursor.peek(), statement_messages, message_one_row, {c.name()}, "\"/\" or \";\"");
        cursor.next();
    }
    if (cursor.is("/") && cursor.peek(1).is_number()) return fail_fraction(c);
    if (cursor.at_end() || cursor.is("/")) return true;
    return cursor.fail_expected(several ? "a number, an effect, \",\", \"/\" or \";\""
                                        : "a number, an effect, \"/\" or \";\"");
}

bool parse_factors(StatementContext& c) {
    TokenCursor& cursor = c.cursor;
    if (cursor.at_end() || cursor.is("/")) return true;
    int factors = 0;
    do {
        if (too_many_rows(c, ++factors) || !parse_factor(c)) return false;
    } while (cursor.accept(","));
    return true;
}

bool parse_expression(StatementContext& c, const Option& option) {
    TokenCursor& cursor = c.cursor;
    c.record->slot(option.slot) = Slot{};
    c.record->slot(option.slot2) = Slot{};
    c.record->clear_option(option.bit);
    if (cursor.accept("(")) return parse_number_rows(c, option);
    Slot& tokens = c.record->slot(option.slot);
    int rows = 1;
    for (;;) {
        bool minus = cursor.accept("-");
        if (!minus) cursor.accept("+");
        append_integer(tokens, minus ? token_minus : token_plus);
        if (!parse_expression_term(c, option)) return false;
        while (cursor.is("+") || cursor.is("-")) {
            minus = cursor.next().is("-");
            append_integer(tokens, minus ? token_minus : token_plus);
            if (!parse_expression_term(c, option)) return false;
        }
        if (!cursor.accept(",")) return true;
        append_integer(tokens, token_row_end);
        if (too_many_rows(c, ++rows)) return false;
    }
}

bool parse_statistic(StatementContext& c, const Option& option) {
    std::vector<std::string> names;
    const std::size_t first = c.cursor.position();
    if (!parse_names(c, &names)) return false;
    for (const std::string& name : names) {
        append_name(c.record->slot(option.slot), name);
        // A name out of the middle of a range stands nowhere but in the range.
        Token written = spanning(c.cursor.token(first), c.cursor.token(c.cursor.position() - 1));
        for (std::size_t i = first; i < c.cursor.position(); ++i) {
            if (c.cursor.token(i).text == name) written = c.cursor.token(i);
        }
        c.remember(name, written);
    }
    append_number(c.record->slot(option.slot2), option.code);
    append_integer(c.record->slot(option.slot3), static_cast<int>(names.size()));
    if (option.bit >= 0) c.record->set_option(option.bit);
    return true;
}

bool parse_regressors(StatementContext& c, const Option& option) {
    TokenCursor& cursor = c.cursor;
    c.record->slot(option.slot) = Slot{};
    c.record->slot(option.slot2) = Slot{};
    if (cursor.accept("MEANS") || cursor.accept("MEAN")) return true;
    std::vector<int> variables;
    if (cursor.accept("(")) {
        if (!parse_variables(c, Wanted::numeric, &variables)) return false;
        if (variables.empty()) return cursor.fail_expected("a variable");
        if (!cursor.accept(")")) return cursor.fail_expected("a variable or \")\"");
    } else if (names_regressor(c)) {
        const int v = find_variable(c, cursor.peek(), Wanted::numeric);
        if (v < 0) return false;
        cursor.next();
        variables.push_back(v);
    } else {
        return true;
    }
    if (!cursor.accept("=")) return cursor.fail_expected("\"=\"");
    std::vector<double> numbers;
    const bool parentheses = cursor.accept("(");
    if (!parse_number_list(c, &numbers)) return false;
    if (numbers.empty()) return cursor.fail_expected("a number");
    if (parentheses && !cursor.accept(")")) return cursor.fail_expected("a number or \")\"");
    for (const int v : variables) append_integer(c.record->slot(option.slot), v);
    for (const double n : numbers) append_number(c.record->slot(option.slot2), n);
    return true;
}

bool parse_by(StatementContext& c) {
    TokenCursor& cursor = c.cursor;
    std::vector<ByVariable> by = c.step.by;
    bool not_sorted = c.step.by_not_sorted;
    const std::size_t before = by.size();
    bool any = false;
    for (;;) {
        if (accept_by_word(c, "NOTSORTED")) {
            not_sorted = true;
            continue;
        }
        const bool descending = accept_by_word(c, "DESCENDING");
        if (!cursor.peek().is_name()) {
            if (descending || !any) return fail_variable_expected(c, "a variable");
            break;
        }
        std::vector<int> variables;
        if (!parse_variable_form(c, Wanted::any, &variables)) return false;
        any = true;
        for (const int v : variables) {
            const bool twice = std::any_of(by.begin(), by.end(), [&](const ByVariable& b) { return b.variable == v; });
            if (!twice) by.push_back({v, descending});
        }
    }
    if (!cursor.at_end()) return fail_variable_expected(c, "a variable or \";\"");
    for (std::size_t i = before; i < by.size(); ++i) append_integer(c.record->slot(c.rule->slot), by[i].variable);
    c.step.by = std::move(by);
    c.step.by_not_sorted = not_sorted;
    return true;
}

}  // namespace vek
