// The grammar interpreter: bodies, options and their values, by the tables of the grammar.
#include "host/statement/interpreter.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "host/data/library.h"
#include "host/session/session.h"
#include "host/statement/diagnostics.h"
#include "host/statement/effects.h"
#include "host/statement/lists.h"
#include "host/statement/suggest.h"

namespace vek {

namespace {

/// A closing parenthesis is often what was forgotten: the way out is to write it before what stands there.
bool expect_closing(StatementContext& c, std::string_view or_else) {
    if (c.cursor.accept(")")) return true;
    const Token& here = c.cursor.peek();
    return c.cursor.fail_expected(std::string(or_else) + "\")\"", lost_closing(here));
}

/// "=" behind an option that needs a value.
bool expect_equals(StatementContext& c, const Token& keyword) {
    if (c.cursor.accept("=")) return true;
    const Token& here = c.cursor.peek();
    const bool value = here.is_name() || here.is_number() || here.kind == TokenKind::string;
    return c.cursor.fail(here, statement_messages, message_needs_value, {upper_case(keyword.text)}, "\"=\" and a value",
                         value && here.line == keyword.line && here.kind != TokenKind::string ? joined({"=", here.text})
                                                                                              : std::string());
}

bool parse_ranged_number(StatementContext& c, const Option& option, const Token& keyword, double* value) {
    TokenCursor& cursor = c.cursor;
    const Token first = cursor.peek();
    if (!number_ahead(cursor))
        return cursor.fail_expected(option.takes == Takes::integer ? "a whole number" : "a number");
    if (!parse_signed_number(c, value)) return false;
    const Token whole = spanning(first, cursor.token(cursor.position() - 1));
    const std::string name = upper_case(keyword.text);
    if (option.takes == Takes::integer && (*value != std::floor(*value))) {
        return cursor.fail(whole, statement_messages, message_not_whole, {name, *value});
    }
    if (*value >= option.low && *value <= option.high) return true;
    if (option.high == unlimited) {
        return cursor.fail(whole, statement_messages, message_too_low, {name, option.low, *value});
    }
    return cursor.fail(whole, statement_messages, message_out_of_range, {name, option.low, option.high, *value});
}

std::string choice_names(std::span<const Choice> choices) {
    std::string text;
    for (std::size_t i = 0; i < choices.size(); ++i) {
        if (i > 0) text += i + 1 == choices.size() ? " or " : ", ";
        text += first_name(choices[i].names);
    }
    return text;
}

/// One of the words that can follow an option.
const Choice* parse_choice(StatementContext& c, std::span<const Choice> choices, const Token& keyword) {
    const Token& token = c.cursor.peek();
    if (token.kind == TokenKind::name) {
        const std::string word = upper_case(token.text);
        for (const Choice& choice : choices) {
            if (!has_name(choice.names, word)) continue;
            c.cursor.next();
            return &choice;
        }
        Nearest nearest(word);
        for (const Choice& choice : choices) nearest.offer_all(choice.names);
        c.cursor.fail(token, statement_messages, message_unknown_choice, {upper_case(keyword.text), token.text},
                      choice_names(choices), in_case_of(nearest.best(), token.text));
        return nullptr;
    }
    c.cursor.fail_expected(choice_names(choices));
    return nullptr;
}

/// The settings of a choice, in parentheses.
bool parse_settings(StatementContext& c, const Choice& choice) {
    TokenCursor& cursor = c.cursor;
    if (choice.settings.empty() || !cursor.accept("(")) return true;
    while (!cursor.is(")")) {
        const Token token = cursor.peek();
        const Option* setting =
            token.kind == TokenKind::name ? find_option(choice.settings, upper_case(token.text)) : nullptr;
        if (setting == nullptr) {
            if (token.kind != TokenKind::name) return expect_closing(c, "a setting or ");
            Nearest nearest(token.text);
            for (const Option& o : choice.settings) nearest.offer_all(o.names);
            return cursor.fail(token, statement_messages, message_unknown_option,
                               {first_name(choice.names), token.text}, "a setting or \")\"",
                               in_case_of(nearest.best(), token.text));
        }
        cursor.next();
        if (!parse_option_value(c, *setting, token)) return false;
        cursor.accept(",");
    }
    cursor.next();
    return true;
}

/// Control levels behind CONTROL and its kin. With one effect all texts belong to its control; with several, a comma
/// ends the control of each.
bool parse_controls(StatementContext& c, const Option& option) {
    std::vector<std::string> levels;
    std::vector<int> groups;
    if (!parse_levels(c, &levels, &groups)) return false;
    if (c.rule->slot >= 0 && c.record->slot(c.rule->slot).count <= 1) {
        groups.assign(1, static_cast<int>(levels.size()));
    }
    c.record->slot(option.slot2) = Slot{};
    c.record->slot(option.slot3) = Slot{};
    for (const std::string& level : levels) append_level(c.record->slot(option.slot2), level);
    for (const int n : groups) append_integer(c.record->slot(option.slot3), n);
    return true;
}

bool parse_choice_value(StatementContext& c, const Option& option, const Token& keyword) {
    const Choice* choice = parse_choice(c, option.choices, keyword);
    if (choice == nullptr) return false;
    if (option.takes == Takes::word) {
        set_text(c.record->slot(option.slot), first_name(choice->names));
        return true;
    }
    if (option.slot >= 0) set_code(c.record->slot(option.slot), choice->code);
    if (choice->bit >= 0) c.record->set_option(choice->bit);
    if (choice->list && option.slot2 >= 0 && c.cursor.is("(")) return parse_controls(c, option);
    return parse_settings(c, *choice);
}

bool parse_data_set(StatementContext& c, const Option& option) {
    PendingOpen open;
    open.slot = option.slot;
    open.output = option.takes != Takes::input;
    // The word behind "=" that has a "=" of its own is the next option.
    if (c.cursor.peek().is_name() && c.cursor.peek(1).is("=")) return c.cursor.fail_expected("a data set");
    if (!parse_reference(c.cursor, &open.reference)) return false;
    std::erase_if(c.opens, [&](const PendingOpen& o) { return o.slot == open.slot; });
    c.opens.push_back(std::move(open));
    return true;
}

bool parse_effect_group(StatementContext& c, const Option& option) {
    Slot& slot = c.record->slot(option.slot);
    if (!c.cursor.accept("(")) return parse_effect(c, option.use, slot);
    int added = 0;
    if (!parse_effects(c, option.use, false, slot, &added)) return false;
    if (added == 0) return c.cursor.fail_expected("an effect");
    return expect_closing(c, "an effect or ");
}

bool parse_effects_value(StatementContext& c, const Option& option) {
    if ((option.use & use_all) != 0 && c.cursor.accept("_ALL_")) {
        c.record->set_option(option.bit);
        return true;
    }
    int added = 0;
    if (!parse_effects(c, option.use, false, c.record->slot(option.slot), &added)) return false;
    return added > 0 || c.cursor.fail_expected("an effect");
}

// ---- bodies ---------------------------------------------------------------------------------------------------------

/// A list statement: each variable once.
bool parse_variable_list(StatementContext& c) {
    std::vector<int> variables;
    const bool one = c.rule->body == Body::one_variable;
    const Wanted wanted = one ? Wanted::numeric : Wanted::any;
    if (one) {
        if (!parse_variable_form(c, wanted, &variables)) return false;
        if (variables.size() > 1 || c.cursor.peek().is_name()) {
            if (c.cursor.peek().is_name()) {
                // What follows may be the next statement; if it is a variable, there are too many.
                const bool variable = look_up_variable(c, c.cursor.peek().text) >= 0;
                if (!variable) return c.cursor.fail_expected("\";\"");
            }
            return c.cursor.fail(c.cursor.peek(), statement_messages, message_one_variable, {c.name()}, "\";\"");
        }
    } else if (!parse_variables(c, wanted, &variables)) {
        return false;
    }
    if (variables.empty() && c.cursor.at_end() && c.cursor.position() > 1) return true;
    if (variables.empty()) return fail_variable_expected(c, "a variable");
    if (!c.cursor.at_end()) return fail_variable_expected(c, "a variable or \";\"");
    Slot& slot = c.record->slot(c.rule->slot);
    for (const int v : variables) {
        const auto list = slot.variables();
        const bool twice = !one && std::find(list.begin(), list.end(), v) != list.end();
        if (!twice) append_integer(slot, v);
    }
    return true;
}

bool parse_model(StatementContext& c) {
    TokenCursor& cursor = c.cursor;
    bool equals = false;
    for (int ahead = 0; !cursor.peek(ahead).ends_statement() && !cursor.peek(ahead).is("/") && !equals; ++ahead) {
        equals = cursor.peek(ahead).is("=");
    }
    if (!equals && cursor.peek().is_name()) {
        const Token& behind = cursor.peek(1);
        return cursor.fail(cursor.peek(behind.is_name() || behind.is("~") ? 1 : 0), statement_messages,
                           message_model_equals, {}, {}, behind.is("~") ? "=" : "");
    }
    std::vector<int> dependents;
    if (!parse_variables(c, Wanted::numeric, &dependents)) return false;
    if (!cursor.is("="))
        return cursor.fail_expected(dependents.empty() ? "a dependent variable" : "a dependent variable or \"=\"");
    cursor.next();
    constexpr int slot_of_dependents = 4;
    for (const int v : dependents) append_integer(c.record->slot(slot_of_dependents), v);
    return parse_effects(c, c.rule->use, true, c.record->slot(c.rule->slot));
}

bool parse_effect_body(StatementContext& c) {
    int added = 0;
    if (!parse_effects(c, c.rule->use, false, c.record->slot(c.rule->slot), &added)) return false;
    return added > 0 || !c.rule->required || c.cursor.fail_expected("an effect");
}

/// Keywords of the clauses, for what was expected.
std::string clause_names(const StatementRule& rule) {
    std::string text;
    for (const Option& clause : rule.clauses.first(std::min<std::size_t>(rule.clauses.size(), 5))) {
        text += std::string(first_name(clause.names)) + "=, ";
    }
    if (rule.clauses.size() > 5) text += "..., ";
    return text + "\"/\" or \";\"";
}

bool parse_clauses(StatementContext& c) {
    TokenCursor& cursor = c.cursor;
    while (!cursor.at_end() && !cursor.is("/")) {
        const Token keyword = cursor.peek();
        if (keyword.kind != TokenKind::name) return cursor.fail_expected(clause_names(*c.rule));
        const Option* clause = find_option(c.rule->clauses, upper_case(keyword.text));
        if (clause == nullptr) {
            const std::string word = upper_case(keyword.text);
            if (find_option(c.rule->options, word) != nullptr) {
                return cursor.fail(keyword, statement_messages, message_lost_slash, {word, c.name()}, {},
                                   joined({"/ ", keyword.text}));
            }
            Nearest nearest(word);
            for (const Option& o : c.rule->clauses) nearest.offer_all(o.names);
            return cursor.fail(keyword, statement_messages, message_unknown_clause, {c.name(), keyword.text},
                               clause_names(*c.rule), in_case_of(nearest.best(), keyword.text));
        }
        cursor.next();
        if (!parse_option_value(c, *clause, keyword)) return false;
    }
    return true;
}

/// The clauses of TEST: each once and in order.
bool parse_ordered(StatementContext& c) {
    for (const Option& clause : c.rule->clauses) {
        const Token keyword = c.cursor.peek();
        const std::string name(first_name(clause.names));
        if (!keyword.is(name)) return c.cursor.fail_expected(name + "=");
        c.cursor.next();
        if (!parse_option_value(c, clause, keyword)) return false;
    }
    return true;
}

bool parse_body(StatementContext& c) {
    switch (c.rule->body) {
        case Body::options:
            return true;
        case Body::variables:
        case Body::one_variable:
            return parse_variable_list(c);
        case Body::by:
            return parse_by(c);
        case Body::model:
            return parse_model(c);
        case Body::effects:
            return parse_effect_body(c);
        case Body::rows:
            return parse_rows(c, true);
        case Body::row:
            return parse_rows(c, false);
        case Body::ordered:
            return parse_ordered(c);
        case Body::clauses:
            return parse_clauses(c);
        case Body::factors:
            return parse_factors(c);
    }
    return true;
}

/// Data sets that the statement opens although it does not name them.
void add_default_data_sets(StatementContext& c) {
    const auto add = [&](const Option& o) {
        const bool given =
            std::any_of(c.opens.begin(), c.opens.end(), [&](const PendingOpen& open) { return open.slot == o.slot; });
        if (given || (o.takes != Takes::input && o.takes != Takes::always_output)) return;
        PendingOpen open;
        open.slot = o.slot;
        open.output = o.takes == Takes::always_output;
        open.absent = true;
        c.opens.push_back(std::move(open));
    };
    for (const Option& o : c.rule->clauses) add(o);
    for (const Option& o : c.rule->options) add(o);
}

/// The first of DATA1, DATA2, ... that the run has not made.
std::string free_data_name() {
    for (int n = 1;; ++n) {
        std::string name = joined({"DATA", std::to_string(n)});
        if (find_made(name) == nullptr && !is_being_written(name, false)) return name;
    }
}

/// True when a data set of that name can be read.
bool names_data_set(const std::string& name) {
    if (find_made(name) != nullptr || session().data_path(name)) return true;
    return ::access(session().input_path(joined({name, ".csv"})).c_str(), F_OK) == 0;
}

/// True when the data set is one that an earlier mistake has kept from being made.
bool is_unmade(const StatementContext& c, const DataReference& reference) {
    if (c.step.unmade == nullptr) return false;
    // A path that a statement with a mistake reads is wrong by itself.
    if (reference.is_path) {
        return c.step.unmade->data_sets.count(upper_case(reference.name)) > 0 &&
               ::access(session().input_path(reference.name).c_str(), F_OK) != 0;
    }
    return c.step.unmade->mentions(reference.name) && !names_data_set(reference.name);
}

/// Notes that the statement cannot be carried out for a reason that has been told.
void silence(StatementContext& c, const Token& token, std::string_view what) {
    report_at(c.cursor, token, message_consequence, {what});
    c.step.silenced = true;
}

/// What can still stand where a body has ended.
std::string expected_behind_body(const StatementRule& rule) {
    switch (rule.body) {
        case Body::model:
        case Body::effects:
            return rule.options.empty() ? "an effect or \";\"" : "an effect, \"/\" or \";\"";
        default:
            return rule.options.empty() ? "\";\"" : "\"/\" or \";\"";
    }
}

/// Something stands where the body has ended: what can, and what was probably meant.
bool fail_behind_body(StatementContext& c, const StatementRule& rule) {
    const Token& here = c.cursor.peek();
    const std::string word = here.kind == TokenKind::name ? upper_case(here.text) : std::string();
    if (!word.empty() && find_option(rule.options, word) != nullptr) {
        return c.cursor.fail(here, statement_messages, message_lost_slash, {word, c.name()}, {},
                             joined({"/ ", here.text}));
    }
    std::string expected = expected_behind_body(rule);
    const bool effects = rule.body == Body::model || rule.body == Body::effects;
    if (effects && here.is("^")) expected += "; the square of a regressor is written x*x";
    const bool apart = here.is(",") || (effects && here.is("+"));
    return c.cursor.fail_expected(std::move(expected), apart ? " " : "");
}

/// The first statement that has the option, for one that stands on another; empty when none has.
std::string_view owner_of_option(const StatementContext& c, std::string_view word) {
    for (const StatementRule& rule : c.step.grammar->statements) {
        const bool has = find_option(rule.options, word) != nullptr || find_option(rule.clauses, word) != nullptr;
        if (has) return rule.body == Body::options ? "PROC" : first_name(rule.names);
    }
    return {};
}

}  // namespace

const StatementRule* find_rule(const Grammar* grammar, std::string_view keyword) {
    for (const StatementRule& rule : grammar->statements) {
        if (has_name(rule.names, keyword)) return &rule;
    }
    return nullptr;
}

const Option* find_option(std::span<const Option> options, std::string_view keyword) {
    for (const Option& option : options) {
        if (has_name(option.names, keyword)) return &option;
    }
    return nullptr;
}

bool parse_option_value(StatementContext& c, const Option& option, const Token& keyword) {
    TokenCursor& cursor = c.cursor;
    Statement& record = *c.record;
    const bool needs_value = option.takes != Takes::nothing && option.takes != Takes::maybe_code &&
                             option.takes != Takes::maybe_effect && option.takes != Takes::levels &&
                             option.takes != Takes::regressors;
    if (needs_value && !expect_equals(c, keyword)) return false;
    double number = 0;
    std::vector<std::string> names;
    std::vector<int> groups;
    switch (option.takes) {
        case Takes::nothing:
            if (cursor.is("=")) {
                return cursor.fail(cursor.peek(), statement_messages, message_takes_no_value,
                                   {upper_case(keyword.text)});
            }
            record.set_option(option.bit);
            return true;
        case Takes::number:
        case Takes::integer:
            if (!parse_ranged_number(c, option, keyword, &number)) return false;
            set_number(record.slot(option.slot), number);
            return true;
        case Takes::word:
        case Takes::code:
            return parse_choice_value(c, option, keyword);
        case Takes::maybe_code:
            record.set_option(option.bit);
            return !cursor.accept("=") || parse_choice_value(c, option, keyword);
        case Takes::effect:
            return parse_effect(c, option.use, record.slot(option.slot));
        case Takes::maybe_effect:
            if (cursor.accept("=")) return parse_effect(c, option.use, record.slot(option.slot));
            record.set_option(option.bit);
            return true;
        case Takes::effects:
            return parse_effects_value(c, option);
        case Takes::effect_group:
            return parse_effect_group(c, option);
        case Takes::input:
        case Takes::output:
        case Takes::always_output:
            return parse_data_set(c, option);
        case Takes::names:
            if (!parse_names(c, &names)) return false;
            for (const std::string& name : names) append_name(record.slot(option.slot), name);
            return true;
        case Takes::one_name:
            if (!cursor.peek().is_name()) return cursor.fail_expected("a name");
            append_name(record.slot(option.slot), cursor.next().text);
            return true;
        case Takes::statistic:
            return parse_statistic(c, option);
        case Takes::levels:
            record.set_option(option.bit);
            if (!cursor.is("(")) return true;
            if (!parse_levels(c, &names, &groups)) return false;
            for (const std::string& level : names) append_level(record.slot(option.slot), level);
            return true;
        case Takes::regressors:
            record.set_option(option.bit);
            return parse_regressors(c, option);
        case Takes::expression:
            return parse_expression(c, option);
    }
    return true;
}

bool parse_options(StatementContext& c, std::span<const Option> options, std::string_view owner) {
    TokenCursor& cursor = c.cursor;
    const std::string expected = joined({"an option of ", owner, " or \";\""});
    while (!cursor.at_end()) {
        const Token keyword = cursor.peek();
        for (const Option& o : options) {
            const bool number = o.takes == Takes::number || o.takes == Takes::integer;
            std::string mended = number ? with_lost_equals(keyword.text, o.names) : std::string();
            const bool known = find_option(options, upper_case(keyword.text)) != nullptr;
            if (mended.empty() || known || keyword.kind == TokenKind::string) continue;
            return cursor.fail(keyword, statement_messages, message_needs_value, {first_name(o.names)}, {}, mended);
        }
        if (keyword.kind != TokenKind::name) {
            std::string suggest = cursor.is(",") || cursor.is("/") ? " " : "";
            const bool data = keyword.kind == TokenKind::string && owner == "PROC";
            if (data && keyword.text.find('\'') == std::string::npos) suggest = joined({"DATA='", keyword.text, "'"});
            return cursor.fail_expected(expected, std::move(suggest));
        }
        const std::string word = upper_case(keyword.text);
        const Option* option = find_option(options, word);
        if (option == nullptr) {
            const StatementRule* full = find_rule(vekg(), upper_case(owner));
            const bool elsewhere =
                c.step.grammar != vekg() && full != nullptr && find_option(full->options, word) != nullptr;
            if (elsewhere) {
                return cursor.fail(keyword, statement_messages, message_option_of_full, {owner, word}, expected);
            }
            if (const std::string_view other = owner_of_option(c, word); !other.empty()) {
                return cursor.fail(keyword, statement_messages, message_unknown_option, {owner, keyword.text},
                                   joined({expected, "; ", word, " belongs to ", other}));
            }
            Nearest nearest(word);
            for (const Option& o : options) nearest.offer_all(o.names);
            std::string suggest = in_case_of(nearest.best(), keyword.text);
            if (owner == "PROC" && names_data_set(keyword.text)) {
                suggest = joined({in_case_of("DATA", keyword.text), "=", keyword.text});
            }
            return cursor.fail(keyword, statement_messages, message_unknown_option, {owner, keyword.text}, expected,
                               std::move(suggest));
        }
        cursor.next();
        if (!parse_option_value(c, *option, keyword)) return false;
    }
    return true;
}

bool parse_statement(StatementContext& c) {
    const StatementRule& rule = *c.rule;
    if (!parse_body(c)) return false;
    if (rule.body == Body::options) {
        if (!parse_options(c, rule.options, "PROC")) return false;
    } else if (!c.cursor.at_end()) {
        if (rule.options.empty() && c.cursor.is("/") && c.step.grammar != vekg()) {
            return c.cursor.fail(c.cursor.peek(), statement_messages, message_no_options, {c.name()}, "\";\"");
        }
        if (rule.options.empty() || !c.cursor.is("/")) return fail_behind_body(c, rule);
        c.cursor.next();
        if (!parse_options(c, rule.options, c.name())) return false;
    }
    // Where the statement ends there may be what the scanner could not read.
    if (c.cursor.peek().kind == TokenKind::bad) return c.cursor.fail_expected("\";\"");
    add_default_data_sets(c);
    return true;
}

bool open_data_sets(StatementContext& c) {
    for (PendingOpen& open : c.opens) {
        if (open.output && !open.absent) c.step.outputs.push_back(open.reference.name);
        if (c.step.checking && open.output) continue;
        DataSet* data = nullptr;
        if (!open.output && !open.absent && is_unmade(c, open.reference)) {
            silence(c, open.reference.token, open.reference.name);
        } else if (open.absent && !open.output && last_made() == nullptr && !c.step.unmade->data_sets.empty()) {
            silence(c, c.keyword, "the data set to read");
        } else if (open.absent && !open.output && last_made() == nullptr) {
            constexpr int data_messages = 910, message_no_last = 26;
            // The place where DATA= would stand: behind the procedure's name.
            const Token& name = c.cursor.size() > 1 ? c.cursor.token(1) : c.keyword;
            return c.cursor.fail(name, data_messages, message_no_last, {});
        } else if (open.absent && !open.output) {
            data = open_last(c.cursor.place(c.keyword));
        } else {
            if (open.absent) {
                open.reference.name = free_data_name();
                open.reference.token = c.keyword;
                open.reference.place = c.cursor.place(c.keyword);
            }
            data = open.output ? open_output(open.reference, &c.cursor) : open_input(open.reference, &c.cursor);
        }
        if (data == nullptr) return false;
        Slot& slot = c.record->slot(open.slot);
        slot.type = open.output ? slot_output : slot_input;
        slot.handle = data;
    }
    return true;
}

std::vector<SlotView> slot_views(const StatementRule& rule, const StatementRule& proc_rule) {
    std::vector<SlotView> views;
    const auto add = [&](int slot, SlotKind kind) {
        const bool known = std::any_of(views.begin(), views.end(), [&](const SlotView& v) { return v.slot == slot; });
        if (slot >= 0 && !known) views.push_back({slot, kind});
    };
    const auto add_option = [&](const Option& o, const auto& self) -> void {
        switch (o.takes) {
            case Takes::number:
            case Takes::integer:
                add(o.slot, SlotKind::number);
                break;
            case Takes::word:
                add(o.slot, SlotKind::text);
                break;
            case Takes::input:
            case Takes::output:
            case Takes::always_output:
                add(o.slot, SlotKind::data);
                break;
            case Takes::names:
            case Takes::one_name:
                add(o.slot, SlotKind::names);
                break;
            case Takes::statistic:
                add(o.slot, SlotKind::names);
                add(o.slot2, SlotKind::numbers);
                break;
            case Takes::levels:
                add(o.slot, SlotKind::levels);
                break;
            case Takes::regressors:
            case Takes::expression:
                add(o.slot, SlotKind::integers);
                add(o.slot2, SlotKind::numbers);
                break;
            case Takes::effect:
            case Takes::maybe_effect:
            case Takes::effects:
            case Takes::effect_group:
                add(o.slot, SlotKind::effects);
                break;
            default:
                add(o.slot, SlotKind::integers);
                add(o.slot2, SlotKind::levels);
                break;
        }
        add(o.slot3, SlotKind::integers);
        for (const Choice& choice : o.choices) {
            for (const Option& setting : choice.settings) self(setting, self);
        }
    };
    switch (rule.body) {
        case Body::options:
            for (const int list :
                 {proc_by, proc_continuous, proc_class, proc_freq, proc_weight, proc_id, proc_absorb}) {
                add(list, SlotKind::integers);
            }
            break;
        case Body::model:
            add(4, SlotKind::integers);
            add(rule.slot, SlotKind::effects);
            break;
        case Body::effects:
            add(rule.slot, SlotKind::effects);
            break;
        case Body::rows:
        case Body::row:
            add(1, SlotKind::effects);
            add(2, SlotKind::numbers);
            add(3, SlotKind::integers);
            if (rule.body == Body::rows) add(4, SlotKind::integers);
            add(5, SlotKind::text);
            break;
        case Body::factors:
            add(1, SlotKind::names);
            for (const int numbers : {2, 3, 5, 6}) add(numbers, SlotKind::numbers);
            add(4, SlotKind::integers);
            break;
        default:
            break;
    }
    if (rule.is_list()) return slot_views(proc_rule, proc_rule);
    for (const Option& o : rule.clauses) add_option(o, add_option);
    for (const Option& o : rule.options) add_option(o, add_option);
    std::sort(views.begin(), views.end(), [](const SlotView& a, const SlotView& b) { return a.slot < b.slot; });
    return views;
}

}  // namespace vek
