// Sources of bytes: read(2) on a descriptor, inflating and decoding on the way, and unlinked temporary files for what
// can be read only once.
#include "host/data/byte_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "frame/host_message.h"
#include "host/storage/utility_file.h"

namespace vek {

namespace {

constexpr std::size_t piece = 131072;

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }
    int release() { return std::exchange(number_, -1); }

  private:
    int number_;
};

class PlainSource final : public ByteSource {
  public:
    explicit PlainSource(int descriptor) : descriptor_(descriptor) {}
    std::ptrdiff_t read(char* to, std::size_t size) override {
        for (;;) {
            const ssize_t count = ::read(descriptor_.number(), to, size);
            if (count >= 0) return count;
            if (errno != EINTR) {
                error_ = std::strerror(errno);
                return -1;
            }
            wtpoll();
        }
    }
    bool restart() override { return seek(0); }
    bool seek(std::int64_t offset) override {
        if (::lseek(descriptor_.number(), offset, SEEK_SET) >= 0) return true;
        error_ = std::strerror(errno);
        return false;
    }
    bool seeks_fast() const override { return true; }

  private:
    Descriptor descriptor_;
};

class MemorySource final : public ByteSource {
  public:
    explicit MemorySource(std::string_view bytes) : bytes_(bytes) {}
    std::ptrdiff_t read(char* to, std::size_t size) override {
        size = std::min(size, bytes_.size() - at_);
        if (size > 0) std::memcpy(to, bytes_.data() + at_, size);
        at_ += size;
        return static_cast<std::ptrdiff_t>(size);
    }
    bool restart() override { return seek(0); }
    bool seek(std::int64_t offset) override {
        at_ = std::min(static_cast<std::size_t>(offset), bytes_.size());
        return true;
    }
    bool seeks_fast() const override { return true; }

  private:
    std::string_view bytes_;
    std::size_t at_ = 0;
};

/// A compressed file: pieces of it are read as the decompressor asks for them.
class CompressedSource : public ByteSource {
  public:
    explicit CompressedSource(std::unique_ptr<ByteSource> raw) : raw_(std::move(raw)), input_(piece) {}

  protected:
    /// Reads the next piece of compressed bytes; false at their end or on failure.
    bool refill() {
        const std::ptrdiff_t count = raw_->read(input_.data(), input_.size());
        if (count < 0) error_ = raw_->error();
        begin_ = 0;
        end_ = count > 0 ? static_cast<std::size_t>(count) : 0;
        return count > 0;
    }
    std::unique_ptr<ByteSource> raw_;
    std::vector<char> input_;
    std::size_t begin_ = 0, end_ = 0;
};

class GzipSource final : public CompressedSource {
  public:
    explicit GzipSource(std::unique_ptr<ByteSource> raw) : CompressedSource(std::move(raw)) { begin(); }
    ~GzipSource() override { inflateEnd(&stream_); }
    std::ptrdiff_t read(char* to, std::size_t size) override {
        stream_.next_out = reinterpret_cast<Bytef*>(to);
        stream_.avail_out = static_cast<uInt>(size);
        while (stream_.avail_out == size && !done_) {
            if (begin_ == end_ && !refill()) {
                if (!error_.empty()) return -1;
                if (between_members_) {
                    done_ = true;
                    break;
                }
                error_ = "the compressed data end in the middle";
                return -1;
            }
            stream_.next_in = reinterpret_cast<Bytef*>(input_.data() + begin_);
            stream_.avail_in = static_cast<uInt>(end_ - begin_);
            between_members_ = false;
            const int rc = inflate(&stream_, Z_NO_FLUSH);
            begin_ = end_ - stream_.avail_in;
            if (rc == Z_STREAM_END) {
                // A file may be several compressed members one after the other.
                inflateReset(&stream_);
                between_members_ = true;
            } else if (rc != Z_OK && rc != Z_BUF_ERROR) {
                error_ = "the compressed data are damaged, or not gzip";
                return -1;
            }
        }
        return static_cast<std::ptrdiff_t>(size - stream_.avail_out);
    }
    bool restart() override {
        inflateEnd(&stream_);
        begin();
        return raw_->restart();
    }

  private:
    void begin() {
        stream_ = {};
        inflateInit2(&stream_, 15 + 32);
        begin_ = end_ = 0;
        between_members_ = done_ = false;
    }
    z_stream stream_{};
    bool between_members_ = false, done_ = false;
};

