// Templates: how each table looks. A template is a block of text (templates/*.txt, which tell the language at their
// top); here it is read into captions, lines and rules for columns.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vek {

enum class Alignment : std::uint8_t { by_kind, left, right, centre };
enum class NumberForm : std::uint8_t { by_kind, fixed, best, p_value, percent };

/// A heading over neighbouring columns. With `keyed`, `from` and `to` are header keys of the column whose values are
/// the names of the first and the last column; an absent `to` means the last neighbour that looks alike.
struct TemplateSpan {
    std::string_view text, from, to;
    bool keyed = false;
};

struct TemplateColumn {
    std::string_view name;
    std::string_view heading;  ///< with {keys} and "/" between lines; empty with has_heading unset: the label or name
    bool has_heading = false;
    Alignment alignment = Alignment::by_kind;
    NumberForm form = NumberForm::by_kind;
    int width = 0;
    int decimals = -1;
    bool hidden = false;  ///< data only
    bool row_heading = false;
    bool once = false;          ///< a value equal to the one above is left blank
    bool breaks = false;        ///< a blank line before each row where the column is not blank; the column is not shown
    bool tight = false;         ///< one blank before it
    bool keeps_digits = false;  ///< the best form where the decimals leave the largest value fewer than three digits
    bool beside = false;        ///< keeps its place behind the column before it
    std::string_view mark;      ///< shown where the value is not 0, directly behind the column before it
    std::string_view mark_note;                              ///< note below a table that shows the mark
    std::vector<std::pair<char, std::string_view>> missing;  ///< how a missing value of a code reads
    std::vector<TemplateSpan> spans;
};

struct TableTemplate {
    std::string_view path;
    std::vector<std::string_view> captions, above, below;
    std::vector<TemplateSpan> spans;
    std::vector<TemplateColumn> columns;

    /// Null when there is none; ignores case.
    const TemplateColumn* column(std::string_view name) const;
};

/// The template of a path such as "drim.VEK.Tests"; ignores case. Null when there is none.
const TableTemplate* find_template(std::string_view path);

/// Paths of all templates, in order.
std::vector<std::string_view> template_paths();

/// Reads one template from text. False with `fault` set to what is wrong, and its line in the text.
bool read_template(std::string_view text, TableTemplate* result, std::string* fault);

}  // namespace vek
