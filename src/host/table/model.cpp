// Stores the rows of a table: reads the bound variables of each row into one block of bytes, texts into another.
#include "host/table/model.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <new>

#include "numeric/missing.h"

namespace vek {

const AttributeValue* find_attribute(const std::vector<Attribute>& attributes, std::string_view key) {
    const auto found =
        std::find_if(attributes.begin(), attributes.end(), [&](const Attribute& a) { return a.key == key; });
    return found == attributes.end() ? nullptr : &found->value;
}

void set_attribute(std::vector<Attribute>& attributes, std::string_view key, AttributeValue value) {
    for (Attribute& attribute : attributes) {
        if (attribute.key == key) {
            attribute.value = std::move(value);
            return;
        }
    }
    attributes.push_back({std::string(key), std::move(value)});
}

std::string attribute_text(const AttributeValue& value) {
    char digits[40];
    switch (value.kind) {
        case AttributeValue::Kind::text:
            return value.text;
        case AttributeValue::Kind::integer:
            return std::to_string(value.integer);
        case AttributeValue::Kind::number:
            break;
    }
    if (wzmis(value.number)) return std::string(1, missing_code(value.number));
    // Levels such as (1 - 0.05) 100 carry the rounding of their computation; nobody reads the 16th digit.
    const auto end = std::to_chars(digits, digits + sizeof digits, value.number, std::chars_format::general, 10).ptr;
    return {digits, end};
}

std::string_view table_kind_name(TableKind kind) {
    constexpr std::string_view names[] = {"data", "factoid", "matrix"};
    return names[static_cast<std::size_t>(kind)];
}

void ByteBlock::grow(std::size_t wanted) {
    const std::size_t capacity = std::max({wanted, capacity_ + capacity_ / 2, std::size_t{256}});
    void* const moved = std::realloc(data_, capacity);
    if (moved == nullptr) throw std::bad_alloc();
    data_ = static_cast<std::byte*>(moved);
    capacity_ = capacity;
}

void ByteBlock::fit() {
    if (size_ == capacity_ || size_ == 0) return;
    if (void* const moved = std::realloc(data_, size_); moved != nullptr) {
        data_ = static_cast<std::byte*>(moved);
        capacity_ = size_;
    }
}

void RowSet::fit() {
    values_.fit();
    texts_.fit();
    last_ = nullptr;
}

namespace {

std::string_view without_trailing_blanks(std::string_view text) {
    const std::size_t last = text.find_last_not_of(' ');
    return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

std::uint32_t stored_size(ColumnKind kind) {
    switch (kind) {
        case ColumnKind::character:
            return 1;
        case ColumnKind::integer:
        case ColumnKind::degrees:
            return 4;
        case ColumnKind::mixed:
            return 16;
        default:
            return 8;
    }
}

}  // namespace

void RowSet::end_columns() {
    std::uint32_t offset = 0;
    for (TableColumn& column : own_columns()) {
        column.offset = offset;
        offset += stored_size(column.kind);
    }
    stride_ = offset;
    ended_ = true;
}

void RowSet::add_row() {
    last_ = values_.extend(stride_);
    if (stride_ > 0) std::memset(last_, 0, stride_);
    ++rows_;
}

bool is_fault(double value) { return !std::isfinite(value) && !wzmis(value); }

int RowSet::read_row() {
    last_ = values_.extend(stride_);
    ++rows_;
    int fault = -1;
    for (std::size_t i = 0; i < columns().size(); ++i) {
        const TableColumn& column = columns()[i];
        switch (column.kind) {
            case ColumnKind::character:
                std::memcpy(last_ + column.offset, column.source, 1);
                break;
            case ColumnKind::integer:
            case ColumnKind::degrees:
                std::memcpy(last_ + column.offset, column.source, 4);
                break;
            case ColumnKind::number: {
                const double value = *static_cast<const double*>(column.source);
                put(i, value);
                if (is_fault(value) && fault < 0 && !column.reported) fault = static_cast<int>(i);
                break;
            }
            case ColumnKind::buffer: {
                std::string_view text(static_cast<const char*>(column.source), static_cast<std::size_t>(column.width));
                text = text.substr(0, std::min(text.find('\0'), text.size()));
                put(i, keep(text));
                break;
            }
            case ColumnKind::text:
                put(i, keep(*static_cast<const std::string_view*>(column.source)));
                break;
            case ColumnKind::string:
                put(i, keep(*static_cast<const std::string*>(column.source)));
                break;
            case ColumnKind::mixed:
                break;
        }
    }
    return fault;
}

// Blanks at the end are padding and are not kept.
std::uint64_t RowSet::keep(std::string_view value) {
    value = without_trailing_blanks(value);
    value = value.substr(0, (std::size_t{1} << length_bits) - 1);
    if (value.empty()) return 0;
    const std::size_t place = texts_.size();
    std::memcpy(texts_.extend(value.size()), value.data(), value.size());
    return (std::uint64_t{place} << length_bits) | value.size();
}

void RowSet::put_mixed(std::size_t column, const MixedValue& value) {
    StoredMixed stored{};
    switch (value.kind) {
        case MixedValue::Kind::text:
            stored.bits = keep(value.text);
            break;
        case MixedValue::Kind::integer:
            std::memcpy(&stored.bits, &value.integer, 8);
            break;
        case MixedValue::Kind::number:
            std::memcpy(&stored.bits, &value.number, 8);
            break;
    }
    stored.width = value.width;
    stored.decimals = value.decimals;
    stored.kind = static_cast<std::uint8_t>(value.kind);
    stored.percent = value.percent ? 1 : 0;
    put(column, stored);
}

MixedValue RowSet::mixed(std::size_t row, std::size_t column) const {
    const StoredMixed stored = get<StoredMixed>(row, column);
    MixedValue value;
    value.kind = static_cast<MixedValue::Kind>(stored.kind);
    value.width = stored.width;
    value.decimals = stored.decimals;
    value.percent = stored.percent != 0;
    switch (value.kind) {
        case MixedValue::Kind::text:
            value.text = view(stored.bits);
            break;
        case MixedValue::Kind::integer:
            std::memcpy(&value.integer, &stored.bits, 8);
            break;
        case MixedValue::Kind::number:
            std::memcpy(&value.number, &stored.bits, 8);
            break;
    }
    return value;
}

}  // namespace vek