class ZstdSource final : public CompressedSource {
  public:
    explicit ZstdSource(std::unique_ptr<ByteSource> raw)
        : CompressedSource(std::move(raw)), stream_(ZSTD_createDStream()) {}
    ~ZstdSource() override { ZSTD_freeDStream(stream_); }
    std::ptrdiff_t read(char* to, std::size_t size) override {
        ZSTD_outBuffer out{to, size, 0};
        while (out.pos == 0) {
            if (begin_ == end_ && !refill()) {
                if (!error_.empty()) return -1;
                if (between_frames_) return 0;
                error_ = "the compressed data end in the middle";
                return -1;
            }
            ZSTD_inBuffer in{input_.data(), end_, begin_};
            const std::size_t rc = ZSTD_decompressStream(stream_, &out, &in);
            begin_ = in.pos;
            if (ZSTD_isError(rc) != 0) {
                error_ = "the compressed data are damaged, or not zstd";
                return -1;
            }
            between_frames_ = rc == 0;
        }
        return static_cast<std::ptrdiff_t>(out.pos);
    }
    bool restart() override {
        ZSTD_DCtx_reset(stream_, ZSTD_reset_session_only);
        begin_ = end_ = 0;
        between_frames_ = false;
        return raw_->restart();
    }

  private:
    ZSTD_DStream* stream_;
    bool between_frames_ = false;
};

class DecodedSource final : public ByteSource {
  public:
    DecodedSource(std::unique_ptr<ByteSource> raw, Encoding encoding)
        : raw_(std::move(raw)), encoding_(encoding), decoder_(encoding), input_(piece / 2) {}
    std::ptrdiff_t read(char* to, std::size_t size) override {
        while (at_ == output_.size() && !ended_) {
            output_.clear();
            at_ = 0;
            const std::ptrdiff_t count = raw_->read(input_.data(), input_.size());
            if (count < 0) {
                error_ = raw_->error();
                return -1;
            }
            ended_ = count == 0;
            decoder_.decode({input_.data(), static_cast<std::size_t>(count)}, ended_, &output_);
        }
        size = std::min(size, output_.size() - at_);
        std::memcpy(to, output_.data() + at_, size);
        at_ += size;
        return static_cast<std::ptrdiff_t>(size);
    }
    bool restart() override {
        decoder_ = Decoder(encoding_);
        output_.clear();
        at_ = 0;
        ended_ = false;
        return raw_->restart();
    }

  private:
    std::unique_ptr<ByteSource> raw_;
    Encoding encoding_;
    Decoder decoder_;
    std::vector<char> input_;
    std::string output_;
    std::size_t at_ = 0;
    bool ended_ = false;
};

/// A source whose first bytes, a byte order mark, are left out.
class ShiftedSource final : public ByteSource {
  public:
    ShiftedSource(std::unique_ptr<ByteSource> raw, std::int64_t by) : raw_(std::move(raw)), by_(by) {}
    std::ptrdiff_t read(char* to, std::size_t size) override { return checked(raw_->read(to, size)); }
    bool restart() override { return seek(0); }
    bool seek(std::int64_t offset) override { return checked(raw_->seek(offset + by_) ? 0 : -1) == 0; }
    bool seeks_fast() const override { return raw_->seeks_fast(); }

  private:
    std::ptrdiff_t checked(std::ptrdiff_t result) {
        if (result < 0) error_ = raw_->error();
        return result;
    }
    std::unique_ptr<ByteSource> raw_;
    std::int64_t by_;
};

