// Turns a failure into a message that shows the place, what was expected there, and one way out; finds where a
// semicolon is missing, so that one mistake makes one message and the statement behind it is read.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/message/group_900.h"
#include "host/statement/scanner.h"

namespace vek {

/// A token as messages show it: as written, cut when it is long.
std::string shown_token(const Token& token);
/// Text of a token between quotes, or the word for a statement's end.
std::string quoted(std::string_view text);
std::string joined(std::initializer_list<std::string_view> parts);
/// A closing parenthesis is often what was forgotten where a statement or its first part ends: the replacement of that
/// token that would mend it, else empty.
std::string lost_closing(const Token& here);
/// The token that stands for all characters from `first` to the end of `last` when they share a line, else `first`.
Token spanning(const Token& first, const Token& last);

/// Fills in the message of a token that the scanner could not read.
void describe_problem(const Token& token, Failure* failure);

/// The source line with marks under `length` characters from `column` on, in two lines. A long line is cut to a window
/// around the place; control characters are made visible; wide characters take two columns.
std::string marked_line(std::string_view line, int column, int length);

/// Logs the cursor's failure.
void report_failure(const TokenCursor& cursor);
/// Logs a host message at a token with its source line.
void report_at(const TokenCursor& cursor, const Token& token, int number,
               std::initializer_list<MessageArgument> arguments, std::string_view expected = {},
               std::string suggest = {});

}  // namespace vek
