// Builds effects from what a statement says: terms with crossings and nesting, bars and dashes with their expansion,
// and the lookup of effects that must be in the model.
#pragma once

#include <string>
#include <vector>

#include "host/statement/step.h"

namespace vek {

constexpr int most_terms = 5000;         ///< terms that one chain of bars may expand to
constexpr int most_term_variables = 64;  ///< variables of one term
constexpr int most_effects = 32000;      ///< effects of a model

/// A term as it is written: crossed variables in their order, then the nesting ones.
struct Term {
    std::vector<int> crossed;  ///< variable numbers; continuous ones among them, perhaps more than once
    std::vector<int> nested;
    bool intercept() const { return crossed.empty(); }
    bool operator==(const Term&) const = default;
};

/// Effects up to something that can begin none, a "/" or a clause (a name with "=" behind it), appended to the slot.
/// With `into_model` they become the model's effects.
bool parse_effects(StatementContext& c, EffectUse use, bool into_model, Slot& slot, int* added = nullptr);
/// One term without bars, appended to the slot.
bool parse_effect(StatementContext& c, EffectUse use, Slot& slot);

/// The name of a term as it is printed, before it is cut: A*B(C D).
std::string term_name(StatementContext& c, const Term& term);
/// a|b|c: each new factor stands alone, then crossed with what stands before it. Terms with more than `most` variables
/// go (0 for no limit), and so do those in which a variable is both crossed and nested, and those that stand already.
/// Only class variables are taken once in a term. False when there would be more than most_terms.
bool expand_bars(StatementContext& c, const std::vector<Term>& factors, int most, std::vector<Term>* terms);

}  // namespace vek
