// Lists of variables, names, numbers and levels.
#include "host/statement/lists.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "host/statement/diagnostics.h"
#include "host/statement/suggest.h"

namespace vek {

namespace {

/// A name that ends in digits, as in a numbered range: stem, number, digits.
struct NumberedName {
    std::string stem;
    long number = 0;
    int digits = 0;
};

bool split_number(std::string_view name, NumberedName* result) {
    std::size_t end = name.size();
    while (end > 0 && name[end - 1] >= '0' && name[end - 1] <= '9') --end;
    if (end == name.size() || name.size() - end > 9) return false;
    result->stem = name.substr(0, end);
    result->digits = static_cast<int>(name.size() - end);
    std::from_chars(name.data() + end, name.data() + name.size(), result->number);
    return true;
}

std::string numbered(const NumberedName& first, long number) {
    return fmt::format("{}{:0{}}", first.stem, number, first.digits);
}

/// The numbered names from one to the other. False after having failed the statement.
bool numbered_names(StatementContext& c, const Token& first, const Token& last, bool variables,
                    std::vector<std::string>* names) {
    NumberedName a, b;
    const Token both = spanning(first, last);
    if (!split_number(first.text, &a) || !split_number(last.text, &b) || !same_word(a.stem, b.stem)) {
        // Of variables, the end that there is none of is misspelt.
        for (const Token& end : {first, last}) {
            if (variables && look_up_variable(c, end.text) < 0) return fail_unknown_variable(c, end, Wanted::any);
        }
        return c.cursor.fail(both, statement_messages, message_not_numbered, {first.text, last.text});
    }
    if (a.number > b.number) {
        return c.cursor.fail(both, statement_messages, message_range_backwards, {first.text, last.text}, {},
                             joined({last.text, "-", first.text}));
    }
    if (b.number - a.number >= most_list_elements) {
        return c.cursor.fail(both, statement_messages, message_range_too_long, {most_list_elements});
    }
    for (long n = a.number; n <= b.number; ++n) names->push_back(numbered(a, n));
    return true;
}

bool wanted_fits(StatementContext& c, const Token& token, int variable, Wanted wanted) {
    if (wanted != Wanted::numeric || !is_character_variable(c, variable)) return true;
    const std::string field = first_text_field(c.step.data, variable);
    return c.cursor.fail(token, statement_messages, message_not_numeric, {variable_name(c, variable), c.name()},
                         field.empty() ? field : "a number in each row of the column; " + field);
}

/// All variables of a kind, in the order of the data set.
void all_variables(const StatementContext& c, int kind, int from, int to, std::vector<int>* variables) {
    for (int v = from; v < to; ++v) {
        const bool character = is_character_variable(c, v);
        if (kind == 0 || (kind == 2) == character) variables->push_back(v);
    }
}

/// _NUMERIC_ and its kin at the cursor.
bool accept_all_word(StatementContext& c, int* kind) {
    static constexpr std::pair<std::string_view, int> words[] = {
        {"_ALL_", 0}, {"_NUMERIC_", 1}, {"_CHARACTER_", 2}, {"_CHAR_", 2}};
    for (const auto& [word, k] : words) {
        if (c.cursor.accept(word)) {
            *kind = k;
            return true;
        }
    }
    return false;
}

bool names_numeric(const Token& t) { return t.is("NUMERIC"); }
bool names_character(const Token& t) { return t.is("CHARACTER") || t.is("CHAR"); }

/// The first variables of the data set, for what was expected.
std::string some_variables(const StatementContext& c) {
    return some_of("one of its variables", xvcount(c.step.data),
                   [&](int v) { return std::string(xvname(c.step.data, v).name); });
}

}  // namespace

int look_up_variable(StatementContext& c, std::string_view name) {
    if (c.step.data != nullptr) return xvfind(c.step.data, name);
    const auto [place, is_new] =
        c.step.unknown_variables.try_emplace(upper_case(name), static_cast<int>(c.step.unknown_variables.size()));
    return place->second;
}

std::string variable_name(StatementContext& c, int variable) {
    if (c.step.data != nullptr) return std::string(xvname(c.step.data, variable).name);
    for (const auto& [name, number] : c.step.unknown_variables) {
        if (number == variable) return name;
    }
    return {};
}

bool is_character_variable(const StatementContext& c, int variable) {
    return c.step.data != nullptr && xvname(c.step.data, variable).type == VariableType::character;
}

bool fail_unknown_variable(StatementContext& c, const Token& token, Wanted wanted) {
    bool one_letter = false;  // an option that is more likely a variable
    if (c.rule->body != Body::options && token.kind == TokenKind::name) {
        const std::string word = upper_case(token.text);
        const bool option = std::any_of(c.rule->options.begin(), c.rule->options.end(),
                                        [&](const Option& o) { return has_name(o.names, word); });
        one_letter = option && word.size() == 1;
        if (option && !one_letter) {
            return c.cursor.fail(token, statement_messages, message_lost_slash, {word, c.name()}, {},
                                 joined({"/ ", token.text}));
        }
    }
    // A clause whose "=" was lost runs together with the variable behind it.
    for (const Option& clause : c.rule->clauses) {
        const std::string_view name = first_name(clause.names);
        const std::string_view rest = std::string_view(token.text).substr(std::min(name.size(), token.text.size()));
        if (same_word(std::string_view(token.text).substr(0, name.size()), name) && look_up_variable(c, rest) >= 0) {
            return c.cursor.fail(token, statement_messages, message_needs_value, {name}, {},
                                 joined({token.text.substr(0, name.size()), "=", rest}));
        }
    }
    Nearest nearest(token.text);
    for (int v = 0; v < xvcount(c.step.data); ++v) {
        const bool fits = wanted == Wanted::any || !is_character_variable(c, v);
        nearest.offer(xvname(c.step.data, v).name, fits);
    }
    const std::string suggest = name_as_written(nearest.best());
    std::string expected = suggest.empty() ? some_variables(c) : std::string();
    if (!expected.empty() && one_letter) expected += "; the option follows a \"/\"";
    const Token& behind = c.cursor.peek(c.cursor.peek().offset == token.offset ? 1 : 0);
    if (!expected.empty() && token.kind == TokenKind::name && behind.is("(")) {
        expected += "; there are no functions, what is computed has to stand in the data";
    }
    return c.cursor.fail(token, statement_messages, message_unknown_variable, {shown_name(c.step.data), token.text},
                         std::move(expected), suggest);
}

bool fail_variable_expected(StatementContext& c, std::string expected) {
    const Token& token = c.cursor.peek();
    // A name in quotes is a text; without them, or with an n behind, it is a name.
    const bool text = token.kind == TokenKind::string && c.step.data != nullptr && xvfind(c.step.data, token.text) >= 0;
    std::string suggest = text ? name_as_written(token.text) : std::string();
    if (token.is(",")) suggest = " ";
    return c.cursor.fail_expected(std::move(expected), std::move(suggest));
}

int find_variable(StatementContext& c, const Token& token, Wanted wanted) {
    if (!token.is_name()) {
        fail_variable_expected(c, "a variable");
        return -1;
    }
    const int variable = look_up_variable(c, token.text);
    if (variable < 0) {
        fail_unknown_variable(c, token, wanted);
        return -1;
    }
    return wanted_fits(c, token, variable, wanted) ? variable : -1;
}

bool expand_range(StatementContext& c, const Token& first, const Token& last, bool numbers, int kind, Wanted wanted,
                  std::vector<int>* variables) {
    if (!last.is_name()) return c.cursor.fail_expected("the last variable of the range");
    const std::size_t before = variables->size();
    if (numbers) {
        std::vector<std::string> names;
        if (!numbered_names(c, first, last, true, &names)) return false;
        for (const std::string& name : names) {
            const int v = look_up_variable(c, name);
            if (v < 0) {
                const bool whole = same_word(name, first.text) || same_word(name, last.text);
                if (whole) return fail_unknown_variable(c, same_word(name, first.text) ? first : last, wanted);
                return c.cursor.fail(spanning(first, last), statement_messages, message_unknown_variable,
                                     {shown_name(c.step.data), name});
            }
            variables->push_back(v);
        }
    } else {
        const int a = find_variable(c, first, Wanted::any);
        const int b = a < 0 ? -1 : find_variable(c, last, Wanted::any);
        if (b < 0) return false;
        if (a > b && c.step.data != nullptr) {
            return c.cursor.fail(spanning(first, last), statement_messages, message_range_backwards,
                                 {first.text, last.text});
        }
        all_variables(c, kind, std::min(a, b), std::max(a, b) + 1, variables);
    }
    for (std::size_t i = before; i < variables->size(); ++i) {
        if (!wanted_fits(c, spanning(first, last), (*variables)[i], wanted)) return false;
    }
    return true;
}

bool parse_variable_form(StatementContext& c, Wanted wanted, std::vector<int>* variables) {
    TokenCursor& cursor = c.cursor;
    const Token first = cursor.peek();
    int kind = 0;
    if (first.kind == TokenKind::name && accept_all_word(c, &kind)) {
        if (c.step.data == nullptr) return true;
        const std::size_t before = variables->size();
        all_variables(c, kind, 0, xvcount(c.step.data), variables);
        for (std::size_t i = before; i < variables->size(); ++i) {
            if (!wanted_fits(c, first, (*variables)[i], wanted)) return false;
        }
        return true;
    }
    if (!first.is_name()) return fail_variable_expected(c, "a variable");
    cursor.next();
    if (cursor.is(":")) {
        cursor.next();
        if (c.step.data == nullptr) return true;
        const std::size_t before = variables->size();
        for (int v = 0; v < xvcount(c.step.data); ++v) {
            const std::string_view name = xvname(c.step.data, v).name;
            if (same_word(name.substr(0, first.text.size()), first.text)) variables->push_back(v);
        }
        if (variables->size() == before) {
            return cursor.fail(first, statement_messages, message_no_prefix, {shown_name(c.step.data), first.text});
        }
        for (std::size_t i = before; i < variables->size(); ++i) {
            if (!wanted_fits(c, first, (*variables)[i], wanted)) return false;
        }
        return true;
    }
    if (cursor.is("-")) {
        bool numbers = true;
        cursor.next();
        if (cursor.accept("-")) {
            numbers = false;
        } else if ((names_numeric(cursor.peek()) || names_character(cursor.peek())) && cursor.peek(1).is("-")) {
            kind = names_numeric(cursor.next()) ? 1 : 2;
            cursor.next();
            numbers = false;
        }
        const Token last = cursor.peek();
        if (!expand_range(c, first, last, numbers, kind, wanted, variables)) return false;
        cursor.next();
        return true;
    }
    const int variable = find_variable(c, first, wanted);
    if (variable < 0) return false;
    variables->push_back(variable);
    return true;
}

bool parse_variables(StatementContext& c, Wanted wanted, std::vector<int>* variables) {
    while (c.cursor.peek().is_name()) {
        if (!parse_variable_form(c, wanted, variables)) return false;
        if (variables->size() > static_cast<std::size_t>(most_list_elements)) {
            return c.cursor.fail(c.cursor.peek(), statement_messages, message_range_too_long, {most_list_elements});
        }
    }
    return true;
}

bool parse_names(StatementContext& c, std::vector<std::string>* names) {
    TokenCursor& cursor = c.cursor;
    std::size_t added = 0;
    while (cursor.peek().is_name() && !cursor.peek(1).is("=")) {
        const Token first = cursor.peek();
        // The names here are new: only what follows tells a statement from a name.
        const bool ends = (first.is("RUN") || first.is("QUIT")) && cursor.peek(1).ends_statement();
        if (ends && added > 0) return cursor.fail_expected("a name or \";\"");
        cursor.next();
        ++added;
        if (!cursor.is("-")) {
            names->push_back(first.text);
            continue;
        }
        cursor.next();
        const Token last = cursor.peek();
        if (!last.is_name()) return cursor.fail_expected("the last name of the range");
        if (!numbered_names(c, first, last, false, names)) return false;
        cursor.next();
    }
    if (added > 0) return true;
    const bool text = cursor.peek().kind == TokenKind::string && !cursor.peek().text.empty();
    return cursor.fail_expected("a name", text ? name_as_written(cursor.peek().text) : std::string());
}

bool number_ahead(const TokenCursor& cursor, bool with_plus) {
    int ahead = 0;
    if (with_plus && cursor.peek(ahead).is("+")) ++ahead;
    if (cursor.peek(ahead).is("-")) ++ahead;
    return cursor.peek(ahead).is_number();
}

bool parse_signed_number(StatementContext& c, double* value) {
    c.cursor.accept("+");
    const bool negative = c.cursor.accept("-");
    if (!c.cursor.peek().is_number()) return c.cursor.fail_expected("a number");
    const double number = c.cursor.next().number;
    *value = negative ? -number : number;
    return true;
}

bool parse_number_list(StatementContext& c, std::vector<double>* numbers) {
    TokenCursor& cursor = c.cursor;
    while (number_ahead(cursor)) {
        const Token begin = cursor.peek();
        double first = 0, last = 0, step = 0;
        if (!parse_signed_number(c, &first)) return false;
        if (!cursor.accept("TO")) {
            numbers->push_back(first);
            cursor.accept(",");
            continue;
        }
        if (!parse_signed_number(c, &last)) return false;
        step = last < first ? -1 : 1;
        if (cursor.accept("BY")) {
            if (number_ahead(cursor)) {
                if (!parse_signed_number(c, &step)) return false;
            } else if (cursor.accept("WEEK")) {
                step *= 7;
            } else if (!cursor.accept("DAY")) {
                return cursor.fail_expected("a number, DAY or WEEK");
            }
        }
        const Token whole = spanning(begin, cursor.token(cursor.position() - 1));
        if (step == 0 || (step > 0) != (last >= first)) {
            return cursor.fail(whole, statement_messages, message_step_never_ends, {});
        }
        const double count = std::floor((last - first) / step + 1e-9);
        if (!(count < most_list_elements)) {
            return cursor.fail(whole, statement_messages, message_range_too_long, {most_list_elements});
        }
        for (int i = 0; i <= static_cast<int>(count); ++i) numbers->push_back(first + i * step);
        cursor.accept(",");
    }
    return true;
}

bool parse_levels(StatementContext& c, std::vector<std::string>* levels, std::vector<int>* groups) {
    TokenCursor& cursor = c.cursor;
    if (!cursor.accept("(")) return cursor.fail_expected("\"(\"");
    int in_group = 0;
    while (!cursor.is(")")) {
        const Token& token = cursor.peek();
        if (token.is(",") && in_group > 0) {
            groups->push_back(in_group);
            in_group = 0;
            cursor.next();
            continue;
        }
        if (token.kind == TokenKind::integer || token.kind == TokenKind::number) {
            return cursor.fail_expected("a level in quotes", joined({"'", token.text, "'"}));
        }
        if (token.kind != TokenKind::string && !token.is_name()) {
            return cursor.fail_expected("a level in quotes or \")\"", lost_closing(token));
        }
        levels->push_back(token.text);
        ++in_group;
        cursor.next();
    }
    if (levels->empty()) return cursor.fail_expected("a level in quotes");
    if (in_group > 0) groups->push_back(in_group);
    cursor.next();
    return true;
}

}  // namespace vek
