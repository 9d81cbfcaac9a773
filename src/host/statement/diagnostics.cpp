// From a failure of a statement to a log entry: message, source line with marks, expectation, suggestion.
#include "host/statement/diagnostics.h"

#include <utf8proc.h>

#include <algorithm>
#include <vector>

#include "host/message/catalogue.h"

namespace vek {

namespace {

/// One character as it is shown, and how many columns it takes.
struct ShownCharacter {
    std::string text;
    int width = 1;
};

/// Characters of a line from one number to another, and whether there are more.
struct ShownPart {
    std::vector<ShownCharacter> characters;
    bool more_before = false, more_behind = false;
};

/// Bytes of the character at the front of a text; negative when none is valid there.
std::ptrdiff_t front_character(std::string_view text, std::int32_t* code) {
    *code = static_cast<unsigned char>(text.front());
    if (*code < 0x80) return 1;
    return utf8proc_iterate(reinterpret_cast<const std::uint8_t*>(text.data()),
                            static_cast<utf8proc_ssize_t>(text.size()), code);
}

ShownPart shown_part(std::string_view line, int first, int last) {
    ShownPart part;
    part.more_before = first > 0;
    for (int i = 0; !line.empty(); ++i) {
        if (i == last) {
            part.more_behind = true;
            break;
        }
        std::int32_t code = 0;
        const std::ptrdiff_t read = front_character(line, &code);
        const std::size_t bytes = read > 0 ? static_cast<std::size_t>(read) : 1;
        if (i >= first) {
            ShownCharacter c;
            if (read <= 0) {
                static constexpr char digits[] = "0123456789abcdef";
                const auto byte = static_cast<unsigned char>(line.front());
                c.text = {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
                c.width = 4;
            } else if (line.front() == '\t') {
                c.text = " ";
            } else {
                c.text = visible_text(line.substr(0, bytes));
                c.width = c.text == line.substr(0, bytes) ? utf8proc_charwidth(code) : static_cast<int>(c.text.size());
            }
            part.characters.push_back(std::move(c));
        }
        line.remove_prefix(bytes);
    }
    return part;
}

MessageArgument argument(const Failure::Argument& a) {
    switch (a.kind) {
        case MessageArgument::Kind::integer:
            return MessageArgument(a.integer);
        case MessageArgument::Kind::real:
            return MessageArgument(a.real);
        case MessageArgument::Kind::text:
            break;
    }
    return MessageArgument(std::string_view(a.text));
}

std::string excerpt(const TokenCursor& cursor, const Token& token, std::string_view expected,
                    std::string_view suggest) {
    std::string text = marked_line(cursor.scanner().line(token.line), token.column, token.length);
    if (!expected.empty()) text.append("\nexpected ").append(expected);
    if (suggest.empty() || suggest.size() > 60) return text;
    text.append(expected.empty() ? "\n" : "; ");
    if (suggest == " ") return text.append("write a blank there");
    // A word in place of a word was misspelt; a sign was forgotten.
    const bool sign = suggest.find_first_of(";)/=") != std::string::npos;
    text.append(sign ? "write " : "did you mean ").append(visible_text(suggest)).append(sign ? " there" : "?");
    return text;
}

}  // namespace

std::string shown_token(const Token& token) {
    constexpr std::size_t longest = 40;
    if (token.kind == TokenKind::end_of_program) return "the end of the program";
    std::string text = token.text;
    if (token.kind == TokenKind::string) text = joined({"'", text, "'"});
    if (token.kind == TokenKind::name_literal) text = joined({"'", text, "'n"});
    text = text.substr(0, text.find('\n'));
    if (text.size() > longest) {
        std::size_t end = longest;
        while (end > 0 && (text[end] & 0xC0) == 0x80) --end;
        text = text.substr(0, end) + "...";
    }
    return text;
}

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts) text.append(part);
    return text;
}

std::string quoted(std::string_view text) { return joined({"\"", text, "\""}); }

std::string lost_closing(const Token& here) {
    return here.ends_statement() || here.is("/") ? joined({")", here.text}) : std::string();
}

Token spanning(const Token& first, const Token& last) {
    Token token = first;
    if (last.line == first.line && last.column >= first.column) {
        token.length = last.column + last.length - first.column;
        token.bytes = last.offset + last.bytes - first.offset;
    }
    return token;
}

