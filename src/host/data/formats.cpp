// Formats of numbers and texts, and the value-label formats of the program: read, kept by name, applied.
#include "host/data/formats.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>

#include "host/data/expression_node.h"
#include "host/message/number_text.h"
#include "host/statement/diagnostics.h"
#include "host/statement/suggest.h"
#include "numeric/missing.h"

namespace vek {

namespace {

constexpr int group = 920;
constexpr int default_width = 12;

using FormatTable = std::map<std::string, std::shared_ptr<const ValueFormat>>;

FormatTable& value_formats() {
    static FormatTable table;
    return table;
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// The pieces of a format's text.
struct FormatText {
    std::string name;  ///< in capitals, with its dollar sign
    std::string width, decimals;
    bool point = false;
};

FormatText cut_format(std::string_view text) {
    FormatText cut;
    const std::size_t point = text.find('.');
    cut.point = point != std::string_view::npos;
    if (cut.point) {
        cut.decimals = text.substr(point + 1);
        text = text.substr(0, point);
    }
    std::size_t digits = text.size();
    while (digits > 0 && is_digit(text[digits - 1])) --digits;
    cut.width = text.substr(digits);
    cut.name = upper_case(text.substr(0, digits));
    return cut;
}

/// A count in a format; a long row of digits is just too large.
int count_of(const std::string& digits) {
    if (digits.empty()) return 0;
    const std::size_t first = std::min(digits.find_first_not_of('0'), digits.size() - 1);
    return digits.size() - first > 6 ? 1000000 : std::stoi(digits.substr(first));
}

std::size_t characters(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & '\xC0') != '\x80'; }));
}

/// The first `count` characters of a text.
std::string_view first_characters(std::string_view text, int count) {
    std::size_t end = 0;
    for (; end < text.size(); ++end) {
        if ((text[end] & '\xC0') != '\x80' && count-- == 0) break;
    }
    return text.substr(0, end);
}

std::string right_justified(std::string text, int width) {
    const auto size = static_cast<std::size_t>(width);
    if (text.size() < size) text.insert(0, size - text.size(), ' ');
    return text;
}

std::string nearest_format(std::string_view name) {
    Nearest nearest(name);
    nearest.offer_all("BEST F");
    for (const auto& [known, format] : value_formats()) nearest.offer(known);
    return nearest.found() ? in_case_of(nearest.best(), name) : std::string();
}

bool check_width(TokenCursor& cursor, const Token& token, int width, int widest) {
    if (width >= 1 && width <= widest) return true;
    return cursor.fail(token, group, 22, {width, quoted(token.text), widest});
}

// ---- VALUE ------------------------------------------------------------------------------------------------------

/// An end of a range, or a single value.
struct RangeEnd {
    bool open = false;
    double number = 0;
    std::string text;
    bool highest = false;  ///< the open end is HIGH, not LOW
};

class ValueReader {
  public:
    explicit ValueReader(TokenCursor& cursor) : cursor_(cursor) {}

    bool read() {
        if (!read_name()) return false;
        if (cursor_.at_end()) return unexpected("a value and its text, such as 1='low'");
        while (!cursor_.at_end()) {
            if (!read_entry()) return false;
        }
        if (!sort_ranges()) return false;
        for (const LabelRange& range : format_.ranges) lengthen(range.label);
        lengthen(format_.other);
        const std::string name = format_.name;
        value_formats()[name] = std::make_shared<const ValueFormat>(std::move(format_));
        return true;
    }

  private:
    bool unexpected(std::string expected, std::string suggest = {}) {
        return cursor_.fail(cursor_.peek(), group, 24, {shown_token(cursor_.peek())}, std::move(expected),
                            std::move(suggest));
    }

    bool read_name() {
        const Token& token = cursor_.peek();
        const bool format = token.kind == TokenKind::format;
        if (token.kind != TokenKind::name && !format) return unexpected("the name of a format");
        std::string name = upper_case(token.text);
        // With its point, as it is used, the name does as well.
        if (name.ends_with('.')) name.pop_back();
        format_.character = name.starts_with('$');
        const std::string_view letters = std::string_view(name).substr(format_.character ? 1 : 0);
        const bool plain = !letters.empty() && !is_digit(letters.front()) && !is_digit(letters.back()) &&
                           std::all_of(letters.begin(), letters.end(), [](char c) {
                               return c == '_' || std::isalnum(static_cast<unsigned char>(c)) != 0;
                           });
        if (!plain || name == "F" || name == "BEST") return cursor_.fail(token, group, 25, {quoted(token.text)});
        format_.name = std::move(name);
        cursor_.next();
        return true;
    }

