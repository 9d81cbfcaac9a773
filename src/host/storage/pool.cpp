// Pools: requests of the module become bumps of a pointer in a chunk, or, when large, blocks of their own. Dropping a
// pool hands its chunks to the next one; nothing goes back to the system before the step ends, except large blocks
// beyond a small reserve.
#include "host/storage/pool.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "host/message/catalogue.h"
#include "host/session/options.h"
#include "host/storage/leave.h"
#include "host/storage/poison.h"

namespace vek {

namespace {

constexpr std::size_t first_chunk = std::size_t{16} << 10;
constexpr std::size_t last_chunk = std::size_t{256} << 10;  // chunks double up to this size
constexpr std::size_t large_from = std::size_t{64} << 10;   // blocks of their own from here on
constexpr std::size_t huge_page = std::size_t{2} << 20;
constexpr std::size_t reserve_limit = std::size_t{32} << 20;  // freed huge blocks that are kept for the next pass
#ifdef VEK_ADDRESS_SANITIZER
constexpr std::size_t guard_bytes = 32;  // poisoned, behind every small block
#else
constexpr std::size_t guard_bytes = 0;
#endif
constexpr std::uint64_t large_mark = 0x4c41524745424c4bU;

constexpr std::size_t round_up(std::size_t n, std::size_t unit) { return (n + unit - 1) / unit * unit; }

/// Stands at the head of its own memory.
struct Chunk {
    Chunk* next;
    std::size_t size;  // with this header
    std::byte* begin() { return reinterpret_cast<std::byte*>(this) + 64; }
    std::byte* end() { return reinterpret_cast<std::byte*>(this) + size; }
};
static_assert(sizeof(Chunk) <= 64);

/// Stands in the 64 bytes before a large block.
struct Large {
    std::uint64_t mark;
    Large *previous, *next;
    Pool* owner;
    void* base;         // what the system gave
    std::size_t bytes;  // that can be used
    std::size_t held;   // that the system gave
    bool mapped;
    void* block() { return reinterpret_cast<std::byte*>(this) + 64; }
};
static_assert(sizeof(Large) <= 64);

}  // namespace

struct Pool {
    Pool *parent, *child, *previous, *next;
    const char* name;
    Chunk* chunks;
    std::byte *at, *end;
    Large* large;
};

namespace {

/// What outlives a single pool: the step's memory.
struct Store {
    Pool* main = nullptr;
    Pool* spare_pools = nullptr;
    Chunk* spare_chunks[8] = {};  // by size class
    Large* reserve = nullptr;     // freed huge blocks, newest first
    std::size_t reserve_bytes = 0;
    std::int64_t held = 0;
    std::int64_t limit = 0;
    int living = 0;
    int deficit = 0;
    std::int64_t requests = 0, failing = 0;
};
Store store;

int size_class(std::size_t chunk) {
    int k = 0;
    for (std::size_t s = first_chunk; s < chunk; s <<= 1) ++k;
    return k;
}

bool request_fails() {
    ++store.requests;
    return store.failing != 0 && store.requests == store.failing;
}

/// The limit of the control group that the process runs in, or the machine's memory when that is less.
std::int64_t machine_memory() {
    std::int64_t bytes = std::int64_t{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
    for (const char* path : {"/sys/fs/cgroup/memory.max", "/sys/fs/cgroup/memory/memory.limit_in_bytes"}) {
        const int file = open(path, O_RDONLY | O_CLOEXEC);
        if (file < 0) continue;
        char text[32] = {};
        const ssize_t length = read(file, text, sizeof text - 1);
        close(file);
        const std::int64_t limit = length > 0 ? std::strtoll(text, nullptr, 10) : 0;
        if (limit > 0) bytes = std::min(bytes, limit);
    }
    return bytes;
}

/// True when the pools may hold so much more: a request beyond the machine's memory fails here and not by a killed
/// process. Small steps do not ask what the machine has.
bool may_hold(std::size_t bytes) {
    constexpr std::int64_t always_given = std::int64_t{64} << 20;
    const std::int64_t total = store.held + static_cast<std::int64_t>(bytes);
    if (store.limit == 0) {
        if (total <= always_given) return true;
        store.limit = machine_memory() / 16 * 15;
    }
    return total <= store.limit;
}

void* system_memory(std::size_t bytes) {
    if (!may_hold(bytes)) return nullptr;
    void* memory = std::malloc(bytes);
    if (memory != nullptr) store.held += static_cast<std::int64_t>(bytes);
    return memory;
}

Chunk* take_chunk(std::size_t size) {
    Chunk*& spare = store.spare_chunks[size_class(size)];
    if (spare != nullptr) {
        Chunk* chunk = spare;
        unpoison(chunk, sizeof(Chunk));
        spare = chunk->next;
        return chunk;
    }
    auto* chunk = static_cast<Chunk*>(system_memory(size));
    if (chunk != nullptr) {
        chunk->size = size;
        poison(chunk->begin(), size - 64);
    }
    return chunk;
}

void* bump(Pool* pool, std::size_t bytes, std::size_t alignment) {
    auto place = [&]() -> std::byte* {
        const auto address = reinterpret_cast<std::uintptr_t>(pool->at);
        return pool->at + (round_up(address, alignment) - address);
    };
    std::byte* block = pool->at == nullptr ? nullptr : place();
    if (block == nullptr || block > pool->end || static_cast<std::size_t>(pool->end - block) < bytes) {
        std::size_t size = pool->chunks == nullptr ? first_chunk : std::min(pool->chunks->size * 2, last_chunk);
        while (size < bytes + 192) size <<= 1;
        Chunk* chunk = take_chunk(size);
        if (chunk == nullptr) return nullptr;
        chunk->next = pool->chunks;
        pool->chunks = chunk;
        pool->at = chunk->begin();
        pool->end = chunk->end();
        block = place();
    }
    pool->at = block + bytes + guard_bytes;
    return block;
}

/// Fresh memory for a large block: zero already when `mapped`.
Large* new_large(std::size_t bytes) {
    if (bytes >= huge_page) {
        // Aligned so that the block begins with a huge page; its header has a page of its own before it.
        const std::size_t usable = round_up(bytes, 4096);
        const std::size_t span = usable + 4096 + huge_page;
        if (!may_hold(usable)) return nullptr;
        void* base = mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (base == MAP_FAILED) return nullptr;
        const auto block = round_up(reinterpret_cast<std::uintptr_t>(base) + 4096, huge_page);
        auto* whole = static_cast<std::byte*>(base);
        std::byte* start = whole + (block - reinterpret_cast<std::uintptr_t>(base));
        std::byte* kept = start - 4096;
        if (kept > whole) munmap(whole, static_cast<std::size_t>(kept - whole));
        std::byte* behind = start + usable;
        if (behind < whole + span) munmap(behind, static_cast<std::size_t>(whole + span - behind));
        madvise(start, usable, MADV_HUGEPAGE);
        auto* large = reinterpret_cast<Large*>(start - 64);
        *large = Large{large_mark, nullptr, nullptr, nullptr, kept, usable, usable + 4096, true};
        store.held += static_cast<std::int64_t>(large->held);
        return large;
    }
    const std::size_t held = bytes + 128;
    void* base = system_memory(held);
    if (base == nullptr) return nullptr;
    const auto address = reinterpret_cast<std::uintptr_t>(base);
    std::byte* start = static_cast<std::byte*>(base) + (round_up(address + 64, 64) - address);
    auto* large = reinterpret_cast<Large*>(start - 64);
    *large = Large{large_mark, nullptr, nullptr, nullptr, base, bytes, held, false};
    return large;
}

void release_large(Large* large) {
    large->mark = 0;
    store.held -= static_cast<std::int64_t>(large->held);
    unpoison(large->block(), large->bytes);
    if (large->mapped) {
        munmap(large->base, large->held);
    } else {
        std::free(large->base);
    }
}

/// A huge block of the reserve that fits without wasting more than half of it.
Large* from_reserve(std::size_t bytes) {
    for (Large** link = &store.reserve; *link != nullptr; link = &(*link)->next) {
        Large* large = *link;
        if (large->bytes < bytes || large->bytes > 2 * bytes) continue;
        *link = large->next;
        store.reserve_bytes -= large->bytes;
        unpoison(large->block(), large->bytes);
        return large;
    }
    return nullptr;
}

void release_reserve() {
    while (store.reserve != nullptr) {
        Large* large = store.reserve;
        store.reserve = large->next;
        release_large(large);
    }
    store.reserve_bytes = 0;
}

void* take_large(Pool* pool, std::size_t bytes, bool clear) {
    Large* large = bytes >= huge_page ? from_reserve(bytes) : nullptr;
    bool zero = false;
    if (large == nullptr) {
        large = new_large(bytes);
        if (large == nullptr && store.reserve != nullptr) {
            release_reserve();
            large = new_large(bytes);
        }
        if (large == nullptr) return nullptr;
        zero = large->mapped;
    }
    large->owner = pool;
    large->previous = nullptr;
    large->next = pool->large;
    if (pool->large != nullptr) pool->large->previous = large;
    pool->large = large;
    if (clear && !zero) std::memset(large->block(), 0, bytes);
    return large->block();
}

void give_large_back(Large* large) {
    if (large->previous != nullptr) {
        large->previous->next = large->next;
    } else {
        large->owner->large = large->next;
    }
    if (large->next != nullptr) large->next->previous = large->previous;
    if (!large->mapped || store.reserve_bytes + large->bytes > reserve_limit) {
        release_large(large);
        return;
    }
    large->owner = nullptr;
    large->next = store.reserve;
    store.reserve = large;
    store.reserve_bytes += large->bytes;
    poison(large->block(), large->bytes);
}

/// The header of a large block, or null for a small one, whose 64 bytes before it are anything.
[[gnu::no_sanitize_address]] Large* large_header(void* block) {
    if (reinterpret_cast<std::uintptr_t>(block) % 64 != 0) return nullptr;
    auto* large = reinterpret_cast<Large*>(static_cast<std::byte*>(block) - 64);
    return large->mark == large_mark && large->block() == block && large->owner != nullptr ? large : nullptr;
}

void empty_pool(Pool* pool) {
    while (pool->child != nullptr) xmpoold(pool->child);
    while (pool->large != nullptr) give_large_back(pool->large);
    while (pool->chunks != nullptr) {
        Chunk* chunk = pool->chunks;
        pool->chunks = chunk->next;
        poison(chunk->begin(), chunk->size - 64);
        Chunk*& spare = store.spare_chunks[size_class(chunk->size)];
        chunk->next = spare;
        spare = chunk;
    }
}

Pool* new_pool(Pool* parent, const char* name) {
    Pool* pool = store.spare_pools;
    if (pool != nullptr) {
        store.spare_pools = pool->next;
    } else {
        pool = static_cast<Pool*>(system_memory(sizeof(Pool)));
        if (pool == nullptr) return nullptr;
    }
    *pool = Pool{parent, nullptr, nullptr, nullptr, name, nullptr, nullptr, nullptr, nullptr};
    if (parent != nullptr) {
        pool->next = parent->child;
        if (parent->child != nullptr) parent->child->previous = pool;
        parent->child = pool;
    }
    ++store.living;
    return pool;
}

}  // namespace

// ---- what the module calls --------------------------------------------------------------------------------------

Pool* xmainpool() {
    if (store.main == nullptr) begin_step_pools();
    return store.main;
}

Pool* xmpoolc(Pool* parent, const char* name) {
    Pool* pool = request_fails() ? nullptr : new_pool(parent == nullptr ? xmainpool() : parent, name);
    if (pool == nullptr) xexit(1016, 0);
    return pool;
}

void xmpoold(Pool* pool) {
    if (pool == nullptr) return;
    empty_pool(pool);
    if (pool->previous != nullptr) {
        pool->previous->next = pool->next;
    } else if (pool->parent != nullptr) {
        pool->parent->child = pool->next;
    }
    if (pool->next != nullptr) pool->next->previous = pool->previous;
    if (pool == store.main) store.main = nullptr;
    pool->next = store.spare_pools;
    store.spare_pools = pool;
    --store.living;
}

void* vmalcp_handler(Pool* pool, std::int64_t bytes, int flags) {
    if (pool == nullptr) pool = xmainpool();
    void* block = nullptr;
    const bool possible = bytes >= 0 && bytes <= (std::int64_t{1} << 46);
    const std::size_t size = possible ? std::max<std::size_t>(static_cast<std::size_t>(bytes), 1) : 0;
    if (possible && !request_fails()) {
        const bool clear = (flags & memory_clear) != 0;
        if (size >= large_from) {
            block = take_large(pool, size, clear);
        } else {
            block = bump(pool, size, size >= 4096 ? 64 : 16);
            if (block != nullptr) unpoison(block, size);
            if (block != nullptr && clear) std::memset(block, 0, size);
        }
    }
    if (block != nullptr) return block;
    if ((flags & memory_abort) != 0) {
        report(930, 1, arguments(bytes), host_log().statement());
        xexit(1016, 0);
    }
    ++store.deficit;
    return nullptr;
}

void vmfree_handler(Pool*, void* block) {
    if (block == nullptr) return;
    if (Large* large = large_header(block)) give_large_back(large);
}

int xmemdef() { return store.deficit; }

void xmemmsg(int deficit) {
    if (deficit >= 0) report(930, 2, {}, host_log().statement());
    store.deficit = 0;
}

// ---- the step ---------------------------------------------------------------------------------------------------

void begin_step_pools() {
    if (store.main != nullptr) end_step_pools();
    store.limit = static_cast<std::int64_t>(host_options().number("MEMORY"));
    store.deficit = 0;
    store.main = new_pool(nullptr, "procedure");
    if (store.main == nullptr) throw std::bad_alloc();
}

void end_step_pools() {
    xmpoold(store.main);
    for (Chunk*& spare : store.spare_chunks) {
        while (spare != nullptr) {
            Chunk* chunk = spare;
            spare = chunk->next;
            store.held -= static_cast<std::int64_t>(chunk->size);
            unpoison(chunk->begin(), chunk->size - 64);
            std::free(chunk);
        }
    }
    release_reserve();
    while (store.spare_pools != nullptr) {
        Pool* pool = store.spare_pools;
        store.spare_pools = pool->next;
        store.held -= static_cast<std::int64_t>(sizeof(Pool));
        std::free(pool);
    }
}

int living_pools() { return store.living; }
std::int64_t pool_bytes() { return store.held; }

void fail_allocation(std::int64_t nth) {
    store.requests = 0;
    store.failing = nth;
}
std::int64_t allocation_count() { return store.requests; }

void xexit(int code, int trace) { throw Leave{code, trace}; }
void xebug(int trace) { throw Leave{leave_internal_fault, trace}; }

}  // namespace vek
