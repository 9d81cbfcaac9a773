// Turns program text into tokens with their places. Faults of the text (an open quote, a byte that cannot be) become
// bad tokens that are reported where a statement meets them, so that one fault makes one message.
#include "host/statement/scanner.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

#include "numeric/missing.h"

namespace vek {

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_ascii_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

/// Bytes of the valid character that begins at the text's front; 0 when none does.
std::size_t character_bytes(std::string_view text, std::int32_t* code = nullptr) {
    if (text.empty()) return 0;
    std::int32_t found = 0;
    const auto bytes = utf8proc_iterate(reinterpret_cast<const std::uint8_t*>(text.data()),
                                        static_cast<utf8proc_ssize_t>(text.size()), &found);
    if (bytes <= 0) return 0;
    if (code != nullptr) *code = found;
    return static_cast<std::size_t>(bytes);
}

bool is_letter(std::int32_t code) {
    switch (utf8proc_category(code)) {
        case UTF8PROC_CATEGORY_LU:
        case UTF8PROC_CATEGORY_LL:
        case UTF8PROC_CATEGORY_LT:
        case UTF8PROC_CATEGORY_LM:
        case UTF8PROC_CATEGORY_LO:
        case UTF8PROC_CATEGORY_MN:
        case UTF8PROC_CATEGORY_MC:
            return true;
        default:
            return false;
    }
}

/// Reads up to `most` digits at the front and drops them; -1 when there is none.
int take_digits(std::string_view* text, std::size_t most) {
    std::size_t n = 0;
    int value = 0;
    while (n < text->size() && n < most && is_digit((*text)[n])) value = 10 * value + ((*text)[n++] - '0');
    text->remove_prefix(n);
    return n == 0 ? -1 : value;
}

/// Days from 1 January 1960 to a date of the Gregorian calendar.
double days_since_1960(int year, int month, int day) {
    const int y = month <= 2 ? year - 1 : year;
    const int era = y / 400;
    const int year_of_era = y - era * 400;
    const int day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const int day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
    constexpr int from_year_zero_to_1960 = 715815;
    return static_cast<double>(era) * 146097 + day_of_era - from_year_zero_to_1960;
}

/// A date such as 01JAN2020 at the front.
bool take_date(std::string_view* text, double* days) {
    static constexpr std::array<std::string_view, 12> months{"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                                             "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
    const int day = take_digits(text, 2);
    if (day < 1 || text->size() < 3) return false;
    const std::string name = upper_case(text->substr(0, 3));
    const auto month = std::find(months.begin(), months.end(), name);
    if (month == months.end()) return false;
    text->remove_prefix(3);
    const std::size_t before = text->size();
    const int year = take_digits(text, 4);
    if (before - text->size() != 4 || year < 1583) return false;
    const int m = static_cast<int>(month - months.begin()) + 1;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (day > lengths[m - 1] + (m == 2 && leap ? 1 : 0)) return false;
    *days = days_since_1960(year, m, day);
    return true;
}

/// A time such as 12:30 or 12:30:05.5 at the front.
bool take_time(std::string_view* text, double* seconds) {
    const int hour = take_digits(text, 2);
    if (hour < 0 || hour > 24 || text->empty() || text->front() != ':') return false;
    text->remove_prefix(1);
    const int minute = take_digits(text, 2);
    if (minute < 0 || minute > 59) return false;
    double second = 0;
    if (!text->empty() && text->front() == ':') {
        text->remove_prefix(1);
        const auto read = std::from_chars(text->data(), text->data() + text->size(), second, std::chars_format::fixed);
        if (read.ec != std::errc{} || second < 0 || second >= 60) return false;
        text->remove_prefix(static_cast<std::size_t>(read.ptr - text->data()));
    }
    *seconds = hour * 3600.0 + minute * 60.0 + second;
    return true;
}

/// True when the line that ends before `end` closes a statement.
bool line_ends_statement(std::string_view text, std::size_t from, std::size_t end, std::size_t* semicolon) {
    while (end > from && is_blank(text[end - 1])) --end;
    if (end == from || text[end - 1] != ';') return false;
    *semicolon = end - 1;
    return true;
}

/// Faults that stand at one character, wherever in a text or comment that is.
bool is_single_character(TokenProblem problem) {
    return problem == TokenProblem::bad_encoding || problem == TokenProblem::zero_byte ||
           problem == TokenProblem::lone_return || problem == TokenProblem::bad_character;
}

}  // namespace

std::string upper_case(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return result;
}

bool same_word(std::string_view a, std::string_view b) {
    const auto capital = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; };
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) { return capital(x) == capital(y); });
}

