// The two grammars as data: what statements there are, how each is written, and where each part of it lands in its
// record. The statement engine interprets these tables; help, suggestions and the manual's reference read them too.
//
// A new option is one row: its keywords (the first is its name, the others are aliases), what follows it, the option
// bit that it sets or the slot that it fills, and one line of help. The compiler refuses a bit or slot that is used
// twice or does not exist, a keyword that stands twice, a range that is empty, and a row without help. Rows that fill
// one place on purpose say so with `shares`.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string_view>

namespace vek {

/// What follows a keyword.
enum class Takes : std::uint8_t {
    nothing,        ///< the keyword alone sets the bit
    number,         ///< =number within low..high, into the slot
    integer,        ///< =whole number within low..high, into the slot
    word,           ///< =one of the choices, whose first keyword goes into the slot as text
    code,           ///< =one of the choices, whose code goes into the slot; its own bit and settings too
    maybe_code,     ///< sets the bit; =choice may follow
    effect,         ///< =one effect, into the slot
    maybe_effect,   ///< alone it sets the bit; with =effect the effect goes into the slot instead
    effects,        ///< =effects, into the slot; a word _ALL_ sets the bit where the use allows it
    effect_group,   ///< =one effect, or several in parentheses, into the slot
    input,          ///< =data set to read, into the slot; the data set made last when the option is absent
    output,         ///< =data set to write, into the slot
    always_output,  ///< the same; a data set with a made-up name when the option is absent
    names,          ///< =names, into the slot
    one_name,       ///< =one name, into the slot
    statistic,      ///< =names of new variables: names into slot, the row's code into slot2, their number into slot3
    levels,         ///< sets the bit; a list of levels in parentheses may follow, into the slot
    regressors,     ///< sets the bit; variables (slot) and their values (slot2) may follow
    expression,     ///< =rows of a transformation: tokens into slot, coefficients into slot2; the bit for plain numbers
};

/// What an effect of a statement must be.
using EffectUse = std::uint8_t;
constexpr EffectUse use_any = 0;
constexpr EffectUse use_model = 1;      ///< it must be in the model
constexpr EffectUse use_class = 2;      ///< it holds class variables alone
constexpr EffectUse use_intercept = 4;  ///< INTERCEPT may stand for it
constexpr EffectUse use_all = 8;        ///< _ALL_ may stand for all effects

constexpr double unlimited = std::numeric_limits<double>::infinity();

struct Option;

/// One of the words that can follow an option.
struct Choice {
    std::string_view names;  ///< keywords, separated by blanks
    int code = 0;
    int bit = -1;
    bool list = false;                   ///< a list in parentheses may follow
    std::span<const Option> settings{};  ///< what may follow in parentheses
    std::string_view help;
};

struct Option {
    std::string_view names;  ///< keywords, separated by blanks
    Takes takes = Takes::nothing;
    int bit = -1;
    int slot = -1, slot2 = -1, slot3 = -1;
    double low = 0, high = 0;
    std::span<const Choice> choices{};
    EffectUse use = use_any;
    int code = 0;
    bool shares = false;  ///< its bit or slot is that of an earlier row
    std::string_view help;
};

/// What stands between a statement's keyword and "/".
enum class Body : std::uint8_t {
    options,       ///< the options themselves, without "/" (PROC)
    variables,     ///< a list of variables
    one_variable,  ///< one numeric variable
    by,            ///< BY variables with DESCENDING and NOTSORTED
    model,         ///< dependent variables = effects
    effects,       ///< effects
    rows,          ///< a label, then rows of effects with coefficients, separated by commas
    row,           ///< the same with one row
    ordered,       ///< the clauses, each once and in their order
    clauses,       ///< the clauses, any number in any order
    factors,       ///< factors with levels, values and transformation, separated by commas
};

struct StatementRule {
    std::string_view names;  ///< the keyword and its aliases, separated by blanks
    Body body = Body::options;
    int highest = -1;  ///< highest slot; -1 for a statement that writes into the PROC record
    int slot = -1;     ///< of the variables or effects
    EffectUse use = use_any;
    bool required = false;  ///< at least one effect or variable
    std::span<const Option> clauses{};
    std::span<const Option> options{};
    std::span<const Choice> choices{};  ///< words of the body
    std::string_view form;              ///< how it is written
    std::string_view help;

    constexpr bool is_list() const { return highest < 0; }
};

/// A statement that only the other procedure has, and the message that refuses it; 0 for none of its own.
struct RefusedStatement {
    std::string_view names;
    int message = 0;
};

struct Grammar {
    std::string_view procedure;                 ///< VEK or ANOVA
    int procedure_bit = -1;                     ///< bit of the PROC record that is set for it
    std::span<const StatementRule> statements;  ///< the first is PROC
    std::span<const RefusedStatement> refused;
};

const Grammar* vekg();    ///< the full grammar, PROC VEK
const Grammar* vekang();  ///< the cut-down grammar, PROC ANOVA

/// The first of the keywords.
constexpr std::string_view first_name(std::string_view names) { return names.substr(0, names.find(' ')); }

/// Takes the next keyword off the front of a list of them; empty at its end.
constexpr std::string_view take_name(std::string_view* names) {
    const std::size_t end = names->find(' ');
    const std::string_view name = names->substr(0, end);
    *names = end == std::string_view::npos ? std::string_view{} : names->substr(end + 1);
    return name;
}

/// True when the word (in capitals) is one of the keywords.
constexpr bool has_name(std::string_view names, std::string_view word) {
    while (!names.empty()) {
        if (take_name(&names) == word) return !word.empty();
    }
    return false;
}

// ---- checks that the compiler makes ---------------------------------------------------------------------------------

/// Which bits and slots of a record the rows seen so far fill.
struct Filled {
    static constexpr int bits = 64;
    static constexpr int slots = 64;
    bool bit[bits] = {}, slot[slots] = {};
    int highest = -1;

