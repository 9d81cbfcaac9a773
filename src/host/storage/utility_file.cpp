// Utility files: writes and reads at noted positions become copies to and from pieces. A piece lies in memory while the
// budget lasts, else in the step's unlinked temporary file, of which each stream keeps one piece in a window.
//
// A position is a place in the pieces laid end to end. A file that is rewound keeps its pieces, so that the next BY
// group writes over them without a system call.
#include "host/storage/utility_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/message/catalogue.h"
#include "host/storage/poison.h"
#include "host/storage/temporary_file.h"

namespace vek {

namespace {

constexpr std::int64_t unit = std::int64_t{64} << 10;       // pieces are multiples of this
constexpr std::int64_t full_piece = std::int64_t{2} << 20;  // size of all but the first pieces of a stream
constexpr std::int64_t slab = std::int64_t{32} << 20;       // what is asked of the system for full pieces

struct Piece {
    FilePosition start = 0;
    std::int64_t size = 0;
    std::byte* memory = nullptr;  // null for a piece on disk
    std::int64_t disk = 0;        // its place in the temporary file
};

struct Slab {
    std::byte* memory;
    std::int64_t held, used;
};

/// What the step's files share.
struct Storage {
    std::vector<UtilityFile*> files;
    std::vector<Slab> slabs;
    std::vector<Piece> spare;       // freed pieces in memory
    std::vector<Piece> spare_disk;  // and on disk
    std::int64_t budget = std::int64_t{2} << 30;
    std::int64_t in_memory = 0;
    int descriptor = -1;
    std::int64_t disk_end = 0;
    std::int64_t writes = 0, failing = 0;
};
Storage storage;

void report_failure(int number, int error) {
    report(930, number, arguments(std::strerror(error)), host_log().statement());
}

}  // namespace

struct UtilityFile {
    std::string name;
    std::vector<Piece> pieces;
    FilePosition at = 0;
    FilePosition end = 0;    // behind the last byte written
    std::size_t here = 0;    // index of the piece that was used last
    bool rewriting = false;  // rewound: the next write makes it the end
    bool failed = false;     // a failure has been reported
    std::vector<std::byte> window;
    std::size_t windowed = static_cast<std::size_t>(-1);  // index of the piece in the window
    bool dirty = false;
};

namespace {

constexpr std::size_t no_piece = static_cast<std::size_t>(-1);

bool disk_transfer(bool writing, std::byte* bytes, std::int64_t count, std::int64_t place) {
    while (count > 0) {
        const auto length = static_cast<std::size_t>(count);
        const ssize_t n = writing ? pwrite(storage.descriptor, bytes, length, place)
                                  : pread(storage.descriptor, bytes, length, place);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            if (n == 0) errno = EIO;
            return false;
        }
        bytes += n;
        count -= n;
        place += n;
    }
    return true;
}

bool fail(UtilityFile* file, int number) {
    if (!file->failed) report_failure(number, errno);
    file->failed = true;
    return false;
}

/// Writes the window back when it was changed.
bool clean_window(UtilityFile* file) {
    if (!file->dirty) return true;
    file->dirty = false;
    Piece& piece = file->pieces[file->windowed];
    if (write_fails_now()) {
        errno = ENOSPC;
        return fail(file, 3);
    }
    return disk_transfer(true, file->window.data(), piece.size, piece.disk) || fail(file, 3);
}

/// The bytes of a piece, through the window when it lies on disk. `fresh` tells that nothing of it has been written.
std::byte* bytes_of(UtilityFile* file, std::size_t index, bool fresh) {
    Piece& piece = file->pieces[index];
    if (piece.memory != nullptr) return piece.memory;
    if (file->windowed != index) {
        if (!clean_window(file)) return nullptr;
        file->windowed = no_piece;
        if (static_cast<std::int64_t>(file->window.size()) < piece.size) {
            file->window.resize(static_cast<std::size_t>(piece.size));
        }
        // What was never written reads as zeros, also where the temporary file does not reach yet.
        if (fresh) {
            std::fill_n(file->window.begin(), piece.size, std::byte{0});
        } else if (!disk_transfer(false, file->window.data(), piece.size, piece.disk)) {
            fail(file, 4);
            return nullptr;
        }
        file->windowed = index;
    }
    return file->window.data();
}

std::byte* map_memory(std::int64_t bytes) {
    void* memory =
        mmap(nullptr, static_cast<std::size_t>(bytes), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : static_cast<std::byte*>(memory);
}

/// Memory for one piece: full pieces are cut from slabs whose pieces begin at huge pages. Null when there is none.
std::byte* piece_memory(std::int64_t size) {
    if (size < full_piece) {
        std::byte* memory = map_memory(size);
        if (memory != nullptr) storage.slabs.push_back({memory, size, size});
        return memory;
    }
    if (storage.slabs.empty() || storage.slabs.back().held - storage.slabs.back().used < size) {
        const std::int64_t held = std::max(slab, size + full_piece);
        std::byte* memory = map_memory(held);
        if (memory == nullptr) return nullptr;
        const auto address = reinterpret_cast<std::uintptr_t>(memory);
        const auto past = static_cast<std::int64_t>(address % static_cast<std::uintptr_t>(full_piece));
        storage.slabs.push_back({memory, held, past == 0 ? 0 : full_piece - past});
    }
    Slab& last = storage.slabs.back();
    std::byte* memory = last.memory + last.used;
    last.used += size;
    madvise(memory, static_cast<std::size_t>(size), MADV_HUGEPAGE);
    return memory;
}

/// A spare piece of exactly this size, or false.
bool take_spare(std::vector<Piece>* spare, std::int64_t size, Piece* piece) {
    for (std::size_t i = spare->size(); i-- > 0;) {
        if ((*spare)[i].size != size) continue;
        *piece = (*spare)[i];
        spare->erase(spare->begin() + static_cast<std::ptrdiff_t>(i));
        return true;
    }
    return false;
}

/// A stream's first pieces are small, so that a short run touches little memory.
std::int64_t next_piece_size(const UtilityFile* file, std::int64_t needed) {
    const std::int64_t whole = (needed + unit - 1) / unit * unit;
    std::int64_t usual = full_piece;
    if (file->end < unit) {
        usual = unit;
    } else if (file->end < 512 << 10) {
        usual = std::int64_t{256} << 10;
    }
    return std::max(usual, whole);
}

/// Adds a piece of at least `needed` bytes behind the last one.
bool add_piece(UtilityFile* file, std::int64_t needed) {
    Piece piece;
    const std::int64_t size = next_piece_size(file, needed);
    if (!take_spare(&storage.spare, size, &piece)) {
        if (storage.in_memory + size <= storage.budget) {
            piece.memory = piece_memory(size);
            if (piece.memory != nullptr) storage.in_memory += size;
        }
        if (piece.memory == nullptr && !take_spare(&storage.spare_disk, size, &piece)) {
            if (storage.descriptor < 0) storage.descriptor = open_temporary();
            if (storage.descriptor < 0) return fail(file, 5);
            piece.disk = storage.disk_end;
            storage.disk_end += size;
        }
        piece.size = size;
    }
    piece.start = file->pieces.empty() ? 0 : file->pieces.back().start + file->pieces.back().size;
    file->pieces.push_back(piece);
    return true;
}

/// Gives the pieces from `index` on back.
void drop_pieces(UtilityFile* file, std::size_t index) {
    if (file->windowed != no_piece && file->windowed >= index) {
        file->windowed = no_piece;
        file->dirty = false;
    }
    for (std::size_t i = index; i < file->pieces.size(); ++i) {
        (file->pieces[i].memory != nullptr ? storage.spare : storage.spare_disk).push_back(file->pieces[i]);
    }
    file->pieces.resize(index);
    file->here = 0;
}

/// The piece that holds a position; the number of pieces when it lies behind them all.
std::size_t piece_at(UtilityFile* file, FilePosition position) {
    std::size_t i = file->here;
    auto holds = [&](std::size_t k) {
        return k < file->pieces.size() && position >= file->pieces[k].start &&
               position < file->pieces[k].start + file->pieces[k].size;
    };
    if (!holds(i) && !holds(++i)) {
        const auto behind =
            std::upper_bound(file->pieces.begin(), file->pieces.end(), position,
                             [](FilePosition p, const Piece& piece) { return p < piece.start + piece.size; });
        i = static_cast<std::size_t>(behind - file->pieces.begin());
    }
    if (i < file->pieces.size()) file->here = i;
    return i;
}

bool before_writing(UtilityFile* file) {
    if (write_fails_now()) {
        errno = ENOSPC;
        return fail(file, 3);
    }
    if (file->rewriting) {
        file->rewriting = false;
        file->end = 0;
    }
    return true;
}

}  // namespace

// ---- what the module calls --------------------------------------------------------------------------------------

int xcopen(UtilityFile** file, const char* member) {
    *file = nullptr;
    if (write_fails_now()) return -1;
    auto* opened = new UtilityFile;
    opened->name = member;
    storage.files.push_back(opened);
    *file = opened;
    return 0;
}

int xcwrite(UtilityFile* file, const void* buffer, std::int64_t bytes) {
    if (bytes < 0 || !before_writing(file)) return -1;
    const auto* from = static_cast<const std::byte*>(buffer);
    while (bytes > 0) {
        std::size_t i = piece_at(file, file->at);
        if (i == file->pieces.size() && !add_piece(file, 1)) return -1;
        const Piece& piece = file->pieces[i];
        std::byte* to = bytes_of(file, i, file->end <= piece.start);
        if (to == nullptr) return -1;
        const std::int64_t offset = file->at - piece.start;
        const std::int64_t n = std::min(bytes, piece.size - offset);
        std::memcpy(to + offset, from, static_cast<std::size_t>(n));
        if (piece.memory == nullptr) file->dirty = true;
        from += n;
        bytes -= n;
        file->at += n;
        file->end = std::max(file->end, file->at);
    }
    return 0;
}

int xcread(UtilityFile* file, void* buffer, std::int64_t bytes) {
    if (bytes < 0 || file->at + bytes > file->end) return -1;
    file->rewriting = false;
    auto* to = static_cast<std::byte*>(buffer);
    while (bytes > 0) {
        const std::size_t i = piece_at(file, file->at);
        const Piece& piece = file->pieces[i];
        const std::byte* from = bytes_of(file, i, false);
        if (from == nullptr) return -2;
        const std::int64_t offset = file->at - piece.start;
        const std::int64_t n = std::min(bytes, piece.size - offset);
        std::memcpy(to, from + offset, static_cast<std::size_t>(n));
        to += n;
        bytes -= n;
        file->at += n;
    }
    return 0;
}

int xcnoted(UtilityFile* file, FilePosition* position) {
    *position = file->at;
    return 0;
}

int xcpntd(UtilityFile* file, FilePosition position) {
    if (position < 0 || position > file->end) return -1;
    file->rewriting = false;
    file->at = position;
    return 0;
}

int xcpoint(UtilityFile* file) {
    file->at = 0;
    file->rewriting = true;
    return 0;
}

std::byte* xcgrant(UtilityFile* file, std::int64_t record, std::int64_t* count) {
    wtpoll();
    if (record <= 0 || !before_writing(file)) return nullptr;
    std::size_t i = piece_at(file, file->at);
    if (i < file->pieces.size() && file->pieces[i].start + file->pieces[i].size - file->at < record) {
        file->at = file->pieces[i].start + file->pieces[i].size;
        ++i;
    }
    // A piece too small for the record lies here from an earlier use: it and all behind it hold nothing any more.
    if (i < file->pieces.size() && file->pieces[i].size - (file->at - file->pieces[i].start) < record) {
        if (file->end > file->at) return nullptr;
        drop_pieces(file, i);
    }
    if (i == file->pieces.size() && !add_piece(file, record)) return nullptr;
    const Piece& piece = file->pieces[i];
    file->here = i;
    std::byte* bytes = bytes_of(file, i, file->end <= piece.start);
    if (bytes == nullptr) return nullptr;
    const std::int64_t offset = file->at - piece.start;
    const std::int64_t fit = (piece.size - offset) / record;
    *count = *count > 0 ? std::min(*count, fit) : fit;
    return bytes + offset;
}

int xccommit(UtilityFile* file, std::int64_t record, std::int64_t count) {
    const Piece& piece = file->pieces[file->here];
    if (piece.memory == nullptr && count > 0) file->dirty = true;
    file->at += record * count;
    file->end = std::max(file->end, file->at);
    return 0;
}

const std::byte* xcview(UtilityFile* file, std::int64_t record, std::int64_t* count) {
    wtpoll();
    *count = 0;
    if (record <= 0 || file->at >= file->end) return nullptr;
    file->rewriting = false;
    std::size_t i = piece_at(file, file->at);
    if (file->pieces[i].start + file->pieces[i].size - file->at < record) {
        file->at = file->pieces[i].start + file->pieces[i].size;
        if (++i == file->pieces.size() || file->at >= file->end) return nullptr;
        file->here = i;
    }
    const Piece& piece = file->pieces[i];
    const std::byte* bytes = bytes_of(file, i, false);
    if (bytes == nullptr) {
        *count = -1;
        return nullptr;
    }
    const std::int64_t offset = file->at - piece.start;
    *count = (std::min(piece.start + piece.size, file->end) - file->at) / record;
    file->at += *count * record;
    return bytes + offset;
}

// ---- the step ---------------------------------------------------------------------------------------------------

void set_utility_budget(std::int64_t bytes) { storage.budget = bytes; }

void end_step_utility_files() {
    for (UtilityFile* file : storage.files) delete file;
    storage.files.clear();
    for (const Slab& held : storage.slabs) munmap(held.memory, static_cast<std::size_t>(held.held));
    storage.slabs.clear();
    storage.spare.clear();
    storage.spare_disk.clear();
    storage.in_memory = 0;
    storage.disk_end = 0;
    if (storage.descriptor >= 0) close(storage.descriptor);
    storage.descriptor = -1;
}

std::int64_t utility_bytes_in_memory() { return storage.in_memory; }
std::int64_t utility_bytes_on_disk() { return storage.disk_end; }

void fail_write(std::int64_t nth) {
    storage.writes = 0;
    storage.failing = nth;
}
std::int64_t write_count() { return storage.writes; }

bool write_fails_now() {
    ++storage.writes;
    return storage.failing != 0 && storage.writes == storage.failing;
}

}  // namespace vek
