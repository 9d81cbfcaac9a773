// Fields of a data file as texts: quotes taken off, missing ones recognised, a column of a block at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "frame/host_data.h"
#include "host/data/number.h"

namespace vek {

/// Room for texts that do not stand in a buffer as they are. What it gave out stays where it is until it is cleared.
class TextArena {
  public:
    /// Room for `size` bytes.
    char* take(std::size_t size);
    /// A copy of a text.
    const char* keep(std::string_view text);
    /// Forgets all texts; their room is used again.
    void clear();
    std::size_t bytes() const { return bytes_; }

  private:
    struct Piece {
        std::unique_ptr<char[]> bytes;
        std::size_t size = 0;
    };
    std::vector<Piece> pieces_;
    std::size_t piece_ = 0, used_ = 0, bytes_ = 0;
};

/// A field without the quotes around it; doubled quotes inside are undone in `arena`.
std::string_view unquoted(std::string_view field, TextArena& arena);
/// True for a text that is missing: empty, blanks alone, `.` or `NA`, with or without blanks around.
bool is_missing_text(std::string_view text);
/// A text without its trailing blanks; empty when it is missing.
std::string_view text_value(std::string_view text);

/// Texts of a column's fields. They point into the block, or into `arena`.
void read_texts(const FieldColumn& column, bool quotes, TextValue* values, TextArena& arena);
/// The greater of `longest` and the length of the longest text of the column.
std::size_t longest_text_of(const FieldColumn& column, bool quotes, std::size_t longest, TextArena& arena);

}  // namespace vek
