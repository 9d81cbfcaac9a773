// The report as a reader of one of its forms sees it: page, Markdown, listing and CSV files, each read back into tables
// of texts by a reader of its own that shares nothing with the renderers.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vek::test {

struct ShownCell {
    std::string text;
    bool row_heading = false;
    bool mark = false;  ///< belongs to the cell before it
};

using ShownRow = std::vector<ShownCell>;

/// A table as it is shown. What stands in front of the caption and behind the rows is kept as paragraphs.
struct ShownTable {
    std::vector<std::string> titles;    ///< title lines that hold
    std::vector<std::string> before;    ///< paragraphs since the rows of the table before
    std::vector<std::string> head;      ///< caption and the lines below it
    std::vector<std::string> headings;  ///< one a column, with what stands over it; empty for a table of items
    std::vector<ShownRow> rows;
    std::vector<std::string> after;  ///< paragraphs up to the next table
};

struct ShownPage {
    std::vector<ShownTable> tables;
    std::vector<std::string> log;     ///< entries
    std::vector<std::string> faults;  ///< what is wrong with the page itself
};

/// Tables that are continued below are joined to one, without the row headings that are repeated.
ShownPage read_page(const std::string& html);
std::vector<ShownTable> read_markdown(const std::string& text);

/// A table of the listing, found by its caption behind line `from`.
struct ListedTable {
    std::vector<std::string> before;  ///< lines since `from`
    std::vector<std::string> head, heading_lines, rows;
    std::size_t end = 0;  ///< line behind it
    bool found = false;
};
ListedTable read_listed(const std::vector<std::string>& lines, std::size_t from, const ShownTable& like);

/// Where the cells of a row stand in its line, as [from, to) in columns of a terminal; empty cells have none (0, 0).
/// False when the line holds something else.
bool place_cells(const std::string& line, const ShownRow& row, std::vector<std::pair<int, int>>* places);

std::vector<std::vector<std::string>> read_csv(const std::string& text);

/// Words of a text, in alphabetical order.
std::vector<std::string> words_of(const std::vector<std::string>& texts);
std::string trimmed(std::string_view text);
/// Control characters as they are shown.
std::string visible(std::string_view text);

}  // namespace vek::test
