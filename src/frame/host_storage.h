// What the module asks of the host's memory and utility files.
//
// Pools form a tree: procedure, pass, job. A block is freed with its pool; only large blocks are ever given back
// alone. Utility files are byte streams with noted positions, held in memory until the host's budget is spent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

namespace vek {

struct Pool;
struct UtilityFile;
using FilePosition = std::int64_t;  ///< a noted position; a position plus a byte count is a position

// ---- leaving ----------------------------------------------------------------------------------------------------

/// Ends the procedure and does not return. Codes: 0 normal, 2000 stopped by a statement error, 1016 and 116 no memory,
/// 1012 a host routine is absent, 1020 utility file trouble, 120 utility write failure, 999 internal limit, 3000
/// nothing left to undo, or a negative service code. `trace` is a number that tells the place.
[[noreturn]] void xexit(int code, int trace);

/// Reports an internal inconsistency and stops.
[[noreturn]] void xebug(int trace);

// ---- pools ------------------------------------------------------------------------------------------------------

Pool* xmainpool();                                  ///< lives until the procedure ends
Pool* xmpoolc(Pool* parent, const char* name);      ///< a child pool, dropped with its parent
void xmpoold(Pool* pool);                           ///< frees all that the pool and its children hold; null is allowed

constexpr int memory_clear = 2;       ///< fill with zeros
constexpr int memory_abort = 0x1000;  ///< failure ends the run inside the allocator

/// `bytes` of memory aligned for doubles and vectors (64 bytes from 4 KiB on); null on failure without memory_abort.
void* vmalcp_handler(Pool* pool, std::int64_t bytes, int flags);
/// Gives one block back early. Small blocks stay until the pool goes. Null is allowed.
void vmfree_handler(Pool* pool, void* block);

int xmemdef();               ///< above 0 when an allocation without memory_abort has failed since the last xmemmsg
void xmemmsg(int deficit);   ///< logs that memory is short; a negative argument only clears the state

/// `count` zero-filled objects from a pool. Never null: failure, or a count that is negative or absurd, ends the run.
template <class T>
T* array(Pool* pool, std::int64_t count) {
    static_assert(std::is_trivially_destructible_v<T>, "a pool runs no destructors");
    constexpr std::int64_t limit = (std::int64_t{1} << 46) / static_cast<std::int64_t>(sizeof(T));
    if (count < 0 || count > limit) xexit(1016, 0);
    return static_cast<T*>(
        vmalcp_handler(pool, count * static_cast<std::int64_t>(sizeof(T)), memory_clear | memory_abort));
}

/// A default-initialised object in a pool.
template <class T>
T* object(Pool* pool) {
    static_assert(std::is_trivially_destructible_v<T>, "a pool runs no destructors");
    return new (vmalcp_handler(pool, static_cast<std::int64_t>(sizeof(T)), memory_clear | memory_abort)) T{};
}

// ---- utility files ----------------------------------------------------------------------------------------------

/// Opens a stream and stores its handle; negative on failure. `member` is its name in traces.
int xcopen(UtilityFile** file, const char* member);
int xcwrite(UtilityFile* file, const void* buffer, std::int64_t bytes);  ///< 0 success
int xcread(UtilityFile* file, void* buffer, std::int64_t bytes);         ///< 0 success; at the end -1
int xcnoted(UtilityFile* file, FilePosition* position);                  ///< stores the current position
int xcpntd(UtilityFile* file, FilePosition position);                    ///< moves to a noted position; 0 success
int xcpoint(UtilityFile* file);                                          ///< back to the start, for rewriting

/// Space for whole records of `record` bytes at the current position, in one contiguous piece; stores how many fit
/// (at least 1, at most `*count` when that is above 0). Nothing is written until xccommit. Null on failure.
std::byte* xcgrant(UtilityFile* file, std::int64_t record, std::int64_t* count);
int xccommit(UtilityFile* file, std::int64_t record, std::int64_t count);  ///< 0 success

/// A view of whole records of `record` bytes from the current position on, as xcgrant laid them out, and moves behind
/// them; stores how many there are (0 at the end of what was written). Valid until the next call on this file.
const std::byte* xcview(UtilityFile* file, std::int64_t record, std::int64_t* count);

template <class T>
int xcput(UtilityFile* file, const T* values, std::int64_t count = 1) {
    static_assert(std::is_trivially_copyable_v<T>);
    return xcwrite(file, values, count * static_cast<std::int64_t>(sizeof(T)));
}
template <class T>
int xcget(UtilityFile* file, T* values, std::int64_t count = 1) {
    static_assert(std::is_trivially_copyable_v<T>);
    return xcread(file, values, count * static_cast<std::int64_t>(sizeof(T)));
}

}  // namespace vek