    /// Ranges with commas between them, and their label.
    bool read_entry() {
        const std::size_t first = format_.ranges.size();
        bool other = false;
        do {
            if (cursor_.is("OTHER")) {
                if (format_.has_other) return cursor_.fail(cursor_.peek(), group, 30, {});
                format_.has_other = other = true;
                cursor_.next();
            } else if (!read_range()) {
                return false;
            }
        } while (cursor_.accept(","));
        if (!cursor_.accept("=")) return unexpected("\"=\", \"-\" or \",\"");
        if (cursor_.peek().kind != TokenKind::string) return unexpected("a text in quotes");
        const std::string label = cursor_.next().text;
        for (std::size_t i = first; i < format_.ranges.size(); ++i) format_.ranges[i].label = label;
        if (other) format_.other = label;
        if (format_.ranges.size() > static_cast<std::size_t>(most_labels)) {
            return cursor_.fail(cursor_.token(cursor_.position() - 1), group, 31, {most_labels});
        }
        return true;
    }

    bool read_range() {
        const Token start = cursor_.peek();
        RangeEnd low, high;
        LabelRange range;
        if (!read_end(&low)) return false;
        high = low;
        // x-y, x<-y, x-<y, x<-<y
        range.low_excluded = cursor_.accept("<");
        if (cursor_.accept("-")) {
            range.high_excluded = cursor_.accept("<");
            if (!read_end(&high)) return false;
        } else if (range.low_excluded || low.open) {
            return unexpected("\"-\" and the end of the range");
        }
        range.has_low = !low.open;
        range.has_high = !high.open;
        range.low = low.number, range.high = high.number;
        range.low_text = low.text, range.high_text = high.text;
        bool backwards = (low.open && low.highest) || (high.open && !high.highest);
        if (range.has_low && range.has_high) {
            const int order = compare(low, high);
            backwards = order > 0 || (order == 0 && (range.low_excluded || range.high_excluded));
        }
        if (backwards) return cursor_.fail(spanning(start, cursor_.token(cursor_.position() - 1)), group, 26, {});
        format_.ranges.push_back(std::move(range));
        starts_.push_back(spanning(start, cursor_.token(cursor_.position() - 1)));
        return true;
    }

    bool read_end(RangeEnd* end) {
        *end = {};
        if (cursor_.is("LOW") || cursor_.is("HIGH")) {
            end->open = true;
            end->highest = cursor_.next().is("HIGH");
            return true;
        }
        const bool minus = !format_.character && cursor_.accept("-");
        const Token& token = cursor_.peek();
        if (token.kind == TokenKind::string) {
            if (!format_.character) return cursor_.fail(token, group, 28, {shown_token(token)});
            end->text = token.text;
            while (!end->text.empty() && end->text.back() == ' ') end->text.pop_back();
        } else if (token.is_number() || (token.kind == TokenKind::missing && !minus)) {
            if (format_.character) return cursor_.fail(token, group, 29, {shown_token(token)});
            end->number = minus ? -token.number : token.number;
        } else {
            return unexpected(
                format_.character ? "a text in quotes, LOW, HIGH or OTHER" : "a number, LOW, HIGH or OTHER",
                token.is(",") ? " " : "");
        }
        cursor_.next();
        return true;
    }

    int compare(const RangeEnd& a, const RangeEnd& b) const {
        return format_.character ? compare_texts(a.text, b.text) : compare_numbers(a.number, b.number);
    }

    int compare_ends(const LabelRange& a, bool a_high, const LabelRange& b, bool b_high) const {
        const RangeEnd x{false, a_high ? a.high : a.low, a_high ? a.high_text : a.low_text, false};
        const RangeEnd y{false, b_high ? b.high : b.low, b_high ? b.high_text : b.low_text, false};
        return compare(x, y);
    }

