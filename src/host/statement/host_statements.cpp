// Reads and carries out the statements of the host. Each is read to its end before anything of it takes effect.
#include "host/statement/host_statements.h"

#include <algorithm>
#include <string>
#include <vector>

#include "host/data/expression.h"
#include "host/data/formats.h"
#include "host/session/options.h"
#include "host/statement/diagnostics.h"
#include "host/statement/interpreter.h"
#include "host/statement/lists.h"
#include "host/statement/suggest.h"
#include "host/table/service.h"

namespace vek {

namespace {

int (*where_gate)() = nullptr;

bool expect_end(TokenCursor& cursor, std::string_view expected = "\";\"") {
    return cursor.at_end() || cursor.fail_expected(std::string(expected));
}

/// A value of a host option: a word, a number with its sign, or a text.
bool parse_option_text(TokenCursor& cursor, std::string* text) {
    const bool minus = cursor.accept("-");
    const Token& token = cursor.peek();
    const bool word = token.is_name() || token.kind == TokenKind::string, token_is_number = token.is_number();
    if (!token_is_number && (minus || !word)) return cursor.fail_expected("a value");
    *text = (minus ? "-" : "") + cursor.next().text;
    // The unit of a size.
    const Token& unit = cursor.peek();
    if (token_is_number && unit.adjoins && (unit.is("K") || unit.is("M") || unit.is("G"))) *text += cursor.next().text;
    return true;
}

/// The host option with the "=" that was lost before its number; empty when it is none.
std::string lost_equals(std::string_view word) {
    for (const HostOption& option : host_option_table()) {
        std::string mended = with_lost_equals(word, option.name);
        if (!mended.empty()) return mended;
    }
    return {};
}

/// OPTIONS NAME=VALUE ...
bool options_statement(TokenCursor& cursor, Step*) {
    const Options before = host_options();
    if (cursor.at_end()) return cursor.fail_expected("a host option");
    while (!cursor.at_end()) {
        const Token name = cursor.peek();
        std::string value;
        if (name.kind != TokenKind::name) {
            cursor.fail_expected("a host option or \";\"", cursor.is(",") ? " " : "");
        } else if (std::string mended = lost_equals(name.text); !mended.empty()) {
            cursor.fail(name, statement_messages, message_needs_value, {mended.substr(0, mended.find('='))}, {},
                        mended);
        } else if (Options::find(upper_case(name.text)) == nullptr) {
            cursor.fail(name, statement_messages, message_unknown_host_option, {name.text}, "a host option",
                        in_case_of(Options::nearest(name.text), name.text));
        } else {
            cursor.next();
            const Token first = cursor.peek(1);
            if (!cursor.accept("=")) {
                cursor.fail_expected("\"=\"");
            } else if (parse_option_text(cursor, &value)) {
                const Options::Outcome outcome = host_options().set(upper_case(name.text), value);
                const HostOption* option = Options::find(upper_case(name.text));
                const Token whole = spanning(first, cursor.token(cursor.position() - 1));
                if (outcome == Options::Outcome::out_of_range) {
                    cursor.fail(whole, statement_messages, message_out_of_range_text,
                                {option->name, option->low, option->high, value});
                } else if (outcome != Options::Outcome::done) {
                    cursor.fail(whole, statement_messages, message_option_value, {option->name, value},
                                Options::expected(*option));
                }
            }
        }
        if (cursor.failed()) {
            host_options() = before;
            return false;
        }
    }
    return true;
}

/// TITLE 'text'; without a text the title goes.
bool title_statement(TokenCursor& cursor, Step*) {
    std::string text;
    if (!cursor.at_end()) {
        if (cursor.peek().kind != TokenKind::string) return cursor.fail_expected("a text in quotes");
        text = cursor.next().text;
        if (!expect_end(cursor)) return false;
    }
    tables().set_title(1, text);
    return true;
}

bool where_statement(TokenCursor& cursor, Step* step) {
    if (where_gate != nullptr && where_gate() == 0) {
        return cursor.fail(cursor.token(0), statement_messages, message_where_too_late, {});
    }
    if (step->data == nullptr) {
        cursor.to_end();
        return true;
    }
    Where where;
    if (!parse_where(cursor, *step->data, &where) || !expect_end(cursor, "an operator or \";\"")) return false;
    if (set_where(step->data, where)) report_at(cursor, cursor.token(0), message_where_again, {});
    return true;
}

/// A rule for reading variables in statements of the host.
StatementContext context_for(TokenCursor& cursor, Step& step, const StatementRule& rule) {
    return StatementContext{.cursor = cursor, .step = step, .rule = &rule, .keyword = cursor.token(0)};
}

/// The variables of a format, behind which a name of a format without its point is no misspelt variable.
bool parse_format_variables(StatementContext& c, std::vector<int>* variables) {
    if (parse_variables(c, Wanted::any, variables)) return true;
    const Token token = c.cursor.failure().token;
    if (variables->empty() || token.kind != TokenKind::name || !is_value_format(token.text)) return false;
    c.cursor.clear_failure();
    constexpr int format_messages = 920, message_no_point = 21;
    return c.cursor.fail(token, format_messages, message_no_point, {quoted(token.text)}, {}, token.text + ".");
}

bool format_statement(TokenCursor& cursor, Step* step) {
    static constexpr StatementRule rule{.names = "FORMAT", .body = Body::variables, .form = {}, .help = {}};
    StatementContext c = context_for(cursor, *step, rule);
    struct Assignment {
        int variable;
        Format format;
    };
    std::vector<Assignment> assignments;
    if (cursor.at_end()) return cursor.fail_expected("a variable");
    while (!cursor.at_end()) {
        const Token first = cursor.peek();
        std::vector<int> variables;
        if (!first.is_name()) return fail_variable_expected(c, "a variable");
        if (!parse_format_variables(c, &variables)) return false;
        Format format;
        const Token token = cursor.peek();
        if (!cursor.at_end()) {
            if (!looks_like_format(token)) {
                return cursor.fail_expected("a variable or a format", token.is_number() ? token.text + "." : "");
            }
            if (!parse_format_name(cursor, &format)) {
                const std::string name = token.text.substr(0, token.text.find('.'));
                if (token.kind == TokenKind::format && step->unmade != nullptr && step->unmade->mentions(name)) {
                    cursor.clear_failure();
                    report_at(cursor, token, message_consequence, {token.text});
                    step->silenced = true;
                }
                return false;
            }
        }
        for (const int v : variables) {
            if (step->data != nullptr && format.given() && !format_fits(step->data, v, format)) {
                const std::string_view kind = is_character_variable(c, v) ? "a text variable" : "a numeric variable";
                return cursor.fail(token, statement_messages, message_format_does_not_fit,
                                   {token.text, variable_name(c, v), kind});
            }
            assignments.push_back({v, format});
        }
    }
    if (step->data == nullptr || step->checking) return true;
    for (const Assignment& a : assignments) set_format(step->data, a.variable, a.format);
    return true;
}

bool label_statement(TokenCursor& cursor, Step* step) {
    static constexpr StatementRule rule{.names = "LABEL", .body = Body::variables, .form = {}, .help = {}};
    StatementContext c = context_for(cursor, *step, rule);
    std::vector<std::pair<int, std::string>> labels;
    if (cursor.at_end()) return cursor.fail_expected("a variable");
    while (!cursor.at_end()) {
        const int v = find_variable(c, cursor.peek(), Wanted::any);
        if (v < 0) return false;
        cursor.next();
        if (!cursor.accept("=")) return cursor.fail_expected("\"=\"");
        if (cursor.peek().kind != TokenKind::string) return cursor.fail_expected("a text in quotes");
        labels.emplace_back(v, cursor.next().text);
    }
    if (step->data == nullptr || step->checking) return true;
    for (const auto& [variable, label] : labels) set_label(step->data, variable, label);
    return true;
}

bool value_statement(TokenCursor& cursor, Step*) { return parse_value_statement(cursor); }

constexpr HostStatement statements[] = {
    {"OPTIONS", Allowed::anywhere, options_statement, "OPTIONS NAME=VALUE ...;", "sets host options"},
    {"TITLE", Allowed::anywhere, title_statement, "TITLE 'text';",
     "first line above each table's page; none without text"},
    {"WHERE", Allowed::in_step, where_statement, "WHERE expression;",
     "which observations take part; before the data are read"},
    {"FORMAT", Allowed::in_step, format_statement, "FORMAT variables format ...;",
     "how values are shown and classified"},
    {"LABEL", Allowed::in_step, label_statement, "LABEL variable='text' ...;", "texts that stand for variables"},
    {"VALUE", Allowed::outside_step, value_statement, "VALUE name code='text' low-high='text' ...;",
     "makes a format of texts for values; $name for texts"},
    {"RUN", Allowed::anywhere, nullptr, "RUN;", "runs what has been read"},
    {"QUIT", Allowed::anywhere, nullptr, "QUIT;", "runs what has been read and ends the step"},
};

}  // namespace

std::span<const HostStatement> host_statements() { return statements; }

const HostStatement* find_host_statement(std::string_view keyword) {
    for (const HostStatement& s : statements) {
        if (s.name == keyword) return &s;
    }
    return nullptr;
}

void set_where_gate(int (*gate)()) { where_gate = gate; }

}  // namespace vek
