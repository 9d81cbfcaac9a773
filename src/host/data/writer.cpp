// Rows to a table in memory, or to the text of a CSV file: numbers with the fewest digits that read back, texts in
// quotes where they need them, compressed on the way out when the name asks for it.
#include "host/data/writer.h"

#include <zlib.h>
#include <zstd.h>

#include <algorithm>

#include "host/data/shortest.h"
#include "host/session/output_file.h"
#include "numeric/missing.h"

namespace vek {

namespace {

constexpr std::size_t flush_at = 65536;

class MemoryWriter final : public RowWriter {
  public:
    void define(const std::vector<Variable>& variables) override { table_ = std::make_shared<MemoryTable>(variables); }
    void begin_row() override {
        table_->add_row();
        column_ = 0;
    }
    void number(double value) override { table_->set_number(column_++, value); }
    void text(std::string_view value) override { table_->set_text(column_++, value); }
    void end_row() override {}
    bool complete() override { return true; }
    bool commit() override { return table_ != nullptr; }
    void discard() override { table_ = nullptr; }
    std::shared_ptr<MemoryTable> table() const override { return table_; }
    const std::string& error() const override { return error_; }

  private:
    std::shared_ptr<MemoryTable> table_;
    int column_ = 0;
    std::string error_;
};

/// Turns the bytes of a file into what is written, piece by piece.
class Compressor {
  public:
    virtual ~Compressor() = default;
    /// The compressed form of `bytes`, and of everything that is still held back with `last`.
    virtual std::string_view compress(std::string_view bytes, bool last) = 0;
};

class GzipCompressor final : public Compressor {
  public:
    GzipCompressor() {
        if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
            throw std::bad_alloc();
        }
    }
    ~GzipCompressor() override { deflateEnd(&stream_); }
    std::string_view compress(std::string_view bytes, bool last) override {
        out_.clear();
        stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
        stream_.avail_in = static_cast<uInt>(bytes.size());
        do {
            const std::size_t have = out_.size();
            out_.resize(have + flush_at);
            stream_.next_out = reinterpret_cast<Bytef*>(out_.data() + have);
            stream_.avail_out = flush_at;
            deflate(&stream_, last ? Z_FINISH : Z_NO_FLUSH);
            out_.resize(out_.size() - stream_.avail_out);
        } while (stream_.avail_out == 0);
        return out_;
    }

  private:
    z_stream stream_{};
    std::string out_;
};

class ZstdCompressor final : public Compressor {
  public:
    ZstdCompressor() : stream_(ZSTD_createCStream()) {
        if (stream_ == nullptr) throw std::bad_alloc();
    }
    ~ZstdCompressor() override { ZSTD_freeCStream(stream_); }
    std::string_view compress(std::string_view bytes, bool last) override {
        out_.clear();
        ZSTD_inBuffer in{bytes.data(), bytes.size(), 0};
        for (;;) {
            const std::size_t have = out_.size();
            out_.resize(have + flush_at);
            ZSTD_outBuffer out{out_.data() + have, flush_at, 0};
            const std::size_t rest = ZSTD_compressStream2(stream_, &out, &in, last ? ZSTD_e_end : ZSTD_e_continue);
            out_.resize(have + out.pos);
            if (ZSTD_isError(rest) != 0 || (last ? rest == 0 : in.pos == in.size)) return out_;
        }
    }

  private:
    ZSTD_CStream* stream_;
    std::string out_;
};

bool ends_with(std::string_view path, std::string_view ending) {
    if (path.size() < ending.size()) return false;
    path.remove_prefix(path.size() - ending.size());
    for (std::size_t i = 0; i < path.size(); ++i) {
        const char c = path[i];
        if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != ending[i]) return false;
    }
    return true;
}

class FileWriter final : public RowWriter {
  public:
    bool open(const std::string& path, const FileForm& form, std::string* error) {
        delimiter_ = form.delimiter;
        decimal_ = form.decimal;
        if (!file_.open(path)) {
            *error = file_.error();
            return false;
        }
        if (ends_with(path, ".gz")) compressor_ = std::make_unique<GzipCompressor>();
        if (ends_with(path, ".zst")) compressor_ = std::make_unique<ZstdCompressor>();
        return true;
    }