bool Token::is(std::string_view word) const {
    if (kind == TokenKind::punctuation) return text == word;
    if (kind == TokenKind::semicolon) return word == ";";
    return kind == TokenKind::name && same_word(text, word);
}

Scanner::Scanner(std::string file, std::string text, MoreText more)
    : file_(std::move(file)), text_(std::move(text)), more_(std::move(more)) {
    if (text_.starts_with("\xEF\xBB\xBF")) at_ = 3;
    ended_ = !more_;
}

bool Scanner::available(std::size_t ahead) {
    while (at_ + ahead >= text_.size()) {
        if (ended_ || !more_(&text_, in_statement_)) {
            ended_ = true;
            return false;
        }
    }
    return true;
}

void Scanner::give_up() {
    while (at_ < text_.size()) step();
    in_statement_ = false;
    problem_ = TokenProblem::none;
}

void Scanner::note(TokenProblem problem) {
    if (problem_ != TokenProblem::none) return;
    problem_ = problem;
    problem_line_ = line_;
    problem_column_ = column_;
}

/// Moves over one character and checks it.
void Scanner::step() {
    const char c = text_[at_];
    if (c == '\n') {
        ++at_;
        ++line_;
        column_ = 1;
        line_starts_.push_back(at_);
        return;
    }
    if (c == '\0') note(TokenProblem::zero_byte);
    std::size_t bytes = character_bytes(std::string_view(text_).substr(at_));
    if (bytes == 0) {
        note(TokenProblem::bad_encoding);
        bytes = 1;
    }
    at_ += bytes;
    ++column_;
}

/// The letter, digit or underscore at the position; empty when something else stands there.
std::string_view Scanner::letter_at() {
    if (!available()) return {};
    const char c = at();
    const std::string_view rest = std::string_view(text_).substr(at_);
    if (is_ascii_letter(c) || is_digit(c) || c == '_') return rest.substr(0, 1);
    if (static_cast<unsigned char>(c) < 0x80) return {};
    std::int32_t code = 0;
    const std::size_t bytes = character_bytes(rest, &code);
    return bytes > 0 && is_letter(code) ? rest.substr(0, bytes) : std::string_view{};
}

bool Scanner::skip_comment() {
    step();
    step();
    while (available(1)) {
        if (at() == '*' && at(1) == '/') {
            step();
            step();
            return true;
        }
        step();
    }
    while (available()) step();
    note(TokenProblem::unclosed_comment);
    return false;
}

/// Skips blanks and comments. False when a fault was met there; `bad` is then its token.
bool Scanner::skip_blank(Token* bad) {
    while (available()) {
        *bad = Token{};
        bad->offset = at_;
        bad->line = line_;
        bad->column = column_;
        if (is_blank(at())) {
            if (at() == '\r' && (!available(1) || at(1) != '\n')) note(TokenProblem::lone_return);
            step();
        } else if (at() == '/' && available(1) && at(1) == '*') {
            skip_comment();
        } else {
            return true;
        }
        if (problem_ != TokenProblem::none) return false;
    }
    return true;
}

void Scanner::finish(Token* token) {
    token->bytes = at_ - token->offset;
    token->first_on_line = token->line != last_line_;
    token->adjoins = token->offset == last_end_ && token->offset > 0;
    const std::string_view written = std::string_view(text_).substr(token->offset, token->bytes);
    const std::string_view first_line = written.substr(0, written.find('\n'));
    token->length = static_cast<int>(
        std::count_if(first_line.begin(), first_line.end(), [](char c) { return (c & 0xC0) != 0x80; }));
    if (problem_ != TokenProblem::none) {
        token->kind = TokenKind::bad;
        token->problem = problem_;
        token->text = first_line;
        if (is_single_character(problem_)) {
            token->line = problem_line_;
            token->column = problem_column_;
            token->length = 1;
        }
        problem_ = TokenProblem::none;
    }
    last_end_ = at_;
    last_line_ = line_;
}

