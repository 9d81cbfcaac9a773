// Numbered messages, log lines and numbers as text, as the host offers them.
//
// A message is named by group and number; its level, text and hint stand in the host's catalogue, with typed places
// for the arguments. Arguments are texts, integers and reals; the host checks count and kind against the catalogue.
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vek {

struct MessageArgument {
    enum class Kind : std::uint8_t { text, integer, real } kind;
    std::string_view text{};
    std::int64_t integer = 0;
    double real = 0;

    MessageArgument(std::string_view t) : kind(Kind::text), text(t) {}
    MessageArgument(const std::string& t) : kind(Kind::text), text(t) {}
    MessageArgument(const char* t) : kind(Kind::text), text(t) {}
    template <std::integral I>
    MessageArgument(I i) : kind(Kind::integer), integer(static_cast<std::int64_t>(i)) {}
    template <std::floating_point R>
    MessageArgument(R r) : kind(Kind::real), real(r) {}
};

using MessageArguments = std::span<const MessageArgument>;

void message_to_log(int group, int number, MessageArguments arguments);
void message_to_print(int group, int number, MessageArguments arguments);
std::string message_text(int group, int number, MessageArguments arguments);

/// Writes a numbered message to the log.
template <class... A>
void xpmlog(int group, int number, const A&... arguments) {
    const std::array<MessageArgument, sizeof...(A)> list{MessageArgument(arguments)...};
    message_to_log(group, number, list);
}

/// The same to the report: a line of its own between the tables.
template <class... A>
void xpm(int group, int number, const A&... arguments) {
    const std::array<MessageArgument, sizeof...(A)> list{MessageArgument(arguments)...};
    message_to_print(group, number, list);
}

/// The text of a numbered message.
template <class... A>
std::string rdvmsg(int group, int number, const A&... arguments) {
    const std::array<MessageArgument, sizeof...(A)> list{MessageArgument(arguments)...};
    return message_text(group, number, list);
}

/// Logs the text that belongs to a negative service code.
void xprrlog(int zero, int code);

/// A line to the log, as a note without a number; and a trace line, shown when the procedure's DEBUG option is on.
[[gnu::format(printf, 1, 2)]] void xpslog(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void xpsout(const char* format, ...);

/// Text of a host option, empty when it is not set.
std::string_view xoptcgt(std::string_view name);
/// Value of a numeric host option, or the given default.
double xyrngef(std::string_view name, double otherwise);

/// True for each word of the DEBUG host option that is on (LAYOUT, SWEEP, ROWS, FILES, SYN, SEM).
bool xdebug(std::string_view word);

/// Polls for an interrupt of the user; ends the step when there was one.
void wtpoll();

/// `value` as text, right-justified in `width` characters (the rest of the buffer is untouched; the text is not
/// terminated). With `decimals` below 99 in fixed notation with that many decimals, falling back to the best
/// representation when that does not fit; with 99 the best representation for the width: as many digits as fit,
/// trailing zeros dropped, an exponent only when needed. A missing value shows as its text.
void xpfs(double value, int width, int decimals, char* buffer);
/// An integer as text, right-justified in `width` characters.
void xpils(std::int64_t value, int width, char* buffer);

/// Decimals that a column of values no larger than |value| can show in `width` characters with sign and point; 99 when
/// the value does not fit in fixed notation.
int zpfmt(double value, int width);

/// A valid variable name made of a prefix and a number within `width` characters, cutting the prefix where needed.
std::string znamfix(std::string_view prefix, int number, int width);

}  // namespace vek
