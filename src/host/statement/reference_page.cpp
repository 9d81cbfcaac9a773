// Draws the tables of the grammars, of the host's statements and options, and the limits, as Markdown.
#include "host/statement/reference_page.h"

#include <fmt/format.h>

#include <algorithm>

#include "frame/grammar.h"
#include "host/data/expression.h"
#include "host/data/formats.h"
#include "host/session/options.h"
#include "host/statement/effects.h"
#include "host/statement/host_statements.h"
#include "host/statement/interpreter.h"
#include "host/statement/lists.h"
#include "host/statement/scanner.h"

namespace vek {

namespace {

/// Keywords as they stand in a table: `A`, `B`.
std::string code_names(std::string_view names, std::string_view behind = {}) {
    std::string text;
    while (!names.empty()) {
        text += fmt::format("{}`{}{}`", text.empty() ? "" : ", ", take_name(&names), behind);
    }
    return text;
}

std::string range_of(double low, double high) {
    if (high == unlimited && low == -unlimited) return "a number";
    if (high == unlimited) return fmt::format("a number from {}", low);
    return fmt::format("a number from {} to {}", low, high);
}

std::string choices_of(const Option& option) {
    std::string text;
    for (const Choice& choice : option.choices) {
        text += fmt::format("{}{}", text.empty() ? "" : ", ", code_names(choice.names));
    }
    return text;
}

/// What stands behind the keyword.
std::string value_of(const Option& option) {
    switch (option.takes) {
        case Takes::nothing:
            return "";
        case Takes::number:
            return "= " + range_of(option.low, option.high);
        case Takes::integer:
            return fmt::format("= a whole number from {} to {}", option.low, option.high);
        case Takes::word:
        case Takes::code:
            return "= " + choices_of(option);
        case Takes::maybe_code:
            return "nothing, or = " + choices_of(option);
        case Takes::effect:
            return "= effect";
        case Takes::maybe_effect:
            return "nothing, or = effect";
        case Takes::effects:
            return "= effects";
        case Takes::effect_group:
            return "= effect, or = (effects)";
        case Takes::input:
            return "= data set to read";
        case Takes::output:
        case Takes::always_output:
            return "= data set to write";
        case Takes::names:
        case Takes::statistic:
            return "= names";
        case Takes::one_name:
            return "= name";
        case Takes::levels:
            return "nothing, or (levels)";
        case Takes::regressors:
            return "nothing, `MEANS`, variable = numbers, or (variables) = (numbers)";
        case Takes::expression:
            return "= rows";
    }
    return "";
}

void add_rows(std::string* page, std::span<const Option> options, const StatementRule* other, bool clauses) {
    for (const Option& option : options) {
        bool only_full = false;
        if (other != nullptr) {
            const std::span<const Option> there = clauses ? other->clauses : other->options;
            only_full = find_option(there, first_name(option.names)) == nullptr;
        }
        *page += fmt::format("| {} | {} | {}{} |\n", code_names(option.names), value_of(option), option.help,
                             only_full ? "; PROC VEK only" : "");
    }
}

/// Words that options take, with their settings.
void add_choices(std::string* page, std::span<const Option> options) {
    const std::span<const Choice>* last = nullptr;
    for (const Option& option : options) {
        if (option.choices.empty()) continue;
        if (last != nullptr && last->data() == option.choices.data()) continue;
        last = &option.choices;
        *page += fmt::format("\nWords of {}:\n\n| Word | Meaning |\n|---|---|\n", code_names(option.names, "="));
        for (const Choice& choice : option.choices) {
            *page +=
                fmt::format("| {}{} | {} |\n", code_names(choice.names), choice.list ? " [(levels)]" : "", choice.help);
        }
        for (const Choice& choice : option.choices) {
            if (choice.settings.empty()) continue;
            *page += fmt::format("\nSettings of {}, in parentheses behind it:\n\n", code_names(choice.names));
            *page += "| Setting | Value | Meaning |\n|---|---|---|\n";
            add_rows(page, choice.settings, nullptr, false);
        }
    }
}

void add_statement(std::string* page, const StatementRule& rule) {
    const StatementRule* cut_down = nullptr;
    for (const StatementRule& other : vekang()->statements) {
        if (first_name(other.names) == first_name(rule.names)) cut_down = &other;
    }
    *page += fmt::format("### {}\n\n    {}\n\n", first_name(rule.names), rule.form);
    std::string help(rule.help);
    help.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(help.front())));
    *page += help + ".";
    std::string_view aliases = rule.names;
    take_name(&aliases);
    if (!aliases.empty()) *page += fmt::format(" Also written {}.", code_names(aliases));
    if (cut_down == nullptr) *page += " Not in PROC ANOVA.";
    if (cut_down != nullptr && cut_down->body == Body::options) {
        *page += " `PROC ANOVA options;` begins a step of the other procedure.";
    }
    *page += "\n";
    if (!rule.clauses.empty()) {
        *page += "\n| Part | Value | Meaning |\n|---|---|---|\n";
        add_rows(page, rule.clauses, cut_down, true);
    }
    if (!rule.choices.empty()) {
        *page += "\n| Transformation | Meaning |\n|---|---|\n";
        for (const Choice& choice : rule.choices) {
            *page +=
                fmt::format("| {}{} | {} |\n", code_names(choice.names), choice.list ? " [(level)]" : "", choice.help);
        }
    }
    if (!rule.options.empty()) {
        *page += "\n| Option | Value | Meaning |\n|---|---|---|\n";
        add_rows(page, rule.options, cut_down, false);
    }
    add_choices(page, rule.options);
    *page += "\n";
}

