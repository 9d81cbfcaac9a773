// Output files: bytes go to a temporary name beside the target, and the name changes hands when they are complete.
#include "host/session/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "host/storage/utility_file.h"

namespace vek {

namespace {

constexpr std::size_t buffer_size = std::size_t{64} << 10;

// Names of temporary files that exist now, where a signal handler can reach them.
constexpr int most_files = 64;
constexpr int longest_path = 4096;
struct TemporaryName {
    std::atomic<bool> taken{false};
    std::atomic<bool> exists{false};
    char path[longest_path];
};
TemporaryName temporary_names[most_files];

int remember(const std::string& path) {
    if (path.size() >= longest_path) return -1;
    for (int i = 0; i < most_files; ++i) {
        bool expected = false;
        if (!temporary_names[i].taken.compare_exchange_strong(expected, true)) continue;
        std::memcpy(temporary_names[i].path, path.c_str(), path.size() + 1);
        temporary_names[i].exists.store(true);
        return i;
    }
    return -1;
}

void forget(int slot) {
    if (slot < 0) return;
    temporary_names[slot].exists.store(false);
    temporary_names[slot].taken.store(false);
}

/// Standard output was closed when the program began.
bool output_closed = false;

std::string folder_of(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

/// The file that a link stands for, which need not exist yet.
std::string follow_links(std::string path) {
    for (int i = 0; i < 40; ++i) {
        char target[PATH_MAX];
        const ssize_t length = readlink(path.c_str(), target, sizeof target);
        if (length < 0) return path;
        std::string next(target, static_cast<std::size_t>(length));
        path = !next.empty() && next[0] == '/' ? next : folder_of(path) + "/" + next;
    }
    return path;
}

bool write_all(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(descriptor, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

}  // namespace

OutputFile& OutputFile::operator=(OutputFile&& other) noexcept {
    if (this == &other) return *this;
    discard();
    descriptor_ = std::exchange(other.descriptor_, -1);
    owned_ = std::exchange(other.owned_, false);
    failed_ = other.failed_;
    closed_ = other.closed_;
    slot_ = std::exchange(other.slot_, -1);
    bytes_ = other.bytes_;
    path_ = std::move(other.path_);
    target_ = std::move(other.target_);
    temporary_ = std::move(other.temporary_);
    error_ = std::move(other.error_);
    buffer_ = std::move(other.buffer_);
    return *this;
}

bool OutputFile::fail(int error) {
    if (!failed_) error_ = std::strerror(error);
    if (!failed_) closed_ = error == EPIPE || error == EBADF;
    failed_ = true;
    return false;
}

bool OutputFile::open(const std::string& path) {
    discard();
    path_ = path;
    failed_ = closed_ = false;
    bytes_ = 0;
    error_.clear();
    if (path == "-") {
        descriptor_ = STDOUT_FILENO;
        return true;
    }
    // What stands behind /dev/stdout need not have a name of its own.
    struct stat status = {};
    const bool exists = stat(path.c_str(), &status) == 0;
    if (!exists && errno == ELOOP) return fail(ELOOP);
    if (exists && !S_ISREG(status.st_mode)) {
        if (S_ISDIR(status.st_mode)) return fail(EISDIR);
        target_.clear();
        descriptor_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
        owned_ = descriptor_ >= 0;
        return owned_ || fail(errno);
    }
    target_ = follow_links(path);
    // The shell's way to name a closed standard output.
    if (!exists && path.rfind("/dev/", 0) == 0) return fail(ENOENT);
    static int counter = 0;
    for (int attempt = 0; attempt < 100; ++attempt) {
        temporary_ =
            folder_of(target_) + "/.vek-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + ".tmp";
        descriptor_ = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor_ >= 0 || errno != EEXIST) break;
    }
    if (descriptor_ < 0) {
        temporary_.clear();
        return fail(errno);
    }
    owned_ = true;
    slot_ = remember(temporary_);
    return true;
}

bool OutputFile::pass_to_system(std::string_view bytes) {
    if (descriptor_ == STDOUT_FILENO && output_closed) return fail(EBADF);
    if (write_fails_now()) return fail(ENOSPC);
    return write_all(descriptor_, bytes) || fail(errno);
}

bool OutputFile::flush() {
    if (failed_ || buffer_.empty()) return !failed_;
    if (!pass_to_system(buffer_)) return false;
    buffer_.clear();
    return true;
}

bool OutputFile::write(std::string_view bytes) {
    if (failed_ || descriptor_ < 0) return false;
    bytes_ += static_cast<std::int64_t>(bytes.size());
    if (bytes.size() >= buffer_size) return flush() && pass_to_system(bytes);  // large pieces are not copied first
    buffer_.append(bytes);
    return buffer_.size() < buffer_size || flush();
}

bool OutputFile::pass_on() { return descriptor_ >= 0 && flush(); }

bool OutputFile::commit() {
    if (descriptor_ < 0) return false;
    flush();
    if (owned_ && ::close(descriptor_) != 0) fail(errno);
    descriptor_ = -1;
    owned_ = false;
    if (!temporary_.empty()) {
        if (!failed_ && std::rename(temporary_.c_str(), target_.c_str()) != 0) fail(errno);
        if (failed_) unlink(temporary_.c_str());
        temporary_.clear();
        forget(std::exchange(slot_, -1));
    }
    buffer_.clear();
    return !failed_;
}

void OutputFile::discard() {
    if (owned_) ::close(descriptor_);
    descriptor_ = -1;
    owned_ = false;
    if (!temporary_.empty()) unlink(temporary_.c_str());
    temporary_.clear();
    buffer_.clear();
    forget(std::exchange(slot_, -1));
}

void fill_closed_descriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0) continue;
        if (descriptor == STDOUT_FILENO) output_closed = true;
        // The lowest free number, so it takes the place of the closed one.
        if (::open("/dev/null", O_RDWR) != descriptor) return;
    }
}

void remove_temporary_files() noexcept {
    for (TemporaryName& name : temporary_names) {
        if (name.exists.load()) unlink(name.path);
    }
}

std::string canonical_output(const std::string& path) {
    struct stat status = {};
    const bool exists = path == "-" ? fstat(STDOUT_FILENO, &status) == 0 : stat(path.c_str(), &status) == 0;
    if (exists) return "#" + std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    std::string target = follow_links(path);
    while (target.size() > 1 && target.back() == '/') target.pop_back();
    char folder[PATH_MAX];
    if (realpath(folder_of(target).c_str(), folder) == nullptr) return target;
    const std::size_t slash = target.rfind('/');
    return std::string(folder) + "/" + (slash == std::string::npos ? target : target.substr(slash + 1));
}

}  // namespace vek
