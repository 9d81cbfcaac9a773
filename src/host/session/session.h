// A session: the command line's files and settings, the programs that run under them, and what comes of it.
//
// The statement engine reads the program and calls back here at the borders of steps and run groups. The session calls
// the module's entry for each step, is the place where a step that leaves is caught, and puts outputs in place.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/message/log.h"

namespace vek {

/// What the command line says.
struct CommandLine {
    struct Pair {
        std::string name, value;
    };
    std::vector<std::string> programs;  ///< `-` or none: standard input
    std::vector<Pair> data;
    std::vector<Pair> options;
    std::string listing = "-", log, json, html, markdown, csv_folder, keep_folder;  ///< log empty: standard error
    bool quiet = false;
};

/// Thrown out of next_line when the user gives up what has been typed of a statement.
struct GivenUp {};

/// Where the lines of a program that is typed come from.
class LineSource {
  public:
    virtual ~LineSource() = default;
    /// The next line without its end; false at the end of the input. `continued` chooses the second prompt. Throws
    /// GivenUp at an interrupt.
    virtual bool next_line(std::string* line, bool continued) = 0;
};

/// The prompt on the terminal: lines with editing and history.
LineSource* prompt_lines();

/// A program before it is read. With `lines` the text arrives line by line, and `text` is empty.
struct ProgramText {
    std::string name;    ///< as messages show it
    std::string folder;  ///< where relative paths are looked up after the current directory; empty for none
    std::string text;
    LineSource* lines = nullptr;
};

/// The statement engine (host/statement): reads a program to its end. Outside a step it carries out host statements; at
/// PROC it calls Session::run_step and, when that returns, goes on behind what the step has read.
void run_program(const ProgramText& program);

enum class StepEnd {
    completed,  ///< the procedure ended by itself
    stopped,    ///< it left early: the rest of the step's statements is skipped, later steps run
    abandoned,  ///< a signal: nothing more of the program runs
};

struct Leave;
class Outputs;

class Session {
  public:
    /// Runs everything that the command line asks for; the exit status, or 128 + a signal's number.
    int run(const CommandLine& command);

    // ---- called by the statement engine -------------------------------------------------------------------------

    /// Runs one step: "VEK" or "ANOVA", at the place of its name. The module's statement loop (xsproc) runs inside.
    StepEnd run_step(std::string_view procedure, const Place& place);
    /// Calls the module's callback for RUN or QUIT as one run group: data sets that it completed are put in place when
    /// it returns, or removed when the group failed. At the prompt an interrupt ends the callback and the step goes on
    /// (the result is then -1).
    int run_group(int (*callback)());
    /// True when no more statements are to be read.
    bool abandoned() const;
    /// Shows what has come to the log and the listing since the last call. The session does so after each run group and
    /// step; at the prompt the engine does so after each statement.
    void show();
    /// Writes the tables that are complete within the run group; they are shown when it ends.
    void drain();
    /// True at the prompt.
    bool prompting() const { return prompting_; }

    std::string_view procedure() const { return procedure_; }  ///< of the running step
    int step() const { return step_; }                         ///< its number from 1; 0 outside

    // ---- called by the data room --------------------------------------------------------------------------------

    /// The path that --data gives a name, ignoring case.
    std::optional<std::string> data_path(std::string_view name) const;
    /// A relative path to read: from the current directory, then from the folder of the program file.
    std::string input_path(const std::string& path) const;
    const CommandLine& command() const { return command_; }
    /// True when `path` is a file that the command line names as an output.
    bool is_output(const std::string& path) const;

    /// Prepares a session for a test that drives rooms by hand: no outputs, default options, an empty log.
    void reset_for_test();

  private:
    void run_programs(const std::vector<ProgramText>& programs);
    StepEnd step_left(const Leave& leave, std::size_t errors_before);
    void end_run_group(bool ok);
    void end_step();
    void out_of_memory();
    void fault(std::string_view what);
    int finish();

    CommandLine command_;
    Outputs* outputs_ = nullptr;
    std::string procedure_, program_folder_;
    int step_ = 0, steps_ = 0;
    bool prompting_ = false;
    bool fault_ = false;         ///< a fault of the program itself: exit status 3
    bool memory_short_ = false;  ///< even the message about it may have failed
};

Session& session();

}  // namespace vek
