// The programs and the data files of the command line: paths become texts, or a reason why nothing can run.
#include "host/session/programs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "host/session/interrupt.h"

namespace vek {

namespace {

std::string folder_of(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return {};
    return slash == 0 ? "/" : path.substr(0, slash);
}

/// Reads to the end of a file or pipe; an errno, or 0.
int read_all(int descriptor, std::string* text) {
    struct stat status = {};
    if (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) return EISDIR;
    char block[65536];
    while (true) {
        const ssize_t n = read(descriptor, block, sizeof block);
        if (n == 0) return 0;
        if (n < 0 && errno == EINTR && pending_signal() == 0) continue;
        if (n < 0) return errno;
        text->append(block, static_cast<std::size_t>(n));
    }
}

bool read_file(const std::string& path, ProgramText* program, std::string* reason) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    int error = descriptor < 0 ? errno : 0;
    if (error == 0) {
        error = read_all(descriptor, &program->text);
        close(descriptor);
    }
    if (error != 0) *reason = "the program " + path + " cannot be read: " + std::strerror(error);
    program->name = path;
    program->folder = folder_of(path);
    return error == 0;
}

bool read_standard_input(ProgramText* program, std::string* reason) {
    program->name = "<stdin>";
    if (isatty(STDIN_FILENO) != 0) {
        program->lines = prompt_lines();
        return true;
    }
    const int error = read_all(STDIN_FILENO, &program->text);
    if (error != 0) *reason = std::string("standard input cannot be read: ") + std::strerror(error);
    return error == 0;
}

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

}  // namespace

bool read_programs(const CommandLine& command, std::vector<ProgramText>* programs, std::string* reason) {
    std::vector<std::string> paths = command.programs;
    if (paths.empty()) paths.push_back("-");
    for (const std::string& path : paths) {
        ProgramText program;
        if (!(path == "-" ? read_standard_input(&program, reason) : read_file(path, &program, reason))) return false;
        programs->push_back(std::move(program));
    }
    return true;
}

std::string path_to_read(const std::string& path, const std::string& folder) {
    if (path.empty() || path[0] == '/' || folder.empty() || exists(path)) return path;
    const std::string beside = folder + "/" + path;
    return exists(beside) ? beside : path;
}

bool data_can_be_read(const CommandLine& command, const std::vector<ProgramText>& programs, std::string* reason) {
    for (const CommandLine::Pair& pair : command.data) {
        std::string path = pair.value;
        for (const ProgramText& program : programs) {
            if (!exists(path)) path = path_to_read(pair.value, program.folder);
        }
        struct stat status = {};
        int error = stat(path.c_str(), &status) != 0 ? errno : 0;
        if (error == 0 && S_ISDIR(status.st_mode)) error = EISDIR;
        if (error == 0 && access(path.c_str(), R_OK) != 0) error = errno;
        if (error == 0) continue;
        *reason = "the data set " + pair.name + " cannot be read: " + pair.value + ": " + std::strerror(error);
        return false;
    }
    return true;
}

}  // namespace vek
