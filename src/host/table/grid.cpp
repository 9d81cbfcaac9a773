// Makes the grid of a table: orders its columns, fills in headings, chooses how numbers read, and measures.
#include "host/table/grid.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "frame/host_message.h"
#include "host/message/number_text.h"
#include "host/table/text_width.h"
#include "numeric/missing.h"

namespace vek {

namespace {

constexpr int usual_gap = 3, usual_width = 12;
constexpr int best_for_column = 98, best_for_value = 99;

const TableTemplate& rules_of(const TableModel& table) {
    static const TableTemplate none{};
    const TableTemplate* const found = find_template(table.path);
    return found == nullptr ? none : *found;
}

std::size_t index_of(const TableTemplate& rules, const TemplateColumn* rule) {
    return rule == nullptr ? rules.columns.size() : static_cast<std::size_t>(rule - rules.columns.data());
}

// A sign before zeros alone is noise.
std::string_view without_sign_of_zero(std::string_view digits) {
    if (digits.starts_with('-') && digits.find_first_not_of("0.", 1) == std::string_view::npos) digits.remove_prefix(1);
    return digits;
}

std::string_view fixed_text(double value, int decimals, Cell& cell) {
    const auto end =
        std::to_chars(cell.digits, cell.digits + sizeof cell.digits, value, std::chars_format::fixed, decimals).ptr;
    return without_sign_of_zero({cell.digits, static_cast<std::size_t>(end - cell.digits)});
}

std::string_view best_text(double value, int width, Cell& cell) {
    width = std::clamp(width, 1, 40);
    return {cell.digits, static_cast<std::size_t>(write_best(value, width, cell.digits))};
}

std::string_view p_text(double value, int decimals, Cell& cell) {
    const double least = std::pow(10.0, -decimals);
    if (!(value < least)) return fixed_text(value, decimals, cell);
    // <.0001 takes the place of 0.0000
    cell.digits[0] = '<';
    cell.digits[1] = '.';
    std::memset(cell.digits + 2, '0', static_cast<std::size_t>(decimals));
    cell.digits[1 + decimals] = '1';
    return {cell.digits, static_cast<std::size_t>(2 + decimals)};
}

// Where the point of a number is, or where it would be.
int width_before_point(std::string_view number) {
    if (number.find_first_of("eE") != std::string_view::npos) return -1;
    return static_cast<int>(std::min(number.find('.'), number.size()));
}

std::vector<std::string_view> split(std::string_view text, char at) {
    std::vector<std::string_view> parts;
    for (std::size_t end = text.find(at); end != std::string_view::npos; end = text.find(at)) {
        parts.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    parts.push_back(text);
    return parts;
}

// Texts of the procedure carry ";" between lines.
void add_lines(std::vector<std::string>& lines, std::string_view text) {
    for (std::string_view part : split(text, ';')) {
        while (part.starts_with(' ')) part.remove_prefix(1);
        if (!part.empty()) lines.emplace_back(part);
    }
}

}  // namespace

Grid::Grid(const TableModel& table, Part part) : table_(table), rules_(rules_of(table)) {
    if (part == Part::captions) {
        choose_captions();
        return;
    }
    rows_ = table.sets.empty() ? 0 : table.rows().rows() * table.sets.size();
    headings = table.kind != TableKind::factoid;
    if (!table.sets.empty()) choose_columns();
    choose_headings();
    for (std::size_t i = 0; i < columns.size(); ++i) measure(columns[i]);
    choose_spans();
    choose_texts();
}

// ---- columns ------------------------------------------------------------------------------------------------------

void Grid::choose_columns() {
    const std::vector<TableColumn>& all = table_.rows().columns();
    std::vector<std::pair<std::size_t, std::size_t>> order;  // place in the template, place in the model
    std::vector<const TemplateColumn*> rules(all.size(), nullptr);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const TemplateColumn* const rule = rules_.column(all[i].like.empty() ? all[i].name : all[i].like);
        rules[i] = rule;
        if (rule != nullptr && rule->breaks) breakers_.push_back(i);
        if (rule != nullptr && rule->hidden) continue;
        std::size_t place = index_of(rules_, rule);
        while (place > 0 && place < rules_.columns.size() && rules_.columns[place].beside) --place;
        order.emplace_back(place, i);
    }
    std::sort(order.begin(), order.end());
    bool leading = true;
    for (const auto& [place, i] : order) {
        GridColumn column;
        column.source = i;
        column.rule = rules[i];
        const bool texts = is_text(all[i].kind) || all[i].kind == ColumnKind::character;
        column.alignment = texts ? Alignment::left : Alignment::right;
        column.gap = columns.empty() ? 0 : usual_gap;
        if (column.rule != nullptr) {
            if (column.rule->alignment != Alignment::by_kind) column.alignment = column.rule->alignment;
            if (column.rule->tight && !columns.empty()) column.gap = 1;
            if (!column.rule->mark.empty()) {
                column.alignment = Alignment::left;
                column.gap = 0;
            }
        }
        const bool marks = column.rule != nullptr && !column.rule->mark.empty();
        leading = leading && (marks || (column.rule != nullptr && column.rule->row_heading) ||
                              (columns.empty() && (texts || table_.kind == TableKind::matrix)));
        column.row_heading = leading;
        choose_formats(column);
        columns.push_back(std::move(column));
    }
}

void Grid::choose_formats(GridColumn& column) {
    for (std::size_t s = 0; s < table_.sets.size(); ++s) {
        const TableColumn& given = table_.sets[s].columns()[column.source];
        NumberFormat format;
        const TemplateColumn* const rule = column.rule;
        format.form = rule == nullptr ? NumberForm::by_kind : rule->form;
        format.width = given.width > 0 ? given.width : rule != nullptr && rule->width > 0 ? rule->width : usual_width;
        format.decimals = given.decimals >= 0 ? given.decimals : rule != nullptr ? rule->decimals : -1;
        if (s < table_.blocks.size() && table_.blocks[s].key.ends_with('p')) format.form = NumberForm::p_value;
        if (format.form != NumberForm::p_value && format.form != NumberForm::percent) {
            const bool some = format.decimals >= 0 && format.decimals != best_for_value;
            const bool best_wanted = format.form == NumberForm::best && given.decimals < 0;
            format.form = some && !best_wanted ? NumberForm::fixed : NumberForm::best;
        } else if (format.decimals < 0 || format.decimals > 20) {
            format.decimals = 4;
        }
        column.formats.push_back(format);
    }
}

// ---- headings and texts -------------------------------------------------------------------------------------------

bool Grid::fill(std::string_view text, const std::vector<Attribute>* attributes, std::string_view heading,
                std::string* result) const {
    result->clear();
    while (!text.empty()) {
        const std::size_t open = std::min(text.find('{'), text.size());
        result->append(text.substr(0, open));
        text.remove_prefix(open);
        if (text.empty()) break;
        const std::size_t close = text.find('}');
        if (close == std::string_view::npos) {
            result->append(text);
            break;
        }
        std::string_view key = text.substr(1, close - 1);
        text.remove_prefix(close + 1);
        const bool may_be_absent = key.starts_with('?');
        if (may_be_absent) key.remove_prefix(1);
        std::string value;
        const AttributeValue* found = attributes == nullptr ? nullptr : find_attribute(*attributes, key);
        if (found == nullptr) found = find_attribute(table_.attributes, key);
        if (found != nullptr) {
            value = attribute_text(*found);
        } else if (key == "label") {
            value = table_.label;
        } else if (key == "heading") {
            value = heading;
        }
        if (value.empty() && !may_be_absent) return false;
        result->append(value);
    }
    // Where something was absent, or a key ended in a blank, two blanks meet.
    const auto both = [](char a, char b) { return a == ' ' && b == ' '; };
    result->erase(std::unique(result->begin(), result->end(), both), result->end());
    return true;
}

void Grid::choose_headings() {
    for (GridColumn& column : columns) {
        const TableColumn& given = table_.rows().columns()[column.source];
        std::string_view fallback = given.label.empty() ? std::string_view(given.name) : std::string_view(given.label);
        if (table_.kind == TableKind::matrix && column.source == 0) fallback = table_.corner;
        std::string line;
        if (column.rule != nullptr && column.rule->has_heading) {
            for (std::string_view part : split(column.rule->heading, '/')) {
                if (fill(part, &given.attributes, fallback, &line)) add_lines(column.heading, line);
            }
            if (column.heading.empty() && !column.rule->heading.empty()) add_lines(column.heading, fallback);
        } else {
            add_lines(column.heading, fallback);
        }
        for (std::string& text : column.heading) {
            std::string buffer;
            text = std::string(shown(text, buffer));
        }
    }
}

void Grid::choose_captions() {
    std::string text, buffer;
    for (std::string_view caption : rules_.captions) {
        if (fill(caption, nullptr, {}, &text)) add_lines(captions, shown(text, buffer));
    }
    if (captions.empty()) {
        const std::string& label = table_.label.empty() ? table_.name : table_.label;
        captions.emplace_back(shown(label, buffer));
    }
}

void Grid::choose_texts() {
    choose_captions();
    std::string text, buffer;
    const auto add = [&](std::vector<std::string>& lines, std::string_view from) {
        if (fill(from, nullptr, {}, &text)) add_lines(lines, shown(text, buffer));
    };
    for (std::string_view line : rules_.above) add(above, line);
    for (const std::string& title : table_.titles) above.emplace_back(shown(title, buffer));
    for (const GridColumn& column : columns) {
        if (column.rule == nullptr || column.rule->mark_note.empty()) continue;
        bool marked = false;
        for (std::size_t row = 0; row < table_.rows().rows() && !marked; ++row) {
            marked = table_.rows().integer(row, column.source) != 0;
        }
        if (marked) below.emplace_back(column.rule->mark_note);
    }
    for (std::string_view line : rules_.below) add(below, line);
    for (const std::string& note : table_.notes) below.emplace_back(shown(note, buffer));
}

void Grid::choose_spans() {
    const std::vector<TableColumn>& all = table_.sets.empty() ? std::vector<TableColumn>() : table_.rows().columns();
    const auto named = [&](std::string_view name) {
        const auto found = std::find_if(columns.begin(), columns.end(),
                                        [&](const GridColumn& c) { return all[c.source].name == name; });
        return static_cast<std::size_t>(found - columns.begin());
    };
    std::string text;
    for (const TemplateSpan& span : rules_.spans) {
        const std::size_t from = index_of(rules_, rules_.column(span.from));
        const std::size_t to = span.to.empty() ? from : index_of(rules_, rules_.column(span.to));
        GridSpan made;
        made.first = columns.size();
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const std::size_t place = index_of(rules_, columns[i].rule);
            if (place < from || place > to || place >= rules_.columns.size()) continue;
            made.first = std::min(made.first, i);
            made.last = i;
        }
        if (made.first == columns.size() || !fill(span.text, nullptr, {}, &text)) continue;
        made.text = text;
        spans.push_back(made);
    }
    for (const GridColumn& column : columns) {
        if (column.rule == nullptr) continue;
        const std::vector<Attribute>& attributes = all[column.source].attributes;
        for (const TemplateSpan& span : column.rule->spans) {
            const AttributeValue* const from = find_attribute(attributes, span.from);
            if (from == nullptr || !fill(span.text, &attributes, {}, &text)) continue;
            GridSpan made;
            made.first = named(attribute_text(*from));
            if (made.first == columns.size()) continue;
            const AttributeValue* const to = span.to.empty() ? nullptr : find_attribute(attributes, span.to);
            if (to != nullptr) {
                made.last = named(attribute_text(*to));
            } else {
                made.last = made.first;
                while (made.last + 1 < columns.size() && columns[made.last + 1].rule == columns[made.first].rule) {
                    ++made.last;
                }
            }
            if (made.last < made.first || made.last == columns.size()) continue;
            made.text = text;
            spans.push_back(made);
        }
    }
    std::sort(spans.begin(), spans.end(), [](const GridSpan& a, const GridSpan& b) { return a.first < b.first; });
    // A heading needs room for its longest word; the last of its columns gives way.
    for (GridSpan& span : spans) {
        std::string buffer;
        span.text = std::string(shown(span.text, buffer));
        const int longest = longest_word(span.text);
        int room = -columns[span.first].gap;
        for (std::size_t i = span.first; i <= span.last; ++i) room += columns[i].width + columns[i].gap;
        if (longest > room) columns[span.last].width += longest - room;
    }
}

