// A stream of bytes to blocks of whole rows: for each block an index of where the fields of its rows end. One buffer is
// filled again and again; it grows only for a row that is longer than it.
//
// The quick way through a block compares the counts that the index gives. Whatever is out of the ordinary goes to
// find_fault, which reads one byte after the other by the rules and finds the first thing that is wrong, if any is.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/data/byte_source.h"
#include "host/data/delimiter_index.h"
#include "host/data/number.h"

namespace vek {

constexpr std::size_t block_bytes = 131072;                ///< stays in the second-level cache
constexpr std::size_t longest_row = std::size_t{1} << 24;  ///< bytes of one row with its quotes and line ends
constexpr int most_columns = 100000;

/// What can be wrong with the form of a row.
enum class RowFaultKind : std::uint8_t {
    none,
    too_few_fields,
    too_many_fields,
    quote_inside,  ///< a quote in a field that does not begin with one
    quote_open,    ///< a quote that is not closed
    quote_after,   ///< something between a closing quote and the separator
    zero_byte,
    lone_return,
    bad_encoding,
    row_too_long,
    empty_names,  ///< nothing on the line that should hold the names
    unreadable,   ///< the source failed; `text` is its reason
};

struct RowFault {
    RowFaultKind kind = RowFaultKind::none;
    std::int64_t line = 0;              ///< file line on which the row, or the field that is wrong, begins
    int fields = 0;                     ///< that the row has
    std::size_t row = 0;                ///< offset of the row in the text that was looked at
    std::string text;                   ///< the row, or the part of it around the fault
    std::size_t begin = 0, length = 0;  ///< bytes of `text` to point at
    std::size_t before = 0;             ///< characters of the line in front of `text`
    bool behind_line = false;           ///< `text` is of a later line than the row's first, which `line` is
};

/// The form of the rows of a file.
struct RowForm {
    char delimiter = ',';
    int columns = 0;  ///< 0 while the names are read: any number
};

/// Reads whole rows byte by byte and finds the first that breaks a rule. `text` ends with a line end, or is what is
/// left at the end of the file. Rows are counted from `line`.
RowFault find_fault(std::string_view text, const RowForm& form, std::int64_t line);

/// Whole rows in the buffer. Field c of row r is text[ends[r * stride + c - 1] + 1, ends[r * stride + c]).
struct RowBlock {
    const char* text = nullptr;
    const std::uint32_t* ends = nullptr;
    std::size_t stride = 0;
    int rows = 0;
    bool quotes = false;  ///< some field may be in quotes
    std::int64_t first_line = 0;
    const std::int64_t* lines = nullptr;  ///< of the rows, where they do not follow each other line by line

    FieldColumn column(int c) const { return {text, ends + c, stride, rows}; }
    std::int64_t line(int row) const { return lines != nullptr ? lines[row] : first_line + row; }
    /// The row as it stands in the file.
    std::string_view row_text(int row, int columns) const {
        const std::uint32_t* end = ends + static_cast<std::size_t>(row) * stride;
        return {text + end[-1] + 1, end[columns - 1] - end[-1] - 1};
    }
};

/// Test aid: bytes of the buffer with which readers begin from now on, so that small files have many blocks; 0 gives
/// the usual number.
void set_block_bytes(std::size_t bytes);

class RowBlocks {
  public:
    RowBlocks();

    /// A place between rows.
    struct Place {
        std::int64_t offset = 0;
        std::int64_t line = 1;
    };

    enum class Outcome { block, end, fault };

    /// Begins to read at the source's place `at`, to which it has been moved.
    void begin(ByteSource* source, const RowForm& form, const Place& at);
    /// Reads one row by itself and takes it out of the stream: a line in front of the names, or the names.
    Outcome next_line(std::string* line);
    Outcome next_row(std::string* row);
    /// The next lines as they stand in the buffer, at most `bytes` of them: to look ahead.
    std::string_view ahead(std::size_t bytes);
    /// The next block of whole rows. With `strict` every rule of form is checked, else only that the counts are right.
    Outcome next(bool strict);
    const RowBlock& block() const { return block_; }
    const RowFault& fault() const { return fault_; }
    /// Where the current block begins, and where the next one does.
    const Place& block_place() const { return block_place_; }
    const Place& place() const { return place_; }
    void set_form(const RowForm& form) { form_ = form; }

    /// Narrows the current block to some of its rows, in ascending order.
    void select(const std::uint32_t* rows, int count);

  private:
    bool fill();
    void grow(std::size_t capacity);
    Outcome failed(RowFault fault);
    Outcome take(std::string* line, bool quotes_count);
    bool grow_for_row(std::size_t left);
    RowFault check_rows(std::size_t size, const IndexFacts& facts, bool strict);
    bool laid_out(const IndexFacts& facts);
    bool well_quoted(const IndexFacts& facts) const;
    std::size_t whole_rows(std::size_t limit, IndexFacts* facts);

    ByteSource* source_ = nullptr;
    RowForm form_;
    // Not filled with zeros: a small file touches only the memory that it needs.
    std::unique_ptr<char[]> buffer_;
    std::unique_ptr<std::uint32_t[]> index_;
    std::size_t capacity_ = 0;  ///< bytes of text that the buffer holds
    std::vector<std::uint32_t> layout_;
    std::vector<std::int64_t> lines_;
    std::size_t begin_ = 0, end_ = 0;  ///< bytes of the buffer that have not been handed out
    bool at_end_ = false;
    bool return_at_end_ = false;
    Place place_, block_place_;
    RowBlock block_;
    RowFault fault_;
};

}  // namespace vek
