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
constexpr int dense_until = 40;       // every n up to here, then steps that grow
constexpr int most_runs = 160;        // of a program and kind of request

struct Verdict {
    bool clean = false;  ///< the request that was to fail was never made
    std::string fault;   ///< what is wrong
};

Verdict wrong(std::string fault) { return {false, std::move(fault)}; }

/// Tables that a step has in the document.
int tables_of(const Outcome& outcome, int step) {
    int count = 0;
    if (!outcome.document.is_object()) return 0;
    for (const auto& table : outcome.document.at("tables")) {
        if (table.at("step").get<int>() == step) ++count;
    }
    return count;
}

/// `whole` is the run without a fault.
Verdict judge(const Outcome& outcome, const Outcome& whole) {
    if (outcome.exit != 0 && outcome.exit != 1) {
        return wrong("exit " + std::to_string(outcome.exit) + "\n" + outcome.err);
    }
    if (outcome.document.is_discarded()) return wrong("the JSON document cannot be read");
    const std::vector<std::string> left = left_over(outcome.folder);
    if (!left.empty()) return wrong(std::string("left behind: ").append(left[0]));
    if (outcome.exit == 1 && outcome.err.find("error:") == std::string::npos) return wrong("no message");
    const bool first_step = tables_of(outcome, 1) == tables_of(whole, 1);
    const bool last_step = tables_of(outcome, 2) == tables_of(whole, 2);
    if (outcome.document.is_object()) {
        if (outcome.document.at("exit").get<int>() != outcome.exit)
            return wrong("the document tells another exit status");
        // One request fails, so it cannot have cost both steps, unless it was made while no step had begun.
        const bool in_step = outcome.err.find("program.vek:") != std::string::npos;
        if (!first_step && !last_step && in_step) return wrong("both steps have lost tables");
    }
    if (outcome.exit == 0 && (!first_step || !last_step)) return wrong("exit 0, and tables are missing");
    return {outcome.exit == 0, {}};
}

Outcome run_with(const std::string& folder, const std::string& scratch, const std::string& option) {
    fs::copy(folder, scratch, fs::copy_options::recursive);
    std::vector<std::string> words{"-q", "--json", "out.json"};
    words.emplace_back("--option");
    words.push_back(option);
    words.emplace_back("program.vek");
    return run_vek(scratch, words);
}

int next(int n) { return n < dense_until ? n + 1 : n + n / 8; }

int run_kind(const std::string& folder, const std::string& option) {
    const ScratchFolder unharmed;
    const Outcome whole = run_with(folder, unharmed.path(), option + "=0");
    int clean = 0, faults = 0, runs = 0, steps_lost = 0;
    for (int n = 1; clean < clean_runs_at_end && runs < most_runs; n = next(n), ++runs) {
        const ScratchFolder scratch;
        const Verdict verdict = judge(run_with(folder, scratch.path(), option + "=" + std::to_string(n)), whole);
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
