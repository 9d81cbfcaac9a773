// A file that appears only when it is complete: written under a temporary name in the folder of its target and put in
// place at the end, or discarded without a trace. Devices, pipes and standard output are written to as they come.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vek {

class OutputFile {
  public:
    OutputFile() = default;
    ~OutputFile() { discard(); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    OutputFile(OutputFile&& other) noexcept { *this = static_cast<OutputFile&&>(other); }
    OutputFile& operator=(OutputFile&& other) noexcept;

    /// Opens `path`, with `-` for standard output. A link is followed to the file that it names; a folder is refused.
    /// False with error() set when it cannot be written.
    bool open(const std::string& path);
    /// Appends; false when this or an earlier write failed.
    bool write(std::string_view bytes);
    /// Hands everything written so far to the system: a reader of a terminal or a pipe sees it now.
    bool pass_on();
    /// Completes the file and puts it in place. False when any write or the move failed: then nothing is in place.
    bool commit();
    /// Removes the temporary file; what stood under the name stays. Harmless when nothing is open.
    void discard();

    bool is_open() const { return descriptor_ >= 0; }
    bool failed() const { return failed_; }
    bool closed() const { return closed_; }              ///< it failed because nobody is there who would read it
    const std::string& error() const { return error_; }  ///< the system's reason, such as "No space left on device"
    const std::string& path() const { return path_; }
    std::int64_t bytes() const { return bytes_; }

  private:
    bool flush();
    bool pass_to_system(std::string_view bytes);
    bool fail(int error);
    int descriptor_ = -1;
    bool owned_ = false;  ///< the descriptor is ours to close
    bool failed_ = false, closed_ = false;
    int slot_ = -1;  ///< place in the table of temporary names
    std::int64_t bytes_ = 0;
    std::string path_, target_, temporary_, error_, buffer_;
};

/// Puts the null device in the place of standard streams that are closed, so that no file gets their numbers. What is
/// written to a closed standard output then fails as if its reader had gone.
void fill_closed_descriptors();

/// Removes every temporary file that is open now; safe in a signal handler.
void remove_temporary_files() noexcept;

/// The name of the file that `path` stands for, links followed, so that two spellings of one output compare equal. `-`
/// stays.
std::string canonical_output(const std::string& path);

}  // namespace vek
