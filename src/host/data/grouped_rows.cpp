// Walks over blocks and groups. The loaded block is shared by all readers; one that wants another block loads it again
// from the nearest mark.
#include "host/data/grouped_rows.h"

#include <algorithm>
#include <bit>

#include "host/data/expression_node.h"

namespace vek {

namespace {

bool same_number(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) || compare_numbers(a, b) == 0;
}

}  // namespace

void GroupedRows::set_filter(std::vector<Where> conditions, std::int64_t first, std::int64_t last) {
    conditions_ = std::move(conditions);
    first_ = first;
    last_ = last;
    restart();
}

void GroupedRows::set_by(std::vector<ByColumn> by) {
    by_ = std::move(by);
    restart();
}

void GroupedRows::restart() {
    source_->restart();
    block_ = -1;
    seen_ = 0;
    ended_ = false;
    last_key_.known = false;
    started_ = in_group_ = no_rows_ = end_known_ = end_of_data_ = false;
    begin_.block = end_.block = -1;
    ++generation_;
}

// ---- blocks -----------------------------------------------------------------------------------------------------

/// Narrows the source's block to the rows that take part; false when it has none.
bool GroupedRows::filter_block() {
    for (const Where& where : conditions_) {
        const auto rows = static_cast<std::size_t>(source_->rows());
        if (flags_.size() < rows) flags_.resize(rows);
        if (chosen_.size() < rows) chosen_.resize(rows);
        evaluate(*where.root, *source_, flags_.data());
        std::size_t count = 0;
        for (std::size_t r = 0; r < rows; ++r) {
            chosen_[count] = static_cast<std::uint32_t>(r);
            count += flags_[r];
        }
        source_->select(chosen_.data(), static_cast<int>(count));
        if (count == 0) return false;
    }
    const std::int64_t before = seen_;
    const int rows = source_->rows();
    seen_ += rows;
    const auto begin = static_cast<int>(std::clamp<std::int64_t>(first_ - 1 - before, 0, rows));
    const auto end = static_cast<int>(std::clamp<std::int64_t>(last_ - before, 0, rows));
    if (begin >= end) return false;
    if (begin > 0 || end < rows) {
        if (chosen_.size() < static_cast<std::size_t>(rows)) chosen_.resize(static_cast<std::size_t>(rows));
        for (int r = begin; r < end; ++r) chosen_[static_cast<std::size_t>(r - begin)] = static_cast<std::uint32_t>(r);
        source_->select(chosen_.data(), end - begin);
    }
    return true;
}

/// Loads the block behind the loaded one; false at the end of the data, which counts as a block without rows.
bool GroupedRows::advance() {
    if (ended_) return false;
    const ByKey* before = &last_key_;
    for (;;) {
        const std::int64_t seen = seen_;
        if (seen_ >= last_ || !source_->next()) {
            ended_ = true;
            ++block_;
            starts_.clear();
            loaded_.block = block_;
            return false;
        }
        loaded_.seen = seen;
        if (filter_block()) break;
    }
    ++block_;
    loaded_.mark = source_->mark();
    loaded_.block = block_;
    if (has_by()) {
        loaded_.before = *before;
        find_starts();
        take_key(source_->rows() - 1, &last_key_);
    }
    return true;
}

void GroupedRows::go(const BlockMark& mark) {
    source_->go(mark.mark);
    seen_ = mark.seen;
    block_ = mark.block - 1;
    last_key_ = mark.before;
    ended_ = false;
}

/// Makes `block` the loaded one; false when it is the end of the data or lies behind it.
bool GroupedRows::load(std::int64_t block) {
    if (block < block_) go(end_known_ && !end_of_data_ && end_.block <= block ? end_ : begin_);
    while (block_ < block) {
        if (!advance()) return false;
    }
    return !ended_;
}

// ---- BY values --------------------------------------------------------------------------------------------------

bool GroupedRows::same_rows(const ByColumn& by, int a, int b) {
    if (by.type == VariableType::numeric) {
        const double* values = source_->numbers(by.column);
        if (same_number(values[a], values[b])) return true;
        return by.format_number && by.format_number(values[a]) == by.format_number(values[b]);
    }
    const TextValue* values = source_->texts(by.column);
    if (values[a].view() == values[b].view()) return true;
    return by.format_text && by.format_text(values[a]) == by.format_text(values[b]);
}

bool GroupedRows::same(const ByKey& key, int row) {
    for (std::size_t i = 0; i < by_.size(); ++i) {
        const ByColumn& by = by_[i];
        if (by.type == VariableType::numeric) {
            const double value = source_->numbers(by.column)[row];
            if (same_number(key.numbers[i], value)) continue;
            if (!by.format_number || by.format_number(key.numbers[i]) != by.format_number(value)) return false;
        } else {
            const TextValue value = source_->texts(by.column)[row];
            if (key.texts[i] == value.view()) continue;
            const TextValue known{key.texts[i].data(), static_cast<std::int32_t>(key.texts[i].size())};
            if (!by.format_text || by.format_text(known) != by.format_text(value)) return false;
        }
    }
    return true;
}

void GroupedRows::take_key(int row, ByKey* key) {
    key->known = true;
    key->numbers.resize(by_.size());
    key->texts.resize(by_.size());
    for (std::size_t i = 0; i < by_.size(); ++i) {
        if (by_[i].type == VariableType::numeric) {
            key->numbers[i] = source_->numbers(by_[i].column)[row];
        } else {
            key->texts[i] = source_->texts(by_[i].column)[row].view();
        }
    }
}

