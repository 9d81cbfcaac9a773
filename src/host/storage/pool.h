// Pools as arenas in a tree: small blocks are bumped from chunks, large ones are allocations of their own.
//
// Chunks of a dropped pool go to a free list of the step and are taken again by the next pool, so that a BY group costs
// no system call. Under AddressSanitizer what was dropped is poisoned.
#pragma once

#include <cstdint>

#include "frame/host_storage.h"

namespace vek {

/// Makes the step's main pool; the one of the step before must have been dropped.
void begin_step_pools();
/// Drops the main pool with all its children and gives their memory back to the system.
void end_step_pools();

/// Pools that are alive, the main pool included: a test's view of what was left behind.
int living_pools();
/// Bytes that pools hold from the system now.
std::int64_t pool_bytes();

/// Test aid: the nth allocation from now fails (1 the next one); 0 switches it off. Counts requests of every size.
void fail_allocation(std::int64_t nth);
/// Requests since the last call of fail_allocation.
std::int64_t allocation_count();

}  // namespace vek
