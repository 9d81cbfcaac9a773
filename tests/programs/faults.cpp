// Hostile runs: each program of tests/programs/faults-*/ is run with one request failing, at every place where one is
// made. Whatever fails: an exit status of the contract, a message, no file left half-written, and the steps behind the
// one that failed still run.
#include "faults.h"

#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "case.h"

namespace vek::test {

namespace {

namespace fs = std::filesystem;

constexpr int clean_runs_at_end = 3;  // of successive n without a fault: the program makes no more requests
constexpr int dense_until = 60;       // every n up to here, then steps that grow
constexpr int most_runs = 160;        // of a program and kind of request

struct Verdict {
    bool clean = false;  ///< the request that was to fail was never made
    std::string fault;   ///< what is wrong
};

Verdict judge(const Outcome& outcome) {
    if (outcome.exit != 0 && outcome.exit != 1) {
        return {false, "exit " + std::to_string(outcome.exit) + "\n" + outcome.err};
    }
    if (outcome.document.is_discarded()) return {false, "the JSON document cannot be read"};
    for (const std::string& file : left_over(outcome.folder)) return {false, "left behind: " + file};
    if (outcome.exit == 1 && outcome.err.find("error:") == std::string::npos) return {false, "no message"};
    // Each program ends with a step that prints the table NObs for a data set of its own.
    const bool whole = outcome.document.is_object();
    bool last_step = false;
    if (whole) {
        for (const auto& table : outcome.document.at("tables")) {
            last_step = last_step || (table.at("name") == "NObs" && table.at("step") == 2);
        }
        if (outcome.document.at("exit") != outcome.exit) return {false, "the document tells another exit status"};
    }
    if (outcome.exit == 0 && (!whole || !last_step)) return {false, "exit 0 without the last step"};
    return {outcome.exit == 0, {}};
}

int next(int n) { return n < dense_until ? n + 1 : n + n / 12; }

int run_kind(const std::string& folder, const std::string& option) {
    int clean = 0, faults = 0, runs = 0, steps_lost = 0;
    for (int n = 1; clean < clean_runs_at_end && runs < most_runs; n = next(n), ++runs) {
        const ScratchFolder scratch;
        fs::copy(folder, scratch.path(), fs::copy_options::recursive);
        const Outcome outcome = run_vek(
            scratch.path(), {"-q", "--json", "out.json", "--option", option + "=" + std::to_string(n), "program.vek"});
        const Verdict verdict = judge(outcome);
        clean = verdict.clean ? clean + 1 : 0;
        if (verdict.fault.empty()) continue;
        ++faults;
        std::cout << fs::path(folder).filename().string() << " --option " << option << "=" << n << ": " << verdict.fault
                  << "\n";
        if (++steps_lost > 5) break;
    }
    std::cout << fs::path(folder).filename().string() << " " << option << ": " << runs << " runs, " << faults
              << " faults\n";
    return faults;
}

}  // namespace

int run_faults() {
    int faults = 0;
    for (const std::string& name : all_cases()) {
        if (name.rfind("faults-", 0) != 0) continue;
        const std::string folder = std::string(VEK_PROGRAMS_DIR) + "/" + name;
        for (const char* option : {"FAULT_ALLOCATION", "FAULT_WRITE", "FAULT_NEW"}) faults += run_kind(folder, option);
    }
    return faults;
}

}  // namespace vek::test
