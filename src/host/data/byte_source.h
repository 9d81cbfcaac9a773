// Where the bytes of a data file come from: a plain file, a compressed one, a pipe that was put aside, bytes in memory;
// decoded to UTF-8 where they are written otherwise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "host/data/encoding.h"

namespace vek {

/// True when a file's name ends so, in letters of either case; those of `ending` are small.
bool has_ending(std::string_view path, std::string_view ending);

class ByteSource {
  public:
    virtual ~ByteSource() = default;
    /// Up to `size` bytes; 0 at the end, -1 on failure with error() set.
    virtual std::ptrdiff_t read(char* to, std::size_t size) = 0;
    /// Back to the first byte.
    virtual bool restart() = 0;
    /// To any offset that read() has passed or not. The default restarts and reads up to there.
    virtual bool seek(std::int64_t offset);
    /// True when seek() is as cheap as a read.
    virtual bool seeks_fast() const { return false; }
    const std::string& error() const { return error_; }

  protected:
    std::string error_;
};

/// What identifies the content of a file without reading it.
struct FileStamp {
    std::uint64_t device = 0, inode = 0;
    std::int64_t size = 0, seconds = 0, nanoseconds = 0;
    bool regular = false;
    bool operator==(const FileStamp&) const = default;
};

/// Opens a file, decompressed by the ending of its name (.gz, .zst). A pipe or a device is read to its end and put
/// aside first. Null with `error` set when it cannot be opened.
std::unique_ptr<ByteSource> open_bytes(const std::string& path, FileStamp* stamp, std::string* error);
/// Bytes in memory, which must outlive the source.
std::unique_ptr<ByteSource> memory_bytes(std::string_view bytes);
/// The text of `raw` as UTF-8 without a byte order mark. An encoding that is not `given` is UTF-8, or UTF-16 when the
/// text begins with its mark; `encoding` is then that. Takes over `raw`; null with `error` set when it cannot be read,
/// or holds no text.
std::unique_ptr<ByteSource> decoded_bytes(std::unique_ptr<ByteSource> raw, Encoding* encoding, bool given,
                                          std::string* error);
/// A copy of everything that `source` has in an unlinked temporary file, where any place is reached at once.
std::unique_ptr<ByteSource> spooled_bytes(ByteSource& source, std::string* error);

}  // namespace vek
