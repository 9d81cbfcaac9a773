// A file without a name, for what outgrows memory; it is gone when it is closed.
#pragma once

namespace vek {

/// Opens an unlinked file for reading and writing in the folder TMPDIR, or in the system's folder for such files. Returns
/// its descriptor, or a negative number with errno set.
int open_temporary();

}  // namespace vek