// ---- cells --------------------------------------------------------------------------------------------------------

std::string_view Grid::missing_text(char code, const TemplateColumn* rule, Cell& out) const {
    if (rule != nullptr) {
        for (const auto& [known, text] : rule->missing) {
            if (known == code) return text;
        }
    }
    switch (code) {
        case '.':
            return ".";
        case 'I':
            return "Infty";
        case 'M':
            return "-Infty";
        case '_':
            return {};
        default:
            out.digits[0] = code;
            return {out.digits, 1};
    }
}

void Grid::show_number(double value, const NumberFormat& format, const TemplateColumn* rule, Cell& out) const {
    out.before = -1;
    if (wzmis(value)) {
        out.text = missing_text(missing_code(value), rule, out);
        if (out.text == ".") out.before = 0;
    } else if (!std::isfinite(value)) {
        out.text = "NaN";
    } else {
        switch (format.form) {
            case NumberForm::p_value:
                out.text = p_text(value, format.decimals, out);
                break;
            case NumberForm::percent: {
                const std::string_view digits = best_text(100 * value, format.width, out);
                out.buffer.assign(digits);
                out.buffer += '%';
                out.text = out.buffer;
                break;
            }
            case NumberForm::fixed:
                out.text = fixed_text(value, format.decimals, out);
                if (static_cast<int>(out.text.size()) > format.width) out.text = best_text(value, format.width, out);
                break;
            default:
                out.text = best_text(value, format.width, out);
        }
        if (format.form != NumberForm::percent) out.before = width_before_point(out.text);
    }
    out.width = static_cast<int>(out.text.size());
}

