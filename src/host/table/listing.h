// The printed report: draws the grids of tables as text for lines of a given width.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/table/grid.h"
#include "host/table/model.h"

namespace vek {

/// Draws one table. A table that is too wide for the line is continued below, block by block of columns, with the row
/// headings repeated.
class ListingTable {
  public:
    using Sink = std::function<void(std::string_view)>;
    ListingTable(const Grid& grid, int line_width) : grid_(grid), line_width_(line_width) {}
    void draw(const Sink& sink);
    /// The columns of the grid, block by block.
    std::vector<std::vector<std::size_t>> column_blocks() const;

  private:
    struct Place {
        std::size_t column = 0;
        int width = 0, gap = 0;
        bool wraps = false;
    };

    std::vector<std::vector<Place>> units(std::size_t next, int less) const;
    std::vector<std::vector<Place>> blocks() const;
    void make_room_for_spans(std::vector<Place>& block) const;
    static int width_of(const std::vector<Place>& block);
    void put_aligned(std::string_view text, int width, Alignment alignment);
    void draw_headings(const std::vector<Place>& block);
    void draw_rows(const std::vector<Place>& block, const Sink& sink);
    void draw_wrapped_row(const std::vector<Place>& block, std::size_t row);
    void rule(int width);
    void end_line();
    void texts(const std::vector<std::string>& lines);

    const Grid& grid_;
    const int line_width_;
    std::string out_;
    Cell cell_;
};

}  // namespace vek
