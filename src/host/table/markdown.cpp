// Writes the report as Markdown with pipe tables, and a table's values as CSV.
#include <cmath>
#include <set>

#include "host/data/data_file.h"
#include "host/data/shortest.h"
#include "host/table/grid.h"
#include "host/table/heading.h"
#include "host/table/page.h"
#include "host/table/text_width.h"
#include "numeric/missing.h"

namespace vek {

namespace {

constexpr std::size_t piece = std::size_t{1} << 16;

std::string escaped(std::string_view text) {
    std::string buffer, result;
    const std::string_view plain = shown(text, buffer);
    for (std::size_t i = 0; i < plain.size(); ++i) {
        // An ampersand matters where the name of a character may follow, as in &lt;.
        const bool entity = plain[i] == '&' && i + 1 < plain.size() && plain[i + 1] != ' ';
        if (entity || std::string_view("\\`*_{}[]<>#|~").find(plain[i]) != std::string_view::npos) result += '\\';
        result += plain[i];
    }
    return result;
}

// One line of heading for a column: what stands over it, and its own lines.
std::string heading_of(const Grid& grid, std::size_t place) {
    std::string heading;
    for (const GridSpan& span : grid.spans) {
        if (place >= span.first && place <= span.last) heading = span.text;
    }
    for (const std::string& line : grid.columns[place].heading) heading += (heading.empty() ? "" : " ") + line;
    return escaped(heading);
}

class Markdown {
  public:
    explicit Markdown(const PageSink& sink) : sink_(sink) {}
    void context(const ReportContext& now, const ReportContext* before);
    void table(const TableModel& model);
    void paragraph(std::string_view text) { out_ += escaped(text) + "\n\n"; }
    void flush() {
        if (!out_.empty()) sink_(out_);
        out_.clear();
    }

  private:
    const PageSink& sink_;
    std::string out_;
    Cell cell_;
};

void Markdown::table(const TableModel& model) {
    const Grid grid(model);
    for (const std::string& note : model.above) paragraph(note);
    for (const std::string& caption : grid.captions) out_ += "**" + escaped(caption) + "**\n\n";
    for (const std::string& line : grid.above) paragraph(line);
    // A mark belongs to the cell before it.
    const auto is_mark = [&](std::size_t place) { return place > 0 && grid.columns[place].gap == 0; };
    for (std::size_t i = 0; i < grid.columns.size(); ++i) {
        if (!is_mark(i)) out_ += "| " + (grid.headings ? heading_of(grid, i) : std::string()) + " ";
    }
    out_ += "|\n";
    for (std::size_t i = 0; i < grid.columns.size(); ++i) {
        if (!is_mark(i)) out_ += grid.columns[i].numeric() ? "| ---: " : "| :--- ";
    }
    out_ += "|\n";
    for (std::size_t row = 0; row < grid.rows(); ++row) {
        for (std::size_t i = 0; i < grid.columns.size(); ++i) {
            grid.cell(row, i, cell_);
            if (!is_mark(i)) out_ += i == 0 ? "| " : " | ";
            out_ += escaped(cell_.text);
        }
        out_ += " |\n";
        if (out_.size() >= piece) flush();
    }
    out_ += '\n';
    for (const std::string& line : grid.below) paragraph(line);
}

void Markdown::context(const ReportContext& now, const ReportContext* before) {
    const bool titles = before == nullptr || !same_titles(now, *before);
    if (titles) {
        bool first = true;
        for (const std::string& title : title_lines(now)) {
            out_ += (first ? "# " : "") + escaped(title) + "\n\n";
            first = false;
        }
        if (const std::string by = by_line(now); !by.empty()) paragraph(by);
    }
    if (titles || !same_folders(now, *before)) {
        std::string path;
        for (const std::string& heading : folder_headings(now)) path += (path.empty() ? "" : ", ") + heading;
        if (!path.empty()) out_ += "## " + escaped(path) + "\n\n";
    }
}

// ---- CSV ----------------------------------------------------------------------------------------------------------

void append_csv_text(std::string& out, std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos && !text.starts_with(' ')) {
        out += text;
        return;
    }
    out += '"';
    for (const char c : text) {
        if (c == '"') out += '"';
        out += c;
    }
    out += '"';
}

void append_csv_number(std::string& out, double value) {
    if (wzmis(value)) {
        out += '.';
        if (const char code = missing_code(value); code != '.') out += code;
        return;
    }
    if (!std::isfinite(value)) return;
    char digits[shortest_room];
    out.append(digits, write_shortest(value, digits));
}

void append_csv_cell(std::string& out, const RowSet& set, std::size_t row, std::size_t column) {
    switch (set.columns()[column].kind) {
        case ColumnKind::number:
            append_csv_number(out, set.number(row, column));
            break;
        case ColumnKind::integer:
        case ColumnKind::degrees:
            out += std::to_string(set.integer(row, column));
            break;
        case ColumnKind::character: {
            const char character = set.character(row, column);
            if (character != ' ') append_csv_text(out, std::string_view(&character, 1));
            break;
        }
        case ColumnKind::mixed: {
            const MixedValue value = set.mixed(row, column);
            if (value.kind == MixedValue::Kind::text) append_csv_text(out, value.text);
            if (value.kind == MixedValue::Kind::integer) out += std::to_string(value.integer);
            if (value.kind == MixedValue::Kind::number) append_csv_number(out, value.number);
            break;
        }
        default:
            append_csv_text(out, set.text(row, column));
    }
}

/// The names of the columns, each once, so that the file can be read as data. A column that is named after something in
/// the data gives way to one whose name is its own: a class variable N beside the counts N becomes N_2.
std::vector<std::string> csv_names(const std::vector<TableColumn>& columns) {
    std::vector<std::string> names(columns.size());
    std::set<std::string> taken;
    for (const bool own : {true, false}) {
        for (std::size_t j = 0; j < columns.size(); ++j) {
            const TableColumn& column = columns[j];
            if ((column.like.empty() || column.like == column.name) != own) continue;
            names[j] = column.name;
            for (int k = 2; !taken.insert(folded_name(names[j])).second; ++k) {
                names[j] = column.name + "_" + std::to_string(k);
            }
        }
    }
    return names;
}

}  // namespace

