// The two kinds of rows: parsed from the blocks of a file, and pieces of columns in memory as they lie there.
#include "host/data/row_source.h"

#include <algorithm>

#include "frame/host_storage.h"
#include "host/data/data_file.h"
#include "host/data/memory_table.h"
#include "host/data/text_field.h"
#include "host/message/catalogue.h"

namespace vek {

namespace {

/// A column's values in the block with the number `block`.
struct ParsedColumn {
    std::int64_t block = -1;
    std::vector<double> numbers;
    std::vector<TextValue> texts;
};

class FileRows final : public RowSource {
  public:
    explicit FileRows(std::shared_ptr<DataFile> file) : file_(std::move(file)), columns_(file_->variables.size()) {
        restart();
    }

    void restart() override { go({file_->body.offset, file_->body.line}); }

    void go(const Mark& mark) override {
        if (mark.place > file_->body.offset && !file_->bytes->seeks_fast()) spool();
        if (!file_->bytes->seek(mark.place)) changed(file_->bytes->error());
        blocks_.begin(file_->bytes.get(), file_->row_form(), {mark.place, mark.line});
        forget();
    }

    bool next() override {
        forget();
        const auto outcome = blocks_.next(false);
        if (outcome == RowBlocks::Outcome::fault) {
            changed(blocks_.fault().kind == RowFaultKind::unreadable ? blocks_.fault().text : std::string());
        }
        rows_ = blocks_.block().rows;
        return outcome == RowBlocks::Outcome::block;
    }

    Mark mark() const override { return {blocks_.block_place().offset, blocks_.block_place().line}; }

    const double* numbers(int column) override {
        ParsedColumn& parsed = columns_[static_cast<std::size_t>(column)];
        if (parsed.block != block_) {
            parsed.block = block_;
            if (parsed.numbers.size() < static_cast<std::size_t>(rows_)) parsed.numbers.resize(room());
            parse(column, parsed.numbers.data());
        }
        return parsed.numbers.data();
    }

    const TextValue* texts(int column) override {
        ParsedColumn& parsed = columns_[static_cast<std::size_t>(column)];
        if (parsed.block != block_) {
            parsed.block = block_;
            if (parsed.texts.size() < static_cast<std::size_t>(rows_)) parsed.texts.resize(room());
            read_texts(blocks_.block().column(column), blocks_.block().quotes, parsed.texts.data(), arena_);
        }
        return parsed.texts.data();
    }

    std::int64_t line(int row) const override { return blocks_.block().line(row); }

    void select(const std::uint32_t* rows, int count) override {
        if (count == rows_) return;
        blocks_.select(rows, count);
        rows_ = count;
        ++block_;
    }

  private:
    void forget() {
        ++block_;
        arena_.clear();
        rows_ = 0;
    }

    /// Room for the rows of a block, a little more than this one's so that the next ones fit too.
    std::size_t room() const { return static_cast<std::size_t>(rows_) + static_cast<std::size_t>(rows_) / 8 + 16; }

    void parse(int column, double* values) {
        const FieldColumn fields = blocks_.block().column(column);
        if (rest_.size() < static_cast<std::size_t>(rows_)) rest_.resize(room());
        const char point = file_->form.decimal;
        const int left = number_routines().read(fields, point, values, rest_.data());
        for (int i = 0; i < left; ++i) {
            const auto row = static_cast<int>(rest_[static_cast<std::size_t>(i)]);
            const std::string_view field = unquoted(fields.field(row), arena_);
            const FieldKind kind = read_number(field, point, values + row);
            if (kind == FieldKind::text || kind == FieldKind::too_large) changed({});
        }
    }

    /// A compressed or decoded file that is read from its middle again and again is put aside once.
    void spool() {
        std::string error;
        if (!file_->bytes->restart()) changed(file_->bytes->error());
        std::unique_ptr<ByteSource> plain = spooled_bytes(*file_->bytes, &error);
        if (plain == nullptr) changed(error);
        file_->bytes = std::move(plain);
    }

    [[noreturn]] void changed(const std::string& reason) {
        Place place;
        place.file = file_->shown;
        if (reason.empty()) {
            report(910, 24, {}, place);
        } else {
            report(910, 21, arguments(reason), place);
        }
        xexit(1020, 910);
    }

    std::shared_ptr<DataFile> file_;
    RowBlocks blocks_;
    std::vector<ParsedColumn> columns_;
    std::vector<std::uint32_t> rest_;
    TextArena arena_;
    std::int64_t block_ = 0;
};

class MemoryRows final : public RowSource {
  public:
    explicit MemoryRows(std::shared_ptr<const MemoryTable> table)
        : table_(std::move(table)), columns_(table_->variables().size()) {}

    void restart() override { go({}); }
    void go(const Mark& mark) override {
        next_ = mark.place;
        forget();
    }
    bool next() override {
        forget();
        const std::int64_t first = next_ * MemoryTable::piece_rows;
        if (first >= table_->rows()) return false;
        piece_ = next_++;
        rows_ = static_cast<int>(std::min<std::int64_t>(MemoryTable::piece_rows, table_->rows() - first));
        return true;
    }
    Mark mark() const override { return {piece_, 0}; }

    const double* numbers(int column) override {
        const double* all = table_->numbers(column, piece_);
        if (!selected_) return all;
        ParsedColumn& narrowed = columns_[static_cast<std::size_t>(column)];
        if (narrowed.block != block_) {
            narrowed.block = block_;
            narrowed.numbers.clear();
            for (const std::uint32_t row : chosen_) narrowed.numbers.push_back(all[row]);
        }
        return narrowed.numbers.data();
    }
    const TextValue* texts(int column) override {
        const TextValue* all = table_->texts(column, piece_);
        if (!selected_) return all;
        ParsedColumn& narrowed = columns_[static_cast<std::size_t>(column)];
        if (narrowed.block != block_) {
            narrowed.block = block_;
            narrowed.texts.clear();
            for (const std::uint32_t row : chosen_) narrowed.texts.push_back(all[row]);
        }
        return narrowed.texts.data();
    }
    std::int64_t line(int row) const override {
        const std::int64_t in_piece = selected_ ? chosen_[static_cast<std::size_t>(row)] : row;
        return piece_ * MemoryTable::piece_rows + in_piece + 1;
    }
    void select(const std::uint32_t* rows, int count) override {
        if (count == rows_) return;
        std::vector<std::uint32_t> chosen(rows, rows + count);
        if (selected_) {
            for (std::uint32_t& row : chosen) row = chosen_[row];
        }
        chosen_ = std::move(chosen);
        selected_ = true;
        rows_ = count;
        ++block_;
    }

  private:
    void forget() {
        ++block_;
        selected_ = false;
        rows_ = 0;
    }
    std::shared_ptr<const MemoryTable> table_;
    std::vector<ParsedColumn> columns_;
    std::vector<std::uint32_t> chosen_;
    std::int64_t piece_ = 0, next_ = 0, block_ = 0;
    bool selected_ = false;
};

}  // namespace

std::unique_ptr<RowSource> rows_of(std::shared_ptr<DataFile> file) {
    return std::make_unique<FileRows>(std::move(file));
}

std::unique_ptr<RowSource> rows_of(std::shared_ptr<const MemoryTable> table) {
    return std::make_unique<MemoryRows>(std::move(table));
}

}  // namespace vek