void add_host(std::string* page) {
    *page += "## Statements of the host\n\n| Statement | Where | Meaning |\n|---|---|---|\n";
    for (const HostStatement& host : host_statements()) {
        const std::string_view where = host.allowed == Allowed::anywhere  ? "anywhere"
                                       : host.allowed == Allowed::in_step ? "in a step"
                                                                          : "outside a step";
        *page += fmt::format("| `{}` | {} | {} |\n", host.form, where, host.help);
    }
    *page += "\n### Host options\n\nSet by `OPTIONS NAME=VALUE;` or `--option NAME=VALUE`.\n\n";
    *page += "| Option | Meaning |\n|---|---|\n";
    for (const HostOption& option : host_option_table()) {
        if (!option.help.empty()) *page += fmt::format("| `{}` | {} |\n", option.name, option.help);
    }
    *page += "\n";
}

void add_limits(std::string* page) {
    struct Limit {
        std::string_view what;
        int number;
    };
    const Limit limits[] = {
        {"characters of a name or a name literal", longest_name},
        {"bytes of a text constant", longest_text},
        {"words and signs of a statement", most_tokens},
        {"variables, names or numbers that a list stands for", most_list_elements},
        {"variables of an effect", most_term_variables},
        {"effects that one chain of bars expands to", most_terms},
        {"effects of a statement", most_effects},
        {"rows of CONTRAST and M=, factors of REPEATED", most_rows},
        {"depth of an expression of WHERE", deepest_expression},
        {"operators and operands of an expression of WHERE", longest_expression},
        {"width of a format w.d", widest_number},
        {"decimals of a format w.d", most_decimals},
        {"width of a format $w.", widest_text},
        {"ranges of a VALUE format", most_labels},
    };
    *page +=
        "## Limits\n\nWhat goes beyond is refused in a message that names the limit.\n\n| What | Limit |\n|---|---|\n";
    for (const Limit& limit : limits) *page += fmt::format("| {} | {} |\n", limit.what, limit.number);
    *page += "| bytes of a class level's text that tell it from others | 16 |\n";
}

}  // namespace

std::string statement_reference() {
    std::string page = "## Statements of a step\n\n";
    for (const StatementRule& rule : vekg()->statements) add_statement(&page, rule);
    add_host(&page);
    add_limits(&page);
    return page;
}

}  // namespace vek
