// Columns in pieces: the first one grows by doubling until it has a whole piece's rows, the others are made whole.
// Pieces are cut from slabs that ask for huge pages, because the first touch of a small page costs more than filling
// it.
#include "host/data/memory_table.h"

#include <sys/mman.h>

#include <algorithm>
#include <system_error>
#include <thread>

namespace vek {

namespace {

constexpr std::size_t small_slab = std::size_t{4} << 10;
constexpr std::size_t large_slab = std::size_t{4} << 20;
constexpr std::size_t huge_page = std::size_t{2} << 20;
constexpr std::size_t small_page = 4096;
/// Columns are filled side by side: pieces a power of two apart would compete for the same lines of the cache.
constexpr std::size_t between_pieces = 64;

}  // namespace

MemoryTable::MemoryTable(std::vector<Variable> variables)
    : variables_(std::move(variables)), columns_(variables_.size()) {}

MemoryTable::Slab MemoryTable::make_slab(std::size_t size) {
    const std::size_t alignment = size >= large_slab ? huge_page : between_pieces;
    Slab slab(static_cast<std::byte*>(::operator new(size, std::align_val_t(alignment))), FreeSlab{alignment});
    if (size >= large_slab) madvise(slab.get(), size, MADV_HUGEPAGE);
    return slab;
}

MemoryTable::Slab MemoryTable::make_touched_slab() {
    Slab slab = make_slab(large_slab);
    for (std::size_t at = 0; at < large_slab; at += small_page) slab.get()[at] = std::byte{0};
    return slab;
}

/// The system clears memory when it is first touched, which takes as long as filling it: a table that goes on growing
/// has another thread touch its next slab while this one fills the last.
void MemoryTable::begin_next_slab() {
    static const bool several_processors = std::thread::hardware_concurrency() > 1;
    if (!several_processors) return;
    try {
        next_slab_ = std::async(std::launch::async, make_touched_slab);
    } catch (const std::system_error&) {
        // No thread is to be had: the slab is made when it is needed.
    }
}

std::byte* MemoryTable::take(std::size_t bytes) {
    if (bytes > free_bytes_) {
        const std::size_t size = std::max(bytes, bytes >= small_slab ? large_slab : small_slab);
        const bool usual = size == large_slab;
        slabs_.push_back(usual && next_slab_.valid() ? next_slab_.get() : make_slab(size));
        if (usual && slabs_.size() > 1) begin_next_slab();
        free_ = slabs_.back().get();
        free_bytes_ = size;
    }
    std::byte* const taken = free_;
    free_ += bytes;
    free_bytes_ -= bytes;
    return taken;
}

void MemoryTable::make_room() {
    const bool growing = room_ < piece_rows;  // the first piece: its rows move to a larger one
    const int have = growing ? room_ : 0;
    const int room = growing ? std::clamp(2 * room_, 16, piece_rows) : piece_rows;
    const auto add = [&]<class T>(std::vector<T*>* pieces, T** current) {
        T* const piece = reinterpret_cast<T*>(take(static_cast<std::size_t>(room) * sizeof(T) + between_pieces));
        std::copy_n(*current, have, piece);
        if (growing) pieces->clear();
        pieces->push_back(piece);
        *current = piece;
    };
    for (std::size_t c = 0; c < columns_.size(); ++c) {
        if (variables_[c].type == VariableType::numeric) {
            add(&columns_[c].numbers, &columns_[c].number);
        } else {
            add(&columns_[c].texts, &columns_[c].text);
        }
    }
    room_ = room;
    filled_ = have;
}

void MemoryTable::add_rows(const vek::Column* columns, int count) {
    for (int done = 0; done < count;) {
        if (filled_ == room_) make_room();
        const int some = std::min(count - done, room_ - filled_);
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            Column& column = columns_[c];
            if (columns[c].number != nullptr) {
                std::copy_n(columns[c].number + done, some, column.number + filled_);
                continue;
            }
            std::transform(columns[c].text + done, columns[c].text + done + some, column.text + filled_,
                           [&](const TextValue& value) {
                               return TextValue{column.arena.keep(value.whole()), value.length, value.blanks};
                           });
        }
        filled_ += some;
        rows_ += some;
        done += some;
    }
}

const double* MemoryTable::numbers(int column, std::int64_t piece) const {
    return columns_[static_cast<std::size_t>(column)].numbers[static_cast<std::size_t>(piece)];
}

const TextValue* MemoryTable::texts(int column, std::int64_t piece) const {
    return columns_[static_cast<std::size_t>(column)].texts[static_cast<std::size_t>(piece)];
}

}  // namespace vek
