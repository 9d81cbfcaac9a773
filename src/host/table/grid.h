// A table as it is drawn: columns in order with headings, widths and alignment, and the text of every cell. Made once
// from a table model and its template; listing, page and Markdown draw it and know nothing of numbers.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/table/model.h"
#include "host/table/template.h"

namespace vek {

/// How the numbers of a column read.
struct NumberFormat {
    NumberForm form = NumberForm::best;  ///< fixed, best, p_value or percent
    int width = 12;
    int decimals = 0;
};

struct GridColumn {
    std::size_t source = 0;  ///< place in the model
    const TemplateColumn* rule = nullptr;
    std::vector<std::string> heading;  ///< lines
    Alignment alignment = Alignment::left;
    int before = 0, after = 0;  ///< columns before the point of a number, and from the point on
    int width = 0;              ///< of the widest cell or heading line
    int gap = 2;                ///< blanks before it
    bool row_heading = false;
    std::vector<NumberFormat> formats;  ///< one for each set of rows
    bool numeric() const { return alignment == Alignment::right; }
};

struct GridSpan {
    std::string text;
    std::size_t first = 0, last = 0;  ///< grid columns, both included
};

/// The text of a cell. `before` is the width in front of its point, or -1 when it does not align there.
struct Cell {
    std::string_view text;
    int width = 0;
    int before = -1;

    char digits[512];
    std::string buffer;
};

class Grid {
  public:
    /// `captions` makes the texts of the caption alone.
    enum class Part { all, captions };
    explicit Grid(const TableModel& table, Part part = Part::all);

    std::vector<std::string> captions, above, below;
    std::vector<GridColumn> columns;
    std::vector<GridSpan> spans;
    bool headings = true;  ///< false for items: label and value speak for themselves

    std::size_t rows() const { return rows_; }
    void cell(std::size_t row, std::size_t column, Cell& out) const;
    /// True when a blank line comes before this row.
    bool breaks(std::size_t row) const;
    /// Blanks to put before the text of a cell in a column of the given width.
    static int indent(const GridColumn& column, const Cell& cell, int width);

  private:
    void choose_columns();
    void choose_formats(GridColumn& column);
    void choose_headings();
    void choose_spans();
    void measure(GridColumn& column);
    void measure_numbers(GridColumn& column, std::size_t set);
    void choose_captions();
    void choose_texts();
    /// False when a key that the text needs is absent.
    bool fill(std::string_view text, const std::vector<Attribute>* attributes, std::string_view heading,
              std::string* result) const;
    void show_number(double value, const NumberFormat& format, const TemplateColumn* rule, Cell& out) const;
    std::string_view missing_text(char code, const TemplateColumn* rule, Cell& out) const;

    const TableModel& table_;
    const TableTemplate& rules_;
    std::size_t rows_ = 0;
    std::vector<std::size_t> breakers_;  // columns of the model that break the rows
};

}  // namespace vek
