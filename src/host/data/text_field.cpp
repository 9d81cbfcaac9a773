// Texts of fields: most are just a place in the block, so a column costs a look at the last and first byte of each.
#include "host/data/text_field.h"

#include <algorithm>
#include <cstring>

namespace vek {

char* TextArena::take(std::size_t size) {
    while (piece_ < pieces_.size() && pieces_[piece_].size - used_ < size) {
        ++piece_;
        used_ = 0;
    }
    if (piece_ == pieces_.size()) {
        const std::size_t room = std::max<std::size_t>(size, pieces_.empty() ? 4096 : 65536);
        pieces_.push_back({std::make_unique<char[]>(room), room});
        used_ = 0;
    }
    char* at = pieces_[piece_].bytes.get() + used_;
    used_ += size;
    bytes_ += size;
    return at;
}

const char* TextArena::keep(std::string_view text) {
    char* at = take(text.size());
    if (!text.empty()) std::memcpy(at, text.data(), text.size());
    return at;
}

void TextArena::clear() { piece_ = used_ = bytes_ = 0; }

std::string_view unquoted(std::string_view field, TextArena& arena) {
    if (field.size() < 2 || field.front() != '"') return field;
    const std::string_view inside = field.substr(1, field.size() - 2);
    if (inside.find('"') == std::string_view::npos) return inside;
    char* plain = arena.take(inside.size());
    std::size_t size = 0;
    for (std::size_t i = 0; i < inside.size(); ++i) {
        plain[size++] = inside[i];
        if (inside[i] == '"') ++i;
    }
    return {plain, size};
}

bool is_missing_text(std::string_view text) {
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    return text.empty() || text == "." || text == "NA";
}

std::string_view text_value(std::string_view text) {
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    if (text.empty()) return {};
    const char first = text.front();
    if (first != '.' && first != 'N' && !is_blank(first)) return text;
    return is_missing_text(text) ? std::string_view() : text;
}

void read_texts(const FieldColumn& column, bool quotes, TextValue* values, TextArena& arena) {
    const std::uint32_t* ends = column.ends;
    for (int row = 0; row < column.rows; ++row, ends += column.stride) {
        std::string_view field(column.text + ends[-1] + 1, ends[0] - ends[-1] - 1);
        if (quotes) field = unquoted(field, arena);
        const std::string_view value = text_value(field);
        const std::size_t blanks = value.empty() ? 0 : field.size() - value.size();
        values[row] = {value.data(), static_cast<std::int32_t>(value.size()), static_cast<std::int32_t>(blanks)};
    }
}

std::size_t longest_text_of(const FieldColumn& column, bool quotes, std::size_t longest, TextArena& arena) {
    const std::uint32_t* ends = column.ends;
    for (int row = 0; row < column.rows; ++row, ends += column.stride) {
        if (ends[0] - ends[-1] - 1 <= longest) continue;
        std::string_view field(column.text + ends[-1] + 1, ends[0] - ends[-1] - 1);
        if (quotes) field = unquoted(field, arena);
        longest = std::max(longest, text_value(field).size());
    }
    return longest;
}

}  // namespace vek