    void define(const std::vector<Variable>& variables) override {
        begin_row();
        for (const Variable& variable : variables) text(variable.name);
        end_row();
    }
    void begin_row() override { first_ = true; }
    void number(double value) override {
        char* to = separated(shortest_room + 2);
        if (wzmis(value)) {
            // A plain missing value is an empty field, which every reader of such files understands.
            if (const char code = missing_code(value); code != '.') {
                *to++ = '.';
                *to++ = code;
            }
            end_ = to;
            return;
        }
        end_ = write_shortest(value, to);
        if (decimal_ != '.') put_decimal(to);
    }
    void text(std::string_view value) override {
        char* to = separated(2 * value.size() + 2);
        bool quotes = false;
        for (const char c : value) quotes = quotes || c == delimiter_ || c == '"' || c == '\n' || c == '\r';
        if (!quotes) {
            end_ = std::copy(value.begin(), value.end(), to);
            return;
        }
        *to++ = '"';
        for (const char c : value) {
            if (c == '"') *to++ = '"';
            *to++ = c;
        }
        *to++ = '"';
        end_ = to;
    }
    void end_row() override {
        *end_++ = '\n';  // separated() keeps room for it; a row of no columns has the whole buffer
        if (held() >= flush_at) flush(false);
    }
    bool complete() override {
        flush(true);
        return !file_.failed();
    }
    bool commit() override { return file_.commit(); }
    void discard() override { file_.discard(); }
    const std::string& error() const override { return file_.error(); }

  private:
    std::size_t held() const { return static_cast<std::size_t>(end_ - buffer_.get()); }

    /// Where a field of up to `room` bytes begins, behind the delimiter; a line end has room behind it.
    char* separated(std::size_t room) {
        if (const std::size_t needed = held() + room + 2; needed > size_) {
            const std::size_t larger = std::max(2 * size_, needed);
            auto buffer = std::make_unique_for_overwrite<char[]>(larger);
            char* const end = std::copy(buffer_.get(), end_, buffer.get());
            buffer_ = std::move(buffer);
            size_ = larger;
            end_ = end;
        }
        if (!first_) *end_++ = delimiter_;
        first_ = false;
        return end_;
    }

    /// Gives the number that begins at `number` and ends the buffer the decimal sign of the file, in quotes where that
    /// sign also separates fields.
    void put_decimal(char* number) {
        char* const point = std::find(number, end_, '.');
        if (point == end_) return;
        *point = decimal_;
        if (decimal_ != delimiter_) return;
        std::copy_backward(number, end_, end_ + 1);
        *number = '"';
        end_[1] = '"';
        end_ += 2;
    }

    void flush(bool last) {
        // What has failed once is reported when the file should be put in place.
        const std::string_view bytes(buffer_.get(), held());
        if (!file_.failed()) file_.write(compressor_ != nullptr ? compressor_->compress(bytes, last) : bytes);
        end_ = buffer_.get();
    }

    OutputFile file_;
    std::unique_ptr<Compressor> compressor_;
    std::size_t size_ = 2 * flush_at;
    std::unique_ptr<char[]> buffer_ = std::make_unique_for_overwrite<char[]>(size_);
    char* end_ = buffer_.get();
    char delimiter_ = ',', decimal_ = '.';
    bool first_ = true;
};

}  // namespace

std::unique_ptr<RowWriter> memory_writer() { return std::make_unique<MemoryWriter>(); }

std::unique_ptr<RowWriter> file_writer(const std::string& path, const FileForm& form, std::string* error) {
    auto writer = std::make_unique<FileWriter>();
    if (!writer->open(path, form, error)) return nullptr;
    return writer;
}

bool write_table(const MemoryTable& table, const std::string& path, std::string* error) {
    FileForm form;
    form.delimiter = delimiter_of_ending(path);
    std::unique_ptr<RowWriter> writer = file_writer(path, form, error);
    if (writer == nullptr) return false;
    writer->define(table.variables());
    const int columns = static_cast<int>(table.variables().size());
    for (std::int64_t row = 0; row < table.rows(); ++row) {
        const std::int64_t piece = row / MemoryTable::piece_rows;
        const auto at = static_cast<std::size_t>(row % MemoryTable::piece_rows);
        writer->begin_row();
        for (int c = 0; c < columns; ++c) {
            if (table.variables()[static_cast<std::size_t>(c)].type == VariableType::numeric) {
                writer->number(table.numbers(c, piece)[at]);
            } else {
                const TextValue& value = table.texts(c, piece)[at];
                writer->text({value.length == 0 ? "" : value.data, static_cast<std::size_t>(value.length)});
            }
        }
        writer->end_row();
    }
    if (writer->complete() && writer->commit()) return true;
    *error = writer->error();
    return false;
}

}  // namespace vek
