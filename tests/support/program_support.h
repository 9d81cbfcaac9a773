// Programs run inside the test program, against the real host: a folder with a small data set, the log that comes of a
// program, and its tables as JSON text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/message/log.h"

namespace vek::test {

/// A temporary folder, removed with what is in it.
class Folder {
  public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    const std::string& path() const { return path_; }
    std::string write(const std::string& name, std::string_view text) const;

  private:
    std::string path_;
};

/// A field trial: numeric yield y1 y2 y3 x1 x2 x3 dose plots 'time cost'n, text block (B1 to B4) and variety (red,
/// green, blue), 36 rows; the file trial.csv of the folder.
std::string trial_data();

/// Runs the program without outputs, with the data set TRIAL at hand; the log's entries.
std::vector<LogEntry> run_text(std::string_view program, bool interactive = false);

/// Runs the program as the command does, with JSON as its output; the array of tables as text.
struct ProgramResult {
    std::vector<LogEntry> log;
    std::string tables;
    int status = 0;
    std::size_t errors() const;
};
ProgramResult run_whole(std::string_view program);

/// The text with `length` characters at a place (line and column from 1, in characters) replaced.
std::string replaced(std::string_view program, const Place& place, std::string_view by);

}  // namespace vek::test