/// Three-way comparison of values with those of a row, in the order that BY asks for.
int GroupedRows::compare(const ByKey& key, int row) {
    for (std::size_t i = 0; i < by_.size(); ++i) {
        const ByColumn& by = by_[i];
        const int order = by.type == VariableType::numeric
                              ? compare_numbers(key.numbers[i], source_->numbers(by.column)[row])
                              : compare_texts(key.texts[i], source_->texts(by.column)[row].view());
        if (order != 0) return by.descending ? -order : order;
    }
    return 0;
}

/// Finds the rows of the loaded block at which a group begins.
void GroupedRows::find_starts() {
    const int rows = source_->rows();
    flags_.assign(static_cast<std::size_t>(std::max(rows, static_cast<int>(flags_.size()))), 0);
    starts_.clear();
    if (!last_key_.known || !same(last_key_, 0)) flags_[0] = 1;
    for (const ByColumn& by : by_) {
        if (by.type == VariableType::numeric) {
            const double* values = source_->numbers(by.column);
            for (int r = 1; r < rows; ++r) {
                if (std::bit_cast<std::uint64_t>(values[r]) == std::bit_cast<std::uint64_t>(values[r - 1])) continue;
                if (!same_rows(by, r - 1, r)) flags_[static_cast<std::size_t>(r)] = 1;
            }
        } else {
            const TextValue* values = source_->texts(by.column);
            for (int r = 1; r < rows; ++r) {
                if (values[r].view() == values[r - 1].view()) continue;
                if (!same_rows(by, r - 1, r)) flags_[static_cast<std::size_t>(r)] = 1;
            }
        }
    }
    for (int r = 0; r < rows; ++r) {
        if (flags_[static_cast<std::size_t>(r)] != 0) starts_.push_back(r);
    }
}

GroupedRows::Disorder GroupedRows::find_disorder() {
    Disorder disorder;
    ByKey before;
    restart();
    while (!disorder.found && advance()) {
        for (int r = 0; r < source_->rows(); ++r) {
            const int order = before.known ? compare(before, r) : -1;
            if (order == 0) continue;
            if (order > 0) {
                disorder.found = true;
                disorder.line = source_->line(r);
                disorder.before = before;
                take_key(r, &disorder.key);
                break;
            }
            take_key(r, &before);
        }
    }
    if (disorder.found) {
        // Where the same values stood first.
        restart();
        while (disorder.first_line == 0 && advance()) {
            for (int r = 0; r < source_->rows(); ++r) {
                if (source_->line(r) >= disorder.line) break;
                if (compare(disorder.key, r) != 0) continue;
                disorder.first_line = source_->line(r);
                break;
            }
            if (source_->line(source_->rows() - 1) >= disorder.line) break;
        }
    }
    restart();
    return disorder;
}

// ---- groups -----------------------------------------------------------------------------------------------------

/// Reads on from the loaded block to the end of the current group. No reader has passed the group's end without noting
/// it, so the loaded block is one of the group's.
void GroupedRows::find_group_end() {
    for (;;) {
        if (ended_) {
            end_known_ = end_of_data_ = true;
            return;
        }
        const int after = block_ == begin_.block ? begin_row_ + 1 : 0;
        const auto start = std::lower_bound(starts_.begin(), starts_.end(), after);
        if (start != starts_.end()) {
            end_known_ = true;
            end_of_data_ = false;
            if (end_.block != block_) end_ = loaded_;
            end_row_ = *start;
            return;
        }
        advance();
    }
}

bool GroupedRows::next_group() {
    ++generation_;
    if (!started_) {
        started_ = true;
        in_group_ = true;
        no_rows_ = !load(0);
        begin_ = loaded_;
        begin_row_ = 0;
        end_known_ = end_of_data_ = no_rows_;
        if (!no_rows_ && has_by()) take_key(0, &key_);
        return true;
    }
    if (!in_group_) return false;
    if (has_by() && !end_known_) find_group_end();
    if (!has_by() || end_of_data_) {
        in_group_ = false;
        return false;
    }
    if (begin_.block != end_.block) begin_ = end_;
    begin_row_ = end_row_;
    load(begin_.block);
    end_known_ = false;
    take_key(begin_row_, &key_);
    return true;
}

int GroupedRows::next_rows(Cursor* cursor, int* first) {
    if (cursor->generation != generation_) *cursor = {generation_, begin_.block, begin_row_, !in_group_ || no_rows_};
    if (cursor->done || !load(cursor->block)) {
        if (!cursor->done) end_known_ = end_of_data_ = true;
        cursor->done = true;
        return 0;
    }
    *first = cursor->row;
    int end = source_->rows();
    if (has_by()) {
        if (end_known_) {
            if (!end_of_data_ && cursor->block == end_.block) end = end_row_;
            cursor->done = !end_of_data_ && cursor->block >= end_.block;
        } else {
            const int after = cursor->block == begin_.block ? begin_row_ + 1 : 0;
            const auto start = std::lower_bound(starts_.begin(), starts_.end(), after);
            if (start != starts_.end()) {
                end_known_ = true;
                end_of_data_ = false;
                if (end_.block != block_) end_ = loaded_;
                end_row_ = *start;
                end = end_row_;
                cursor->done = true;
            }
        }
    }
    cursor->row = 0;
    ++cursor->block;
    return end - *first;
}

}  // namespace vek
