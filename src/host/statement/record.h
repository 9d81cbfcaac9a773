// Statement records: made, filled slot by slot, unlinked, and shown as text for traces and tests.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "frame/statement.h"

namespace vek {

/// Makes a record with slots 0 to `highest` and appends it to the chain.
Statement* begin_record(Proc* proc, std::string_view name, int highest);

// Appending to list slots; a list grows by doubling in the step's main pool.
void append_integer(Slot& slot, int value);
void append_number(Slot& slot, double value);
void append_effect(Slot& slot, Effect* effect);
void append_name(Slot& slot, std::string_view name);
void append_level(Slot& slot, std::string_view text);
/// Puts the text in place of what the slot had.
void set_text(Slot& slot, std::string_view text);
void set_number(Slot& slot, double value);
/// A code stands both as the slot's value and as its only element.
void set_code(Slot& slot, int code);

/// How a slot's elements are shown.
enum class SlotKind { number, integers, numbers, effects, names, levels, text, data };
struct SlotView {
    int slot = 0;
    SlotKind kind = SlotKind::number;
};

/// One line: the name, `bits` and their numbers, then each given slot of the view.
std::string describe(const Statement& statement, std::span<const SlotView> view);

}  // namespace vek
