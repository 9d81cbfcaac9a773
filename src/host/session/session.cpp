// A session: the command line becomes programs, data and outputs; each step runs between its two borders, where its
// memory begins and ends and where whatever leaves it is caught.
#include "host/session/session.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <memory>
#include <new>

#include "frame/vekmain.h"
#include "host/data/dataset.h"
#include "host/message/catalogue.h"
#include "host/session/interrupt.h"
#include "host/session/options.h"
#include "host/session/outputs.h"
#include "host/session/programs.h"
#include "host/storage/fault_new.h"
#include "host/storage/leave.h"
#include "host/storage/pool.h"
#include "host/storage/utility_file.h"
#include "host/table/service.h"

namespace vek {

namespace {

constexpr int status_good = 0, status_error = 1, status_usage = 2, status_fault = 3, status_signal = 128;

/// Memory that is given back when there is no more, so that the message about it can be made.
std::unique_ptr<char[]> reserve;
constexpr std::size_t reserve_bytes = std::size_t{256} << 10;

bool is_memory_code(int code) { return code == 1016 || code == 116; }
bool is_file_code(int code) { return code == 1020 || code == 120; }

/// Codes of a step that ended because of its statements or its limits, and not by a fault of the program.
bool is_known_code(int code) { return code >= 2000 || code == 999 || is_memory_code(code) || is_file_code(code); }

void say(std::string_view text) {
    const std::string line = "vek: error: " + visible_text(text) + "\n";
    if (::write(STDERR_FILENO, line.data(), line.size()) < 0) return;
}

/// Does one thing of an end that has to go on; what it throws is lost with it.
template <class Action>
bool quietly(Action action) {
    try {
        action();
        return true;
    } catch (...) {
        return false;
    }
}

std::string refused_option(const CommandLine::Pair& pair, Options::Outcome outcome) {
    const std::string name = pair.name;
    const HostOption* option = Options::find(name);
    const std::string takes = option == nullptr ? std::string() : "; it takes " + Options::expected(*option);
    switch (outcome) {
        case Options::Outcome::unknown: {
            const std::string_view nearest = Options::nearest(name);
            std::string text = "there is no host option " + name;
            if (!nearest.empty()) text.append("; did you mean ").append(nearest).append("?");
            return text;
        }
        case Options::Outcome::out_of_range:
            return "the value " + pair.value + " of host option " + name + " is outside its range" + takes;
        case Options::Outcome::not_a_number:
        case Options::Outcome::unknown_word:
            return "host option " + name + " cannot be \"" + pair.value + "\"" + takes;
        case Options::Outcome::done:
            break;
    }
    return {};
}

/// Options of the command line; false after having said what is wrong.
bool set_options(const CommandLine& command) {
    for (const CommandLine::Pair& pair : command.options) {
        const auto outcome = host_options().set(pair.name, pair.value);
        if (outcome == Options::Outcome::done) continue;
        say(refused_option(pair, outcome));
        return false;
    }
    return true;
}

void arm_faults() {
    auto count = [](std::string_view name) { return static_cast<std::int64_t>(host_options().number(name)); };
    fail_allocation(count("FAULT_ALLOCATION"));
    fail_new(count("FAULT_NEW"));
    fail_write(count("FAULT_WRITE"));
}

}  // namespace

Session& session() {
    static Session the_session;
    return the_session;
}

// ---- the run ----------------------------------------------------------------------------------------------------

int Session::run(const CommandLine& command) {
    command_ = command;
    fill_closed_descriptors();
    install_signal_handlers();
    reserve = std::make_unique<char[]>(reserve_bytes);
    if (!set_options(command)) return status_usage;
    std::string reason;
    std::vector<ProgramText> programs;
    if (!read_programs(command, &programs, &reason) || !data_can_be_read(command, programs, &reason)) {
        if (pending_signal() != 0) return status_signal + pending_signal();
        say(reason);
        return status_usage;
    }
    Outputs outputs;
    if (!outputs.open(command, &reason)) {
        say(reason);
        return status_usage;
    }
    outputs_ = &outputs;
    tables().set_group_hook([] { session().drain(); });
    arm_faults();
    run_programs(programs);
    const int status = finish();
    tables().set_group_hook(nullptr);
    outputs_ = nullptr;
    return status;
}

void Session::run_programs(const std::vector<ProgramText>& programs) {
    for (const ProgramText& program : programs) {
        program_folder_ = program.folder;
        prompting_ = program.lines != nullptr;
        wait_for_poll(prompting_);
        if (prompting_ && !host_options().given("INTERACTIVE")) host_options().set_number("INTERACTIVE", 1);
        try {
            run_program(program);
        } catch (const std::bad_alloc&) {
            out_of_memory();
        } catch (const Interrupted&) {
            clear_signal();
        } catch (const Leave&) {
            // Raised outside of a step: by a signal, while a statement of the host was being carried out.
            if (pending_signal() == 0) fault("a statement outside of a step left it");
        } catch (const std::exception& e) {
            fault(e.what());
        } catch (...) {
            fault("unknown exception");
        }
        wait_for_poll(false);
        prompting_ = false;
        quietly([&] { show(); });
        if (pending_signal() != 0) return;
    }
}

int Session::finish() {
    const int signal = pending_signal();
    if (signal != 0) {
        quietly([&] { report(930, 14, arguments(signal), {}); });
        quietly([&] { outputs_->show_log_only(); });
        outputs_->discard();
        quietly([] { reset_data(); });
        return status_signal + signal;
    }
    int status = status_fault;
    const bool done = quietly([&] {
        if (memory_short_ && !host_log().has_error()) report(930, 2, {}, {});
        outputs_->finish_report();
        if (!command_.keep_folder.empty()) keep_data_sets(command_.keep_folder);
        status = host_log().has_error() ? status_error : status_good;
        if (outputs_->standard_output_lost()) status = status_usage;
        if (fault_) status = status_fault;
        status = outputs_->finish_log(status);
    });
    if (!done) {
        // Memory ran out while the outputs were being completed: none of them is left half-written.
        outputs_->discard();
        reserve.reset();
        say("memory ran out while the outputs were being written");
        return status_error;
    }
    quietly([] { reset_data(); });
    return status;
}

void Session::show() {
    if (outputs_ != nullptr) outputs_->show();
}

void Session::drain() {
    if (outputs_ != nullptr) outputs_->drain();
}

bool Session::abandoned() const { return pending_signal() != 0 && !(prompting_ && pending_signal() == SIGINT); }

// ---- steps ------------------------------------------------------------------------------------------------------

StepEnd Session::run_step(std::string_view procedure, const Place& place) {
    procedure_ = procedure;
    step_ = ++steps_;
    const std::size_t errors_before = host_log().error_count();
    StepEnd end = StepEnd::stopped;
    try {
        host_log().set_statement(place);
        set_utility_budget(static_cast<std::int64_t>(host_options().number("BUDGET")));
        begin_step_pools();
        begin_step_data();
        tables().begin_step(procedure_, step_);
        qexvek();
        end = StepEnd::completed;
    } catch (const Leave& leave) {
        end = step_left(leave, errors_before);
    } catch (const Interrupted&) {
        clear_signal();
        quietly([] { report(930, 15, {}, {}); });
    } catch (const std::bad_alloc&) {
        out_of_memory();
    } catch (const std::exception& e) {
        fault(e.what());
    } catch (...) {
        fault("unknown exception");
    }
    end_step();
    return abandoned() ? StepEnd::abandoned : end;
}

StepEnd Session::step_left(const Leave& leave, std::size_t errors_before) {
    if (leave.code == 0) return StepEnd::completed;
    if (leave.code == leave_interrupted) return StepEnd::abandoned;
    const bool told = host_log().error_count() > errors_before;
    const Place place = host_log().statement();
    quietly([&] {
        if (!is_known_code(leave.code) && !(leave.code == 1012 && told)) {
            fault_ = true;
            report(930, 7, arguments(leave.code, leave.trace), place);
        } else if (!told) {
            report(930, is_memory_code(leave.code) ? 2 : leave.code == 999 ? 20 : 6, arguments(leave.code), place);
        }
    });
    return StepEnd::stopped;
}

void Session::end_step() {
    host_log().set_statement({});
    quietly([] { tables().end_step(); });
    quietly([] { end_run_group_data(false); });
    quietly([] { end_step_data(); });
    end_step_utility_files();
    end_step_pools();
    procedure_.clear();
    step_ = 0;
    if (!abandoned()) quietly([&] { show(); });
}

int Session::run_group(int (*callback)()) {
    if (outputs_ != nullptr) outputs_->begin_group();
    const std::size_t mark = tables().mark();
    const auto take_back = [&] {
        quietly([] { tables().discard_unfinished(); });
        if (outputs_ != nullptr) outputs_->take_back();
        tables().cut_back(mark);
    };
    int result = 0;
    std::optional<Leave> left;  // the usual end of the step
    try {
        try {
            result = callback();
        } catch (const Leave& leave) {
            if (leave.code != 0) throw;
            left = leave;
        }
        drain();
    } catch (const Interrupted&) {
        clear_signal();
        take_back();
        end_run_group(false);
        report(930, 15, {}, host_log().statement());
        show();
        if (left) throw *left;
        return -1;
    } catch (const Leave& leave) {
        if (leave.code == leave_interrupted) take_back();
        end_run_group(false);
        throw;
    } catch (...) {
        end_run_group(false);
        throw;
    }
    end_run_group(true);
    if (left) throw *left;
    show();
    return result;
}

void Session::end_run_group(bool ok) {
    if (!quietly([&] { end_run_group_data(ok); }) && ok) memory_short_ = true;
}

// ---- what goes wrong --------------------------------------------------------------------------------------------

void Session::out_of_memory() {
    memory_short_ = true;
    reserve.reset();
    quietly([] { report(930, 2, {}, host_log().statement()); });
}

void Session::fault(std::string_view what) {
    fault_ = true;
    quietly([&] { report(930, 8, arguments(what), host_log().statement()); });
}

// ---- what other rooms ask ---------------------------------------------------------------------------------------

namespace {

bool same_name(std::string_view a, std::string_view b) {
    auto capital = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; };
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (capital(a[i]) != capital(b[i])) return false;
    }
    return true;
}

}  // namespace

std::optional<std::string> Session::data_path(std::string_view name) const {
    for (const CommandLine::Pair& pair : command_.data) {
        if (same_name(pair.name, name)) return pair.value;
    }
    return std::nullopt;
}

bool Session::is_output(const std::string& path) const { return outputs_ != nullptr && outputs_->names(path); }

std::string Session::input_path(const std::string& path) const { return path_to_read(path, program_folder_); }

void Session::reset_for_test() {
    command_ = {};
    command_.quiet = true;
    procedure_.clear();
    program_folder_.clear();
    step_ = steps_ = 0;
    prompting_ = fault_ = memory_short_ = false;
    host_options().reset();
    host_log().clear();
    clear_signal();
    fail_allocation(0);
    fail_write(0);
    fail_new(0);
    tables().end_step();
    tables().cut_back(0);  // what earlier tests have left in the report
    end_step_utility_files();
    end_step_pools();
}

}  // namespace vek