    /// Missing values stand in front of all numbers, so ranges that begin with one come first, and then those without a
    /// low end.
    static int kind_of_low(const LabelRange& range) {
        if (!range.has_low) return 1;
        return wzmis(range.low) ? 0 : 2;
    }

    /// Puts the ranges in order; two that hold the same value are refused at the later one.
    bool sort_ranges() {
        std::vector<std::size_t> order(format_.ranges.size());
        for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
        const std::vector<LabelRange>& ranges = format_.ranges;
        std::stable_sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) {
            const int i_kind = kind_of_low(ranges[i]), j_kind = kind_of_low(ranges[j]);
            if (i_kind != j_kind || i_kind == 1) return i_kind < j_kind;
            const int by_low = compare_ends(ranges[i], false, ranges[j], false);
            return by_low != 0 ? by_low < 0 : !ranges[i].low_excluded && ranges[j].low_excluded;
        });
        std::vector<LabelRange> sorted;
        for (std::size_t k = 0; k < order.size(); ++k) {
            const LabelRange& range = ranges[order[k]];
            if (k > 0 && overlap(ranges[order[k - 1]], range)) {
                const std::size_t later = std::max(order[k - 1], order[k]);
                return cursor_.fail(starts_[later], group, 27, {shared_value(range)});
            }
            sorted.push_back(range);
        }
        format_.ranges = std::move(sorted);
        return true;
    }

    /// A value that a range shares with one that does not begin behind it.
    std::string shared_value(const LabelRange& after) const {
        if (!after.has_low) return "LOW";
        return shown_end(after.low, after.low_text);
    }

    std::string shown_end(double number, const std::string& text) const {
        if (format_.character) return "'" + text + "'";
        return wzmis(number) ? missing_text(number) : best_text(number, default_width);
    }

    bool overlap(const LabelRange& before, const LabelRange& after) const {
        // A missing value is below every number, and no open range of numbers reaches down to it.
        if (!before.has_high) return true;
        if (!after.has_low) return !(!format_.character && before.has_low && wzmis(before.high));
        const int order = compare_ends(before, true, after, false);
        return order > 0 || (order == 0 && !before.high_excluded && !after.low_excluded);
    }

    void lengthen(const std::string& label) {
        format_.longest = std::max(format_.longest, static_cast<int>(characters(label)));
    }

    TokenCursor& cursor_;
    ValueFormat format_;
    std::vector<Token> starts_;
};

/// The range that holds a value, given three-way comparisons of the value with the ends of a range.
template <class Low, class High>
const std::string* find_range(const ValueFormat& format, const Low& against_low, const High& against_high) {
    std::size_t begin = 0, end = format.ranges.size();
    while (begin < end) {
        const std::size_t middle = begin + (end - begin) / 2;
        const LabelRange& range = format.ranges[middle];
        const int low = range.has_low ? against_low(range) : 1;
        const int high = range.has_high ? against_high(range) : -1;
        if (low < 0 || (low == 0 && range.low_excluded)) {
            end = middle;
        } else if (high > 0 || (high == 0 && range.high_excluded)) {
            begin = middle + 1;
        } else {
            return &range.label;
        }
    }
    return format.has_other ? &format.other : nullptr;
}

}  // namespace

const std::string* ValueFormat::find(double value) const {
    if (wzmis(value)) {
        // Only a range that names it holds a missing value.
        for (const LabelRange& range : ranges) {
            if (range.has_low && range.has_high && wzmis(range.low) && compare_numbers(value, range.low) >= 0 &&
                compare_numbers(value, range.high) <= 0) {
                return &range.label;
            }
        }
        return has_other ? &other : nullptr;
    }
    return find_range(
        *this, [value](const LabelRange& r) { return compare_numbers(value, r.low); },
        [value](const LabelRange& r) { return compare_numbers(value, r.high); });
}

const std::string* ValueFormat::find(std::string_view value) const {
    return find_range(
        *this, [value](const LabelRange& r) { return compare_texts(value, r.low_text); },
        [value](const LabelRange& r) { return compare_texts(value, r.high_text); });
}

bool looks_like_format(const Token& token) {
    if (token.kind == TokenKind::format) return true;
    return token.kind == TokenKind::number && token.text.find('.') != std::string::npos &&
           token.text.find_first_not_of("0123456789.") == std::string::npos;
}

