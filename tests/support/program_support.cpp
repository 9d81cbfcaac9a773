// Runs programs in the test program's own process.
#include "support/program_support.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/data/dataset.h"
#include "host/session/options.h"
#include "host/session/session.h"

namespace vek::test {

Folder::Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "vek-test-XXXXXX").string();
    REQUIRE(::mkdtemp(name.data()) != nullptr);
    path_ = name;
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string Folder::write(const std::string& name, std::string_view text) const {
    const std::string path = path_ + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

std::string trial_data() {
    std::ostringstream out;
    out << "yield,y1,y2,y3,x1,x2,x3,dose,plots,time cost,block,variety\n";
    const char* varieties[] = {"red", "green", "blue"};
    unsigned state = 12345;
    const auto next = [&] {
        state = state * 1103515245U + 12345U;
        return (state >> 16U) % 1000U;
    };
    for (int b = 1; b <= 4; ++b) {
        for (int v = 0; v < 3; ++v) {
            for (int r = 0; r < 3; ++r) {
                for (int k = 0; k < 4; ++k) out << 10 + b + v << '.' << next() << ',';
                for (int k = 0; k < 3; ++k) out << next() << ',';
                out << (1 << (next() % 3U)) << ',' << 1 + next() % 2U << ',' << next() % 9U << ",B" << b << ','
                    << varieties[v] << '\n';
            }
        }
    }
    return out.str();
}

namespace {

const Folder& data_folder() {
    static const Folder folder;
    static const std::string file = folder.write("trial.csv", trial_data());
    return folder;
}

}  // namespace

std::vector<LogEntry> run_text(std::string_view program, bool interactive) {
    session().reset_for_test();
    reset_data();
    if (interactive) host_options().set_number("INTERACTIVE", 1);
    host_options().set("DEBUG", "SEM");
    ProgramText text;
    text.name = "test.vek";
    text.text = "";
    text.folder = data_folder().path();
    std::string whole(program);
    for (std::size_t at = whole.find("TRIAL"); at != std::string::npos; at = whole.find("TRIAL", at)) {
        whole.replace(at, 5, "'" + data_folder().path() + "/trial.csv'");
    }
    text.text = whole;
    run_program(text);
    std::vector<LogEntry> entries = host_log().entries();
    reset_data();
    session().reset_for_test();
    return entries;
}

std::size_t ProgramResult::errors() const {
    return static_cast<std::size_t>(
        std::count_if(log.begin(), log.end(), [](const LogEntry& e) { return e.level == Level::error; }));
}

ProgramResult run_whole(std::string_view program) {
    static const Folder folder;
    session().reset_for_test();
    reset_data();
    CommandLine command;
    command.programs = {folder.write("program.vek", program)};
    command.data = {{"trial", data_folder().path() + "/trial.csv"}};
    command.json = folder.path() + "/tables.json";
    command.log = folder.path() + "/log.txt";
    command.quiet = true;
    ProgramResult result;
    result.status = session().run(command);
    result.log = host_log().entries();
    std::ifstream json(command.json);
    std::ostringstream text;
    text << json.rdbuf();
    result.tables = text.str();
    result.tables = result.tables.substr(0, result.tables.find("\"log\""));
    reset_data();
    session().reset_for_test();
    return result;
}

std::string replaced(std::string_view program, const Place& place, std::string_view by) {
    std::size_t at = 0;
    for (int line = 1; line < place.line; ++line) at = program.find('\n', at) + 1;
    const auto skip = [&](int characters) {
        for (int i = 0; i < characters && at < program.size(); ++i) {
            do {
                ++at;
            } while (at < program.size() && (program[at] & 0xC0) == 0x80);
        }
    };
    skip(place.column - 1);
    const std::size_t from = at;
    skip(place.length);
    return std::string(program.substr(0, from)).append(by).append(program.substr(at));
}

}  // namespace vek::test
