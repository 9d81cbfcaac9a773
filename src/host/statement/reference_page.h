// The reference of all statements and options as Markdown, drawn from the tables that the statement engine reads.
#pragma once

#include <string>

namespace vek {

/// The part of docs/statements.md between its two marks.
std::string statement_reference();

}  // namespace vek
