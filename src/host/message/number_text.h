// Numbers as text for messages and tables: fixed notation, and the best representation for a width.
#pragma once

#include <string>

#include "frame/host_message.h"

namespace vek {

/// The best representation of a value in at most `width` characters, without padding; a missing value as its text.
std::string best_text(double value, int width);
/// Fixed notation with `decimals` decimals in at most `width` characters, falling back to the best representation.
std::string fixed_text(double value, int width, int decimals);

/// The text of a missing value: ".", "._", ".A".
std::string missing_text(double value);

/// As best_text and fixed_text, into a buffer of at least `width` characters; returns the length, at most `width`.
/// A value that no text of the width can show gives asterisks.
int write_best(double value, int width, char* buffer);
int write_fixed(double value, int width, int decimals, char* buffer);

}  // namespace vek
