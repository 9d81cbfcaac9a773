// Marks memory that nobody may touch, for the sanitizer build; nothing otherwise.
#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define VEK_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VEK_ADDRESS_SANITIZER 1
#endif
#endif

#ifdef VEK_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace vek {

#ifdef VEK_ADDRESS_SANITIZER
inline void poison(const void* at, std::size_t bytes) { __asan_poison_memory_region(at, bytes); }
inline void unpoison(const void* at, std::size_t bytes) { __asan_unpoison_memory_region(at, bytes); }
#else
inline void poison(const void*, std::size_t) {}
inline void unpoison(const void*, std::size_t) {}
#endif

}  // namespace vek