void Grid::cell(std::size_t row, std::size_t place, Cell& out) const {
    const GridColumn& column = columns[place];
    const std::size_t sets = table_.sets.size();
    const RowSet& set = table_.sets[row % sets];
    const std::size_t r = row / sets;
    const TableColumn& given = set.columns()[column.source];
    out.before = -1;
    switch (given.kind) {
        case ColumnKind::number:
            show_number(set.number(r, column.source), column.formats[row % sets], column.rule, out);
            return;
        case ColumnKind::integer:
        case ColumnKind::degrees: {
            const std::int32_t value = set.integer(r, column.source);
            if (column.rule != nullptr && !column.rule->mark.empty()) {
                out.text = value != 0 ? column.rule->mark : std::string_view();
            } else {
                const auto end = std::to_chars(out.digits, out.digits + sizeof out.digits, value).ptr;
                out.text = {out.digits, static_cast<std::size_t>(end - out.digits)};
                out.before = static_cast<int>(out.text.size());
            }
            break;
        }
        case ColumnKind::character: {
            out.digits[0] = set.character(r, column.source);
            out.text = {out.digits, out.digits[0] == ' ' ? std::size_t{0} : std::size_t{1}};
            out.text = shown(out.text, out.buffer);
            break;
        }
        case ColumnKind::mixed: {
            const MixedValue value = set.mixed(r, column.source);
            if (value.kind == MixedValue::Kind::number) {
                NumberFormat format = column.formats.front();
                if (value.width > 0) format.width = value.width;
                format.decimals = value.decimals;
                format.form = value.percent                                             ? NumberForm::percent
                              : value.decimals >= 0 && value.decimals < best_for_column ? NumberForm::fixed
                                                                                        : NumberForm::best;
                show_number(value.number, format, column.rule, out);
                return;
            }
            if (value.kind == MixedValue::Kind::integer) {
                const auto end = std::to_chars(out.digits, out.digits + sizeof out.digits, value.integer).ptr;
                out.text = {out.digits, static_cast<std::size_t>(end - out.digits)};
                out.before = static_cast<int>(out.text.size());
            } else {
                out.text = shown(value.text, out.buffer);
            }
            break;
        }
        default:
            out.text = set.text(r, column.source);
            if (sets > 1 && row % sets != 0) out.text = {};
            if (column.rule != nullptr && column.rule->once && r > 0 && out.text == set.text(r - 1, column.source)) {
                out.text = {};
            }
            out.text = shown(out.text, out.buffer);
    }
    out.width = text_width(out.text);
}

