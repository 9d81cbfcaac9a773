#include "host/data/row_text.h"

#include <algorithm>

#include "host/data/shortest.h"
#include "numeric/missing.h"

namespace vek {

void RowText::add_names(const std::vector<Variable>& variables) {
    std::vector<TextValue> names;
    names.reserve(variables.size());
    for (const Variable& variable : variables) {
        names.push_back({variable.name.data(), static_cast<std::int32_t>(variable.name.size())});
    }
    std::vector<Column> columns(names.size());
    for (std::size_t c = 0; c < names.size(); ++c) columns[c].text = &names[c];
    add(columns.data(), 0);
}

void RowText::add(const Column* columns, int row) {
    make_room(columns, row);
    char* to = buffer_.get() + size_;
    for (std::size_t c = 0; c < columns_; ++c) {
        if (c > 0) *to++ = delimiter_;
        const Column& column = columns[c];
        to = column.number != nullptr ? put(column.number[row], to) : put(column.text[row], to);
    }
    *to++ = '\n';
    size_ = static_cast<std::size_t>(to - buffer_.get());
}

/// Room for the longest text that the row can have.
void RowText::make_room(const Column* columns, int row) {
    std::size_t needed = size_ + columns_ * (shortest_room + 3) + 1;
    for (std::size_t c = 0; c < columns_; ++c) {
        if (columns[c].text != nullptr) needed += 2 * columns[c].text[row].whole().size();
    }
    if (needed <= room_) return;
    const std::size_t larger = std::max(2 * room_, needed);
    auto buffer = std::make_unique_for_overwrite<char[]>(larger);
    std::copy_n(buffer_.get(), size_, buffer.get());
    buffer_ = std::move(buffer);
    room_ = larger;
}

char* RowText::put(double value, char* to) const {
    if (wzmis(value)) {
        // A plain missing value is an empty field, which every reader of such files understands.
        if (const char code = missing_code(value); code != '.') {
            *to++ = '.';
            *to++ = code;
        }
        return to;
    }
    char* const end = write_shortest(value, to);
    return decimal_ == '.' ? end : put_decimal(to, end);
}

char* RowText::put(const TextValue& value, char* to) const {
    const std::string_view text = value.whole();
    bool quotes = false;
    for (const char c : text) quotes = quotes || c == delimiter_ || c == '"' || c == '\n' || c == '\r';
    if (!quotes) return std::copy(text.begin(), text.end(), to);
    *to++ = '"';
    for (const char c : text) {
        if (c == '"') *to++ = '"';
        *to++ = c;
    }
    *to++ = '"';
    return to;
}

/// Gives a number the decimal sign of the file, and quotes where that sign also separates fields. Returns its end.
char* RowText::put_decimal(char* number, char* end) const {
    char* const point = std::find(number, end, '.');
    if (point == end) return end;
    *point = decimal_;
    if (decimal_ != delimiter_) return end;
    std::copy_backward(number, end, end + 1);
    *number = '"';
    end[1] = '"';
    return end + 2;
}

}  // namespace vek
