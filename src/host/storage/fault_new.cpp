// The program's operator new: malloc, and a counter that lets a test make one call fail.
#include "host/storage/fault_new.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace vek {

namespace {
// Atomic, since a reader thread allocates too.
std::atomic<std::int64_t> calls{0};
std::atomic<std::int64_t> failing{0};
}  // namespace

void fail_new(std::int64_t nth) {
    calls.store(0);
    failing.store(nth);
}

std::int64_t new_count() { return calls.load(); }

}  // namespace vek

namespace {

bool call_fails() {
    const std::int64_t nth = vek::failing.load(std::memory_order_relaxed);
    if (nth == 0) return false;
    return vek::calls.fetch_add(1, std::memory_order_relaxed) + 1 == nth;
}

void* allocate(std::size_t bytes) {
    if (call_fails()) throw std::bad_alloc();
    void* memory = std::malloc(bytes == 0 ? 1 : bytes);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

void* operator new(std::size_t bytes) { return allocate(bytes); }
void* operator new[](std::size_t bytes) { return allocate(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return call_fails() ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    return call_fails() ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
