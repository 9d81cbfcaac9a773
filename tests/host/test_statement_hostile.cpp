// Broken programs: a corpus, and good programs with their words mixed up. Whatever they hold, they end with messages.
#include <doctest/doctest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "host/statement/scanner.h"
#include "statement_laws.h"
#include "support/program_support.h"

using namespace vek;
using namespace vek::test;

namespace {

std::vector<std::string> corpus() {
    std::vector<std::string> programs;
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(VEK_TESTS_DIR "/host/statements/corpus")) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        std::stringstream text;
        text << std::ifstream(file, std::ios::binary).rdbuf();
        programs.push_back(text.str());
    }
    return programs;
}

/// The pieces of a program, each token with what stands before it.
std::vector<std::string> pieces_of(const std::string& program) {
    std::vector<std::string> pieces;
    Scanner scanner("p", program);
    std::size_t from = 0;
    for (;;) {
        for (const Token& t : scanner.statement()) {
            const std::size_t end = std::max(from, t.offset + t.bytes);
            if (t.kind == TokenKind::end_of_program) return pieces;
            pieces.push_back(program.substr(from, end - from));
            from = end;
        }
    }
}

std::string mixed_up(const std::vector<std::string>& pieces, const std::vector<std::string>& words,
                     std::mt19937& random) {
    std::vector<std::string> p = pieces;
    const auto any = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
    const std::size_t changes = 1 + any(3);
    for (std::size_t k = 0; k < changes && p.size() > 1; ++k) {
        const std::size_t at = any(p.size());
        switch (any(5)) {
            case 0:
                p.erase(p.begin() + static_cast<std::ptrdiff_t>(at));
                break;
            case 1:
                p.insert(p.begin() + static_cast<std::ptrdiff_t>(at), words[any(words.size())]);
                break;
            case 2:
                std::swap(p[at], p[any(p.size())]);
                break;
            case 3:
                p[at] = words[any(words.size())];
                break;
            default:
                p[at][any(p[at].size())] = static_cast<char>(random() % 256);
                break;
        }
    }
    std::string text;
    for (const std::string& piece : p) text += piece;
    return text;
}

}  // namespace

TEST_CASE("hostile: programs of the corpus end with messages that hold") {
    const Folder folder;
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    for (const std::string& program : corpus()) {
        CAPTURE(program);
        CHECK(broken_law(program, false) == "");
        CHECK(broken_law(program, true) == "");
    }
    std::filesystem::current_path(before);
}

TEST_CASE("hostile: programs whose words are mixed up end with messages that hold") {
    const Folder folder;
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    std::mt19937 random(7);
    std::vector<std::string> words;
    std::vector<std::vector<std::string>> programs;
    for (const std::string& program : corpus()) {
        programs.push_back(pieces_of(program));
        words.insert(words.end(), programs.back().begin(), programs.back().end());
    }
    for (int i = 0; i < 1500; ++i) {
        const auto& pieces = programs[random() % programs.size()];
        if (pieces.empty()) continue;
        const std::string program = mixed_up(pieces, words, random);
        const std::string law = broken_law(program, i % 4 == 0);
        CHECK_MESSAGE(law == "", program);
    }
    std::filesystem::current_path(before);
}
