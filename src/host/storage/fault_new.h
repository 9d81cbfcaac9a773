// Test aid: the nth allocation of the host's own containers fails, as when memory has run out.
#pragma once

#include <cstdint>

namespace vek {

/// The nth operator new from now throws std::bad_alloc (1 the next one); 0 switches it off.
void fail_new(std::int64_t nth);
/// Calls of operator new since the last call of fail_new with an nth above 0.
std::int64_t new_count();

}  // namespace vek