void MarkdownWriter::item(const ReportItem& item, const PageSink& sink) {
    Markdown markdown(sink);
    if (item.context != before_) markdown.context(*item.context, before_.get());
    before_ = item.context;
    if (item.table != nullptr) {
        markdown.table(*item.table);
    } else {
        markdown.paragraph(item.line);
    }
    markdown.flush();
}

void write_table_csv(const TableModel& table, const PageSink& sink) {
    const bool stacked = table.sets.size() > 1;
    std::string out = stacked ? "Block" : "";
    const std::vector<std::string> names = csv_names(table.rows().columns());
    for (std::size_t j = 0; j < names.size(); ++j) {
        if (stacked || j > 0) out += ',';
        append_csv_text(out, names[j]);
    }
    out += '\n';
    for (std::size_t s = 0; s < table.sets.size(); ++s) {
        const RowSet& set = table.sets[s];
        for (std::size_t row = 0; row < set.rows(); ++row) {
            if (stacked) append_csv_text(out, table.blocks[s].key);
            for (std::size_t j = 0; j < set.columns().size(); ++j) {
                if (stacked || j > 0) out += ',';
                append_csv_cell(out, set, row, j);
            }
            out += '\n';
            if (out.size() >= piece) {
                sink(out);
                out.clear();
            }
        }
    }
    if (!out.empty()) sink(out);
}

std::string csv_file_name(const TableModel& table, std::size_t number) {
    constexpr std::size_t longest = 120;
    std::string digits = std::to_string(number);
    digits.insert(0, digits.size() < 3 ? 3 - digits.size() : 0, '0');
    std::string name = digits;
    const auto add = [&](std::string_view part) {
        name += '_';
        for (const char c : part) {
            const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
            if (name.size() < longest) name += plain ? c : '_';
        }
    };
    for (const auto& [variable, value] : table.context->by) add(variable + "-" + value);
    for (const FolderLevel& level : table.context->path) add(level.name);
    add(table.name);
    return name + ".csv";
}

}  // namespace vek
