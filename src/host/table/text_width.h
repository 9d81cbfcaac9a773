// Text as it stands on a terminal: its width in columns, and cut into lines that fit.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vek {

/// Columns that a text takes. The text holds no control characters (visible_text has replaced them).
int text_width(std::string_view text);

/// True when the text holds only printable ASCII: then its width is its length.
bool is_plain(std::string_view text);

/// The text with control characters written as \x1b; `buffer` holds it when anything had to be replaced.
std::string_view shown(std::string_view text, std::string& buffer);

/// Lines of at most `width` columns, broken at blanks, and inside a word only when it is wider than a line.
std::vector<std::string> wrapped(std::string_view text, int width);

/// Columns of the longest word.
int longest_word(std::string_view text);

/// Appends `count` blanks, none when it is negative.
void pad(std::string& out, int count);

}  // namespace vek
