// A program test: a folder with a program, its data and an expect file, run in a copy of its own.
#pragma once

#include <string>
#include <vector>

#include "expect.h"

namespace vek::test {

/// A folder that goes with its object.
class ScratchFolder {
  public:
    ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder();
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

/// Runs the program under test in `folder`: standard input from `input` (a file there) or empty. The exit status of a
/// program that a signal ended is 128 and its number.
Outcome run_vek(const std::string& folder, const std::vector<std::string>& arguments, const std::string& input = {});

/// Names of the tests, in order.
std::vector<std::string> all_cases();

/// Runs one test; what is wrong with it. With `accept`, listings that differ are rewritten.
std::vector<std::string> run_case(const std::string& name, bool accept);

/// Files that a run may not leave behind.
std::vector<std::string> left_over(const std::string& folder);

}  // namespace vek::test
