// Keeps text that may still be taken back: appended to memory, spilled to a temporary file, read back in pieces.
#include "host/session/spool.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "host/storage/temporary_file.h"
#include "host/storage/utility_file.h"

namespace vek {

namespace {

constexpr std::size_t most_in_memory = std::size_t{1} << 20;
constexpr std::size_t piece = std::size_t{64} << 10;

}  // namespace

void Spool::fail(int error) {
    failed_ = true;
    error_ = std::strerror(error);
    text_.clear();
}

void Spool::append(std::string_view text) {
    if (failed_) return;
    text_ += text;
    if (text_.size() > most_in_memory) spill();
}

void Spool::spill() {
    if (descriptor_ < 0) descriptor_ = open_temporary();
    if (descriptor_ < 0) return fail(errno);
    if (write_fails_now()) return fail(ENOSPC);
    std::string_view rest = text_;
    while (!rest.empty()) {
        const ssize_t n = pwrite(descriptor_, rest.data(), rest.size(), on_disk_);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return fail(n < 0 ? errno : ENOSPC);
        on_disk_ += n;
        rest.remove_prefix(static_cast<std::size_t>(n));
    }
    text_.clear();
}

void Spool::cut_back(std::int64_t size) {
    if (size >= this->size()) return;
    if (size >= on_disk_) {
        text_.resize(static_cast<std::size_t>(size - on_disk_));
    } else {
        text_.clear();
        on_disk_ = size;
    }
}

void Spool::pass_on(const std::function<void(std::string_view)>& sink) {
    std::string buffer;
    for (std::int64_t at = 0; at < on_disk_ && !failed_;) {
        buffer.resize(static_cast<std::size_t>(std::min(static_cast<std::int64_t>(piece), on_disk_ - at)));
        const ssize_t n = pread(descriptor_, buffer.data(), buffer.size(), at);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return fail(n < 0 ? errno : EIO);
        sink(std::string_view(buffer).substr(0, static_cast<std::size_t>(n)));
        at += n;
    }
    if (!text_.empty()) sink(text_);
}

void Spool::clear() {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = -1;
    on_disk_ = 0;
    text_.clear();
    if (text_.capacity() > piece) text_.shrink_to_fit();
    failed_ = false;
    error_.clear();
}

}  // namespace vek