/// A temporary file without a name; -1 when there is no room for one.
int unlinked_file() {
    const char* folder = std::getenv("TMPDIR");
    if (folder == nullptr || *folder == '\0') folder = "/tmp";
    const int descriptor = ::open(folder, O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (descriptor >= 0) return descriptor;
    std::string name = std::string(folder) + "/vek-XXXXXX";
    const int named = ::mkostemp(name.data(), O_CLOEXEC);
    if (named >= 0) ::unlink(name.c_str());
    return named;
}

bool write_all(int descriptor, const char* from, std::size_t size, std::string* error) {
    if (write_fails_now()) {
        *error = std::strerror(ENOSPC);
        return false;
    }
    while (size > 0) {
        const ssize_t count = ::write(descriptor, from, size);
        if (count < 0 && errno == EINTR) {
            wtpoll();
            continue;
        }
        if (count < 0) {
            *error = std::strerror(errno);
            return false;
        }
        from += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

/// What a file is that begins like this and is no text; empty for all others.
std::string_view foreign_kind(std::string_view head) {
    struct Kind {
        std::string_view head, name;
    };
    using namespace std::string_view_literals;
    static constexpr Kind kinds[] = {
        {"\x1F\x8B"sv, "it is compressed by gzip, and the name of such a file ends with .gz"sv},
        {"\x28\xB5\x2F\xFD"sv, "it is compressed by zstd, and the name of such a file ends with .zst"sv},
        {"PK\x03\x04"sv, "it is a workbook or a zip archive; save the table that it holds as CSV"sv},
        {"\xD0\xCF\x11\xE0"sv, "it is a workbook; save the table that it holds as CSV"sv},
    };
    for (const Kind& kind : kinds) {
        if (head.starts_with(kind.head)) return kind.name;
    }
    return {};
}

}  // namespace

bool has_ending(std::string_view path, std::string_view ending) {
    if (path.size() < ending.size()) return false;
    return std::equal(ending.rbegin(), ending.rend(), path.rbegin(),
                      [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b - 'A' + 'a' : b); });
}

bool ByteSource::seek(std::int64_t offset) {
    if (!restart()) return false;
    std::vector<char> skipped(piece);
    while (offset > 0) {
        const auto size = static_cast<std::size_t>(std::min<std::int64_t>(offset, static_cast<std::int64_t>(piece)));
        const std::ptrdiff_t count = read(skipped.data(), size);
        if (count < 0) return false;
        if (count == 0) return true;
        offset -= count;
    }
    return true;
}

std::unique_ptr<ByteSource> memory_bytes(std::string_view bytes) { return std::make_unique<MemorySource>(bytes); }

std::unique_ptr<ByteSource> spooled_bytes(ByteSource& source, std::string* error) {
    Descriptor file(unlinked_file());
    if (file.number() < 0) {
        *error = std::strerror(errno);
        return nullptr;
    }
    std::vector<char> buffer(piece);
    for (;;) {
        const std::ptrdiff_t count = source.read(buffer.data(), buffer.size());
        if (count < 0) *error = source.error();
        if (count < 0 ||
            (count > 0 && !write_all(file.number(), buffer.data(), static_cast<std::size_t>(count), error))) {
            return nullptr;
        }
        if (count == 0) break;
        wtpoll();
    }
    auto plain = std::make_unique<PlainSource>(file.release());
    if (plain->restart()) return plain;
    *error = plain->error();
    return nullptr;
}

std::unique_ptr<ByteSource> open_bytes(const std::string& path, FileStamp* stamp, std::string* error) {
    Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (file.number() < 0 || ::fstat(file.number(), &status) != 0) {
        *error = std::strerror(errno);
        return nullptr;
    }
    if (S_ISDIR(status.st_mode)) {
        *error = "it is a folder";
        return nullptr;
    }
    *stamp = {status.st_dev,         status.st_ino,          status.st_size,
              status.st_mtim.tv_sec, status.st_mtim.tv_nsec, S_ISREG(status.st_mode)};
    std::unique_ptr<ByteSource> source = std::make_unique<PlainSource>(file.release());
    if (!stamp->regular) {
        source = spooled_bytes(*source, error);
        if (source == nullptr) return nullptr;
    }
    if (has_ending(path, ".gz")) return std::make_unique<GzipSource>(std::move(source));
    if (has_ending(path, ".zst")) return std::make_unique<ZstdSource>(std::move(source));
    return source;
}

std::unique_ptr<ByteSource> decoded_bytes(std::unique_ptr<ByteSource> raw, Encoding* encoding, bool given,
                                          std::string* error) {
    char head[8] = {};
    std::size_t have = 0;
    while (have < sizeof head) {
        const std::ptrdiff_t count = raw->read(head + have, sizeof head - have);
        if (count < 0) {
            *error = raw->error();
            return nullptr;
        }
        if (count == 0) break;
        have += static_cast<std::size_t>(count);
    }
    if (!raw->restart()) {
        *error = raw->error();
        return nullptr;
    }
    const std::string_view mark(head, have);
    if (const std::string_view kind = foreign_kind(mark); !kind.empty()) {
        *error = kind;
        return nullptr;
    }
    if (!given && (mark.starts_with("\xFF\xFE") || mark.starts_with("\xFE\xFF"))) find_encoding("UTF-16", encoding);
    if (encoding->kind != Encoding::Kind::utf8) return std::make_unique<DecodedSource>(std::move(raw), *encoding);
    if (!mark.starts_with("\xEF\xBB\xBF")) return raw;
    auto shifted = std::make_unique<ShiftedSource>(std::move(raw), 3);
    if (shifted->restart()) return shifted;
    *error = shifted->error();
    return nullptr;
}

}  // namespace vek