bool Grid::breaks(std::size_t row) const {
    const std::size_t sets = table_.sets.size();
    if (row == 0 || row % sets != 0) return false;
    if (sets > 1) return true;
    return std::any_of(breakers_.begin(), breakers_.end(), [&](std::size_t column) {
        const char mark = table_.rows().character(row, column);
        return mark != ' ' && mark != '\0';
    });
}

// ---- measuring ----------------------------------------------------------------------------------------------------

// Fixed notation is measured by its extremes: rows need not be formatted to know how wide they will be.
void Grid::measure_numbers(GridColumn& column, std::size_t s) {
    const RowSet& set = table_.sets[s];
    NumberFormat& format = column.formats[s];
    double least = 0, greatest = 0;
    bool some = false, faults = false;
    unsigned codes = 0;
    for (std::size_t row = 0; row < set.rows(); ++row) {
        const double value = set.number(row, column.source);
        if (wzmis(value)) {
            codes |= 1U << missing_codes.find(missing_code(value));
        } else if (!std::isfinite(value)) {
            faults = true;
        } else {
            least = some ? std::min(least, value) : value;
            greatest = some ? std::max(greatest, value) : value;
            some = true;
        }
    }
    if (format.form == NumberForm::fixed && format.decimals == best_for_column) {
        format.decimals = zpfmt(std::max(std::fabs(least), std::fabs(greatest)), format.width);
        if (format.decimals >= best_for_column) format.form = NumberForm::best;
    }
    if (format.form == NumberForm::fixed && column.rule != nullptr && column.rule->keeps_digits) {
        const double largest = std::max(std::fabs(least), std::fabs(greatest));
        if (largest > 0 && largest < std::pow(10.0, 2 - format.decimals)) format.form = NumberForm::best;
    }
    Cell cell;
    const auto note = [&] {
        if (cell.before >= 0) {
            column.before = std::max(column.before, cell.before);
            column.after = std::max(column.after, cell.width - cell.before);
        }
        column.width = std::max(column.width, cell.width);
    };
    const auto note_value = [&](double value) {
        show_number(value, format, column.rule, cell);
        note();
        return static_cast<int>(cell.text.size());
    };
    bool each = format.form == NumberForm::best || format.form == NumberForm::percent;
    if (!each && some) {
        // When an extreme leaves fixed notation, others may too.
        const auto leaves = [&](double value) {
            return format.form == NumberForm::fixed &&
                   static_cast<int>(fixed_text(value, format.decimals, cell).size()) > format.width;
        };
        each = leaves(least) || leaves(greatest);
        note_value(least);
        note_value(greatest);
    }
    if (each) {
        for (std::size_t row = 0; row < set.rows(); ++row) {
            const double value = set.number(row, column.source);
            if (!wzmis(value)) note_value(value);
        }
    }
    for (std::size_t code = 1; code < missing_codes.size(); ++code) {
        if ((codes >> code & 1U) == 0) continue;
        show_number(vzmissing(missing_codes[code]), format, column.rule, cell);
        column.width = std::max(column.width, cell.width);  // a point stands where the points are
    }
    if (faults) column.width = std::max(column.width, 3);
}

