// Walks over the tokens of one statement and keeps its first failure.
#include <algorithm>

#include "host/statement/diagnostics.h"
#include "host/statement/scanner.h"

namespace vek {

void TokenCursor::load() {
    if (resume_ > 0) {
        tokens_.erase(tokens_.begin(), tokens_.begin() + std::min<std::ptrdiff_t>(
                                                             resume_, static_cast<std::ptrdiff_t>(tokens_.size()) - 1));
    } else if (resume_ < 0) {
        tokens_ = scanner_->statement();
    }
    resume_ = -1;
    at_ = 0;
    failure_ = {};
}

const Token& TokenCursor::peek(int ahead) const {
    return tokens_[std::min(at_ + static_cast<std::size_t>(ahead), tokens_.size() - 1)];
}

const Token& TokenCursor::next() {
    const Token& token = tokens_[at_];
    if (at_ + 1 < tokens_.size()) ++at_;
    return token;
}

bool TokenCursor::accept(std::string_view word) {
    if (!is(word)) return false;
    next();
    return true;
}

void TokenCursor::to_end() { at_ = tokens_.size() - 1; }

bool TokenCursor::fail(const Token& at, int group, int number, std::initializer_list<MessageArgument> arguments,
                       std::string expected, std::string suggest) {
    if (failure_.set) return false;
    failure_.set = true;
    failure_.token = at;
    if (at.kind == TokenKind::bad) {
        describe_problem(at, &failure_);
        return false;
    }
    failure_.group = group;
    failure_.number = number;
    for (const MessageArgument& a : arguments) {
        failure_.arguments.push_back({a.kind, std::string(a.text), a.integer, a.real});
    }
    failure_.expected = std::move(expected);
    failure_.suggest = std::move(suggest);
    return false;
}

bool TokenCursor::fail_expected(std::string expected, std::string suggest) {
    const Token& at = peek();
    if (at.ends_statement()) {
        return fail(at, statement_messages, message_incomplete, {}, std::move(expected), std::move(suggest));
    }
    return fail(at, statement_messages, message_unexpected, {shown_token(at)}, std::move(expected), std::move(suggest));
}

Place TokenCursor::place(const Token& token) const {
    return {scanner_->file(), token.line, token.column, token.length};
}

}  // namespace vek
