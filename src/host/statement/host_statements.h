// The statements of the host itself: OPTIONS, TITLE, WHERE, FORMAT, LABEL, VALUE.
#pragma once

#include <span>
#include <string_view>

#include "host/statement/step.h"

namespace vek {

enum class Allowed { anywhere, in_step, outside_step };

struct HostStatement {
    std::string_view name;
    Allowed allowed = Allowed::anywhere;
    /// Reads the statement behind its keyword and carries it out. `step` is null outside a step. False after having
    /// failed the statement; it has no effect then.
    bool (*carry_out)(TokenCursor& cursor, Step* step) = nullptr;
    std::string_view form, help;
};

/// All of them, RUN and QUIT included, whose carry_out is null: the engine's loop acts on them.
std::span<const HostStatement> host_statements();
const HostStatement* find_host_statement(std::string_view keyword);

/// The gate that tells whether WHERE can still apply; null for always.
void set_where_gate(int (*gate)());

}  // namespace vek