void describe_problem(const Token& token, Failure* failure) {
    failure->group = statement_messages;
    failure->arguments.clear();
    failure->expected.clear();
    failure->suggest.clear();
    const auto text = [&](std::string t) {
        failure->arguments.push_back({MessageArgument::Kind::text, std::move(t), 0, 0});
    };
    const auto integer = [&](std::int64_t i) {
        failure->arguments.push_back({MessageArgument::Kind::integer, {}, i, 0});
    };
    switch (token.problem) {
        case TokenProblem::none:
        case TokenProblem::unclosed_text:
            failure->number = message_unclosed_text;
            break;
        case TokenProblem::unclosed_comment:
            failure->number = message_unclosed_comment;
            break;
        case TokenProblem::bad_character: {
            failure->number = message_bad_character;
            text(shown_token(token));
            static constexpr std::pair<std::string_view, std::string_view> meant[] = {
                {"\u2018", "'"}, {"\u2019", "'"}, {"\u201C", "\""}, {"\u201D", "\""}, {"\u2013", "-"},
                {"\u2014", "-"}, {"\u2212", "-"}, {"\u00D7", "*"},  {"\u00A0", " "},  {"\uFF1B", ";"}};
            for (const auto& [typed, plain] : meant) {
                if (token.text == typed) failure->suggest = plain;
            }
            if (token.text == "#") failure->expected = "a comment to stand between /* and */";
            break;
        }
        case TokenProblem::bad_encoding:
            failure->number = message_bad_encoding;
            break;
        case TokenProblem::zero_byte:
            failure->number = message_zero_byte;
            break;
        case TokenProblem::lone_return:
            failure->number = message_lone_return;
            break;
        case TokenProblem::bad_date:
            failure->number = message_bad_date;
            text(shown_token(token));
            break;
        case TokenProblem::empty_name:
            failure->number = message_empty_name;
            break;
        case TokenProblem::too_large:
            failure->number = message_number_too_large;
            text(shown_token(token));
            break;
        case TokenProblem::too_long: {
            const bool is_text = token.text.starts_with('\'') || token.text.starts_with('"');
            const bool is_name = !is_text || (token.text.ends_with('n') || token.text.ends_with('N'));
            failure->number = is_name ? message_name_too_long : message_text_too_long;
            integer(is_name ? longest_name : longest_text);
            break;
        }
        case TokenProblem::too_many:
            failure->number = message_too_many_tokens;
            integer(most_tokens);
            break;
    }
}

std::string marked_line(std::string_view line, int column, int length) {
    constexpr int window = 100;         // columns of the line that are shown
    constexpr int around = 4 * window;  // characters on each side of the place that are looked at
    const int first = std::max(0, column - 1 - around);
    const ShownPart part = shown_part(line, first, std::max(column, 0) + around);
    const std::vector<ShownCharacter>& characters = part.characters;
    const auto count = static_cast<int>(characters.size());
    const int place = std::clamp(column - 1 - first, 0, count);
    std::vector<int> up_to(1);  // columns in front of each character
    for (const ShownCharacter& c : characters) up_to.push_back(up_to.back() + c.width);
    const auto width = [&](int from, int to) {
        return up_to[static_cast<std::size_t>(std::min(to, count))] - up_to[static_cast<std::size_t>(from)];
    };
    int from = 0;
    if (part.more_before || part.more_behind || width(0, count) > window) {
        // The place stands within the first two thirds of the window.
        const int behind = std::min(length, around) + place;
        while (from < place && width(from, behind) > window * 2 / 3) ++from;
    }
    int to = from;
    while (to < count && width(from, to + 1) <= window) ++to;
    std::string text = from > 0 || part.more_before ? "..." : "";
    const int before = static_cast<int>(text.size()) + width(from, place);
    for (int i = from; i < to; ++i) text += characters[static_cast<std::size_t>(i)].text;
    if (to < count || part.more_behind) text += "...";
    const int marks = std::max(1, width(place, std::max(place, std::min(place + std::clamp(length, 1, around), to))));
    text.append("\n").append(static_cast<std::size_t>(before), ' ').append("^");
    text.append(static_cast<std::size_t>(marks - 1), '~');
    return text;
}

void report_failure(const TokenCursor& cursor) {
    const Failure& failure = cursor.failure();
    std::vector<MessageArgument> list;
    for (const Failure::Argument& a : failure.arguments) list.push_back(argument(a));
    report(failure.group, failure.number, list, cursor.place(failure.token), failure.suggest,
           excerpt(cursor, failure.token, failure.expected, failure.suggest));
}

void report_at(const TokenCursor& cursor, const Token& token, int number,
               std::initializer_list<MessageArgument> arguments, std::string_view expected, std::string suggest) {
    // The message about a semicolon says itself what to write.
    const bool told = number == message_missing_semicolon;
    const std::string lines = excerpt(cursor, token, expected, told ? std::string_view{} : suggest);
    report(statement_messages, number, MessageArguments(arguments.begin(), arguments.size()), cursor.place(token),
           std::move(suggest), lines);
}

}  // namespace vek
