// Text that is held back: it lies in memory while it is short, then in an unlinked temporary file, and can be cut back
// until it is passed on.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vek {

class Spool {
  public:
    Spool() = default;
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;
    ~Spool() { clear(); }

    void append(std::string_view text);
    std::int64_t size() const { return on_disk_ + static_cast<std::int64_t>(text_.size()); }
    /// Drops what stands behind the first `size` bytes.
    void cut_back(std::int64_t size);
    /// Hands over everything, piece by piece, in order.
    void pass_on(const std::function<void(std::string_view)>& sink);
    /// Empties it; a failure is forgotten.
    void clear();

    /// True when the temporary file could not be written or read; from there on nothing is kept.
    bool failed() const { return failed_; }
    const std::string& error() const { return error_; }

  private:
    void spill();
    void fail(int error);

    std::string text_;  // behind what is on disk
    std::int64_t on_disk_ = 0;
    int descriptor_ = -1;
    bool failed_ = false;
    std::string error_;
};

}  // namespace vek
