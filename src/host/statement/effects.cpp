// The effect builder: from terms to effect records, and from terms to the records that the model has.
#include "host/statement/effects.h"

#include <algorithm>
#include <cstdint>
#include <map>

#include "frame/host_storage.h"
#include "host/data/dataset.h"
#include "host/data/formats.h"
#include "host/statement/diagnostics.h"
#include "host/statement/lists.h"
#include "host/statement/record.h"
#include "host/statement/suggest.h"

namespace vek {

namespace {

int place_of(const Slot& list, int variable) {
    const auto variables = list.variables();
    const auto found = std::find(variables.begin(), variables.end(), variable);
    return found == variables.end() ? -1 : static_cast<int>(found - variables.begin());
}

bool is_class(StatementContext& c, int variable) { return place_of(c.step.class_list(), variable) >= 0; }

/// A term with its place in the statement.
struct PlacedTerm {
    Term term;
    Token token;
};

// ---- reading terms --------------------------------------------------------------------------------------------------

/// A variable of an effect, checked against what the effect may hold.
bool parse_effect_variable(StatementContext& c, EffectUse use, bool nesting, int* variable) {
    const Token& token = c.cursor.peek();
    if (!token.is_name()) {
        const bool power = token.is("*") && token.adjoins;
        return fail_variable_expected(c, nesting ? "a class variable"
                                         : power ? "an effect; the square of a regressor is written x*x"
                                                 : "an effect");
    }
    const int v = find_variable(c, token, Wanted::any);
    if (v < 0) return false;
    const bool known = c.step.data != nullptr && !c.step.class_in_doubt;
    if (known && !is_class(c, v)) {
        const std::string name = variable_name(c, v);
        if (nesting) return c.cursor.fail(token, statement_messages, message_nesting_not_class, {name});
        if ((use & use_class) != 0)
            return c.cursor.fail(token, statement_messages, message_not_class, {name, c.name()});
        if (is_character_variable(c, v)) {
            c.step.class_in_doubt = true;
            const std::string field = first_text_field(c.step.data, v);
            return c.cursor.fail(token, statement_messages, message_text_not_class, {name},
                                 field.empty() ? field : "a class variable, or numbers alone; " + field);
        }
    }
    c.cursor.next();
    *variable = v;
    return true;
}

bool at_intercept(StatementContext& c) {
    if (!c.cursor.is("INTERCEPT")) return false;
    return c.step.data == nullptr || xvfind(c.step.data, "INTERCEPT") < 0;
}

/// name*name*...(name name*name ...)
bool parse_term(StatementContext& c, EffectUse use, PlacedTerm* placed) {
    TokenCursor& cursor = c.cursor;
    const Token first = cursor.peek();
    placed->token = first;
    if (at_intercept(c)) {
        if ((use & use_intercept) == 0) {
            return cursor.fail(first, statement_messages, message_intercept_not_here, {c.name()});
        }
        cursor.next();
        return true;
    }
    Term& term = placed->term;
    int variable = 0;
    do {
        if (!parse_effect_variable(c, use, false, &variable)) return false;
        term.crossed.push_back(variable);
    } while (cursor.accept("*"));
    if (cursor.accept("(")) {
        do {
            if (!parse_effect_variable(c, use, true, &variable)) return false;
            term.nested.push_back(variable);
            cursor.accept("*");
        } while (cursor.peek().is_name());
        if (!cursor.is(")")) {
            const Token& here = cursor.peek();
            return cursor.fail_expected("a class variable or \")\"", lost_closing(here));
        }
        cursor.next();
    }
    placed->token = spanning(first, cursor.token(cursor.position() - 1));
    if (term.crossed.size() + term.nested.size() > static_cast<std::size_t>(most_term_variables)) {
        return cursor.fail(placed->token, statement_messages, message_term_too_long, {most_term_variables});
    }
    for (const int v : term.nested) {
        if (std::find(term.crossed.begin(), term.crossed.end(), v) != term.crossed.end()) {
            return cursor.fail(placed->token, statement_messages, message_crossed_and_nested, {variable_name(c, v)});
        }
    }
    return true;
}

/// Drops variables that stand twice in a part: class variables of the crossed part, all of the nesting part.
void drop_repeated(StatementContext& c, Term* term) {
    const auto unique = [&](std::vector<int>& list, bool class_only) {
        std::vector<int> kept;
        for (const int v : list) {
            const bool twice = std::find(kept.begin(), kept.end(), v) != kept.end();
            if (!twice || (class_only && !is_class(c, v))) kept.push_back(v);
        }
        list = std::move(kept);
    };
    unique(term->crossed, true);
    unique(term->nested, false);
}

bool same_elements(std::vector<int> a, std::vector<int> b) {
    std::sort(a.begin(), a.end());
    std::sort(b.begin(), b.end());
    return a == b;
}

/// The same term, in whatever order its variables are written.
bool same_term(const Term& a, const Term& b) {
    return same_elements(a.crossed, b.crossed) && same_elements(a.nested, b.nested);
}

// ---- effect records -------------------------------------------------------------------------------------------------

/// The term of an effect, continuous variables first.
Term term_of(Step& step, const Effect& effect) {
    Term term;
    const auto continuous = step.continuous_list().variables();
    const auto classes = step.class_list().variables();
    const auto add = [](std::vector<int>& to, std::span<int> list, const int* places, int n) {
        for (int i = 0; i < n; ++i) {
            const auto place = static_cast<std::size_t>(places[i]);
            to.push_back(places[i] >= 0 && place < list.size() ? list[place] : -1);
        }
    };
    add(term.crossed, continuous, effect.cont, effect.ncont);
    add(term.crossed, classes, effect.cross, effect.ncross);
    add(term.nested, classes, effect.nest, effect.nnest);
    return term;
}

/// A number that terms of the same variables share, so that most of the others are told apart without a comparison.
std::uint64_t mixed(int variable, bool nested) {
    std::uint64_t x = (static_cast<std::uint64_t>(variable) << 1 | (nested ? 1U : 0U)) + 0x9E3779B97F4A7C15U;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9U;
    return x ^ (x >> 27);
}
std::uint64_t signature(const Term& term) {
    std::uint64_t sum = 0;
    for (const int v : term.crossed) sum += mixed(v, false);
    for (const int v : term.nested) sum += mixed(v, true);
    return sum;
}
std::uint64_t signature(Step& step, const Effect& effect) {
    std::uint64_t sum = 0;
    const auto add = [&](std::span<int> list, const int* at, int n, bool nested) {
        for (int i = 0; i < n; ++i) {
            const bool known = at[i] >= 0 && static_cast<std::size_t>(at[i]) < list.size();
            sum += mixed(known ? list[static_cast<std::size_t>(at[i])] : -1, nested);
        }
    };
    add(step.continuous_list().variables(), effect.cont, effect.ncont, false);
    add(step.class_list().variables(), effect.cross, effect.ncross, false);
    add(step.class_list().variables(), effect.nest, effect.nnest, true);
    return sum;
}

/// True when the class variables stand in the same order too, so that the columns of the effects do.
bool same_order(StatementContext& c, const Term& term, const Term& other) {
    const auto classes = [&](const Term& t) {
        std::vector<int> list;
        for (const int v : t.crossed) {
            if (is_class(c, v)) list.push_back(v);
        }
        list.insert(list.end(), t.nested.begin(), t.nested.end());
        return list;
    };
    return classes(term) == classes(other);
}

/// The model's effect for a term: one written in the same order if there is one.
Effect* find_effect(StatementContext& c, const Term& term) {
    Effect* found = nullptr;
    const std::uint64_t wanted = signature(term);
    for (Effect* e = c.step.effects().efhead; e != nullptr; e = e->next) {
        if (signature(c.step, *e) != wanted) continue;
        const Term other = term_of(c.step, *e);
        if (!same_term(term, other)) continue;
        if (same_order(c, term, other)) return e;
        if (found == nullptr) found = e;
    }
    return found;
}

void append_to_chain(Effect** head, Effect** tail, Effect* effect) {
    if (*head == nullptr) {
        *head = effect;
    } else {
        Effect* end = *tail != nullptr ? *tail : *head;
        while (end->next != nullptr) end = end->next;
        end->next = effect;
    }
    *tail = effect;
}

/// Places of variables in a list, which is enlarged when `enlarge` says so.
int* places(Slot& list, const std::vector<int>& variables, bool enlarge, int* count) {
    int* result = array<int>(xmainpool(), static_cast<std::int64_t>(variables.size()));
    for (const int v : variables) {
        int place = place_of(list, v);
        if (place < 0 && enlarge) {
            append_integer(list, v);
            place = list.count - 1;
        }
        result[(*count)++] = place;
    }
    return result;
}

Effect* make_effect(StatementContext& c, const Term& term, bool into_model) {
    Effect* effect = object<Effect>(xmainpool());
    std::vector<int> continuous, crossed;
    for (const int v : term.crossed) (is_class(c, v) ? crossed : continuous).push_back(v);
    effect->cont = places(c.step.continuous_list(), continuous, into_model, &effect->ncont);
    effect->cross = places(c.step.class_list(), crossed, false, &effect->ncross);
    effect->nest = places(c.step.class_list(), term.nested, false, &effect->nnest);
    // The class part is one list for whoever reads it: the nested variables stand behind the crossed ones.
    int* class_part = array<int>(xmainpool(), effect->nclass());
    std::copy_n(effect->nest, effect->nnest, std::copy_n(effect->cross, effect->ncross, class_part));
    effect->cross = class_part;
    effect->nest = class_part + effect->ncross;
    effect->kind = effect_kind_model;
    const std::string full = term.intercept() ? rdvmsg(172, 121) : term_name(c, term);
    const std::string_view name = cut_text(full, static_cast<std::size_t>(std::max(c.step.effects().namelen, 1)));
    char* copy = array<char>(xmainpool(), static_cast<std::int64_t>(name.size()) + 1);
    std::copy(name.begin(), name.end(), copy);
    effect->name = copy;
    effect->namelen = static_cast<int>(name.size());
    EffectBlock& block = c.step.effects();
    if (into_model) {
        append_to_chain(&block.efhead, &block.eftail, effect);
    } else {
        append_to_chain(&block.otherhead, &block.othertail, effect);
    }
    return effect;
}

/// The effect without variables. It stands at the end of the model's chain until the procedure takes it over, and every
/// statement of the step gets the same one.
Effect* intercept_effect(StatementContext& c) {
    if (Effect* found = find_effect(c, {}); found != nullptr) return found;
    if (c.step.intercept == nullptr) c.step.intercept = make_effect(c, {}, c.step.model_given);
    return c.step.intercept;
}

/// Complains of a term that the model lacks, with the nearest that it has.
bool fail_not_in_model(StatementContext& c, const PlacedTerm& placed) {
    const std::string name = term_name(c, placed.term);
    Nearest nearest(name);
    std::vector<std::string> effects;
    for (Effect* e = c.step.effects().efhead; e != nullptr; e = e->next) {
        if (e->nclass() + e->ncont == 0) continue;
        effects.push_back(term_name(c, term_of(c.step, *e)));
        nearest.offer(effects.back());
    }
    std::string expected;
    if (!nearest.found() && !effects.empty()) {
        expected = some_of("one of its effects", static_cast<int>(effects.size()),
                           [&](int e) { return effects[static_cast<std::size_t>(e)]; });
    }
    return c.cursor.fail(placed.token, statement_messages, message_not_in_model, {name}, std::move(expected),
                         nearest.best());
}

/// Puts the effect of a term into the slot.
bool add_term(StatementContext& c, EffectUse use, bool into_model, PlacedTerm& placed, Slot& slot) {
    drop_repeated(c, &placed.term);
    if (slot.count >= most_effects) {
        return c.cursor.fail(placed.token, statement_messages, message_too_many_effects, {most_effects});
    }
    if (placed.term.intercept()) {
        append_effect(slot, intercept_effect(c));
        return true;
    }
    Effect* effect = find_effect(c, placed.term);
    if (into_model) {
        // Written in another order it has its columns in another order, and stands beside the first.
        const bool stands = effect != nullptr && same_order(c, placed.term, term_of(c.step, *effect));
        if (!stands) append_effect(slot, make_effect(c, placed.term, true));
        return true;
    }
    const bool must = (use & use_model) != 0 && c.step.model_given && !c.step.model_in_doubt && !c.step.class_in_doubt;
    if (effect == nullptr && must) return fail_not_in_model(c, placed);
    append_effect(slot, effect != nullptr ? effect : make_effect(c, placed.term, false));
    return true;
}

// ---- chains ---------------------------------------------------------------------------------------------------------

/// The variables behind the first in x1-x3, a--b, a-NUMERIC-b; the cursor stands at the first "-".
bool parse_dash(StatementContext& c, EffectUse use, const PlacedTerm& first, std::vector<Term>* factors) {
    TokenCursor& cursor = c.cursor;
    cursor.next();
    bool numbered = true;
    int kind = 0;
    if (cursor.accept("-")) {
        numbered = false;
    } else if (cursor.peek(1).is("-") && (cursor.is("NUMERIC") || cursor.is("CHARACTER") || cursor.is("CHAR"))) {
        kind = cursor.next().is("NUMERIC") ? 1 : 2;
        cursor.next();
        numbered = false;
    }
    const Token last = cursor.peek();
    if (first.term.crossed.size() != 1 || !first.term.nested.empty()) {
        return cursor.fail(first.token, statement_messages, message_range_of_terms, {});
    }
    std::vector<int> variables;
    if (!expand_range(c, first.token, last, numbered, kind, Wanted::any, &variables)) return false;
    cursor.next();
    for (const int v : variables) {
        const bool known = c.step.data != nullptr && !c.step.class_in_doubt;
        if (known && !is_class(c, v) && ((use & use_class) != 0 || is_character_variable(c, v))) {
            const int number = (use & use_class) != 0 ? message_not_class : message_text_not_class;
            const Token whole = spanning(first.token, last);
            if (number == message_not_class) {
                return cursor.fail(whole, statement_messages, number, {variable_name(c, v), c.name()});
            }
            return cursor.fail(whole, statement_messages, number, {variable_name(c, v)});
        }
    }
    factors->pop_back();
    for (const int v : variables) factors->push_back({{v}, {}});
    return true;
}

/// A chain of terms with bars and dashes, and its "@"; each resulting term is put into the slot.
bool parse_chain(StatementContext& c, EffectUse use, bool into_model, Slot& slot) {
    TokenCursor& cursor = c.cursor;
    const Token begin = cursor.peek();
    std::vector<Term> factors;
    bool bars = false;
    PlacedTerm placed;
    if (!parse_term(c, use, &placed)) return false;
    factors.push_back(placed.term);
    for (;;) {
        if (cursor.is("|")) {
            cursor.next();
            bars = true;
            placed = {};
            if (!parse_term(c, static_cast<EffectUse>(use & ~use_intercept), &placed)) return false;
            factors.push_back(placed.term);
        } else if (cursor.is("-") && !number_ahead(cursor)) {
            if (!parse_dash(c, use, placed, &factors)) return false;
            placed.token = cursor.token(cursor.position() - 1);
        } else {
            break;
        }
    }
    int most = 0;
    if (cursor.is("@")) {
        cursor.next();
        const Token& order = cursor.peek();
        if (order.kind != TokenKind::integer || order.number < 1 || order.number > most_term_variables) {
            return cursor.fail_expected("the largest number of variables in a term");
        }
        most = static_cast<int>(order.number);
        cursor.next();
    }
    const Token whole = spanning(begin, cursor.token(cursor.position() - 1));
    if (!bars && factors.size() == 1) return add_term(c, use, into_model, placed, slot);
    std::vector<Term> terms;
    if (!bars) {
        terms = factors;
    } else if (!expand_bars(c, factors, most, &terms)) {
        return cursor.fail(whole, statement_messages, message_too_many_terms, {most_terms});
    }
    for (Term& term : terms) {
        // A term of an expansion that the model has already, in whatever order, stands only once.
        if (into_model && bars && find_effect(c, term) != nullptr) continue;
        PlacedTerm one{std::move(term), whole};
        if (!add_term(c, use, into_model, one, slot)) return false;
    }
    return true;
}

/// _NUMERIC_, _CHARACTER_: each variable of the kind is an effect.
bool parse_all_of_kind(StatementContext& c, EffectUse use, bool into_model, Slot& slot, bool* done) {
    TokenCursor& cursor = c.cursor;
    const Token token = cursor.peek();
    const bool numeric = token.is("_NUMERIC_");
    *done = numeric || token.is("_CHARACTER_") || token.is("_CHAR_");
    if (!*done) return true;
    cursor.next();
    if (c.step.data == nullptr) return true;
    for (int v = 0; v < xvcount(c.step.data); ++v) {
        if (is_character_variable(c, v) == numeric) continue;
        if (!is_class(c, v) && !c.step.class_in_doubt && ((use & use_class) != 0 || !numeric)) {
            return cursor.fail(token, statement_messages, message_text_not_class, {variable_name(c, v)});
        }
        PlacedTerm placed{{{v}, {}}, token};
        if (!add_term(c, use, into_model, placed, slot)) return false;
    }
    return true;
}

}  // namespace

std::string term_name(StatementContext& c, const Term& term) {
    std::string name;
    for (const int v : term.crossed) name += (name.empty() ? "" : "*") + variable_name(c, v);
    for (std::size_t i = 0; i < term.nested.size(); ++i) {
        name += (i == 0 ? "(" : " ") + variable_name(c, term.nested[i]);
    }
    if (!term.nested.empty()) name += ")";
    return name;
}

bool expand_bars(StatementContext& c, const std::vector<Term>& factors, int most, std::vector<Term>* terms) {
    std::multimap<std::uint64_t, std::size_t> known;
    const auto add = [&](Term term) {
        drop_repeated(c, &term);
        const bool both = std::any_of(term.nested.begin(), term.nested.end(), [&](int v) {
            return std::find(term.crossed.begin(), term.crossed.end(), v) != term.crossed.end();
        });
        const auto variables = term.crossed.size() + term.nested.size();
        if (both || (most > 0 && variables > static_cast<std::size_t>(most))) return;
        const auto [from, to] = known.equal_range(signature(term));
        if (std::any_of(from, to, [&](const auto& k) { return same_term((*terms)[k.second], term); })) return;
        known.emplace(signature(term), terms->size());
        terms->push_back(std::move(term));
    };
    for (const Term& factor : factors) {
        const std::size_t before = terms->size();
        add(factor);
        for (std::size_t i = 0; i < before; ++i) {
            Term crossed = (*terms)[i];
            crossed.crossed.insert(crossed.crossed.end(), factor.crossed.begin(), factor.crossed.end());
            crossed.nested.insert(crossed.nested.end(), factor.nested.begin(), factor.nested.end());
            add(std::move(crossed));
            if (terms->size() > static_cast<std::size_t>(most_terms)) return false;
        }
    }
    return true;
}

bool parse_effects(StatementContext& c, EffectUse use, bool into_model, Slot& slot, int* added) {
    TokenCursor& cursor = c.cursor;
    int count = 0;
    while (cursor.peek().is_name() && !cursor.peek(1).is("=")) {
        bool done = false;
        if (!parse_all_of_kind(c, use, into_model, slot, &done)) return false;
        if (!done && !parse_chain(c, use, into_model, slot)) return false;
        ++count;
    }
    if (added != nullptr) *added = count;
    return true;
}

bool parse_effect(StatementContext& c, EffectUse use, Slot& slot) {
    PlacedTerm placed;
    if (!parse_term(c, use, &placed)) return false;
    return add_term(c, use, false, placed, slot);
}

}  // namespace vek
