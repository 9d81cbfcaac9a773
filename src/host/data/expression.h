// WHERE conditions: an expression over the variables of a data set, read from tokens, checked against the variables'
// types, and evaluated for a block of rows at a time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "frame/host_data.h"
#include "host/statement/scanner.h"

namespace vek {

constexpr int deepest_expression = 200;    ///< nested parentheses and operators
constexpr int longest_expression = 10000;  ///< operators and operands of one condition

struct ExpressionNode;

/// A condition. Copies share the expression, which does not change once it is bound.
struct Where {
    std::shared_ptr<const ExpressionNode> root;  ///< null: every row takes part
    bool given() const { return root != nullptr; }
};

/// Reads a condition up to the statement's end, with the variables of `data`. False after having failed the statement.
bool parse_where(TokenCursor& cursor, const DataSet& data, Where* where);
/// The condition of the step's WHERE statement; true when it replaces one before. It applies from the next reading on.
bool set_where(DataSet* data, const Where& where);

}  // namespace vek