void Grid::measure(GridColumn& column) {
    if (table_.rows().columns()[column.source].kind == ColumnKind::number) {
        for (std::size_t s = 0; s < table_.sets.size(); ++s) measure_numbers(column, s);
    } else {
        Cell cell;
        const auto place = static_cast<std::size_t>(&column - columns.data());
        for (std::size_t row = 0; row < rows_; ++row) {
            this->cell(row, place, cell);
            if (cell.before >= 0) {
                column.before = std::max(column.before, cell.before);
                column.after = std::max(column.after, cell.width - cell.before);
            }
            column.width = std::max(column.width, cell.width);
        }
    }
    column.width = std::max(column.width, column.before + column.after);
    if (!headings) return;
    // A long heading is broken at blanks rather than make the column wide.
    std::vector<std::string> lines;
    for (const std::string& line : column.heading) {
        const int room = std::max(column.width, usual_width);
        if (text_width(line) <= room) {
            lines.push_back(line);
            continue;
        }
        for (std::string& part : wrapped(line, std::max(room, longest_word(line)))) {
            lines.push_back(std::move(part));
        }
    }
    column.heading = std::move(lines);
    for (const std::string& line : column.heading) column.width = std::max(column.width, text_width(line));
}

int Grid::indent(const GridColumn& column, const Cell& cell, int width) {
    switch (column.alignment) {
        case Alignment::right: {
            if (cell.before < 0 || (cell.text == "." && column.after == 0)) return width - cell.width;
            return width - column.after - cell.before;
        }
        case Alignment::centre:
            return (width - cell.width) / 2;
        default:
            return 0;
    }
}

}  // namespace vek
