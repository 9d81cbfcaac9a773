// Rows to a table in memory, or to the text of a CSV file: numbers with the fewest digits that read back, texts in
// quotes where they need them, compressed on the way out when the name asks for it.
#include "host/data/writer.h"

#include <zlib.h>
#include <zstd.h>

#include <algorithm>

#include "host/data/row_text.h"
#include "host/session/output_file.h"

namespace vek {

namespace {

constexpr std::size_t flush_at = 65536;

class MemoryWriter final : public RowWriter {
  public:
    void define(const std::vector<Variable>& variables) override { table_ = std::make_shared<MemoryTable>(variables); }
    void rows(const Column* columns, int count) override { table_->add_rows(columns, count); }
    bool complete() override { return true; }
    bool commit() override { return table_ != nullptr; }
    void discard() override { table_ = nullptr; }
    std::shared_ptr<MemoryTable> table() const override { return table_; }
    const std::string& error() const override { return error_; }

  private:
    std::shared_ptr<MemoryTable> table_;
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

class FileWriter final : public RowWriter {
  public:
    bool open(const std::string& path, const FileForm& form, std::string* error) {
        form_ = form;
        if (!file_.open(path)) {
            *error = file_.error();
            return false;
        }
        if (has_ending(path, ".gz")) compressor_ = std::make_unique<GzipCompressor>();
        if (has_ending(path, ".zst")) compressor_ = std::make_unique<ZstdCompressor>();
        return true;
    }

    void define(const std::vector<Variable>& variables) override {
        text_ = RowText(form_, variables.size());
        text_.add_names(variables);
    }
    void rows(const Column* columns, int count) override {
        for (int row = 0; row < count; ++row) {
            text_.add(columns, row);
            if (text_.bytes().size() >= flush_at) flush(false);
        }
    }
    bool complete() override {
        flush(true);
        return file_.pass_on();
    }
    bool commit() override { return file_.commit(); }
    void discard() override { file_.discard(); }
    const std::string& error() const override { return file_.error(); }

  private:
    void flush(bool last) {
        // What has failed once is reported when the file should be put in place.
        const std::string_view bytes = text_.bytes();
        if (!file_.failed()) file_.write(compressor_ != nullptr ? compressor_->compress(bytes, last) : bytes);
        text_.clear();
    }

    OutputFile file_;
    std::unique_ptr<Compressor> compressor_;
    FileForm form_;
    RowText text_;
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
    const int variables = static_cast<int>(table.variables().size());
    std::vector<Column> columns(static_cast<std::size_t>(variables));
    for (std::int64_t row = 0; row < table.rows(); row += MemoryTable::piece_rows) {
        const std::int64_t piece = row / MemoryTable::piece_rows;
        for (int c = 0; c < variables; ++c) {
            const bool numeric = table.variables()[static_cast<std::size_t>(c)].type == VariableType::numeric;
            columns[static_cast<std::size_t>(c)] = {numeric ? table.numbers(c, piece) : nullptr,
                                                    numeric ? nullptr : table.texts(c, piece)};
        }
        writer->rows(columns.data(),
                     static_cast<int>(std::min<std::int64_t>(table.rows() - row, MemoryTable::piece_rows)));
    }
    if (writer->complete() && writer->commit()) return true;
    *error = writer->error();
    return false;
}

}  // namespace vek
