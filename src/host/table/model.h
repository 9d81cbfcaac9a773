// A table as data: columns, rows, attributes, titles and notes, as the procedure handed them over and before anything
// is formatted. Rows lie in one block of memory, so that a table of millions of rows costs its numbers and no more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vek {

/// The value of a header key.
struct AttributeValue {
    enum class Kind : std::uint8_t { text, integer, number } kind = Kind::text;
    std::string text;
    std::int64_t integer = 0;
    double number = 0;
    bool operator==(const AttributeValue&) const = default;
};

struct Attribute {
    std::string key;
    AttributeValue value;
    bool operator==(const Attribute&) const = default;
};

/// Null when there is no such key.
const AttributeValue* find_attribute(const std::vector<Attribute>& attributes, std::string_view key);
/// Sets a key; a second value replaces the first.
void set_attribute(std::vector<Attribute>& attributes, std::string_view key, AttributeValue value);
/// The value as text: an integer or a number in as many digits as it needs.
std::string attribute_text(const AttributeValue& value);

/// What a column holds. The numbers are those of the protocol.
enum class ColumnKind : std::uint8_t {
    character = 1,  ///< one character
    integer = 3,
    degrees = 4,  ///< an integer: degrees of freedom
    number = 5,
    buffer = 6,   ///< text in a buffer of the column's width
    mixed = 7,    ///< the values of items: each row has its own kind and format
    text = 20,    ///< text through a std::string_view
    string = 21,  ///< text in a std::string
};

constexpr bool is_text(ColumnKind kind) {
    return kind == ColumnKind::buffer || kind == ColumnKind::text || kind == ColumnKind::string;
}
constexpr bool is_integer(ColumnKind kind) { return kind == ColumnKind::integer || kind == ColumnKind::degrees; }

struct TableColumn {
    std::string name;
    std::string label;  ///< empty leaves the heading to the template
    std::string like;   ///< column of the template that tells how this one looks; empty for its own name
    ColumnKind kind = ColumnKind::text;
    std::int32_t width = 0;      ///< 0 leaves it to the template; the values of a class can be long
    std::int16_t decimals = -1;  ///< -1 leaves them to the template; 98 the best for the column, 99 for each value
    bool reported = false;       ///< a fault in this column has been reported
    std::uint32_t offset = 0;    ///< of the value in a row of the store
    std::vector<Attribute> attributes;
    const void* source = nullptr;  ///< the variable that is read at each row, while the table is being made
    bool operator==(const TableColumn&) const = default;
};

/// A block of bytes that grows without being copied as long as the system can move pages.
class ByteBlock {
  public:
    ByteBlock() = default;
    ByteBlock(ByteBlock&& other) noexcept { swap(other); }
    ByteBlock& operator=(ByteBlock&& other) noexcept {
        swap(other);
        return *this;
    }
    ByteBlock(const ByteBlock&) = delete;
    ByteBlock& operator=(const ByteBlock&) = delete;
    ~ByteBlock() { std::free(data_); }

    /// Room for `bytes` more at the end; throws std::bad_alloc.
    std::byte* extend(std::size_t bytes) {
        if (size_ + bytes > capacity_) grow(size_ + bytes);
        std::byte* const place = data_ + size_;
        size_ += bytes;
        return place;
    }
    /// Gives back what is not used.
    void fit();
    const std::byte* data() const { return data_; }
    std::size_t size() const { return size_; }

  private:
    void grow(std::size_t wanted);
    void swap(ByteBlock& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }
    std::byte* data_ = nullptr;
    std::size_t size_ = 0, capacity_ = 0;
};

/// A value of a column of items.
struct MixedValue {
    enum class Kind : std::uint8_t { text, integer, number } kind = Kind::text;
    std::int16_t width = 0, decimals = -1;
    bool percent = false;  ///< the number is a proportion, shown in percent
    std::int64_t integer = 0;
    double number = 0;
    std::string_view text;
};

/// Columns and rows of values.
class RowSet {
  public:
    using Columns = std::vector<TableColumn>;