bool parse_format_name(TokenCursor& cursor, Format* format) {
    const Token token = cursor.peek();
    if (!looks_like_format(token)) return cursor.fail_expected("a format, such as 8.2, BEST12. or $8.");
    const FormatText cut = cut_format(token.text);
    if (!cut.point) return cursor.fail(token, group, 21, {quoted(token.text)}, {}, token.text + ".");
    Format made;
    made.name = cut.name.empty() ? "F" : cut.name;
    made.width = count_of(cut.width);
    made.decimals = count_of(cut.decimals);
    const bool width_given = !cut.width.empty();
    bool decimals_fit = cut.decimals.empty();
    if (made.name == "F") {
        made.kind = Format::Kind::fixed;
        if (!width_given) made.width = default_width;
        if (!check_width(cursor, token, made.width, widest_number)) return false;
        decimals_fit = made.decimals < made.width && made.decimals <= most_decimals;
    } else if (made.name == "BEST") {
        made.kind = Format::Kind::best;
        if (!width_given) made.width = default_width;
        if (!check_width(cursor, token, made.width, widest_number)) return false;
    } else if (made.name == "$") {
        made.kind = Format::Kind::text;
        if (width_given && !check_width(cursor, token, made.width, widest_text)) return false;
    } else {
        const auto found = value_formats().find(made.name);
        if (found == value_formats().end()) {
            const std::string nearest = nearest_format(made.name);
            const std::string suggest = nearest.empty() ? "" : in_case_of(nearest, token.text) + cut.width + ".";
            return cursor.fail(token, group, 20, {quoted(token.text)}, {}, suggest);
        }
        made.kind = Format::Kind::labels;
        made.labels = found->second;
        if (width_given && !check_width(cursor, token, made.width, widest_text)) return false;
    }
    if (!decimals_fit) return cursor.fail(token, group, 23, {quoted(token.text), made.decimals});
    *format = std::move(made);
    cursor.next();
    return true;
}

bool parse_value_statement(TokenCursor& cursor) { return ValueReader(cursor).read(); }

Format format_from_text(std::string_view name, int width, int decimals) {
    Format format;
    format.name = upper_case(name);
    format.width = width;
    format.decimals = decimals;
    if (format.name == "F") {
        format.kind = Format::Kind::fixed;
    } else if (format.name == "BEST") {
        format.kind = Format::Kind::best;
    } else if (format.name == "$") {
        format.kind = Format::Kind::text;
    } else if (const auto found = value_formats().find(format.name); found != value_formats().end()) {
        format.kind = Format::Kind::labels;
        format.labels = found->second;
    } else {
        return {};
    }
    const bool number = format.kind == Format::Kind::fixed || format.kind == Format::Kind::best;
    if (number && format.width <= 0) format.width = default_width;
    if (number) format.width = std::min(format.width, widest_number);
    return format;
}

bool is_value_format(std::string_view name) { return value_formats().count(upper_case(name)) > 0; }

void clear_value_formats() { value_formats().clear(); }

std::string format_value(const Format& format, double value) {
    switch (format.kind) {
        case Format::Kind::fixed:
            return right_justified(
                wzmis(value) ? missing_text(value) : fixed_text(value, format.width, format.decimals), format.width);
        case Format::Kind::best:
            return right_justified(wzmis(value) ? missing_text(value) : best_text(value, format.width), format.width);
        case Format::Kind::labels:
            if (const std::string* label = format.labels->find(value)) {
                return std::string(format.width > 0 ? first_characters(*label, format.width) : *label);
            }
            [[fallthrough]];
        default:
            return wzmis(value) ? missing_text(value) : best_text(value, default_width);
    }
}

std::string format_value(const Format& format, std::string_view value) {
    if (format.kind == Format::Kind::labels) {
        if (const std::string* label = format.labels->find(value)) value = *label;
    }
    const bool cut = format.width > 0 && (format.kind == Format::Kind::labels || format.kind == Format::Kind::text);
    return std::string(cut ? first_characters(value, format.width) : value);
}

std::string_view cut_text(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes) return text;
    while (bytes > 0 && (text[bytes] & '\xC0') == '\x80') --bytes;
    return text.substr(0, bytes);
}

}  // namespace vek
