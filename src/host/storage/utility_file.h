// Utility files: byte streams of a step in pieces of 2 MiB, kept in memory until the host's budget is spent, then in an
// unlinked temporary file. The user of one cannot tell.
#pragma once

#include <cstdint>

#include "frame/host_storage.h"

namespace vek {

/// Bytes that all utility files together may hold in memory; the default is 2 GiB.
void set_utility_budget(std::int64_t bytes);

/// Closes the step's utility files and gives their memory and disk space back.
void end_step_utility_files();

/// Bytes in memory and on disk now, for tests and the FILES trace.
std::int64_t utility_bytes_in_memory();
std::int64_t utility_bytes_on_disk();

/// Test aid: the nth write of a utility or output file from now fails (1 the next one); 0 switches it off.
void fail_write(std::int64_t nth);
/// Writes since the last call of fail_write.
std::int64_t write_count();
/// Counts one write and tells whether it has to fail; called by whoever writes to a disk or a utility file.
bool write_fails_now();

}  // namespace vek
