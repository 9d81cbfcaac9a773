// Cuts a program text into tokens, one statement at a time, and hands them out through a cursor that remembers the
// first failure of the statement. More text is asked for only when a statement is not complete, so that the same
// scanner serves a file, a pipe and the prompt.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "frame/host_message.h"
#include "host/message/log.h"
#include "host/statement/token.h"

namespace vek {

constexpr int longest_name = 128;     ///< characters of a name or a name literal
constexpr int longest_text = 32767;   ///< bytes of a text constant
constexpr int most_tokens = 1000000;  ///< tokens of one statement

/// A program and the positions in it.
class Scanner {
  public:
    /// Appends the next line of the program with its end; false at the program's end. `continued` is true within a
    /// statement.
    using MoreText = std::function<bool(std::string*, bool continued)>;

    Scanner(std::string file, std::string text, MoreText more = {});

    /// Reads the tokens up to and including the next semicolon; the last one is a semicolon or the end of the program.
    std::vector<Token> statement();
    /// Leaves out what has been read and not yet handed out, after more text was asked for in vain.
    void give_up();
    /// The text line of the program (from 1), without its end.
    std::string_view line(int number) const;
    const std::string& file() const { return file_; }
    const std::string& text() const { return text_; }

  private:
    Token scan();
    bool available(std::size_t ahead = 0);
    char at(std::size_t ahead = 0) const { return text_[at_ + ahead]; }
    bool skip_blank(Token* bad);
    bool skip_comment();
    void step();
    std::string_view letter_at();
    void scan_text(Token* token);
    void scan_name(Token* token);
    void scan_number(Token* token);
    void scan_point(Token* token);
    void scan_format_tail(Token* token);
    void scan_punctuation(Token* token);
    void read_suffix(Token* token);
    void note(TokenProblem problem);
    void finish(Token* token);

    std::string file_, text_;
    MoreText more_;
    bool ended_ = false;
    bool in_statement_ = false;
    std::size_t at_ = 0;
    int line_ = 1, column_ = 1;
    std::size_t last_end_ = 0;  // where the token before ended
    int last_line_ = 0;         // and in which line
    TokenProblem problem_ = TokenProblem::none;
    int problem_line_ = 0, problem_column_ = 0;
    std::vector<std::size_t> line_starts_{0};
};

/// The first failure of a statement, kept until the engine reports it.
struct Failure {
    struct Argument {
        MessageArgument::Kind kind = MessageArgument::Kind::text;
        std::string text;
        std::int64_t integer = 0;
        double real = 0;
    };
    bool set = false;
    Token token;
    int group = 0, number = 0;
    std::vector<Argument> arguments;
    std::string expected;  ///< what could stand there, as a phrase: an option of MODEL or ";"
    std::string suggest;   ///< replaces exactly the token's characters
};

/// Walks over the tokens of one statement; it never moves past the statement's end.
class TokenCursor {
  public:
    explicit TokenCursor(Scanner* scanner) : scanner_(scanner) {}

    /// Begins the next statement: the one that keep() holds back, what follows resume_at(), or the scanner's next.
    void load();
    /// The statement at hand is read again by the next load().
    void keep() { resume_ = 0; }
    /// The next load() begins at this token of the statement at hand: a semicolon is missing before it.
    void resume_at(std::size_t position) { resume_ = static_cast<std::ptrdiff_t>(position); }

    const Token& peek(int ahead = 0) const;
    /// The token at the cursor; the cursor moves on unless it is the statement's end.
    const Token& next();
    bool at_end() const { return peek().ends_statement(); }
    bool is(std::string_view word) const { return peek().is(word); }
    /// Moves over the token if it is this word or punctuation (in capitals).
    bool accept(std::string_view word);

    std::size_t position() const { return at_; }
    void rewind(std::size_t position) { at_ = position; }
    const Token& token(std::size_t position) const { return tokens_[position]; }
    std::size_t size() const { return tokens_.size(); }
    void to_end();  ///< moves to the statement's end

    /// Records a failure at a token, unless the statement has one already; a bad token is reported as what it is.
    /// Always false, so that a reader can `return cursor.fail(...)`.
    bool fail(const Token& at, int group, int number, std::initializer_list<MessageArgument> arguments,
              std::string expected = {}, std::string suggest = {});
    /// The failure of a token that cannot stand there: says what was found and what was expected.
    bool fail_expected(std::string expected, std::string suggest = {});
    bool failed() const { return failure_.set; }
    const Failure& failure() const { return failure_; }
    void clear_failure() { failure_ = {}; }

    Place place(const Token& token) const;
    const Scanner& scanner() const { return *scanner_; }

  private:
    Scanner* scanner_;
    std::vector<Token> tokens_{Token{}};
    std::size_t at_ = 0;
    std::ptrdiff_t resume_ = -1;
    Failure failure_;
};

}  // namespace vek
