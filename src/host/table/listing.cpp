// Draws a grid as text: caption, headings between rules, rows, notes, in as many blocks of columns as the line needs.
#include "host/table/listing.h"

#include <algorithm>

#include "host/table/text_width.h"

namespace vek {

namespace {
constexpr std::size_t piece = std::size_t{1} << 16;
constexpr int least_wrapped_width = 16;
constexpr int worth_wrapping = 30;  // room for a long text beside other columns
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

// Columns that stand together: those under one heading, and marks with the column before them.
std::vector<std::vector<ListingTable::Place>> ListingTable::units(std::size_t next, int less) const {
    std::vector<std::vector<Place>> result;
    std::size_t open = next;  // columns below this one belong to the last unit
    for (; next < grid_.columns.size(); ++next) {
        const GridColumn& column = grid_.columns[next];
        if (result.empty() || (next >= open && column.gap > 0)) result.emplace_back();
        result.back().push_back({next, column.width, column.gap > 1 ? column.gap - less : column.gap, false});
        for (const GridSpan& span : grid_.spans) {
            if (span.first == next) open = std::max(open, span.last + 1);
        }
    }
    return result;
}

std::vector<std::vector<ListingTable::Place>> ListingTable::blocks() const {
    // Blanks between columns are the first thing to give.
    int whole = 0;
    for (const GridColumn& column : grid_.columns) whole += column.gap + column.width;
    const int less = whole > line_width_ ? 1 : 0;
    std::vector<Place> left;
    std::size_t next = 0;
    for (; next < grid_.columns.size() && grid_.columns[next].row_heading; ++next) {
        const GridColumn& column = grid_.columns[next];
        left.push_back({next, column.width, column.gap > 1 ? column.gap - less : column.gap, false});
    }
    // Row headings may take two thirds of the line, or all of it when there is nothing else.
    const int room = next == grid_.columns.size() ? line_width_ : line_width_ * 2 / 3;
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
    const auto used = [&] { return block.size() > left.size(); };
    const auto finish = [&] {
        if (used() || result.empty()) result.push_back(block);
        block = left;
    };
    const auto place = [&](std::vector<Place> columns) {
        const int width = width_of(columns), fresh = line_width_ - width_of(left);
        int spare = line_width_ - width_of(block);
        const bool may_wrap = columns.size() == 1 && !grid_.columns[columns.front().column].numeric();
        if (width > spare && used() && !(may_wrap && width > fresh && spare >= worth_wrapping)) {
            finish();
            spare = fresh;
        }
        if (width > spare && may_wrap) {
            columns.front().wraps = true;
            columns.front().width = std::max(columns.front().width - (width - spare), least_wrapped_width);
        }
        block.insert(block.end(), columns.begin(), columns.end());
    };
    for (const std::vector<Place>& unit : units(next, less)) {
        if (width_of(unit) + width_of(left) <= line_width_) {
            place(unit);
            continue;
        }
        for (std::size_t i = 0; i < unit.size();) {
            std::vector<Place> column{unit[i]};
            while (++i < unit.size() && unit[i].gap == 0) column.push_back(unit[i]);
            place(column);
        }
    }
    finish();
    for (std::vector<Place>& made : result) make_room_for_spans(made);
    return result;
}

std::vector<std::vector<std::size_t>> ListingTable::column_blocks() const {
    std::vector<std::vector<std::size_t>> result;
    for (const std::vector<Place>& block : blocks()) {
        result.emplace_back();
        for (const Place& place : block) result.back().push_back(place.column);
    }
    return result;
}

// A heading over a few columns of this block needs room for its longest word.
void ListingTable::make_room_for_spans(std::vector<Place>& block) const {
    for (const GridSpan& span : grid_.spans) {
        Place* last = nullptr;
        int width = 0;
        for (Place& place : block) {
            if (place.column < span.first || place.column > span.last) continue;
            width += place.width + (last == nullptr ? 0 : place.gap);
            last = &place;
        }
        if (last != nullptr) last->width += std::max(longest_word(span.text) - width, 0);
    }
}

void ListingTable::put_aligned(std::string_view text, int width, Alignment alignment) {
    const int spare = width - text_width(text);
    const int before = alignment == Alignment::right ? spare : alignment == Alignment::centre ? spare / 2 : 0;
    pad(out_, before);
    out_ += text;
    pad(out_, spare - before);
}

// Headings stand on the rule below them; a heading over several columns stands on theirs, with a rule of its own.
void ListingTable::draw_headings(const std::vector<Place>& block) {
    struct Stretch {
        std::size_t first, last;  // places in the block
        int width;
        std::size_t base = 0;  // lines of the headings below it
        std::vector<std::string> lines;
    };
    std::vector<std::vector<std::string>> lines;
    for (const Place& place : block) {
        lines.emplace_back();
        for (const std::string& heading : grid_.columns[place.column].heading) {
            for (std::string& line : wrapped(heading, place.width)) lines.back().push_back(std::move(line));
        }
    }
    std::vector<Stretch> stretches;
    std::vector<const Stretch*> over(block.size(), nullptr);
    for (const GridSpan& span : grid_.spans) {
        Stretch stretch{block.size(), 0, 0, 0, {}};
        for (std::size_t i = 0; i < block.size(); ++i) {
            if (block[i].column < span.first || block[i].column > span.last) continue;
            stretch.width += block[i].width + (stretch.first == block.size() ? 0 : block[i].gap);
            stretch.first = std::min(stretch.first, i);
            stretch.last = i;
            stretch.base = std::max(stretch.base, lines[i].size());
        }
        if (stretch.first == block.size() || span.text.empty()) continue;
        stretch.lines = wrapped(span.text, stretch.width);
        stretches.push_back(std::move(stretch));
    }
    std::size_t height = 0;
    for (const auto& heading : lines) height = std::max(height, heading.size());
    for (const Stretch& stretch : stretches) {
        height = std::max(height, stretch.base + 1 + stretch.lines.size());
        for (std::size_t i = stretch.first; i <= stretch.last; ++i) over[i] = &stretch;
    }
    for (std::size_t level = height; level-- > 0;) {  // lines from the rule upwards
        for (std::size_t i = 0; i < block.size(); ++i) {
            pad(out_, block[i].gap);
            const Stretch* const stretch = over[i];
            if (stretch != nullptr && level >= stretch->base) {
                const std::size_t above = level - stretch->base;
                if (above == 0) {
                    out_.append(static_cast<std::size_t>(stretch->width), '-');
                } else {
                    const bool some = above <= stretch->lines.size();
                    put_aligned(some ? stretch->lines[stretch->lines.size() - above] : std::string(), stretch->width,
                                Alignment::centre);
                }
                i = stretch->last;
            } else {
                const std::vector<std::string>& heading = lines[i];
                put_aligned(level < heading.size() ? heading[heading.size() - 1 - level] : std::string(),
                            block[i].width, grid_.columns[block[i].column].alignment);
            }
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
