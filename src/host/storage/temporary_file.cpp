// temporary_file: asks the system for a file that never had a name; where it has none, removes the name at once.
#include "host/storage/temporary_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace vek {

int open_temporary() {
    const char* folder = std::getenv("TMPDIR");
    const std::string name = folder != nullptr && *folder != '\0' ? folder : "/tmp";
    int descriptor = open(name.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (descriptor >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != ENOENT)) return descriptor;
    std::string pattern = name + "/vek-XXXXXX";
    descriptor = mkostemp(pattern.data(), O_CLOEXEC);
    if (descriptor >= 0) unlink(pattern.c_str());
    return descriptor;
}

}  // namespace vek
