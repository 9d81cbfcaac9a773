// Runs the program tests: test_programs [--accept] [NAME ...], all of them without a name; with --commands
// the command lines, with --faults the hostile runs.
#include <iostream>
#include <string>
#include <vector>

#include "case.h"
#include "commands.h"
#include "faults.h"

namespace {

int run(const std::vector<std::string>& names, bool accept) {
    int failed = 0;
    for (const std::string& name : names) {
        const std::vector<std::string> faults = vek::test::run_case(name, accept);
        if (faults.empty()) continue;
        ++failed;
        std::cout << "FAILED " << name << "   (alone: ./dev test " << name << ")\n";
        for (const std::string& fault : faults) std::cout << "    " << fault << "\n";
    }
    std::cout << names.size() << " programs, " << failed << " failed\n";
    return failed;
}

}  // namespace

int main(int argc, char** argv) {
    bool accept = false, faults = false, commands = false;
    std::vector<std::string> names;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--accept") {
            accept = true;
        } else if (word == "--faults") {
            faults = true;
        } else if (word == "--commands") {
            commands = true;
        } else {
            names.push_back(word);
        }
    }
    try {
        if (faults) return vek::test::run_faults() == 0 ? 0 : 1;
        if (commands) return vek::test::run_commands() == 0 ? 0 : 1;
        if (names.empty()) names = vek::test::all_cases();
        if (names.empty()) {
            std::cout << "there are no programs\n";
            return 1;
        }
        return run(names, accept) == 0 ? 0 : 1;
    } catch (const std::exception& e) {
        std::cout << e.what() << "\n";
        return 1;
    }
}
