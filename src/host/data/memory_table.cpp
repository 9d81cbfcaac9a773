// Columns in pieces: the first one grows by doubling until it has a whole piece's rows, the others are made whole.
#include "host/data/memory_table.h"

#include <algorithm>

namespace vek {

namespace {

template <class T>
void make_room(std::vector<std::unique_ptr<T[]>>* pieces, int rows, int have, int capacity) {
    auto larger = std::make_unique_for_overwrite<T[]>(static_cast<std::size_t>(capacity));
    if (rows == 0 || rows >= MemoryTable::piece_rows) {
        pieces->push_back(std::move(larger));
    } else {
        std::copy_n(pieces->back().get(), have, larger.get());
        pieces->back() = std::move(larger);
    }
}

}  // namespace

MemoryTable::MemoryTable(std::vector<Variable> variables)
    : variables_(std::move(variables)), columns_(variables_.size()) {}

void MemoryTable::add_row() {
    const int in_piece = static_cast<int>(rows_ % piece_rows);
    const bool full = rows_ < piece_rows ? rows_ == capacity_ : in_piece == 0;
    if (full) {
        const int have = rows_ < piece_rows ? static_cast<int>(rows_) : 0;
        const int capacity = rows_ < piece_rows ? std::clamp(2 * capacity_, 16, piece_rows) : piece_rows;
        const int marker = rows_ < piece_rows ? static_cast<int>(rows_) : piece_rows;
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            if (variables_[c].type == VariableType::numeric) {
                make_room(&columns_[c].numbers, marker, have, capacity);
            } else {
                make_room(&columns_[c].texts, marker, have, capacity);
            }
        }
        if (rows_ < piece_rows) capacity_ = capacity;
    }
    ++rows_;
}

void MemoryTable::set_number(int column, double value) {
    const std::int64_t row = rows_ - 1;
    columns_[static_cast<std::size_t>(column)]
        .numbers[static_cast<std::size_t>(row / piece_rows)][static_cast<std::size_t>(row % piece_rows)] = value;
}

void MemoryTable::set_text(int column, std::string_view value) {
    const std::int64_t row = rows_ - 1;
    Column& c = columns_[static_cast<std::size_t>(column)];
    c.texts[static_cast<std::size_t>(row / piece_rows)][static_cast<std::size_t>(row % piece_rows)] = {
        c.arena.keep(value), static_cast<std::int32_t>(value.size())};
}

const double* MemoryTable::numbers(int column, std::int64_t piece) const {
    return columns_[static_cast<std::size_t>(column)].numbers[static_cast<std::size_t>(piece)].get();
}

const TextValue* MemoryTable::texts(int column, std::int64_t piece) const {
    return columns_[static_cast<std::size_t>(column)].texts[static_cast<std::size_t>(piece)].get();
}

}  // namespace vek
