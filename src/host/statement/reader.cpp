// Reads programs: outside a step the host's statements, inside a step the statements of the grammar, each as one record
// and one round of callbacks. A mistake costs its statement; what it leaves undone is not complained of again.
#include "host/statement/reader.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "frame/host_message.h"
#include "frame/host_statement.h"
#include "host/data/dataset.h"
#include "host/data/library.h"
#include "host/statement/diagnostics.h"
#include "host/statement/interpreter.h"
#include "host/statement/lists.h"
#include "host/statement/suggest.h"

namespace vek {

namespace {

constexpr int rc_statement_error = 2000;   // a record or a list may have been begun
constexpr int rc_nothing_appended = 3000;  // the statement left no record

StatementReader* running = nullptr;

/// A word that stands for PROC and the procedure's name: one of the two was left out, or the blank between them.
bool one_word_begins_step(const Token& token) {
    return token.is("VEK") || token.is("ANOVA") || token.is("PROCVEK") || token.is("PROCANOVA");
}

/// Words that a statement may begin with, in a step of a grammar and outside.
void offer_keywords(const Grammar* grammar, Nearest* nearest) {
    for (const StatementRule& rule : grammar->statements) nearest->offer_all(rule.names);
    for (const HostStatement& host : host_statements()) nearest->offer(host.name);
}

Scanner::MoreText lines_of(LineSource* source) {
    if (source == nullptr) return {};
    return [source](std::string* text, bool continued) {
        std::string line;
        if (!source->next_line(&line, continued)) return false;
        text->append(line).push_back('\n');
        return true;
    };
}

}  // namespace

// ---- recovery -------------------------------------------------------------------------------------------------------

bool is_statement_keyword(const Grammar* grammar, std::string_view word) {
    if (find_host_statement(word) != nullptr || word == "PROC") return true;
    return grammar != nullptr && find_rule(grammar, word) != nullptr;
}

bool begins_statement(const TokenCursor& cursor, std::size_t position, const Step* step) {
    const Token& token = cursor.token(position);
    if (token.kind != TokenKind::name || position + 1 >= cursor.size()) return false;
    const std::string word = upper_case(token.text);
    const Grammar* grammar = step != nullptr ? step->grammar : nullptr;
    if (!is_statement_keyword(grammar, word)) return false;
    const Token& next = cursor.token(position + 1);
    if (word == "RUN" || word == "QUIT") return next.ends_statement();
    if (word == "PROC") return next.is("VEK") || next.is("ANOVA");
    const bool equals = position + 2 < cursor.size() && cursor.token(position + 2).is("=");
    if (word == "TITLE") return next.kind == TokenKind::string;
    if (word == "OPTIONS" || word == "LABEL" || word == "OUTPUT") return next.is_name() && equals;
    if (word == "TEST") return next.is("H") && equals;
    if (word == "MANOVA") return (next.is_name() && equals) || next.is("/") || next.ends_statement();
    if (word == "VALUE") return next.is_name() || next.kind == TokenKind::format;
    if (word == "WHERE") return !next.ends_statement() && !next.is("=");
    const StatementRule* rule = grammar != nullptr ? find_rule(grammar, word) : nullptr;
    if (rule != nullptr && (rule->body == Body::rows || rule->body == Body::row)) {
        return next.kind == TokenKind::string;
    }
    return next.is_name();
}

namespace {

/// The token before which a semicolon is missing: the failure's own or the one before it when it begins a statement, or
/// the first on its line that does. A variable of that name is none.
std::ptrdiff_t missing_semicolon(const TokenCursor& cursor, const Step* step) {
    std::size_t failed = 0;
    while (failed + 1 < cursor.size() && cursor.token(failed).offset < cursor.failure().token.offset) ++failed;
    int depth = 0;  // of open parentheses
    for (std::size_t i = 1; i <= failed && i < cursor.size(); ++i) {
        if (cursor.token(i).is("(")) ++depth;
        if (cursor.token(i).is(")")) --depth;
        if (depth > 0 && !cursor.token(i).first_on_line) continue;
        const bool near = i == failed || i + 1 == failed;
        if (!near && !cursor.token(i).first_on_line) continue;
        if (!begins_statement(cursor, i, step)) continue;
        const bool variable = step != nullptr && step->data != nullptr && xvfind(step->data, cursor.token(i).text) >= 0;
        if (variable && i != failed) continue;
        return static_cast<std::ptrdiff_t>(i);
    }
    return -1;
}

/// The last character of a token, as a place behind which a semicolon goes.
Token last_character(const Token& token) {
    Token last = token;
    last.column = token.column + token.length - 1;
    last.length = 1;
    std::size_t begin = token.text.size();
    while (begin > 0 && (token.text[--begin] & 0xC0) == 0x80) {
    }
    last.text = token.text.substr(begin);
    return last;
}

}  // namespace

/// True when the failure at hand is a fault that a program has as a whole (its encoding, its line ends) and that was
/// told where it stands first: mended there, it is mended everywhere.
bool StatementReader::told_of_whole_text() {
    const Token& token = cursor_.failure().token;
    const bool whole = token.kind == TokenKind::bad &&
                       (token.problem == TokenProblem::bad_encoding || token.problem == TokenProblem::zero_byte ||
                        token.problem == TokenProblem::lone_return);
    if (!whole) return false;
    // Text in UTF-16 has both kinds of bytes.
    bool& told = token.problem == TokenProblem::lone_return ? told_of_returns_ : told_of_bytes_;
    return std::exchange(told, true);
}

/// Logs the failure of the statement at hand. When a semicolon is missing that is what is said, and the next statement
/// begins where it is missing.
void StatementReader::report_and_resume() {
    if (!cursor_.failed()) return;  // it cannot be carried out for a reason that has been told
    remember_failed_text();
    if (told_of_whole_text()) return;
    const std::ptrdiff_t place = missing_semicolon(cursor_, in_step_ ? &step_ : nullptr);
    if (place > 0) {
        const Token before = cursor_.token(static_cast<std::size_t>(place) - 1);
        const Token keyword = cursor_.token(static_cast<std::size_t>(place));
        // A text ends with its quote, which is not part of its value.
        const std::string_view written = std::string_view(scanner_.text()).substr(before.offset, before.bytes);
        Token end = last_character(before);
        std::string character = end.text;
        if (!written.empty() && (written.back() & 0x80) == 0) character = std::string(1, written.back());
        report_at(cursor_, end, message_missing_semicolon, {upper_case(keyword.text)}, {}, character + ";");
        cursor_.resume_at(static_cast<std::size_t>(place));
        return;
    }
    report_failure(cursor_);
    // What was meant as a comment to the end of its line is over there.
    const Token& first = cursor_.token(0);
    if (!first.is("/") && !(first.kind == TokenKind::bad && first.text == "#")) return;
    for (std::size_t i = 1; i < cursor_.size(); ++i) {
        if (!cursor_.token(i).first_on_line) continue;
        cursor_.resume_at(i);
        return;
    }
}

/// Keeps the words of a statement with a mistake: what it would have made may be missing later.
void StatementReader::remember_failed_text() {
    constexpr std::size_t most = 1000000;
    const Token& first = cursor_.token(0);
    const Token& last = cursor_.token(cursor_.size() - 1);
    if (unmade_.text.size() > most || last.offset < first.offset) return;
    const std::string_view text = scanner_.text();
    unmade_.text += upper_case(text.substr(first.offset, last.offset + last.bytes - first.offset)) + "\n";
}

bool Unmade::mentions(std::string_view name) const {
    const std::string word = upper_case(name);
    return data_sets.count(word) > 0 || text.find(word) != std::string::npos;
}

// ---- programs and steps ---------------------------------------------------------------------------------------------

StatementReader::StatementReader(const ProgramText& program)
    : scanner_(program.name, program.text, lines_of(program.lines)), cursor_(&scanner_), outer_(running) {
    running = this;
}

StatementReader::~StatementReader() { running = outer_; }

StatementReader* StatementReader::current() { return running; }

/// The next statement that is not empty; false at the end of the program.
bool StatementReader::load() {
    for (;;) {
        if (session().abandoned()) return false;
        try {
            cursor_.load();
        } catch (const GivenUp&) {
            scanner_.give_up();
            continue;
        }
        if (cursor_.peek().kind == TokenKind::end_of_program) return false;
        if (cursor_.peek().kind != TokenKind::semicolon) return true;
    }
}

void StatementReader::run() {
    while (load()) outside_step();
}

void StatementReader::outside_step() {
    StepBeginning beginning;
    const Token first = cursor_.peek();
    host_log().set_statement(cursor_.place(first));
    const std::string word = first.kind == TokenKind::name ? upper_case(first.text) : std::string();
    const HostStatement* host = find_host_statement(word);
    if (host != nullptr && !cursor_.peek(1).is("=")) {
        quiet_ = quiet_ && host->allowed == Allowed::in_step;
        if (host->allowed == Allowed::in_step) {
            if (!quiet_) report_at(cursor_, first, message_only_in_step, {host->name});
        } else {
            cursor_.next();
            const bool good = host->carry_out != nullptr ? host->carry_out(cursor_, nullptr)
                                                         : cursor_.at_end() || cursor_.fail_expected("\";\"");
            if (!good) report_and_resume();
        }
    } else if (looks_like_proc(&beginning)) {
        quiet_ = false;
        if (!beginning.procedure.empty()) {
            run_step(beginning);
        } else {
            quiet_ = !session().prompting();
        }
    } else if (!quiet_) {
        if (is_statement_keyword(vekg(), word)) {
            quiet_ = !session().prompting();
            report_at(cursor_, first, message_outside_step, {word});
        } else {
            fail_unknown(word);
            report_and_resume();
        }
    }
    host_log().set_statement({});
}

/// True when the statement at hand begins with PROC, or with a word that can only be a misspelt one.
bool StatementReader::at_proc() const {
    const Token &first = cursor_.peek(0), &second = cursor_.peek(1);
    if (first.is("PROC") || first.is("PROCVEK") || first.is("PROCANOVA")) return true;
    const bool procedure = second.is("VEK") || second.is("ANOVA");
    return procedure && first.kind == TokenKind::name && spelling_distance(first.text, "PROC") == 1;
}

/// True when the statement at hand begins a step or was meant to. The procedure stays empty, and the mistake has been
/// reported, when nothing tells which one was meant.
bool StatementReader::looks_like_proc(StepBeginning* beginning) {
    const Token first = cursor_.peek(0), second = cursor_.peek(1);
    if (first.kind != TokenKind::name) return false;
    for (const std::string_view name : {"VEK", "ANOVA"}) {
        if (second.is(name)) beginning->procedure = name;
        if ((first.is(name) && !second.is("=")) || first.is(joined({"PROC", name}))) {
            // PROC was left out, or the blank behind it.
            beginning->procedure = name;
            beginning->good = false;
            return true;
        }
    }
    beginning->good = first.is("PROC") && !beginning->procedure.empty();
    if (!first.is("PROC")) return at_proc();
    if (beginning->good) return true;
    if (second.kind == TokenKind::name) {
        Nearest nearest(second.text);
        nearest.offer_all("VEK ANOVA");
        beginning->procedure = nearest.best();
        if (beginning->procedure.empty()) report_beginning();
        return true;
    }
    cursor_.next();
    cursor_.fail_expected("VEK or ANOVA");
    report_and_resume();
    return true;
}

/// Logs which word of those that begin a step is misspelt.
void StatementReader::report_beginning() {
    const Token first = cursor_.peek(0), second = cursor_.peek(1);
    if (!first.is("PROC")) {
        const bool left_out = first.is("VEK") || first.is("ANOVA");
        const std::string_view behind = left_out                      ? std::string_view(first.text)
                                        : one_word_begins_step(first) ? std::string_view(first.text).substr(4)
                                                                      : std::string_view();
        report_at(cursor_, first, message_unknown_statement, {first.text}, {},
                  in_case_of("PROC", first.text) + (behind.empty() ? "" : " ") + std::string(behind));
        return;
    }
    Nearest nearest(second.text);
    nearest.offer_all("VEK ANOVA");
    report_at(cursor_, second, message_unknown_procedure, {second.text}, "VEK or ANOVA",
              in_case_of(nearest.best(), second.text));
}

void StatementReader::run_step(const StepBeginning& beginning) {
    step_ = Step{};
    step_.unmade = &unmade_;
    in_step_ = true;
    proc_in_doubt_ = !beginning.good;
    skip_rest_ = false;
    const StepEnd end = session().run_step(beginning.procedure, cursor_.place(cursor_.peek()));
    set_where_gate(nullptr);
    step_.data = nullptr;
    if (end != StepEnd::completed || step_.silenced) {
        for (const std::string& name : step_.outputs) unmade_.data_sets.insert(upper_case(name));
    }
    const bool unfinished = std::exchange(in_step_, false);
    const bool stopped = (end == StepEnd::stopped && unfinished) || skip_rest_;
    if (stopped && !session().prompting() && !session().abandoned()) skip_step();
    step_ = Step{};
}

/// The statements of a step that has ended early. Those that hold for later steps are carried out.
void StatementReader::skip_step() {
    while (load()) {
        const Token first = cursor_.peek();
        if (at_proc()) {
            cursor_.keep();
            return;
        }
        if (first.is("QUIT")) return;
        const HostStatement* host =
            first.kind == TokenKind::name ? find_host_statement(upper_case(first.text)) : nullptr;
        if (host == nullptr || host->allowed != Allowed::anywhere || host->carry_out == nullptr) continue;
        cursor_.next();
        if (!host->carry_out(cursor_, nullptr)) report_and_resume();
    }
}

void StatementReader::step_loop(const Grammar* grammar, Proc* proc, int traces, const Callbacks* callbacks) {
    step_.grammar = grammar;
    step_.proc = proc;
    step_.callbacks = callbacks;
    step_.trace_semantic = (traces & trace_semantic) != 0;
    step_.trace_syntax = (traces & trace_syntax) != 0;
    if (!proc_statement()) {
        skip_rest_ = true;
        return quit();
    }
    while (load()) {
        const Token& first = cursor_.peek();
        if (at_proc()) {
            cursor_.keep();
            return quit();
        }
        const bool quits = first.is("QUIT") && !cursor_.peek(1).is("=");
        host_log().set_statement(cursor_.place(first));
        step_statement();
        if (quits) return quit();
    }
    quit();
}

/// The step ends. The procedure leaves from inside its callback, so this is the last that the loop does.
void StatementReader::quit() {
    in_step_ = false;
    const bool mistake = step_.checking;
    if (!mistake && !step_.model_tried && !session().abandoned()) {
        const Statement* head = step_.proc->head;
        const auto place = step_.places.find(head);
        report(statement_messages, message_no_model, {}, place != step_.places.end() ? place->second : Place{});
    }
    if (mistake && !step_.silenced && !session().prompting()) report(statement_messages, message_rest_not_run, {}, {});
    host_log().set_statement({});
    Proc& proc = *step_.proc;
    if (step_.silenced && proc.rc == 0 && proc.head != nullptr) {
        proc.head->next = nullptr;
        proc.head->slot(proc_by).count = 0;
    }
    if (step_.callbacks->quit != nullptr) session().run_group(step_.callbacks->quit);
}

void StatementReader::name_statement(const Statement* statement) {
    const auto place = step_.places.find(statement);
    host_log().set_statement(place != step_.places.end() ? place->second : Place{});
    step_.now = statement;
}

bool StatementReader::find_word(std::string_view text, Place* place, std::string* excerpt) const {
    const auto words = step_.words.find(step_.now);
    if (words == step_.words.end()) return false;
    // Of two equal names the second one is too much.
    const auto word =
        std::find_if(words->second.rbegin(), words->second.rend(), [&](const Word& w) { return w.text == text; });
    if (word == words->second.rend()) return false;
    *place = word->place;
    *excerpt = marked(*place);
    return true;
}

std::string StatementReader::marked(const Place& place) const {
    return marked_line(scanner_.line(place.line), place.column, place.length);
}

/// False when the step ends behind the statement at hand: with QUIT, the next PROC or the program. What will be typed
/// at a prompt is not known.
bool StatementReader::step_may_go_on() const {
    if (!in_step_) return false;
    if (session().prompting()) return true;
    const Token& last = cursor_.token(cursor_.size() - 1);
    std::string_view rest = std::string_view(scanner_.text()).substr(last.offset + last.bytes);
    for (;;) {
        rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n;"), rest.size()));
        if (rest.substr(0, 2) != "/*") break;
        rest.remove_prefix(std::min(rest.find("*/"), rest.size() - 2) + 2);
    }
    const std::string word = upper_case(rest.substr(0, 5));
    const bool whole = word.size() < 5 || word.find_first_of(" \t\r\n;", 4) == 4;
    return !rest.empty() && !(whole && (word.substr(0, 4) == "QUIT" || word.substr(0, 4) == "PROC"));
}

// ---- the statements of a step ---------------------------------------------------------------------------------------

/// Tells the procedure that a statement begins; true when it refuses it.
bool StatementReader::begins() {
    const Token& first = cursor_.peek();
    current_text_ = first.kind == TokenKind::name ? upper_case(first.text) : first.text;
    return step_.callbacks->statement_begins != nullptr && step_.callbacks->statement_begins();
}

/// The statement at hand has a mistake, which has been reported. The procedure takes it back when it can.
void StatementReader::statement_failed(int rc) {
    Proc& proc = *step_.proc;
    if (step_.silenced) {
        step_.checking = true;
        return;
    }
    proc.rc = rc;
    if (step_.callbacks->statement_parsed != nullptr) step_.callbacks->statement_parsed();
    if (proc.rc != 0) step_.checking = true;
}

void StatementReader::statement_done() {
    if (step_.checking) return;
    step_.proc->rc = 0;
    if (step_.callbacks->statement_parsed != nullptr) step_.callbacks->statement_parsed();
}

/// The PROC statement. False when the step cannot go on.
bool StatementReader::proc_statement() {
    Proc& proc = *step_.proc;
    const StatementRule& rule = step_.grammar->statements.front();
    const Token keyword = cursor_.peek();
    host_log().set_statement(cursor_.place(keyword));
    if (proc_in_doubt_) report_beginning();
    begins();
    StatementContext c{.cursor = cursor_, .step = step_, .rule = &rule, .keyword = keyword};
    c.record = begin_record(&proc, c.name(), rule.highest);
    step_.places[c.record] = cursor_.place(keyword);
    if (step_.grammar->procedure_bit >= 0) c.record->set_option(step_.grammar->procedure_bit);
    cursor_.next();
    if (!one_word_begins_step(keyword)) cursor_.next();
    bool good = parse_statement(c);
    if (!good) report_and_resume();
    // What follows is read with the data set even when the statement has a mistake, if it is known which one is meant.
    const bool named = std::any_of(c.opens.begin(), c.opens.end(), [&](const PendingOpen& o) {
        return !o.output && !(proc_in_doubt_ && o.absent && last_made() == nullptr);
    });
    step_.checking = !good || proc_in_doubt_;
    if ((good && !proc_in_doubt_) || named) {
        const bool opened = open_data_sets(c);
        if (cursor_.failed() && good) report_failure(cursor_);
        good = good && opened;
        step_.data = c.record->slot(proc_data).handle;
    }
    step_.checking = false;
    if (good && !proc_in_doubt_) {
        proc.headdone = true;
        statement_done();
        trace(c);
        return true;
    }
    statement_failed(rc_statement_error);
    // At the prompt the step is over; otherwise its other statements are read for their own mistakes.
    return proc.head != nullptr && !session().prompting();
}

void StatementReader::step_statement() {
    const Token first = cursor_.peek();
    const std::string word = first.kind == TokenKind::name ? upper_case(first.text) : std::string();
    if (step_.trace_syntax) {
        std::string text;
        for (std::size_t i = 0; i < cursor_.size(); ++i) text.append(" ").append(shown_token(cursor_.token(i)));
        xpslog("SYN%s", text.c_str());
    }
    const HostStatement* host = find_host_statement(word);
    const StatementRule* rule = find_rule(step_.grammar, word);
    if (host != nullptr && host->carry_out == nullptr) {
        run_statement();
    } else if (host != nullptr) {
        host_statement(*host);
    } else if (rule != nullptr) {
        grammar_statement(*rule);
    } else {
        const bool refused = std::any_of(step_.grammar->refused.begin(), step_.grammar->refused.end(),
                                         [&](const RefusedStatement& r) { return has_name(r.names, word); });
        begins();
        if (refused) {
            refused_statement(word);
        } else {
            // Whatever it was meant to be, what depends on it is in doubt.
            fail_unknown(word);
            report_and_resume();
            step_.class_in_doubt = true;
        }
        statement_failed(rc_nothing_appended);
        // What was taken back leaves no doubt: the step goes on, and what it runs must be sound.
        if (step_.proc->rc == 0) step_.class_in_doubt = false;
    }
}

void StatementReader::fail_unknown(const std::string& word) {
    const Token first = cursor_.peek();
    const bool slashes = first.is("/") && cursor_.peek(1).is("/") && cursor_.peek(1).adjoins;
    if (first.is("*") || slashes) {
        cursor_.fail(slashes ? spanning(first, cursor_.peek(1)) : first, statement_messages, message_star_comment,
                     {slashes ? "//" : "*"});
        return;
    }
    if (word.empty()) {
        cursor_.fail_expected("a statement");
        return;
    }
    Nearest nearest(word);
    nearest.offer("PROC");
    offer_keywords(in_step_ ? step_.grammar : vekg(), &nearest);
    cursor_.fail(first, statement_messages, message_unknown_statement, {first.text}, {},
                 in_case_of(nearest.best(), first.text));
}

/// A statement that only the other procedure has.
void StatementReader::refused_statement(const std::string& word) {
    for (const RefusedStatement& refused : step_.grammar->refused) {
        if (!has_name(refused.names, word)) continue;
        if (refused.message != 0) {
            constexpr int procedure_messages = 172;
            xpmlog(procedure_messages, refused.message);
        } else {
            report_at(cursor_, cursor_.peek(), message_not_in_anova, {first_name(refused.names)});
        }
        return;
    }
}

void StatementReader::grammar_statement(const StatementRule& rule) {
    Proc& proc = *step_.proc;
    const Token keyword = cursor_.peek();
    const bool model = rule.body == Body::model;
    if (model) step_.model_tried = true;
    if (begins()) return;  // the procedure has said why
    StatementContext c{.cursor = cursor_, .step = step_, .rule = &rule, .keyword = keyword};
    // A list statement reopens the record of PROC, which is the newest as long as the statement is read.
    Statement* newest = proc.last;
    int before = 0;
    const std::vector<ByVariable> by = step_.by;
    const bool by_not_sorted = step_.by_not_sorted;
    if (rule.is_list()) {
        c.record = proc.head;
        proc.last = proc.head;
        before = proc.head->slot(rule.slot).count;
    } else {
        c.record = begin_record(&proc, c.name(), rule.highest);
        step_.places[c.record] = cursor_.place(keyword);
        if (model) step_.intercept = nullptr;
    }
    cursor_.next();
    bool good = parse_statement(c);
    if (!good) {
        report_and_resume();
    } else {
        good = open_data_sets(c);
        if (!good && cursor_.failed()) report_failure(cursor_);
    }
    if (good) {
        if (model) {
            step_.model_given = true;
            step_.model_in_doubt = false;
        }
        if (rule.body == Body::by && step_.data != nullptr && !step_.checking) {
            set_by(step_.data, step_.by, step_.by_not_sorted, cursor_.place(keyword));
        }
        trace(c);
        statement_done();
        if (rule.is_list()) proc.last = newest;
        return;
    }
    statement_failed(rc_statement_error);
    if (rule.is_list()) {
        proc.last = newest;
        if (proc.rc == 0) {
            proc.head->slot(rule.slot).count = before;
            step_.by = by;
            step_.by_not_sorted = by_not_sorted;
        } else {
            step_.class_in_doubt = step_.class_in_doubt || rule.slot == proc_class;
        }
    }
    if (model) {
        step_.model_given = false;
        step_.model_in_doubt = proc.rc != 0;
        step_.intercept = nullptr;
    }
    if (proc.rc == 0) step_.class_in_doubt = false;
}

void StatementReader::host_statement(const HostStatement& host) {
    const Token first = cursor_.peek();
    begins();
    const bool where = host.name == "WHERE";
    if (where && step_.callbacks->where != nullptr) step_.callbacks->where();
    bool good = true;
    if (host.allowed == Allowed::outside_step) {
        report_at(cursor_, first, message_in_step, {host.name});
        good = false;
    } else {
        cursor_.next();
        good = host.carry_out(cursor_, &step_);
        if (!good) report_and_resume();
    }
    if (!good) {
        if (where && step_.callbacks->where_end != nullptr) {
            step_.proc->rc = rc_nothing_appended;
            step_.callbacks->where_end();
            if (step_.proc->rc != 0) step_.checking = true;
        } else {
            statement_failed(rc_nothing_appended);
        }
    } else if (where && !step_.checking && step_.callbacks->where_end != nullptr) {
        step_.callbacks->where_end();
    }
}

/// RUN, and QUIT as far as it is a statement: the loop ends the step behind it.
void StatementReader::run_statement() {
    begins();
    const bool run = cursor_.next().is("RUN");
    if (!cursor_.at_end()) {
        cursor_.fail_expected("\";\"");
        report_and_resume();
        statement_failed(rc_nothing_appended);
        return;
    }
    host_log().set_statement({});
    if (run && !step_.checking && step_.callbacks->run != nullptr) session().run_group(step_.callbacks->run);
}

void StatementReader::trace(const StatementContext& c) {
    if (!step_.trace_semantic) return;
    const std::vector<SlotView> views = slot_views(*c.rule, step_.grammar->statements.front());
    xpslog("SEM %s", describe(*c.record, views).c_str());
}

// ---- the operations of the host that the module calls ---------------------------------------------------------------

void run_program(const ProgramText& program) { StatementReader(program).run(); }

void xsproc(const Grammar* grammar, Proc* proc, int traces, const Callbacks* callbacks) {
    if (running != nullptr) running->step_loop(grammar, proc, traces, callbacks);
}

std::string_view xttkcur() { return running != nullptr ? running->current_text() : std::string_view{}; }

void xttksp() {
    if (running != nullptr) running->skip_to_end();
}

void xowgate(int (*gate)()) { set_where_gate(gate); }

std::string_view wtinfo(int) { return session().procedure(); }

bool xsmore() { return running == nullptr || running->step_may_go_on(); }

void xsnow(const Statement* statement) {
    if (running != nullptr) running->name_statement(statement);
}

}  // namespace vek