/// A text constant. One that is still open where a line ends with a semicolon is taken as never closed, and ends there:
/// the statements behind it are read as they were meant.
void Scanner::scan_text(Token* token) {
    const char quote = at();
    token->kind = TokenKind::string;
    step();
    for (;;) {
        if (!available()) {
            std::size_t semicolon = 0;
            note(TokenProblem::unclosed_text);
            if (line_ends_statement(text_, token->offset, text_.size(), &semicolon)) at_ = semicolon;
            break;
        }
        if (at() == quote) {
            step();
            if (!available() || at() != quote) break;
        } else if (at() == '\n') {
            std::size_t semicolon = 0;
            if (line_ends_statement(text_, token->offset, at_, &semicolon)) {
                note(TokenProblem::unclosed_text);
                column_ -= static_cast<int>(at_ - semicolon);
                at_ = semicolon;
                break;
            }
        }
        const std::size_t from = at_;
        step();
        token->text.append(text_, from, at_ - from);
        if (token->text.size() > static_cast<std::size_t>(longest_text)) note(TokenProblem::too_long);
    }
    if (problem_ == TokenProblem::none) read_suffix(token);
}

/// The letters behind a closing quote that make the text a name or a time: n, d, t, dt.
void Scanner::read_suffix(Token* token) {
    const std::size_t from = at_;
    std::size_t ahead = 0;
    while (available(ahead) && is_ascii_letter(at(ahead))) ++ahead;
    const std::string suffix = upper_case(std::string_view(text_).substr(from, ahead));
    if (suffix != "N" && suffix != "D" && suffix != "T" && suffix != "DT") return;
    if (available(ahead) && (is_digit(at(ahead)) || at(ahead) == '_')) return;
    for (std::size_t i = 0; i < ahead; ++i) step();
    if (suffix == "N") {
        token->kind = TokenKind::name_literal;
        if (token->text.size() > static_cast<std::size_t>(longest_name)) note(TokenProblem::too_long);
        if (token->text.empty()) note(TokenProblem::empty_name);
        return;
    }
    std::string_view rest = token->text;
    double days = 0, seconds = 0;
    bool good = true;
    if (suffix != "T") good = take_date(&rest, &days);
    if (good && suffix == "DT") {
        good = !rest.empty() && (rest.front() == ':' || rest.front() == ' ');
        if (good) rest.remove_prefix(1);
    }
    if (good && suffix != "D") good = take_time(&rest, &seconds);
    if (!good || !rest.empty()) {
        note(TokenProblem::bad_date);
        token->text.clear();
        return;
    }
    token->kind = suffix == "D" ? TokenKind::date : suffix == "T" ? TokenKind::time : TokenKind::datetime;
    token->number = suffix == "DT" ? days * 86400.0 + seconds : days + seconds;
}

/// A name; with a point behind it a format, and with a name behind that a compound name.
void Scanner::scan_name(Token* token) {
    token->kind = TokenKind::name;
    int characters = 0;
    while (!letter_at().empty()) {
        step();
        ++characters;
    }
    if (characters > longest_name) note(TokenProblem::too_long);
    if (available() && at() == '.') scan_format_tail(token);
    token->text = text_.substr(token->offset, at_ - token->offset);
    if (token->text.size() > static_cast<std::size_t>(longest_text)) note(TokenProblem::too_long);
}

/// The point behind a name and what follows it: digits or nothing for a format, a name for a compound name.
void Scanner::scan_format_tail(Token* token) {
    step();
    token->kind = TokenKind::format;
    while (available() && is_digit(at())) step();
    if (!letter_at().empty()) {
        token->kind = TokenKind::compound;
        while (!letter_at().empty() || (available(1) && at() == '.' && is_ascii_letter(at(1)))) step();
    }
}

void Scanner::scan_number(Token* token) {
    token->kind = TokenKind::integer;
    while (available() && is_digit(at())) step();
    if (available() && at() == '.') {
        token->kind = TokenKind::number;
        step();
        while (available() && is_digit(at())) step();
    }
    if (available() && (at() == 'e' || at() == 'E')) {
        std::size_t ahead = 1;
        if (available(1) && (at(1) == '+' || at(1) == '-')) ahead = 2;
        if (available(ahead) && is_digit(at(ahead))) {
            token->kind = TokenKind::number;
            for (std::size_t i = 0; i < ahead; ++i) step();
            while (available() && is_digit(at())) step();
        }
    }
    token->text = text_.substr(token->offset, at_ - token->offset);
    const char* first = token->text.data();
    const char* last = first + token->text.size();
    const auto read = std::from_chars(first, last, token->number);
    if (read.ec == std::errc::result_out_of_range) {
        // Too small becomes 0; the exponent's sign tells which end of the range it is.
        const std::size_t exponent = token->text.find_first_of("eE");
        const bool tiny = exponent != std::string::npos && token->text[exponent + 1] == '-';
        token->number = 0;
        const std::size_t digits = token->text.find_first_of("123456789");
        const bool leading_zero = digits != std::string::npos && token->text.find('.') < digits;
        if (!tiny && !(leading_zero && exponent == std::string::npos)) note(TokenProblem::too_large);
    }
}

