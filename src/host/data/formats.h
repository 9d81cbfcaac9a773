// Formats: how a value of a variable is shown. w.d and BESTw. for numbers, $w. for texts, and value-label formats that
// VALUE statements of the program make. A format is read from tokens, checked, and applied to single values.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "frame/host_data.h"
#include "host/statement/scanner.h"

namespace vek {

constexpr int widest_number = 32;    ///< characters of w.d and BESTw.
constexpr int most_decimals = 31;    ///< of w.d, and fewer than its width
constexpr int widest_text = 32767;   ///< characters of $w.
constexpr int most_labels = 100000;  ///< ranges of one VALUE format

/// One range of a value-label format. An end that is missing (LOW, HIGH) is open.
struct LabelRange {
    bool has_low = false, has_high = false;
    bool low_excluded = false, high_excluded = false;
    double low = 0, high = 0;         ///< of a numeric format; a missing value stands for itself
    std::string low_text, high_text;  ///< of a $ format
    std::string label;
};

/// A value-label format of the program.
struct ValueFormat {
    std::string name;  ///< in capitals, with `$` for texts
    bool character = false;
    std::vector<LabelRange> ranges;  ///< sorted, without overlap
    bool has_other = false;
    std::string other;
    int longest = 0;  ///< characters of the longest label

    /// The label of a value; null when no range holds it.
    const std::string* find(double value) const;
    const std::string* find(std::string_view value) const;
};

struct Format {
    enum class Kind { none, fixed, best, text, labels } kind = Kind::none;
    std::string name;  ///< F, BEST, $, or the name of the value-label format
    int width = 0;     ///< 0 when it was not given
    int decimals = 0;
    std::shared_ptr<const ValueFormat> labels;

    bool given() const { return kind != Kind::none; }
    bool for_text() const { return kind == Kind::text || (kind == Kind::labels && labels->character); }
};

/// True when the token at the cursor can be read as a format: 8.2, 8., BEST12., $5., grade., $grade.
bool looks_like_format(const Token& token);
/// Reads a format at the cursor. False after having failed the statement at the token.
bool parse_format_name(TokenCursor& cursor, Format* format);
/// Reads a VALUE statement behind its keyword, to the statement's end, and makes the format. False after having failed
/// the statement; nothing is made then.
bool parse_value_statement(TokenCursor& cursor);
/// A format by its text, such as the one that a data set was made with. `none` when it has none or it is not known.
Format format_from_text(std::string_view name, int width, int decimals);
/// True for the name of a VALUE format without its point.
bool is_value_format(std::string_view name);
/// Forgets the program's value-label formats.
void clear_value_formats();

/// The value as the format shows it, without a limit of width: right-justified in the format's width for w.d and BESTw.
std::string format_value(const Format& format, double value);
std::string format_value(const Format& format, std::string_view value);

/// The longest prefix of at most `bytes` bytes that ends at a character's boundary.
std::string_view cut_text(std::string_view text, std::size_t bytes);

}  // namespace vek
