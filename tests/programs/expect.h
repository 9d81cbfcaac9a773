// What a program test expects: the lines of its file `expect`, each checked against what a run left behind.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace vek::test {

/// One line of an expect file, in words; a text in double quotes is one word.
struct Line {
    int number = 0;
    std::vector<std::string> words;
    std::string text;  ///< the whole line, for messages
};

/// What a run left behind.
struct Outcome {
    int exit = 0;
    std::string out, err;     ///< standard output and error
    nlohmann::json document;  ///< null when there is none
    std::string folder;       ///< where it ran, with the files that it made
};

/// Lines of an expect file without comments and empty lines. Throws std::runtime_error when it cannot be read.
std::vector<Line> read_expect(const std::string& path);

/// Everything that is not as the lines say, one text each. `case_folder` holds the files that lines name.
std::vector<std::string> check(const std::vector<Line>& lines, const Outcome& outcome, const std::string& case_folder);

/// Contents of a file, or an empty text.
std::string contents(const std::string& path);

}  // namespace vek::test
