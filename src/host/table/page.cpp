// Draws the report as a page: contents, sections for steps, BY groups and folders, and the grids as tables.
#include "host/table/page.h"

#include <algorithm>

#include "host/table/grid.h"
#include "host/table/heading.h"
#include "host/table/listing.h"
#include "host/table/text_width.h"

namespace vek {

namespace {

// Wider tables are continued below, so that they fit on paper.
constexpr int widest_table = 120;
constexpr std::size_t most_contents = 600;
constexpr std::size_t piece = std::size_t{1} << 16;

constexpr std::string_view style = R"css(
:root{--ink:#1c1c1a;--faint:#6a6a64;--line:#b9b9b0;--hair:#e4e4dc;--paper:#fff;--panel:#f6f6f2;--error:#a8201a;--warning:#8a5a00;--link:#1f4e79}
@media (prefers-color-scheme:dark){:root{--ink:#e6e6e0;--faint:#a0a098;--line:#5d5d56;--hair:#35352f;--paper:#191917;--panel:#22221f;--error:#ff8d85;--warning:#e8b45a;--link:#9cc4ec}}
*{box-sizing:border-box}
html{-webkit-text-size-adjust:100%}
body{margin:0 auto;padding:1.5rem 1.25rem 4rem;max-width:70rem;background:var(--paper);color:var(--ink);font:16px/1.5 system-ui,"Segoe UI","Helvetica Neue",Arial,sans-serif}
h1{font-size:1.5rem;line-height:1.25;margin:0 0 1rem}
h2{font-size:1.2rem;line-height:1.3;margin:3rem 0 .25rem;padding-top:.6rem;border-top:2px solid var(--line)}
h3{font-size:1.02rem;margin:2.2rem 0 0;color:var(--faint);font-weight:600}
p{margin:.4rem 0;max-width:46rem}
p.title{margin:.1rem 0;font-weight:600}
p.by{margin:.1rem 0 .5rem;color:var(--faint)}
nav{background:var(--panel);border:1px solid var(--hair);border-radius:6px;padding:.6rem 1rem .8rem;margin:1rem 0 2rem}
nav summary{cursor:pointer;font-weight:600}
nav ul{list-style:none;margin:.2rem 0;padding-left:1rem}
nav details>ul{padding-left:0}
nav li{margin:.1rem 0}
nav a{color:var(--link);text-decoration:none}
nav a:hover,nav a:focus{text-decoration:underline}
figure{margin:1.4rem 0 2rem}
figcaption{font-weight:600;margin-bottom:.35rem}
figcaption span{display:block;font-weight:400;color:var(--faint)}
.scroll{overflow-x:auto;max-width:100%}
.scroll+.scroll{margin-top:1rem}
table{border-collapse:collapse;font-size:.9rem;line-height:1.35;border-top:2px solid var(--ink);border-bottom:2px solid var(--ink)}
table.items{border:0}
th,td{padding:.2rem .7rem;vertical-align:top;text-align:left;font-weight:400}
th:first-child,td:first-child{padding-left:.15rem}
thead th{font-weight:600;vertical-align:bottom}
thead tr:last-child th{border-bottom:1px solid var(--ink)}
thead th.over{text-align:center;border-bottom:1px solid var(--line)}
thead th.gap{border-bottom:0}
tbody tr+tr td,tbody tr+tr th{border-top:1px solid var(--hair)}
tbody tr.break td,tbody tr.break th{border-top:1px solid var(--line)}
table.items tr+tr td,table.items tr+tr th{border-top:0}
.n{text-align:right;white-space:nowrap;font-variant-numeric:tabular-nums lining-nums}
tbody .t{white-space:pre-wrap;overflow-wrap:break-word;max-width:46rem}
.j{padding-right:0}
.m{padding-left:.1rem;white-space:nowrap}
.k{padding-left:.15rem;padding-right:.15rem;text-align:center}
table.tight td,table.tight th{border-top-color:transparent;padding-top:0;padding-bottom:0}
p.note{font-size:.875rem;color:var(--faint)}
.log{font-size:.9rem;padding-left:1.2rem}
.log li{margin:.25rem 0;overflow-wrap:anywhere}
.log .error{color:var(--error)}.log .warning{color:var(--warning)}
.log pre{margin:.2rem 0;overflow-x:auto;font-size:.85rem}
@media (max-width:480px){body{padding:1rem .75rem 3rem;font-size:15px}th,td{padding:.2rem .45rem}table{font-size:.82rem}nav ul{padding-left:.7rem}h1{font-size:1.3rem}}
@media print{:root{--ink:#000;--faint:#444;--line:#888;--hair:#ddd;--paper:#fff;--panel:#fff}body{max-width:none;padding:0;font-size:10pt}nav{break-after:page;border:0;padding:0}h2,h3,figcaption{break-after:avoid}figure{break-inside:auto}tr{break-inside:avoid}thead{display:table-header-group}.scroll{overflow:visible}table{font-size:7.6pt}th,td{padding:.08rem .35rem}a{color:inherit}}
@page{margin:15mm}
)css";

class Page {
  public:
    Page(const Report& report, const Log& log, const PageSink& sink) : report_(report), log_(log), sink_(sink) {}
    void write();

  private:
    void put(std::string_view text) {
        out_ += text;
        if (out_.size() >= piece) flush();
    }
    void flush() {
        if (!out_.empty()) sink_(out_);
        out_.clear();
    }
    void escaped(std::string_view text);
    void element(std::string_view open, std::string_view text, std::string_view close);
    void contents();
    void context(const ReportContext& now, const ReportContext* before);
    void table(const TableModel& table, std::size_t number);
    void block(const Grid& grid, const std::vector<std::size_t>& columns);
    void headings(const Grid& grid, const std::vector<std::size_t>& columns);
    void cell(const Grid& grid, std::size_t row, std::size_t column);
    void log();

    const Report& report_;
    const Log& log_;
    const PageSink& sink_;
    std::string out_;
    Cell cell_;
};

// A name for a stretch of the report in the contents and as a heading.
std::string section_name(const ReportContext& context) {
    std::string name = "Step " + std::to_string(context.step) + ": PROC " + context.procedure;
    if (const std::string by = by_line(context); !by.empty()) name += ", " + by;
    return name;
}

bool same_section(const ReportContext& a, const ReportContext& b) { return a.step == b.step && a.by == b.by; }

std::string joined(const std::vector<std::string>& parts, std::string_view between) {
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? std::string() : std::string(between)) + part;
    return text;
}

void Page::escaped(std::string_view text) {
    for (const char c : text) {
        switch (c) {
            case '&':
                out_ += "&amp;";
                break;
            case '<':
                out_ += "&lt;";
                break;
            case '>':
                out_ += "&gt;";
                break;
            case '"':
                out_ += "&quot;";
                break;
            default:
                out_ += c;
        }
    }
}

void Page::element(std::string_view open, std::string_view text, std::string_view close) {
    put(open);
    std::string buffer;
    escaped(shown(text, buffer));
    put(close);
}

void Page::contents() {
    std::size_t tables = 0;
    for (std::size_t i = report_.begin(); i < report_.end(); ++i) tables += report_.item(i).table != nullptr ? 1 : 0;
    if (tables == 0) return;
    put("<nav aria-label=\"Contents\"><details open><summary>Contents</summary><ul>\n");
    const ReportContext* before = nullptr;
    bool folder_open = false;
    std::size_t listed = 0;
    for (std::size_t i = report_.begin(); i < report_.end() && listed < most_contents; ++i) {
        const ReportItem& item = report_.item(i);
        if (item.table == nullptr) continue;
        const ReportContext& now = *item.context;
        const bool section = before == nullptr || !same_section(now, *before);
        const bool folder = section || !same_folders(now, *before);
        if (folder && folder_open) put("</ul></li>");
        if (section) {
            if (before != nullptr) put("</ul></li>\n");
            element("<li><strong>", section_name(now), "</strong><ul>\n");
        }
        if (folder) {
            std::vector<std::string> names;
            for (const FolderLevel& level : now.path) names.push_back(folder_heading(level));
            folder_open = !names.empty();
            if (folder_open) element("<li>", joined(names, " \u203a "), "<ul>\n");
        }
        put("<li><a href=\"#t" + std::to_string(i + 1) + "\">");
        const Grid grid(*item.table, Grid::Part::captions);
        element("", grid.captions.front(), "</a></li>\n");
        before = &now;
        ++listed;
    }
    if (folder_open) put("</ul></li>");
    put("</ul></li>\n");
    if (listed < tables) put("<li>" + std::to_string(tables - listed) + " more tables follow.</li>\n");
    put("</ul></details></nav>\n");
}

void Page::context(const ReportContext& now, const ReportContext* before) {
    const bool section = before == nullptr || !same_section(now, *before);
    const bool titles = section || !same_titles(now, *before);
    if (section) {
        if (before != nullptr) put("</section>\n");
        put("<section>\n");
        element("<h2>", section_name(now), "</h2>\n");
    }
    if (titles) {
        for (const std::string& title : title_lines(now)) element("<p class=\"title\">", title, "</p>\n");
    }
    if (section || titles || !same_folders(now, *before)) {
        const std::string path = joined(folder_headings(now), " \u203a ");
        if (!path.empty()) element("<h3>", path, "</h3>\n");
    }
}

// Figure blanks keep the points of a column under each other where decimals differ.
void append_blanks_behind(std::string& out, const GridColumn& column, const Cell& cell) {
    if (column.alignment != Alignment::right || cell.before < 0) return;
    int missing = column.after - (cell.width - cell.before);
    if (missing <= 0 || (cell.text == "." && column.after == 0)) return;
    if (cell.text.find('.') == std::string_view::npos) {
        out += "\u2008";
        --missing;
    }
    for (; missing > 0; --missing) out += "\u2007";
}

void Page::cell(const Grid& grid, std::size_t row, std::size_t place) {
    const GridColumn& column = grid.columns[place];
    grid.cell(row, place, cell_);
    const bool marked = place + 1 < grid.columns.size() && grid.columns[place + 1].gap == 0;
    const bool tight = column.rule != nullptr && column.rule->tight;
    const bool mark = column.gap == 0 && place > 0;
    const bool heading = column.row_heading && !mark;
    out_ += heading ? "<th scope=\"row\" class=\"" : "<td class=\"";
    out_ += column.numeric() ? "n" : mark ? "m" : tight ? "k" : "t";
    out_ += marked ? " j\">" : "\">";
    escaped(cell_.text);
    append_blanks_behind(out_, column, cell_);
    out_ += heading ? "</th>" : "</td>";
}

void Page::headings(const Grid& grid, const std::vector<std::size_t>& columns) {
    const auto over = [&](std::size_t column) -> const GridSpan* {
        for (const GridSpan& span : grid.spans) {
            if (column >= span.first && column <= span.last) return &span;
        }
        return nullptr;
    };
    put("<thead>\n");
    const bool spans = std::any_of(columns.begin(), columns.end(), [&](std::size_t c) { return over(c) != nullptr; });
    if (spans) {
        put("<tr>");
        for (std::size_t i = 0; i < columns.size();) {
            const GridSpan* const span = over(columns[i]);
            std::size_t end = i + 1;
            while (end < columns.size() && over(columns[end]) == span) ++end;
            const std::string count = std::to_string(end - i);
            if (span == nullptr) {
                put("<td class=\"gap\" colspan=\"" + count + "\"></td>");
            } else {
                element("<th class=\"over\" scope=\"colgroup\" colspan=\"" + count + "\">", span->text, "</th>");
            }
            i = end;
        }
        put("</tr>\n");
    }
    put("<tr>");
    for (std::size_t place : columns) {
        const GridColumn& column = grid.columns[place];
        const bool marked = place + 1 < grid.columns.size() && grid.columns[place + 1].gap == 0;
        const bool mark = column.gap == 0 && place > 0;
        put(std::string("<th scope=\"col\" class=\"") +
            (column.numeric() ? "n"
             : mark           ? "m"
                              : "t") +
            (marked ? " j\">" : "\">"));
        for (std::size_t line = 0; line < column.heading.size(); ++line) {
            if (line > 0) put("<br>");
            escaped(column.heading[line]);
        }
        put("</th>");
    }
    put("</tr>\n</thead>\n");
}

void Page::block(const Grid& grid, const std::vector<std::size_t>& columns) {
    const bool tight = std::any_of(columns.begin(), columns.end(), [&](std::size_t c) {
        return grid.columns[c].rule != nullptr && grid.columns[c].rule->tight;
    });
    put("<div class=\"scroll\"><table");
    put(!grid.headings ? " class=\"items\">\n" : tight ? " class=\"tight\">\n" : ">\n");
    if (grid.headings) headings(grid, columns);
    put("<tbody>\n");
    for (std::size_t row = 0; row < grid.rows(); ++row) {
        put(grid.breaks(row) ? "<tr class=\"break\">" : "<tr>");
        for (std::size_t place : columns) cell(grid, row, place);
        put("</tr>\n");
    }
    put("</tbody></table></div>\n");
}

void Page::table(const TableModel& model, std::size_t number) {
    const Grid grid(model);
    for (const std::string& note : model.above) element("<p class=\"note\">", note, "</p>\n");
    put("<figure id=\"t" + std::to_string(number) + "\"><figcaption>");
    for (std::size_t i = 0; i < grid.captions.size(); ++i) {
        if (i > 0) put("<br>");
        escaped(grid.captions[i]);
    }
    for (const std::string& line : grid.above) element("<span>", line, "</span>");
    put("</figcaption>\n");
    for (const std::vector<std::size_t>& columns : ListingTable(grid, widest_table).column_blocks()) {
        block(grid, columns);
    }
    for (const std::string& line : grid.below) element("<p class=\"note\">", line, "</p>\n");
    put("</figure>\n");
}

void Page::log() {
    if (log_.entries().empty()) return;
    put("<section id=\"log\"><h2>Log</h2>\n<ul class=\"log\">\n");
    std::string buffer;
    for (const LogEntry& entry : log_.entries()) {
        const std::string level(level_name(entry.level));
        put("<li class=\"" + level + "\">");
        if (entry.place.known()) {
            std::string place = entry.place.file;
            if (entry.place.line > 0) place.append(":").append(std::to_string(entry.place.line));
            if (entry.place.line > 0 && entry.place.column > 0)
                place.append(":").append(std::to_string(entry.place.column));
            element("", place + ": ", "");
        }
        element("", level + ": " + entry.text, "");
        if (!entry.excerpt.empty()) {
            put("<pre>");
            // The lines of an excerpt are its own; control characters in them have been replaced where it was made.
            escaped(entry.excerpt);
            put("</pre>");
        }
        put("</li>\n");
    }
    put("</ul></section>\n");
}

void Page::write() {
    std::string title = "Report";
    for (std::size_t i = report_.begin(); i < report_.end(); ++i) {
        const std::vector<std::string> lines = title_lines(*report_.item(i).context);
        if (lines.empty()) continue;
        title = lines.front();
        break;
    }
    put("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta name=\"color-scheme\" content=\"light dark\">\n");
    element("<title>", title, "</title>\n<style>");
    put(style);
    put("</style>\n</head>\n<body>\n");
    element("<h1>", title, "</h1>\n");
    contents();
    put("<main>\n");
    const ReportContext* before = nullptr;
    for (std::size_t i = report_.begin(); i < report_.end(); ++i) {
        const ReportItem& item = report_.item(i);
        if (item.context.get() != before) context(*item.context, before);
        before = item.context.get();
        if (item.table != nullptr) {
            table(*item.table, i + 1);
        } else {
            element("<p class=\"note\">", item.line, "</p>\n");
        }
    }
    if (before != nullptr) put("</section>\n");
    log();
    put("</main>\n</body>\n</html>\n");
    flush();
}

}  // namespace

void write_page(const Report& report, const Log& log, const PageSink& sink) { Page(report, log, sink).write(); }

}  // namespace vek
