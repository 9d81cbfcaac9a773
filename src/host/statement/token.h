// A token of a program: its kind, its text and value, and where it stands, so that a message can point at it.
// The scanner makes tokens; the statement engine and the readers of data set references, WHERE and VALUE consume them
// through a TokenCursor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vek {

enum class TokenKind : std::uint8_t {
    end_of_program,
    semicolon,
    name,          ///< letters, digits, underscores; text as written
    name_literal,  ///< '...'n; text without quotes
    string,        ///< '...' or "..."; text without quotes, doubled quotes undone
    integer,       ///< digits alone; number holds the value
    number,        ///< with a point or an exponent; text as written, so that 8.2 and 8. can be read as formats too
    date,          ///< '01JAN2020'd; number holds the days since 1 January 1960
    time,          ///< '12:30:00't; seconds since midnight
    datetime,      ///< '01JAN2020:12:30:00'dt; seconds since the start of 1 January 1960
    missing,       ///< . or .A to .Z or ._; number holds the missing value
    compound,      ///< a.b, two names with a point between
    format,        ///< best12. grade. f8.2 $5. $name. and also $name without a point
    punctuation,   ///< one character, or one of <= >= <> ^= ~= != == => =<
    bad,           ///< what cannot be a token; `problem` tells why
};

/// Why a token is bad; each has its own message.
enum class TokenProblem : std::uint8_t {
    none,
    unclosed_text,
    unclosed_comment,
    bad_character,
    bad_encoding,
    zero_byte,
    lone_return,
    bad_date,
    empty_name,
    too_large,
    too_long,
    too_many
};

struct Token {
    TokenKind kind = TokenKind::end_of_program;
    TokenProblem problem = TokenProblem::none;
    std::string text;  ///< as described at the kind
    double number = 0;
    std::size_t offset = 0;  ///< byte offset of its first character in the program text
    std::size_t bytes = 0;   ///< bytes it takes there
    int line = 0;            ///< from 1
    int column = 0;          ///< in characters, from 1
    int length = 0;          ///< in characters
    bool first_on_line = false;
    bool adjoins = false;  ///< nothing, not even a blank, stands between the token before and this one

    bool ends_statement() const { return kind == TokenKind::semicolon || kind == TokenKind::end_of_program; }
    /// True for a name (not a literal) that is this word, or for this punctuation; `word` in capitals.
    bool is(std::string_view word) const;
    /// True for anything that can name a variable or a data set: a name or a name literal.
    bool is_name() const { return kind == TokenKind::name || kind == TokenKind::name_literal; }
    /// True for integer, number, date, time and datetime.
    bool is_number() const {
        return kind == TokenKind::integer || kind == TokenKind::number || kind == TokenKind::date ||
               kind == TokenKind::time || kind == TokenKind::datetime;
    }
};

/// Capitals of ASCII letters; other characters stay.
std::string upper_case(std::string_view text);
/// Compares ignoring the case of ASCII letters.
bool same_word(std::string_view a, std::string_view b);

}  // namespace vek
