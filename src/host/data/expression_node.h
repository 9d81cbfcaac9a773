// The inside of a condition: its tree, how it is read from tokens, and its evaluation over a block of rows.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/data/expression.h"
#include "host/data/row_source.h"
#include "host/statement/token.h"

namespace vek {

enum class Operation : std::uint8_t {
    constant,
    variable,
    negate,
    add,
    subtract,
    multiply,
    divide,
    power,
    less,
    less_equal,
    greater,
    greater_equal,
    equal,
    not_equal,
    in_list,
    is_missing,
    logical_and,
    logical_or,
    logical_not,
};

struct ExpressionNode {
    Operation operation = Operation::constant;
    bool text = false;            ///< its value is a text; a condition's value is the number 1 or 0
    double number = 0;            ///< of a constant
    std::string string;           ///< of a constant, without trailing blanks
    int column = 0;               ///< of a variable, in the source
    std::vector<double> numbers;  ///< of an IN list
    std::vector<std::string> strings;
    std::shared_ptr<const ExpressionNode> left, right;
};

/// A variable that a condition may use.
struct ExpressionVariable {
    int column = -1;  ///< -1 when there is none of the name
    bool text = false;
    std::string nearest;   ///< name to suggest instead; empty when none is near
    std::string expected;  ///< then what there is to choose from
};

/// Where a failure goes: token, message of group 920, argument, expected, suggestion.
using ExpressionFailure = std::function<void(const Token&, int number, const std::string& argument,
                                             std::string expected, std::string suggest)>;

/// Reads a condition from tokens, the last of which ends it and is no part of it. Null after having called `fail`.
std::shared_ptr<const ExpressionNode> parse_condition(std::span<const Token> tokens,
                                                      const std::function<ExpressionVariable(const Token&)>& find,
                                                      const ExpressionFailure& fail);

/// Sets flags[r] to 1 for the rows of the source's block for which the condition holds, else 0.
void evaluate(const ExpressionNode& condition, RowSource& rows, std::uint8_t* flags);

/// Three-way comparison of numbers in their order for conditions and BY: missing values first, by their codes.
int compare_numbers(double a, double b);
/// The same for texts, the shorter one filled up with blanks.
int compare_texts(std::string_view a, std::string_view b);

}  // namespace vek