    const Columns& columns() const { return *columns_; }
    /// The columns while the table is being made.
    Columns& own_columns() { return *columns_; }
    /// Columns that other tables may share, once the table is complete.
    const std::shared_ptr<Columns>& shared_columns() const { return columns_; }
    void share_columns(std::shared_ptr<Columns> columns) { columns_ = std::move(columns); }
    /// Gives back the room for further rows.
    void fit();

    /// Lays out a row; no column is added from here on.
    void end_columns();
    bool ready() const { return stride_ > 0 || ended_; }
    std::size_t rows() const { return rows_; }

    /// Adds a row of what the columns' sources hold now. The first column, if any, whose number is neither finite nor
    /// missing and that has not been marked as reported; -1 when all is well.
    int read_row();
    /// Adds an empty row, whose values the put functions fill in.
    void add_row();
    void put_number(std::size_t column, double value) { put(column, value); }
    void put_integer(std::size_t column, std::int32_t value) { put(column, value); }
    void put_text(std::size_t column, std::string_view value) { put(column, keep(value)); }
    void put_mixed(std::size_t column, const MixedValue& value);

    double number(std::size_t row, std::size_t column) const { return get<double>(row, column); }
    std::int32_t integer(std::size_t row, std::size_t column) const { return get<std::int32_t>(row, column); }
    char character(std::size_t row, std::size_t column) const { return get<char>(row, column); }
    std::string_view text(std::size_t row, std::size_t column) const { return view(get<std::uint64_t>(row, column)); }
    MixedValue mixed(std::size_t row, std::size_t column) const;

  private:
    struct StoredMixed {
        std::uint64_t bits;
        std::int16_t width, decimals;
        std::uint8_t kind, percent;
    };

    // A text is kept as its length in the low 24 bits and its place among the texts above.
    static constexpr int length_bits = 24;
    std::uint64_t keep(std::string_view value);
    std::string_view view(std::uint64_t stored) const {
        const std::size_t length = stored & ((std::uint64_t{1} << length_bits) - 1);
        return {reinterpret_cast<const char*>(texts_.data()) + (stored >> length_bits), length};
    }
    template <class T>
    T get(std::size_t row, std::size_t column) const {
        T value;
        std::memcpy(&value, values_.data() + row * stride_ + columns()[column].offset, sizeof value);
        return value;
    }
    template <class T>
    void put(std::size_t column, const T& value) {
        std::memcpy(last_ + columns()[column].offset, &value, sizeof value);
    }

    std::shared_ptr<Columns> columns_ = std::make_shared<Columns>();
    ByteBlock values_, texts_;
    std::byte* last_ = nullptr;
    std::size_t stride_ = 0, rows_ = 0;
    bool ended_ = false;
};

/// True for a NaN that is no missing value and for an infinity.
bool is_fault(double value);

enum class TableKind : std::uint8_t { data, factoid, matrix };
std::string_view table_kind_name(TableKind kind);

/// An open level of the report.
struct FolderLevel {
    std::string name, label;
    std::string key;  ///< kind of the level, such as "Dependent"
};

/// What the tables of one stretch of the report have in common; shared by them.
struct ReportContext {
    std::string procedure;
    int step = 0;
    std::vector<std::pair<std::string, std::string>> by;
    std::vector<FolderLevel> path;
    std::vector<std::string> titles;
    std::size_t user_titles = 0;  ///< how many of the titles are the user's; the procedure's follow
};

/// A block of stacked matrices beside its columns and rows.
struct BlockFormat {
    std::string key;     ///< such as "sf"; the second letter is the form of the numbers: f, b or p
    std::string prefix;  ///< of the column names in data
};

struct TableModel {
    TableKind kind = TableKind::data;
    std::string name, label;
    std::string path;  ///< of the template
    std::shared_ptr<const ReportContext> context;
    std::vector<Attribute> attributes;
    std::vector<std::string> titles;  ///< of its own, below those of the context
    std::vector<std::string> above;   ///< notes that came before it
    std::vector<std::string> notes;
    std::string corner;               ///< heading of the row names of a matrix
    std::vector<RowSet> sets;         ///< one, or one for each of stacked matrices
    std::vector<BlockFormat> blocks;  ///< of a matrix: one for each set
    bool ended = false;

    const RowSet& rows() const { return sets.front(); }
};

}  // namespace vek
