// Draws a grid as text: caption, headings between rules, rows, notes, in as many blocks of columns as the line needs.
#include "host/table/listing.h"

#include <algorithm>

#include "host/table/text_width.h"

namespace vek {

namespace {
constexpr std::size_t piece = std::size_t{1} << 16;
constexpr int least_wrapped_width = 16;
}  // namespace

void ListingTable::end_line() {
    while (!out_.empty() && out_.back() == ' ') out_.pop_back();
    out_ += '\n';
}

void ListingTable::rule(int width) {
    out_.append(static_cast<std::size_t>(std::max(width, 0)), '-');
    out_ += '\n';
}

void ListingTable::texts(const std::vector<std::string>& lines) {
    for (const std::string& text : lines) {
        for (const std::string& line : wrapped(text, line_width_)) {
            out_ += line;
            end_line();
        }
    }
}

int ListingTable::width_of(const std::vector<Place>& block) {
    int width = 0;
    for (const Place& place : block) width += place.gap + place.width;
    return width;
}

std::vector<std::vector<ListingTable::Place>> ListingTable::blocks() const {
    std::vector<Place> left;
    std::size_t next = 0;
    for (; next < grid_.columns.size() && grid_.columns[next].row_heading; ++next) {
        left.push_back({next, grid_.columns[next].width, grid_.columns[next].gap, false});
    }
    // Row headings may take two thirds of the line, or all of it when there is nothing else.
    const bool alone = next == grid_.columns.size();
    const int room = alone ? line_width_ : line_width_ * 2 / 3;
    while (width_of(left) > room) {
        const auto widest = std::max_element(left.begin(), left.end(),
                                             [](const Place& a, const Place& b) { return a.width < b.width; });
        const int wanted = std::max(widest->width - (width_of(left) - room), least_wrapped_width);
        if (wanted >= widest->width || grid_.columns[widest->column].numeric()) break;
        widest->width = wanted;
        widest->wraps = true;
    }
    std::vector<std::vector<Place>> result;
    std::vector<Place> block = left;
    const auto finish = [&] {
        if (block.size() > left.size() || result.empty()) result.push_back(block);
        block = left;
    };
    while (next < grid_.columns.size()) {
        // A column comes with the marks that follow it.
        std::vector<Place> together;
        do {
            const GridColumn& column = grid_.columns[next];
            together.push_back({next, column.width, column.gap, false});
            ++next;
        } while (next < grid_.columns.size() && grid_.columns[next].gap == 0);
        if (width_of(block) + width_of(together) > line_width_ && block.size() > left.size()) finish();
        const int excess = width_of(block) + width_of(together) - line_width_;
        if (excess > 0 && !grid_.columns[together.front().column].numeric()) {
            together.front().wraps = true;
            together.front().width = std::max(together.front().width - excess, least_wrapped_width);
        }
        block.insert(block.end(), together.begin(), together.end());
    }
    finish();
    return result;
}

void ListingTable::draw_spans(const std::vector<Place>& block) {
    // The stretch of the line that each heading covers in this block.
    struct Stretch {
        int start, width;
        std::vector<std::string> lines;
    };
    std::vector<Stretch> stretches;
    std::size_t height = 0;
    for (const GridSpan& span : grid_.spans) {
        int at = 0, start = -1, end = 0;
        for (const Place& place : block) {
            at += place.gap;
            if (place.column >= span.first && place.column <= span.last) {
                if (start < 0) start = at;
                end = at + place.width;
            }
            at += place.width;
        }
        if (start < 0 || span.text.empty()) continue;
        stretches.push_back({start, end - start, wrapped(span.text, end - start)});
        height = std::max(height, stretches.back().lines.size());
    }
    for (std::size_t line = 0; line < height; ++line) {
        int at = 0;
        for (const Stretch& stretch : stretches) {
            if (stretch.start < at) continue;
            pad(out_, stretch.start - at);
            at = stretch.start;
            const std::size_t skip = height - stretch.lines.size();
            if (line < skip) continue;
            const std::string& text = stretch.lines[line - skip];
            const int width = text_width(text), spare = stretch.width - width;
            const bool last = line + 1 == height;
            const bool dashes = last && spare >= 4;
            const int before = spare / 2;
            if (dashes) {
                out_.append(static_cast<std::size_t>(before - 1), '-');
                out_ += ' ' + text + ' ';
                out_.append(static_cast<std::size_t>(spare - before - 1), '-');
            } else {
                pad(out_, before);
                out_ += text;
                pad(out_, spare - before);
            }
            at = stretch.start + stretch.width;
        }
        end_line();
    }
}

void ListingTable::draw_headings(const std::vector<Place>& block) {
    std::vector<std::vector<std::string>> lines;
    std::size_t height = 0;
    for (const Place& place : block) {
        lines.emplace_back();
        for (const std::string& heading : grid_.columns[place.column].heading) {
            for (std::string& line : wrapped(heading, place.width)) lines.back().push_back(std::move(line));
        }
        height = std::max(height, lines.back().size());
    }
    for (std::size_t row = 0; row < height; ++row) {
        for (std::size_t i = 0; i < block.size(); ++i) {
            const GridColumn& column = grid_.columns[block[i].column];
            pad(out_, block[i].gap);
            const std::size_t skip = height - lines[i].size();
            const std::string text = row < skip ? std::string() : lines[i][row - skip];
            const int spare = block[i].width - text_width(text);
            const int before = column.alignment == Alignment::right    ? spare
                               : column.alignment == Alignment::centre ? spare / 2
                                                                       : 0;
            pad(out_, before);
            out_ += text;
            pad(out_, spare - before);
        }
        end_line();
    }
}

void ListingTable::draw_wrapped_row(const std::vector<Place>& block, std::size_t row) {
    std::vector<std::vector<std::string>> lines(block.size());
    std::size_t height = 1;
    for (std::size_t i = 0; i < block.size(); ++i) {
        grid_.cell(row, block[i].column, cell_);
        if (block[i].wraps) {
            lines[i] = wrapped(cell_.text, block[i].width);
        } else {
            std::string text;
            pad(text, Grid::indent(grid_.columns[block[i].column], cell_, block[i].width));
            text += cell_.text;
            lines[i].push_back(std::move(text));
        }
        height = std::max(height, lines[i].size());
    }
    for (std::size_t line = 0; line < height; ++line) {
        for (std::size_t i = 0; i < block.size(); ++i) {
            pad(out_, block[i].gap);
            const std::string_view text =
                line < lines[i].size() ? std::string_view(lines[i][line]) : std::string_view();
            out_ += text;
            pad(out_, block[i].width - text_width(text));
        }
        end_line();
    }
}

void ListingTable::draw_rows(const std::vector<Place>& block, const Sink& sink) {
    const bool wraps = std::any_of(block.begin(), block.end(), [](const Place& place) { return place.wraps; });
    for (std::size_t row = 0; row < grid_.rows(); ++row) {
        if (grid_.breaks(row)) out_ += '\n';
        if (wraps) {
            draw_wrapped_row(block, row);
        } else {
            for (const Place& place : block) {
                grid_.cell(row, place.column, cell_);
                const int before = Grid::indent(grid_.columns[place.column], cell_, place.width);
                pad(out_, place.gap + before);
                out_ += cell_.text;
                pad(out_, place.width - before - cell_.width);
            }
            end_line();
        }
        if (out_.size() >= piece) {
            sink(out_);
            out_.clear();
        }
    }
}

void ListingTable::draw(const Sink& sink) {
    texts(grid_.captions);
    texts(grid_.above);
    out_ += '\n';
    bool first = true;
    for (const std::vector<Place>& block : blocks()) {
        if (!first) out_ += '\n';
        first = false;
        const int width = std::min(width_of(block), std::max(line_width_, 1));
        if (grid_.headings) {
            draw_spans(block);
            draw_headings(block);
            rule(width);
        }
        draw_rows(block, sink);
        if (grid_.headings) rule(width);
    }
    if (!grid_.below.empty()) texts(grid_.below);
    sink(out_);
    out_.clear();
}

}  // namespace vek
