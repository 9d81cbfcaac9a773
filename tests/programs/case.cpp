// Runs a program test: copies its folder, runs the program with --json, and reads what it left.
#include "case.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace vek::test {

namespace fs = std::filesystem;

namespace {

const std::string document_name = "out.json";

void redirect(const std::string& path, int flags, int descriptor) {
    const int opened = open(path.c_str(), flags, 0666);
    if (opened < 0 || dup2(opened, descriptor) < 0) _exit(126);
    close(opened);
}

/// The last word that follows an option, or the word of its own after it.
bool names(const std::vector<std::string>& words, const std::string& option) {
    return std::find(words.begin(), words.end(), option) != words.end();
}

std::vector<std::string> arguments_of(const std::vector<Line>& lines) {
    std::vector<std::string> words;
    for (const Line& line : lines) {
        if (line.words[0] == "run") words.insert(words.end(), line.words.begin() + 1, line.words.end());
    }
    if (!names(words, "--json")) words.insert(words.end(), {"--json", document_name});
    const bool wants_listing = names(words, "-o") || names(words, "-q");
    const bool reads_listing = std::any_of(lines.begin(), lines.end(), [](const Line& line) {
        return line.words[0] == "listing" || line.words[0] == "stdout";
    });
    if (!wants_listing && !reads_listing) words.push_back("-q");
    const bool has_program = std::any_of(words.begin(), words.end(), [](const std::string& word) {
        return word == "-" || (word.size() > 4 && word.ends_with(".vek"));
    });
    if (!has_program) words.push_back("program.vek");
    return words;
}

void check_listing(const std::vector<Line>& lines, const Outcome& outcome, const std::string& folder, bool accept,
                   std::vector<std::string>* faults) {
    for (const Line& line : lines) {
        if (line.words[0] != "listing") continue;
        const std::string path = folder + "/" + line.words.at(1);
        if (contents(path) == outcome.out) continue;
        if (accept) {
            std::ofstream(path, std::ios::binary) << outcome.out;
            std::cout << "rewrote " << path << "\n";
        } else {
            faults->push_back("the listing is not " + line.words[1] + " (test_programs --accept rewrites it):\n" +
                              outcome.out);
        }
    }
}

}  // namespace

ScratchFolder::ScratchFolder() {
    std::string pattern = (fs::temp_directory_path() / "vek-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = pattern;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

Outcome run_vek(const std::string& folder, const std::vector<std::string>& arguments, const std::string& input) {
    std::vector<std::string> words{VEK_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    const ScratchFolder streams;
    const std::string out = streams.path() + "/out", err = streams.path() + "/err";
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) {
        if (chdir(folder.c_str()) != 0) _exit(126);
        redirect(input.empty() ? "/dev/null" : input, O_RDONLY, STDIN_FILENO);
        redirect(out, O_WRONLY | O_CREAT, STDOUT_FILENO);
        redirect(err, O_WRONLY | O_CREAT, STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    Outcome outcome;
    outcome.exit = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    outcome.out = contents(out);
    outcome.err = contents(err);
    outcome.folder = folder;
    const std::string text = contents(folder + "/" + document_name);
    if (!text.empty()) outcome.document = nlohmann::json::parse(text, nullptr, false);
    return outcome;
}

std::vector<std::string> left_over(const std::string& folder) {
    std::vector<std::string> found;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == ".tmp") found.push_back(entry.path().filename().string());
    }
    return found;
}

std::vector<std::string> all_cases() {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(VEK_PROGRAMS_DIR)) {
        if (fs::exists(entry.path() / "expect")) names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> run_case(const std::string& name, bool accept) {
    const std::string folder = std::string(VEK_PROGRAMS_DIR) + "/" + name;
    std::vector<Line> lines;
    try {
        lines = read_expect(folder + "/expect");
    } catch (const std::exception& e) {
        return {e.what()};
    }
    const ScratchFolder scratch;
    fs::copy(folder, scratch.path(), fs::copy_options::recursive);
    std::string input;
    for (const Line& line : lines) {
        if (line.words[0] == "input") input = line.words.at(1);
    }
    const Outcome outcome = run_vek(scratch.path(), arguments_of(lines), input);
    std::vector<std::string> faults = check(lines, outcome, folder);
    check_listing(lines, outcome, folder, accept, &faults);
    if (outcome.document.is_discarded()) faults.push_back("the JSON document cannot be read");
    if (outcome.document.is_object() && outcome.document.at("exit") != outcome.exit) {
        faults.push_back("exit is " + std::to_string(outcome.exit) + ", but the document says " +
                         outcome.document.at("exit").dump());
    }
    if (outcome.exit > 2 && !outcome.err.empty()) faults.push_back("standard error: " + outcome.err);
    for (const std::string& file : left_over(scratch.path())) faults.push_back("left behind: " + file);
    return faults;
}

}  // namespace vek::test