    constexpr bool take_bit(int b, bool shares) {
        if (b == -1) return true;
        if (b < 1 || b >= bits || (bit[b] && !shares)) return false;
        return bit[b] = true;
    }
    constexpr bool take_slot(int s, bool shares) {
        if (s == -1) return true;
        if (s < 0 || s > highest || s >= slots || (slot[s] && !shares)) return false;
        return slot[s] = true;
    }
};

constexpr bool names_are_new(std::string_view names, std::string_view earlier) {
    if (names.empty()) return false;
    while (!names.empty()) {
        const std::string_view name = take_name(&names);
        if (name.empty() || has_name(names, name) || has_name(earlier, name)) return false;
        for (const char c : name) {
            const bool good = (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
            if (!good) return false;
        }
    }
    return true;
}

constexpr bool sound(std::span<const Option> options, Filled* filled);

constexpr bool sound(std::span<const Choice> choices, Filled* filled) {
    for (std::size_t i = 0; i < choices.size(); ++i) {
        const Choice& choice = choices[i];
        if (choice.help.empty()) return false;
        if (!names_are_new(choice.names, {})) return false;
        for (std::size_t k = 0; k < i; ++k) {
            if (!names_are_new(choice.names, choices[k].names)) return false;
        }
        if (!filled->take_bit(choice.bit, false) || !sound(choice.settings, filled)) return false;
    }
    return true;
}

constexpr bool lands_somewhere(const Option& o) {
    switch (o.takes) {
        case Takes::nothing:
            return o.bit >= 0 && o.slot < 0;
        case Takes::maybe_code:
        case Takes::maybe_effect:
        case Takes::levels:
            return o.bit >= 0 && (o.slot >= 0 || o.takes == Takes::maybe_code);
        case Takes::regressors:
        case Takes::expression:
            return o.bit >= 0 && o.slot >= 0 && o.slot2 >= 0;
        case Takes::statistic:
            return o.slot >= 0 && o.slot2 >= 0 && o.slot3 >= 0;
        default:
            return o.slot >= 0;
    }
}

/// No place twice, no slot too high, no keyword twice, no empty range, no row without help, no choice without choices.
constexpr bool sound(std::span<const Option> options, Filled* filled) {
    for (std::size_t i = 0; i < options.size(); ++i) {
        const Option& o = options[i];
        if (o.help.empty() || !lands_somewhere(o)) return false;
        if (!names_are_new(o.names, {})) return false;
        for (std::size_t k = 0; k < i; ++k) {
            if (!names_are_new(o.names, options[k].names)) return false;
        }
        const bool ranged = o.takes == Takes::number || o.takes == Takes::integer;
        if (ranged != (o.low < o.high)) return false;
        const bool chooses = o.takes == Takes::word || o.takes == Takes::code || o.takes == Takes::maybe_code;
        if (chooses == o.choices.empty()) return false;
        if (!filled->take_bit(o.bit, o.shares)) return false;
        for (const int slot : {o.slot, o.slot2, o.slot3}) {
            if (!filled->take_slot(slot, o.shares)) return false;
        }
        if (!o.shares && !sound(o.choices, filled)) return false;
    }
    return true;
}

/// The slots that a body fills by itself.
constexpr bool take_body(Body body, Filled* filled) {
    constexpr int slot_of_dependents = 4;
    const bool rows = body == Body::rows || body == Body::row;
    const int begin = body == Body::model ? slot_of_dependents : 1;
    const int end = body == Body::model ? begin + 1 : rows ? 6 : body == Body::factors ? 7 : begin;
    for (int slot = begin; slot < end; ++slot) {
        const bool row_ends = slot == 4 && body == Body::row;  // ESTIMATE has one row
        if (!row_ends && !filled->take_slot(slot, false)) return false;
    }
    return true;
}

constexpr bool sound(const StatementRule& rule, int proc_highest) {
    if (rule.help.empty() || rule.form.empty()) return false;
    Filled filled;
    filled.highest = rule.is_list() ? proc_highest : rule.highest;
    if (!take_body(rule.body, &filled)) return false;
    return filled.take_slot(rule.slot, false) && sound(rule.clauses, &filled) && sound(rule.options, &filled) &&
           sound(rule.choices, &filled);
}

constexpr bool sound(const Grammar& grammar) {
    if (grammar.statements.empty() || first_name(grammar.statements.front().names) != "PROC") return false;
    for (std::size_t i = 0; i < grammar.statements.size(); ++i) {
        const StatementRule& rule = grammar.statements[i];
        if (!sound(rule, grammar.statements.front().highest) || !names_are_new(rule.names, {})) return false;
        for (std::size_t k = 0; k < i; ++k) {
            if (!names_are_new(rule.names, grammar.statements[k].names)) return false;
        }
        for (const RefusedStatement& refused : grammar.refused) {
            if (!names_are_new(rule.names, refused.names)) return false;
        }
    }
    return true;
}

}  // namespace vek
