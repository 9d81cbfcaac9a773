// The statement loop: reads a program statement by statement, runs steps, carries out the host's statements, and goes
// on behind a mistake.
#pragma once

#include <string>
#include <string_view>

#include "host/session/session.h"
#include "host/statement/host_statements.h"
#include "host/statement/step.h"

namespace vek {

/// What a step begins with: the keyword PROC, misspelt or not, and the name of a procedure.
struct StepBeginning {
    std::string procedure;  ///< VEK or ANOVA
    bool good = true;       ///< false when one of the words is misspelt
};

class StatementReader {
  public:
    explicit StatementReader(const ProgramText& program);
    StatementReader(const StatementReader&) = delete;
    StatementReader& operator=(const StatementReader&) = delete;
    ~StatementReader();

    /// Reads the program to its end.
    void run();

    // ---- called from inside a step (frame/host_statement.h) ---------------------------------------------------------
    void step_loop(const Grammar* grammar, Proc* proc, int traces, const Callbacks* callbacks);
    std::string_view current_text() const { return current_text_; }
    void skip_to_end() { cursor_.to_end(); }
    void name_statement(const Statement* statement);
    /// Finds a word of the statement that is being carried out: its place, and its line with a mark under it. False
    /// when the statement has no such word.
    bool find_word(std::string_view text, Place* place, std::string* excerpt) const;
    /// The line of a place in the program with a mark under it.
    std::string marked(const Place& place) const;
    bool step_may_go_on() const;
    const Step& step() const { return step_; }

    /// The reader whose program is running; null outside.
    static StatementReader* current();

  private:
    bool load();
    void outside_step();
    bool at_proc() const;
    bool looks_like_proc(StepBeginning* beginning);
    void report_beginning();
    void run_step(const StepBeginning& beginning);
    void skip_step();

    bool proc_statement();
    void step_statement();
    void grammar_statement(const StatementRule& rule);
    void host_statement(const HostStatement& host);
    void run_statement();
    void refused_statement(const std::string& word);
    void fail_unknown(const std::string& word);
    void quit();

    bool begins();
    void report_and_resume();
    bool told_of_whole_text();
    void statement_failed(int rc);
    void statement_done();
    void trace(const StatementContext& c);
    void remember_failed_text();

    Scanner scanner_;
    TokenCursor cursor_;
    Step step_;
    Unmade unmade_;
    std::string current_text_;
    bool in_step_ = false;        ///< between PROC and the end of the step
    bool proc_in_doubt_ = false;  ///< the words that began the step were misspelt
    bool skip_rest_ = false;      ///< the step cannot go on behind its PROC statement
    bool quiet_ = false;          ///< a step that could not begin: its statements are not complained of again
    bool told_of_bytes_ = false, told_of_returns_ = false;  ///< faults of the text as a whole that the log has
    StatementReader* outer_ = nullptr;
};

}  // namespace vek
