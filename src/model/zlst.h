// zlst: small lists compared as sets, and what follows for effects: which one contains which.
#pragma once

#include <span>
#include <string_view>

#include "model/effect.h"

namespace vek {

constexpr int sets_equal = 0, set_within = -1, set_around = 1, sets_differ = 999;

/// Compares two lists as sets: sets_equal, set_within (a within b), set_around (b within a), or sets_differ.
int zlstcmp(std::span<const int> a, std::span<const int> b);

/// Index of `item` in the list; the list's length when it is not there.
int zlstmem(std::span<const int> list, int item);
int zlstmel(std::span<const std::string_view> list, std::string_view item);

/// Finds the pairs of equal elements: stores their indexes in `outa` and `outb` (either may be null), in the order of
/// a, and returns how many there are.
int zlstjn(std::span<const int> a, int* outa, std::span<const int> b, int* outb);

/// Containment of two effects: sets_differ when their continuous variables differ as sets; else their class variables,
/// crossed and nested together, compared as sets.
int EffectCompare(const Effect& a, const Effect& b);

}  // namespace vek