/// A point that begins no number: a missing value.
void Scanner::scan_point(Token* token) {
    step();
    token->kind = TokenKind::missing;
    char code = '.';
    if (available() && (is_ascii_letter(at()) || at() == '_')) {
        const char c = upper_case(std::string_view(&text_[at_], 1)).front();
        const bool alone = !available(1) || !(is_ascii_letter(at(1)) || is_digit(at(1)) || at(1) == '_');
        if (alone) {
            code = c;
            step();
        }
    }
    token->text = text_.substr(token->offset, at_ - token->offset);
    token->number = vzmissing(code);
}

void Scanner::scan_punctuation(Token* token) {
    static constexpr std::string_view single = "()*+,-/:=@|<>^~&!";
    static constexpr std::array<std::string_view, 8> doubles{"<=", ">=", "<>", "^=", "~=", "!=", "==", "=>"};
    token->kind = TokenKind::punctuation;
    const char c = at();
    if (c == ';')
        token->kind = TokenKind::semicolon;
    else if (single.find(c) == std::string_view::npos && c != '\0' &&
             character_bytes(std::string_view(text_).substr(at_)) > 0)
        note(TokenProblem::bad_character);  // step() tells of bytes that are no characters
    if (available(1)) {
        const std::string_view two = std::string_view(text_).substr(at_, 2);
        if (std::find(doubles.begin(), doubles.end(), two) != doubles.end() || two == "=<") step();
    }
    step();
    token->text = text_.substr(token->offset, at_ - token->offset);
}

Token Scanner::scan() {
    Token token;
    if (!skip_blank(&token)) {
        finish(&token);
        return token;
    }
    token = Token{};
    token.offset = at_;
    token.line = line_;
    token.column = column_;
    if (!available()) {
        finish(&token);
        return token;
    }
    const char c = at();
    if (c == '\'' || c == '"') {
        scan_text(&token);
    } else if (is_digit(c) || (c == '.' && available(1) && is_digit(at(1)))) {
        scan_number(&token);
    } else if (c == '.') {
        scan_point(&token);
    } else if (c == '$') {
        token.kind = TokenKind::format;
        step();
        while (!letter_at().empty()) step();
        if (available() && at() == '.') scan_format_tail(&token);
        token.kind = TokenKind::format;
        token.text = text_.substr(token.offset, at_ - token.offset);
    } else if (!letter_at().empty()) {
        scan_name(&token);
    } else {
        scan_punctuation(&token);
    }
    finish(&token);
    return token;
}

std::vector<Token> Scanner::statement() {
    std::vector<Token> tokens;
    in_statement_ = false;
    do {
        tokens.push_back(scan());
        in_statement_ = true;
        if (tokens.size() == static_cast<std::size_t>(most_tokens) && !tokens.back().ends_statement()) {
            Token& last = tokens.back();
            last.kind = TokenKind::bad;
            last.problem = TokenProblem::too_many;
            while (!tokens.back().ends_statement()) tokens.back() = scan();
            tokens.insert(tokens.end() - 1, last);
        }
    } while (!tokens.back().ends_statement());
    // A text that runs over a line's end, with an open quote behind it in the same statement: the fault began there.
    const auto open = std::find_if(tokens.begin(), tokens.end(),
                                   [](const Token& t) { return t.problem == TokenProblem::unclosed_text; });
    if (open != tokens.end()) {
        const auto blame = std::find_if(tokens.begin(), open, [](const Token& t) {
            return t.kind == TokenKind::string && t.text.find('\n') != std::string::npos;
        });
        if (blame != open) {
            blame->kind = TokenKind::bad;
            blame->problem = TokenProblem::unclosed_text;
        }
    }
    return tokens;
}

std::string_view Scanner::line(int number) const {
    if (number < 1 || static_cast<std::size_t>(number) > line_starts_.size()) return {};
    std::string_view rest = std::string_view(text_).substr(line_starts_[static_cast<std::size_t>(number) - 1]);
    rest = rest.substr(0, rest.find('\n'));
    if (number == 1 && rest.starts_with("\xEF\xBB\xBF")) rest.remove_prefix(3);
    if (rest.ends_with('\r')) rest.remove_suffix(1);
    return rest;
}

}  // namespace vek
